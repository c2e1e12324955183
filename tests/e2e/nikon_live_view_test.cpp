// Live view: frames without their headers, zoom, heat, and the lens.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/e2e/support/nikon_fixture.h"

namespace e2e {
namespace {

using Texts = std::vector<std::string>;
using Zoom = std::vector<int32_t>;

const std::string kFocusLine = "NikonMaid: driveFocus, counter=";

/** The big-endian header of a frame. */
class FrameHeader {
public:
    FrameHeader& word(size_t offset, int value) {
        bytes_.at(offset) = static_cast<uint8_t>(value >> 8);
        bytes_.at(offset + 1) = static_cast<uint8_t>(value);
        return *this;
    }
    FrameHeader& byte(size_t offset, int value) {
        bytes_.at(offset) = static_cast<uint8_t>(value);
        return *this;
    }
    /** A frame with this header and a JPEG start mark at the offset; the rest is made up. */
    Bytes frame(size_t length, size_t jpegAt) const {
        Bytes frame = patternBytes(length, 7);
        // No start mark by chance.
        for (const size_t place : {size_t{64}, size_t{128}, size_t{384}}) {
            if (place + 1 < length) frame[place] = frame[place + 1] = 0;
        }
        std::copy_n(bytes_.begin(), std::min(bytes_.size(), length), frame.begin());
        if (jpegAt + 1 < length) {
            frame[jpegAt] = 0xFF;
            frame[jpegAt + 1] = 0xD8;
        }
        return frame;
    }

private:
    Bytes bytes_ = Bytes(64, 0);
};

/** 640 x 426 of 4288 x 2848, all of it. */
FrameHeader usualHeader() {
    return FrameHeader().word(0, 640).word(2, 426).word(4, 4288).word(6, 2848).word(16, 4288).byte(18, 0);
}

class NikonLiveView : public NikonTest {
protected:
    /** A camera in live view whose frames are these, in turn. */
    int64_t startFrames(const std::vector<Bytes>& frames, const std::vector<Json>& capabilities = {}) {
        Json list = Json::array();
        for (size_t i = 0; i < frames.size(); ++i) {
            const std::string path = frames_.file("frame" + std::to_string(i));
            writeFile(path, frames[i]);
            list.push_back(path);
        }
        const int64_t camera = startCamera(withCapabilities(capabilities, {{"liveview", list}}));
        if (camera != 0) nikon().setLiveView(camera, true);
        return camera;
    }

    static Bytes from(const Bytes& frame, size_t offset) {
        return {frame.begin() + static_cast<std::ptrdiff_t>(offset), frame.end()};
    }

    size_t commandsOf(int command, int capability) {
        const std::vector<MaidCommand> all = commands();
        return static_cast<size_t>(std::count_if(all.begin(), all.end(), [&](const MaidCommand& made) {
            return made.command == command && made.param == capability;
        }));
    }

private:
    TempFolder frames_;
};

// ---- Frames ---------------------------------------------------------------------------------------------

TEST_F(NikonLiveView, frame_begins_at_its_jpeg_start_mark) {
    const std::vector<Bytes> frames = {usualHeader().frame(30000, 64), usualHeader().frame(20000, 128),
                                       usualHeader().frame(10000, 384)};
    const int64_t camera = startFrames(frames);
    EXPECT_EQ(nikon().liveViewImage(camera), from(frames[0], 64));
    EXPECT_EQ(nikon().liveViewImage(camera), from(frames[1], 128));
    EXPECT_EQ(nikon().liveViewImage(camera), from(frames[2], 384));
    EXPECT_EQ(nikon().liveViewImage(camera), from(frames[0], 64)) << "from the first again";
}

TEST_F(NikonLiveView, frame_without_a_start_mark_begins_at_384) {
    const Bytes frame = FrameHeader().frame(1000, 5000);
    const int64_t camera = startFrames({frame});
    EXPECT_EQ(nikon().liveViewImage(camera), from(frame, 384));
}

TEST_F(NikonLiveView, frame_of_512_bytes_or_fewer_begins_at_64_and_its_header_is_not_read) {
    const Bytes small = usualHeader().word(20, 99).frame(512, 128);
    const int64_t camera = startFrames({usualHeader().word(20, 670).frame(513, 64), small});
    nikon().liveViewImage(camera);
    const Zoom before = nikon().zoom(camera);
    EXPECT_EQ(nikon().liveViewImage(camera), from(small, 64));
    EXPECT_EQ(nikon().zoom(camera), before);
    EXPECT_EQ(before[0], 100);
}

TEST_F(NikonLiveView, frame_that_ends_before_its_jpeg_data_is_none) {
    const int64_t camera =
        startFrames({Bytes(10, 1), Bytes(64, 2), Bytes(65, 3), usualHeader().frame(600, 64)});
    EXPECT_TRUE(nikon().liveViewImage(camera).empty());
    EXPECT_TRUE(nikon().liveViewImage(camera).empty());
    EXPECT_EQ(nikon().liveViewImage(camera), Bytes{3});
    EXPECT_EQ(nikon().liveViewImage(camera).size(), 536u);
}

TEST_F(NikonLiveView, frame_that_does_not_come_is_none) {
    const int64_t camera = startFrames({usualHeader().frame(600, 64)});
    for (const char* call : {"MAIDEntryPoint:7", "MAIDEntryPoint:9"}) {
        lab().fault(call, -116, {{"capability", kLiveViewFrame}});
        EXPECT_TRUE(nikon().liveViewImage(camera).empty()) << call;
    }
    EXPECT_EQ(nikon().liveViewImage(camera).size(), 536u);
}

TEST_F(NikonLiveView, frame_is_none_without_a_camera) {
    const int64_t camera = startFrames({usualHeader().frame(600, 64)});
    EXPECT_TRUE(nikon().liveViewImage(0).empty());
    nikon().releaseCamera(camera);
    EXPECT_TRUE(nikon().liveViewImage(camera).empty());
}

TEST_F(NikonLiveView, frame_is_asked_for_by_two_reads) {
    const int64_t camera = startFrames({usualHeader().frame(600, 64)});
    lab().clearTrace();
    nikon().liveViewImage(camera);
    EXPECT_EQ(commandTexts(), (Texts{"1 7 0x8247", "1 9 0x8247"}));
}

// ---- On and off -----------------------------------------------------------------------------------------

TEST_F(NikonLiveView, state_is_set_only_when_it_changes) {
    const int64_t camera = startCamera(withCapabilities({unsignedCapability(kLiveViewState, 0)}));
    lab().clearTrace();
    EXPECT_FALSE(nikon().setLiveView(camera, false));
    EXPECT_EQ(commandTexts(), (Texts{"1 7 0x823e"}));
    lab().clearTrace();
    EXPECT_TRUE(nikon().setLiveView(camera, true));
    EXPECT_EQ(commandTexts(), (Texts{"1 7 0x823e", "1 6 0x823e"}));
    EXPECT_TRUE(nikon().isLiveView(camera));
    lab().fault("MAIDEntryPoint:7", -116, {{"capability", kLiveViewState}});
    EXPECT_FALSE(nikon().isLiveView(camera));
    lab().fault("MAIDEntryPoint:6", -116, {{"capability", kLiveViewState}});
    EXPECT_FALSE(nikon().setLiveView(camera, false));
    EXPECT_TRUE(nikon().isLiveView(camera));
}

// ---- Zoom -----------------------------------------------------------------------------------------------

TEST_F(NikonLiveView, zoom_is_told_in_pixels_of_the_picture) {
    FrameHeader header;
    header.word(0, 640).word(2, 480).word(4, 4000).word(6, 3000);
    header.word(16, 2000).byte(18, 5).word(20, 1000).word(22, 750);
    const int64_t camera = startFrames({header.frame(600, 64)});
    nikon().liveViewImage(camera);
    // The height is 0x0505, 1285.
    EXPECT_EQ(nikon().zoom(camera), (Zoom{160, 120, 320, 1285 * 480 / 3000}));
}

TEST_F(NikonLiveView, zoom_height_of_zero_is_two_thirds_of_the_width) {
    FrameHeader header;
    header.word(0, 640).word(2, 300).word(4, 4000).word(6, 3000).word(16, 2000).byte(18, 0).byte(19, 77);
    const int64_t camera = startFrames({header.frame(600, 64)});
    nikon().liveViewImage(camera);
    EXPECT_EQ(nikon().zoom(camera)[3], 133);
}

TEST_F(NikonLiveView, zoom_of_a_frame_without_sizes_is_zero) {
    FrameHeader header;
    header.word(16, 2000).word(20, 1000).word(22, 750);
    const int64_t camera = startFrames({header.frame(600, 64)});
    nikon().liveViewImage(camera);
    EXPECT_EQ(nikon().zoom(camera), (Zoom{0, 0, 0, 0}));
}

TEST_F(NikonLiveView, zoom_products_are_those_of_32_bits) {
    FrameHeader header;
    header.word(0, 0xFFFF).word(2, 0xFFFF).word(4, 2).word(6, 1).word(16, 0xFFFF).byte(18, 0xFF);
    header.word(20, 0xFFFF).word(22, 0xFFFF);
    const int64_t camera = startFrames({header.frame(600, 64)});
    nikon().liveViewImage(camera);
    // 0xFFFF × 0xFFFF is 0xFFFE0001, a negative number.
    EXPECT_EQ(nikon().zoom(camera), (Zoom{-131071 / 2, -131071, -131071 / 2, -131071}));
}

TEST_F(NikonLiveView, zoom_position_is_set_in_pixels_of_the_whole_image) {
    const int64_t camera = startFrames({usualHeader().frame(600, 64)});
    nikon().liveViewImage(camera);
    lab().clearTrace();
    nikon().setZoomPosition(camera, 320, 213);
    EXPECT_EQ(commandTexts(), (Texts{"1 6 0x824a"}));
    EXPECT_EQ(commands()[0].dataType, 8);
    EXPECT_EQ(commands()[0].value, (Json{2144, 1424}));
    lab().clearTrace();
    nikon().setZoomPosition(camera, -1, 0);
    EXPECT_EQ(commands().at(0).value, (Json{-6, 0}));
}

TEST_F(NikonLiveView, zoom_position_stays_before_the_first_frame) {
    const int64_t camera = startFrames({Bytes(400, 0), FrameHeader().word(0, 640).frame(600, 64)});
    lab().clearTrace();
    nikon().setZoomPosition(camera, 100, 100);
    nikon().liveViewImage(camera);
    nikon().setZoomPosition(camera, 100, 100);
    // A width alone is no scale either.
    nikon().liveViewImage(camera);
    nikon().setZoomPosition(camera, 100, 100);
    EXPECT_EQ(commandsOf(kSetCommand, kZoomPosition), 0u);
}

TEST_F(NikonLiveView, zoom_position_of_a_camera_that_allows_none_is_not_set) {
    const int64_t camera =
        startFrames({usualHeader().frame(600, 64)},
                    {capability(kZoomPosition, kPointCap, kGettable, {{"x", 0}, {"y", 0}})});
    nikon().liveViewImage(camera);
    lab().clearTrace();
    nikon().setZoomPosition(camera, 10, 10);
    EXPECT_EQ(commandTexts(), Texts{});
}

// ---- Heat -----------------------------------------------------------------------------------------------

TEST_F(NikonLiveView, heat_is_told_once_when_the_countdown_drops) {
    std::vector<Bytes> frames;
    for (const int countdown : {600, 501, 30, 29, 0, 501, 31, 30, 0}) {
        frames.push_back(usualHeader().word(38, countdown).frame(600, 64));
    }
    const int64_t camera = startFrames(frames);
    events();
    const auto told = [&] {
        events().collectUntilSilent();
        return events().seen().size();
    };
    nikon().liveViewImage(camera);
    nikon().liveViewImage(camera);
    EXPECT_EQ(told(), 0u);
    nikon().liveViewImage(camera);  // from 501 to 30
    ASSERT_EQ(told(), 1u);
    EXPECT_EQ(events().seen()[0].module, 20);
    EXPECT_EQ(events().seen()[0].kind, kStateEvent);
    EXPECT_EQ(events().seen()[0].last(), 1);
    helper().waitForOut("NikonMaid: live view OVERHEAT!\n");
    for (int i = 0; i < 6; ++i) {
        nikon().liveViewImage(camera);  // 29, 0; cool again; by way of 31
    }
    EXPECT_EQ(told(), 1u);
    EXPECT_EQ(helper().out().count("OVERHEAT"), 1u);
}

TEST_F(NikonLiveView, heat_is_told_over_a_frame_without_a_header) {
    const int64_t camera =
        startFrames({usualHeader().word(38, 501).frame(600, 64), usualHeader().frame(512, 64),
                     usualHeader().word(38, 30).frame(600, 64)});
    for (int i = 0; i < 3; ++i) {
        nikon().liveViewImage(camera);
    }
    helper().waitForOut("NikonMaid: live view OVERHEAT!\n");
}

TEST_F(NikonLiveView, heat_is_not_told_from_exactly_500) {
    const int64_t camera =
        startFrames({usualHeader().word(38, 500).frame(600, 64), usualHeader().word(38, 0).frame(600, 64)});
    nikon().liveViewImage(camera);
    nikon().liveViewImage(camera);
    EXPECT_EQ(helper().out().count("OVERHEAT"), 0u);
}

TEST_F(NikonLiveView, heat_without_a_callback_socket_is_logged_alone) {
    const int64_t camera =
        startFrames({usualHeader().word(38, 501).frame(600, 64), usualHeader().word(38, 30).frame(600, 64)});
    nikon().liveViewImage(camera);
    EXPECT_EQ(nikon().liveViewImage(camera).size(), 536u);
    helper().waitForOut("NikonMaid: live view OVERHEAT!\n");
}

TEST_F(NikonLiveView, status_travels_in_ten_bytes) {
    const int64_t camera =
        startFrames({usualHeader().word(38, 501).frame(600, 64), usualHeader().word(38, 30).frame(600, 64)});
    RawClient stream(helper().port());
    stream.send({8});
    helper().waitForErr("setCallbackSocket(");
    nikon().liveViewImage(camera);
    nikon().liveViewImage(camera);
    EXPECT_EQ(hex(stream.receive(10)), "14 33 22 11 00 03 01 00 00 00");
    stream.expectSilence();
}

// ---- Focus ----------------------------------------------------------------------------------------------

class NikonFocus : public NikonLiveView {
protected:
    static Bytes driving(bool isDriving) { return usualHeader().byte(30, isDriving ? 1 : 0).frame(600, 64); }

    size_t framesLogged() { return helper().out().count(kFocusLine); }
};

TEST_F(NikonFocus, of_no_steps_does_nothing) {
    const int64_t camera = startFrames({driving(false)});
    lab().clearTrace();
    nikon().driveFocus(camera, 0);
    EXPECT_EQ(commandTexts(), Texts{});
    EXPECT_EQ(framesLogged(), 0u);
}

TEST_F(NikonFocus, sets_amount_and_direction_and_looks_at_a_frame) {
    const int64_t camera = startFrames({driving(false)});
    for (const int32_t steps : {-5, 5}) {
        lab().clearTrace();
        nikon().driveFocus(camera, steps);
        EXPECT_EQ(commandTexts(),
                  (Texts{"1 7 0x8248", "1 6 0x8248", "1 6 0x8249", "1 7 0x8247", "1 9 0x8247"}));
        const std::vector<MaidCommand> all = commands();
        ASSERT_EQ(all.size(), 5u);
        EXPECT_EQ(all[1].dataType, 14);
        EXPECT_EQ(all[1].value.get<double>(), 5.0);
        EXPECT_EQ(all[2].dataType, 3);
        EXPECT_EQ(number(all[2].value), steps < 0 ? 1 : 0);
    }
    // The percent sign ends the line as it stands.
    helper().waitForOut("NikonMaid: driveFocus, counter=0, focus=%\n", 2);
    EXPECT_EQ(framesLogged(), 2u);
}

TEST_F(NikonFocus, waits_until_the_lens_stands_still) {
    const int64_t camera = startFrames({driving(true), driving(true), driving(true), driving(false)});
    lab().clearTrace();
    nikon().driveFocus(camera, 3);
    EXPECT_EQ(commandsOf(kGetArrayCommand, kLiveViewFrame), 4u);
    for (int counter = 0; counter < 4; ++counter) {
        helper().waitForOut(kFocusLine + std::to_string(counter) + ", focus=%\n");
    }
    EXPECT_EQ(framesLogged(), 4u);
}

TEST_F(NikonFocus, waits_whatever_number_says_that_the_lens_moves) {
    const Bytes moving = usualHeader().byte(30, 0x80).frame(600, 64);
    const int64_t camera = startFrames({moving, moving, driving(false)});
    lab().clearTrace();
    nikon().driveFocus(camera, 3);
    EXPECT_EQ(commandsOf(kGetArrayCommand, kLiveViewFrame), 3u);
}

TEST_F(NikonFocus, of_a_camera_that_does_not_tell_its_amount_is_driven_by_the_one_it_has) {
    const int64_t camera = startFrames(
        {driving(false)},
        {capability(kFocusAmount, kRangeCap, kSettable, {{"value", 1}, {"lower", 0}, {"upper", 9}})});
    lab().clearTrace();
    nikon().driveFocus(camera, 5);
    EXPECT_EQ(commandTexts(), (Texts{"1 6 0x8249", "1 7 0x8247", "1 9 0x8247"}));
}

TEST_F(NikonFocus, goes_by_the_last_frame_while_none_comes) {
    const int64_t camera = startFrames({driving(true), driving(false)});
    lab().clearTrace();
    lab().fault("MAIDEntryPoint:9", -116, {{"capability", kLiveViewFrame}, {"skip", 1}, {"times", 2}});
    nikon().driveFocus(camera, 3);
    EXPECT_EQ(commandsOf(kGetArrayCommand, kLiveViewFrame), 4u);
    EXPECT_EQ(framesLogged(), 4u);
}

TEST_F(NikonFocus, looks_at_100_frames_at_most) {
    const int64_t camera = startFrames({driving(true)});
    lab().clearTrace();
    nikon().driveFocus(camera, -1);
    EXPECT_EQ(commandsOf(kGetArrayCommand, kLiveViewFrame), 100u);
    helper().waitForOut(kFocusLine + "99, focus=%\n");
    EXPECT_EQ(framesLogged(), 100u);
}

TEST_F(NikonFocus, of_the_least_number_of_steps_sets_its_absolute_value) {
    const int64_t camera =
        startFrames({driving(false)}, {capability(kFocusAmount, kRangeCap, kGettable | kSettable,
                                                  {{"value", 0}, {"lower", 0}, {"upper", 3e9}})});
    lab().clearTrace();
    nikon().driveFocus(camera, INT32_MIN);
    EXPECT_EQ(commands().at(1).value.get<double>(), 2147483648.0);
    EXPECT_EQ(number(commands().at(2).value), 1);
}

TEST_F(NikonFocus, that_cannot_be_set_fetches_no_frame) {
    const int64_t camera = startFrames({driving(false)});
    struct Failure {
        const char* call;
        int capability;
    };
    for (const Failure& failure :
         {Failure{"MAIDEntryPoint:7", kFocusAmount}, Failure{"MAIDEntryPoint:6", kFocusAmount},
          Failure{"MAIDEntryPoint:6", kFocusDirection}}) {
        lab().fault(failure.call, -116, {{"capability", failure.capability}});
        nikon().driveFocus(camera, 2);
    }
    EXPECT_EQ(framesLogged(), 0u);
    EXPECT_EQ(commandsOf(kGetArrayCommand, kLiveViewFrame), 0u);
    nikon().driveFocus(camera, 2);
    EXPECT_EQ(framesLogged(), 1u);
}

}  // namespace
}  // namespace e2e
