// Which devices and interfaces are shown, and what becomes of them when they are pulled out.
#include <gtest/gtest.h>

#include "tests/USB/linux/LinuxUsb.h"

namespace test {
namespace {

constexpr uint16_t kAny = kIOUSBFindInterfaceDontCare;

struct Shown {
    uint32_t location = 0;
    uint16_t vendor = 0;
    uint16_t product = 0;
    bool operator==(const Shown&) const = default;
};

class Enumeration : public LinuxUsb {
protected:
    static Shown shown(IOService& service) {
        const Ref<IOUSBDeviceInterface> found = device(service);
        Shown facts;
        EXPECT_EQ(found->GetLocationID(&facts.location), kIOReturnSuccess);
        EXPECT_EQ(found->GetDeviceVendor(&facts.vendor), kIOReturnSuccess);
        EXPECT_EQ(found->GetDeviceProduct(&facts.product), kIOReturnSuccess);
        return facts;
    }
};

}  // namespace

TEST_F(Enumeration, devices_by_place_with_their_ids) {
    bus_.plugIn("1-2", 3, deviceDescriptor(), "05e3", "0608");
    bus_.plugIn("10-1", 2, deviceDescriptor(), "1234", "abcd");
    bus_.plugIn("2-1", 2, deviceDescriptor(), "0001", "0002");
    std::vector<Shown> found;
    for (const Ref<IOService>& service : services()) {
        found.push_back(shown(*service));
    }
    EXPECT_EQ(found, (std::vector<Shown>{{0x01200000, 0x05E3, 0x0608},
                                         {0x01240000, 0x046D, 0x082D},
                                         {0x02100000, 1, 2},
                                         {0x0A100000, 0x1234, 0xABCD}}));
}

TEST_F(Enumeration, ids_narrow_the_search) {
    bus_.plugIn("1-3", 4, deviceDescriptor(), "046d", "0990");
    EXPECT_EQ(services().size(), 2U);
    EXPECT_EQ(services({true, 0x046D, 0x0990}).size(), 1U);
    EXPECT_EQ(shown(*services({true, 0x046D, 0x0990})[0]).location, 0x01300000U);
    EXPECT_TRUE(services({true, 0x046D, 1}).empty());
    EXPECT_TRUE(services({true, 0, 0x0990}).empty());
}

TEST_F(Enumeration, root_hubs_and_devices_that_cannot_be_read_are_left_out) {
    bus_.plugIn("usb1", 1, deviceDescriptor(), "1d6b", "0002");
    bus_.plugIn("1-5", 5, deviceDescriptor(), "", "0002");
    bus_.plugIn("1-6", 6, deviceDescriptor(), "no hex", "0002");
    bus_.plugIn("nonsense", 9, deviceDescriptor());
    EXPECT_EQ(services().size(), 1U);
}

TEST_F(Enumeration, a_machine_without_usb_has_no_devices) {
    bus_.devices += "/missing";
    EXPECT_TRUE(services().empty());
    EXPECT_TRUE(services({true, 1, 2}).empty());
}

TEST_F(Enumeration, missing_outputs_are_refused) {
    EXPECT_EQ(IOServiceGetMatchingServices({}, nullptr), kIOReturnBadArgument);
    EXPECT_EQ(IOObjectRelease(nullptr), kIOReturnBadArgument);
    const Ref<IOService> service = services().at(0);
    EXPECT_EQ(IOCreatePlugInInterfaceForService(*service, IOUserClientType::Device, nullptr),
              kIOReturnBadArgument);
    const Ref<IOUSBDeviceInterface> found = device(*service);
    EXPECT_EQ(found->GetLocationID(nullptr), kIOReturnBadArgument);
    EXPECT_EQ(found->CreateInterfaceIterator(nullptr, nullptr), kIOReturnBadArgument);
}

TEST_F(Enumeration, interfaces_by_what_they_are) {
    bus_.addInterface("1-2.4", "1-2.4:1.2", 2, "01", "01");
    const Ref<IOUSBDeviceInterface> found = device(*services().at(0));
    EXPECT_EQ(interfaces(*found, {14, 1, kAny, kAny}).size(), 1U);
    EXPECT_EQ(interfaces(*found, {14, kAny, kAny, kAny}).size(), 2U);
    EXPECT_EQ(interfaces(*found, {kAny, 1, 0, 0}).size(), 2U);
    EXPECT_EQ(interfaces(*found, {kAny, kAny, kAny, kAny}).size(), 3U);
    EXPECT_EQ(interfaces(*found, {14, 1, 1, kAny}).size(), 0U);
    EXPECT_EQ(interfaces(*found, {14, 1, kAny, 1}).size(), 0U);
    EXPECT_EQ(interfaces(*found, {3, kAny, kAny, kAny}).size(), 0U);
}

TEST_F(Enumeration, a_plug_in_is_of_its_service_s_kind) {
    const Ref<IOService> service = services().at(0);
    IOCFPlugInInterface* made = nullptr;
    EXPECT_EQ(IOCreatePlugInInterfaceForService(*service, IOUserClientType::Interface, &made),
              kIOReturnBadArgument);
    EXPECT_EQ(made, nullptr);
    ASSERT_EQ(IOCreatePlugInInterfaceForService(*service, IOUserClientType::Device, &made), kIOReturnSuccess);
    const auto plugIn = Ref<IOCFPlugInInterface>::adopt(made);
    IOUSBInterfaceInterface* interface = nullptr;
    EXPECT_EQ(plugIn->QueryInterface(&interface), kIOReturnBadArgument);
    EXPECT_EQ(interface, nullptr);
}

TEST_F(Enumeration, what_was_pulled_out_is_gone_for_all_its_objects) {
    const Ref<IOService> service = services().at(0);
    const Ref<IOUSBDeviceInterface> found = device(*service);
    const Ref<IOUSBInterfaceInterface> closed = control();
    bus_.pullOut("1-2.4");
    EXPECT_TRUE(services().empty());
    uint32_t location = 77;
    EXPECT_EQ(found->GetLocationID(&location), kIOReturnNoDevice);
    EXPECT_EQ(location, 77U);
    IOIterator* iterator = nullptr;
    constexpr IOUSBFindInterfaceRequest kEvery{kAny, kAny, kAny, kAny};
    EXPECT_EQ(found->CreateInterfaceIterator(&kEvery, &iterator), kIOReturnNoDevice);
    EXPECT_EQ(iterator, nullptr);
    IOCFPlugInInterface* plugIn = nullptr;
    EXPECT_EQ(IOCreatePlugInInterfaceForService(*service, IOUserClientType::Device, &plugIn),
              kIOReturnNoDevice);
    EXPECT_EQ(closed->USBInterfaceOpen(), kIOReturnNoDevice);
    EXPECT_EQ(closed->USBInterfaceClose(), kIOReturnNoDevice);
    EXPECT_EQ(closed->ClearPipeStall(1), kIOReturnNoDevice);
}

TEST_F(Enumeration, what_is_plugged_in_again_is_another_device) {
    const Ref<IOUSBDeviceInterface> before = device(*services().at(0));
    const Ref<IOUSBInterfaceInterface> closed = control();
    bus_.plugIn("1-2.4", 8, webcamDescriptors());
    uint16_t vendor = 0;
    EXPECT_EQ(before->GetDeviceVendor(&vendor), kIOReturnNoDevice);
    EXPECT_EQ(closed->USBInterfaceOpen(), kIOReturnNoDevice);
    EXPECT_EQ(shown(*services().at(0)).location, 0x01240000U);
    EXPECT_EQ(open().USBInterfaceClose(), kIOReturnSuccess);
}

TEST_F(Enumeration, nothing_is_opened_for_it) {
    const Ref<IOUSBDeviceInterface> found = device(*services().at(0));
    const Ref<IOUSBInterfaceInterface> interface = control();
    EXPECT_EQ(webcam_.calls, 0);
    EXPECT_EQ(bus_.openCount(), 0U);
}

}  // namespace test
