// Video devices: which ones count, how one is selected and released, what handles may be, losses.
#include <gtest/gtest.h>

#include "tests/e2e/support/video_fixture.h"

namespace e2e {
namespace {

using Names = std::vector<std::string>;

const char* const kBuiltIn = "Built-in iSight";

class VideoDevices : public VideoTest {
protected:
    /** The traced calls as "QTCaptureConnection.setEnabled sound 0" and the like. */
    Names steps() {
        Names told;
        for (const Json& call : lab().trace()) {
            if (call.value("call", "") == "EnterMovies") continue;
            std::string text = call.value("call", "");
            const Json& args = call["args"];
            if (args.contains("media")) text += " " + args.value("media", "");
            if (args.contains("enabled")) text += " " + std::string(isTrue(args["enabled"]) ? "1" : "0");
            if (args.contains("width") && !args["width"].is_null()) {
                text += " " + std::to_string(number(args["width"])) + "x" +
                        std::to_string(number(args["height"]));
            }
            told.push_back(text);
        }
        return told;
    }
    static bool isTrue(const Json& value) {
        return value.is_boolean() ? value.get<bool>() : number(value) != 0;
    }
};

TEST_F(VideoDevices, with_sound_alone_are_told_and_take_no_number) {
    start(videoScenario({videoDevice("mic-1", "Microphone", {{"media", {"sound"}}}), webcam(),
                         videoDevice("dv-1", "Camcorder", {{"media", {"muxed"}}}),
                         videoDevice("both-1", "Both", {{"media", {"video", "sound"}}})}));
    EXPECT_EQ(video().cameraCount(), 3);
    helper().waitForOut(
        "QTKitCapture: Display Name = Microphone, video=0\n"
        "QTKitCapture: Display Name = Webcam, video=1\n"
        "QTKitCapture: Display Name = Camcorder, video=1\n"
        "QTKitCapture: Display Name = Both, video=1\n");
    EXPECT_EQ(video().cameraName(0), "Webcam");
    EXPECT_EQ(video().cameraName(1), "Camcorder");
    EXPECT_EQ(video().cameraName(2), "Both");
    EXPECT_EQ(video().cameraName(3), "");
    const int64_t camera = video().selectCamera(0);
    lab().clearTrace();
    video().releaseCamera(camera);
    EXPECT_EQ(lab().trace().at(0)["device"], "video-1");
}

TEST_F(VideoDevices, whose_name_is_not_ascii_have_none) {
    start(videoScenario({videoDevice("video-1", "Kamera für Tests")}));
    EXPECT_EQ(video().cameraCount(), 1);
    helper().waitForOut("QTKitCapture: Display Name = (null), video=1\n");
    EXPECT_EQ(video().cameraName(0), "");
    EXPECT_NE(video().selectCamera(0), 0);
}

TEST_F(VideoDevices, come_and_go_with_their_cables) {
    start();
    EXPECT_EQ(video().cameraCount(), 1);
    lab().detach("video-1");
    EXPECT_EQ(video().cameraCount(), 0);
    EXPECT_EQ(video().selectCamera(0), 0);
    lab().attach(videoDevice("video-2", "Other"));
    EXPECT_TRUE(eventually([&] { return video().cameraName(0) == "Other"; }));
}

TEST_F(VideoDevices, are_selected_in_the_prescribed_order_without_sound) {
    const int64_t camera = startSelected(webcam({{"media", {"video", "sound", "muxed"}}}));
    EXPECT_EQ(steps(),
              (Names{"QTCaptureDevice.open", "QTCaptureConnection.setEnabled video 1",
                     "QTCaptureConnection.setEnabled sound 0", "QTCaptureConnection.setEnabled muxed 1",
                     "QTCaptureSession.addInput", "QTCaptureDecompressedVideoOutput.setPixelBufferAttributes",
                     "QTCaptureSession.addOutput", "QTCaptureSession.startRunning"}));
    const Json attributes = lab().calls("QTCaptureDecompressedVideoOutput.setPixelBufferAttributes").at(0);
    EXPECT_EQ(number(attributes["args"]["format"]), 0x42475241);
    EXPECT_EQ(helper().out().count("QTKitCapture: isight 0\n"), 1u);
    EXPECT_TRUE(isPattern(awaitFrame(camera), kWebcamWidth, kWebcamHeight)) << "its own size";
}

TEST_F(VideoDevices, built_in_come_at_640_by_480_and_without_controls) {
    Json device = webcamWithControls({{"name", kBuiltIn}});
    const int64_t camera = startSelected(device);
    EXPECT_EQ(steps().at(3), "QTCaptureDecompressedVideoOutput.setPixelBufferAttributes 640x480");
    EXPECT_EQ(helper().out().count("QTKitCapture: isight 1\n"), 1u);
    EXPECT_FALSE(video().hasSettings(camera));
    EXPECT_TRUE(lab().calls("ControlRequest").empty());
    EXPECT_TRUE(isPattern(awaitFrame(camera), 640, 480));
}

TEST_F(VideoDevices, muxed_give_frames_like_others) {
    const int64_t camera = startSelected(webcam({{"media", {"muxed"}}}));
    EXPECT_TRUE(isPattern(awaitFrame(camera), kWebcamWidth, kWebcamHeight));
}

struct Refusal {
    const char* name;
    const char* call;
    int result;
    const char* log;
    const char* last;  // the last call that is made
    bool staysOpen;
};

void PrintTo(const Refusal& row, std::ostream* out) {
    *out << row.name;
}

class VideoRefusals : public VideoDevices, public ::testing::WithParamInterface<Refusal> {};

TEST_P(VideoRefusals, leave_no_handle_and_the_next_selection_works) {
    const Refusal& row = GetParam();
    start();
    CallbackStream& stream = events();
    lab().fault(row.call, row.result);
    EXPECT_EQ(video().selectCamera(0), 0);
    EXPECT_EQ(lab().trace().back()["call"], row.last);
    EXPECT_TRUE(lab().calls("QTCaptureDevice.close").empty()) << "the device stays as it was opened";
    EXPECT_EQ(lab().device("video-1")["open"], row.staysOpen);
    EXPECT_TRUE(*row.log == '\0' || helper().out().count(row.log) == 1) << helper().out().text();
    const int64_t camera = video().selectCamera(0);
    EXPECT_NE(camera, 0);
    EXPECT_TRUE(isPattern(awaitFrame(camera), kWebcamWidth, kWebcamHeight));
    // What is left of the camera that was refused hears nothing any more.
    lab().detach("video-1");
    stream.waitFor([](const Event& event) { return event.kind == kStateEvent; }, "loss");
    stream.collectUntilSilent();
    EXPECT_EQ(stream.seen().size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(
    all, VideoRefusals,
    ::testing::Values(Refusal{"open", "QTCaptureDevice.open", 0, "", "QTCaptureDevice.open", false},
                      Refusal{"addInput", "QTCaptureSession.addInput", 0, "QTKitCapture: Failed addInput\n",
                              "QTCaptureSession.addInput", true},
                      Refusal{"addOutput", "QTCaptureSession.addOutput", 0,
                              "QTKitCapture: Failed addOutput\n", "QTCaptureSession.addOutput", true}),
    [](const auto& each) { return std::string(each.param.name); });

TEST_F(VideoDevices, that_open_with_an_error_are_not_selected_and_stay_open) {
    start();
    lab().fault("QTCaptureDevice.open", 2);
    EXPECT_EQ(video().selectCamera(0), 0);
    helper().waitForErr("] error ");
    EXPECT_EQ(lab().callNames({"EnterMovies"}), Names{"QTCaptureDevice.open"});
    EXPECT_EQ(helper().out().text(), "");
    EXPECT_NE(video().selectCamera(0), 0);
}

TEST_F(VideoDevices, are_released_in_the_prescribed_order) {
    const int64_t camera = startSelected();
    awaitFrame(camera);
    lab().clearTrace();
    const size_t before = helper().out().size();
    video().releaseCamera(camera);
    EXPECT_EQ(steps(), (Names{"QTCaptureSession.stopRunning", "QTCaptureDevice.close"}));
    const std::string log = helper().out().since(before);
    char line[80];
    std::snprintf(line, sizeof line, "QTKitCapture: Releasing camera 0x%llx\n",
                  static_cast<unsigned long long>(camera));
    EXPECT_EQ(log.find(line), 0u) << log;
    const size_t session = log.find("QTKitCapture: Releasing camera cameraData->mCaptureSession 0x");
    const size_t device = log.find("QTKitCapture: Closing QTCaptureDevice 0x");
    const size_t buffer = log.find("QTKitCapture: Releasing camera cameraData->dataBuffer 0x");
    EXPECT_TRUE(session < device && device < buffer && buffer != std::string::npos) << log;
}

TEST_F(VideoDevices, can_be_selected_again_after_their_release) {
    int64_t camera = startSelected();
    for (int i = 0; i < 20; ++i) {
        awaitFrame(camera);
        video().releaseCamera(camera);
        const int64_t next = video().selectCamera(0);
        EXPECT_NE(next, camera) << "a stale handle does not soon mean another camera";
        camera = next;
    }
}

TEST_F(VideoDevices, with_controls_can_be_selected_again_without_end) {
    int64_t camera = startSelected(webcamWithControls());
    awaitFrame(camera);
    video().releaseCamera(camera);
    camera = video().selectCamera(0);
    const uint64_t before = helper().residentBytes();
    for (int i = 0; i < 50; ++i) {
        awaitFrame(camera);
        video().releaseCamera(camera);
        camera = video().selectCamera(0);
    }
    const uint64_t frames = 50 * 64 * 48 * 4;
    EXPECT_TRUE(kSanitized || helper().residentBytes() < before + frames) << "frames stay behind";
}

/* ---- Handles ---- */

class VideoHandles : public VideoDevices {
protected:
    /** Every method on a camera answers as without one, and nobody notices. */
    void expectNoCamera(int64_t number) {
        SCOPED_TRACE(number);
        lab().clearTrace();
        const size_t logged = helper().out().size();
        for (const VideoMethod& method : videoMethods()) {
            if (method.arguments[0] != 'c') continue;
            SCOPED_TRACE(method.name);
            EXPECT_EQ(hex(video().call(method.id, videoArgumentsFor(method, number))),
                      hex(videoNoHandleResult(method)));
        }
        EXPECT_EQ(lab().callNames(), Names{});
        EXPECT_EQ(helper().out().since(logged), "");
    }
};

TEST_F(VideoHandles, that_are_zero_or_made_up_answer_nothing) {
    const int64_t camera = startSelected();
    for (const int64_t number :
         {int64_t{0}, int64_t{1}, int64_t{-1}, int64_t{0x7FFFFFFF}, INT64_MIN, INT64_MAX, int64_t{0x12345678},
          camera + 1, camera - 8, camera + 64, camera | int64_t{1} << 32, camera << 32}) {
        expectNoCamera(number);
    }
    EXPECT_TRUE(isPattern(awaitFrame(camera), kWebcamWidth, kWebcamHeight));
}

TEST_F(VideoHandles, of_released_cameras_answer_nothing) {
    for (const Json& device : {webcam(), webcamWithControls()}) {
        const int64_t camera = startSelected(device);
        awaitFrame(camera);
        video().releaseCamera(camera);
        expectNoCamera(camera);
        EXPECT_NE(video().selectCamera(0), camera);
        expectNoCamera(camera);
    }
}

TEST_F(VideoHandles, of_other_families_answer_nothing) {
    start(videoScenario(
        {webcam(), {{"id", "canon-1"}, {"family", "canon"}, {"model", "Canon EOS 5D Mark II"}}}));
    RawClient canon(helper().port());
    canon.send({10, 1});
    canon.receive(8);
    EXPECT_TRUE(eventually([&] {
        canon.send({10, 2});
        canon.receive(4);
        const int32_t count = Reader(canon.receive(4)).int32();
        if (count == 0) return false;
        canon.send(Message().byte(10).byte(7).int32(Reader(canon.receive(4)).int32()));
        return true;
    }));
    const int32_t session = int32At(canon.receive(8), 4);
    EXPECT_GT(session, 130);
    expectNoCamera(session);
    const int64_t camera = video().selectCamera(0);
    canon.send(Message().byte(10).byte(9).int32(camera));
    EXPECT_EQ(int32At(canon.receive(8), 4), 130) << "nor is a video camera a Canon session";
}

/* ---- Losses ---- */

TEST_F(VideoDevices, pulled_out_are_told_by_ten_bytes) {
    startSelected();
    RawClient stream(helper().port());
    stream.send({8});
    helper().waitForErr("setCallbackSocket(");
    lab().detach("video-1");
    EXPECT_EQ(hex(stream.receive(10)), "28 33 22 11 00 03 01 00 00 00");
    stream.expectSilence();
    helper().waitForErr("] Notification ");
    EXPECT_TRUE(helper().err().text().find("QTCaptureSessionRuntimeErrorNotification") != std::string::npos);
}

TEST_F(VideoDevices, pulled_out_without_a_callback_socket_hold_nobody_up) {
    const int64_t camera = startSelected();
    const Words frame = awaitFrame(camera);
    lab().detach("video-1");
    helper().waitForErr("] Notification ");
    EXPECT_EQ(video().imageData(camera).size(), frame.size()) << "the last frame stays";
    video().releaseCamera(camera);
    expectServing();
}

TEST_F(VideoDevices, that_fail_otherwise_are_not_told) {
    startSelected();
    CallbackStream& stream = events();
    for (const int code : {1, 1202, 1204, -1203}) {
        lab().must({{"cmd", "event"}, {"id", "video-1"}, {"error", code}});
    }
    helper().waitForErr("] Notification ", 4);
    stream.collectUntilSilent();
    EXPECT_TRUE(stream.seen().empty());
    lab().must({{"cmd", "event"}, {"id", "video-1"}, {"error", 1203}});
    EXPECT_EQ(stream.waitFor([](const Event& event) { return event.kind == kStateEvent; }, "loss").last(), 1);
}

TEST_F(VideoDevices, of_two_selected_one_pulled_out_is_told_twice) {
    start(videoScenario({webcam(), videoDevice("video-2", "Other")}));
    const int64_t one = video().selectCamera(0);
    const int64_t two = video().selectCamera(1);
    awaitFrame(one);
    awaitFrame(two);
    CallbackStream& stream = events();
    lab().detach("video-1");
    helper().waitForErr("] Notification ", 2);
    stream.waitFor([](const Event& event) { return event.kind == kStateEvent; }, "loss");
    stream.collectUntilSilent();
    ASSERT_EQ(stream.seen().size(), 2u);
    EXPECT_EQ(describe(stream.seen()[0]), "kind 3: 1");
    EXPECT_EQ(describe(stream.seen()[1]), "kind 3: 1");
    EXPECT_TRUE(isPattern(awaitFrame(two), kWebcamWidth, kWebcamHeight));
}

TEST_F(VideoDevices, released_are_not_told_of_any_more) {
    start(videoScenario({webcam(), videoDevice("video-2", "Other")}));
    const int64_t one = video().selectCamera(0);
    video().selectCamera(1);
    CallbackStream& stream = events();
    video().releaseCamera(one);
    lab().detach("video-2");
    stream.waitFor([](const Event& event) { return event.kind == kStateEvent; }, "loss");
    stream.collectUntilSilent();
    EXPECT_EQ(stream.seen().size(), 1u);
}

}  // namespace
}  // namespace e2e
