// The host's setting ids, which disagree in their two directions, and the focus steps.
#include <cmath>
#include <map>

#include "tests/QTKitCapture/CaptureTest.h"

namespace {

class Settings : public CaptureTest {
protected:
    void SetUp() override {
        CaptureTest::SetUp();
        FakeUsbDevice device;
        device.location = 0x1A110000;
        for (const int selector : {2, 3, 4, 7, 8, 10}) {
            device.controls[{2, selector}] = {0, 100, 0};
        }
        device.controls[{2, 11}] = {0, 1, 0};
        device.controls[{1, 2}] = {0, 15, 8};
        device.controls[{1, 4}] = {0, 100, 0};
        device.controls[{9, 3}] = {0, 1000, 0};
        webcam = &FakeUsb::bus().add(device);
        handle = select();
        webcam->controls[{1, 4}].current = 25;
        FakeUsb::bus().forget();
    }
    void TearDown() override {
        release(handle);
        CaptureTest::TearDown();
    }
    uint64_t& at(int unit, int selector) const { return webcam->controls[{unit, selector}].current; }
    void set(jint id, float value) const { QTKIT(setUvcSetting)(env(), nullptr, handle, id, value); }
    float get(jint id) const { return QTKIT(getUvcSetting)(env(), nullptr, handle, id); }
    uint64_t driven(uint64_t from, jint amount) const {
        at(9, 3) = from;
        QTKIT(driveFocus)(env(), nullptr, handle, amount);
        return at(9, 3);
    }

    FakeUsbDevice* webcam = nullptr;
    jlong handle = 0;
};

TEST_F(Settings, zero_writes_the_mode_and_reads_the_time) {
    set(0, 0.6F);
    EXPECT_EQ(at(1, 2), 8u);
    set(0, 0.5F);
    EXPECT_EQ(at(1, 2), 1u);
    EXPECT_EQ(at(1, 4), 25u);
    EXPECT_FLOAT_EQ(get(0), 0.75F);
}

TEST_F(Settings, one_writes_the_time_and_reads_the_mode) {
    at(1, 2) = 8;
    EXPECT_EQ(get(1), 1.0F);
    at(1, 2) = 1;
    EXPECT_EQ(get(1), 0.0F);
    set(1, 0.25F);
    EXPECT_EQ(at(1, 4), 75u);
    EXPECT_EQ(at(1, 2), 1u);
}

TEST_F(Settings, two_is_a_switch_that_half_leaves_off) {
    const std::map<float, uint64_t> table = {{0.0F, 0}, {0.5F, 0}, {std::nextafter(0.5F, 1.0F), 1},
                                             {0.6F, 1}, {1.0F, 1}, {-5.0F, 0}};
    for (const auto& [value, expected] : table) {
        set(2, value);
        EXPECT_EQ(at(2, 11), expected) << value;
        EXPECT_EQ(get(2), static_cast<float>(expected));
    }
    set(2, std::nanf(""));
    EXPECT_EQ(at(2, 11), 0u);
}

TEST_F(Settings, from_three_on_are_fractions_both_ways) {
    const std::map<jint, int> selectors = {{3, 10}, {4, 4}, {5, 2}, {6, 3}, {7, 7}, {8, 8}};
    for (const auto& [id, selector] : selectors) {
        SCOPED_TRACE(id);
        set(id, 0.5F);
        EXPECT_EQ(at(2, selector), 50u);
        at(2, selector) = 25;
        EXPECT_FLOAT_EQ(get(id), 0.25F);
    }
}

TEST_F(Settings, that_do_not_exist_do_nothing) {
    for (const jint id : {-1, 9, 100, std::numeric_limits<jint>::min(), std::numeric_limits<jint>::max()}) {
        set(id, 1.0F);
        EXPECT_EQ(get(id), 0.0F);
    }
    EXPECT_TRUE(FakeUsb::bus().calls().empty());
}

TEST_F(Settings, of_a_camera_without_controls_do_nothing) {
    capture().reset({FakeDevice{.name = "Built-in iSight"}});
    release(handle);
    handle = select();
    FakeUsb::bus().forget();
    set(0, 1.0F);
    EXPECT_EQ(get(1), 0.0F);
    QTKIT(driveFocus)(env(), nullptr, handle, 3);
    EXPECT_EQ(QTKIT(hasUvcSettings)(env(), nullptr, handle), 0);
    EXPECT_TRUE(FakeUsb::bus().calls().empty());
}

TEST_F(Settings, focus_is_driven_by_three_steps) {
    for (const jint amount : {2, 3}) {
        const uint64_t step = amount == 2 ? 50 : 200;
        EXPECT_EQ(driven(500, amount), 500 + step);
        EXPECT_EQ(driven(500, -amount), 500 - step);
    }
    for (const jint amount : {0, 1, 4, 1000, std::numeric_limits<jint>::max()}) {
        EXPECT_EQ(driven(500, amount), 504u) << amount;
    }
    for (const jint amount : {-1, -4, std::numeric_limits<jint>::min()}) {
        EXPECT_EQ(driven(500, amount), 496u) << amount;
    }
}

TEST_F(Settings, focus_stays_between_its_ends) {
    EXPECT_EQ(driven(900, 3), 1000u);
    EXPECT_EQ(driven(20, -2), 0u);
    EXPECT_EQ(driven(1000, 1), 1000u);
    EXPECT_EQ(driven(0, -1), 0u);
}

TEST_F(Settings, focus_without_a_range_is_driven_to_its_end) {
    webcam->controls[{9, 3}] = {70, 70, 70};
    EXPECT_EQ(driven(70, 1), 70u);
    EXPECT_EQ(FakeUsb::bus().requests().back(), "21 01 0300 0900 8: 4600000000000000");
}

TEST_F(Settings, focus_falls_back_across_cameras) {
    webcam->controls.erase({9, 3});
    webcam->controls[{1, 6}] = {0, 1000, 500};
    FakeUsbDevice second;
    second.location = 0x1A120000;
    second.controls[{1, 4}] = {0, 100, 0};
    second.controls[{9, 3}] = {0, 1000, 500};
    second.controls[{1, 6}] = {0, 1000, 100};
    FakeUsbDevice& other = FakeUsb::bus().add(second);
    FakeDevice device;
    device.uniqueId = "0x1a120000";
    capture().reset({device});
    const jlong otherHandle = select();
    errOf([&] { QTKIT(driveFocus)(env(), nullptr, handle, 2); });
    // The failed read of the extension unit maps an empty range; what is no number goes to the end.
    EXPECT_EQ((webcam->controls[{1, 6}].current), 1000u);
    QTKIT(driveFocus)(env(), nullptr, otherHandle, 2);
    EXPECT_EQ((other.controls[{9, 3}].current), 500u);
    EXPECT_EQ((other.controls[{1, 6}].current), 150u);
    release(otherHandle);
}

TEST_F(Settings, have_no_dialog) {
    EXPECT_EQ(QTKIT(hasSettings)(env(), nullptr, handle), 0);
    QTKIT(settingsDialog)(env(), nullptr, handle);
}

}  // namespace
