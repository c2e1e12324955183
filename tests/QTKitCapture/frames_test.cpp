// Live view: the words of the newest frame, for every way in which rows may lie in memory, and its size.
#include <cstring>
#include <limits>

#include "QTKitCapture/src/QTKitCaptureCamera.h"
#include "tests/QTKitCapture/CaptureTest.h"

namespace {

class Frames : public CaptureTest {
protected:
    void SetUp() override {
        CaptureTest::SetUp();
        handle = select();
        capture().forget();
    }
    void TearDown() override {
        release(handle);
        CaptureTest::TearDown();
    }
    Words fetched() const { return wordsOf(fetch(handle)); }
    static void deliver(size_t width, size_t height, uint32_t number = 0, size_t bytesPerRow = 0) {
        capture().deliver(
            FakeFrame{.width = width, .height = height, .bytesPerRow = bytesPerRow, .number = number});
    }
    void resize(jint width, jint height) const {
        QTKIT(SetImageDimensions)(env(), nullptr, handle, width, height);
    }

    jlong handle = 0;
};

TEST_F(Frames, that_have_not_come_are_no_array) {
    EXPECT_EQ(fetch(handle), nullptr);
    EXPECT_EQ(width(handle), 0);
    EXPECT_EQ(height(handle), 0);
}

TEST_F(Frames, give_their_words_unchanged) {
    deliver(640, 480, 7);
    EXPECT_EQ(fetched(), patternWords(640, 480, 7));
    deliver(640, 480, 300);
    EXPECT_EQ(fetched(), patternWords(640, 480, 300));
}

struct Rows {
    size_t width, height, bytesPerRow;
};

class FrameRows : public Frames, public ::testing::WithParamInterface<Rows> {};

TEST_P(FrameRows, with_surplus_bytes_give_the_pixels_alone) {
    const Rows& rows = GetParam();
    deliver(rows.width, rows.height, 3, rows.bytesPerRow);
    EXPECT_EQ(fetched(), patternWords(rows.width, rows.height, 3));
}

INSTANTIATE_TEST_SUITE_P(all, FrameRows,
                         ::testing::Values(Rows{640, 480, 2560}, Rows{640, 480, 2624}, Rows{640, 480, 5120},
                                           Rows{1, 1, 4}, Rows{1, 1, 64}, Rows{1, 1000, 8},
                                           Rows{1000, 1, 4096}, Rows{7, 5, 32}, Rows{1920, 1080, 7808}),
                         [](const auto& each) {
                             return std::to_string(each.param.width) + "x" +
                                    std::to_string(each.param.height) + "_" +
                                    std::to_string(each.param.bytesPerRow);
                         });

/** Rows are taken in whole words, so an odd rest of a row shifts what follows. */
TEST_F(Frames, with_an_odd_rest_in_their_rows_come_out_shifted) {
    const Ref<CVImageBuffer> frame = makeFrame({.width = 8, .height = 3, .bytesPerRow = 34});
    capture().deliver(frame);
    Words expected(24);
    std::memcpy(expected.data(), frame->baseAddress(), 96);
    EXPECT_EQ(fetched(), expected);
    const Ref<CVImageBuffer> wide = makeFrame({.width = 8, .height = 3, .bytesPerRow = 38});
    capture().deliver(wide);
    for (size_t row = 0; row < 3; ++row) {
        std::memcpy(expected.data() + 8 * row, static_cast<const uint8_t*>(wide->baseAddress()) + 36 * row,
                    32);
    }
    EXPECT_EQ(fetched(), expected);
}

TEST_F(Frames, of_rows_shorter_than_their_width_are_read_no_further) {
    deliver(8, 3, 0, 16);
    EXPECT_EQ(fetched().size(), 24u);
}

TEST_F(Frames, of_the_same_size_come_in_the_same_array) {
    deliver(64, 48, 1);
    const jintArray first = fetch(handle);
    const void* elements = first->elements;
    EXPECT_EQ(fetch(handle), first);
    deliver(64, 48, 2);
    EXPECT_EQ(fetch(handle), first);
    EXPECT_EQ(first->elements, elements);
    deliver(48, 64, 3);
    EXPECT_EQ(fetch(handle), first) << "the count is what matters";
    EXPECT_EQ(wordsOf(first), patternWords(48, 64, 3));
}

TEST_F(Frames, of_another_size_come_in_another_array) {
    deliver(64, 48, 1);
    EXPECT_EQ(fetch(handle)->count, 64 * 48);
    deliver(32, 24, 2);
    EXPECT_EQ(fetched(), patternWords(32, 24, 2));
    deliver(128, 96, 3);
    EXPECT_EQ(fetched(), patternWords(128, 96, 3));
}

TEST_F(Frames, that_cannot_be_read_leave_the_previous_pixels) {
    capture().deliver(FakeFrame{.width = 64, .height = 48, .locks = false});
    EXPECT_EQ(fetch(handle), nullptr) << "there are none yet";
    deliver(64, 48, 1);
    const jintArray array = fetch(handle);
    capture().deliver(FakeFrame{.width = 32, .height = 24, .number = 2, .locks = false});
    EXPECT_EQ(fetch(handle), array);
    EXPECT_EQ(fetched(), patternWords(64, 48, 1));
    EXPECT_EQ(width(handle), 64);
    capture().deliver(Ref<CVImageBuffer>{});
    EXPECT_EQ(fetched(), patternWords(64, 48, 1)) << "a delivery without a frame";
}

TEST_F(Frames, without_memory_or_pixels_give_nothing_once) {
    deliver(64, 48, 1);
    fetch(handle);
    capture().deliver(FakeFrame{.width = 32, .height = 24, .hasMemory = false, .isHollow = true});
    EXPECT_EQ(outOf([&] { EXPECT_EQ(fetch(handle), nullptr); }),
              "QTKitCapture: Bail test pixels = (nil), dataLength = 768\n");
    EXPECT_EQ(width(handle), 32) << "its size was examined";
    EXPECT_EQ(height(handle), 24);
    capture().deliver(FakeFrame{.width = 0, .height = 24, .isHollow = true});
    const std::string log = outOf([&] { EXPECT_EQ(fetch(handle), nullptr); });
    EXPECT_NE(log.find(", dataLength = 0\n"), std::string::npos) << log;
    EXPECT_EQ(log.find("QTKitCapture: Bail test pixels = 0x"), 0u) << log;
    capture().deliver(FakeFrame{.locks = false});
    EXPECT_EQ(fetched(), patternWords(64, 48, 1)) << "the array outlives frames that gave nothing";
}

TEST_F(Frames, have_nine_million_pixels_at_most) {
    deliver(3000, 3000, 1);
    EXPECT_EQ(fetch(handle)->count, 9000000);
    capture().deliver(FakeFrame{.width = 9000001, .height = 1, .isHollow = true});
    const std::string log = outOf([&] { EXPECT_EQ(fetch(handle), nullptr); });
    EXPECT_NE(log.find("dataLength = 9000001\n"), std::string::npos) << log;
    const size_t huge = std::numeric_limits<size_t>::max() / 2 + 2;  // twice of it is 2 again
    capture().deliver(FakeFrame{.width = huge, .height = 2, .bytesPerRow = 4, .isHollow = true});
    EXPECT_NE(outOf([&] { EXPECT_EQ(fetch(handle), nullptr); }).find("dataLength = 2147483647\n"),
              std::string::npos);
}

TEST_F(Frames, are_counted_and_the_newest_is_kept) {
    const Ref<QTKitCaptureCamera> camera = findCamera(handle);
    for (uint32_t i = 0; i < 5; ++i) {
        deliver(8, 8, i);
    }
    EXPECT_EQ(camera->imageId, 5);
    EXPECT_EQ(capture().liveFrames, 1);
    capture().deliver(Ref<CVImageBuffer>{});
    EXPECT_EQ(camera->imageId, 5);
    EXPECT_EQ(capture().liveFrames, 0);
}

TEST_F(Frames, tell_their_width_by_themselves_and_their_height_only_then) {
    deliver(64, 48);
    EXPECT_EQ(height(handle), 0) << "it looks at no frame";
    EXPECT_EQ(width(handle), 64);
    EXPECT_EQ(height(handle), 48);
    deliver(32, 24);
    EXPECT_EQ(width(handle), 64) << "the size of the frame examined last";
    EXPECT_EQ(height(handle), 48);
    fetch(handle);
    EXPECT_EQ(width(handle), 32);
    EXPECT_EQ(height(handle), 24);
}

TEST_F(Frames, that_cannot_be_read_have_no_width) {
    capture().deliver(FakeFrame{.width = 64, .height = 48, .locks = false});
    EXPECT_EQ(width(handle), 0);
    EXPECT_EQ(height(handle), 0);
}

TEST_F(Frames, are_asked_for_in_another_size_with_the_session_stopped) {
    deliver(64, 48);
    fetch(handle);
    capture().slowStops = 3;
    EXPECT_EQ(outOf([&] { resize(320, 240); }),
              "QTKitCapture: Updating size to 320 x 240\n"
              "QTKitCapture: Stopping capture session\n"
              "QTKitCapture: Stopped capture session\n");
    EXPECT_EQ(capture().calls(), (Lines{"stopRunning", "setPixelBufferAttributes 320x240", "startRunning"}));
    EXPECT_EQ(width(handle), 64) << "until a frame of the new size is examined";
    EXPECT_EQ(height(handle), 48);
}

TEST_F(Frames, are_asked_for_in_another_size_without_stopping_what_stands) {
    const Ref<QTKitCaptureCamera> camera = findCamera(handle);
    camera->mCaptureSession->stopRunning();
    capture().forget();
    EXPECT_EQ(outOf([&] { resize(-1, 0); }), "QTKitCapture: Updating size to -1 x 0\n");
    EXPECT_EQ(capture().calls(), (Lines{"setPixelBufferAttributes -1x0", "startRunning"}));
}

TEST_F(Frames, that_arrive_after_the_release_are_not_kept) {
    const Ref<QTKitCaptureCamera> camera = findCamera(handle);
    deliver(64, 48);
    EXPECT_NE(fetch(handle), nullptr);
    release(handle);
    EXPECT_EQ(capture().liveFrames, 0);
    const Ref<CVImageBuffer> late = makeFrame({.width = 64, .height = 48});
    camera->captureOutput_didOutputVideoFrame_withSampleBuffer_fromConnection(nullptr, late.get(), nullptr,
                                                                              nullptr);
    EXPECT_FALSE(camera->currentFrame());
    EXPECT_EQ(camera->imageId, 1);
}

/** The array of a reply stays whole when the camera is released before it has been sent. */
TEST_F(Frames, outlive_the_release_while_a_reply_holds_them) {
    deliver(64, 48, 9);
    const jintArray array = fetch(handle);
    release(handle);
    EXPECT_EQ(wordsOf(array), patternWords(64, 48, 9));
    QTKitCapture_ReleaseImageData();
}

}  // namespace
