// Opening and closing, who is kept out, and what keeps a webcam from more than it can bear.
#include <errno.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "frameworks/USB/linux/DeviceState.h"
#include "frameworks/USB/linux/Pace.h"
#include "tests/USB/linux/LinuxUsb.h"

namespace test {
namespace {

using namespace std::chrono_literals;

constexpr uint16_t kExposure = 0x0104;

class Opening : public LinuxUsb {
protected:
    void SetUp() override {
        LinuxUsb::SetUp();
        webcam_.controls[V4L2_CID_EXPOSURE_ABSOLUTE] = {.lowest = 0, .highest = 10000};
    }
    static IOReturn set(IOUSBInterfaceInterface& interface, uint8_t value) {
        return tell(interface, {value, 0, 0, 0}, kExposure);
    }
};
using Pacing = Opening;

/* A device without a driver. */
struct FakeDirect {
    IOReturn openResult = kIOReturnSuccess;
    IOReturn requestResult = kIOReturnSuccess;
    int openDevices = 0;
    uint8_t interface = 0xFF;
    std::vector<Bytes> setups;
};
FakeDirect* direct = nullptr;

IOReturn openDirect(int /*node*/, uint8_t interface, usb::DirectDevice** device) {
    if (direct->openResult != kIOReturnSuccess) return direct->openResult;
    ++direct->openDevices;
    direct->interface = interface;
    *device = reinterpret_cast<usb::DirectDevice*>(direct);
    return kIOReturnSuccess;
}

void closeDirect(usb::DirectDevice* /*device*/) {
    --direct->openDevices;
}

IOReturn requestDirect(usb::DirectDevice* /*device*/, IOUSBDevRequest* request) {
    direct->setups.push_back({request->bmRequestType, request->bRequest,
                              static_cast<uint8_t>(request->wValue >> 8),
                              static_cast<uint8_t>(request->wIndex >> 8)});
    if (direct->requestResult == kIOReturnSuccess) request->wLenDone = request->wLength;
    return direct->requestResult;
}

constexpr usb::DirectAccess kFakeAccess = {openDirect, closeDirect, requestDirect};

class Driverless : public LinuxUsb {
protected:
    void SetUp() override {
        bus_.plugIn("1-2.4", 7, webcamDescriptors());
        bus_.addInterface("1-2.4", "1-2.4:1.0", 0, "0e", "01");
        bus_.addRawNode(bus_.nodes + "/bus/usb/001/007");
        bus_.setDirectAccess(&kFakeAccess);
        usb::use(&bus_);
        direct = &device_;
    }
    void TearDown() override {
        LinuxUsb::TearDown();
        EXPECT_EQ(device_.openDevices, 0);
        direct = nullptr;
    }

    FakeDirect device_;
};

}  // namespace

TEST_F(Opening, requests_need_it) {
    interface_ = control();
    EXPECT_EQ(set(*interface_, 1), kIOReturnNotOpen);
    EXPECT_EQ(interface_->ClearPipeStall(1), kIOReturnNotOpen);
    EXPECT_EQ(interface_->USBInterfaceClose(), kIOReturnNotOpen);
    EXPECT_EQ(interface_->USBInterfaceOpen(), kIOReturnSuccess);
    EXPECT_EQ(set(*interface_, 1), kIOReturnSuccess);
    EXPECT_EQ(interface_->ClearPipeStall(0), kIOReturnSuccess);
    EXPECT_EQ(interface_->ClearPipeStall(1), kIOReturnSuccess);
    EXPECT_EQ(interface_->ClearPipeStall(2), kIOReturnBadArgument);
    EXPECT_EQ(interface_->USBInterfaceClose(), kIOReturnSuccess);
    EXPECT_EQ(set(*interface_, 1), kIOReturnNotOpen);
    EXPECT_EQ(bus_.openCount(), 0U);
}

TEST_F(Opening, others_are_kept_out_until_it_is_closed) {
    IOUSBInterfaceInterface& first = open();
    const Ref<IOUSBInterfaceInterface> second = control();
    EXPECT_EQ(first.USBInterfaceOpen(), kIOReturnExclusiveAccess);
    EXPECT_EQ(second->USBInterfaceOpen(), kIOReturnExclusiveAccess);
    EXPECT_EQ(set(*second, 1), kIOReturnNotOpen);
    EXPECT_EQ(second->USBInterfaceClose(), kIOReturnNotOpen);
    EXPECT_EQ(set(first, 1), kIOReturnSuccess);
    EXPECT_EQ(first.USBInterfaceClose(), kIOReturnSuccess);
    EXPECT_EQ(second->USBInterfaceOpen(), kIOReturnSuccess);
}

TEST_F(Opening, an_object_that_ends_closes) {
    open();
    interface_ = {};
    EXPECT_EQ(bus_.openCount(), 0U);
    open();
}

TEST_F(Opening, a_node_that_may_not_be_opened_is_not_permitted) {
    bus_.refuseOpen("video0", EACCES);
    interface_ = control();
    EXPECT_EQ(interface_->USBInterfaceOpen(), kIOReturnNotPermitted);
    EXPECT_EQ(set(*interface_, 1), kIOReturnNotOpen);
    bus_.refuseOpen("video0", EBUSY);
    EXPECT_EQ(interface_->USBInterfaceOpen(), kIOReturnExclusiveAccess);
    bus_.refuseOpen("video0", ENODEV);
    EXPECT_EQ(interface_->USBInterfaceOpen(), kIOReturnNoDevice);
    bus_.refuseOpen("video0", EMFILE);
    EXPECT_EQ(interface_->USBInterfaceOpen(), kIOReturnError);
}

TEST_F(Opening, wrong_arguments_are_refused) {
    IOUSBInterfaceInterface& interface = open();
    uint8_t byte = 0;
    IOUSBDevRequest request{kGet, 0x81, 0x0400, 0x0100, 1, nullptr, 77};
    EXPECT_EQ(interface.ControlRequest(0, nullptr), kIOReturnBadArgument);
    EXPECT_EQ(interface.ControlRequest(0, &request), kIOReturnBadArgument);
    request.pData = &byte;
    EXPECT_EQ(interface.ControlRequest(1, &request), kIOReturnBadArgument);
    EXPECT_EQ(request.wLenDone, 77U);
}

TEST_F(Opening, two_threads_take_turns_or_find_it_taken) {
    constexpr int kEach = 100;
    std::atomic<int> failed{0};
    const auto work = [&] {
        const Ref<IOUSBInterfaceInterface> mine = control();
        for (int done = 0; done < kEach;) {
            const IOReturn opened = mine->USBInterfaceOpen();
            if (opened == kIOReturnExclusiveAccess) continue;
            const bool isGood = opened == kIOReturnSuccess && set(*mine, 1) == kIOReturnSuccess &&
                                mine->USBInterfaceClose() == kIOReturnSuccess;
            if (!isGood) ++failed;
            ++done;
        }
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(webcam_.sets.size(), 2U * kEach);
}

/* ---- Pace ---- */

TEST_F(Pacing, changes_keep_their_distance) {
    IOUSBInterfaceInterface& interface = open();
    for (uint8_t i = 0; i < 20; ++i) {
        EXPECT_EQ(set(interface, i), kIOReturnSuccess);
    }
    ASSERT_EQ(webcam_.sets.size(), 20U);
    for (size_t i = 1; i < webcam_.sets.size(); ++i) {
        EXPECT_EQ(webcam_.sets[i].at - webcam_.sets[i - 1].at, usb::Pace::kGap);
    }
}

TEST_F(Pacing, a_change_after_a_pause_waits_for_nothing) {
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(set(interface, 1), kIOReturnSuccess);
    bus_.sleepFor(usb::Pace::kGap);
    EXPECT_EQ(set(interface, 2), kIOReturnSuccess);
    EXPECT_EQ(bus_.sleeps(), (std::vector<usb::Duration>{usb::Pace::kGap}));
}

TEST_F(Pacing, part_of_the_distance_may_have_passed_already) {
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(set(interface, 1), kIOReturnSuccess);
    bus_.sleepFor(usb::Pace::kGap - 1ms);
    EXPECT_EQ(set(interface, 2), kIOReturnSuccess);
    EXPECT_EQ(bus_.sleeps().back(), usb::Duration(1ms));
}

TEST_F(Pacing, reading_never_waits) {
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(set(interface, 1), kIOReturnSuccess);
    for (uint8_t code = 0x81; code <= 0x87; ++code) {
        EXPECT_EQ(ask(interface, code, kExposure).result, kIOReturnSuccess);
    }
    EXPECT_TRUE(bus_.sleeps().empty());
}

TEST_F(Pacing, what_stalls_before_the_device_neither_waits_nor_counts) {
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(set(interface, 1), kIOReturnSuccess);
    EXPECT_EQ(put(interface, {1, 0, 0, 0}, kExposure, 3), kIOUSBPipeStalled);
    EXPECT_EQ(tell(interface, {1, 0}, 0x0302), kIOUSBPipeStalled);
    EXPECT_TRUE(bus_.sleeps().empty());
}

TEST_F(Pacing, it_goes_by_device_and_outlasts_closing) {
    interface_ = control();
    const Ref<IOUSBInterfaceInterface> other = control();
    for (IOUSBInterfaceInterface* interface : {interface_.get(), other.get(), interface_.get()}) {
        ASSERT_EQ(interface->USBInterfaceOpen(), kIOReturnSuccess);
        EXPECT_EQ(set(*interface, 1), kIOReturnSuccess);
        ASSERT_EQ(interface->USBInterfaceClose(), kIOReturnSuccess);
    }
    EXPECT_EQ(bus_.sleeps(), (std::vector<usb::Duration>{usb::Pace::kGap, usb::Pace::kGap}));
}

TEST_F(Pacing, extension_units_keep_it_too) {
    webcam_.extensions[{9, 1}] = {0};
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(set(interface, 1), kIOReturnSuccess);
    EXPECT_EQ(tell(interface, {1}, 0x0901), kIOReturnSuccess);
    EXPECT_EQ(webcam_.sets[1].at - webcam_.sets[0].at, usb::Pace::kGap);
}

TEST_F(Pacing, a_device_that_did_not_answer_is_left_alone_for_longer) {
    IOUSBInterfaceInterface& interface = open();
    webcam_.errors = {{VIDIOC_S_EXT_CTRLS, ETIMEDOUT}};
    EXPECT_EQ(set(interface, 1), kIOUSBTransactionTimeout);
    webcam_.errors.clear();
    EXPECT_EQ(set(interface, 2), kIOReturnSuccess);
    EXPECT_EQ(bus_.sleeps(), (std::vector<usb::Duration>{usb::Pace::kGapAfterSilence}));
    EXPECT_EQ(set(interface, 3), kIOReturnSuccess);
    EXPECT_EQ(bus_.sleeps().back(), usb::Pace::kGap);
}

/* ---- Without a driver ---- */

TEST_F(Driverless, requests_go_out_as_they_stand) {
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(device_.interface, 0);
    // Also those that no descriptor has: the device itself refuses them.
    EXPECT_EQ(ask(interface, 0x81, 0x0306).result, kIOReturnSuccess);
    EXPECT_EQ(tell(interface, {1}, 0x0902), kIOReturnSuccess);
    EXPECT_EQ(device_.setups, (std::vector<Bytes>{{0xA1, 0x81, 6, 3}, {0x21, 1, 2, 9}}));
}

TEST_F(Driverless, another_interface_s_driver_is_left_alone) {
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(get(interface, 0x81, 1, 0x0104, 1).result, kIOUSBPipeStalled);
    EXPECT_TRUE(device_.setups.empty());
}

TEST_F(Driverless, changes_keep_their_distance) {
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(tell(interface, {1}, 0x0902), kIOReturnSuccess);
    EXPECT_EQ(ask(interface, 0x81, 0x0902).result, kIOReturnSuccess);
    EXPECT_EQ(tell(interface, {1}, 0x0902), kIOReturnSuccess);
    device_.requestResult = kIOUSBTransactionTimeout;
    EXPECT_EQ(tell(interface, {1}, 0x0902), kIOUSBTransactionTimeout);
    EXPECT_EQ(tell(interface, {1}, 0x0902), kIOUSBTransactionTimeout);
    EXPECT_EQ(bus_.sleeps(),
              (std::vector<usb::Duration>{usb::Pace::kGap, usb::Pace::kGap, usb::Pace::kGapAfterSilence}));
}

TEST_F(Driverless, what_keeps_it_from_opening_is_told) {
    interface_ = control();
    device_.openResult = kIOReturnExclusiveAccess;
    EXPECT_EQ(interface_->USBInterfaceOpen(), kIOReturnExclusiveAccess);
    EXPECT_EQ(bus_.openCount(), 0U);
    bus_.refuseOpen("bus/usb/001/007", EACCES);
    EXPECT_EQ(interface_->USBInterfaceOpen(), kIOReturnNotPermitted);
}

TEST_F(Driverless, without_the_plug_in_it_cannot_be_opened) {
    bus_.setDirectAccess(nullptr);
    interface_ = control();
    EXPECT_EQ(interface_->USBInterfaceOpen(), kIOReturnError);
    device_.openResult = kIOUSBPipeStalled;
    bus_.setDirectAccess(&kFakeAccess);
    EXPECT_EQ(interface_->USBInterfaceOpen(), kIOUSBPipeStalled);
}

}  // namespace test
