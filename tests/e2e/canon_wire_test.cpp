// Every Canon method, byte for byte: what goes in, both headers, what comes out.
#include <gtest/gtest.h>

#include "tests/e2e/support/canon_fixture.h"

namespace e2e {
namespace {

class CanonWire : public CanonTest {
protected:
    /** Sends exactly these bytes and expects exactly those, and nothing behind them. */
    void expectAnswer(const Bytes& call, const Bytes& answer) {
        SCOPED_TRACE("call " + hex(call));
        canon().socket().send(call);
        EXPECT_EQ(hex(canon().socket().receive(answer.size())), hex(answer));
        canon().socket().expectSilence(std::chrono::milliseconds(20));
    }

    Bytes littleEndian(int32_t value) { return Message().int32(value); }

    static Json camera() {
        Json properties = property(kAv, 9, 0x30, {0x28, 0x30, 0x38});
        properties.update(property(kIso, 9, 0x48, {0x48, 0x50}));
        return canonCamera("canon-1", "Canon EOS 5D Mark II",
                           {{"firmware", "2.1.2"}, {"properties", properties}});
    }
};

TEST_F(CanonWire, method_1_initializes_the_library) {
    start();
    expectAnswer({10, 1}, {10, 1, 10, 1, 0, 0, 0, 0});
}

TEST_F(CanonWire, method_2_lists_no_camera_as_a_count_of_zero) {
    start(scenarioOf({}));
    expectAnswer({10, 2}, {10, 2, 10, 2, 0, 0, 0, 0});
    canon().initializeSdk();
    expectAnswer({10, 2}, {10, 2, 10, 2, 0, 0, 0, 0});
}

TEST_F(CanonWire, method_2_lists_one_camera_as_one_int) {
    start();
    canon().initializeSdk();
    canon().socket().send({10, 2});
    EXPECT_EQ(hex(canon().socket().receive(8)), "0a 02 0a 02 01 00 00 00");
    EXPECT_NE(canon().receiveInt(), 0);
    canon().socket().expectSilence();
}

TEST_F(CanonWire, method_5_names_a_camera) {
    start(scenarioOf({camera()}));
    canon().initializeSdk();
    const int32_t reference = canon().cameraList().at(0);
    expectAnswer(Message().byte(10).byte(5).int32(reference),
                 Message().raw(Bytes{10, 5, 10, 5, 20, 0, 0, 0}).raw("Canon EOS 5D Mark II"));
}

TEST_F(CanonWire, method_7_opens_and_method_8_closes_a_session) {
    start(scenarioOf({camera()}));
    canon().initializeSdk();
    const int32_t reference = canon().cameraList().at(0);
    canon().socket().send(Message().byte(10).byte(7).int32(reference));
    EXPECT_EQ(hex(canon().socket().receive(4)), "0a 07 0a 07");
    const int32_t handle = canon().receiveInt();
    EXPECT_GT(handle, 130) << "an address in low memory";
    canon().socket().expectSilence();
    expectAnswer(Message().byte(10).byte(8).int32(handle), {10, 8, 10, 8, 0, 0, 0, 0});
}

TEST_F(CanonWire, methods_9_and_10_start_and_stop_live_view) {
    const int32_t handle = startSession(camera());
    expectAnswer(Message().byte(10).byte(9).int32(handle), {10, 9, 10, 9, 0, 0, 0, 0});
    expectAnswer(Message().byte(10).byte(10).int32(handle), {10, 10, 10, 10, 0, 0, 0, 0});
}

TEST_F(CanonWire, method_11_drives_the_focus_and_answers_four_bytes) {
    const int32_t handle = startSession(camera());
    expectAnswer(Message().byte(10).byte(11).int32(handle).int32(1), {10, 11, 10, 11});
}

TEST_F(CanonWire, method_12_tells_the_firmware) {
    const int32_t handle = startSession(camera());
    expectAnswer(Message().byte(10).byte(12).int32(handle),
                 {10, 12, 10, 12, 5, 0, 0, 0, '2', '.', '1', '.', '2'});
}

TEST_F(CanonWire, method_13_answers_a_count_of_zero_before_live_view_and_then_the_frame) {
    Json model = camera();
    const TempFolder folder;
    const Bytes frame = patternBytes(7001, 3);
    writeFile(folder.file("frame.jpg"), frame);
    model["liveview"] = framesFrom({folder.file("frame.jpg")});
    const int32_t handle = startSession(model);
    const Bytes call = Message().byte(10).byte(13).int32(handle);
    expectAnswer(call, {10, 13, 10, 13, 0, 0, 0, 0});
    canon().startLiveView(handle);
    expectAnswer(call, Message().raw(Bytes{10, 13, 10, 13}).int32(7001).raw(frame));
}

TEST_F(CanonWire, methods_14_and_15_tell_the_zoom_position_in_millionths) {
    const int32_t handle = startSession(camera());
    // No frame yet: a position of 0 is told as 0.1.
    expectAnswer(Message().byte(10).byte(14).int32(handle),
                 Message().raw(Bytes{10, 14, 10, 14}).int64(100000));
    expectAnswer(Message().byte(10).byte(15).int32(handle),
                 Message().raw(Bytes{10, 15, 10, 15}).int64(100000));
}

TEST_F(CanonWire, method_16_reads_a_setting) {
    const int32_t handle = startSession(camera());
    expectAnswer(Message().byte(10).byte(16).int32(handle).int32(kAv), {10, 16, 10, 16, 0x30, 0, 0, 0});
}

TEST_F(CanonWire, method_17_lists_the_values_of_a_setting) {
    const int32_t handle = startSession(camera());
    expectAnswer(Message().byte(10).byte(17).int32(handle).int32(kAv),
                 {10, 17, 10, 17, 3, 0, 0, 0, 0x28, 0, 0, 0, 0x30, 0, 0, 0, 0x38, 0, 0, 0});
}

TEST_F(CanonWire, method_18_answers_four_bytes) {
    start();
    canon().initializeSdk();
    expectAnswer({10, 18}, {10, 18, 10, 18});
}

TEST_F(CanonWire, methods_19_and_20_tell_and_set_the_zoom) {
    const int32_t handle = startSession(camera());
    canon().startLiveView(handle);
    const Bytes ask = Message().byte(10).byte(19).int32(handle);
    expectAnswer(ask, {10, 19, 10, 19, 0});
    expectAnswer(Message().byte(10).byte(20).int32(handle).byte(1), {10, 20, 10, 20});
    canon().liveViewFrame(handle);
    expectAnswer(ask, {10, 19, 10, 19, 1});
    expectAnswer(Message().byte(10).byte(20).int32(handle).byte(0), {10, 20, 10, 20});
    canon().liveViewFrame(handle);
    expectAnswer(ask, {10, 19, 10, 19, 0});
    // Any byte but 0 is true.
    expectAnswer(Message().byte(10).byte(20).int32(handle).byte(200), {10, 20, 10, 20});
    canon().liveViewFrame(handle);
    expectAnswer(ask, {10, 19, 10, 19, 1});
}

TEST_F(CanonWire, method_21_takes_two_fractions) {
    const int32_t handle = startSession(camera());
    expectAnswer(Message().byte(10).byte(21).int32(handle).int64(500000).int64(250000), {10, 21, 10, 21});
}

TEST_F(CanonWire, method_22_sets_a_setting) {
    const int32_t handle = startSession(camera());
    expectAnswer(Message().byte(10).byte(22).int32(handle).int32(kIso).int32(0x50), {10, 22, 10, 22, 1});
    expectAnswer(Message().byte(10).byte(16).int32(handle).int32(kIso), {10, 16, 10, 16, 0x50, 0, 0, 0});
    expectAnswer(Message().byte(10).byte(22).int32(handle).int32(0x7F7F).int32(1), {10, 22, 10, 22, 0});
}

TEST_F(CanonWire, method_23_terminates_the_library) {
    start();
    expectAnswer({10, 23}, {10, 23, 10, 23, 0, 0, 0, 0});
    canon().initializeSdk();
    expectAnswer({10, 23}, {10, 23, 10, 23, 0, 0, 0, 0});
}

TEST_F(CanonWire, methods_25_24_and_27_take_a_picture_and_fetch_it) {
    const Bytes content = patternBytes(12345, 1);
    writeFile(picturePath("card.jpg"), content);
    Json model = camera();
    model["shots"] = shotOf({cardFile("IMG_0007.JPG", picturePath("card.jpg"))});
    const int32_t handle = startSession(model);
    events();
    const std::string path = picturePath("frame");
    expectAnswer(Message().byte(10).byte(25).int32(handle).text(path).byte(1), {10, 25, 10, 25, 0, 0, 0, 0});
    expectAnswer(Message().byte(10).byte(24).int32(handle).text(path).int64(0), {10, 24, 10, 24, 0, 0, 0, 0});
    const Event offered = events().waitFor(kObjectEvent, kRequestTransfer);
    expectAnswer(Message().byte(10).byte(27).int32(handle).int32(offered.last()),
                 {10, 27, 10, 27, 0, 0, 0, 0});
    EXPECT_EQ(readFile(path + ".jpg"), content);
}

TEST_F(CanonWire, method_26_answers_four_bytes) {
    const int32_t handle = startSession(camera());
    expectAnswer(Message().byte(10).byte(26).int32(handle), {10, 26, 10, 26});
}

TEST_F(CanonWire, calls_sent_together_are_answered_in_their_order) {
    const int32_t handle = startSession(camera());
    Message calls;
    Message answers;
    for (int i = 0; i < 200; ++i) {
        calls.byte(10).byte(16).int32(handle).int32(kAv);
        answers.raw(Bytes{10, 16, 10, 16, 0x30, 0, 0, 0});
        calls.byte(10).byte(19).int32(handle);
        answers.raw(Bytes{10, 19, 10, 19, 0});
    }
    expectAnswer(calls, answers);
}

TEST_F(CanonWire, a_call_may_arrive_byte_by_byte) {
    const int32_t handle = startSession(camera());
    const Bytes call = Message().byte(10).byte(16).int32(handle).int32(kAv);
    for (const uint8_t byte : call) {
        EXPECT_EQ(hex(canon().socket().receiveSome(1, std::chrono::milliseconds(0))), "");
        canon().socket().send({byte});
    }
    EXPECT_EQ(hex(canon().socket().receive(8)), "0a 10 0a 10 30 00 00 00");
}

/** The vendor call in which each method that reaches a camera spends its time. */
struct Waits {
    int method;
    const char* in;
    bool needsSession;
};

class StartHeader : public CanonTest, public ::testing::WithParamInterface<Waits> {};

TEST_P(StartHeader, comes_before_the_call_runs_and_the_result_header_after_it) {
    const Waits& waits = GetParam();
    start();
    int32_t subject = 0;
    if (waits.needsSession) {
        subject = openFirst();
    } else if (waits.method != 1) {
        canon().initializeSdk();
        subject = canon().cameraList().at(0);
    }
    const CanonMethod& method = canonMethod(waits.method);
    const Bytes arguments = waits.method == 22 ? Message().int32(subject).int32(kIso).int32(0x50).bytes()
                            : waits.method == 16 || waits.method == 17
                                ? Message().int32(subject).int32(kIso).bytes()
                                : argumentsFor(method, subject, picturePath("x"));
    lab().clearTrace();
    lab().delay(waits.in, std::chrono::milliseconds(300));
    canon().send(waits.method, arguments);
    canon().expectHeader(waits.method);
    // Half the delay: the result may not be there yet.
    EXPECT_EQ(hex(canon().socket().receiveSome(1, std::chrono::milliseconds(150))), "");
    canon().expectHeader(waits.method);
    canon().receiveResult(method);
    EXPECT_GE(lab().calls(waits.in).size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(
    Canon, StartHeader,
    ::testing::Values(Waits{1, "EdsInitializeSDK", false}, Waits{2, "EdsGetCameraList", false},
                      Waits{5, "EdsGetDeviceInfo", false}, Waits{7, "EdsOpenSession", false},
                      Waits{8, "EdsCloseSession", true}, Waits{9, "EdsSetPropertyData", true},
                      Waits{10, "EdsGetPropertyData", true}, Waits{11, "EdsSendCommand", true},
                      Waits{12, "EdsGetPropertyData", true}, Waits{16, "EdsGetPropertyData", true},
                      Waits{17, "EdsGetPropertyDesc", true}, Waits{18, "EdsGetEvent", false},
                      Waits{22, "EdsGetPropertyData", true}, Waits{24, "EdsSendCommand", true},
                      Waits{25, "EdsGetPropertyData", true}, Waits{26, "EdsSendCommand", true}),
    [](const auto& row) { return std::string(canonMethod(row.param.method).name); });

// ---- texts and their lengths ----------------------------------------------------------------------------

class WireText : public CanonTest {
protected:
    /** A capture whose text announces the length and is followed by `text`; then another call in step. */
    void expectRefused(int32_t length, int32_t handle) {
        SCOPED_TRACE(length);
        lab().clearTrace();
        canon().send(24, Message().int32(handle).length(length).int64(0));
        canon().expectHeader(24);
        canon().expectHeader(24);
        EXPECT_EQ(canon().receiveInt(), -1);
        EXPECT_TRUE(lab().calls("EdsSendCommand").empty()) << "no picture without a name";
        EXPECT_FALSE(canon().isLiveViewZoom(handle)) << "the connection is out of step";
    }
};

TEST_F(WireText, over_2048_bytes_is_refused_unread) {
    const int32_t handle = startSession();
    for (const int32_t length : {2049, 4096, 0x7FFFFFFF}) {
        expectRefused(length, handle);
        EXPECT_EQ(
            helper().err().count("TarvoRemote: readString " + std::to_string(length) + " > MAX_STRING\n"),
            1u);
    }
}

TEST_F(WireText, of_a_negative_length_is_refused_like_an_over_long_one) {
    const int32_t handle = startSession();
    for (const int32_t length : {-1, -2048, INT32_MIN}) {
        expectRefused(length, handle);
        EXPECT_EQ(
            helper().err().count("TarvoRemote: readString " + std::to_string(length) + " > MAX_STRING\n"),
            1u);
    }
}

TEST_F(WireText, over_long_is_left_on_the_connection_as_module_bytes) {
    const int32_t handle = startSession();
    // The announced text stays unread: its first eight bytes become the deadline, the rest stray bytes.
    canon().send(
        24,
        Message().int32(handle).length(2049).raw(std::string(8, '\0')).raw(std::string(2041, 'x')).int64(0));
    canon().expectHeader(24);
    canon().expectHeader(24);
    EXPECT_EQ(canon().receiveInt(), -1);
    EXPECT_FALSE(canon().isLiveViewZoom(handle));
    EXPECT_EQ(helper().err().count("handleCameraMessage recv 120\n"), 2041u);
    EXPECT_EQ(helper().err().count("handleCameraMessage recv 0\n"), 8u);
}

TEST_F(WireText, of_exactly_2048_bytes_is_read_whole) {
    const int32_t handle = startSession();
    // Read whole, and then refused as a path: the connection is in step.
    EXPECT_EQ(canon().capture(handle, std::string(2048, 'a')), -1);
    EXPECT_EQ(canon().preCapture(handle, std::string(2048, 'a')), -1);
    EXPECT_FALSE(canon().isLiveViewZoom(handle));
    EXPECT_EQ(helper().err().count("MAX_STRING"), 0u);
    EXPECT_EQ(helper().err().count("handleCameraMessage recv"), 0u);
}

}  // namespace
}  // namespace e2e
