/* Priority.h: for the moment that must be hit: the highest priority that the thread may have, and a wait
 * that ends at a wall-clock time.
 *
 * Thread: everything here acts on the calling thread alone.
 * Units:  microseconds of the wall clock, since 1970.
 * Follows: POSIX.1-2008 scheduling and clock_nanosleep; Linux for the nice value and timer slack of one
 *         thread.
 */
#pragma once

#include <cstdint>

#include "platform/Export.h"

enum class PriorityGained {
    none,     ///< not permitted, or already there: nothing was changed
    nice,     ///< the ordinary scheduler, but before others
    realTime  ///< before everything that is not real-time
};

/** Raises the calling thread as far as the process may, and puts everything back as it was when it goes:
 * policy, real-time priority, nice value and timer slack. Make and destroy it on the same thread. */
class TARVO_PLATFORM_API HighestPriority {
public:
    HighestPriority();
    ~HighestPriority();
    HighestPriority(const HighestPriority&) = delete;
    HighestPriority& operator=(const HighestPriority&) = delete;

    PriorityGained gained() const { return gained_; }

private:
    PriorityGained gained_ = PriorityGained::none;
    int policy_ = 0;
    int realTimePriority_ = 0;
    int nice_ = 0;
    int timerSlackNs_ = 0;
};

/** Waits until the wall clock shows the moment, to some microseconds; a moment in the past returns at once.
 * Sleeps but for the last fifth of a millisecond. Signals do not cut it short. A clock that is set meanwhile
 * does not change how long it waits. */
TARVO_PLATFORM_API void sleepUntilAbsolute(int64_t wallClockUs);
