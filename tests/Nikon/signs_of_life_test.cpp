// The wait for a module that is still at work, and its end.
#include <gtest/gtest.h>

#include <thread>

#include "Nikon/SignsOfLife.h"

namespace nikon {
namespace {

using namespace std::chrono_literals;

constexpr SilenceWatch::Time kStart{};

TEST(SilenceWatch, ends_after_the_longest_silence) {
    SilenceWatch watch(kStart, 7);
    EXPECT_FALSE(watch.isOver(kStart, 7));
    EXPECT_FALSE(watch.isOver(kStart + kLongestSilence - 1ms, 7));
    EXPECT_TRUE(watch.isOver(kStart + kLongestSilence, 7));
}

TEST(SilenceWatch, begins_anew_with_each_sign) {
    SilenceWatch watch(kStart, 0);
    SilenceWatch::Time now = kStart;
    for (uint64_t signs = 1; signs <= 100; ++signs) {
        now += kLongestSilence - 1ms;
        EXPECT_FALSE(watch.isOver(now, signs)) << signs;
    }
    EXPECT_FALSE(watch.isOver(now + kLongestSilence - 1ms, 100));
    EXPECT_TRUE(watch.isOver(now + kLongestSilence, 100));
}

TEST(SignsOfLife, count_for_the_thread_that_polls) {
    const uint64_t before = signsOfLife();
    std::thread([] {
        noteSignOfLife();
        EXPECT_EQ(signsOfLife(), 1u);
    }).join();
    EXPECT_EQ(signsOfLife(), before);
    noteSignOfLife();
    EXPECT_EQ(signsOfLife(), before + 1);
}

}  // namespace
}  // namespace nikon
