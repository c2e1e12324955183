/* LinuxUsb.h: one webcam on a made-up system, and the library standing on it. */
#pragma once

#include <linux/videodev2.h>

#include "tests/USB/UsbCalls.h"
#include "tests/USB/linux/FakeBus.h"

namespace test {

class LinuxUsb : public UsbCalls {
protected:
    void SetUp() override {
        bus_.plugIn("1-2.4", 7, webcamDescriptors());
        bus_.addInterface("1-2.4", "1-2.4:1.0", 0, "0e", "01");
        bus_.addInterface("1-2.4", "1-2.4:1.1", 1, "0e", "02");
        bus_.addNode("1-2.4", "1-2.4:1.0", "video0", webcam_);
        usb::use(&bus_);
    }
    void TearDown() override {
        interface_ = {};
        EXPECT_EQ(bus_.openCount(), 0U);
        usb::use(nullptr);
    }

    /** Requests to interface 0. */
    static Answer ask(IOUSBInterfaceInterface& interface, uint8_t code, uint16_t unitAndSelector,
                      uint16_t length = 8) {
        return get(interface, code, length, unitAndSelector, 0);
    }
    static IOReturn tell(IOUSBInterfaceInterface& interface, const Bytes& bytes, uint16_t unitAndSelector) {
        return put(interface, bytes, unitAndSelector, 0);
    }
    static Answer done(const Bytes& bytes) { return {kIOReturnSuccess, bytes}; }

    FakeWebcam webcam_;
    FakeBus bus_;
};

}  // namespace test
