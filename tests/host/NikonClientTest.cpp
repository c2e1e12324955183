#include "host/client/NikonClient.h"

#include <gtest/gtest.h>

#include "tests/host/ClientDialogue.h"

namespace {

using namespace std::chrono_literals;
using fake::Bytes;
using fake::kPatient;
using tarvo::CallConnection;
using tarvo::Failure;
using tarvo::NikonClient;

constexpr auto kShort = 100ms;
constexpr int64_t kModule = 0x7F0012345678;
constexpr int64_t kCamera = -0x7FFFEDCC;  // a handle may have its highest bits set

constexpr uint8_t kModuleByte = 20;

using Dialogue = fake::Dialogue<NikonClient>;
using MethodCase = fake::MethodCase<NikonClient>;

Bytes answer(uint8_t method, const Bytes& result) {
    return fake::answerOf(kModuleByte, method, result);
}

// What travels for each of the 23 calls, written out by hand.
std::vector<MethodCase> allMethods() {
    const Bytes module{0x78, 0x56, 0x34, 0x12, 0x00, 0x7F, 0, 0};
    const Bytes camera{0x34, 0x12, 0x00, 0x80, 0xFF, 0xFF, 0xFF, 0xFF};
    const Bytes mode = fake::intBytes(0x8111);
    return {
        {"InitializeSDK", 1, fake::join({fake::textBytes("/modules"), fake::intBytes(5)}), module,
         [](NikonClient& c) { EXPECT_EQ(c.initializeSDK("/modules", 5).value, kModule); }},
        {"TerminateSDK", 2, module, fake::intBytes(1),
         [](NikonClient& c) { EXPECT_EQ(c.terminateSDK(kModule).value, 1); }},
        {"getCameraCount", 3, module, fake::intBytes(2),
         [](NikonClient& c) { EXPECT_EQ(c.getCameraCount(kModule).value, 2); }},
        {"getCameraTypeAtIndex", 4, fake::join({module, fake::intBytes(1)}), fake::intBytes(65535),
         [](NikonClient& c) { EXPECT_EQ(c.getCameraTypeAtIndex(kModule, 1).value, 65535); }},
        {"selectCameraAtIndex", 5, fake::join({module, fake::intBytes(-1)}), camera,
         [](NikonClient& c) { EXPECT_EQ(c.selectCameraAtIndex(kModule, -1).value, kCamera); }},
        {"GetSettingOptions", 6, fake::join({camera, mode}),
         fake::join(
             {fake::intBytes(3), fake::textBytes("Program"), fake::textBytes(""), fake::textBytes("Speed")}),
         [](NikonClient& c) {
             EXPECT_EQ(c.getSettingOptions(kCamera, 0x8111).value,
                       (std::vector<std::string>{"Program", "", "Speed"}));
         }},
        {"GetSetting", 7, fake::join({camera, mode}), fake::intBytes(-1),
         [](NikonClient& c) { EXPECT_EQ(c.getSetting(kCamera, 0x8111).value, -1); }},
        {"SetSetting",
         8,
         fake::join({camera, mode, fake::intBytes(2)}),
         {},
         [](NikonClient& c) { EXPECT_FALSE(c.setSetting(kCamera, 0x8111, 2)); }},
        {"getBatteryLevel", 9, camera, fake::intBytes(87),
         [](NikonClient& c) { EXPECT_EQ(c.getBatteryLevel(kCamera).value, 87); }},
        {"getBracketing",
         10,
         camera,
         {1},
         [](NikonClient& c) { EXPECT_TRUE(c.getBracketing(kCamera).value); }},
        {"SetLiveView",
         11,
         fake::join({camera, {1}}),
         {1},
         [](NikonClient& c) { EXPECT_TRUE(c.setLiveView(kCamera, true).value); }},
        {"IsLiveView", 12, camera, {0}, [](NikonClient& c) { EXPECT_FALSE(c.isLiveView(kCamera).value); }},
        {"getLiveViewImage", 13, camera, fake::join({fake::intBytes(3), {0xFF, 0xD8, 1}}),
         [](NikonClient& c) {
             EXPECT_EQ(c.getLiveViewImage(kCamera).value, (Bytes{0xFF, 0xD8, 1}));
         }},
        {"driveFocus",
         14,
         fake::join({camera, fake::intBytes(-5)}),
         {},
         [](NikonClient& c) { EXPECT_FALSE(c.driveFocus(kCamera, -5)); }},
        {"SetLiveViewZoomPosition",
         15,
         fake::join({camera, fake::intBytes(320), fake::intBytes(-240)}),
         {},
         [](NikonClient& c) { EXPECT_FALSE(c.setLiveViewZoomPosition(kCamera, 320, -240)); }},
        {"GetLiveViewZoomPositionX", 16, camera, fake::intBytes(11),
         [](NikonClient& c) { EXPECT_EQ(c.getLiveViewZoomPositionX(kCamera).value, 11); }},
        {"GetLiveViewZoomPositionY", 17, camera, fake::intBytes(12),
         [](NikonClient& c) { EXPECT_EQ(c.getLiveViewZoomPositionY(kCamera).value, 12); }},
        {"GetLiveViewZoomWidth", 18, camera, fake::intBytes(13),
         [](NikonClient& c) { EXPECT_EQ(c.getLiveViewZoomWidth(kCamera).value, 13); }},
        {"GetLiveViewZoomHeight", 19, camera, fake::intBytes(14),
         [](NikonClient& c) { EXPECT_EQ(c.getLiveViewZoomHeight(kCamera).value, 14); }},
        {"CaptureImage", 20,
         fake::join({camera, fake::textBytes("/x/frame0001"), fake::longBytes(1700000000000001)}),
         fake::intBytes(-31),
         [](NikonClient& c) {
             EXPECT_EQ(c.capture(kCamera, "/x/frame0001", 1700000000000001, kPatient).value, -31);
         }},
        {"releaseCamera", 21, camera, {}, [](NikonClient& c) { EXPECT_FALSE(c.releaseCamera(kCamera)); }},
        {"preCaptureImage", 22, fake::join({camera, fake::textBytes("/x/frame0001")}), fake::intBytes(-2),
         [](NikonClient& c) { EXPECT_EQ(c.preCapture(kCamera, "/x/frame0001").value, -2); }},
        {"checkForImages", 23, camera, fake::intBytes(2),
         [](NikonClient& c) { EXPECT_EQ(c.checkForImages(kCamera, kPatient).value, 2); }},
    };
}

TEST(NikonClient, SendsAndReadsEveryCall) {
    const auto methods = allMethods();
    ASSERT_EQ(methods.size(), 23U);
    fake::expectCalls(kModuleByte, methods);
}

TEST(NikonClient, PutsAnswersTogetherThatComeByteByByte) {
    fake::expectAnswersByteByByte(kModuleByte, allMethods());
}

TEST(NikonClient, TellsThatTheConnectionIsLostInsideAListOfTexts) {
    const Bytes whole =
        answer(6, fake::join({fake::intBytes(2), fake::textBytes("ab"), fake::textBytes("c")}));
    for (size_t length = 0; length < whole.size(); ++length) {
        SCOPED_TRACE(length);
        fake::FakeHelper helper([&](fake::Peer& peer) {
            peer.read(14);
            peer.write(Bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length)));
            peer.reset();
        });
        CallConnection connection;
        ASSERT_FALSE(connection.open(helper.port(), kPatient));
        NikonClient client(connection);
        client.setLimit(kPatient);
        EXPECT_EQ(client.getSettingOptions(kCamera, 1).error.failure, Failure::connectionLost);
        EXPECT_FALSE(connection.isOpen());
    }
}

TEST(NikonClient, RefusesTheHeaderOfAnotherModule) {
    Dialogue dialogue(10, fake::join({{20, 9, 10, 9}, fake::intBytes(1)}));
    const auto level = dialogue.client().getBatteryLevel(kCamera);
    EXPECT_EQ(level.error.failure, Failure::wrongAnswer);
    EXPECT_NE(level.error.text.find("instead of 20 9"), std::string::npos) << level.error.text;
}

TEST(NikonClient, SendsNothingWhenATextIsTooLong) {
    fake::FakeHelper helper([](fake::Peer& peer) {
        if (peer.read(10) == fake::join({{20, 21}, fake::longBytes(kCamera)})) peer.write({20, 21, 20, 21});
        peer.waitForClose();
    });
    CallConnection connection;
    ASSERT_FALSE(connection.open(helper.port(), kPatient));
    NikonClient client(connection);
    client.setLimit(kPatient);
    const std::string endless(3000, 'x');
    EXPECT_EQ(client.initializeSDK(endless, 0).error.failure, Failure::badArgument);
    EXPECT_EQ(client.capture(kCamera, endless, 0, kPatient).error.failure, Failure::badArgument);
    EXPECT_FALSE(client.releaseCamera(kCamera)) << "the connection is still in step";
}

TEST(NikonClient, LetsSignsOfLifeProlongTheCallsThatTransfer) {
    const auto ahead = tarvo::Clock::now() + 1h;
    const std::atomic<int64_t> activity{
        std::chrono::duration_cast<std::chrono::nanoseconds>(ahead.time_since_epoch()).count()};
    fake::FakeHelper helper([&](fake::Peer& peer) {
        peer.read(10);
        std::this_thread::sleep_for(50ms);  // longer than the call's limit of 1 ms
        peer.write(answer(23, fake::intBytes(1)));
        peer.waitForClose();
    });
    CallConnection connection;
    ASSERT_FALSE(connection.open(helper.port(), kPatient));
    connection.setActivity(&activity);
    NikonClient client(connection);
    const auto stored = client.checkForImages(kCamera, 1ms);
    EXPECT_FALSE(stored.error) << stored.error.text;
    client.setLimit(kShort);
    EXPECT_EQ(client.getBatteryLevel(kCamera).error.failure, Failure::timeout);
}

}  // namespace
