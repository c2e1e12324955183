// Every Nikon method, byte for byte: what goes in, both headers, what comes out.
#include <gtest/gtest.h>

#include "tests/e2e/support/nikon_fixture.h"

namespace e2e {
namespace {

class NikonWire : public NikonTest {
protected:
    /** Sends exactly these bytes and expects exactly those, and nothing behind them. */
    void expectAnswer(const Bytes& call, const Bytes& answer) {
        SCOPED_TRACE("call " + hex(call));
        nikon().socket().send(call);
        EXPECT_EQ(hex(nikon().socket().receive(answer.size())), hex(answer));
        nikon().socket().expectSilence(std::chrono::milliseconds(20));
    }

    static Message method(int id, int64_t handle) { return Message().byte(20).byte(id).int64(handle); }

    static Bytes headers(int id, const Bytes& result = {}) {
        return Message().byte(20).byte(id).byte(20).byte(id).raw(result);
    }

    static Bytes text(std::string_view value) { return Message().text(value); }

    static Json camera() {
        return withCapabilities({numbersCapability(kExposureMode, {0, 1, 2, 3}, 2),
                                 capability(kBattery, kIntegerCap, kGettable, {{"value", 66}}),
                                 unsignedCapability(kBracketing, 1), unsignedCapability(kLiveViewState, 0)},
                                {{"cameraType", 0x0204},
                                 {"liveview", {{{"header", ""}, {"length", 70}}}},
                                 {"shots", nikonShots({{nikonItem(kJpegType, 1000)}})}});
    }
};

TEST_F(NikonWire, method_1_answers_a_module_handle_and_method_2_ends_it) {
    start();
    nikon().socket().send(Message().byte(20).byte(1).text(moduleDirectory()).int32(kModuleType));
    EXPECT_EQ(hex(nikon().socket().receive(4)), "14 01 14 01");
    const int64_t handle = nikon().receiveLong();
    EXPECT_GT(handle, 0);
    EXPECT_LT(handle, int64_t{1} << 31) << "an address that is the same number in 32 bits, sign and all";
    nikon().socket().expectSilence();
    expectAnswer(method(2, handle), headers(2, Message().int32(0)));
}

TEST_F(NikonWire, method_1_answers_a_handle_of_zero_for_a_directory_without_modules) {
    start();
    expectAnswer(Message().byte(20).byte(1).text("/nowhere").int32(8), headers(1, Message().int64(0)));
}

TEST_F(NikonWire, methods_3_and_4_count_the_cameras_and_tell_their_types) {
    start(nikonScenario({camera()}));
    const int64_t module = startModule();
    expectAnswer(method(3, module), headers(3, Message().int32(1)));
    expectAnswer(method(4, module).int32(0), headers(4, Message().int32(0x0204)));
    expectAnswer(method(4, module).int32(7), headers(4, Message().int32(65535)));
}

TEST_F(NikonWire, method_5_selects_a_camera_and_method_21_releases_it) {
    start(nikonScenario({camera()}));
    const int64_t module = startModule();
    nikon().socket().send(method(5, module).int32(0));
    EXPECT_EQ(hex(nikon().socket().receive(4)), "14 05 14 05");
    const int64_t handle = nikon().receiveLong();
    EXPECT_GT(handle, 0);
    EXPECT_LT(handle, int64_t{1} << 31);
    nikon().socket().expectSilence();
    expectAnswer(method(21, handle), headers(21));
}

TEST_F(NikonWire, method_6_lists_the_texts_of_a_setting) {
    const int64_t handle = startCamera(camera());
    Message texts;
    texts.int32(4).text("Program").text("Aperture").text("Speed").text("Manual");
    expectAnswer(method(6, handle).int32(kExposureMode), headers(6, texts));
}

TEST_F(NikonWire, method_6_answers_a_count_of_zero_for_no_setting) {
    const int64_t handle = startCamera(camera());
    expectAnswer(method(6, handle).int32(kBattery), headers(6, Message().int32(0)));
}

TEST_F(NikonWire, methods_7_and_8_tell_and_set_a_setting) {
    const int64_t handle = startCamera(camera());
    expectAnswer(method(7, handle).int32(kExposureMode), headers(7, Message().int32(2)));
    expectAnswer(method(8, handle).int32(kExposureMode).int32(1), headers(8));
    expectAnswer(method(7, handle).int32(kExposureMode), headers(7, Message().int32(1)));
    expectAnswer(method(7, handle).int32(0x7777), headers(7, Message().int32(-1)));
}

TEST_F(NikonWire, methods_9_and_10_tell_battery_and_bracketing) {
    const int64_t handle = startCamera(camera());
    expectAnswer(method(9, handle), headers(9, Message().int32(66)));
    expectAnswer(method(10, handle), headers(10, {1}));
}

TEST_F(NikonWire, methods_11_and_12_switch_and_tell_live_view) {
    const int64_t handle = startCamera(camera());
    expectAnswer(method(12, handle), headers(12, {0}));
    expectAnswer(method(11, handle).byte(1), headers(11, {1}));
    expectAnswer(method(12, handle), headers(12, {1}));
    // Any byte but 0 is true; nothing changes, so nothing is set.
    expectAnswer(method(11, handle).byte(200), headers(11, {0}));
    expectAnswer(method(11, handle).byte(0), headers(11, {1}));
    expectAnswer(method(12, handle), headers(12, {0}));
}

TEST_F(NikonWire, method_13_answers_the_jpeg_data_of_a_frame) {
    Json body = camera();
    body["liveview"] = {{{"header", std::string(128, '0') + "ffd8a1b2c3d4"}, {"length", 70}}};
    const int64_t handle = startCamera(body);
    nikon().setLiveView(handle, true);
    expectAnswer(method(13, handle),
                 headers(13, Message().int32(6).raw(Bytes{0xFF, 0xD8, 0xA1, 0xB2, 0xC3, 0xD4})));
}

TEST_F(NikonWire, methods_14_and_15_answer_four_bytes) {
    const int64_t handle = startCamera(camera());
    expectAnswer(method(14, handle).int32(3), headers(14));
    expectAnswer(method(15, handle).int32(100).int32(100), headers(15));
}

TEST_F(NikonWire, methods_16_to_19_tell_zeros_before_the_first_frame) {
    const int64_t handle = startCamera(camera());
    for (int id = 16; id <= 19; ++id) {
        expectAnswer(method(id, handle), headers(id, Message().int32(0)));
    }
}

TEST_F(NikonWire, method_20_takes_a_picture) {
    const int64_t handle = startCamera(camera());
    nikon().socket().send(method(20, handle).text(picturePath("frame")).int64(0));
    EXPECT_EQ(hex(nikon().socket().receive(4)), "14 14 14 14");
    EXPECT_EQ(nikon().receiveInt(), 0);
    nikon().socket().expectSilence(std::chrono::milliseconds(20));
    EXPECT_EQ(pictures().names(), std::vector<std::string>{"frame.jpg"});
}

TEST_F(NikonWire, methods_22_and_23_set_a_path_and_collect_pictures) {
    const int64_t handle = startCamera(camera());
    expectAnswer(method(22, handle).text(picturePath("frame")), headers(22, Message().int32(0)));
    expectAnswer(method(23, handle), headers(23, Message().int32(0)));
}

TEST_F(NikonWire, methods_without_a_result_answer_both_headers_without_a_camera_too) {
    start();
    expectAnswer(method(8, 0).int32(kExposureMode).int32(1), {20, 8, 20, 8});
    expectAnswer(method(14, 0).int32(5), {20, 14, 20, 14});
    expectAnswer(method(15, 0).int32(1).int32(2), {20, 15, 20, 15});
    expectAnswer(method(21, 0), {20, 21, 20, 21});
}

TEST_F(NikonWire, unknown_methods_are_logged_and_answered_with_nothing) {
    start();
    // Lines of two threads may run together: the connection's own start is told first.
    nikon().batteryLevel(0);
    helper().waitForErr("Created thread with 2048 byte stack.\n");
    std::vector<int> unknown = {0};
    for (int id = 24; id <= 255; ++id) {
        unknown.push_back(id);
    }
    for (const int id : unknown) {
        nikon().socket().send({20, static_cast<uint8_t>(id)});
        helper().waitForErr("Nikon: ERROR: handleNikonMessage, unknown methodId " + std::to_string(id) +
                            "\n");
    }
    nikon().socket().expectSilence();
    EXPECT_EQ(helper().err().count("unknown methodId"), unknown.size());
    // The connection goes on with the next module byte.
    expectAnswer(method(9, 0), headers(9, Message().int32(0)));
}

TEST_F(NikonWire, calls_sent_together_are_answered_in_their_order) {
    start();
    Message calls;
    Message answers;
    for (int i = 0; i < 200; ++i) {
        calls.byte(20).byte(4).int64(0).int32(i);
        answers.raw(headers(4, Message().int32(65535)));
        calls.byte(20).byte(12).int64(0);
        answers.raw(headers(12, {0}));
    }
    expectAnswer(calls, answers);
}

TEST_F(NikonWire, calls_of_two_families_share_a_connection) {
    start();
    for (int i = 0; i < 3; ++i) {
        expectAnswer(method(9, 0), headers(9, Message().int32(0)));
        expectAnswer(Message().byte(10).byte(8).int32(0),
                     Message().byte(10).byte(8).byte(10).byte(8).int32(130));
    }
}

TEST_F(NikonWire, a_connection_may_begin_with_any_nikon_call) {
    start();
    for (const NikonMethod& method : nikonMethods()) {
        if (method.id == 1) continue;
        SCOPED_TRACE(method.name);
        NikonCalls fresh(helper().port());
        EXPECT_EQ(hex(fresh.call(method.id, nikonArgumentsFor(method, 0))), hex(nikonNoHandleResult(method)));
    }
}

TEST_F(NikonWire, calls_that_stop_half_way_run_with_zeros_for_what_was_not_sent) {
    start();
    for (const NikonMethod& method : nikonMethods()) {
        SCOPED_TRACE(method.name);
        // No handle has this address, nor has any number that its first bytes make.
        const Bytes call =
            Message().byte(20).byte(method.id).raw(nikonArgumentsFor(method, 0x0101010101010101));
        for (size_t count = 1; count <= call.size(); ++count) {
            RawClient client(helper().port());
            client.send({call.begin(), call.begin() + static_cast<std::ptrdiff_t>(count)});
            client.finishSending();
            // After one byte the method's id reads as 0, which is no method.
            const Bytes expected = count == 1 ? Bytes{} : headers(method.id, nikonNoHandleResult(method));
            ASSERT_EQ(hex(client.receiveUntilClosed()), hex(expected)) << count << " bytes";
        }
    }
}

}  // namespace
}  // namespace e2e
