#include "host/client/CanonClient.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>

#include "tests/host/ClientDialogue.h"

namespace {

using namespace std::chrono_literals;
using fake::Bytes;
using fake::kPatient;
using tarvo::CallConnection;
using tarvo::CanonClient;
using tarvo::Failure;

constexpr auto kShort = 100ms;

constexpr uint8_t kModuleByte = 10;

using Dialogue = fake::Dialogue<CanonClient>;
using MethodCase = fake::MethodCase<CanonClient>;

Bytes answer(uint8_t method, const Bytes& result) {
    return fake::answerOf(kModuleByte, method, result);
}

// What travels for each of the 24 calls, written out by hand.
std::vector<MethodCase> allMethods() {
    const Bytes handle = fake::intBytes(0x7F001234);
    static constexpr int32_t h = 0x7F001234;
    return {
        {"InitializeSDK",
         1,
         {},
         fake::intBytes(0),
         [](CanonClient& c) { EXPECT_EQ(c.initializeSDK().value, 0); }},
        {"GetCameraList",
         2,
         {},
         fake::join({fake::intBytes(2), fake::intBytes(-77), fake::intBytes(0)}),
         [](CanonClient& c) {
             EXPECT_EQ(c.getCameraList().value, (std::vector<int32_t>{-77, 0}));
         }},
        {"GetCameraName", 5, fake::intBytes(-77), fake::textBytes("Canon EOS 5D Mark II"),
         [](CanonClient& c) { EXPECT_EQ(c.getCameraName(-77).value, "Canon EOS 5D Mark II"); }},
        {"DoOpenSession", 7, fake::intBytes(-77), handle,
         [](CanonClient& c) { EXPECT_EQ(c.openSession(-77).value, h); }},
        {"CloseSession", 8, handle, fake::intBytes(130),
         [](CanonClient& c) { EXPECT_EQ(c.closeSession(h).value, 130); }},
        {"DoStartLiveView", 9, handle, fake::intBytes(134),
         [](CanonClient& c) { EXPECT_EQ(c.startLiveView(h).value, 134); }},
        {"DoStopLiveView", 10, handle, fake::intBytes(0x81),
         [](CanonClient& c) { EXPECT_EQ(c.stopLiveView(h).value, 0x81); }},
        {"DriveFocus",
         11,
         fake::join({handle, fake::intBytes(-3)}),
         {},
         [](CanonClient& c) { EXPECT_FALSE(c.driveFocus(h, -3)); }},
        {"GetFirmwareVersion", 12, handle, fake::textBytes("2.0.7"),
         [](CanonClient& c) { EXPECT_EQ(c.getFirmwareVersion(h).value, "2.0.7"); }},
        {"DoGetLiveViewImageData", 13, handle, fake::join({fake::intBytes(3), {1, 2, 255}}),
         [](CanonClient& c) {
             EXPECT_EQ(c.getLiveViewImage(h).value, (Bytes{1, 2, 255}));
         }},
        {"GetLiveViewZoomPositionX", 14, handle, fake::longBytes(100000),
         [](CanonClient& c) { EXPECT_EQ(c.getLiveViewZoomPositionX(h).value, 0.1F); }},
        {"GetLiveViewZoomPositionY", 15, handle, fake::longBytes(-500000),
         [](CanonClient& c) { EXPECT_EQ(c.getLiveViewZoomPositionY(h).value, -0.5F); }},
        {"GetSetting", 16, fake::join({handle, fake::intBytes(0x406)}), fake::intBytes(0x60),
         [](CanonClient& c) { EXPECT_EQ(c.getSetting(h, 0x406).value, 0x60); }},
        {"GetSettingOptions", 17, fake::join({handle, fake::intBytes(0x406)}),
         fake::join({fake::intBytes(1), fake::intBytes(0x60)}),
         [](CanonClient& c) {
             EXPECT_EQ(c.getSettingOptions(h, 0x406).value, (std::vector<int32_t>{0x60}));
         }},
        {"Idle", 18, {}, {}, [](CanonClient& c) { EXPECT_FALSE(c.idle()); }},
        {"IsLiveViewZoom", 19, handle, {1}, [](CanonClient& c) { EXPECT_TRUE(c.isLiveViewZoom(h).value); }},
        {"SetLiveViewZoom",
         20,
         fake::join({handle, {1}}),
         {},
         [](CanonClient& c) { EXPECT_FALSE(c.setLiveViewZoom(h, true)); }},
        {"SetLiveViewZoomPosition",
         21,
         fake::join({handle, fake::longBytes(500000), fake::longBytes(700000)}),
         {},
         [](CanonClient& c) { EXPECT_FALSE(c.setLiveViewZoomPosition(h, 0.5F, 0.7F)); }},
        {"SetSetting",
         22,
         fake::join({handle, fake::intBytes(0x406), fake::intBytes(-1)}),
         {1},
         [](CanonClient& c) { EXPECT_TRUE(c.setSetting(h, 0x406, -1).value); }},
        {"TerminateSDK",
         23,
         {},
         fake::intBytes(2),
         [](CanonClient& c) { EXPECT_EQ(c.terminateSDK().value, 2); }},
        {"DoCaptureImage", 24,
         fake::join({handle, fake::textBytes("/x/frame0001"), fake::longBytes(1700000000000001)}),
         fake::intBytes(-1),
         [](CanonClient& c) { EXPECT_EQ(c.capture(h, "/x/frame0001", 1700000000000001).value, -1); }},
        {"DoPreCaptureImage", 25, fake::join({handle, fake::textBytes("/x/frame0001"), {1}}),
         fake::intBytes(0),
         [](CanonClient& c) { EXPECT_EQ(c.preCapture(h, "/x/frame0001", true).value, 0); }},
        {"ExtendShutdownTimer",
         26,
         handle,
         {},
         [](CanonClient& c) { EXPECT_FALSE(c.extendShutdownTimer(h)); }},
        {"DownloadImage", 27, fake::join({handle, fake::intBytes(-9)}), fake::intBytes(1001),
         [](CanonClient& c) { EXPECT_EQ(c.download(h, -9, kPatient).value, 1001); }},
    };
}

TEST(CanonClient, SendsAndReadsEveryCall) {
    const auto methods = allMethods();
    ASSERT_EQ(methods.size(), 24U);
    fake::expectCalls(kModuleByte, methods);
}

TEST(CanonClient, PutsAnswersTogetherThatComeByteByByte) {
    fake::expectAnswersByteByByte(kModuleByte, allMethods());
}

// A call whose result has every shape, by a client of any state.
tarvo::Error makeCall(CanonClient& client, uint8_t method) {
    switch (method) {
        case 5:
            return client.getCameraName(1).error;
        case 13:
            return client.getLiveViewImage(1).error;
        case 14:
            return client.getLiveViewZoomPositionX(1).error;
        case 17:
            return client.getSettingOptions(1, 2).error;
        case 18:
            return client.idle();
        case 19:
            return client.isLiveViewZoom(1).error;
        default:
            return client.closeSession(1).error;
    }
}

struct Shape {
    uint8_t method;
    Bytes result;
};

std::vector<Shape> allShapes() {
    return {{5, fake::textBytes("abc")},
            {13, fake::join({fake::intBytes(2), {1, 2}})},
            {14, fake::longBytes(1)},
            {17, fake::join({fake::intBytes(1), fake::intBytes(5)})},
            {18, {}},
            {19, {0}},
            {8, fake::intBytes(0)}};
}

TEST(CanonClient, TellsThatTheConnectionIsLostAtEachPointOfAnAnswer) {
    for (const auto& shape : allShapes()) {
        const Bytes whole = answer(shape.method, shape.result);
        for (size_t length = 0; length < whole.size(); ++length) {
            SCOPED_TRACE(testing::Message()
                         << "method " << int{shape.method} << " after " << length << " bytes");
            fake::FakeHelper helper([&](fake::Peer& peer) {
                peer.read(2);
                peer.write(Bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length)));
                peer.reset();
            });
            CallConnection connection;
            ASSERT_FALSE(connection.open(helper.port(), kPatient));
            CanonClient client(connection);
            client.setLimit(kPatient);
            EXPECT_EQ(makeCall(client, shape.method).failure, Failure::connectionLost);
            EXPECT_FALSE(connection.isOpen());
            const auto later = client.idle();
            EXPECT_EQ(later.failure, Failure::connectionLost);
            EXPECT_NE(later.text.find("no connection to the helper since"), std::string::npos) << later.text;
        }
    }
}

TEST(CanonClient, GivesUpOnAnAnswerThatStopsAtAnyPoint) {
    for (const auto& shape : allShapes()) {
        const Bytes whole = answer(shape.method, shape.result);
        for (const size_t length : {size_t{0}, size_t{1}, size_t{2}, size_t{3}, whole.size() - 1}) {
            fake::FakeHelper helper([&](fake::Peer& peer) {
                peer.write(Bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length)));
                peer.waitForClose();
            });
            CallConnection connection;
            ASSERT_FALSE(connection.open(helper.port(), kPatient));
            CanonClient client(connection);
            client.setLimit(kShort);
            EXPECT_EQ(makeCall(client, shape.method).failure, Failure::timeout)
                << "method " << int{shape.method} << " after " << length << " bytes";
            EXPECT_FALSE(connection.isOpen())
                << "the late rest of the answer must not be taken for the next one's";
        }
    }
}

TEST(CanonClient, RefusesAWrongHeaderInEachPlace) {
    const std::vector<Bytes> wrong{{20, 8, 10, 8}, {10, 9, 10, 8}, {10, 8, 20, 8}, {10, 8, 10, 9}};
    for (const auto& headers : wrong) {
        Dialogue dialogue(6, fake::join({headers, fake::intBytes(0)}));
        const auto closed = dialogue.client().closeSession(1);
        EXPECT_EQ(closed.error.failure, Failure::wrongAnswer);
        EXPECT_NE(closed.error.text.find("instead of 10 8"), std::string::npos) << closed.error.text;
        EXPECT_FALSE(dialogue.connection().isOpen());
    }
}

TEST(CanonClient, SendsNothingWhenAnArgumentIsBad) {
    fake::FakeHelper helper([](fake::Peer& peer) {
        const Bytes first = peer.read(2);
        if (first == Bytes{10, 18}) peer.write({10, 18, 10, 18});
        peer.waitForClose();
    });
    CallConnection connection;
    ASSERT_FALSE(connection.open(helper.port(), kPatient));
    CanonClient client(connection);
    client.setLimit(kPatient);
    EXPECT_EQ(client.capture(1, std::string(3000, 'x'), 0).error.failure, Failure::badArgument);
    EXPECT_EQ(client.setLiveViewZoomPosition(1, 1e30F, 0).failure, Failure::badArgument);
    EXPECT_FALSE(client.idle()) << "the connection is still in step";
}

TEST(CanonClient, IsInterruptedByADescriptor) {
    fake::FakeHelper helper([](fake::Peer& peer) { peer.waitForClose(); });
    const tarvo::Descriptor interrupt{::eventfd(1, EFD_CLOEXEC)};
    CallConnection connection;
    connection.setInterrupt(interrupt.get());
    // Connecting may be over before the descriptor is looked at; the call cannot be.
    auto error = connection.open(helper.port(), kPatient);
    if (!error) error = CanonClient(connection).idle();
    EXPECT_EQ(error.failure, Failure::interrupted);
}

TEST(CanonClient, LetsSignsOfLifeProlongADownloadOnly) {
    // A sign of life far ahead stands for many of them: the limit counts from it.
    const auto ahead = tarvo::Clock::now() + 1h;
    const std::atomic<int64_t> activity{
        std::chrono::duration_cast<std::chrono::nanoseconds>(ahead.time_since_epoch()).count()};
    fake::FakeHelper helper([&](fake::Peer& peer) {
        peer.read(10);
        std::this_thread::sleep_for(50ms);  // longer than the call's limit of 1 ms
        peer.write(answer(27, fake::intBytes(0)));
        peer.waitForClose();
    });
    CallConnection connection;
    ASSERT_FALSE(connection.open(helper.port(), kPatient));
    connection.setActivity(&activity);
    CanonClient client(connection);
    const auto stored = client.download(1, 2, 1ms);
    EXPECT_FALSE(stored.error) << stored.error.text;
    client.setLimit(kShort);
    EXPECT_EQ(client.idle().failure, Failure::timeout);
}

TEST(CanonClient, ReadsAnArrayOfManyMegabytes) {
    Bytes frame(9'000'000);
    for (size_t i = 0; i < frame.size(); ++i)
        frame[i] = static_cast<uint8_t>(i * 31);
    Dialogue dialogue(6, answer(13, fake::join({fake::intBytes(static_cast<int64_t>(frame.size())), frame})));
    EXPECT_EQ(dialogue.client().getLiveViewImage(1).value, frame);
}

}  // namespace
