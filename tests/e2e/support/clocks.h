/* clocks.h: moments for timed shots, by the clocks of the host and of the lab's trace.
 *
 * Thread: any.
 * Units:  microseconds.
 */
#pragma once

#include <cstdint>

namespace e2e {

inline constexpr int64_t kSecond = 1000000;

int64_t wallClock();
/** What a moment of the wall clock is on the trace's clock. */
int64_t onTraceClock(int64_t wall);

/** The low 32 bits of the clock, which the helper compares, wrap every 71 minutes; a moment that lies beyond
 *  the wrap counts as past. Tests that mean a later moment wait until there is room, which is why it must be
 *  less than the two minutes that they wait. */
void awayFromTheWrap(int64_t room);

}  // namespace e2e
