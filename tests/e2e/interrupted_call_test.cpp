// Calls that stop half-way: the host closes, dies or lingers after every single byte of every method.
#include <gtest/gtest.h>

#include <list>

#include "tests/e2e/support/canon_fixture.h"

namespace e2e {
namespace {

/** No session has this address, nor has any number that its first bytes make. */
constexpr int32_t kForged = 0x01010101;

Bytes wholeCall(const CanonMethod& method) {
    return Message().byte(10).byte(method.id).raw(argumentsFor(method, kForged, "/none/x"));
}

Bytes prefix(const Bytes& bytes, size_t count) {
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count)};
}

class InterruptedCall : public CanonTest, public ::testing::WithParamInterface<CanonMethod> {};

TEST_P(InterruptedCall, runs_with_zeros_for_what_was_not_sent) {
    const CanonMethod& method = GetParam();
    start();
    const Bytes call = wholeCall(method);
    for (size_t count = 1; count <= call.size(); ++count) {
        SCOPED_TRACE(hex(prefix(call, count)));
        RawClient client(helper().port());
        client.send(prefix(call, count));
        client.finishSending();
        const Bytes answer = client.receiveUntilClosed();
        if (count == 1) {
            // The method's id reads as 0, which is no method.
            EXPECT_EQ(hex(answer), "");
            continue;
        }
        const Message header = Message().byte(10).byte(method.id);
        if (method.id == 2) {
            // Before the library runs there is no list.
            EXPECT_EQ(hex(answer), hex(Message().raw(header).raw(header).int32(0)));
        } else if (method.id == 1 || method.id == 23) {
            EXPECT_EQ(hex(answer), hex(Message().raw(header).raw(header).int32(0)));
        } else {
            EXPECT_EQ(hex(answer), hex(Message().raw(header).raw(header).raw(noSessionResult(method))));
        }
    }
    EXPECT_EQ(helper().err().count("exiting loop on result 0\n"), call.size());
}

TEST_P(InterruptedCall, of_a_host_that_dies_does_not_disturb_the_others) {
    const CanonMethod& method = GetParam();
    start();
    const Bytes call = wholeCall(method);
    for (size_t count = 1; count <= call.size(); ++count) {
        RawClient closed(helper().port());
        closed.send(prefix(call, count));
        closed.close();
        RawClient reset(helper().port());
        reset.send(prefix(call, count));
        reset.abort();
        EXPECT_FALSE(canon().isLiveViewZoom(0));
    }
    // Every one of them comes to its end. A reset before the first byte is read opens module 0.
    EXPECT_TRUE(eventually([&] {
        return helper().err().count("exiting loop on result ") + helper().err().count("Unknown module 0\n") ==
               2 * call.size();
    })) << helper().err().text();
    expectServing();
}

INSTANTIATE_TEST_SUITE_P(Canon, InterruptedCall,
                         ::testing::ValuesIn(canonMethods().begin(), canonMethods().end()),
                         [](const auto& row) { return std::string(row.param.name); });

class UnfinishedCalls : public CanonTest {
protected:
    /** One connection for each byte of each method, the bytes up to it sent. */
    std::list<RawClient> openAll() {
        std::list<RawClient> open;
        for (const CanonMethod& method : canonMethods()) {
            const Bytes call = wholeCall(method);
            for (size_t count = 1; count < call.size(); ++count) {
                open.emplace_back(helper().port()).send(prefix(call, count));
            }
        }
        return open;
    }
};

TEST_F(UnfinishedCalls, hold_up_nobody_else) {
    start();
    std::list<RawClient> open = openAll();
    expectServing();
    EXPECT_FALSE(canon().isLiveViewZoom(0));
    // Nothing may be answered before the last argument is there; one wait serves all of them.
    open.front().expectSilence();
    for (RawClient& client : open) {
        EXPECT_EQ(hex(client.receiveSome(1, std::chrono::milliseconds(0))), "");
    }
}

TEST_F(UnfinishedCalls, end_with_the_helper) {
    start();
    std::list<RawClient> open = openAll();
    expectServing();
    helper().stop();
    for (RawClient& client : open) {
        client.expectClosed();
    }
}

TEST_F(UnfinishedCalls, are_finished_when_the_rest_comes) {
    start();
    std::list<RawClient> open = openAll();
    auto client = open.begin();
    for (const CanonMethod& method : canonMethods()) {
        const Bytes call = wholeCall(method);
        const Bytes header = Message().byte(10).byte(method.id);
        for (size_t count = 1; count < call.size(); ++count, ++client) {
            SCOPED_TRACE(method.name);
            client->send({call.begin() + static_cast<std::ptrdiff_t>(count), call.end()});
            EXPECT_EQ(hex(client->receive(4)), hex(Message().raw(header).raw(header)));
        }
    }
}

class ClosedDuringTheCall : public CanonTest {};

TEST_F(ClosedDuringTheCall, lets_it_run_to_its_end) {
    const int32_t handle = startSession();
    lab().clearTrace();
    lab().delay("EdsSetPropertyData", std::chrono::milliseconds(200));
    canon().send(22, Message().int32(handle).int32(kIso).int32(0x58));
    canon().expectHeader(22);
    lab().waitForCalls("EdsGetPropertyData");
    canon().socket().close();
    EXPECT_TRUE(eventually([&] { return number(lab().get("canon-1", kIso)) == 0x58; }));
    helper().waitForErr("handleCameraMessage, exiting loop on result ");
    CanonCalls other(helper().port());
    EXPECT_EQ(other.getSetting(handle, kIso), 0x58);
}

TEST_F(ClosedDuringTheCall, loses_a_large_reply_and_nothing_else) {
    const Json camera = usualCamera({{"liveview", madeUpFrames({3000000})}});
    const int32_t handle = startSession(camera);
    ASSERT_EQ(canon().startLiveView(handle), 0);
    // The reply is larger than any socket buffer, so the helper is writing when the host goes.
    for (const bool rudely : {false, true}) {
        CanonCalls leaving(helper().port());
        leaving.send(13, Message().int32(handle));
        leaving.expectHeader(13);
        leaving.expectHeader(13);
        EXPECT_EQ(leaving.receiveInt(), 3000000);
        rudely ? leaving.socket().abort() : leaving.socket().close();
    }
    EXPECT_EQ(canon().liveViewFrame(handle).size(), 3000000u);
}

TEST_F(ClosedDuringTheCall, of_a_slow_reader_keeps_the_reply_whole) {
    const TempFolder folder;
    const Bytes frame = patternBytes(3000000, 1);
    writeFile(folder.file("frame"), frame);
    const int32_t handle = startSession(usualCamera({{"liveview", framesFrom({folder.file("frame")})}}));
    ASSERT_EQ(canon().startLiveView(handle), 0);
    canon().send(13, Message().int32(handle));
    // Until the buffers are full and the helper has to wait for us.
    expectServing();
    canon().expectHeader(13);
    canon().expectHeader(13);
    EXPECT_TRUE(canon().receiveBytes() == frame);
}

}  // namespace
}  // namespace e2e
