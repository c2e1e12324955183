// Every video method, byte for byte: what goes in, both headers, what comes out; and ids that are none.
#include <gtest/gtest.h>

#include "tests/e2e/support/video_fixture.h"

namespace e2e {
namespace {

class VideoWire : public VideoTest {
protected:
    /** Sends exactly these bytes and expects exactly those, and nothing behind them. */
    void expectAnswer(const Bytes& call, const Bytes& answer) {
        SCOPED_TRACE("call " + hex(call));
        video().socket().send(call);
        EXPECT_EQ(hex(video().socket().receive(answer.size())), hex(answer));
        video().socket().expectSilence(std::chrono::milliseconds(20));
    }
    static Message call(int id, int64_t camera) { return Message().byte(40).byte(id).int64(camera); }
    static Message answer(int id) { return Message().byte(40).byte(id).byte(40).byte(id); }
};

TEST_F(VideoWire, methods_1_and_2_do_nothing) {
    start();
    expectAnswer({40, 1}, {40, 1, 40, 1, 0, 0, 0, 0});
    expectAnswer({40, 2}, {40, 2, 40, 2});
    EXPECT_EQ(lab().callNames({"EnterMovies"}), std::vector<std::string>{});
}

TEST_F(VideoWire, methods_3_to_5_without_devices_answer_nothing) {
    start(videoScenario({}));
    expectAnswer({40, 3}, {40, 3, 40, 3, 0, 0, 0, 0});
    expectAnswer({40, 4, 0, 0, 0, 0}, {40, 4, 40, 4, 0, 0, 0, 0});
    expectAnswer({40, 5, 0, 0, 0, 0}, {40, 5, 40, 5, 0, 0, 0, 0, 0, 0, 0, 0});
}

TEST_F(VideoWire, method_3_counts_and_method_4_names) {
    start(videoScenario({webcam(), videoDevice("video-2", "Zweite")}));
    expectAnswer({40, 3}, {40, 3, 40, 3, 2, 0, 0, 0});
    expectAnswer({40, 4, 1, 0, 0, 0}, answer(4).text("Zweite"));
    expectAnswer({40, 4, 2, 0, 0, 0}, answer(4).int32(0));
    expectAnswer({40, 4, 255, 255, 255, 255}, answer(4).int32(0));
}

TEST_F(VideoWire, method_5_answers_a_long_and_0_past_the_last_device) {
    start();
    expectAnswer({40, 5, 1, 0, 0, 0}, {40, 5, 40, 5, 0, 0, 0, 0, 0, 0, 0, 0});
    video().socket().send({40, 5, 0, 0, 0, 0});
    EXPECT_EQ(hex(video().socket().receive(4)), "28 05 28 05");
    const int64_t camera = Reader(video().socket().receive(8)).int64();
    EXPECT_GT(camera, 0);
    video().socket().expectSilence();
    expectAnswer(call(6, camera), answer(6));
}

TEST_F(VideoWire, methods_7_to_9_carry_the_size) {
    const int64_t camera = startSelected();
    expectAnswer(call(9, camera), answer(9).int32(0));
    EXPECT_TRUE(eventually([&] { return video().imageWidth(camera) != 0; }));
    expectAnswer(call(8, camera), answer(8).int32(kWebcamWidth));
    expectAnswer(call(9, camera), answer(9).int32(kWebcamHeight));
    expectAnswer(call(7, camera).int32(32).int32(24), answer(7));
    EXPECT_TRUE(isPattern(awaitFrame(camera, 32, 24), 32, 24));
}

TEST_F(VideoWire, method_10_answers_a_count_of_zero_before_the_first_frame) {
    const int64_t camera = startSelected(webcam({{"fps", 0.001}}));
    expectAnswer(call(10, camera), answer(10).int32(0));
}

TEST_F(VideoWire, method_10_sends_the_cameras_array_twice_in_a_row) {
    // One frame is all there is for a while.
    const int64_t camera = startSelected(webcam({{"fps", 5}}));
    const Words frame = awaitFrame(camera);
    const size_t size = 4 + 4 * frame.size();
    video().socket().send(Message().raw(call(10, camera).bytes()).raw(call(10, camera).bytes()));
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(hex(video().socket().receive(4)), "28 0a 28 0a");
        Reader reader(video().socket().receive(size));
        const std::vector<int32_t> ints = reader.ints();
        EXPECT_TRUE(isPattern(Words(ints.begin(), ints.end()), kWebcamWidth, kWebcamHeight));
    }
    video().socket().expectSilence(std::chrono::milliseconds(20));
}

TEST_F(VideoWire, method_11_answers_an_array_or_a_count_of_zero) {
    const int64_t camera = startSelected();
    awaitFrame(camera);
    video().socket().send(call(11, camera).int32(1).int32(kWebcamWidth).int32(kWebcamHeight));
    EXPECT_EQ(hex(video().socket().receive(8)), "28 0b 28 0b 00 0c 00 00") << "64 x 48";
    video().socket().receive(4 * kWebcamWidth * kWebcamHeight);
    video().socket().expectSilence(std::chrono::milliseconds(20));
    video().setImageDimensions(camera, 10, 10);
    awaitFrame(camera, 10, 10);
    expectAnswer(call(11, camera).int32(1).int32(10).int32(10), answer(11).int32(0));
    helper().waitForOut("QTKitCapture: Incorrect dimensions width 10, height 10\n");
}

/** The first header says that the call is under way, the second that it is done. */
TEST_F(VideoWire, start_header_comes_before_the_call_runs_and_the_result_header_after_it) {
    const int64_t camera = startSelected(webcamWithControls());
    constexpr std::chrono::seconds kDelay{1};
    struct Waiting {
        int method;
        const char* in;
        Message arguments;
    };
    for (const Waiting& waiting :
         {Waiting{7, "QTCaptureSession.startRunning", Message().int64(camera).int32(32).int32(24)},
          Waiting{13, "ControlRequest", Message().int64(camera).int32(2).int64(0)},
          Waiting{14, "ControlRequest", Message().int64(camera).int32(2)},
          Waiting{15, "ControlRequest", Message().int64(camera).int32(1)},
          Waiting{6, "QTCaptureSession.stopRunning", Message().int64(camera)}}) {
        SCOPED_TRACE(waiting.method);
        lab().delay(waiting.in, kDelay);
        video().send(waiting.method, waiting.arguments);
        video().expectHeader(waiting.method);
        EXPECT_EQ(hex(video().socket().receiveSome(1, std::chrono::milliseconds(50))), "") << "it still runs";
        video().expectHeader(waiting.method);
        video().receiveResult(videoMethod(waiting.method));
    }
    video().socket().expectSilence();
}

TEST_F(VideoWire, method_12_is_accepted_and_ignored) {
    const int64_t camera = startSelected();
    lab().clearTrace();
    for (const int flag : {0, 1, 255}) {
        expectAnswer(call(12, camera).byte(flag), answer(12));
    }
    EXPECT_TRUE(lab().trace().empty());
}

TEST_F(VideoWire, methods_13_to_16_carry_settings) {
    const int64_t camera = startSelected(webcamWithControls());
    expectAnswer(call(13, camera).int32(4).int64(250000), answer(13));
    expectAnswer(call(14, camera).int32(4), answer(14).int64(250000));
    expectAnswer(call(15, camera).int32(2), answer(15));
    expectAnswer(call(16, camera), answer(16).byte(1));
}

TEST_F(VideoWire, methods_13_to_16_of_a_camera_without_controls_answer_nothing) {
    const int64_t camera = startSelected();
    expectAnswer(call(13, camera).int32(4).int64(250000), answer(13));
    expectAnswer(call(14, camera).int32(4), answer(14).int64(0));
    expectAnswer(call(15, camera).int32(2), answer(15));
    expectAnswer(call(16, camera), {40, 16, 40, 16, 0});
    EXPECT_TRUE(lab().calls("ControlRequest").empty());
}

TEST_F(VideoWire, unknown_methods_get_a_log_line_and_no_answer) {
    start();
    for (int id = 17; id <= 256; ++id) {
        const int unknown = id == 256 ? 0 : id;
        video().socket().send(Message().byte(40).byte(unknown));
    }
    helper().waitForErr("TarvoRemote: handleQTKitMessage, unknown methodId 0\n");
    video().socket().expectSilence();
    for (int id = 17; id <= 255; ++id) {
        const std::string line =
            "TarvoRemote: handleQTKitMessage, unknown methodId " + std::to_string(id) + "\n";
        EXPECT_EQ(helper().err().count(line), 1u) << id;
    }
    expectAnswer({40, 3}, {40, 3, 40, 3, 1, 0, 0, 0});
}

TEST_F(VideoWire, a_connection_mixes_the_modules_freely) {
    start();
    expectAnswer({40, 3, 10, 2, 40, 1, 7, 40, 2}, {40, 3, 40, 3, 1,  0, 0, 0, 10, 2, 10, 2, 0,  0,
                                                   0,  0, 40, 1, 40, 1, 0, 0, 0,  0, 40, 2, 40, 2});
    helper().waitForErr("TarvoRemote: handleCameraMessage recv 7\n");
}

/** Of the handle three bytes arrive at most: with more of them it may be the camera's. */
TEST_F(VideoWire, a_call_that_is_cut_off_reads_zeros_and_harms_nobody) {
    const int64_t camera = startSelected();
    for (const VideoMethod& method : videoMethods()) {
        const Bytes whole = videoArgumentsFor(method, camera);
        for (size_t length = 0; length < whole.size(); length += 3) {
            RawClient client(helper().port());
            client.send(Message().byte(40).byte(method.id).raw(Bytes(
                whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(std::min<size_t>(length, 3)))));
            client.finishSending();
            client.receiveUntilClosed();
        }
    }
    expectServing();
    EXPECT_TRUE(isPattern(awaitFrame(camera), kWebcamWidth, kWebcamHeight)) << "nobody released it";
}

}  // namespace
}  // namespace e2e
