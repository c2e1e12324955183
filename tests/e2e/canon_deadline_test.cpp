// The moment of a timed shot: the shutter waits for it up to five seconds and for nothing else.
//
// The trace carries the shutter command's time. Only its order against the moment is judged, never how
// close it comes.
#include <gtest/gtest.h>

#include "tests/e2e/support/canon_fixture.h"
#include "tests/e2e/support/clocks.h"

namespace e2e {
namespace {

class CanonDeadline : public CanonTest {
protected:
    int64_t shutterTime() {
        const std::vector<Json> commands = lab().calls("EdsSendCommand");
        EXPECT_FALSE(commands.empty());
        return commands.empty() ? 0 : number(commands[0]["us"]);
    }

    int32_t ready() {
        const int32_t handle = startSession();
        lab().clearTrace();
        return handle;
    }
};

TEST_F(CanonDeadline, ahead_is_waited_for_between_the_headers) {
    const int32_t handle = ready();
    awayFromTheWrap(5 * kSecond);
    const int64_t deadline = wallClock() + 1200000;
    const int64_t deadlineOnTrace = onTraceClock(deadline);
    canon().send(24, Message().int32(handle).text(picturePath("a")).int64(deadline));
    canon().expectHeader(24);
    EXPECT_TRUE(lab().calls("EdsSendCommand").empty());
    canon().expectHeader(24);
    EXPECT_EQ(canon().receiveInt(), 0);
    // A hair of slack for reading two clocks one after the other.
    EXPECT_GE(shutterTime(), deadlineOnTrace - 500);
    helper().waitForErr("Slept for interval = 1.");
}

TEST_F(CanonDeadline, almost_five_seconds_ahead_is_waited_for) {
    const int32_t handle = ready();
    awayFromTheWrap(8 * kSecond);
    const int64_t deadline = wallClock() + 4900000;
    const int64_t deadlineOnTrace = onTraceClock(deadline);
    EXPECT_EQ(canon().capture(handle, picturePath("a"), deadline), 0);
    EXPECT_GE(shutterTime(), deadlineOnTrace - 500);
    helper().waitForErr("Slept for interval = 4.");
}

TEST_F(CanonDeadline, five_seconds_ahead_and_more_is_not_waited_for) {
    const int32_t handle = ready();
    awayFromTheWrap(90 * kSecond);
    for (const int64_t ahead : {20 * kSecond, 80 * kSecond}) {
        lab().clearTrace();
        const int64_t deadline = wallClock() + ahead;
        const int64_t deadlineOnTrace = onTraceClock(deadline);
        EXPECT_EQ(canon().capture(handle, picturePath("a"), deadline), 0);
        EXPECT_LT(shutterTime(), deadlineOnTrace);
    }
    helper().waitForErr("Did not sleep, interval = ", 2);
    EXPECT_EQ(helper().err().count("Slept"), 0u);
}

TEST_F(CanonDeadline, in_the_past_is_not_waited_for) {
    const int32_t handle = ready();
    EXPECT_EQ(canon().capture(handle, picturePath("a"), 0), 0);
    helper().waitForErr("Did not sleep, microTime=0, result=");
    EXPECT_EQ(canon().capture(handle, picturePath("a"), wallClock() - 10), 0);
    helper().waitForErr("Did not sleep, microTime=", 2);
    EXPECT_EQ(helper().err().count("Slept"), 0u);
}

TEST_F(CanonDeadline, counts_by_its_low_32_bits_alone) {
    const int32_t handle = ready();
    for (const int64_t high : {int64_t{0}, int64_t{7} << 32, int64_t{-1} << 32}) {
        SCOPED_TRACE(high);
        awayFromTheWrap(4 * kSecond);
        lab().clearTrace();
        const int64_t deadline = wallClock() + 400000;
        const int64_t deadlineOnTrace = onTraceClock(deadline);
        const size_t from = helper().err().size();
        // The same low half under another high half is the same moment.
        EXPECT_EQ(canon().capture(handle, picturePath("a"), high | (deadline & 0xFFFFFFFF)), 0);
        EXPECT_GE(shutterTime(), deadlineOnTrace - 500);
        EXPECT_EQ(helper().err().count("Slept for interval = 0.", from), 1u);
    }
    // A year ahead whose low half has just passed is past.
    const size_t from = helper().err().size();
    EXPECT_EQ(canon().capture(
                  handle, picturePath("a"),
                  ((wallClock() + 31536000 * kSecond) & ~0xFFFFFFFFLL) | ((wallClock() - 1000) & 0xFFFFFFFF)),
              0);
    EXPECT_EQ(helper().err().count("Did not sleep, microTime=", from), 1u);
}

TEST_F(CanonDeadline, holds_up_no_other_connection) {
    const int32_t handle = ready();
    awayFromTheWrap(8 * kSecond);
    const int64_t deadline = wallClock() + 4 * kSecond;
    canon().send(24, Message().int32(handle).text(picturePath("a")).int64(deadline));
    canon().expectHeader(24);
    CanonCalls other(helper().port());
    EXPECT_EQ(other.getSetting(handle, kSaveTo), 2);
    EXPECT_TRUE(lab().calls("EdsSendCommand").empty());
    helper().stop();
    canon().socket().expectClosed();
}

TEST_F(CanonDeadline, is_waited_for_without_a_session_too) {
    start();
    awayFromTheWrap(5 * kSecond);
    const int64_t deadline = wallClock() + 300000;
    EXPECT_EQ(canon().capture(0, picturePath("a"), deadline), 130);
    EXPECT_GE(wallClock(), deadline);
}

}  // namespace
}  // namespace e2e
