// A USB webcam behind the kernel's own driver: what hosts see of it and do with it, over the helper's socket.
#include <chrono>
#include <cstdio>
#include <thread>

#include "tests/vm/fixture.h"

namespace vm {
namespace {

using e2e::Event;
using e2e::eventually;
using e2e::Words;
using namespace std::chrono_literals;

constexpr int kSetCur = 1;

class HardwareWebcam : public HardwareTest {
protected:
    void SetUp() override {
        webcam_.reset();
        HardwareTest::SetUp();
        // The helper hears of it a little later than we do.
        ASSERT_TRUE(eventually([&] { return names() == Lines{kCameraName}; })) << "it is not listed";
    }
    int64_t selectFirst() { return select(kCameraName); }
    Webcam& webcam() { return webcam_; }
    /** What the driver says of one of its controls, "gain: 127" without the name. */
    static std::string driverSays(const std::string& control) {
        const std::string told = outputOf("v4l2-ctl -d " + captureNodes().at(0) + " -C " + control);
        const size_t colon = told.find(": ");
        return colon == std::string::npos ? told : told.substr(colon + 2, told.find('\n') - colon - 2);
    }
    /** The sets that reached the webcam since the last look. */
    Lines newSets() {
        const Lines sets = webcam().sets();
        webcam().clearRequests();
        return sets;
    }
    size_t logged(const std::string& text) { return said("] CameraControl " + text); }

private:
    Webcam webcam_;
};

/* ---- The list ------------------------------------------------------------------------------------------ */

TEST_F(HardwareWebcam, is_listed_once_by_its_name) {
    const size_t before = helper().out().size();
    EXPECT_EQ(video().cameraCount(), 1) << "its node for metadata is no camera";
    EXPECT_EQ(helper().out().since(before), "QTKitCapture: Display Name = " + kCameraName + ", video=1\n");
    EXPECT_EQ(video().selectCamera(1), 0);
}

TEST_F(HardwareWebcam, is_left_in_manual_focus_by_selection) {
    outputOf("v4l2-ctl -d " + captureNodes().at(0) + " -c auto_exposure=1");
    newSets();
    const int64_t camera = selectFirst();
    EXPECT_TRUE(video().hasSettings(camera)) << "its place in the unique id is not the one that USB tells";
    // 0.9 of 3 to 2047 stays in the exposure: how the interface is found.
    EXPECT_EQ(newSets(),
              (Lines{"21 01 0400 0100 4: 32070000", "21 01 0800 0100 1: 01", "21 01 0800 0100 1: 00"}));
    EXPECT_EQ(logged("determineInterfaceId iface = 0.\n"), 1u);
    EXPECT_EQ(logged("Error"), 0u);
    EXPECT_EQ(driverSays("exposure_time_absolute"), "1842");
    EXPECT_EQ(driverSays("focus_automatic_continuous"), "0");
}

TEST_F(HardwareWebcam, is_found_by_its_gain_while_its_exposure_is_automatic) {
    const int64_t camera = selectFirst();
    EXPECT_TRUE(video().hasSettings(camera));
    // The driver refuses the time; a tenth of what reads as 65472 to 64 is no brightness that the webcam has.
    EXPECT_EQ(newSets(),
              (Lines{"21 01 0400 0200 2: 1900", "21 01 0800 0100 1: 01", "21 01 0800 0100 1: 00"}));
    EXPECT_EQ(logged("Error: Control request failed: e000404f\n"), 2u);
    EXPECT_EQ(logged("determineInterfaceId iface = 0.\n"), 1u);
}

TEST_F(HardwareWebcam, of_two_each_has_its_own_place) {
    SecondWebcam second;
    second.hand().clearRequests();
    const int64_t first = selectFirst();
    const int64_t other = select(SecondWebcam::kName);
    newSets();
    second.hand().clearRequests();
    video().setSetting(other, 4, 1000000);
    EXPECT_EQ(second.hand().sets(), Lines{"21 01 0400 0200 2: ff00"});
    EXPECT_TRUE(newSets().empty());
    video().setSetting(first, 4, 500000);
    EXPECT_EQ(newSets(), Lines{"21 01 0400 0200 2: 7f00"});
    // Gone before its process ends.
    release(other);
}

/* ---- Frames -------------------------------------------------------------------------------------------- */

TEST_F(HardwareWebcam, delivers_whole_frames_one_after_another) {
    const int64_t camera = selectFirst();
    Words frame = awaitFrame(camera);
    const Size native = size(camera);
    EXPECT_TRUE(isPicture(frame, native));
    uint32_t last = pictureNumber(frame, native).value_or(0);
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(eventually([&] {
            frame = video().imageData(camera);
            return pictureNumber(frame, native).value_or(0) != last;
        })) << "the picture stands still";
        EXPECT_TRUE(isPicture(frame, native));
        const uint32_t number = pictureNumber(frame, native).value_or(0);
        EXPECT_GT(number, last);
        last = number;
    }
}

TEST_F(HardwareWebcam, delivers_the_size_that_is_asked_for) {
    const int64_t camera = selectFirst();
    for (const Size wanted : {Size{640, 480}, Size{1920, 1080}, Size{1280, 720}}) {
        EXPECT_TRUE(isPicture(awaitFrame(camera, wanted), wanted));
    }
}

TEST_F(HardwareWebcam, scales_to_a_size_that_it_does_not_have) {
    const int64_t camera = selectFirst();
    EXPECT_EQ(awaitFrame(camera, {320, 200}).size(), 320u * 200u);
}

TEST_F(HardwareWebcam, keeps_no_old_frames_for_a_slow_host) {
    const int64_t camera = selectFirst();
    const Size size{640, 480};
    awaitFrame(camera, size);
    // The host looks away while many frames come, then looks once.
    const uint32_t before = webcam().picturesTaken();
    ASSERT_TRUE(eventually([&] { return webcam().picturesTaken() > before + 20; }));
    const uint32_t taken = webcam().picturesTaken();
    const std::optional<uint32_t> shown = pictureNumber(video().imageData(camera), size);
    ASSERT_TRUE(shown.has_value());
    EXPECT_GT(*shown, before + 8) << "of " << taken;
}

TEST_F(HardwareWebcam, takes_a_single_still_and_an_average) {
    const int64_t camera = selectFirst();
    const Size size{640, 480};
    awaitFrame(camera, size);
    EXPECT_TRUE(isPicture(video().captureImage(camera, 1, 640, 480), size));
    events();
    const Words average = video().captureImage(camera, 4, 640, 480);
    EXPECT_EQ(average.size(), 640u * 480u);
    events().waitFor(
        [](const Event& event) { return event.kind == e2e::kProgressEvent && event.last() == 75; },
        "progress of 75");
    EXPECT_EQ(events().progress(), (std::vector<int32_t>{0, 25, 50, 75}));
}

TEST_F(HardwareWebcam, can_be_selected_again_after_its_release) {
    for (int i = 0; i < 3; ++i) {
        const int64_t camera = selectFirst();
        awaitFrame(camera, {640, 480});
        release(camera);
    }
    expectNoOpenNode();
    // The driver lets another program have it.
    outputOf("v4l2-ctl -d " + captureNodes().at(0) + " --stream-mmap --stream-count=1 2>&1");
}

TEST_F(HardwareWebcam, of_which_nothing_stays_when_streams_end_before_they_began) {
    // At each moment of a start: the size that a host asks for begins a new stream at once.
    for (const auto wait : {0ms, 50ms, 100ms, 200ms, 400ms, 800ms}) {
        const int64_t camera = selectFirst();
        std::this_thread::sleep_for(wait);
        video().setImageDimensions(camera, 640, 480);
        video().imageData(camera);
        std::this_thread::sleep_for(wait);
        release(camera);
    }
    expectNoOpenNode();
    const int64_t camera = selectFirst();
    EXPECT_TRUE(isPicture(awaitFrame(camera, {640, 480}), {640, 480}));
}

/* ---- Controls ------------------------------------------------------------------------------------------ */

struct Knob {
    int setting;
    const char* control;
    const char* request;
    const char* half;  // bytes sent for 0.5
    const char* says;  // what the driver says then
};

TEST_F(HardwareWebcam, is_turned_by_every_setting) {
    const int64_t camera = selectFirst();
    // The driver refuses both while they are automatic.
    video().setSetting(camera, 0, 0);
    video().setSetting(camera, 2, 0);
    newSets();
    const size_t errors = logged("Error");
    for (const Knob& knob : {Knob{3, "white_balance_temperature", "0a00 0200 2: ", "9a10", "4250"},
                             Knob{4, "gain", "0400 0200 2: ", "7f00", "127"},
                             Knob{6, "contrast", "0300 0200 2: ", "7f00", "127"},
                             Knob{7, "saturation", "0700 0200 2: ", "7f00", "127"},
                             Knob{8, "sharpness", "0800 0200 2: ", "7f00", "127"},
                             Knob{1, "exposure_time_absolute", "0400 0100 4: ", "01040000", "1025"}}) {
        video().setSetting(camera, knob.setting, 500000);
        EXPECT_EQ(newSets(), Lines{std::string("21 01 ") + knob.request + knob.half}) << knob.control;
        EXPECT_EQ(driverSays(knob.control), knob.says) << knob.control;
    }
    EXPECT_EQ(logged("Error"), errors);
}

TEST_F(HardwareWebcam, is_turned_to_both_ends_of_a_signed_knob) {
    const int64_t camera = selectFirst();
    newSets();
    video().setSetting(camera, 5, 0);
    EXPECT_EQ(newSets(), Lines{"21 01 0200 0200 2: c0ff"});
    EXPECT_EQ(driverSays("brightness"), "-64");
    video().setSetting(camera, 5, 1000000);
    EXPECT_EQ(newSets(), Lines{"21 01 0200 0200 2: 4000"});
    EXPECT_EQ(driverSays("brightness"), "64");
}

TEST_F(HardwareWebcam, is_switched_by_the_automatic_settings) {
    const int64_t camera = selectFirst();
    newSets();
    video().setSetting(camera, 0, 0);
    EXPECT_EQ(newSets(), Lines{"21 01 0200 0100 1: 01"});
    EXPECT_EQ(video().setting(camera, 1), 0);
    EXPECT_EQ(driverSays("auto_exposure").substr(0, 1), "1") << "manual";
    video().setSetting(camera, 0, 1000000);
    EXPECT_EQ(newSets(), Lines{"21 01 0200 0100 1: 08"});
    EXPECT_EQ(video().setting(camera, 1), 1000000);
    EXPECT_EQ(driverSays("auto_exposure").substr(0, 1), "3") << "aperture priority";
    video().setSetting(camera, 2, 0);
    EXPECT_EQ(newSets(), Lines{"21 01 0b00 0200 1: 00"});
    EXPECT_EQ(driverSays("white_balance_automatic"), "0");
    EXPECT_EQ(video().setting(camera, 2), 0);
}

TEST_F(HardwareWebcam, tells_what_another_program_has_set) {
    const int64_t camera = selectFirst();
    outputOf("v4l2-ctl -d " + captureNodes().at(0) + " -c gain=51 -c auto_exposure=1");
    EXPECT_EQ(video().setting(camera, 4), 200000);
    EXPECT_EQ(video().setting(camera, 1), 0);
}

TEST_F(HardwareWebcam, is_turned_while_frames_flow) {
    const int64_t camera = selectFirst();
    awaitFrame(camera, {640, 480});
    newSets();
    for (const int64_t value : {200000, 400000, 600000}) {
        video().setSetting(camera, 4, value);
        EXPECT_EQ(video().setting(camera, 4), value);
        EXPECT_TRUE(isPicture(video().imageData(camera), {640, 480}));
    }
    EXPECT_EQ(newSets(),
              (Lines{"21 01 0400 0200 2: 3300", "21 01 0400 0200 2: 6600", "21 01 0400 0200 2: 9900"}));
}

TEST_F(HardwareWebcam, is_focused_through_its_extension_unit) {
    const int64_t camera = selectFirst();
    newSets();
    video().driveFocus(camera, 3);
    EXPECT_EQ(newSets(), Lines{"21 01 0300 0900 8: bc02000000000000"}) << "0.7 of 0 to 1000";
    EXPECT_EQ(webcam().knob(9, 3), 700);
    video().driveFocus(camera, -2);
    EXPECT_EQ(webcam().knob(9, 3), 650);
    EXPECT_EQ(logged("setAbsoluteFocus"), 0u);
}

TEST_F(HardwareWebcam, that_stalls_is_a_stall_and_nothing_more) {
    const int64_t camera = selectFirst();
    video().setSetting(camera, 4, 0);
    newSets();
    const size_t errors = logged("Error: Control request failed: e000404f\n");
    webcam().stall(2, 4, kSetCur);
    video().setSetting(camera, 4, 500000);
    EXPECT_EQ(logged("Error: Control request failed: e000404f\n"), errors + 1);
    EXPECT_EQ(webcam().knob(2, 4), 0);
    video().setSetting(camera, 4, 500000);
    EXPECT_EQ(webcam().knob(2, 4), 127);
    EXPECT_EQ(logged("Error"), errors + 1);
}

/* ---- Losses -------------------------------------------------------------------------------------------- */

TEST_F(HardwareWebcam, that_is_unplugged_is_told_of_once_and_comes_back) {
    const int64_t camera = selectFirst();
    awaitFrame(camera, {640, 480});
    events();
    webcam().unplug();
    expectLoss();
    EXPECT_TRUE(eventually([&] { return video().cameraCount() == 0; })) << "it stays in the list";
    video().setSetting(camera, 4, 500000);
    video().setting(camera, 4);
    release(camera);
    EXPECT_EQ(video().selectCamera(0), 0);

    webcam().plug();
    const int64_t again = selectFirst();
    EXPECT_TRUE(isPicture(awaitFrame(again, {640, 480}), {640, 480}));
    video().setSetting(again, 4, 500000);
    EXPECT_EQ(webcam().knob(2, 4), 127);
    size_t losses = 0;
    for (const Event& event : events().seen()) {
        if (event.kind == e2e::kStateEvent) ++losses;
    }
    EXPECT_EQ(losses, 1u);
}

TEST_F(HardwareWebcam, that_falls_silent_counts_as_gone) {
    const int64_t camera = selectFirst();
    awaitFrame(camera, {640, 480});
    events();
    webcam().command("freeze");
    expectLoss();
    webcam().command("thaw");
    release(camera);
    const int64_t again = selectFirst();
    EXPECT_TRUE(isPicture(awaitFrame(again, {640, 480}), {640, 480}));
}

TEST_F(HardwareWebcam, that_vanishes_during_an_average_leaves_the_helper_whole) {
    const int64_t camera = selectFirst();
    awaitFrame(camera, {640, 480});
    events();
    e2e::VideoCalls& host = video();
    host.send(11, e2e::Message().int64(camera).int32(8).int32(640).int32(480));
    host.expectHeader(11);
    webcam().unplug();
    host.expectHeader(11);
    host.receiveResult(e2e::videoMethod(11));
    expectLoss();
    expectServing();
    release(camera);
    webcam().plug();
}

/** Once refused, the unit is left alone by the whole process: these tests have a helper of their own. */
class HardwareWebcamFocus : public HardwareWebcam {
protected:
    static void SetUpTestSuite() { startHelper(); }
};

TEST_F(HardwareWebcamFocus, goes_by_the_standard_where_the_extension_unit_refuses) {
    const int64_t camera = selectFirst();
    newSets();
    webcam().stall(9, 3, kSetCur);
    video().driveFocus(camera, 3);
    EXPECT_EQ(logged("setAbsoluteFocus try alternative = 1.\n"), 1u);
    const Lines sets = newSets();
    ASSERT_EQ(sets.size(), 2u);
    EXPECT_EQ(sets[0], "21 01 0300 0900 8: bc02000000000000 stalled 1");
    EXPECT_EQ(sets[1], "21 01 0600 0100 2: af00") << "0.7 of 0 to 250";
    EXPECT_EQ(driverSays("focus_absolute"), "175");
}

}  // namespace
}  // namespace vm
