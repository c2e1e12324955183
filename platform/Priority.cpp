#include "platform/Priority.h"

#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <cerrno>

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

void sleepUntilAbsolute(int64_t wallClockUs) {
    timespec moment{};
    moment.tv_sec = static_cast<time_t>(wallClockUs / 1'000'000);
    moment.tv_nsec = static_cast<long>(wallClockUs % 1'000'000) * 1000;
    // The kernel may delay an ordinary thread's timers by its slack, 50 us unless told otherwise. Real-time
    // threads have none and read as 0.
    const int slackNs = prctl(PR_GET_TIMERSLACK);
    if (slackNs > 1) {
        prctl(PR_SET_TIMERSLACK, 1UL);
    }
    while (clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, &moment, nullptr) == EINTR) {
    }
    if (slackNs > 1) {
        prctl(PR_SET_TIMERSLACK, static_cast<unsigned long>(slackNs));
    }
}
