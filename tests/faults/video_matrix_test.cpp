// The fault matrix of video: every framework and bus call that a method makes fails, comes late, and meets a
// webcam that is unplugged while it is under way. After each the answer is the row's, the next call is served
// and nothing is left behind.
#include <gtest/gtest.h>

#include <thread>

#include "tests/e2e/support/video_fixture.h"

namespace e2e::faults {
namespace {

using Names = std::vector<std::string>;

enum class Answer { usual, none, any };

struct Step {
    const char* call;
    /** The fault's result; what the method answers then. */
    int64_t result;
    Answer whenFailed;
    Answer whenGone;
};

struct Row {
    const char* name;
    int method;
    Bytes (*arguments)(int64_t camera);
    std::vector<Step> steps;
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.name;
}

constexpr Answer usual = Answer::usual;
constexpr Answer none = Answer::none;
constexpr Answer any = Answer::any;

/** One request: the interface is opened and closed around it. */
std::vector<Step> requestsOf(int count) {
    std::vector<Step> steps;
    for (int i = 0; i < count; ++i) {
        steps.push_back({"OpenInterface", 0xE00002C5, any, any});
        steps.push_back({"ControlRequest", kPipeStalled, any, any});
        steps.push_back({"CloseInterface", 0xE00002BC, any, any});
    }
    return steps;
}

std::vector<Step> selection() {
    std::vector<Step> steps = {{"QTCaptureDevice.open", 0, none, any},
                               {"QTCaptureConnection.setEnabled", 0, usual, any},
                               {"QTCaptureSession.addInput", 0, none, any},
                               {"QTCaptureDecompressedVideoOutput.setPixelBufferAttributes", 0, usual, any},
                               {"QTCaptureSession.addOutput", 0, none, any},
                               {"QTCaptureSession.startRunning", 0, usual, any}};
    for (const Step& step : requestsOf(5)) {
        steps.push_back({step.call, step.result, usual, any});
    }
    return steps;
}

std::vector<Row> rows() {
    return {
        {"select", 5, [](int64_t) -> Bytes { return Message().int32(0); }, selection()},
        {"release",
         6,
         [](int64_t camera) -> Bytes { return Message().int64(camera); },
         {{"CloseInterface", 0xE00002BC, usual, usual},
          {"QTCaptureSession.stopRunning", 0, usual, usual},
          {"QTCaptureDevice.close", 0, usual, usual}}},
        {"resize",
         7,
         [](int64_t camera) -> Bytes { return Message().int64(camera).int32(32).int32(24); },
         {{"QTCaptureSession.stopRunning", 0, usual, usual},
          {"QTCaptureDecompressedVideoOutput.setPixelBufferAttributes", 0, usual, usual},
          {"QTCaptureSession.startRunning", 0, usual, usual}}},
        {"setKnob", 13,
         [](int64_t camera) -> Bytes { return Message().int64(camera).int32(4).int64(500000); },
         requestsOf(3)},
        {"setSwitch", 13,
         [](int64_t camera) -> Bytes { return Message().int64(camera).int32(2).int64(1000000); },
         requestsOf(1)},
        {"getKnob", 14, [](int64_t camera) -> Bytes { return Message().int64(camera).int32(4); },
         requestsOf(3)},
        {"getSwitch", 14, [](int64_t camera) -> Bytes { return Message().int64(camera).int32(2); },
         requestsOf(1)},
        {"driveFocus", 15, [](int64_t camera) -> Bytes { return Message().int64(camera).int32(2); },
         requestsOf(6)},
    };
}

class VideoMatrix : public VideoTest, public ::testing::WithParamInterface<Row> {
protected:
    static Json camera() { return webcamWithControls({{"fps", 100}}); }
    bool selects() const { return GetParam().method == 5; }

    /** A helper of the case's own, with the camera selected unless that is what the row does. */
    void stage() {
        start(videoScenario({camera()}));
        camera_ = selects() ? 0 : video().selectCamera(0);
        if (!selects()) awaitFrame(camera_);
        lab().clearTrace();
    }

    /** Which call of its name the step is, from 0. */
    static int64_t occurrence(const std::vector<Step>& steps, size_t step) {
        int64_t before = 0;
        for (size_t i = 0; i < step; ++i) {
            before += std::string_view(steps[i].call) == steps[step].call ? 1 : 0;
        }
        return before;
    }

    Bytes call() { return video().call(GetParam().method, GetParam().arguments(camera_)); }

    void expectAnswer(Answer expected, const Bytes& answer) {
        if (selects()) camera_ = Reader(answer).int64();
        if (expected == Answer::any) return;
        if (selects()) {
            EXPECT_EQ(camera_ != 0, expected == Answer::usual);
        } else {
            EXPECT_EQ(hex(answer), hex(usual_));
        }
    }

    /** Releases the camera, if it is there, and selects it again: it works as if nothing had been. */
    void expectWorking() {
        lab().clearFaults();
        if (camera_ != 0) video().releaseCamera(camera_);
        int64_t again = 0;
        EXPECT_TRUE(eventually([&] { return (again = video().selectCamera(0)) != 0; }));
        EXPECT_TRUE(isPattern(awaitFrame(again), kWebcamWidth, kWebcamHeight));
        video().setSetting(again, 4, 250000);
        EXPECT_EQ(video().setting(again, 4), 250000);
        video().releaseCamera(again);
    }

    /** What the call answers when nothing disturbs it. */
    void learnUsual() {
        stage();
        usual_ = call();
        if (selects()) camera_ = Reader(usual_).int64();
    }

    int64_t camera_ = 0;
    Bytes usual_;
};

TEST_P(VideoMatrix, undisturbed_makes_the_rows_calls) {
    learnUsual();
    Names expected;
    for (const Step& step : GetParam().steps) {
        expected.emplace_back(step.call);
    }
    EXPECT_EQ(lab().callNames({"EnterMovies"}), expected);
    expectWorking();
}

TEST_P(VideoMatrix, answers_when_a_call_fails) {
    learnUsual();
    const std::vector<Step>& steps = GetParam().steps;
    for (size_t i = 0; i < steps.size(); ++i) {
        SCOPED_TRACE(std::to_string(i) + " " + steps[i].call);
        stage();
        lab().fault(steps[i].call, steps[i].result, {{"skip", occurrence(steps, i)}});
        expectAnswer(steps[i].whenFailed, call());
        expectWorking();
    }
}

TEST_P(VideoMatrix, waits_for_a_call_that_comes_late) {
    learnUsual();
    const std::vector<Step>& steps = GetParam().steps;
    for (size_t i = 0; i < steps.size(); ++i) {
        SCOPED_TRACE(std::to_string(i) + " " + steps[i].call);
        stage();
        lab().delay(steps[i].call, std::chrono::milliseconds(30), {{"skip", occurrence(steps, i)}});
        expectAnswer(Answer::usual, call());
        expectWorking();
    }
}

TEST_P(VideoMatrix, answers_when_the_webcam_is_unplugged_during_a_call) {
    learnUsual();
    const std::vector<Step>& steps = GetParam().steps;
    for (size_t i = 0; i < steps.size(); ++i) {
        SCOPED_TRACE(std::to_string(i) + " " + steps[i].call);
        stage();
        lab().delay(steps[i].call, std::chrono::milliseconds(100), {{"skip", occurrence(steps, i)}});
        std::thread unplugging([this, i, &steps] {
            LabClient hand(helper().labSocket());
            // The call before it has been traced; the delayed one is on its way or about to be.
            if (i > 0) eventually([&] { return hand.trace().size() >= i; });
            hand.detach("video-1");
        });
        expectAnswer(steps[i].whenGone, call());
        unplugging.join();
        lab().must({{"cmd", "attach"}, {"id", "video-1"}});
        expectWorking();
    }
}

INSTANTIATE_TEST_SUITE_P(rows, VideoMatrix, ::testing::ValuesIn(rows()),
                         [](const auto& each) { return std::string(each.param.name); });

}  // namespace
}  // namespace e2e::faults
