#include "platform/Priority.h"

#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <limits>

/* On Linux the calls below that take "process 0" mean the calling thread. */

namespace {

constexpr int lowestNice = -20;
constexpr int ordinaryNice = 20;  // RLIMIT_NICE counts down from here

bool setRealTime(int priority) {
    sched_param parameter{};
    parameter.sched_priority = priority;
    return sched_setscheduler(0, SCHED_FIFO, &parameter) == 0;
}

/** `current` is 0 for a thread that is not real-time. Never goes below it: the system permits any thread to
 * lower itself, so only what is higher may be tried. */
bool raiseToRealTime(int current) {
    const int highest = sched_get_priority_max(SCHED_FIFO);
    if (setRealTime(highest)) {
        return true;
    }
    rlimit limit{};
    if (getrlimit(RLIMIT_RTPRIO, &limit) != 0) {
        return false;
    }
    const int permitted = static_cast<int>(std::min(limit.rlim_cur, static_cast<rlim_t>(highest)));
    return permitted > current && setRealTime(permitted);
}

bool raiseNice(int current) {
    if (current == lowestNice) {
        return false;
    }
    if (setpriority(PRIO_PROCESS, 0, lowestNice) == 0) {
        return true;
    }
    rlimit limit{};
    if (getrlimit(RLIMIT_NICE, &limit) != 0) {
        return false;
    }
    const auto steps =
        static_cast<int>(std::min(limit.rlim_cur, static_cast<rlim_t>(ordinaryNice - lowestNice)));
    const int permitted = ordinaryNice - steps;
    return permitted < current && setpriority(PRIO_PROCESS, 0, permitted) == 0;
}

/** Nothing is above it that we could ask for. */
bool isAtTop(int policy, int realTimePriority) {
    constexpr int deadline = 6;  // SCHED_DEADLINE, which <sched.h> does not always name
    return (policy & ~SCHED_RESET_ON_FORK) == deadline ||
           realTimePriority == sched_get_priority_max(SCHED_FIFO);
}

}  // namespace

HighestPriority::HighestPriority() {
    sched_param parameter{};
    policy_ = sched_getscheduler(0);
    if (policy_ < 0 || sched_getparam(0, &parameter) != 0) {
        return;
    }
    realTimePriority_ = parameter.sched_priority;
    errno = 0;
    nice_ = getpriority(PRIO_PROCESS, 0);
    if (errno != 0 || isAtTop(policy_, realTimePriority_)) {
        return;
    }
    timerSlackNs_ = prctl(PR_GET_TIMERSLACK);
    if (raiseToRealTime(realTimePriority_)) {
        gained_ = PriorityGained::realTime;
    } else if (realTimePriority_ == 0 && raiseNice(nice_)) {
        gained_ = PriorityGained::nice;
    }
}

HighestPriority::~HighestPriority() {
    if (gained_ == PriorityGained::nice) {
        setpriority(PRIO_PROCESS, 0, nice_);
    } else if (gained_ == PriorityGained::realTime) {
        sched_param parameter{};
        parameter.sched_priority = realTimePriority_;
        sched_setscheduler(0, policy_, &parameter);
        // The kernel resets the slack of a thread that leaves the real-time policies.
        if (timerSlackNs_ > 0) {
            prctl(PR_SET_TIMERSLACK, static_cast<unsigned long>(timerSlackNs_));
        }
    }
}

namespace {

/* A timer wakes a thread some 50 us late, on virtual machines up to 200 us; what is done in between takes
 * its time, too. */
constexpr int64_t marginNs = 400'000;

timespec asTimespec(int64_t ns) {
    timespec moment{};
    moment.tv_sec = static_cast<time_t>(ns / 1'000'000'000);
    moment.tv_nsec = static_cast<long>(ns % 1'000'000'000);
    return moment;
}

int64_t clockNs(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<int64_t>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

/** Three centuries from now is where nanoseconds end. */
int64_t asNs(int64_t wallClockUs) {
    return std::min(wallClockUs, std::numeric_limits<int64_t>::max() / 1000) * 1000;
}

int64_t leftNs(int64_t wallClockUs) {
    return asNs(wallClockUs) - clockNs(CLOCK_REALTIME);
}

/** Sleeps by the steady clock: on the wall clock's own timer, setting that clock back by an hour would make
 * the caller wait for an hour. */
void sleepForNs(int64_t ns) {
    const timespec wakeUp = asTimespec(clockNs(CLOCK_MONOTONIC) + ns);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &wakeUp, nullptr) == EINTR) {
    }
}

}  // namespace

void sleepUntilShortlyBefore(int64_t wallClockUs) {
    // The past first: negative times have no place in nanoseconds.
    if (wallClockUs <= clockNs(CLOCK_REALTIME) / 1000) {
        return;
    }
    // The kernel may delay an ordinary thread's timers by its slack, 50 us unless told otherwise. Real-time
    // threads have none and read as 0.
    const int slackNs = prctl(PR_GET_TIMERSLACK);
    if (slackNs > 1) {
        prctl(PR_SET_TIMERSLACK, 1UL);
    }
    sleepForNs(leftNs(wallClockUs) - marginNs);
    if (slackNs > 1) {
        prctl(PR_SET_TIMERSLACK, static_cast<unsigned long>(slackNs));
    }
}

void watchTheClockUntil(int64_t wallClockUs) {
    if (wallClockUs <= clockNs(CLOCK_REALTIME) / 1000) {
        return;
    }
    int64_t left = 0;
    // More than the margin is left when the clock has been set back; nobody shall look at it for that long.
    do {
        left = leftNs(wallClockUs);
    } while (left > 0 && left <= 2 * marginNs);
}
