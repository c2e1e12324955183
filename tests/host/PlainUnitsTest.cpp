// The units without a socket: pictures' ends, deadlines, the camera list, error texts.

#include <gtest/gtest.h>

#include "host/client/CameraList.h"
#include "host/client/Deadline.h"
#include "host/client/ErrorText.h"
#include "host/client/Jpeg.h"
#include "tests/host/FakeHelper.h"
#include "tests/host/TempFolder.h"

namespace {

using fake::Bytes;

// Start, one metadata segment that holds an end marker, one scan with stuffed and restart bytes, end.
Bytes smallPicture() {
    return {0xFF, 0xD8,                                                  // start
            0xFF, 0xE1, 0x00, 0x08, 0xFF, 0xD8, 'x',  'y',  0xFF, 0xD9,  // metadata with a thumbnail's end
            0xFF, 0xFF, 0xDB, 0x00, 0x03, 0x01,                          // a fill byte before a table
            0xFF, 0xDA, 0x00, 0x02, 0x12, 0xFF, 0x00, 0xFF, 0xD3, 0x34,  // scan
            0xFF, 0xD9};
}

TEST(Jpeg, EndsAtItsOwnEndMarkerAndNotAtItsThumbnails) {
    Bytes bytes = smallPicture();
    const size_t length = bytes.size();
    EXPECT_EQ(tarvo::jpegLength(bytes), length);
    bytes.insert(bytes.end(), {1, 2, 3, 0xFF, 0xD9, 4});
    EXPECT_EQ(tarvo::jpegLength(bytes), length) << "what an earlier, longer frame left is cut off";
}

TEST(Jpeg, ThatIsCutShortAnywhereIsNone) {
    const Bytes whole = smallPicture();
    for (size_t length = 0; length < whole.size(); ++length) {
        EXPECT_EQ(tarvo::jpegLength(std::span(whole).first(length)), 0U) << length;
    }
}

TEST(Jpeg, OtherBytesAreNone) {
    EXPECT_EQ(tarvo::jpegLength(Bytes(1000, 0)), 0U);
    EXPECT_EQ(tarvo::jpegLength(Bytes(1000, 0xFF)), 0U);
    EXPECT_EQ(tarvo::jpegLength(Bytes{0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x01, 0xFF, 0xD9}), 0U)
        << "a segment shorter than its own length field";
}

TEST(Jpeg, RealPicturesEndWhereTheirFilesDo) {
    const std::filesystem::path photos = TARVO_TEST_PHOTOS;
    int count = 0;
    for (const char* name :
         {"liveview/canon_1056x704.jpg", "liveview/canon_960x640.jpg", "nikon/d5300_room_3000x2000.jpg",
          "pairs/IMG_3501.JPG", "canon/eos6d_paper_1500x1000.jpg"}) {
        const std::string text = fake::readFile(photos / name);
        Bytes bytes(text.begin(), text.end());
        ASSERT_GT(bytes.size(), 10000U) << name;
        const size_t length = bytes.size();
        bytes.resize(length + 5000, 0xFF);
        EXPECT_EQ(tarvo::jpegLength(bytes), length) << name;
        ++count;
    }
    EXPECT_EQ(count, 5);
}

TEST(Jpeg, TellsItsSize) {
    const std::filesystem::path photos = TARVO_TEST_PHOTOS;
    const std::string text = fake::readFile(photos / "liveview/canon_960x640.jpg");
    const Bytes whole(text.begin(), text.end());
    EXPECT_EQ(tarvo::jpegSize(whole).width, 960);
    EXPECT_EQ(tarvo::jpegSize(whole).height, 640);
    EXPECT_EQ(tarvo::jpegSize(smallPicture()).width, 0) << "there is no frame header";
    EXPECT_EQ(tarvo::jpegSize(Bytes(1000, 0xFF)).width, 0);
    for (size_t length = 0; length < 20; ++length)
        EXPECT_EQ(tarvo::jpegSize(std::span(whole).first(length)).width, 0) << length;
}

constexpr int64_t kTurn = int64_t{1} << 32;

// What the helper does with a deadline: waits only when its low bits are ahead and less than 5 s away.
bool helperWaits(int64_t now, int64_t deadline) {
    const auto low = static_cast<uint32_t>(deadline);
    const auto lowNow = static_cast<uint32_t>(now);
    return low > lowNow && low - lowNow < 5'000'000;
}

TEST(Deadline, IsSentASecondAheadWhenNothingIsInTheWay) {
    const int64_t deadline = 400'000 * kTurn + 30'000'000;
    EXPECT_EQ(tarvo::captureSendTime(deadline), deadline - 1'000'000);
    EXPECT_TRUE(helperWaits(tarvo::captureSendTime(deadline), deadline));
}

TEST(Deadline, IsHeldBackUntilTheLowBitsHaveStartedAnew) {
    for (const int64_t after : {int64_t{1}, int64_t{500}, int64_t{999'999}}) {
        const int64_t deadline = 400'000 * kTurn + after;
        EXPECT_FALSE(helperWaits(deadline - 1'000'000, deadline)) << "sent early it would shoot at once";
        EXPECT_EQ(tarvo::captureSendTime(deadline), 400'000 * kTurn);
        EXPECT_TRUE(helperWaits(tarvo::captureSendTime(deadline), deadline));
    }
}

TEST(CameraList, TellsReachableCamerasFromHiddenOnes) {
    EXPECT_TRUE(tarvo::chooseCameras({}).reachable.empty());
    EXPECT_EQ(tarvo::chooseCameras({-7}).reachable, (std::vector<int32_t>{-7}));
    const auto two = tarvo::chooseCameras({-7, 0});
    EXPECT_EQ(two.reachable, (std::vector<int32_t>{-7}));
    EXPECT_EQ(two.hidden, 1U);
}

TEST(ErrorText, NamesTheStatusesAndSaysWhatToDo) {
    EXPECT_STREQ(tarvo::describeStatus(0x81).name, "EDS_ERR_DEVICE_BUSY");
    EXPECT_STREQ(tarvo::describeStatus(0xC1).name, "EDS_ERR_COMM_DISCONNECTED");
    for (const int32_t status : {-1, 130, 134, 1001, 1002}) {
        const auto& text = tarvo::describeStatus(status);
        EXPECT_STRNE(text.name, "unknown") << status;
        EXPECT_STRNE(text.advice, "") << status;
        const auto sentence = tarvo::statusSentence(status);
        EXPECT_TRUE(sentence.starts_with("status " + std::to_string(status) + " (")) << sentence;
    }
    EXPECT_TRUE(
        tarvo::statusSentence(0x81).starts_with("status 0x81 (EDS_ERR_DEVICE_BUSY): the camera is busy."));
    EXPECT_NE(tarvo::statusSentence(0x7654).find("0x7654 (unknown)"), std::string::npos);
}

}  // namespace
