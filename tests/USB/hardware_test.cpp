// The hardware library on whatever bus the machine has: it only looks, and opens nothing.
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/USB/UsbCalls.h"

namespace test {
namespace {

using HardwareBus = UsbCalls;

TEST_F(HardwareBus, shows_the_devices_that_the_kernel_lists) {
    size_t listed = 0;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/sys/bus/usb/devices", error)) {
        const std::string name = entry.path().filename();
        if (!name.starts_with("usb") && name.find(':') == std::string::npos) ++listed;
    }
    const std::vector<Ref<IOService>> found = services();
    EXPECT_EQ(found.size(), listed);
    for (const Ref<IOService>& service : found) {
        uint32_t location = 0;
        EXPECT_EQ(device(*service)->GetLocationID(&location), kIOReturnSuccess);
        EXPECT_NE(location, 0U);
    }
}

TEST_F(HardwareBus, refuses_missing_outputs) {
    EXPECT_EQ(IOServiceGetMatchingServices({}, nullptr), kIOReturnBadArgument);
    EXPECT_EQ(IOObjectRelease(nullptr), kIOReturnBadArgument);
}

}  // namespace
}  // namespace test
