// The controls of webcams over the socket: every accessor by its bytes on the bus, the search for the
// interface, the focus and its fallback, and numbers that no device expects.
#include <gtest/gtest.h>

#include <thread>

#include "tests/e2e/support/video_fixture.h"

namespace e2e {
namespace {

using Lines = std::vector<std::string>;

class VideoControls : public VideoTest {
protected:
    /** Selects a webcam with all controls and forgets what that took. */
    int64_t startTurned(const Json& device = webcamWithControls()) {
        const int64_t camera = startSelected(device);
        lab().clearTrace();
        return camera;
    }
    Lines set(int64_t camera, int id, int64_t millionths) {
        lab().clearTrace();
        video().setSetting(camera, id, millionths);
        return requests();
    }
    /** What the device has, read past the helper. */
    int64_t current(const std::string& control) {
        return number(lab().must({{"cmd", "get"}, {"id", "video-1"}, {"property", control}})["value"]);
    }
    void turn(const std::string& control, int64_t value) {
        lab().must({{"cmd", "set"}, {"id", "video-1"}, {"property", control}, {"value", value}});
    }
    size_t logged(const std::string& text) { return helper().err().count("] CameraControl " + text); }
};

/* ---- Selection ---- */

TEST_F(VideoControls, are_probed_and_left_in_manual_focus_by_selection) {
    const int64_t camera = startSelected(webcamWithControls());
    EXPECT_TRUE(video().hasSettings(camera));
    // 0.9 of 0 to 100 stays in the exposure.
    EXPECT_EQ(requests(), (Lines{"A1 82 0400 0100 4", "A1 83 0400 0100 4", "21 01 0400 0100 4: 5a000000",
                                 "21 01 0800 0100 1: 01", "21 01 0800 0100 1: 00"}));
    EXPECT_EQ(logged("determineInterfaceId iface = 0.\n"), 1u);
    EXPECT_EQ(current("1:4"), 90);
    EXPECT_EQ(current("1:8"), 0);
}

TEST_F(VideoControls, open_and_close_the_interface_around_every_request) {
    const int64_t camera = startTurned();
    video().setting(camera, 4);
    EXPECT_EQ(lab().callNames(),
              (Lines{"OpenInterface", "ControlRequest", "CloseInterface", "OpenInterface", "ControlRequest",
                     "CloseInterface", "OpenInterface", "ControlRequest", "CloseInterface"}));
}

class VideoInterfaces : public VideoControls, public ::testing::WithParamInterface<int> {};

TEST_P(VideoInterfaces, are_found_by_trying) {
    Json device = webcamWithControls();
    device["uvc"]["interface"] = GetParam();
    const int64_t camera = startSelected(device);
    EXPECT_TRUE(video().hasSettings(camera));
    const std::string number = std::to_string(GetParam());
    EXPECT_EQ(logged("determineInterfaceId iface = " + number + ".\n"), 1u);
    // Nine requests in vain on each one before it.
    EXPECT_EQ(lab().calls("ClearPipeStall").size(), static_cast<size_t>(9 * GetParam()));
    EXPECT_EQ(set(camera, 4, 500000),
              (Lines{"A1 82 0400 020" + number + " 2", "A1 83 0400 020" + number + " 2",
                     "21 01 0400 020" + number + " 2: 3200"}));
}

INSTANTIATE_TEST_SUITE_P(all, VideoInterfaces, ::testing::Values(0, 1, 2, 3));

TEST_F(VideoControls, that_answer_on_no_interface_are_kept_at_interface_0_without_a_word) {
    Json device = webcamWithControls();
    device["uvc"]["interface"] = 4;
    const int64_t camera = startSelected(device);
    EXPECT_TRUE(video().hasSettings(camera));
    EXPECT_EQ(logged("determineInterfaceId"), 0u);
    EXPECT_EQ(requests().size(), 38u) << "36 of the search, two of the focus";
    EXPECT_EQ(requests().back(), "21 01 0800 0100 1: 00");
    EXPECT_EQ(logged("Error: Control request failed: e000404f\n"), 38u);
    // A failed read maps 0 from an empty range, which is no number; on the wire that is the least one.
    EXPECT_EQ(video().setting(camera, 4), INT64_MIN);
}

TEST_F(VideoControls, are_looked_for_at_the_place_that_the_unique_id_tells) {
    Json other = webcamWithControls();
    other["id"] = "video-2";
    other["uniqueId"] = "0x14100000046d082d";
    other["uvc"]["location"] = "0x14100000";
    start(videoScenario({webcamWithControls(), other}));
    const int64_t camera = video().selectCamera(1);
    EXPECT_TRUE(video().hasSettings(camera));
    for (const Json& call : lab().calls("ControlRequest")) {
        EXPECT_EQ(call["device"], "video-2");
    }
}

TEST_F(VideoControls, are_not_found_by_an_id_without_its_prefix) {
    const int64_t camera = startSelected(webcamWithControls({{"uniqueId", "1a110000046d082d"}}));
    EXPECT_FALSE(video().hasSettings(camera));
    EXPECT_TRUE(requests().empty());
}

TEST_F(VideoControls, of_a_device_without_an_interface_do_not_exist) {
    Json device = webcamWithControls();
    device.erase("uvc");
    const int64_t camera = startSelected(device);
    EXPECT_FALSE(video().hasSettings(camera));
    EXPECT_EQ(logged(""), 0u);
}

/* ---- The settings, by id ---- */

TEST_F(VideoControls, zero_writes_the_exposure_mode_and_reads_the_time) {
    const int64_t camera = startTurned();
    EXPECT_EQ(set(camera, 0, 500000), Lines{"21 01 0200 0100 1: 01"}) << "half is off";
    EXPECT_EQ(set(camera, 0, 500001), Lines{"21 01 0200 0100 1: 08"});
    EXPECT_EQ(set(camera, 0, 600000), Lines{"21 01 0200 0100 1: 08"});
    turn("1:4", 25);
    lab().clearTrace();
    EXPECT_EQ(video().setting(camera, 0), 750000);
    EXPECT_EQ(requests(), (Lines{"A1 82 0400 0100 4", "A1 83 0400 0100 4", "A1 81 0400 0100 4"}));
}

TEST_F(VideoControls, one_writes_the_time_and_reads_the_exposure_mode) {
    const int64_t camera = startTurned();
    EXPECT_EQ(set(camera, 1, 250000),
              (Lines{"A1 82 0400 0100 4", "A1 83 0400 0100 4", "21 01 0400 0100 4: 4b000000"}));
    for (const auto& [mode, answer] : std::map<int, int64_t>{{8, 1000000}, {1, 0}, {2, 0}, {4, 0}}) {
        turn("1:2", mode);
        lab().clearTrace();
        EXPECT_EQ(video().setting(camera, 1), answer) << mode;
        EXPECT_EQ(requests(), Lines{"A1 81 0200 0100 1"});
    }
}

TEST_F(VideoControls, two_switches_the_white_balance) {
    const int64_t camera = startTurned();
    EXPECT_EQ(set(camera, 2, 500000), Lines{"21 01 0b00 0200 1: 00"});
    EXPECT_EQ(video().setting(camera, 2), 0);
    EXPECT_EQ(set(camera, 2, 600000), Lines{"21 01 0b00 0200 1: 01"});
    lab().clearTrace();
    EXPECT_EQ(video().setting(camera, 2), 1000000);
    EXPECT_EQ(requests(), Lines{"A1 81 0b00 0200 1"});
}

struct Knob {
    int id;
    int selector;
};

class VideoKnobs : public VideoControls, public ::testing::WithParamInterface<Knob> {};

TEST_P(VideoKnobs, are_written_and_read_by_their_range) {
    const auto [id, selector] = GetParam();
    const int64_t camera = startTurned();
    char where[16];
    std::snprintf(where, sizeof where, "%02x00 0200 2", static_cast<unsigned>(selector));
    const std::string at = where;
    EXPECT_EQ(set(camera, id, 500000), (Lines{"A1 82 " + at, "A1 83 " + at, "21 01 " + at + ": 3200"}));
    EXPECT_EQ(current("2:" + std::to_string(selector)), 50);
    lab().clearTrace();
    EXPECT_EQ(video().setting(camera, id), 500000);
    EXPECT_EQ(requests(), (Lines{"A1 82 " + at, "A1 83 " + at, "A1 81 " + at}));
}

INSTANTIATE_TEST_SUITE_P(all, VideoKnobs,
                         ::testing::Values(Knob{3, 10}, Knob{4, 4}, Knob{5, 2}, Knob{6, 3}, Knob{7, 7},
                                           Knob{8, 8}),
                         [](const auto& each) { return "setting_" + std::to_string(each.param.id); });

TEST_F(VideoControls, that_have_no_id_do_nothing) {
    const int64_t camera = startTurned();
    for (const int id : {-1, 9, 10, 1000, INT32_MIN, INT32_MAX}) {
        video().setSetting(camera, id, 1000000);
        EXPECT_EQ(video().setting(camera, id), 0);
    }
    EXPECT_TRUE(requests().empty());
}

TEST_F(VideoControls, truncate_what_they_write) {
    Json device = webcamWithControls();
    device["uvc"]["controls"] = {uvcControl(1, 4, 4, 1, 10000, 5), uvcControl(2, 4, 2, 0, 255, 128)};
    const int64_t camera = startTurned(device);
    EXPECT_EQ(set(camera, 1, 250000).back(), "21 01 0400 0100 4: 4c1d0000") << "7500 of 7500.25";
    EXPECT_EQ(set(camera, 4, 500000).back(), "21 01 0400 0200 2: 7f00");
    EXPECT_EQ(set(camera, 4, 1000000).back(), "21 01 0400 0200 2: ff00");
    EXPECT_EQ(set(camera, 4, 0).back(), "21 01 0400 0200 2: 0000");
    turn("2:4", 128);
    EXPECT_EQ(video().setting(camera, 4), 501960) << "0.50196 in single precision";
}

/* ---- Numbers that no device expects ---- */

TEST_F(VideoControls, send_the_low_bytes_of_whatever_comes_out) {
    const int64_t camera = startTurned();
    EXPECT_EQ(set(camera, 4, 2000000).back(), "21 01 0400 0200 2: c800");
    EXPECT_EQ(set(camera, 4, -10000).back(), "21 01 0400 0200 2: ffff");
    // The largest fraction that travels is some nine million million.
    EXPECT_EQ(set(camera, 4, INT64_MAX).size(), 3u);
    EXPECT_EQ(set(camera, 4, INT64_MIN).size(), 3u);
    expectServing();
}

TEST_F(VideoControls, send_the_least_number_for_what_no_integer_holds) {
    Json device = webcamWithControls();
    device["uvc"]["controls"] = {uvcControl(1, 4, 4, 0, 0xFFFFFFFF, 0)};
    const int64_t camera = startTurned(device);
    // 0xFFFFFFFF times nine million million is beyond 64 bits, upwards and, inverted, downwards.
    EXPECT_EQ(set(camera, 1, INT64_MIN).back(), "21 01 0400 0100 4: 00000000");
    EXPECT_EQ(set(camera, 1, INT64_MAX).back(), "21 01 0400 0100 4: 00000000");
}

TEST_F(VideoControls, with_an_empty_range_read_as_what_is_no_number) {
    Json device = webcamWithControls();
    device["uvc"]["controls"] = {uvcControl(1, 4, 4, 5, 5, 5), uvcControl(2, 4, 2, 7, 7, 7),
                                 uvcControl(2, 2, 2, 7, 7, 8)};
    const int64_t camera = startTurned(device);
    EXPECT_EQ(video().setting(camera, 4), INT64_MIN) << "no number";
    EXPECT_EQ(video().setting(camera, 5), INT64_MIN) << "infinite";
    EXPECT_EQ(set(camera, 4, 900000).back(), "21 01 0400 0200 2: 0700");
}

TEST_F(VideoControls, that_are_signed_read_as_large_numbers) {
    Json device = webcamWithControls();
    device["uvc"]["controls"] = {uvcControl(1, 4, 4, 0, 100, 0), uvcControl(2, 2, 2, 0, 255, 0xFFFF)};
    const int64_t camera = startTurned(device);
    EXPECT_EQ(video().setting(camera, 5), 257000000);
}

/* ---- Focus ---- */

struct Drive {
    int64_t from;
    int32_t amount;
    int64_t to;
};

TEST_F(VideoControls, drive_the_focus_in_three_steps_between_its_ends) {
    const int64_t camera = startTurned();
    for (const Drive& drive :
         {Drive{900, 3, 1000}, Drive{20, -2, 0}, Drive{500, 0, 504}, Drive{500, 1, 504}, Drive{500, -1, 496},
          Drive{500, 2, 550}, Drive{500, -2, 450}, Drive{500, 3, 700}, Drive{500, -3, 300},
          Drive{500, 4, 504}, Drive{500, INT32_MIN, 496}, Drive{1000, 1, 1000}, Drive{0, -1, 0}}) {
        turn("9:3", drive.from);
        lab().clearTrace();
        video().driveFocus(camera, drive.amount);
        EXPECT_EQ(current("9:3"), drive.to) << drive.from << " by " << drive.amount;
        const Lines sent = requests();
        ASSERT_EQ(sent.size(), 6u);
        EXPECT_EQ(Lines(sent.begin(), sent.begin() + 5),
                  (Lines{"A1 82 0300 0900 8", "A1 83 0300 0900 8", "A1 81 0300 0900 8", "A1 82 0300 0900 8",
                         "A1 83 0300 0900 8"}));
    }
}

TEST_F(VideoControls, keep_16_bits_of_what_the_focus_answers) {
    Json device = webcamWithControls();
    device["uvc"]["controls"] = {uvcControl(1, 4, 4, 0, 100, 0),
                                 uvcControl(9, 3, 8, 0x10000, 0x203E8, 0x5500001F4)};
    const int64_t camera = startTurned(device);
    video().driveFocus(camera, 2);
    EXPECT_EQ(requests().back(), "21 01 0300 0900 8: 2602000000000000") << "550 of 0 to 1000";
}

TEST_F(VideoControls, fall_back_to_the_standard_focus_on_all_cameras_for_good) {
    Json plain = webcamWithControls();
    plain["uvc"]["controls"] = {uvcControl(1, 4, 4, 0, 100, 0), uvcControl(1, 6, 2, 0, 1000, 500)};
    Json both = webcamWithControls();
    both["id"] = "video-2";
    both["uniqueId"] = "0x14100000046d082d";
    both["uvc"]["location"] = "0x14100000";
    start(videoScenario({plain, both}));
    const int64_t first = video().selectCamera(0);
    const int64_t second = video().selectCamera(1);
    video().driveFocus(second, 2);
    EXPECT_EQ(requests().back(), "21 01 0300 0900 8: 3200000000000000");
    lab().clearTrace();
    video().driveFocus(first, 2);
    const Lines sent = requests();
    ASSERT_EQ(sent.size(), 9u);
    EXPECT_EQ(sent[5].substr(0, 19), "21 01 0300 0900 8: ");
    EXPECT_EQ(Lines(sent.begin() + 6, sent.end()),
              (Lines{"A1 82 0600 0100 2", "A1 83 0600 0100 2", "21 01 0600 0100 2: e803"}));
    EXPECT_EQ(logged("setAbsoluteFocus try alternative = 1.\n"), 1u);

    lab().clearTrace();
    video().driveFocus(second, 2);
    EXPECT_EQ(requests(), (Lines{"A1 82 0600 0100 2", "A1 83 0600 0100 2", "A1 81 0600 0100 2",
                                 "A1 82 0600 0100 2", "A1 83 0600 0100 2", "21 01 0600 0100 2: 3200"}));
    EXPECT_EQ(logged("setAbsoluteFocus"), 1u) << "told once";
    video().releaseCamera(first);
    video().releaseCamera(second);
    const int64_t again = video().selectCamera(1);
    lab().clearTrace();
    video().driveFocus(again, 1);
    EXPECT_EQ(requests().back(), "21 01 0600 0100 2: 3600") << "for the whole process";
}

TEST_F(VideoControls, tell_when_the_standard_focus_fails_as_well) {
    Json device = webcamWithControls();
    device["uvc"]["controls"] = {uvcControl(1, 4, 4, 0, 100, 0)};
    const int64_t camera = startTurned(device);
    video().driveFocus(camera, 1);
    EXPECT_EQ(logged("setAbsoluteFocus try alternative = 0.\n"), 1u);
    lab().clearTrace();
    video().driveFocus(camera, 1);
    EXPECT_EQ(requests().size(), 6u);
    EXPECT_EQ(logged("setAbsoluteFocus"), 1u);
}

/* ---- Failures on the bus ---- */

TEST_F(VideoControls, that_stall_clear_the_pipe_and_close) {
    const int64_t camera = startTurned();
    lab().fault("ControlRequest", kPipeStalled, {{"request", 1}});
    video().setSetting(camera, 2, 1000000);
    EXPECT_EQ(lab().callNames(),
              (Lines{"OpenInterface", "ControlRequest", "ClearPipeStall", "CloseInterface"}));
    EXPECT_EQ(logged("Error: Control request failed: e000404f\n"), 1u);
    EXPECT_EQ(current("2:11"), 0);
}

TEST_F(VideoControls, that_stall_are_told_before_the_bus_is_asked_to_clear_up) {
    const int64_t camera = startTurned();
    lab().fault("ControlRequest", kPipeStalled, {{"request", 1}});
    lab().delay("ClearPipeStall", std::chrono::milliseconds(2000));
    const size_t from = helper().err().text().size();
    video().send(13, Message().int64(camera).int32(2).int64(1000000));
    EXPECT_TRUE(helper().waitForErr("] CameraControl Error: Control request failed: e000404f\n", 1, from));
    EXPECT_TRUE(lab().calls("ClearPipeStall").empty()) << "it is still going on";
    video().expectHeader(13);
    video().expectHeader(13);
}

TEST_F(VideoControls, that_fail_otherwise_close_only) {
    const int64_t camera = startTurned();
    lab().fault("ControlRequest", 0xE0004051);
    video().setSetting(camera, 2, 1000000);
    EXPECT_EQ(lab().callNames(), (Lines{"OpenInterface", "ControlRequest", "CloseInterface"}));
    EXPECT_EQ(logged("Error: Control request failed: e0004051\n"), 1u);
}

TEST_F(VideoControls, whose_interface_does_not_open_send_nothing) {
    const int64_t camera = startTurned();
    lab().fault("OpenInterface", 0xE00002C5);
    video().setSetting(camera, 2, 1000000);
    EXPECT_EQ(lab().callNames(), Lines{"OpenInterface"});
    EXPECT_EQ(logged("Error: Unable to open interface (e00002c5)\n"), 1u);
    EXPECT_EQ(set(camera, 2, 1000000), Lines{"21 01 0b00 0200 1: 01"});
}

TEST_F(VideoControls, of_an_unplugged_webcam_fail_and_leave_a_line) {
    const int64_t camera = startTurned();
    lab().detach("video-1");
    const size_t before = logged("Error: ");
    video().setSetting(camera, 4, 500000);
    EXPECT_GT(logged("Error: "), before);
    EXPECT_EQ(video().setting(camera, 2), 0);
    EXPECT_TRUE(video().hasSettings(camera));
    video().releaseCamera(camera);
}

TEST_F(VideoControls, of_many_connections_go_one_after_another) {
    const int64_t camera = startTurned();
    std::vector<std::thread> hosts;
    for (int i = 0; i < 4; ++i) {
        hosts.emplace_back([&] {
            VideoCalls own(helper().port());
            for (int turn = 0; turn < 20; ++turn) {
                own.setSetting(camera, 4, 500000);
                EXPECT_EQ(own.setting(camera, 4), 500000);
                own.driveFocus(camera, turn % 2 == 0 ? 2 : -2);
            }
        });
    }
    for (std::thread& host : hosts) {
        host.join();
    }
    EXPECT_EQ(logged("Error: "), 0u) << "two at once would find the interface open";
}

}  // namespace
}  // namespace e2e
