// The helper's camera controls on the hardware library: what reaches a webcam's driver of what a host asks
// for.
#include <gtest/gtest.h>

#include "QTKitCapture/src/UVCCameraControl.h"
#include "frameworks/USB/linux/Pace.h"
#include "tests/USB/linux/LinuxUsb.h"

namespace test {
namespace {

using Values = std::vector<std::pair<uint32_t, int32_t>>;

constexpr uint32_t kLocation = 0x01240000;

/** A webcam whose video-control interface has the number 2. */
class CameraControl : public UsbCalls {
protected:
    void SetUp() override {
        resetUVCControlTable();
        bus_.plugIn(
            "1-2.4", 7,
            joined({deviceDescriptor(), configuration(1, joined({interfaceDescriptor(0, 0, 1, 1),
                                                                 interfaceDescriptor(2, 0, 14, 1), header(),
                                                                 cameraTerminal(1, kAllOfCamera),
                                                                 processingUnit(2, kAllOfProcessing, 3)}))}));
        bus_.addInterface("1-2.4", "1-2.4:1.0", 0, "01", "01");
        bus_.addInterface("1-2.4", "1-2.4:1.2", 2, "0e", "01");
        bus_.addNode("1-2.4", "1-2.4:1.2", "video0", webcam_);
        usb::use(&bus_);
        webcam_.controls = {
            {V4L2_CID_EXPOSURE_AUTO, {.lowest = 0, .highest = 3, .current = V4L2_EXPOSURE_MANUAL}},
            {V4L2_CID_EXPOSURE_ABSOLUTE, {.lowest = 1, .highest = 10000}},
            {V4L2_CID_BRIGHTNESS, {.lowest = 0, .highest = 255}},
            {V4L2_CID_FOCUS_ABSOLUTE, {.lowest = 0, .highest = 250}},
            {V4L2_CID_GAIN, {.lowest = 0, .highest = 255}}};
    }
    void TearDown() override {
        EXPECT_EQ(bus_.openCount(), 0U);
        usb::use(nullptr);
        resetUVCControlTable();
    }

    Values last() const { return webcam_.sets.empty() ? Values{} : webcam_.sets.back().values; }

    FakeWebcam webcam_;
    FakeBus bus_;
};

}  // namespace

TEST_F(CameraControl, the_search_for_the_interface_s_number_makes_one_change_and_waits_for_nothing) {
    const Ref<UVCCameraControl> control = UVCCameraControl::initWithLocationID(kLocation);
    EXPECT_TRUE(control->hasInterface());
    EXPECT_EQ(control->iface(), 2U);
    ASSERT_EQ(webcam_.sets.size(), 1U);
    EXPECT_EQ(last(), (Values{{V4L2_CID_EXPOSURE_ABSOLUTE, 9000}}));
    EXPECT_TRUE(bus_.sleeps().empty());
}

TEST_F(CameraControl, a_webcam_without_any_of_the_three_is_left_alone) {
    webcam_.controls = {{V4L2_CID_CONTRAST, {}}};
    const Ref<UVCCameraControl> control = UVCCameraControl::initWithLocationID(kLocation);
    EXPECT_TRUE(control->hasInterface());
    EXPECT_EQ(control->iface(), 0U);
    EXPECT_TRUE(webcam_.sets.empty());
}

TEST_F(CameraControl, is_of_the_device_at_the_place) {
    EXPECT_FALSE(UVCCameraControl::initWithLocationID(0x01250000)->hasInterface());
    EXPECT_TRUE(UVCCameraControl::initWithVendorID_productID(0x046D, 0x082D)->hasInterface());
    EXPECT_FALSE(UVCCameraControl::initWithVendorID_productID(0x046D, 0x082E)->hasInterface());
}

TEST_F(CameraControl, settings_arrive_as_the_driver_s_numbers) {
    const Ref<UVCCameraControl> control = UVCCameraControl::initWithLocationID(kLocation);
    EXPECT_TRUE(control->setExposure(0.25F));
    EXPECT_EQ(last(), (Values{{V4L2_CID_EXPOSURE_ABSOLUTE, 7500}}));
    EXPECT_TRUE(control->setBrightness(0.5F));
    EXPECT_EQ(last(), (Values{{V4L2_CID_BRIGHTNESS, 127}}));
    EXPECT_TRUE(control->setAutoExposure(true));
    EXPECT_EQ(last(), (Values{{V4L2_CID_EXPOSURE_AUTO, V4L2_EXPOSURE_APERTURE_PRIORITY}}));
    EXPECT_TRUE(control->getAutoExposure());
    webcam_.controls[V4L2_CID_GAIN].current = 128;
    EXPECT_FLOAT_EQ(control->getGain(), 128.0F / 255.0F);
}

TEST_F(CameraControl, without_the_vendor_s_unit_focus_goes_to_the_standard_control) {
    const Ref<UVCCameraControl> control = UVCCameraControl::initWithLocationID(kLocation);
    EXPECT_TRUE(control->setAbsoluteFocus(0.5F));
    EXPECT_EQ(last(), (Values{{V4L2_CID_FOCUS_ABSOLUTE, 125}}));
    EXPECT_TRUE(webcam_.queries.empty());
}

TEST_F(CameraControl, a_dragged_slider_reaches_the_webcam_at_its_pace) {
    const Ref<UVCCameraControl> control = UVCCameraControl::initWithLocationID(kLocation);
    webcam_.sets.clear();
    for (int step = 0; step < 50; ++step) {
        EXPECT_TRUE(control->setGain(static_cast<float>(step) / 50.0F));
    }
    ASSERT_EQ(webcam_.sets.size(), 50U);
    for (size_t i = 1; i < webcam_.sets.size(); ++i) {
        EXPECT_EQ(webcam_.sets[i].at - webcam_.sets[i - 1].at, usb::Pace::kGap);
    }
}

}  // namespace test
