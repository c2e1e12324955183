// What is on the frames, how they lie in memory, and how long they stay.
#include <fstream>
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

}  // namespace
}  // namespace test
