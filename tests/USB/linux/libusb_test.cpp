// The way to devices without a driver: its errors, and that it loads and refuses what is no device.
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <libusb.h>
#include <unistd.h>

#include "frameworks/USB/linux/DirectAccess.h"
#include "frameworks/USB/linux/libusb/LibusbErrors.h"

namespace {

TEST(Libusb, errors_are_the_platform_s) {
    EXPECT_EQ(usb::returnOfLibusb(0), kIOReturnSuccess);
    EXPECT_EQ(usb::returnOfLibusb(LIBUSB_ERROR_PIPE), kIOUSBPipeStalled);
    EXPECT_EQ(usb::returnOfLibusb(LIBUSB_ERROR_NO_DEVICE), kIOReturnNoDevice);
    EXPECT_EQ(usb::returnOfLibusb(LIBUSB_ERROR_NOT_FOUND), kIOReturnNoDevice);
    EXPECT_EQ(usb::returnOfLibusb(LIBUSB_ERROR_ACCESS), kIOReturnNotPermitted);
    EXPECT_EQ(usb::returnOfLibusb(LIBUSB_ERROR_BUSY), kIOReturnExclusiveAccess);
    EXPECT_EQ(usb::returnOfLibusb(LIBUSB_ERROR_TIMEOUT), kIOUSBTransactionTimeout);
    EXPECT_EQ(usb::returnOfLibusb(LIBUSB_ERROR_INVALID_PARAM), kIOReturnBadArgument);
    EXPECT_EQ(usb::returnOfLibusb(LIBUSB_ERROR_NO_MEM), kIOReturnNoMemory);
    EXPECT_EQ(usb::returnOfLibusb(LIBUSB_ERROR_IO), kIOReturnError);
    EXPECT_EQ(usb::returnOfLibusb(LIBUSB_ERROR_OVERFLOW), kIOReturnError);
    EXPECT_EQ(usb::returnOfLibusb(LIBUSB_ERROR_OTHER), kIOReturnError);
}

TEST(Libusb, the_plug_in_loads_and_refuses_what_is_no_device) {
    void* const plugIn = dlopen(TARVO_USB_PLUG_IN, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(plugIn, nullptr) << dlerror();
    const auto entry = reinterpret_cast<usb::DirectAccessEntry>(dlsym(plugIn, usb::kDirectAccessSymbol));
    ASSERT_NE(entry, nullptr);
    const int node = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    ASSERT_GE(node, 0);
    usb::DirectDevice* device = nullptr;
    EXPECT_NE(entry()->open(node, 0, &device), kIOReturnSuccess);
    EXPECT_EQ(device, nullptr);
    EXPECT_EQ(::close(node), 0);  // still the caller's
}

}  // namespace
