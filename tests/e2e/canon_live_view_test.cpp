// Live view: starting and stopping, frames and their left-overs, the zoom and its offsets, the focus.
#include <gtest/gtest.h>

#include "tests/e2e/support/canon_fixture.h"

namespace e2e {
namespace {

using Names = std::vector<std::string>;

class CanonLiveView : public CanonTest {
protected:
    static int64_t argument(const Json& call, const char* name) {
        return number(call["args"].value(name, Json()));
    }

    /** Property and bytes of the values written, in order. */
    std::vector<std::pair<int64_t, std::string>> writes() {
        std::vector<std::pair<int64_t, std::string>> found;
        for (const Json& call : lab().calls("EdsSetPropertyData")) {
            found.emplace_back(argument(call, "property"), call["args"].value("data", ""));
        }
        return found;
    }
    using Writes = std::vector<std::pair<int64_t, std::string>>;

    /** A session with live view running and frames of these contents. */
    int32_t running(const std::vector<Bytes>& frames) {
        std::vector<std::string> paths;
        for (const Bytes& frame : frames) {
            paths.push_back(frames_.file("frame" + std::to_string(paths.size())));
            writeFile(paths.back(), frame);
        }
        const int32_t handle = startSession(usualCamera({{"liveview", framesFrom(paths)}}));
        EXPECT_EQ(canon().startLiveView(handle), 0);
        return handle;
    }

private:
    TempFolder frames_;
};

TEST_F(CanonLiveView, starts_in_the_prescribed_order) {
    const int32_t handle = startSession();
    lab().clearTrace();
    EXPECT_EQ(canon().startLiveView(handle), 0);
    EXPECT_EQ(lab().callNames(),
              (Names{"EdsGetPropertyData", "EdsSetPropertyData", "EdsGetPropertyData", "EdsSetPropertyData",
                     "EdsSendCommand", "EdsSetPropertyData", "EdsSetPropertyData"}));
    const Json trace = lab().trace();
    EXPECT_EQ(argument(trace[0], "property"), kAeMode);
    EXPECT_EQ(argument(trace[2], "property"), kEvfMode);
    EXPECT_EQ(argument(trace[4], "command"), 0x102);
    EXPECT_EQ(argument(trace[4], "param"), 0);
    EXPECT_EQ(writes(), (Writes{{kEvfDofPreview, "00000000"},
                                {kEvfMode, "01000000"},
                                {kEvfOutputDevice, "02000000"},
                                {kEvfZoom, "01000000"}}));
}

TEST_F(CanonLiveView, that_is_on_already_is_only_brought_to_the_host) {
    const int32_t handle = startSession(usualCamera({{"properties", property(kEvfMode, 9, 1)}}));
    lab().clearTrace();
    EXPECT_EQ(canon().startLiveView(handle), 0);
    EXPECT_EQ(writes(),
              (Writes{{kEvfDofPreview, "00000000"}, {kEvfOutputDevice, "02000000"}, {kEvfZoom, "01000000"}}));
    EXPECT_TRUE(lab().calls("EdsSendCommand").empty());
}

TEST_F(CanonLiveView, is_refused_in_the_basic_modes_and_changes_nothing) {
    for (const int64_t mode : {0x9LL, 0x16LL, 0x7FFFFFFFLL, 0xFFFFFFFFLL}) {
        SCOPED_TRACE(mode);
        const int32_t handle = startSession(usualCamera({{"properties", property(kAeMode, 9, mode)}}));
        lab().clearTrace();
        EXPECT_EQ(canon().startLiveView(handle), 134);
        EXPECT_EQ(lab().callNames(), Names{"EdsGetPropertyData"});
    }
}

TEST_F(CanonLiveView, starts_in_the_last_mode_that_is_not_basic) {
    const int32_t handle = startSession(usualCamera({{"properties", property(kAeMode, 9, 8)}}));
    EXPECT_EQ(canon().startLiveView(handle), 0);
}

TEST_F(CanonLiveView, starts_when_the_mode_cannot_be_read) {
    const int32_t handle = startSession();
    lab().fault("EdsGetPropertyData", 0x81, {{"property", kAeMode}});
    EXPECT_EQ(canon().startLiveView(handle), 0);
}

TEST_F(CanonLiveView, tells_of_every_step_that_fails) {
    const int32_t handle = startSession();
    lab().fault("EdsGetPropertyData", 0x81, {{"property", kEvfMode}});
    canon().startLiveView(handle);
    helper().waitForOut("CanonEds: error getting evf mode 0x81\n");
    canon().stopLiveView(handle);
    lab().set("canon-1", kEvfMode, 0);
    lab().clearTrace();
    lab().fault("EdsSetPropertyData", 0x85, {{"property", kEvfMode}});
    canon().startLiveView(handle);
    helper().waitForOut("CanonEds: error setting evf mode 0x85\n");
    EXPECT_EQ(lab().calls("EdsSendCommand").size(), 1u) << "autofocus is turned off all the same";
    lab().fault("EdsSetPropertyData", 0x86, {{"property", kEvfOutputDevice}});
    lab().clearTrace();
    EXPECT_EQ(canon().startLiveView(handle), 0x86);
    helper().waitForOut("CanonEds: error setting kEdsPropID_Evf_OutputDevice 0x86\n");
    EXPECT_EQ(writes().back().first, kEvfOutputDevice) << "no zoom without an output";
    EXPECT_EQ(canon().startLiveView(handle), 0);
}

TEST_F(CanonLiveView, is_switched_on_when_the_camera_does_not_tell_whether_it_is) {
    const int32_t handle = startSession();
    lab().clearTrace();
    lab().fault("EdsGetPropertyData", 0x81, {{"property", kEvfMode}});
    EXPECT_EQ(canon().startLiveView(handle), 0);
    EXPECT_EQ(writes(), (Writes{{kEvfDofPreview, "00000000"},
                                {kEvfMode, "01000000"},
                                {kEvfOutputDevice, "02000000"},
                                {kEvfZoom, "01000000"}}));
    EXPECT_EQ(lab().calls("EdsSendCommand").size(), 1u);
}

TEST_F(CanonLiveView, starts_whatever_becomes_of_autofocus_and_zoom) {
    const int32_t handle = startSession();
    lab().clearTrace();
    lab().fault("EdsSendCommand", 0x81);
    lab().fault("EdsSetPropertyData", 0x85, {{"property", kEvfZoom}});
    EXPECT_EQ(canon().startLiveView(handle), 0);
    EXPECT_EQ(number(lab().calls("EdsSendCommand").at(0)["result"]), 0x81);
    EXPECT_EQ(number(lab().calls("EdsSetPropertyData").back()["result"]), 0x85);
}

TEST_F(CanonLiveView, puts_the_remembered_preview_back_when_it_starts) {
    const int32_t handle = startSession();
    ASSERT_TRUE(canon().setSetting(handle, kEvfDofPreview, 1));
    lab().clearTrace();
    EXPECT_EQ(canon().startLiveView(handle), 0);
    const Writes written = writes();
    EXPECT_EQ(written.front(), (std::pair<int64_t, std::string>{kEvfDofPreview, "00000000"}));
    EXPECT_EQ(written.back(), (std::pair<int64_t, std::string>{kEvfDofPreview, "01000000"}));
}

TEST_F(CanonLiveView, puts_the_remembered_preview_back_when_it_does_not_start) {
    const int32_t handle = startSession();
    EXPECT_TRUE(canon().setSetting(handle, kEvfDofPreview, 1));
    lab().clearTrace();
    lab().fault("EdsSetPropertyData", 0x86, {{"property", kEvfOutputDevice}});
    EXPECT_EQ(canon().startLiveView(handle), 0x86);
    EXPECT_EQ(writes().back(), (std::pair<int64_t, std::string>{kEvfDofPreview, "01000000"}));
}

TEST_F(CanonLiveView, stops_by_taking_the_host_off_the_output) {
    const int32_t handle = startSession();
    EXPECT_EQ(canon().startLiveView(handle), 0);
    lab().clearTrace();
    EXPECT_EQ(canon().stopLiveView(handle), 0);
    EXPECT_EQ(lab().callNames(), (Names{"EdsGetPropertyData", "EdsSetPropertyData"}));
    EXPECT_EQ(writes(), (Writes{{kEvfOutputDevice, "00000000"}}));
    EXPECT_EQ(number(lab().get("canon-1", kEvfMode)), 1) << "the mode stays as it is";
    // The camera's own screen keeps its bit.
    lab().set("canon-1", kEvfOutputDevice, 3);
    lab().clearTrace();
    EXPECT_EQ(canon().stopLiveView(handle), 0);
    EXPECT_EQ(writes(), (Writes{{kEvfOutputDevice, "01000000"}}));
}

TEST_F(CanonLiveView, answers_what_stopping_met) {
    const int32_t handle = startSession();
    canon().startLiveView(handle);
    lab().clearTrace();
    lab().fault("EdsGetPropertyData", 0x81, {{"property", kEvfOutputDevice}});
    EXPECT_EQ(canon().stopLiveView(handle), 0x81);
    EXPECT_TRUE(writes().empty());
    lab().fault("EdsSetPropertyData", 0x85, {{"property", kEvfOutputDevice}});
    EXPECT_EQ(canon().stopLiveView(handle), 0x85);
}

// ---- frames -----------------------------------------------------------------------------------------------

TEST_F(CanonLiveView, gives_frames_in_turn_byte_for_byte) {
    const Bytes a = patternBytes(50000, 1);
    const Bytes b = patternBytes(50000, 2);
    const int32_t handle = running({a, b});
    EXPECT_EQ(canon().liveViewFrame(handle), a);
    EXPECT_EQ(canon().liveViewFrame(handle), b);
    EXPECT_EQ(canon().liveViewFrame(handle), a);
}

TEST_F(CanonLiveView, keeps_the_count_of_the_largest_frame_so_far) {
    const Bytes large = patternBytes(80000, 1);
    const Bytes small = patternBytes(60000, 2);
    const Bytes larger = patternBytes(90000, 3);
    const int32_t handle = running({large, small, larger});
    EXPECT_EQ(canon().liveViewFrame(handle), large);
    // The current frame, and behind it what the larger one before left.
    Bytes expected = small;
    expected.insert(expected.end(), large.begin() + 60000, large.end());
    EXPECT_EQ(canon().liveViewFrame(handle), expected);
    EXPECT_EQ(canon().liveViewFrame(handle), larger);
    expected = large;
    expected.insert(expected.end(), larger.begin() + 80000, larger.end());
    EXPECT_EQ(canon().liveViewFrame(handle), expected);
}

TEST_F(CanonLiveView, gives_no_frame_unless_it_runs_towards_the_host) {
    const int32_t handle = running({patternBytes(1000, 1)});
    lab().clearTrace();
    EXPECT_EQ(canon().stopLiveView(handle), 0);
    EXPECT_TRUE(canon().liveViewFrame(handle).empty());
    lab().set("canon-1", kEvfOutputDevice, 1);
    EXPECT_TRUE(canon().liveViewFrame(handle).empty());
    lab().set("canon-1", kEvfOutputDevice, 2);
    lab().set("canon-1", kEvfMode, 0);
    EXPECT_TRUE(canon().liveViewFrame(handle).empty());
    EXPECT_TRUE(lab().calls("EdsDownloadEvfImage").empty());
    lab().set("canon-1", kEvfMode, 1);
    lab().set("canon-1", kEvfOutputDevice, 3);
    EXPECT_EQ(canon().liveViewFrame(handle).size(), 1000u);
}

TEST_F(CanonLiveView, fetches_a_frame_in_the_prescribed_order_and_releases_what_it_took) {
    const int32_t handle = running({patternBytes(1000, 1)});
    lab().clearTrace();
    canon().liveViewFrame(handle);
    EXPECT_EQ(lab().callNames(),
              (Names{"EdsGetPropertyData", "EdsGetPropertyData", "EdsCreateMemoryStream",
                     "EdsCreateEvfImageRef", "EdsDownloadEvfImage", "EdsGetPropertyData",
                     "EdsGetPropertyData", "EdsGetLength", "EdsGetPointer", "EdsRelease", "EdsRelease"}));
    const Json trace = lab().trace();
    EXPECT_EQ(argument(trace[0], "property"), kEvfMode);
    EXPECT_EQ(argument(trace[1], "property"), kEvfOutputDevice);
    EXPECT_EQ(argument(trace[2], "size"), 0);
    EXPECT_EQ(argument(trace[5], "property"), kEvfZoom);
    EXPECT_EQ(argument(trace[6], "property"), kEvfZoomPosition);
    EXPECT_EQ(argument(trace[6], "size"), 8);
    lab().clearTrace();
    canon().liveViewFrame(handle);
    EXPECT_EQ(argument(lab().calls("EdsCreateMemoryStream").at(0), "size"), 1000);
}

TEST_F(CanonLiveView, leaves_the_camera_ten_milliseconds_before_each_frame) {
    const int32_t handle = running({patternBytes(1000, 1)});
    lab().clearTrace();
    canon().liveViewFrame(handle);
    const int64_t stream = lab().calls("EdsCreateMemoryStream").at(0)["us"];
    const int64_t image = lab().calls("EdsCreateEvfImageRef").at(0)["us"];
    EXPECT_GE(image - stream, 10000);
}

TEST_F(CanonLiveView, repeats_the_last_frame_when_the_next_one_fails) {
    const Bytes a = patternBytes(5000, 1);
    const Bytes b = patternBytes(5000, 2);
    const int32_t handle = running({a, b});
    EXPECT_EQ(canon().liveViewFrame(handle), a);
    const std::array<std::pair<const char*, const char*>, 3> failing = {{
        {"EdsCreateMemoryStream", "CanonEds: Could not create stream 0x81\n"},
        {"EdsCreateEvfImageRef", "CanonEds: Could not create image ref 0x81\n"},
        {"EdsDownloadEvfImage", "CanonEds: Could not download image 0x81\n"},
    }};
    for (const auto& [function, text] : failing) {
        SCOPED_TRACE(function);
        lab().fault(function, 0x81);
        EXPECT_EQ(canon().liveViewFrame(handle), a);
        helper().waitForOut(text);
    }
    EXPECT_EQ(canon().liveViewFrame(handle), b);
}

TEST_F(CanonLiveView, has_no_frame_to_repeat_at_first) {
    const int32_t handle = running({patternBytes(5000, 1)});
    lab().fault("EdsDownloadEvfImage", 0xA102);
    EXPECT_TRUE(canon().liveViewFrame(handle).empty());
    EXPECT_EQ(canon().liveViewFrame(handle).size(), 5000u);
}

TEST_F(CanonLiveView, forgets_its_frames_with_the_session) {
    const int32_t handle = running({patternBytes(80000, 1), patternBytes(60000, 2)});
    EXPECT_EQ(canon().liveViewFrame(handle).size(), 80000u);
    EXPECT_EQ(canon().closeSession(handle), 0);
    const int32_t again = canon().openSession(canon().cameraList().at(0));
    EXPECT_EQ(canon().startLiveView(again), 0);
    const size_t size = canon().liveViewFrame(again).size();
    EXPECT_TRUE(size == 60000u || size == 80000u) << size;
    EXPECT_EQ(canon().closeSession(again), 0);
}

// ---- zoom -------------------------------------------------------------------------------------------------

TEST_F(CanonLiveView, zooms_five_times_or_fits) {
    const int32_t handle = running({patternBytes(1000, 1)});
    lab().clearTrace();
    canon().setLiveViewZoom(handle, true);
    EXPECT_FALSE(canon().isLiveViewZoom(handle)) << "known only with the next frame";
    canon().liveViewFrame(handle);
    EXPECT_TRUE(canon().isLiveViewZoom(handle));
    canon().setLiveViewZoom(handle, false);
    EXPECT_TRUE(canon().isLiveViewZoom(handle));
    canon().liveViewFrame(handle);
    EXPECT_FALSE(canon().isLiveViewZoom(handle));
    EXPECT_EQ(writes(), (Writes{{kEvfZoom, "05000000"}, {kEvfZoom, "01000000"}}));
}

TEST_F(CanonLiveView, does_not_zoom_while_it_does_not_run) {
    const int32_t handle = startSession();
    lab().clearTrace();
    canon().setLiveViewZoom(handle, true);
    canon().setLiveViewZoomPosition(handle, 0.5, 0.5);
    EXPECT_TRUE(writes().empty());
}

TEST_F(CanonLiveView, does_not_call_ten_times_a_zoom_of_five) {
    const int32_t handle = running({patternBytes(1000, 1)});
    lab().set("canon-1", kEvfZoom, 10);
    canon().liveViewFrame(handle);
    EXPECT_FALSE(canon().isLiveViewZoom(handle));
}

struct ZoomPosition {
    double x, y;
    int32_t pixelX, pixelY;
};

class CanonZoomPosition : public CanonLiveView, public ::testing::WithParamInterface<ZoomPosition> {};

TEST_P(CanonZoomPosition, is_written_in_pixels_a_tenth_up_and_left) {
    const int32_t handle = running({patternBytes(1000, 1)});
    lab().clearTrace();
    canon().setLiveViewZoomPosition(handle, GetParam().x, GetParam().y);
    std::string expected;
    const Bytes pixels = Message().int32(GetParam().pixelX).int32(GetParam().pixelY);
    for (const uint8_t byte : pixels) {
        expected += hex({byte});
    }
    EXPECT_EQ(writes(), (Writes{{kEvfZoomPosition, expected}}));
    EXPECT_EQ(argument(lab().calls("EdsSetPropertyData").at(0), "size"), 8);
}

// A 5D Mark II is 5616 by 3744 pixels.
INSTANTIATE_TEST_SUITE_P(Canon, CanonZoomPosition,
                         ::testing::Values(ZoomPosition{0.0, 0.0, 0, 0}, ZoomPosition{1.2, 1.2, 5616, 3744},
                                           ZoomPosition{0.1, 0.1, 0, 0}, ZoomPosition{0.5, 0.5, 2246, 1498},
                                           ZoomPosition{0.35, 0.85, 1404, 2808},
                                           ZoomPosition{1.0, 0.9, 5054, 2995},
                                           ZoomPosition{-3.0, 7.5, 0, 3744}));

TEST_F(CanonLiveView, tells_where_the_last_frame_s_zoom_was) {
    const int32_t handle = running({patternBytes(1000, 1)});
    canon().setLiveViewZoom(handle, true);
    canon().setLiveViewZoomPosition(handle, 0.0, 0.0);
    canon().liveViewFrame(handle);
    EXPECT_EQ(canon().liveViewZoomX(handle), 100000);
    EXPECT_EQ(canon().liveViewZoomY(handle), 100000);
    canon().setLiveViewZoomPosition(handle, 0.5, 0.25);
    EXPECT_EQ(canon().liveViewZoomX(handle), 100000) << "as of the last frame";
    canon().liveViewFrame(handle);
    // 2246 of 5616 and 562 of 3744, each plus 0.1, in millionths; the camera may keep a coarser grid.
    EXPECT_NEAR(static_cast<double>(canon().liveViewZoomX(handle)), 499928, 12000);
    EXPECT_NEAR(static_cast<double>(canon().liveViewZoomY(handle)), 250106, 12000);
}

TEST_F(CanonLiveView, tells_no_zoom_position_beyond_one) {
    const Json full = property(kEvfZoomPosition, 21, Json::array({5616, 3744}));
    const int32_t handle = startSession(usualCamera({{"properties", full}}));
    EXPECT_EQ(canon().startLiveView(handle), 0);
    lab().set("canon-1", kEvfZoomPosition, Json::array({5616, 3744}));
    canon().liveViewFrame(handle);
    EXPECT_EQ(canon().liveViewZoomX(handle), 1000000);
    EXPECT_EQ(canon().liveViewZoomY(handle), 1000000);
}

TEST_F(CanonLiveView, tells_zoom_positions_below_zero_as_they_are) {
    const Json negative = property(kEvfZoomPosition, 21, Json::array({-1404, -936}));
    const int32_t handle = startSession(usualCamera({{"properties", negative}}));
    EXPECT_EQ(canon().startLiveView(handle), 0);
    lab().set("canon-1", kEvfZoomPosition, Json::array({-1404, -936}));
    canon().liveViewFrame(handle);
    EXPECT_EQ(canon().liveViewZoomX(handle), -150000);
    EXPECT_EQ(canon().liveViewZoomY(handle), -150000);
}

TEST_F(CanonLiveView, tells_when_the_position_is_refused) {
    const int32_t handle = running({patternBytes(1000, 1)});
    lab().fault("EdsSetPropertyData", 0x86, {{"property", kEvfZoomPosition}});
    canon().setLiveViewZoomPosition(handle, 0.5, 0.5);
    helper().waitForOut("CanonEds: Could not set live view zoom 0x86\n");
}

// ---- focus ------------------------------------------------------------------------------------------------

TEST_F(CanonLiveView, drives_the_focus_by_steps) {
    const int32_t handle = running({patternBytes(1000, 1)});
    const std::array<std::pair<int32_t, int64_t>, 11> rows = {{{-1, 0x8001},
                                                               {-2, 0x8002},
                                                               {-3, 0x8003},
                                                               {1, 1},
                                                               {2, 2},
                                                               {3, 3},
                                                               {0, 0x8001},
                                                               {4, 0x8001},
                                                               {-4, 0x8001},
                                                               {INT32_MAX, 0x8001},
                                                               {INT32_MIN, 0x8001}}};
    for (const auto& [steps, drive] : rows) {
        SCOPED_TRACE(steps);
        lab().clearTrace();
        canon().driveFocus(handle, steps);
        const std::vector<Json> commands = lab().calls("EdsSendCommand");
        ASSERT_EQ(commands.size(), 1u);
        EXPECT_EQ(argument(commands[0], "command"), 0x103);
        EXPECT_EQ(argument(commands[0], "param"), drive);
    }
    // A refusal is dropped.
    lab().fault("EdsSendCommand", 0x81);
    canon().driveFocus(handle, 1);
}

}  // namespace
}  // namespace e2e
