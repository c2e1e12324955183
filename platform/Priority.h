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

/* A wait that hits its moment has two halves, so that what must be done before the moment, but not before
 * the sleep, fits in between. A moment in the past returns from both at once. */

/** Sleeps until less than half a millisecond is left. Signals do not cut it short. A clock that is set
 * meanwhile does not change how long it sleeps. */
TARVO_PLATFORM_API void sleepUntilShortlyBefore(int64_t wallClockUs);

/** The rest, to some microseconds: looks at the clock without pause. Returns at once when more than
 * 0.8 ms are left. */
TARVO_PLATFORM_API void watchTheClockUntil(int64_t wallClockUs);
