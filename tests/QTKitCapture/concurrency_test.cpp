// Many tasks on one camera. The sanitizers judge; the tests look for torn frames.
#include <atomic>
#include <thread>

#include "QTKitCapture/src/QTKitCaptureCamera.h"
#include "tests/QTKitCapture/CaptureTest.h"

namespace {

constexpr size_t kWidth = 160;
constexpr size_t kHeight = 120;

class Tasks : public CaptureTest {
protected:
    void TearDown() override {
        stop();
        CaptureTest::TearDown();
    }
    void run(std::function<void()> step) {
        tasks_.emplace_back([this, step = std::move(step)] {
            while (!isEnding_) {
                step();
            }
            QTKitCapture_ReleaseImageData();
        });
    }
    void stop() {
        isEnding_ = true;
        for (std::thread& task : tasks_) {
            task.join();
        }
        tasks_.clear();
        isEnding_ = false;
    }
    /** All words belong to one frame: the pattern of the number in the first word's red. */
    static bool isWhole(const IntArray* array) {
        const Words words = wordsOf(array);
        const size_t width = words.size() == kWidth * kHeight ? kWidth : kWidth / 2;
        for (size_t i = 0; i < words.size(); ++i) {
            if (words[i] != patternWord(i % width, i / width, words[0] >> 16 & 0xFF)) return false;
        }
        return true;
    }
    static FakeFrame frame(uint32_t number) {
        const bool isSmall = number % 7 == 0;
        const size_t width = isSmall ? kWidth / 2 : kWidth;
        return {.width = width,
                .height = isSmall ? kHeight / 2 : kHeight,
                .bytesPerRow = number % 3 == 0 ? width * 4 + 64 : 0,
                .number = number};
    }
    void feed() {
        run([this] { capture().deliver(frame(number_++)); });
    }
    void fetchUnder(jlong handle) {
        run([this, handle] {
            const jintArray array = fetch(handle);
            if (!isWhole(array)) ++torn_;
            ++fetches_;
        });
    }
    void awaitFetches(int count) const {
        const int from = fetches_;
        while (fetches_ < from + count) {
            std::this_thread::yield();
        }
    }

    std::atomic<uint32_t> number_{0};
    std::atomic<int> torn_{0};
    std::atomic<int> fetches_{0};

private:
    std::atomic<bool> isEnding_{false};
    std::vector<std::thread> tasks_;
};

TEST_F(Tasks, that_fetch_while_others_fetch_and_one_captures_see_whole_frames) {
    const jlong handle = select();
    capture().deliver(frame(1));
    fetch(handle);
    feed();
    fetchUnder(handle);
    fetchUnder(handle);
    fetchUnder(handle);
    ::testing::internal::CaptureStdout();
    for (int i = 0; i < 5; ++i) {
        still(handle, 2, kWidth, kHeight);
    }
    awaitFetches(100);
    stop();
    ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(torn_, 0);
    release(handle);
}

TEST_F(Tasks, that_fetch_while_the_size_changes_see_whole_frames) {
    const jlong handle = select();
    feed();
    fetchUnder(handle);
    fetchUnder(handle);
    ::testing::internal::CaptureStdout();
    for (int i = 0; i < 50; ++i) {
        QTKIT(SetImageDimensions)(env(), nullptr, handle, 160 + i, 120);
        EXPECT_LE(width(handle), static_cast<jint>(kWidth));
    }
    awaitFetches(100);
    stop();
    ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(torn_, 0);
    release(handle);
}

TEST_F(Tasks, that_fetch_while_the_camera_is_released_get_a_frame_or_nothing) {
    FakeUsbDevice device;
    device.location = 0x1A110000;
    device.controls[{1, 4}] = {1, 10000, 156};
    for (int turn = 0; turn < 30; ++turn) {
        if (turn == 15) FakeUsb::bus().add(device);  // from here on with controls
        ::testing::internal::CaptureStdout();
        ::testing::internal::CaptureStderr();
        const jlong handle = select();
        feed();
        fetchUnder(handle);
        fetchUnder(handle);
        run([handle] { QTKIT(driveFocus)(env(), nullptr, handle, 1); });
        run([handle] { QTKIT(SetImageDimensions)(env(), nullptr, handle, 160, 120); });
        run([] { capture().raise(1203); });
        awaitFetches(20);
        release(handle);
        awaitFetches(20);
        stop();
        ::testing::internal::GetCapturedStdout();
        ::testing::internal::GetCapturedStderr();
        EXPECT_EQ(fetch(handle), nullptr);
        EXPECT_EQ(capture().calls().back(), "close Webcam");
    }
    EXPECT_EQ(torn_, 0);
}

}  // namespace
