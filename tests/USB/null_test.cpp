// The bus without devices.
#include <gtest/gtest.h>

#include "USBControl.h"

TEST(NullBus, has_no_devices) {
    for (const IOServiceMatching& matching : {IOServiceMatching{}, IOServiceMatching{true, 1, 2}}) {
        IOIterator* iterator = nullptr;
        ASSERT_EQ(IOServiceGetMatchingServices(matching, &iterator), kIOReturnSuccess);
        ASSERT_NE(iterator, nullptr);
        EXPECT_EQ(iterator->next(), nullptr);
        EXPECT_EQ(iterator->next(), nullptr);
        iterator->release();
    }
    EXPECT_EQ(IOServiceGetMatchingServices({}, nullptr), kIOReturnBadArgument);
    EXPECT_EQ(IOObjectRelease(nullptr), kIOReturnBadArgument);
}
