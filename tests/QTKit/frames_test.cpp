// What is on the frames, how they lie in memory, and how long they stay.
#include <cmath>
#include <set>

#include "tests/QTKit/fixture.h"

namespace test {
namespace {

/** Checks a whole frame against the pattern; answers the number that it shows, of 256. */
int patternNumber(const SeenFrame& frame) {
    const int number = frame.pixel(0, 0)[2];
    for (size_t y = 0; y < frame.height; ++y) {
        for (size_t x = 0; x < frame.width; ++x) {
            const auto n = static_cast<size_t>(number);
            const std::vector<uint8_t> wanted = {static_cast<uint8_t>(x + n), static_cast<uint8_t>(y + n),
                                                 static_cast<uint8_t>(n), 128};
            if (frame.pixel(x, y) == wanted) continue;
            ADD_FAILURE() << "another pixel at " << x << ", " << y;
            return -1;
        }
        for (size_t at = frame.width * 4; at < frame.bytesPerRow; ++at) {
            if (frame.bytes[y * frame.bytesPerRow + at] == 0xEE) continue;
            ADD_FAILURE() << "another byte behind row " << y;
            return -1;
        }
    }
    return number;
}

class Frames : public QTKitTest {};

TEST_F(Frames, show_the_pattern_and_count_from_nothing) {
    start({{{"width", 300}, {"height", 270}, {"fps", 200}}});
    Chain chain = this->chain();
    chain.taker->keepsBytes = true;
    chain.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(5));
    chain.session->stopRunning();
    int expected = 0;
    for (const SeenFrame& frame : chain.taker->seen()) {
        EXPECT_EQ(frame.width, 300u);
        EXPECT_EQ(frame.height, 270u);
        EXPECT_EQ(frame.bytesPerRow, 1200u);
        EXPECT_EQ(frame.dataSize, 1200u * 270);
        EXPECT_EQ(patternNumber(frame), expected++ % 256);
    }
}

TEST_F(Frames, count_on_when_the_session_starts_again) {
    start({{{"width", 8}, {"height", 8}, {"fps", 500}}});
    Chain chain = this->chain();
    chain.taker->keepsBytes = true;
    for (int run = 0; run < 3; ++run) {
        chain.session->startRunning();
        ASSERT_TRUE(chain.taker->waitForMore(2));
        chain.session->stopRunning();
    }
    ASSERT_TRUE(eventually([&] { return chain.taker->underway == 0; }));
    int expected = 0;
    for (const SeenFrame& frame : chain.taker->seen()) {
        EXPECT_EQ(patternNumber(frame), expected++ % 256);
    }
    EXPECT_EQ(deviceState("v-1")["frames"], chain.taker->count());
}

TEST_F(Frames, keep_the_device_s_stride) {
    start({{{"width", 20}, {"height", 6}, {"bytesPerRow", 93}, {"fps", 200}}});
    Chain chain = this->chain();
    chain.taker->keepsBytes = true;
    chain.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(2));
    chain.session->stopRunning();
    chain.output->setPixelBufferAttributes(sized(10, 4));
    chain.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(2));
    const std::vector<SeenFrame> seen = chain.taker->seen();
    EXPECT_EQ(seen.front().bytesPerRow, 93u);
    EXPECT_EQ(seen.front().dataSize, 93u * 6);
    EXPECT_EQ(patternNumber(seen.front()), 0);
    EXPECT_EQ(seen.back().bytesPerRow, 53u);
    EXPECT_EQ(seen.back().dataSize, 53u * 4);
    EXPECT_GE(patternNumber(seen.back()), 2);
}

/** What a device delivers when it is asked for a size, or for none. */
struct SizeRow {
    Json sizes;
    PixelBufferAttributes asked;
    size_t width, height;
};

PixelBufferAttributes asking(std::optional<double> width, std::optional<double> height) {
    PixelBufferAttributes attributes;
    attributes.width = width;
    attributes.height = height;
    return attributes;
}

TEST_F(Frames, have_the_size_that_was_asked_for_or_the_nearest) {
    const Json listed = Json::array({Json::array({16, 12}), Json::array({32, 24}), Json::array({64, 48})});
    const double none = std::nan("");
    const SizeRow rows[] = {
        {Json::array(), {}, 40, 30},
        {Json::array(), asking(17, 5), 17, 5},
        {Json::array(), asking(20, {}), 20, 15},
        {Json::array(), asking({}, 15), 20, 15},
        {Json::array(), asking(0, 10), 40, 30},
        {Json::array(), asking(-5, 10), 40, 30},
        {Json::array(), asking(none, none), 40, 30},
        {Json::array(), asking(2147483647.0, 2147483647.0), 40, 30},
        {Json::array(), asking(1e300, 1), 40, 30},
        {listed, {}, 40, 30},
        {listed, asking(40, 30), 40, 30},
        {listed, asking(32, 24), 32, 24},
        {listed, asking(20, 15), 16, 12},
        {listed, asking(1000, 1000), 64, 48},
    };
    for (const SizeRow& row : rows) {
        start({{{"width", 40}, {"height", 30}, {"fps", 500}, {"sizes", row.sizes}}});
        Chain chain = this->chain();
        chain.output->setPixelBufferAttributes(row.asked);
        chain.session->startRunning();
        ASSERT_TRUE(chain.taker->waitForMore(1));
        const SeenFrame frame = chain.taker->seen().front();
        EXPECT_EQ(frame.width, row.width);
        EXPECT_EQ(frame.height, row.height);
    }
}

TEST_F(Frames, change_their_size_when_the_session_starts_next) {
    start({{{"width", 16}, {"height", 16}, {"fps", 500}}});
    Chain chain = this->chain();
    chain.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(2));
    chain.output->setPixelBufferAttributes(sized(8, 4));
    ASSERT_TRUE(chain.taker->waitForMore(3));
    EXPECT_EQ(chain.taker->seen().back().width, 16u);
    chain.session->stopRunning();
    chain.session->startRunning();
    ASSERT_TRUE(eventually([&] { return chain.taker->seen().back().width == 8; }));
    EXPECT_EQ(chain.taker->seen().back().height, 4u);
    EXPECT_EQ(deviceState("v-1")["frameSize"], Json::array({8, 4}));
}

TEST_F(Frames, without_pixels_are_delivered_too) {
    start({{{"width", 0}, {"height", 0}, {"fps", 500}}});
    Chain chain = this->chain();
    chain.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(2));
    EXPECT_EQ(chain.taker->seen().front().dataSize, 0u);
}

TEST_F(Frames, that_somebody_keeps_stay_as_they_are) {
    start({{{"width", 64}, {"height", 48}, {"fps", 500}}});
    Chain chain = this->chain();
    chain.taker->keepsFrames = true;
    chain.taker->keepsBytes = true;
    chain.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(20));
    chain.session->stopRunning();
    ASSERT_TRUE(eventually([&] { return chain.taker->underway == 0; }));
    std::vector<Ref<CVImageBuffer>> kept = chain.taker->takeKept();
    const std::vector<SeenFrame> seen = chain.taker->seen();
    ASSERT_EQ(kept.size(), seen.size());
    std::set<CVImageBuffer*> distinct;
    for (size_t i = 0; i < kept.size(); ++i) {
        distinct.insert(kept[i].get());
        EXPECT_EQ(bytesOf(*kept[i]), seen[i].bytes);
    }
    EXPECT_EQ(distinct.size(), kept.size());
    // They outlive what delivered them.
    chain.session = {};
    EXPECT_EQ(bytesOf(*kept[3]), seen[3].bytes);
}

TEST_F(Frames, that_nobody_keeps_are_used_again) {
    start({{{"width", 64}, {"height", 48}, {"fps", 500}}});
    Chain chain = this->chain();
    chain.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(30));
    EXPECT_LE(living("frames"), 2);
}

TEST_F(Frames, give_their_memory_back_after_a_crowd) {
    start({{{"width", 8}, {"height", 8}, {"fps", 1000}}});
    Chain chain = this->chain();
    chain.taker->keepsFrames = true;
    chain.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(30));
    EXPECT_GE(living("frames"), 30);
    std::atomic<bool> isOver{false};
    chain.taker->setWork([&](CVImageBuffer&) {
        if (!isOver) chain.taker->takeKept();
    });
    EXPECT_TRUE(eventually([&] { return living("frames") <= 10; })) << living("frames");
    chain.session->stopRunning();
    ASSERT_TRUE(eventually([&] { return chain.taker->underway == 0; }));
    chain.taker->setWork({});
    chain.taker->takeKept();
}

TEST_F(Frames, lock_as_often_as_they_are_asked_to) {
    start({{{"width", 8}, {"height", 8}, {"fps", 500}}});
    Chain chain = this->chain();
    chain.taker->keepsFrames = true;
    chain.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(1));
    chain.session->stopRunning();
    ASSERT_TRUE(eventually([&] { return chain.taker->underway == 0; }));
    const Ref<CVImageBuffer> frame = chain.taker->takeKept().at(0);
    EXPECT_EQ(frame->baseAddress(), nullptr);
    EXPECT_EQ(frame->lockBaseAddress(), kCVReturnSuccess);
    EXPECT_EQ(frame->lockBaseAddress(), kCVReturnSuccess);
    frame->unlockBaseAddress();
    EXPECT_NE(frame->baseAddress(), nullptr);
    frame->unlockBaseAddress();
    EXPECT_EQ(frame->baseAddress(), nullptr);
    frame->unlockBaseAddress();
    EXPECT_EQ(frame->lockBaseAddress(), kCVReturnSuccess);
    EXPECT_NE(frame->baseAddress(), nullptr);
    frame->unlockBaseAddress();

    must({{"cmd", "trace"}, {"clear", true}});
    must({{"cmd", "fault"}, {"call", "CVImageBuffer.lockBaseAddress"}, {"device", "v-1"}, {"result", -6661}});
    EXPECT_EQ(frame->lockBaseAddress(), -6661);
    EXPECT_EQ(frame->baseAddress(), nullptr);
    EXPECT_EQ(frame->lockBaseAddress(), kCVReturnSuccess);
    frame->unlockBaseAddress();
    // Only the one that a fault took effect on is shown.
    EXPECT_EQ(callsOf("CVImageBuffer.lockBaseAddress").size(), 1u);
}

TEST_F(Frames, stray_evenly_around_the_picture_when_there_is_noise) {
    constexpr int kNoise = 10;
    constexpr size_t kFrames = 64;
    const Json fields = {{"width", 100}, {"height", 50}, {"fps", 500}, {"noise", kNoise}};
    start({fields});
    std::vector<std::vector<uint8_t>> first;
    for (int run = 0; run < 2; ++run) {
        start({fields});
        Chain chain = this->chain();
        chain.taker->keepsBytes = true;
        chain.session->startRunning();
        ASSERT_TRUE(chain.taker->waitForMore(kFrames));
        chain.session->stopRunning();
        double sum = 0;
        double strayed = 0;
        size_t colours = 0;
        const std::vector<SeenFrame> seen = chain.taker->seen();
        for (size_t n = 0; n < kFrames; ++n) {
            for (size_t x = 30; x < 60; ++x) {
                // Far enough from both ends for nothing to be cut off.
                const std::vector<uint8_t> pixel = seen[n].pixel(x, 20);
                EXPECT_EQ(pixel[3], 128);
                const int blue = static_cast<int>((x + n) % 256);
                if (blue < kNoise || blue > 255 - kNoise) continue;
                const int offset = pixel[0] - blue;
                EXPECT_LE(std::abs(offset), kNoise);
                sum += offset;
                strayed += std::abs(offset);
                ++colours;
            }
        }
        ASSERT_GT(colours, 1000u);
        EXPECT_LT(std::fabs(sum / static_cast<double>(colours)), 1.0);
        EXPECT_GT(strayed / static_cast<double>(colours), kNoise / 4.0);
        if (run == 0) {
            for (size_t n = 0; n < kFrames; ++n)
                first.push_back(seen[n].bytes);
        } else {
            for (size_t n = 0; n < kFrames; ++n)
                EXPECT_EQ(seen[n].bytes, first[n]) << "frame " << n;
        }
    }
}

}  // namespace
}  // namespace test
