// Stills: one frame or the mean of many, progress, sizes that do not fit, and what happens on the way.
#include <atomic>
#include <chrono>
#include <thread>

#include "QTKitCapture/src/QTKitCaptureCamera.h"
#include "tests/QTKitCapture/CaptureTest.h"

namespace {

constexpr jint kWidth = 40;
constexpr jint kHeight = 30;

/** Hands frames out, as fast as somebody waits for them. */
class Feed {
public:
    explicit Feed(const Ref<QTKitCaptureCamera>& camera, FakeFrame first)
        : camera_(camera), frame_(first), task_([this] { run(); }) {}
    ~Feed() { stop(); }
    void stop() {
        isEnding_ = true;
        if (task_.joinable()) task_.join();
    }

private:
    void run() {
        while (!isEnding_) {
            FakeCapture::framework().deliver(frame_);
            ++frame_.number;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    Ref<QTKitCaptureCamera> camera_;
    FakeFrame frame_;
    std::atomic<bool> isEnding_{false};
    std::thread task_;
};

class Stills : public CaptureTest {
protected:
    void SetUp() override {
        CaptureTest::SetUp();
        handle = select();
        camera = findCamera(handle);
        deliver(0);
        fetch(handle);
        capture().forget();
    }
    void TearDown() override {
        camera = {};
        release(handle);
        CaptureTest::TearDown();
    }
    static void deliver(uint32_t number, jint width = kWidth, jint height = kHeight) {
        capture().deliver(FakeFrame{
            .width = static_cast<size_t>(width), .height = static_cast<size_t>(height), .number = number});
    }
    Feed feed(jint width = kWidth, jint height = kHeight) const {
        return Feed(
            camera,
            {.width = static_cast<size_t>(width), .height = static_cast<size_t>(height), .number = 1});
    }

    jlong handle = 0;
    Ref<QTKitCaptureCamera> camera;
};

TEST_F(Stills, of_one_frame_give_its_words_unchanged) {
    for (const jint count : {1, 0, -1, std::numeric_limits<jint>::min()}) {
        const Words words = still(handle, count, kWidth, kHeight);
        EXPECT_EQ(words, patternWords(kWidth, kHeight, 0)) << count << ": a silent device gives its last";
    }
    EXPECT_TRUE(sent().progress.empty());
    EXPECT_TRUE(capture().calls().empty());
}

TEST_F(Stills, of_one_frame_take_one_that_came_after_the_call) {
    const auto feeding = feed();
    const int32_t before = camera->imageId;
    const Words words = still(handle, 1, kWidth, kHeight);
    ASSERT_EQ(words.size(), static_cast<size_t>(kWidth * kHeight));
    EXPECT_GT(static_cast<int32_t>(words[0] >> 16 & 0xFF), before - 1);
}

TEST_F(Stills, are_the_callers_own) {
    jintArray array = QTKIT(CaptureImage)(env(), nullptr, handle, 1, kWidth, kHeight);
    EXPECT_NE(array, fetch(handle));
    release(handle);
    EXPECT_EQ(wordsOf(array), patternWords(kWidth, kHeight, 0));
    freeIntArray(array);
}

TEST_F(Stills, of_many_equal_frames_are_that_frame_made_opaque) {
    const Words words = still(handle, 2, kWidth, kHeight);
    Words expected = patternWords(kWidth, kHeight, 0);
    for (uint32_t& word : expected) {
        word |= 0xFF000000;
    }
    EXPECT_EQ(words, expected);
    EXPECT_EQ(sent().progress, (std::vector<int32_t>{0, 50}));
}

TEST_F(Stills, of_more_than_120_frames_are_made_of_120) {
    const auto feeding = feed();
    EXPECT_EQ(still(handle, 500, kWidth, kHeight).size(), static_cast<size_t>(kWidth * kHeight));
    std::vector<int32_t> expected;
    for (int32_t i = 0; i < 120; ++i) {
        expected.push_back(i * 100 / 120);
    }
    EXPECT_EQ(sent().progress, expected);
}

TEST_F(Stills, of_fewer_than_a_thousand_pixels_are_refused) {
    struct Size {
        jint width, height;
        bool isEnough;
    };
    for (const Size& size : {Size{10, 10, false}, Size{27, 37, false}, Size{25, 40, true}}) {
        deliver(1, size.width, size.height);
        fetch(handle);
        Words words;
        const std::string log = outOf([&] { words = still(handle, 1, size.width, size.height); });
        EXPECT_EQ(!words.empty(), size.isEnough);
        const std::string line = "QTKitCapture: Incorrect dimensions width " + std::to_string(size.width) +
                                 ", height " + std::to_string(size.height) + "\n";
        EXPECT_EQ(log, size.isEnough ? "" : line);
    }
}

TEST_F(Stills, without_a_frame_tell_of_the_missing_buffer) {
    capture().deliver(FakeFrame{.width = 40, .height = 30, .isHollow = true});
    release(handle);
    handle = select();
    camera = findCamera(handle);
    capture().deliver(FakeFrame{.width = 40, .height = 30, .hasMemory = false, .isHollow = true});
    EXPECT_EQ(width(handle), 40);
    for (const jint count : {1, 2}) {
        const std::string log = outOf([&] { EXPECT_TRUE(still(handle, count, 40, 30).empty()); });
        EXPECT_NE(log.find("QTKitCapture: nil dataBuffer\n"), std::string::npos) << log;
    }
    EXPECT_TRUE(sent().progress.empty());
}

TEST_F(Stills, take_the_previous_words_when_a_frame_gives_nothing) {
    capture().deliver(FakeFrame{.width = 40, .height = 30, .hasMemory = false, .isHollow = true});
    EXPECT_EQ(still(handle, 1, 40, 30), patternWords(40, 30, 0));
}

/* ---- Another size than the recorded one ---- */

TEST_F(Stills, of_another_size_apply_the_recorded_one_and_fail_after_30_frames) {
    const auto feeding = feed();
    Words words;
    const std::string log = outOf([&] { words = still(handle, 1, 80, 60); });
    EXPECT_TRUE(words.empty());
    EXPECT_NE(log.find("QTKitCapture: Updating size to 40 x 30\n"), std::string::npos) << log;
    EXPECT_EQ(log.find("Updating size to 80"), std::string::npos) << log;
    EXPECT_NE(log.find("QTKitCapture: Incorrect dimensions width 40 != 80 or height 30 != 60\n"),
              std::string::npos)
        << log;
    // Once: what failed is not put back.
    EXPECT_EQ(capture().calls(), (Lines{"stopRunning", "setPixelBufferAttributes 40x30", "startRunning"}));
}

TEST_F(Stills, of_another_size_succeed_when_another_connection_records_it) {
    capture().forget();
    std::thread host([this] {
        while (camera->imageId != 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        deliver(5, 80, 60);
        EXPECT_NE(fetch(handle), nullptr);
        QTKitCapture_ReleaseImageData();
    });
    const Words words = still(handle, 1, 80, 60);
    host.join();
    EXPECT_EQ(words, patternWords(80, 60, 5));
    // Before and after.
    EXPECT_EQ(capture().calls(), (Lines{"stopRunning", "setPixelBufferAttributes 40x30", "startRunning",
                                        "stopRunning", "setPixelBufferAttributes 40x30", "startRunning"}));
}

TEST_F(Stills, before_any_frame_was_examined_apply_the_size_0) {
    release(handle);
    handle = select();
    camera = findCamera(handle);
    capture().forget();
    std::thread host([this] {
        std::vector<std::string> calls;
        while ((calls = capture().calls()).empty() || calls.back() != "startRunning") {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        // The count is started over behind the restart, so that it takes some more to end the wait.
        while (camera->imageId <= 30) {
            deliver(1);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    EXPECT_TRUE(still(handle, 1, 40, 30).empty());
    host.join();
    EXPECT_EQ(capture().calls().at(1), "setPixelBufferAttributes 0x0");
}

/* ---- Frames that change underway ---- */

/** Delivers behind the answer to the first progress report. */
class Underway : public Stills {
protected:
    /** Calls the action once the average has taken its first frame; the average's answer. */
    Words averageWith(jint frames, const std::function<void()>& action) {
        std::thread other([&] {
            while (sent().progress.empty()) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            action();
        });
        const Words words = still(handle, frames, kWidth, kHeight);
        other.join();
        return words;
    }
};

TEST_F(Underway, a_frame_that_has_shrunk_ends_the_average) {
    std::string log;
    log = outOf([&] { EXPECT_TRUE(averageWith(3, [] { deliver(9, 20, 15); }).empty()); });
    EXPECT_NE(log.find("QTKitCapture: Incorrect dimensions width 20 != 40 or height 15 != 30\n"),
              std::string::npos)
        << log;
}

TEST_F(Underway, a_frame_that_has_grown_is_cut) {
    Words words = averageWith(2, [] { deliver(9, 80, 60); });
    ASSERT_EQ(words.size(), static_cast<size_t>(kWidth * kHeight));
    const Words small = patternWords(40, 30, 0);
    const Words large = patternWords(80, 60, 9);
    for (size_t i = 0; i < words.size(); ++i) {
        uint32_t expected = 0xFF000000;
        for (const int shift : {16, 8, 0}) {
            expected |= ((small[i] >> shift & 0xFF) + (large[i] >> shift & 0xFF)) / 2 << shift;
        }
        ASSERT_EQ(words[i], expected) << i;
    }
}

TEST_F(Underway, a_device_that_is_unplugged_leaves_an_average_of_what_there_is) {
    Words words;
    errOf([&] { words = averageWith(3, [] { capture().raise(1203); }); });
    EXPECT_EQ(words.size(), static_cast<size_t>(kWidth * kHeight));
    EXPECT_EQ(sent().progress, (std::vector<int32_t>{0, 33, 66}));
    EXPECT_EQ(sent().status, std::vector<int32_t>{1});
}

TEST_F(Underway, a_release_ends_the_average_without_a_picture) {
    Words words(1);
    const std::string log = outOf([&] { words = averageWith(120, [this] { release(handle); }); });
    EXPECT_TRUE(words.empty());
    EXPECT_NE(log.find("QTKitCapture: nil dataBuffer\n"), std::string::npos) << log;
    EXPECT_LT(sent().progress.size(), 120u);
}

TEST_F(Underway, a_release_ends_the_wait_for_another_size) {
    capture().forget();
    std::thread other([this] {
        while (capture().calls().empty()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        release(handle);
    });
    EXPECT_TRUE(still(handle, 1, 80, 60).empty());
    other.join();
    const Lines calls = capture().calls();
    EXPECT_EQ(calls.back(), "close Webcam") << "no session is started behind the release";
}

}  // namespace
