#include "host/client/VideoClient.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/host/ClientDialogue.h"

namespace {

using namespace std::chrono_literals;
using fake::Bytes;
using fake::kPatient;
using tarvo::CallConnection;
using tarvo::Failure;
using tarvo::VideoClient;

constexpr int64_t kCamera = -0x7FFFEDCC;  // a handle may have its highest bits set

constexpr uint8_t kModuleByte = 40;

using Dialogue = fake::Dialogue<VideoClient>;
using MethodCase = fake::MethodCase<VideoClient>;

Bytes answer(uint8_t method, const Bytes& result) {
    return fake::answerOf(kModuleByte, method, result);
}

// What travels for each of the 16 calls, written out by hand.
std::vector<MethodCase> allMethods() {
    const Bytes camera{0x34, 0x12, 0x00, 0x80, 0xFF, 0xFF, 0xFF, 0xFF};
    const Bytes twoWords = fake::join({fake::intBytes(2), {1, 2, 3, 0xFF}, {4, 5, 6, 0x80}});
    const std::vector<uint32_t> words{0xFF030201, 0x80060504};
    return {
        {"Initialize", 1, {}, fake::intBytes(0), [](auto& c) { EXPECT_EQ(c.initialize().value, 0); }},
        {"Terminate", 2, {}, {}, [](auto& c) { EXPECT_FALSE(c.terminate()); }},
        {"GetCameraCount", 3, {}, fake::intBytes(3), [](auto& c) { EXPECT_EQ(c.getCameraCount().value, 3); }},
        {"GetCameraName", 4, fake::intBytes(1), fake::textBytes("Webcam"),
         [](auto& c) { EXPECT_EQ(c.getCameraName(1).value, "Webcam"); }},
        {"DoSelectCamera", 5, fake::intBytes(-1), camera,
         [](auto& c) { EXPECT_EQ(c.selectCamera(-1).value, kCamera); }},
        {"ReleaseCamera", 6, camera, {}, [](auto& c) { EXPECT_FALSE(c.releaseCamera(kCamera)); }},
        {"SetImageDimensions",
         7,
         fake::join({camera, fake::intBytes(640), fake::intBytes(-480)}),
         {},
         [](auto& c) { EXPECT_FALSE(c.setImageDimensions(kCamera, 640, -480)); }},
        {"GetImageWidth", 8, camera, fake::intBytes(640),
         [](auto& c) { EXPECT_EQ(c.getImageWidth(kCamera).value, 640); }},
        {"GetImageHeight", 9, camera, fake::intBytes(480),
         [](auto& c) { EXPECT_EQ(c.getImageHeight(kCamera).value, 480); }},
        {"GetImageData", 10, camera, twoWords,
         [words](auto& c) { EXPECT_EQ(c.getImageData(kCamera).value, words); }},
        {"CaptureImage", 11, fake::join({camera, fake::intBytes(32), fake::intBytes(2), fake::intBytes(1)}),
         twoWords, [words](auto& c) { EXPECT_EQ(c.captureImage(kCamera, 32, 2, 1).value, words); }},
        {"SetNoiseReduction",
         12,
         fake::join({camera, {1}}),
         {},
         [](auto& c) { EXPECT_FALSE(c.setNoiseReduction(kCamera, true)); }},
        {"setUvcSetting",
         13,
         fake::join({camera, fake::intBytes(4), fake::longBytes(250000)}),
         {},
         [](auto& c) { EXPECT_FALSE(c.setUvcSetting(kCamera, 4, 0.25F)); }},
        {"getUvcSetting", 14, fake::join({camera, fake::intBytes(0)}), fake::longBytes(-500000),
         [](auto& c) { EXPECT_EQ(c.getUvcSetting(kCamera, 0).value, -0.5F); }},
        {"driveFocus",
         15,
         fake::join({camera, fake::intBytes(-3)}),
         {},
         [](auto& c) { EXPECT_FALSE(c.driveFocus(kCamera, -3)); }},
        {"hasUvcSettings", 16, camera, {1}, [](auto& c) { EXPECT_TRUE(c.hasUvcSettings(kCamera).value); }},
    };
}

TEST(VideoClient, SendsAndReadsEveryCall) {
    const auto methods = allMethods();
    ASSERT_EQ(methods.size(), 16U);
    fake::expectCalls(kModuleByte, methods);
}

TEST(VideoClient, PutsAnswersTogetherThatComeByteByByte) {
    fake::expectAnswersByteByByte(kModuleByte, allMethods());
}

TEST(VideoClient, SendsNothingForAValueThatIsNoNumber) {
    fake::FakeHelper helper([](fake::Peer& peer) {
        if (peer.read(2) == Bytes{40, 2}) peer.write({40, 2, 40, 2});
        peer.waitForClose();
    });
    CallConnection connection;
    ASSERT_FALSE(connection.open(helper.port(), kPatient));
    VideoClient client(connection);
    client.setLimit(kPatient);
    for (const float value : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::infinity(), 1e13F}) {
        EXPECT_EQ(client.setUvcSetting(kCamera, 4, value).failure, Failure::badArgument) << value;
    }
    EXPECT_FALSE(client.terminate()) << "the connection is still in step";
}

TEST(VideoClient, KnowsAReadingThatIsNone) {
    Dialogue dialogue(14, answer(14, fake::longBytes(std::numeric_limits<int64_t>::min())));
    EXPECT_LT(dialogue.client().getUvcSetting(kCamera, 4).value, VideoClient::kNoReading);
}

TEST(VideoClient, RefusesACountThatIsNone) {
    for (const int64_t count : {int64_t{-1}, int64_t{0x7FFFFFFF}}) {
        Dialogue dialogue(10, answer(10, fake::intBytes(count)));
        EXPECT_EQ(dialogue.client().getImageData(kCamera).error.failure, Failure::wrongAnswer) << count;
        EXPECT_FALSE(dialogue.connection().isOpen());
    }
}

TEST(VideoClient, TellsThatTheConnectionIsLostInsideAFrame) {
    Dialogue dialogue(10, answer(10, fake::join({fake::intBytes(3), {1, 2, 3, 4, 5}})));
    EXPECT_EQ(dialogue.client().getImageData(kCamera).error.failure, Failure::connectionLost);
}

// Three calls: pixels, width and height.
tarvo::Result<tarvo::VideoFrame> fetch(const Bytes& pixels, int width, int height) {
    fake::FakeHelper helper([=](fake::Peer& peer) {
        if (peer.read(10).size() == 10) peer.write(answer(10, pixels));
        if (peer.read(10).size() == 10) peer.write(answer(8, fake::intBytes(width)));
        if (peer.read(10).size() == 10) peer.write(answer(9, fake::intBytes(height)));
        peer.waitForClose();
    });
    CallConnection connection;
    EXPECT_FALSE(connection.open(helper.port(), kPatient));
    VideoClient client(connection);
    client.setLimit(kPatient);
    return client.fetchFrame(kCamera);
}

TEST(VideoClient, MakesAFrameOfPixelsAndSize) {
    const Bytes pixels = fake::join({fake::intBytes(2), {1, 0, 0, 0}, {2, 0, 0, 0}});
    const auto frame = fetch(pixels, 1, 2);
    ASSERT_TRUE(frame.ok());
    EXPECT_EQ(frame.value, (tarvo::VideoFrame{1, 2, {1, 2}}));
    EXPECT_TRUE(fetch(pixels, 2, 2).value.isEmpty()) << "another frame was fetched in between";
    EXPECT_TRUE(fetch(pixels, -1, -2).value.isEmpty());
    EXPECT_TRUE(fetch(fake::intBytes(0), 0, 0).value.isEmpty());
}

}  // namespace
