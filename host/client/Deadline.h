/* Deadline.h: when a capture call must be sent so that its deadline is kept.
 *
 * The helper knows only the low 32 bits of a deadline. It compares them, as unsigned numbers, with those of
 * its own clock, and waits only when the deadline is ahead and less than 5 s away; in every other case it
 * shoots at once. So a host has to do two things itself: sleep until the deadline is near, and, when the low
 * 32 bits start anew between now and the deadline (every 71.6 minutes), hold the call back until they have.
 *
 * Thread: plain functions.
 * Units:  microseconds of the wall clock since 1970.
 */
#pragma once

#include <cstdint>

#include "host/client/protocol.h"

namespace tarvo {

int64_t wallClockMicroseconds();

/** How long before the deadline a call is best sent: long enough for any delay on the way, well below 5 s. */
constexpr int64_t kCaptureLead = 1'000'000;
static_assert(kCaptureLead < kHelperWaitsMicroseconds);

/** The earliest moment at which the helper understands this deadline; may lie in the past. */
constexpr int64_t captureSendTime(int64_t deadline) {
    const int64_t lead = deadline - kCaptureLead;
    const int64_t lowBitsStart = deadline & ~int64_t{0xFFFFFFFF};
    return lead > lowBitsStart ? lead : lowBitsStart;
}

}  // namespace tarvo
