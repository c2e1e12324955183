// Requests to a webcam behind its driver: the bytes, the sizes and the stalls of the bus.
#include <errno.h>
#include <gtest/gtest.h>
#include <linux/uvcvideo.h>

#include "frameworks/USB/linux/ControlTable.h"
#include "tests/USB/linux/LinuxUsb.h"

namespace test {
namespace {

enum Code : uint8_t { kCur = 0x81, kMin, kMax, kRes, kLen, kInfo, kDef };

/** Replaces the webcam by one with these controls in its descriptors. */
class Requests : public LinuxUsb {
protected:
    void describe(const Bytes& descriptors) {
        interface_ = {};
        bus_.plugIn("1-2.4", 7, descriptors);
    }
};

}  // namespace

TEST_F(Requests, a_number_answers_every_request_with_the_control_s_bytes) {
    webcam_.controls[V4L2_CID_EXPOSURE_ABSOLUTE] = {
        .lowest = 1, .highest = 10000, .step = 5, .standard = 300, .current = 0x1234};
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(ask(interface, kCur, 0x0104), done({0x34, 0x12, 0, 0}));
    EXPECT_EQ(ask(interface, kMin, 0x0104), done({1, 0, 0, 0}));
    EXPECT_EQ(ask(interface, kMax, 0x0104), done({0x10, 0x27, 0, 0}));
    EXPECT_EQ(ask(interface, kRes, 0x0104), done({5, 0, 0, 0}));
    EXPECT_EQ(ask(interface, kLen, 0x0104), done({4, 0}));
    EXPECT_EQ(ask(interface, kInfo, 0x0104), done({3}));
    EXPECT_EQ(ask(interface, kDef, 0x0104), done({0x2C, 1, 0, 0}));
    // The host's buffer may be shorter than the control.
    EXPECT_EQ(ask(interface, kCur, 0x0104, 1), done({0x34}));
    EXPECT_EQ(ask(interface, kCur, 0x0104, 0), done({}));
    EXPECT_EQ(ask(interface, kLen, 0x0104, 1), done({4}));
    EXPECT_EQ(ask(interface, 0x88, 0x0104), kStall);
    EXPECT_EQ(ask(interface, 0x80, 0x0104), kStall);
    EXPECT_EQ(ask(interface, 0x01, 0x0104), kStall);
}

TEST_F(Requests, a_set_reaches_the_driver_as_a_number) {
    webcam_.controls[V4L2_CID_EXPOSURE_ABSOLUTE] = {.lowest = 1, .highest = 100000};
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(tell(interface, {0x70, 0x11, 1, 0}, 0x0104), kIOReturnSuccess);
    ASSERT_EQ(webcam_.sets.size(), 1U);
    EXPECT_EQ(webcam_.sets[0].values,
              (std::vector<std::pair<uint32_t, int32_t>>{{V4L2_CID_EXPOSURE_ABSOLUTE, 0x11170}}));
    EXPECT_EQ(ask(interface, kCur, 0x0104), done({0x70, 0x11, 1, 0}));
}

TEST_F(Requests, a_set_of_another_length_or_out_of_range_stalls_and_changes_nothing) {
    webcam_.controls[V4L2_CID_EXPOSURE_ABSOLUTE] = {.lowest = 3, .highest = 1000, .current = 5};
    IOUSBInterfaceInterface& interface = open();
    for (const Bytes& bytes : {Bytes{}, Bytes{4}, Bytes{4, 0}, Bytes{4, 0, 0, 0, 0}, Bytes{2, 0, 0, 0},
                               Bytes{0xE9, 3, 0, 0}, Bytes{0xFF, 0xFF, 0xFF, 0xFF}}) {
        EXPECT_EQ(tell(interface, bytes, 0x0104), kIOUSBPipeStalled);
    }
    EXPECT_TRUE(webcam_.sets.empty());
    EXPECT_EQ(webcam_.controls[V4L2_CID_EXPOSURE_ABSOLUTE].current, 5);
}

TEST_F(Requests, signed_numbers_keep_their_sign) {
    webcam_.controls[V4L2_CID_BRIGHTNESS] = {.lowest = -64, .highest = 64, .standard = 0, .current = -5};
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(ask(interface, kCur, 0x0202), done({0xFB, 0xFF}));
    EXPECT_EQ(ask(interface, kMin, 0x0202), done({0xC0, 0xFF}));
    EXPECT_EQ(ask(interface, kMax, 0x0202), done({0x40, 0}));
    EXPECT_EQ(tell(interface, {0xC0, 0xFF}, 0x0202), kIOReturnSuccess);
    EXPECT_EQ(webcam_.controls[V4L2_CID_BRIGHTNESS].current, -64);
    EXPECT_EQ(tell(interface, {0xBF, 0xFF}, 0x0202), kIOUSBPipeStalled);
}

TEST_F(Requests, unsigned_numbers_have_none) {
    webcam_.controls[V4L2_CID_WHITE_BALANCE_TEMPERATURE] = {
        .lowest = 0, .highest = 0xFFFF, .current = 0xFFFE};
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(ask(interface, kCur, 0x020A), done({0xFE, 0xFF}));
    EXPECT_EQ(tell(interface, {0xFF, 0xFF}, 0x020A), kIOReturnSuccess);
    EXPECT_EQ(webcam_.controls[V4L2_CID_WHITE_BALANCE_TEMPERATURE].current, 0xFFFF);
}

TEST_F(Requests, exposure_modes_are_bits_on_the_bus_and_a_menu_in_the_driver) {
    struct Row {
        uint8_t bit;
        int32_t item;
    };
    webcam_.controls[V4L2_CID_EXPOSURE_AUTO] = {
        .lowest = 0,
        .highest = 3,
        .standard = V4L2_EXPOSURE_APERTURE_PRIORITY,
        .menu = {V4L2_EXPOSURE_MANUAL, V4L2_EXPOSURE_APERTURE_PRIORITY}};
    IOUSBInterfaceInterface& interface = open();
    for (const Row& row : {Row{1, V4L2_EXPOSURE_MANUAL}, Row{2, V4L2_EXPOSURE_AUTO},
                           Row{4, V4L2_EXPOSURE_SHUTTER_PRIORITY}, Row{8, V4L2_EXPOSURE_APERTURE_PRIORITY}}) {
        EXPECT_EQ(tell(interface, {row.bit}, 0x0102), kIOReturnSuccess);
        EXPECT_EQ(webcam_.controls[V4L2_CID_EXPOSURE_AUTO].current, row.item);
        EXPECT_EQ(ask(interface, kCur, 0x0102), done({row.bit}));
    }
    for (const uint8_t other : std::initializer_list<uint8_t>{0, 3, 5, 16, 255}) {
        EXPECT_EQ(tell(interface, {other}, 0x0102), kIOUSBPipeStalled) << int{other};
    }
    EXPECT_EQ(ask(interface, kRes, 0x0102), done({9}));
    EXPECT_EQ(ask(interface, kDef, 0x0102), done({8}));
    EXPECT_EQ(ask(interface, kMin, 0x0102), kStall);
    EXPECT_EQ(ask(interface, kMax, 0x0102), kStall);
}

TEST_F(Requests, switches_have_no_range) {
    webcam_.controls[V4L2_CID_FOCUS_AUTO] = {.lowest = 0, .highest = 1, .standard = 1, .current = 1};
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(ask(interface, kCur, 0x0108), done({1}));
    EXPECT_EQ(ask(interface, kDef, 0x0108), done({1}));
    EXPECT_EQ(ask(interface, kMin, 0x0108), kStall);
    EXPECT_EQ(ask(interface, kRes, 0x0108), kStall);
    EXPECT_EQ(tell(interface, {0}, 0x0108), kIOReturnSuccess);
    EXPECT_EQ(tell(interface, {2}, 0x0108), kIOUSBPipeStalled);
    EXPECT_EQ(webcam_.controls[V4L2_CID_FOCUS_AUTO].current, 0);
}

TEST_F(Requests, pan_and_tilt_are_one_request_of_two_numbers) {
    webcam_.controls[V4L2_CID_PAN_ABSOLUTE] = {
        .lowest = -36000, .highest = 36000, .step = 3600, .current = -3600};
    webcam_.controls[V4L2_CID_TILT_ABSOLUTE] = {
        .lowest = -7200, .highest = 7200, .step = 360, .current = 360};
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(ask(interface, kCur, 0x010D), done({0xF0, 0xF1, 0xFF, 0xFF, 0x68, 1, 0, 0}));
    EXPECT_EQ(ask(interface, kRes, 0x010D), done({0x10, 0x0E, 0, 0, 0x68, 1, 0, 0}));
    EXPECT_EQ(ask(interface, kLen, 0x010D), done({8, 0}));
    EXPECT_EQ(tell(interface, {0x10, 0x0E, 0, 0, 0x98, 0xFE, 0xFF, 0xFF}, 0x010D), kIOReturnSuccess);
    ASSERT_EQ(webcam_.sets.size(), 1U);
    EXPECT_EQ(webcam_.sets[0].values, (std::vector<std::pair<uint32_t, int32_t>>{
                                          {V4L2_CID_PAN_ABSOLUTE, 3600}, {V4L2_CID_TILT_ABSOLUTE, -360}}));
    // One half out of range: neither moves.
    EXPECT_EQ(tell(interface, {0, 0, 0, 0, 0, 0, 1, 0}, 0x010D), kIOUSBPipeStalled);
    EXPECT_EQ(webcam_.controls[V4L2_CID_PAN_ABSOLUTE].current, 3600);
}

TEST_F(Requests, what_a_control_can_do_shows_in_its_info) {
    FakeControl& focus = webcam_.controls[V4L2_CID_FOCUS_ABSOLUTE];
    IOUSBInterfaceInterface& interface = open();
    focus.flags = V4L2_CTRL_FLAG_READ_ONLY;
    EXPECT_EQ(ask(interface, kInfo, 0x0106), done({1}));
    EXPECT_EQ(tell(interface, {1, 0}, 0x0106), kIOUSBPipeStalled);
    focus.flags = V4L2_CTRL_FLAG_WRITE_ONLY;
    EXPECT_EQ(ask(interface, kInfo, 0x0106), done({2}));
    EXPECT_EQ(ask(interface, kCur, 0x0106), kStall);
    focus.flags = V4L2_CTRL_FLAG_INACTIVE | V4L2_CTRL_FLAG_VOLATILE;
    EXPECT_EQ(ask(interface, kInfo, 0x0106), done({15}));
    focus.flags = V4L2_CTRL_FLAG_DISABLED;
    EXPECT_EQ(ask(interface, kInfo, 0x0106), kStall);
}

TEST_F(Requests, each_row_of_the_table_reaches_its_own_controls) {
    for (const usb::ControlRow& row : usb::controlRows()) {
        for (const usb::Field& field : row.fields()) {
            webcam_.controls[field.id] = {.lowest = 0, .highest = 1, .current = 0};
        }
    }
    // A switch of its own only where there is none for the temperature, whose name the driver gives to both.
    describe(webcamDescriptors(kAllOfCamera, kAllOfProcessing & ~(1U << 12)));
    IOUSBInterfaceInterface& interface = open();
    for (const usb::ControlRow& row : usb::controlRows()) {
        if (row.kind == usb::EntityKind::processingUnit && row.selector == 0x0B) continue;
        const bool isCamera = row.kind == usb::EntityKind::cameraTerminal;
        const auto control = static_cast<uint16_t>((isCamera ? 0x0100 : 0x0200) | row.selector);
        Bytes one(row.size);
        for (const usb::Field& field : row.fields()) {
            one[field.offset] = 1;
        }
        webcam_.sets.clear();
        EXPECT_EQ(tell(interface, one, control), kIOReturnSuccess) << control;
        ASSERT_EQ(webcam_.sets.size(), 1U) << control;
        ASSERT_EQ(webcam_.sets[0].values.size(), row.fields().size());
        for (size_t i = 0; i < row.fields().size(); ++i) {
            EXPECT_EQ(webcam_.sets[0].values[i].first, row.fields()[i].id);
        }
        EXPECT_EQ(ask(interface, kCur, control), done(one)) << control;
        EXPECT_EQ(ask(interface, kLen, control), done({row.size, 0})) << control;
    }
}

TEST_F(Requests, the_temperature_s_switch_hides_the_components_one) {
    webcam_.controls[V4L2_CID_AUTO_WHITE_BALANCE] = {.lowest = 0, .highest = 1};
    EXPECT_EQ(tell(open(), {1}, 0x020B), kIOReturnSuccess);
    EXPECT_EQ(tell(*interface_, {1}, 0x020D), kIOUSBPipeStalled);
}

TEST_F(Requests, what_the_descriptors_do_not_have_stalls_before_the_driver_is_asked) {
    for (const usb::ControlRow& row : usb::controlRows()) {
        for (const usb::Field& field : row.fields()) {
            webcam_.controls[field.id] = {};
        }
    }
    webcam_.extensions[{9, 5}] = {1};
    describe(webcamDescriptors(0x0A, 0x01));
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(ask(interface, kCur, 0x0104).result, kIOReturnSuccess);
    EXPECT_EQ(ask(interface, kCur, 0x0202).result, kIOReturnSuccess);
    webcam_.calls = 0;
    for (const uint16_t control : std::initializer_list<uint16_t>{
             0x0106, 0x0108, 0x0203, 0x0204, 0x0302, 0x0304, 0x0004, 0x0001, 0x0100, 0x0113, 0x0200, 0x02FF,
             0x0402, 0x0900, 0x0905, 0x09FF, 0xFF04}) {
        EXPECT_EQ(ask(interface, kCur, control), kStall) << control;
        EXPECT_EQ(tell(interface, {1, 0}, control), kIOUSBPipeStalled) << control;
    }
    EXPECT_EQ(webcam_.calls, 0);
}

TEST_F(Requests, other_interfaces_and_kinds_of_requests_stall_before_the_driver_is_asked) {
    webcam_.controls[V4L2_CID_EXPOSURE_ABSOLUTE] = {};
    IOUSBInterfaceInterface& interface = open();
    webcam_.calls = 0;
    for (const uint8_t number : std::initializer_list<uint8_t>{1, 2, 3, 255}) {
        EXPECT_EQ(get(interface, kCur, 4, 0x0104, number), kStall);
        EXPECT_EQ(put(interface, {1, 0, 0, 0}, 0x0104, number), kIOUSBPipeStalled);
    }
    uint8_t byte = 0;
    for (const uint8_t type : std::initializer_list<uint8_t>{0x20, 0xA0, 0x41, 0xC1, 0x80, 0, 0x22, 0xA2}) {
        IOUSBDevRequest request{type, kCur, 0x0400, 0x0100, 1, &byte, 0};
        EXPECT_EQ(interface.ControlRequest(0, &request), kIOUSBPipeStalled) << int{type};
    }
    IOUSBDevRequest odd{kGet, kCur, 0x0401, 0x0100, 1, &byte, 0};
    EXPECT_EQ(interface.ControlRequest(0, &odd), kIOUSBPipeStalled);
    IOUSBDevRequest written{kSet, kCur, 0x0400, 0x0100, 1, &byte, 0};
    EXPECT_EQ(interface.ControlRequest(0, &written), kIOUSBPipeStalled);
    EXPECT_EQ(webcam_.calls, 0);
}

TEST_F(Requests, of_two_units_with_one_control_only_the_driver_s_is_reached) {
    webcam_.controls[V4L2_CID_BRIGHTNESS] = {};
    webcam_.controls[V4L2_CID_CONTRAST] = {};
    describe(joined(
        {deviceDescriptor(), configuration(1, joined({interfaceDescriptor(0, 0, 14, 1), header(),
                                                      processingUnit(2, 0x01), processingUnit(3, 0x03)}))}));
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(ask(interface, kCur, 0x0202).result, kIOReturnSuccess);
    EXPECT_EQ(ask(interface, kCur, 0x0302), kStall);
    EXPECT_EQ(ask(interface, kCur, 0x0303).result, kIOReturnSuccess);
}

TEST_F(Requests, a_control_that_the_driver_dropped_stalls) {
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(ask(interface, kCur, 0x0104), kStall);
    EXPECT_EQ(tell(interface, {1, 0, 0, 0}, 0x0104), kIOUSBPipeStalled);
    EXPECT_EQ(ask(interface, kLen, 0x0104), done({4, 0}));
}

TEST_F(Requests, descriptors_without_sense_leave_no_controls) {
    webcam_.controls[V4L2_CID_EXPOSURE_ABSOLUTE] = {};
    describe({});
    EXPECT_EQ(ask(open(), kCur, 0x0104), kStall);
}

TEST_F(Requests, several_nodes_are_asked_in_turn_and_those_without_pictures_never) {
    FakeWebcam metadata;
    metadata.capabilities = V4L2_CAP_META_CAPTURE;
    metadata.controls[V4L2_CID_CONTRAST] = {.current = 1};
    FakeWebcam second;
    second.controls[V4L2_CID_CONTRAST] = {.current = 2};
    second.extensions[{9, 1}] = {5, 6};
    bus_.addNode("1-2.4", "1-2.4:1.0", "video9", metadata);
    bus_.addNode("1-2.4", "1-2.4:1.0", "video10", second);
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(ask(interface, kCur, 0x0203), done({2, 0}));
    EXPECT_EQ(tell(interface, {7, 0}, 0x0203), kIOReturnSuccess);
    EXPECT_EQ(second.controls[V4L2_CID_CONTRAST].current, 7);
    EXPECT_EQ(ask(interface, kCur, 0x0901), done({5, 6}));
    EXPECT_EQ(metadata.calls, 1);
}

/* ---- Extension units ---- */

TEST_F(Requests, extension_units_are_asked_in_the_size_that_they_have) {
    webcam_.extensions[{9, 3}] = {1, 2, 3, 4, 5, 6, 7, 8};
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(ask(interface, kCur, 0x0903), done({1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(ask(interface, kCur, 0x0903, 2), done({1, 2}));
    EXPECT_EQ(ask(interface, kCur, 0x0903, 60), done({1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(ask(interface, kDef, 0x0903, 0), done({}));
    EXPECT_EQ(ask(interface, kLen, 0x0903), done({8, 0}));
    EXPECT_EQ(ask(interface, kInfo, 0x0903), done({3}));
    EXPECT_EQ(tell(interface, {8, 7, 6, 5, 4, 3, 2, 1}, 0x0903), kIOReturnSuccess);
    EXPECT_EQ((webcam_.extensions[{9, 3}]), (Bytes{8, 7, 6, 5, 4, 3, 2, 1}));
}

TEST_F(Requests, extension_units_stall_on_other_sizes_and_unknown_requests) {
    webcam_.extensions[{9, 1}] = {1, 2};
    IOUSBInterfaceInterface& interface = open();
    for (const Bytes& bytes : {Bytes{}, Bytes{1}, Bytes{1, 2, 3}}) {
        EXPECT_EQ(tell(interface, bytes, 0x0901), kIOUSBPipeStalled);
    }
    EXPECT_EQ((webcam_.extensions[{9, 1}]), (Bytes{1, 2}));
    EXPECT_EQ(ask(interface, kMin, 0x0901), kStall);
    EXPECT_EQ(ask(interface, 0x88, 0x0901), kStall);
    EXPECT_EQ(ask(interface, kCur, 0x0902), kStall);
}

TEST_F(Requests, the_size_of_an_extension_unit_s_control_is_asked_for_once) {
    webcam_.extensions[{9, 1}] = {1, 2};
    interface_ = control();
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(interface_->USBInterfaceOpen(), kIOReturnSuccess);
        EXPECT_EQ(ask(*interface_, kCur, 0x0901), done({1, 2}));
        EXPECT_EQ(interface_->USBInterfaceClose(), kIOReturnSuccess);
    }
    EXPECT_EQ(webcam_.queries, (std::vector<uint8_t>{kLen, kCur, kCur}));
}

/* ---- Errors ---- */

TEST_F(Requests, errors_of_the_driver_are_the_bus_s) {
    struct Row {
        int error;
        IOReturn result;
    };
    webcam_.controls[V4L2_CID_EXPOSURE_ABSOLUTE] = {};
    webcam_.extensions[{9, 1}] = {1};
    IOUSBInterfaceInterface& interface = open();
    for (const Row& row :
         {Row{EPIPE, kIOUSBPipeStalled}, Row{EIO, kIOUSBPipeStalled}, Row{EBUSY, kIOUSBPipeStalled},
          Row{EACCES, kIOUSBPipeStalled}, Row{EILSEQ, kIOUSBPipeStalled}, Row{ERANGE, kIOUSBPipeStalled},
          Row{EREMOTE, kIOUSBPipeStalled}, Row{EINVAL, kIOUSBPipeStalled}, Row{ENOENT, kIOUSBPipeStalled},
          Row{ENOBUFS, kIOUSBPipeStalled}, Row{EBADRQC, kIOUSBPipeStalled}, Row{ENODEV, kIOReturnNoDevice},
          Row{ESHUTDOWN, kIOReturnNoDevice}, Row{EPERM, kIOReturnNotPermitted},
          Row{ETIMEDOUT, kIOUSBTransactionTimeout}, Row{ENOMEM, kIOReturnNoMemory},
          Row{EPROTO, kIOReturnError}, Row{EFAULT, kIOReturnError}}) {
        for (const unsigned long call :
             {VIDIOC_QUERY_EXT_CTRL, VIDIOC_G_EXT_CTRLS, VIDIOC_S_EXT_CTRLS, UVCIOC_CTRL_QUERY}) {
            webcam_.errors = {{call, row.error}};
            if (call != VIDIOC_S_EXT_CTRLS && call != UVCIOC_CTRL_QUERY) {
                EXPECT_EQ(ask(interface, kCur, 0x0104).result, row.result) << row.error;
            }
            if (call == VIDIOC_S_EXT_CTRLS) {
                EXPECT_EQ(tell(interface, {1, 0, 0, 0}, 0x0104), row.result) << row.error;
            }
            if (call == UVCIOC_CTRL_QUERY) {
                EXPECT_EQ(ask(interface, kCur, 0x0901).result, row.result) << row.error;
                EXPECT_EQ(tell(interface, {1}, 0x0901), row.result) << row.error;
            }
        }
    }
    webcam_.errors.clear();
    EXPECT_EQ(tell(interface, {1, 0, 0, 0}, 0x0104), kIOReturnSuccess);
}

TEST_F(Requests, a_device_that_vanishes_while_open_says_so) {
    webcam_.controls[V4L2_CID_EXPOSURE_ABSOLUTE] = {};
    IOUSBInterfaceInterface& interface = open();
    webcam_.isGone = true;
    bus_.pullOut("1-2.4");
    EXPECT_EQ(ask(interface, kCur, 0x0104).result, kIOReturnNoDevice);
    EXPECT_EQ(tell(interface, {1, 0, 0, 0}, 0x0104), kIOReturnNoDevice);
    EXPECT_EQ(interface.ClearPipeStall(1), kIOReturnNoDevice);
    EXPECT_EQ(interface.USBInterfaceClose(), kIOReturnSuccess);
    EXPECT_EQ(interface.USBInterfaceOpen(), kIOReturnNoDevice);
}

}  // namespace test
