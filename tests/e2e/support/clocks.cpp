#include "tests/e2e/support/clocks.h"

#include <gtest/gtest.h>

#include <ctime>

#include "tests/e2e/support/patience.h"

namespace e2e {

namespace {

int64_t microseconds(clockid_t clock) {
    timespec now{};
    ::clock_gettime(clock, &now);
    return now.tv_sec * kSecond + now.tv_nsec / 1000;
}

}  // namespace

int64_t wallClock() {
    return microseconds(CLOCK_REALTIME);
}

int64_t onTraceClock(int64_t wall) {
    return wall - wallClock() + microseconds(CLOCK_MONOTONIC);
}

void awayFromTheWrap(int64_t room) {
    EXPECT_TRUE(
        eventually([&] { return (wallClock() & 0xFFFFFFFF) + room < 0x100000000; }, std::chrono::minutes(2)));
}

}  // namespace e2e
