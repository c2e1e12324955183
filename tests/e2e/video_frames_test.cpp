// Live view: the words of frames against the lab's pattern, for widths, strides and sizes that change.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <utility>

#include "tests/e2e/support/video_fixture.h"

namespace e2e {
namespace {

struct Shape {
    int width, height, bytesPerRow;
};

class VideoFrameShapes : public VideoTest, public ::testing::WithParamInterface<Shape> {};

TEST_P(VideoFrameShapes, come_word_by_word) {
    const Shape& shape = GetParam();
    const int64_t camera = startSelected(
        webcam({{"width", shape.width}, {"height", shape.height}, {"bytesPerRow", shape.bytesPerRow}}));
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(isPattern(awaitFrame(camera), shape.width, shape.height));
    }
    EXPECT_EQ(video().imageWidth(camera), shape.width);
    EXPECT_EQ(video().imageHeight(camera), shape.height);
}

INSTANTIATE_TEST_SUITE_P(all, VideoFrameShapes,
                         ::testing::Values(Shape{640, 480, 2560}, Shape{640, 480, 2624}, Shape{1, 1, 4},
                                           Shape{1, 1, 68}, Shape{1, 500, 8}, Shape{500, 1, 2064},
                                           Shape{17, 31, 68}, Shape{17, 31, 128}, Shape{320, 240, 4096},
                                           Shape{1280, 720, 5120}, Shape{1920, 1080, 7936}),
                         [](const auto& each) {
                             return std::to_string(each.param.width) + "x" +
                                    std::to_string(each.param.height) + "_" +
                                    std::to_string(each.param.bytesPerRow);
                         });

class VideoFrames : public VideoTest {
protected:
    /** Until the camera's counter has moved on; the number that a frame carries in its red. */
    uint32_t nextNumber(int64_t camera, uint32_t last) {
        uint32_t next = last;
        EXPECT_TRUE(eventually([&] {
            const Words words = video().imageData(camera);
            if (!words.empty()) next = words[0] >> 16 & 0xFF;
            return next != last;
        }));
        return next;
    }
};

TEST_F(VideoFrames, move) {
    const int64_t camera = startSelected();
    uint32_t last = 256;
    for (int i = 0; i < 5; ++i) {
        last = nextNumber(camera, last);
    }
}

TEST_F(VideoFrames, tell_their_size_only_when_one_was_examined) {
    const int64_t camera = startSelected();
    EXPECT_EQ(video().imageHeight(camera), 0);
    EXPECT_TRUE(eventually([&] { return video().imageWidth(camera) == kWebcamWidth; }));
    EXPECT_EQ(video().imageHeight(camera), kWebcamHeight);
}

TEST_F(VideoFrames, change_their_size_when_asked_to) {
    const int64_t camera = startSelected();
    awaitFrame(camera);
    lab().clearTrace();
    const size_t before = helper().out().size();
    video().setImageDimensions(camera, 32, 24);
    EXPECT_EQ(helper().out().since(before),
              "QTKitCapture: Updating size to 32 x 24\n"
              "QTKitCapture: Stopping capture session\n"
              "QTKitCapture: Stopped capture session\n");
    EXPECT_EQ(lab().callNames(),
              (std::vector<std::string>{"QTCaptureSession.stopRunning",
                                        "QTCaptureDecompressedVideoOutput.setPixelBufferAttributes",
                                        "QTCaptureSession.startRunning"}));
    const Json args = lab().calls("QTCaptureDecompressedVideoOutput.setPixelBufferAttributes").at(0)["args"];
    EXPECT_EQ(number(args["width"]), 32);
    EXPECT_EQ(number(args["height"]), 24);
    EXPECT_EQ(number(args["format"]), 0x42475241);
    EXPECT_TRUE(isPattern(awaitFrame(camera, 32, 24), 32, 24));
    video().setImageDimensions(camera, 128, 96);
    EXPECT_TRUE(isPattern(awaitFrame(camera, 128, 96), 128, 96));
}

TEST_F(VideoFrames, keep_the_recorded_size_until_one_of_the_new_is_examined) {
    const int64_t camera = startSelected();
    awaitFrame(camera);
    video().setImageDimensions(camera, 32, 24);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(video().imageWidth(camera), kWebcamWidth);
        EXPECT_EQ(video().imageHeight(camera), kWebcamHeight);
    }
    awaitFrame(camera, 32, 24);
}

TEST_F(VideoFrames, of_nine_million_pixels_come_and_of_one_row_more_do_not) {
    const int64_t camera = startSelected(webcam({{"width", 3000}, {"height", 3000}, {"fps", 5}}));
    EXPECT_TRUE(isPattern(awaitFrame(camera), 3000, 3000));
    video().setImageDimensions(camera, 3000, 3001);
    helper().waitForOut("Stopped capture session\n");
    EXPECT_TRUE(eventually([&] {
        const bool isEmpty = video().imageData(camera).empty();
        return isEmpty && video().imageHeight(camera) == 3001;
    }));
    helper().waitForOut("QTKitCapture: Bail test pixels = 0x");
    helper().waitForOut(", dataLength = 9003000\n");
    video().setImageDimensions(camera, 40, 30);
    EXPECT_TRUE(isPattern(awaitFrame(camera, 40, 30), 40, 30));
}

TEST_F(VideoFrames, of_sizes_that_make_no_sense_harm_nobody) {
    const int64_t camera = startSelected();
    awaitFrame(camera);
    for (const auto& [width, height] : std::vector<std::pair<int32_t, int32_t>>{
             {0, 0}, {-1, -1}, {INT32_MAX, INT32_MAX}, {INT32_MIN, 1}, {1, INT32_MAX}}) {
        video().setImageDimensions(camera, width, height);
        video().imageData(camera);
    }
    video().setImageDimensions(camera, 32, 24);
    EXPECT_TRUE(isPattern(awaitFrame(camera, 32, 24), 32, 24));
}

TEST_F(VideoFrames, of_a_lost_device_stay_the_last_one) {
    const int64_t camera = startSelected();
    awaitFrame(camera);
    lab().detach("video-1");
    helper().waitForErr("] Notification ");
    Words last = video().imageData(camera);
    EXPECT_TRUE(isPattern(last, kWebcamWidth, kWebcamHeight));
    EXPECT_TRUE(eventually([&] { return last == std::exchange(last, video().imageData(camera)); }));
}

TEST_F(VideoFrames, are_whole_while_many_fetch_and_the_size_changes) {
    const int64_t camera = startSelected(webcam({{"fps", 500}, {"bytesPerRow", kWebcamWidth * 4 + 64}}));
    awaitFrame(camera);
    std::atomic<bool> isOver{false};
    std::atomic<int> broken{0};
    std::vector<std::thread> hosts;
    for (int i = 0; i < 3; ++i) {
        hosts.emplace_back([&] {
            VideoCalls own(helper().port());
            while (!isOver) {
                const Words words = own.imageData(camera);
                const int width = words.size() == 64 * 48 ? 64 : 32;
                if (!isPattern(words, width, width * 3 / 4)) ++broken;
            }
        });
    }
    for (int i = 0; i < 20; ++i) {
        const int width = i % 2 == 0 ? 32 : 64;
        video().setImageDimensions(camera, width, width * 3 / 4);
        awaitFrame(camera, width, width * 3 / 4);
    }
    isOver = true;
    for (std::thread& host : hosts) {
        host.join();
    }
    EXPECT_EQ(broken, 0);
}

TEST_F(VideoFrames, under_way_through_a_slow_socket_are_not_written_into) {
    const int64_t camera = startSelected(webcam({{"width", 1280}, {"height", 720}, {"fps", 60}}));
    awaitFrame(camera);
    VideoCalls slow(helper().port());
    slow.send(10, Message().int64(camera));
    slow.expectHeader(10);  // the reply of 3.7 MB is under way and stands for want of a reader
    for (int i = 0; i < 10; ++i) {
        EXPECT_TRUE(isPattern(video().imageData(camera), 1280, 720));
    }
    slow.expectHeader(10);
    Reader reader(slow.receiveResult(videoMethod(10)));
    const std::vector<int32_t> ints = reader.ints();
    EXPECT_TRUE(isPattern(Words(ints.begin(), ints.end()), 1280, 720));
}

TEST_F(VideoFrames, under_way_when_the_camera_is_released_arrive_whole) {
    const int64_t camera = startSelected(webcam({{"width", 1280}, {"height", 720}, {"fps", 60}}));
    awaitFrame(camera);
    VideoCalls slow(helper().port());
    slow.send(10, Message().int64(camera));
    slow.expectHeader(10);
    slow.expectHeader(10);
    const Bytes count = slow.socket().receive(4);
    video().releaseCamera(camera);
    EXPECT_TRUE(video().imageData(camera).empty());
    Reader reader(Message().raw(count).raw(slow.socket().receive(4 * 1280 * 720)));
    const std::vector<int32_t> ints = reader.ints();
    EXPECT_TRUE(isPattern(Words(ints.begin(), ints.end()), 1280, 720));
}

}  // namespace
}  // namespace e2e
