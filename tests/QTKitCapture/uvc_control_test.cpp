// The controls of a webcam, by their bytes on the bus.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <thread>

#include "QTKitCapture/src/UVCCameraControl.h"
#include "tests/QTKitCapture/FakeUsb.h"

namespace {

using Lines = std::vector<std::string>;
using Uvc = UVCCameraControl;

constexpr uint32_t kPlace = 0x1A110000;

class UvcControl : public ::testing::Test {
protected:
    void SetUp() override {
        FakeUsb::bus().reset();
        resetUVCControlTable();
    }
    void TearDown() override {
        EXPECT_EQ(FakeUsb::bus().openInterfaces, 0);
        resetUVCControlTable();
    }

    /** A webcam whose exposure answers at once, so that nothing else is probed. */
    static FakeUsbDevice webcam() {
        FakeUsbDevice device;
        device.location = kPlace;
        device.controls[{1, 4}] = {1, 10000, 156};
        return device;
    }
    FakeUsbDevice& plugIn(const FakeUsbDevice& device = webcam()) { return FakeUsb::bus().add(device); }
    /** The control of the webcam there, with the record of the search forgotten. */
    static Ref<Uvc> open(uint32_t place = kPlace) {
        Ref<Uvc> uvc = Uvc::initWithLocationID(place);
        FakeUsb::bus().forget();
        return uvc;
    }
    static Lines requests() { return FakeUsb::bus().requests(); }
    static Lines calls() { return FakeUsb::bus().calls(); }
    /** What the platform log got, without its date and process. */
    static std::string logOf(const std::function<void()>& action) {
        ::testing::internal::CaptureStderr();
        action();
        const std::string log = ::testing::internal::GetCapturedStderr();
        std::string texts;
        for (size_t at = 0; at < log.size();) {
            const size_t end = log.find('\n', at);
            const size_t text = log.find("] ", at);
            texts += log.substr(text + 2, end - text - 1);
            at = end + 1;
        }
        return texts;
    }
};

TEST_F(UvcControl, has_the_standard_controls_and_one_vendors_focus) {
    const std::vector<UVCControl> rows = {{1, 2, 1}, {1, 4, 4},  {2, 2, 2},  {2, 3, 2}, {2, 4, 2}, {2, 7, 2},
                                          {2, 8, 2}, {2, 10, 2}, {2, 11, 1}, {9, 3, 8}, {1, 8, 1}};
    for (size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(Uvc::control(static_cast<UVCRow>(i)), rows[i]) << i;
    }
}

/* ---- Search ---- */

TEST_F(UvcControl, takes_the_device_at_the_place) {
    FakeUsbDevice other = webcam();
    other.location = 0x14100000;
    other.controls[{1, 4}].current = 0;
    FakeUsbDevice& first = plugIn(other);
    FakeUsbDevice& second = plugIn();
    std::string log;
    Ref<Uvc> uvc;
    log = logOf([&] { uvc = Uvc::initWithLocationID(kPlace); });
    EXPECT_TRUE(uvc->hasInterface());
    EXPECT_EQ(log, "CameraControl determineInterfaceId iface = 0.\n");
    EXPECT_EQ((first.controls[{1, 4}].current), 0u);
    EXPECT_NE((second.controls[{1, 4}].current), 156u);
}

TEST_F(UvcControl, has_no_interface_where_no_device_is) {
    plugIn();
    std::string log;
    log = logOf([&] {
        const Ref<Uvc> uvc = Uvc::initWithLocationID(0);
        ASSERT_TRUE(uvc);
        EXPECT_FALSE(uvc->hasInterface());
    });
    EXPECT_EQ(log, "");
    EXPECT_TRUE(calls().empty());
}

TEST_F(UvcControl, without_a_control_interface_probes_in_vain) {
    FakeUsbDevice device = webcam();
    device.hasControlInterface = false;
    plugIn(device);
    const std::string log = logOf([&] { EXPECT_FALSE(Uvc::initWithLocationID(kPlace)->hasInterface()); });
    // Three controls on four interfaces, three requests each.
    const std::string line = "CameraControl Error: No interface to send request\n";
    EXPECT_EQ(log.size(), 36 * line.size());
    EXPECT_EQ(log.substr(0, line.size()), line);
    EXPECT_TRUE(calls().empty());
}

TEST_F(UvcControl, tells_why_a_service_is_no_device_and_goes_on) {
    FakeUsbDevice noPlugIn = webcam();
    noPlugIn.devicePlugIn = kIOReturnNoDevice;
    plugIn(noPlugIn);
    FakeUsbDevice noQuery = webcam();
    noQuery.deviceQuery = kIOReturnNoMemory;
    plugIn(noQuery);
    plugIn();
    const std::string log = logOf([&] { EXPECT_TRUE(Uvc::initWithLocationID(kPlace)->hasInterface()); });
    EXPECT_EQ(log,
              "CameraControl Error: IOCreatePlugInInterfaceForService returned 0xe00002c0.\n"
              "CameraControl Error: QueryInterface returned -536870211.\n"
              "CameraControl determineInterfaceId iface = 0.\n");
}

TEST_F(UvcControl, blames_the_release_of_the_service_when_the_interface_has_no_plug_in) {
    FakeUsbDevice device = webcam();
    device.interfacePlugIn = kIOReturnNoDevice;
    plugIn(device);
    const std::string log = logOf([&] { EXPECT_FALSE(Uvc::initWithLocationID(kPlace)->hasInterface()); });
    EXPECT_EQ(log.substr(0, log.find('\n') + 1),
              "CameraControl Error: Unable to create a plug-in (00000000)\n");
}

TEST_F(UvcControl, gives_a_good_interface_up_when_its_service_cannot_be_released) {
    FakeUsbDevice device = webcam();
    device.interfaceRelease = kIOReturnBadArgument;
    plugIn(device);
    const std::string log = logOf([&] { EXPECT_FALSE(Uvc::initWithLocationID(kPlace)->hasInterface()); });
    EXPECT_EQ(log.substr(0, log.find('\n') + 1),
              "CameraControl Error: Unable to create a plug-in (e00002c2)\n");
}

TEST_F(UvcControl, tells_when_the_plug_in_has_no_interface) {
    FakeUsbDevice device = webcam();
    device.interfaceQuery = kIOReturnNoMemory;
    plugIn(device);
    const std::string log = logOf([&] { EXPECT_FALSE(Uvc::initWithLocationID(kPlace)->hasInterface()); });
    EXPECT_EQ(log.substr(0, log.find('\n') + 1),
              "CameraControl Error: Couldn\u2019t create a device interface for the interface (e00002bd)\n");
}

TEST_F(UvcControl, finds_the_first_device_of_a_kind) {
    FakeUsbDevice device = webcam();
    device.vendor = 0x46D;
    device.product = 0x82D;
    plugIn();
    plugIn(device);
    EXPECT_TRUE(Uvc::initWithVendorID_productID(0x46D, 0x82D)->hasInterface());
    EXPECT_FALSE(Uvc::initWithVendorID_productID(0x46D, 0x82E)->hasInterface());
}

TEST_F(UvcControl, of_a_kind_tries_one_service_only) {
    FakeUsbDevice device = webcam();
    device.deviceQuery = kIOReturnNoMemory;
    plugIn(device);
    plugIn();
    const std::string log =
        logOf([&] { EXPECT_FALSE(Uvc::initWithVendorID_productID(0, 0)->hasInterface()); });
    EXPECT_EQ(log, "CameraControl Error: QueryInterface returned -536870211.\n");
}

/* ---- The interface's number ---- */

TEST_F(UvcControl, leaves_the_probed_control_where_the_probe_put_it) {
    FakeUsbDevice& device = plugIn();
    const Ref<Uvc> uvc = Uvc::initWithLocationID(kPlace);
    EXPECT_EQ(uvc->iface(), 0u);
    // 0.9 of 1 to 10000.
    EXPECT_EQ((device.controls[{1, 4}].current), 9000u);
    EXPECT_EQ(requests(), (Lines{"A1 82 0400 0100 4", "A1 83 0400 0100 4", "21 01 0400 0100 4: 28230000"}));
}

TEST_F(UvcControl, probes_brightness_and_gain_when_exposure_fails) {
    FakeUsbDevice device = webcam();
    device.controls.clear();
    device.controls[{2, 4}] = {0, 255, 0};
    FakeUsbDevice& there = plugIn(device);
    Ref<Uvc> uvc;
    logOf([&] { uvc = Uvc::initWithLocationID(kPlace); });
    EXPECT_EQ(requests(), (Lines{"A1 82 0400 0100 4", "A1 83 0400 0100 4", "21 01 0400 0100 4: 00000000",
                                 "A1 82 0200 0200 2", "A1 83 0200 0200 2", "21 01 0200 0200 2: 0000",
                                 "A1 82 0400 0200 2", "A1 83 0400 0200 2", "21 01 0400 0200 2: 1900"}));
    EXPECT_EQ((there.controls[{2, 4}].current), 25u);
}

class InterfaceNumber : public UvcControl, public ::testing::WithParamInterface<int> {};

TEST_P(InterfaceNumber, is_found_by_trying) {
    FakeUsbDevice device = webcam();
    device.interface = static_cast<uint8_t>(GetParam());
    plugIn(device);
    Ref<Uvc> uvc;
    const std::string log = logOf([&] { uvc = Uvc::initWithLocationID(kPlace); });
    EXPECT_EQ(uvc->iface(), static_cast<uint32_t>(GetParam()));
    const std::string line =
        "CameraControl determineInterfaceId iface = " + std::to_string(GetParam()) + ".\n";
    EXPECT_EQ(log.substr(log.size() - line.size()), line);
    FakeUsb::bus().forget();
    EXPECT_TRUE(uvc->setExposure(0.0F));
    EXPECT_EQ(requests().back(), "21 01 0400 010" + std::to_string(GetParam()) + " 4: 10270000");
}

INSTANTIATE_TEST_SUITE_P(all, InterfaceNumber, ::testing::Values(0, 1, 2, 3));

TEST_F(UvcControl, ends_the_search_at_interface_0_without_a_word_when_none_answers) {
    FakeUsbDevice device = webcam();
    device.interface = 4;
    plugIn(device);
    Ref<Uvc> uvc;
    const std::string log = logOf([&] { uvc = Uvc::initWithLocationID(kPlace); });
    EXPECT_TRUE(uvc->hasInterface());
    EXPECT_EQ(uvc->iface(), 0u);
    EXPECT_EQ(requests().size(), 36u);
    EXPECT_EQ(log.find("determineInterfaceId"), std::string::npos);
}

/* ---- Requests ---- */

TEST_F(UvcControl, opens_and_closes_the_interface_around_every_request) {
    plugIn();
    const Ref<Uvc> uvc = open();
    EXPECT_EQ(uvc->getDataFor_withLength_fromSelector_at(0x81, 4, 4, 1), 9000);
    EXPECT_EQ(calls(), (Lines{"open", "A1 81 0400 0100 4", "close"}));
}

TEST_F(UvcControl, clears_the_stall_of_pipe_1_when_the_device_refuses) {
    plugIn();
    const Ref<Uvc> uvc = open();
    const std::string log = logOf([&] { EXPECT_FALSE(uvc->setGain(0.5F)); });
    const Lines once = {"open", "A1 82 0400 0200 2", "clear 1", "close"};
    const Lines all = calls();
    EXPECT_EQ(Lines(all.begin(), all.begin() + 4), once);
    EXPECT_EQ(log.substr(0, log.find('\n') + 1), "CameraControl Error: Control request failed: e000404f\n");
}

TEST_F(UvcControl, clears_no_stall_after_other_failures) {
    FakeUsbDevice& device = plugIn();
    const Ref<Uvc> uvc = open();
    device.request = kIOUSBTransactionTimeout;
    const std::string log = logOf([&] { EXPECT_FALSE(uvc->setAutoFocus(true)); });
    EXPECT_EQ(calls(), (Lines{"open", "21 01 0800 0100 1: 01", "close"}));
    EXPECT_EQ(log, "CameraControl Error: Control request failed: e0004051\n");
}

TEST_F(UvcControl, sends_nothing_through_an_interface_that_does_not_open) {
    FakeUsbDevice& device = plugIn();
    const Ref<Uvc> uvc = open();
    device.open = kIOReturnExclusiveAccess;
    const std::string log = logOf([&] { EXPECT_FALSE(uvc->setAutoFocus(true)); });
    EXPECT_EQ(calls(), Lines{"open"});
    EXPECT_EQ(log, "CameraControl Error: Unable to open interface (e00002c5)\n");
}

TEST_F(UvcControl, closes_the_interface_with_its_end) {
    plugIn();
    open();
    FakeUsb::bus().forget();
    { const Ref<Uvc> uvc = open(); }
    EXPECT_EQ(calls(), Lines{"close"});
}

TEST_F(UvcControl, refuses_lengths_that_no_control_has) {
    plugIn();
    const Ref<Uvc> uvc = open();
    for (const int length : {-1, 0, 9, 0x7FFFFFFF}) {
        EXPECT_EQ(uvc->getDataFor_withLength_fromSelector_at(0x81, length, 4, 1), 0);
        EXPECT_FALSE(uvc->setData_withLength_forSelector_at(1, length, 4, 1));
    }
    EXPECT_TRUE(calls().empty());
}

TEST_F(UvcControl, carries_values_of_every_length_in_little_endian_order) {
    FakeUsbDevice device = webcam();
    device.controls[{5, 6}] = {0, 0, 0};
    plugIn(device);
    const Ref<Uvc> uvc = open();
    const int64_t value = 0x0807060504030201;
    std::string bytes;
    for (int length = 1; length <= 8; ++length) {
        FakeUsb::bus().forget();
        EXPECT_TRUE(uvc->setData_withLength_forSelector_at(value, length, 6, 5));
        bytes += "0" + std::to_string(length);
        EXPECT_EQ(requests(), Lines{"21 01 0600 0500 " + std::to_string(length) + ": " + bytes});
        const int64_t expected = length == 8 ? value : value & ((int64_t{1} << 8 * length) - 1);
        EXPECT_EQ(uvc->getDataFor_withLength_fromSelector_at(0x81, length, 6, 5), expected);
    }
}

TEST_F(UvcControl, reads_signed_controls_as_large_numbers) {
    FakeUsbDevice device = webcam();
    device.controls[{2, 2}] = {0, 255, 0xFFFF};
    plugIn(device);
    const Ref<Uvc> uvc = open();
    EXPECT_EQ(uvc->getDataFor_withLength_fromSelector_at(0x81, 2, 2, 2), 0xFFFF);
    EXPECT_FLOAT_EQ(uvc->getBrightness(), 257.0F);
}

/* ---- Values ---- */

TEST_F(UvcControl, truncates_toward_zero) {
    FakeUsbDevice device = webcam();
    device.controls[{2, 3}] = {0, 255, 128};
    FakeUsbDevice& there = plugIn(device);
    const Ref<Uvc> uvc = open();
    EXPECT_NEAR(uvc->getContrast(), 0.50196F, 0.00001F);
    for (const auto& [fraction, expected] : std::map<float, uint64_t>{{0.5F, 127}, {1.0F, 255}, {0.0F, 0}}) {
        EXPECT_TRUE(uvc->setContrast(fraction));
        EXPECT_EQ((there.controls[{2, 3}].current), expected);
    }
}

TEST_F(UvcControl, inverts_the_exposure) {
    FakeUsbDevice& device = plugIn();
    const Ref<Uvc> uvc = open();
    EXPECT_TRUE(uvc->setExposure(0.25F));
    EXPECT_EQ((device.controls[{1, 4}].current), 7500u);
    device.controls[{1, 4}].current = 1;
    EXPECT_FLOAT_EQ(uvc->getExposure(), 1.0F);
    device.controls[{1, 4}].current = 10000;
    EXPECT_FLOAT_EQ(uvc->getExposure(), 0.0F);
}

TEST_F(UvcControl, does_not_clamp) {
    FakeUsbDevice device = webcam();
    device.controls[{2, 4}] = {0, 100, 300};
    FakeUsbDevice& there = plugIn(device);
    const Ref<Uvc> uvc = open();
    EXPECT_FLOAT_EQ(uvc->getGain(), 3.0F);
    EXPECT_TRUE(uvc->setGain(2.0F));
    EXPECT_EQ((there.controls[{2, 4}].current), 200u);
    EXPECT_TRUE(uvc->setGain(-0.01F));
    EXPECT_EQ((there.controls[{2, 4}].current), 0xFFFFu) << "the low bytes of -1";
}

TEST_F(UvcControl, sends_the_least_number_for_what_is_none) {
    FakeUsbDevice device = webcam();
    device.controls[{9, 3}] = {0, 0x7FFFFFFF, 0};
    plugIn(device);
    const Ref<Uvc> uvc = open();
    const float infinite = std::numeric_limits<float>::infinity();
    // The largest that readFloat can make of a long is among them. The focus range is read with 16 bits.
    for (const float value : {std::nanf(""), infinite, -infinite, 3e38F, -3e38F}) {
        FakeUsb::bus().forget();
        EXPECT_TRUE(uvc->setAbsoluteFocus(value));
        EXPECT_EQ(requests().back(), "21 01 0300 0900 8: 0000000000000080") << value;
    }
    FakeUsb::bus().forget();
    EXPECT_TRUE(uvc->setAbsoluteFocus(9.2e12F));
    EXPECT_EQ(requests().back().substr(0, 20), "21 01 0300 0900 8: 0");
}

TEST_F(UvcControl, an_empty_range_gives_what_division_gives) {
    FakeUsbDevice device = webcam();
    device.controls[{2, 8}] = {5, 5, 5};
    FakeUsbDevice& there = plugIn(device);
    const Ref<Uvc> uvc = open();
    EXPECT_TRUE(std::isnan(uvc->getSharpness()));
    there.controls[{2, 8}].current = 6;
    EXPECT_TRUE(std::isinf(uvc->getSharpness()));
    EXPECT_TRUE(uvc->setSharpness(0.7F));
    EXPECT_EQ((there.controls[{2, 8}].current), 5u);
}

TEST_F(UvcControl, maps_between_any_two_ranges) {
    EXPECT_FLOAT_EQ(Uvc::mapValue_fromMin_max_toMin_max(5, 0, 10, 100, 200), 150.0F);
    EXPECT_FLOAT_EQ(Uvc::mapValue_fromMin_max_toMin_max(-5, 0, 10, 0, 1), -0.5F);
    EXPECT_FLOAT_EQ(Uvc::mapValue_fromMin_max_toMin_max(2, 4, 0, 0, 8), 4.0F);
}

/* ---- Every accessor ---- */

struct Fraction {
    const char* name;
    bool (Uvc::*set)(float);
    float (Uvc::*get)();
    int unit, selector, size;
    const char* where;  // value and index fields
    bool isInverted = false;
};

void PrintTo(const Fraction& row, std::ostream* out) {
    *out << row.name;
}

class UvcFraction : public UvcControl, public ::testing::WithParamInterface<Fraction> {};

TEST_P(UvcFraction, is_read_and_written_by_its_range) {
    const Fraction& row = GetParam();
    FakeUsbDevice device = webcam();
    device.controls[{row.unit, row.selector}] = {20, 120, 45};
    FakeUsbDevice& there = plugIn(device);
    const Ref<Uvc> uvc = open();
    there.controls[{row.unit, row.selector}].current = 45;
    const std::string size = std::to_string(row.size);
    const std::string where = row.where;
    EXPECT_FLOAT_EQ((uvc.get()->*row.get)(), row.isInverted ? 0.75F : 0.25F);
    EXPECT_EQ(requests(), (Lines{"A1 82 " + where + size, "A1 83 " + where + size, "A1 81 " + where + size}));
    FakeUsb::bus().forget();
    EXPECT_TRUE((uvc.get()->*row.set)(0.75F));
    std::string bytes = row.isInverted ? "2d" : "5f";
    bytes.resize(2 * static_cast<size_t>(row.size), '0');
    EXPECT_EQ(requests(), (Lines{"A1 82 " + where + size, "A1 83 " + where + size,
                                 "21 01 " + where + size + ": " + bytes}));
}

INSTANTIATE_TEST_SUITE_P(
    all, UvcFraction,
    ::testing::Values(
        Fraction{"exposure", &Uvc::setExposure, &Uvc::getExposure, 1, 4, 4, "0400 0100 ", true},
        Fraction{"brightness", &Uvc::setBrightness, &Uvc::getBrightness, 2, 2, 2, "0200 0200 "},
        Fraction{"contrast", &Uvc::setContrast, &Uvc::getContrast, 2, 3, 2, "0300 0200 "},
        Fraction{"gain", &Uvc::setGain, &Uvc::getGain, 2, 4, 2, "0400 0200 "},
        Fraction{"saturation", &Uvc::setSaturation, &Uvc::getSaturation, 2, 7, 2, "0700 0200 "},
        Fraction{"sharpness", &Uvc::setSharpness, &Uvc::getSharpness, 2, 8, 2, "0800 0200 "},
        Fraction{"whiteBalance", &Uvc::setWhiteBalance, &Uvc::getWhiteBalance, 2, 10, 2, "0a00 0200 "},
        Fraction{"focus", &Uvc::setAbsoluteFocus, &Uvc::getAbsoluteFocus, 9, 3, 8, "0300 0900 "}),
    [](const auto& each) { return std::string(each.param.name); });

struct Switch {
    const char* name;
    bool (Uvc::*set)(bool);
    bool (Uvc::*get)();
    int unit, selector;
    const char* where;
    int on, off;
    std::vector<int> readAsOn;
    std::vector<int> readAsOff;
};

void PrintTo(const Switch& row, std::ostream* out) {
    *out << row.name;
}

class UvcSwitch : public UvcControl, public ::testing::WithParamInterface<Switch> {};

TEST_P(UvcSwitch, is_read_and_written_as_one_byte) {
    const Switch& row = GetParam();
    FakeUsbDevice device = webcam();
    device.controls[{row.unit, row.selector}] = {0, 0, 0};
    FakeUsbDevice& there = plugIn(device);
    const Ref<Uvc> uvc = open();
    EXPECT_TRUE((uvc.get()->*row.set)(true));
    EXPECT_TRUE((uvc.get()->*row.set)(false));
    const std::string where = std::string(row.where) + "1";
    EXPECT_EQ(requests(), (Lines{"21 01 " + where + ": 0" + std::to_string(row.on),
                                 "21 01 " + where + ": 0" + std::to_string(row.off)}));
    FakeUsb::bus().forget();
    for (const int value : row.readAsOn) {
        there.controls[{row.unit, row.selector}].current = static_cast<uint64_t>(value);
        EXPECT_TRUE((uvc.get()->*row.get)()) << value;
    }
    EXPECT_EQ(requests().at(0), "A1 81 " + where);
    for (const int value : row.readAsOff) {
        there.controls[{row.unit, row.selector}].current = static_cast<uint64_t>(value);
        EXPECT_FALSE((uvc.get()->*row.get)()) << value;
    }
}

INSTANTIATE_TEST_SUITE_P(
    all, UvcSwitch,
    ::testing::Values(
        Switch{"autoExposure",
               &Uvc::setAutoExposure,
               &Uvc::getAutoExposure,
               1,
               2,
               "0200 0100 ",
               8,
               1,
               {8},
               {0, 1, 2, 4, 9}},
        Switch{"autoWhiteBalance",
               &Uvc::setAutoWhiteBalance,
               &Uvc::getAutoWhiteBalance,
               2,
               11,
               "0b00 0200 ",
               1,
               0,
               {1, 2, 255},
               {0}},
        Switch{
            "autoFocus", &Uvc::setAutoFocus, &Uvc::getAutoFocus, 1, 8, "0800 0100 ", 1, 0, {1}, {0, 2, 255}}),
    [](const auto& each) { return std::string(each.param.name); });

/* ---- Focus ---- */

TEST_F(UvcControl, keeps_16_bits_of_what_the_focus_control_answers) {
    FakeUsbDevice device = webcam();
    device.controls[{9, 3}] = {0xAAAA0000, 0xBBBB00FF, 0xCCCCCCCCCCCC0080};
    plugIn(device);
    const Ref<Uvc> uvc = open();
    EXPECT_NEAR(uvc->getAbsoluteFocus(), 0.50196F, 0.00001F);
    EXPECT_EQ(uvc->getDataFor_withLength_fromSelector_at(0x81, 8, 3, 9), 0x80);
}

TEST_F(UvcControl, falls_back_to_the_standard_focus_for_all_instances) {
    FakeUsbDevice standard = webcam();
    standard.controls[{1, 6}] = {0, 200, 0};
    FakeUsbDevice vendor = webcam();
    vendor.location = kPlace + 1;
    vendor.controls[{9, 3}] = {0, 100, 50};
    vendor.controls[{1, 6}] = {0, 100, 0};
    FakeUsbDevice& first = plugIn(standard);
    FakeUsbDevice& second = plugIn(vendor);
    const Ref<Uvc> one = open();
    const Ref<Uvc> other = open(kPlace + 1);
    EXPECT_FLOAT_EQ(other->getAbsoluteFocus(), 0.5F);
    FakeUsb::bus().forget();
    std::string log = logOf([&] { EXPECT_TRUE(one->setAbsoluteFocus(0.5F)); });
    EXPECT_EQ(requests(),
              (Lines{"A1 82 0300 0900 8", "A1 83 0300 0900 8", "21 01 0300 0900 8: 0000000000000000",
                     "A1 82 0600 0100 2", "A1 83 0600 0100 2", "21 01 0600 0100 2: 6400"}));
    EXPECT_EQ((first.controls[{1, 6}].current), 100u);
    const std::string line = "CameraControl setAbsoluteFocus try alternative = 1.\n";
    EXPECT_EQ(log.substr(log.size() - line.size()), line);
    EXPECT_EQ(Uvc::control(UVCRow::Focus), (UVCControl{1, 6, 2}));

    FakeUsb::bus().forget();
    log = logOf([&] { EXPECT_TRUE(other->setAbsoluteFocus(1.0F)); });
    EXPECT_EQ(log, "") << "told once";
    EXPECT_EQ((second.controls[{1, 6}].current), 100u);
    EXPECT_EQ((second.controls[{9, 3}].current), 50u);
    EXPECT_FLOAT_EQ(other->getAbsoluteFocus(), 1.0F);
    // The mask goes with the row.
    EXPECT_EQ(requests().back(), "A1 81 0600 0100 2");
    second.controls[{9, 3}].current = 0x12340050;
    EXPECT_EQ(other->getDataFor_withLength_fromSelector_at(0x81, 8, 3, 9), 0x12340050);
    second.controls[{1, 6}].current = 0x12340050;
    EXPECT_EQ(other->getDataFor_withLength_fromSelector_at(0x81, 4, 6, 1), 0x50);
}

TEST_F(UvcControl, tells_when_the_standard_focus_fails_too) {
    plugIn();
    const Ref<Uvc> uvc = open();
    std::string log = logOf([&] { EXPECT_FALSE(uvc->setAbsoluteFocus(0.5F)); });
    EXPECT_NE(log.find("CameraControl setAbsoluteFocus try alternative = 0.\n"), std::string::npos);
    FakeUsb::bus().forget();
    log = logOf([&] { EXPECT_FALSE(uvc->setAbsoluteFocus(0.5F)); });
    EXPECT_EQ(log.find("alternative"), std::string::npos);
    EXPECT_EQ(requests().size(), 3u) << "no second try any more";
}

TEST_F(UvcControl, a_failed_read_of_focus_changes_no_table) {
    plugIn();
    const Ref<Uvc> uvc = open();
    logOf([&] { EXPECT_TRUE(std::isnan(uvc->getAbsoluteFocus())); });
    EXPECT_EQ(Uvc::control(UVCRow::Focus).unit, 9);
}

/* ---- Side by side ---- */

TEST_F(UvcControl, lets_requests_of_many_tasks_through_one_after_another) {
    FakeUsbDevice device = webcam();
    device.controls[{1, 6}] = {0, 100, 0};
    device.controls[{2, 4}] = {0, 100, 0};
    plugIn(device);
    const Ref<Uvc> uvc = open();
    logOf([&] {
        std::vector<std::thread> tasks;
        for (int i = 0; i < 4; ++i) {
            tasks.emplace_back([&] {
                for (int turn = 0; turn < 50; ++turn) {
                    uvc->setGain(0.5F);
                    uvc->setAbsoluteFocus(0.25F);
                    uvc->getAbsoluteFocus();
                }
            });
        }
        for (std::thread& task : tasks) {
            task.join();
        }
    });
    EXPECT_EQ(FakeUsb::bus().mostOpenInterfaces, 1);
    EXPECT_EQ(Uvc::control(UVCRow::Focus).unit, 1);
}

}  // namespace
