// Webcams that PipeWire has, through the whole helper.
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <functional>

#include "tests/e2e/support/callback_stream.h"
#include "tests/e2e/support/helper_process.h"
#include "tests/e2e/support/video_calls.h"
#include "tests/pipewire/private_pipewire.h"

namespace pw {
namespace {

using e2e::eventually;
using e2e::Words;

const std::string kName = "Bars";
const std::string kAnySize = "Any Size";
const std::string kCaps = "video/x-raw,format=YUY2,width=320,height=240,framerate=30/1";
constexpr const char* kTold = "It is not there any more.";

struct Size {
    int width = 0;
    int height = 0;
};

/** The seven bars that both kinds of webcam show, from the left, as what is bright in them. */
constexpr std::array<uint32_t, 7> kBars = {0xFFFFFF, 0xFFFF00, 0x00FFFF, 0x00FF00,
                                           0xFF00FF, 0xFF0000, 0x0000FF};

/** PipeWire's own are at three quarters. */
::testing::AssertionResult showsBars(const Words& words, Size size) {
    if (words.size() != static_cast<size_t>(size.width) * static_cast<size_t>(size.height)) {
        return ::testing::AssertionFailure() << words.size() << " words";
    }
    for (size_t bar = 0; bar < kBars.size(); ++bar) {
        const size_t x = (bar * 2 + 1) * static_cast<size_t>(size.width) / (kBars.size() * 2);
        const uint32_t word =
            words[static_cast<size_t>(size.height / 3) * static_cast<size_t>(size.width) + x];
        bool isRight = word >> 24 == 0xFF;
        for (const int shift : {0, 8, 16}) {
            const uint32_t part = (word >> shift) & 0xFF;
            isRight = isRight && ((kBars[bar] >> shift & 0xFF) != 0 ? part > 0xA0 : part < 0x20);
        }
        if (!isRight) return ::testing::AssertionFailure() << "bar " << bar << " is " << std::hex << word;
    }
    return ::testing::AssertionSuccess();
}

class PipeWireWebcams : public ::testing::Test {
protected:
    void SetUp() override {
        static const std::string missing = whatIsMissing();
        if (!missing.empty()) GTEST_SKIP() << missing << " (scripts/install-deps.sh installs it)";
    }
    void TearDown() override {
        if (!helper_) return;
        helper_->stop();
        const std::string said = helper_->err().text();
        // GLib's words for misuse; what it says first would be a crash some day.
        for (const char* complaint : {"-CRITICAL **", "-WARNING **"}) {
            EXPECT_EQ(said.find(complaint), std::string::npos) << said;
        }
    }

    void startHelper() {
        e2e::HelperOptions options;
        options.isSimulated = false;
        options.environment = pipewire_.environment();
        // GLib leaves a table behind on purpose.
        const char* const given = std::getenv("ASAN_OPTIONS");
        options.environment["ASAN_OPTIONS"] = std::string(given == nullptr ? "" : given) + ":detect_leaks=0";
        helper_ = std::make_unique<e2e::HelperProcess>(options);
        video_ = std::make_unique<e2e::VideoCalls>(helper_->port());
    }
    /** With a daemon and one webcam. */
    void startAll() {
        ASSERT_NO_FATAL_FAILURE(pipewire_.startDaemon());
        ASSERT_NO_FATAL_FAILURE(plug());
        startHelper();
    }

    /** The machine may have webcams of its own: tests look past them. */
    int32_t countOf(const std::string& name) {
        const int32_t count = video().cameraCount();
        int32_t found = 0;
        for (int32_t i = 0; i < count; ++i) {
            found += video().cameraName(i) == name ? 1 : 0;
        }
        return found;
    }
    int64_t select(const std::string& name = kName) {
        EXPECT_TRUE(eventually([&] { return countOf(name) == 1; })) << name;
        const int32_t count = video().cameraCount();
        for (int32_t i = 0; i < count; ++i) {
            if (video().cameraName(i) == name) return video().selectCamera(i);
        }
        return 0;
    }
    Words awaitFrame(int64_t camera) {
        Words words;
        EXPECT_NE(camera, 0);
        EXPECT_TRUE(eventually([&] { return !(words = video().imageData(camera)).empty(); })) << "no frame";
        return words;
    }
    Words awaitFrame(int64_t camera, Size size) {
        Words words;
        video().setImageDimensions(camera, size.width, size.height);
        EXPECT_TRUE(eventually([&] {
            words = video().imageData(camera);
            return words.size() == static_cast<size_t>(size.width) * static_cast<size_t>(size.height);
        })) << "no frame of "
            << size.width << " x " << size.height;
        return words;
    }
    void expectLoss() {
        const e2e::Event loss = events_->waitFor(
            [](const e2e::Event& event) { return event.kind == e2e::kStateEvent; }, "status event");
        EXPECT_EQ(loss.module, 40);
        EXPECT_EQ(loss.values, std::vector<int32_t>{1});
    }
    /** A webcam that streams is told of as lost at once, and listed no more. */
    void expectLossBy(const std::function<void()>& leaving) {
        const size_t before = helper().err().size();
        const int64_t camera = select();
        awaitFrame(camera);
        leaving();
        expectLoss();
        EXPECT_TRUE(helper().waitForErr(kTold, 1, before)) << "only noticed by its silence";
        EXPECT_TRUE(eventually([&] { return countOf(kName) == 0; })) << "it stays in the list";
        video().releaseCamera(camera);
    }
    void listen() { events_ = std::make_unique<e2e::CallbackStream>(*helper_); }

    PrivatePipeWire& pipewire() { return pipewire_; }
    Process& webcam() { return *webcam_; }
    void plug() {
        webcam_ = pipewire_.startWebcam(kName, kCaps);
        ASSERT_NE(webcam_, nullptr);
    }
    e2e::HelperProcess& helper() { return *helper_; }
    e2e::VideoCalls& video() { return *video_; }

private:
    PrivatePipeWire pipewire_;
    std::unique_ptr<Process> webcam_;
    std::unique_ptr<e2e::HelperProcess> helper_;
    std::unique_ptr<e2e::VideoCalls> video_;
    std::unique_ptr<e2e::CallbackStream> events_;
};

TEST_F(PipeWireWebcams, are_listed_once_and_show_what_they_see) {
    ASSERT_NO_FATAL_FAILURE(startAll());
    EXPECT_TRUE(eventually([&] { return countOf(kName) == 1; }));
    const int64_t camera = select();
    EXPECT_TRUE(showsBars(awaitFrame(camera), {320, 240}));
    EXPECT_EQ(video().imageWidth(camera), 320);
    EXPECT_EQ(video().imageHeight(camera), 240);
    EXPECT_FALSE(video().hasSettings(camera)) << "it has no place on a bus";
}

TEST_F(PipeWireWebcams, are_scaled_to_a_size_that_is_not_theirs) {
    ASSERT_NO_FATAL_FAILURE(startAll());
    const int64_t camera = select();
    for (const Size size : {Size{160, 120}, Size{640, 480}, Size{200, 300}}) {
        EXPECT_TRUE(showsBars(awaitFrame(camera, size), size)) << size.width;
    }
}

TEST_F(PipeWireWebcams, of_any_size_start_with_the_largest_that_is_no_burden) {
    ASSERT_NO_FATAL_FAILURE(pipewire().startDaemon());
    startHelper();
    const int64_t camera = select(kAnySize);
    EXPECT_TRUE(showsBars(awaitFrame(camera), {1920, 1200}));
    EXPECT_TRUE(showsBars(awaitFrame(camera, {320, 180}), {320, 180}));
}

TEST_F(PipeWireWebcams, take_stills_and_averages) {
    ASSERT_NO_FATAL_FAILURE(startAll());
    const int64_t camera = select();
    const Words seen = awaitFrame(camera);
    EXPECT_EQ(video().captureImage(camera, 1, 320, 240).size(), seen.size());
    listen();
    EXPECT_TRUE(showsBars(video().captureImage(camera, 4, 320, 240), {320, 240}));
}

TEST_F(PipeWireWebcams, leave_nothing_behind_when_they_are_released) {
    constexpr int kTimes = 8;
    constexpr size_t kGStreamersOwn = 3;  // threads that it keeps for the next time
    ASSERT_NO_FATAL_FAILURE(startAll());
    EXPECT_TRUE(eventually([&] { return countOf(kName) == 1; }));
    const size_t descriptors = helper().descriptorCount();
    const size_t threads = helper().threadCount();
    for (int i = 0; i < kTimes; ++i) {
        const int64_t camera = select();
        EXPECT_TRUE(showsBars(awaitFrame(camera), {320, 240}));
        video().releaseCamera(camera);
    }
    EXPECT_TRUE(eventually([&] { return helper().descriptorCount() <= descriptors; }))
        << helper().descriptorCount() << " after " << descriptors;
    EXPECT_TRUE(eventually([&] { return helper().threadCount() <= threads + kGStreamersOwn; }))
        << helper().threadCount() << " after " << threads;
}

TEST_F(PipeWireWebcams, that_leave_while_they_stream_are_told_of) {
    ASSERT_NO_FATAL_FAILURE(startAll());
    listen();
    for (const int signal : {SIGTERM, SIGKILL}) {
        expectLossBy([&] { webcam().end(signal); });
        ASSERT_NO_FATAL_FAILURE(plug());
    }
    EXPECT_TRUE(showsBars(awaitFrame(select()), {320, 240}));
}

TEST_F(PipeWireWebcams, leave_with_the_daemon_and_come_with_the_next) {
    ASSERT_NO_FATAL_FAILURE(startAll());
    listen();
    for (const int signal : {SIGTERM, SIGKILL}) {
        expectLossBy([&] { pipewire().endDaemon(signal); });
        webcam().end();
        ASSERT_NO_FATAL_FAILURE(pipewire().startDaemon());
        ASSERT_NO_FATAL_FAILURE(plug());
    }
    EXPECT_TRUE(showsBars(awaitFrame(select()), {320, 240}));
}

TEST_F(PipeWireWebcams, leave_nothing_behind_when_daemons_end) {
    constexpr int kTimes = 4;
    constexpr size_t kGStreamersOwn = 3;
    startHelper();
    EXPECT_EQ(countOf(kAnySize), 0);
    const size_t descriptors = helper().descriptorCount();
    const size_t threads = helper().threadCount();
    for (int i = 0; i < kTimes; ++i) {
        ASSERT_NO_FATAL_FAILURE(pipewire().startDaemon());
        EXPECT_TRUE(eventually([&] { return countOf(kAnySize) == 1; })) << "a daemon that came later";
        pipewire().endDaemon(SIGKILL);
        EXPECT_TRUE(eventually([&] { return countOf(kAnySize) == 0; }));
    }
    EXPECT_TRUE(eventually([&] { return helper().descriptorCount() <= descriptors; }))
        << helper().descriptorCount() << " after " << descriptors;
    EXPECT_TRUE(eventually([&] { return helper().threadCount() <= threads + kGStreamersOwn; }))
        << helper().threadCount() << " after " << threads;
}

TEST_F(PipeWireWebcams, are_lost_when_the_daemon_hangs_and_nothing_else_is) {
    ASSERT_NO_FATAL_FAILURE(startAll());
    listen();
    const int64_t camera = select();
    awaitFrame(camera);
    pipewire().daemon().halt();
    expectLoss();
    EXPECT_TRUE(helper().waitForErr("No frame came for"));
    video().releaseCamera(camera);
    EXPECT_GE(video().cameraCount(), 0);
    webcam().end(SIGKILL);
    pipewire().daemon().resume();
    EXPECT_TRUE(eventually([&] { return countOf(kName) == 0; }));
    ASSERT_NO_FATAL_FAILURE(plug());
    EXPECT_TRUE(showsBars(awaitFrame(select()), {320, 240}));
}

TEST_F(PipeWireWebcams, of_a_daemon_that_hangs_come_when_it_goes_on) {
    ASSERT_NO_FATAL_FAILURE(pipewire().startDaemon());
    pipewire().daemon().halt();
    startHelper();
    EXPECT_EQ(countOf(kAnySize), 0);
    EXPECT_EQ(countOf(kAnySize), 0) << "only the first question waits";
    pipewire().daemon().resume();
    EXPECT_TRUE(eventually([&] { return countOf(kAnySize) == 1; }));
    EXPECT_TRUE(showsBars(awaitFrame(select(kAnySize)), {1920, 1200}));
}

}  // namespace
}  // namespace pw
