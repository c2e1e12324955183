// Stills: single frames and averages, progress, the rule about other sizes, losses underway.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/e2e/support/video_fixture.h"

namespace e2e {
namespace {

class VideoCapture : public VideoTest {
protected:
    /** A camera that has been looked at once, so that its size is recorded. */
    int64_t startExamined(const Json& device = webcam()) {
        const int64_t camera = startSelected(device);
        awaitFrame(camera);
        return camera;
    }
    Words capture(int64_t camera, int32_t frames) {
        return video().captureImage(camera, frames, kWebcamWidth, kWebcamHeight);
    }
    size_t incorrect(const std::string& text) {
        return helper().out().count("QTKitCapture: Incorrect dimensions " + text + "\n");
    }
};

TEST_F(VideoCapture, of_one_frame_gives_its_words_unchanged) {
    const int64_t camera = startExamined();
    for (const int32_t count : {1, 0, -7, INT32_MIN}) {
        EXPECT_TRUE(isPattern(capture(camera, count), kWebcamWidth, kWebcamHeight)) << count;
    }
}

TEST_F(VideoCapture, of_one_frame_gives_one_that_came_after_the_call) {
    const int64_t camera = startExamined(webcam({{"fps", 20}}));
    for (int i = 0; i < 5; ++i) {
        const uint32_t before = video().imageData(camera)[0] >> 16 & 0xFF;
        const uint32_t taken = capture(camera, 1)[0] >> 16 & 0xFF;
        EXPECT_NE(taken, before);
    }
}

TEST_F(VideoCapture, of_a_silent_device_gives_its_last_frame) {
    const int64_t camera = startExamined();
    lab().detach("video-1");
    helper().waitForErr("] Notification ");
    EXPECT_TRUE(isPattern(capture(camera, 1), kWebcamWidth, kWebcamHeight));
}

/** The frames of a device that has fallen silent are all the same one, so their mean is that frame. */
TEST_F(VideoCapture, of_many_frames_gives_their_mean_made_opaque) {
    const int64_t camera = startExamined();
    lab().detach("video-1");
    helper().waitForErr("] Notification ");
    Words expected = capture(camera, 1);
    EXPECT_EQ(expected[0] >> 24, 128u) << "alpha as delivered";
    for (uint32_t& word : expected) {
        word |= 0xFF000000;
    }
    EXPECT_EQ(capture(camera, 2), expected);
}

/** The pattern is a ramp: every colour's mean over consecutive frames follows from the first frame's number,
 *  which is searched for. */
TEST_F(VideoCapture, averages_are_those_of_frames_that_were_delivered) {
    const int64_t camera = startExamined(webcam({{"fps", 5}}));
    events();
    const int frames = 4;
    const Words words = capture(camera, frames);
    ASSERT_EQ(words.size(), static_cast<size_t>(kWebcamWidth * kWebcamHeight));
    bool isFound = false;
    // Which frames were taken depends on the machine; the steps between them are small.
    for (uint32_t first = 0; first < 256 && !isFound; ++first) {
        for (uint32_t steps = 0; steps < 1000 && !isFound; ++steps) {
            uint32_t numbers[frames] = {first};
            for (int i = 1, rest = static_cast<int>(steps); i < frames; ++i, rest /= 10) {
                numbers[i] = numbers[i - 1] + static_cast<uint32_t>(rest % 10);
            }
            isFound = true;
            for (size_t i = 0; i < words.size() && isFound; ++i) {
                uint32_t word = 0xFF;
                for (const int shift : {16, 8, 0}) {
                    uint32_t sum = 0;
                    for (const uint32_t number : numbers) {
                        sum += patternWord(static_cast<int>(i) % kWebcamWidth,
                                           static_cast<int>(i) / kWebcamWidth, number) >>
                                   shift &
                               0xFF;
                    }
                    word = word << 8 | sum / frames;
                }
                isFound = words[i] == word;
            }
        }
    }
    EXPECT_TRUE(isFound) << "no four frames have this mean";
    EXPECT_EQ(events().waitFor([](const Event& event) { return event.last() == 75; }, "75").kind,
              kProgressEvent);
    EXPECT_EQ(events().progress(), (std::vector<int32_t>{0, 25, 50, 75}));
}

TEST_F(VideoCapture, progress_is_ten_bytes_a_message) {
    const int64_t camera = startExamined();
    RawClient stream(helper().port());
    stream.send({8});
    helper().waitForErr("setCallbackSocket(");
    capture(camera, 3);
    EXPECT_EQ(hex(stream.receive(30)),
              "28 33 22 11 00 04 00 00 00 00 28 33 22 11 00 04 21 00 00 00 28 33 22 11 00 04 42 00 00 00");
    stream.expectSilence();
    capture(camera, 1);
    stream.expectSilence();
}

TEST_F(VideoCapture, of_500_frames_takes_120) {
    const int64_t camera = startExamined();
    CallbackStream& stream = events();
    EXPECT_EQ(capture(camera, 500).size(), static_cast<size_t>(kWebcamWidth * kWebcamHeight));
    stream.waitFor([](const Event& event) { return event.last() == 99; }, "the last percentage");
    stream.collectUntilSilent();
    std::vector<int32_t> expected;
    for (int32_t i = 0; i < 120; ++i) {
        expected.push_back(i * 100 / 120);
    }
    EXPECT_EQ(stream.progress(), expected);
}

TEST_F(VideoCapture, of_fewer_than_a_thousand_pixels_is_refused) {
    const int64_t camera = startExamined();
    video().setImageDimensions(camera, 27, 37);  // 999
    awaitFrame(camera, 27, 37);
    EXPECT_TRUE(video().captureImage(camera, 1, 27, 37).empty());
    EXPECT_EQ(incorrect("width 27, height 37"), 1u);
    video().setImageDimensions(camera, 25, 40);
    awaitFrame(camera, 25, 40);
    EXPECT_EQ(video().captureImage(camera, 1, 25, 40).size(), 1000u);
    EXPECT_EQ(helper().out().count("Incorrect"), 1u);
}

/* ---- Other sizes ---- */

TEST_F(VideoCapture, of_another_size_applies_the_recorded_one_and_fails_after_30_frames) {
    const int64_t camera = startExamined();
    lab().clearTrace();
    EXPECT_TRUE(video().captureImage(camera, 1, 128, 96).empty());
    EXPECT_EQ(incorrect("width 64 != 128 or height 48 != 96"), 1u);
    EXPECT_EQ(helper().out().count("QTKitCapture: Updating size to 64 x 48\n"), 1u) << "and is not put back";
    const std::vector<Json> sizes = lab().calls("QTCaptureDecompressedVideoOutput.setPixelBufferAttributes");
    ASSERT_EQ(sizes.size(), 1u);
    EXPECT_EQ(number(sizes[0]["args"]["width"]), 64);
}

/** Nothing ends this wait but its length, of 99 pauses of 0.1 s: neither 30 frames nor the size come. */
TEST_F(VideoCapture, of_another_size_from_a_silent_device_is_given_up_in_the_end) {
    const int64_t camera = startExamined(webcam());
    lab().detach("video-1");
    helper().waitForErr("] Notification ");
    const auto before = std::chrono::steady_clock::now();
    EXPECT_TRUE(video().captureImage(camera, 1, 128, 96).empty());
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(9900))
        << "sleeps are never shorter";
    EXPECT_EQ(incorrect("width 64 != 128 or height 48 != 96"), 1u);
}

TEST_F(VideoCapture, of_another_size_succeeds_when_another_connection_records_it) {
    // Slow enough that the other connection's fetch comes before 30 frames do.
    const int64_t camera = startExamined(webcam({{"fps", 5}}));
    const size_t before = helper().out().size();
    std::thread host([&] {
        VideoCalls own(helper().port());
        helper().waitForOut("QTKitCapture: Updating size to 64 x 48\n", 1, before);
        own.setImageDimensions(camera, 128, 96);
        EXPECT_TRUE(eventually([&] {
            own.imageData(camera);
            return own.imageWidth(camera) == 128;
        }));
    });
    const Words words = video().captureImage(camera, 1, 128, 96);
    host.join();
    EXPECT_TRUE(isPattern(words, 128, 96));
    EXPECT_EQ(helper().out().count("QTKitCapture: Updating size to 64 x 48\n"), 2u) << "and is put back";
    EXPECT_TRUE(isPattern(awaitFrame(camera, 64, 48), 64, 48));
}

TEST_F(VideoCapture, before_a_frame_was_examined_applies_the_size_0) {
    const int64_t camera = startSelected();
    EXPECT_TRUE(capture(camera, 1).empty());
    EXPECT_EQ(helper().out().count("QTKitCapture: Updating size to 0 x 0\n"), 1u);
    EXPECT_EQ(incorrect("width 0 != 64 or height 0 != 48"), 1u);
}

TEST_F(VideoCapture, of_sizes_that_make_no_sense_is_refused) {
    const int64_t camera = startExamined(webcam({{"fps", 400}}));
    for (const auto& [width, height] : std::vector<std::pair<int32_t, int32_t>>{
             {0, 0}, {-64, -48}, {INT32_MAX, INT32_MAX}, {INT32_MIN, INT32_MIN}, {65536, 65536}}) {
        EXPECT_TRUE(video().captureImage(camera, 1, width, height).empty());
        awaitFrame(camera, 64, 48);
    }
}

TEST_F(VideoCapture, without_a_frame_that_gives_pixels_tells_of_the_missing_buffer) {
    const int64_t camera = startSelected(webcam({{"width", 3001}, {"height", 3000}, {"fps", 10}}));
    EXPECT_TRUE(eventually([&] { return video().imageWidth(camera) == 3001; }));
    EXPECT_TRUE(video().captureImage(camera, 1, 3001, 3000).empty());
    EXPECT_TRUE(video().captureImage(camera, 2, 3001, 3000).empty());
    EXPECT_EQ(helper().out().count("QTKitCapture: nil dataBuffer\n"), 2u);
}

/* ---- What happens underway ---- */

TEST_F(VideoCapture, unplugged_underway_ends_with_what_there_is) {
    const int64_t camera = startExamined(webcam({{"fps", 30}}));
    CallbackStream& stream = events();
    std::thread unplugging([&] {
        stream.waitFor([](const Event& event) { return event.kind == kProgressEvent; }, "progress");
        lab().detach("video-1");
    });
    const Words words = capture(camera, 6);
    unplugging.join();
    EXPECT_EQ(words.size(), static_cast<size_t>(kWebcamWidth * kWebcamHeight));
    stream.waitFor([](const Event& event) { return event.last() == 83; }, "the last percentage");
    stream.collectUntilSilent();
    EXPECT_EQ(stream.progress(), (std::vector<int32_t>{0, 16, 33, 50, 66, 83}));
}

TEST_F(VideoCapture, released_underway_ends_without_a_picture) {
    const int64_t camera = startExamined(webcam({{"fps", 30}}));
    CallbackStream& stream = events();
    std::thread releasing([&] {
        stream.waitFor([](const Event& event) { return event.kind == kProgressEvent; }, "progress");
        VideoCalls own(helper().port());
        own.releaseCamera(camera);
    });
    EXPECT_TRUE(capture(camera, 120).empty());
    releasing.join();
    EXPECT_EQ(helper().out().count("QTKitCapture: nil dataBuffer\n"), 1u);
    EXPECT_NE(video().selectCamera(0), 0);
}

TEST_F(VideoCapture, of_a_smaller_size_that_came_underway_is_refused) {
    const int64_t camera = startExamined(webcam({{"fps", 30}}));
    CallbackStream& stream = events();
    std::thread resizing([&] {
        stream.waitFor([](const Event& event) { return event.kind == kProgressEvent; }, "progress");
        VideoCalls own(helper().port());
        own.setImageDimensions(camera, 32, 24);
    });
    EXPECT_TRUE(capture(camera, 60).empty());
    resizing.join();
    EXPECT_EQ(incorrect("width 32 != 64 or height 24 != 48"), 1u);
}

TEST_F(VideoCapture, of_a_larger_size_that_came_underway_is_cut) {
    const int64_t camera = startExamined(webcam({{"fps", 30}}));
    CallbackStream& stream = events();
    std::thread resizing([&] {
        stream.waitFor([](const Event& event) { return event.kind == kProgressEvent; }, "progress");
        VideoCalls own(helper().port());
        own.setImageDimensions(camera, 128, 96);
    });
    EXPECT_EQ(capture(camera, 20).size(), static_cast<size_t>(kWebcamWidth * kWebcamHeight));
    resizing.join();
}

TEST_F(VideoCapture, goes_on_beside_two_connections_that_fetch) {
    const int64_t camera = startExamined(webcam({{"fps", 200}}));
    std::atomic<bool> isOver{false};
    std::atomic<int> broken{0};
    std::vector<std::thread> hosts;
    for (int i = 0; i < 2; ++i) {
        hosts.emplace_back([&] {
            VideoCalls own(helper().port());
            while (!isOver) {
                if (!isPattern(own.imageData(camera), kWebcamWidth, kWebcamHeight)) ++broken;
            }
        });
    }
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(capture(camera, 8).size(), static_cast<size_t>(kWebcamWidth * kWebcamHeight));
        EXPECT_TRUE(isPattern(capture(camera, 1), kWebcamWidth, kWebcamHeight));
    }
    isOver = true;
    for (std::thread& host : hosts) {
        host.join();
    }
    EXPECT_EQ(broken, 0);
}

}  // namespace
}  // namespace e2e
