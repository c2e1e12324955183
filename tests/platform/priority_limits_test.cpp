/* A program of its own: the linker turns the unit's calls to the functions below, which play a kernel with
 * limits, and clocks that somebody sets. Only few test machines may have their limits and clocks changed. */
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/resource.h>
#include <time.h>

#include <cerrno>
#include <string>
#include <utility>

#include "platform/Priority.h"

namespace {

/** The scheduling of the one thread that this kernel knows, and how far it may be raised. */
struct Kernel {
    int policy = SCHED_OTHER;
    int realTimePriority = 0;
    int nice = 0;
    rlim_t realTimeLimit = 0;
    rlim_t niceLimit = 0;
    bool isPrivileged = false;
    bool isBroken = false;  // policies cannot even be read
};

Kernel kernel;

/** Both clocks of a machine on which time passes only while somebody sleeps or looks at them. */
struct Clocks {
    bool arePlayed = false;
    int64_t wallNs = int64_t{1'700'000'000} * 1'000'000'000;
    int64_t steadyNs = int64_t{100} * 1'000'000'000;
    int64_t setDuringSleepNs = 0;  // what somebody adds to the wall clock during the next sleep

    void pass(int64_t ns) {
        wallNs += ns;
        steadyNs += ns;
    }
    int64_t& of(clockid_t clock) { return clock == CLOCK_REALTIME ? wallNs : steadyNs; }
};

Clocks clocks;

int refuse(int error) {
    errno = error;
    return -1;
}

}  // namespace

extern "C" {

int __real_clock_gettime(clockid_t clock, timespec* out);
int __real_clock_nanosleep(clockid_t clock, int flags, const timespec* until, timespec* left);

int __wrap_clock_gettime(clockid_t clock, timespec* out) {
    if (!clocks.arePlayed) return __real_clock_gettime(clock, out);
    clocks.pass(1000);
    out->tv_sec = clocks.of(clock) / 1'000'000'000;
    out->tv_nsec = clocks.of(clock) % 1'000'000'000;
    return 0;
}

int __wrap_clock_nanosleep(clockid_t clock, int flags, const timespec* until, timespec* left) {
    if (!clocks.arePlayed) return __real_clock_nanosleep(clock, flags, until, left);
    const int64_t untilNs = until->tv_sec * int64_t{1'000'000'000} + until->tv_nsec;
    if (untilNs > clocks.of(clock)) clocks.pass(untilNs - clocks.of(clock));
    clocks.wallNs += std::exchange(clocks.setDuringSleepNs, 0);
    return 0;
}

int __wrap_sched_getscheduler(pid_t) {
    return kernel.isBroken ? refuse(ENOSYS) : kernel.policy;
}

int __wrap_sched_getparam(pid_t, sched_param* parameter) {
    parameter->sched_priority = kernel.realTimePriority;
    return 0;
}

int __wrap_sched_setscheduler(pid_t, int policy, const sched_param* parameter) {
    const auto wanted = static_cast<rlim_t>(parameter->sched_priority);
    const bool isLowering = parameter->sched_priority <= kernel.realTimePriority;
    if (policy == SCHED_FIFO && !kernel.isPrivileged && !isLowering && wanted > kernel.realTimeLimit) {
        return refuse(EPERM);
    }
    kernel.policy = policy;
    kernel.realTimePriority = parameter->sched_priority;
    return 0;
}

int __wrap_getpriority(__priority_which_t, id_t) {
    return kernel.nice;
}

int __wrap_setpriority(__priority_which_t, id_t, int nice) {
    const int lowest = kernel.niceLimit > 40 ? -20 : 20 - static_cast<int>(kernel.niceLimit);
    if (!kernel.isPrivileged && nice < kernel.nice && nice < lowest) {
        return refuse(EACCES);
    }
    kernel.nice = nice;
    return 0;
}

int __wrap_getrlimit(__rlimit_resource_t resource, rlimit* limit) {
    const rlim_t value = resource == RLIMIT_RTPRIO ? kernel.realTimeLimit : kernel.niceLimit;
    *limit = {value, value};
    return 0;
}

}  // extern "C"

namespace {

class PriorityLimits : public testing::Test {
protected:
    void SetUp() override { kernel = Kernel{}; }
    /// Nothing of the raise may be left.
    void expectPutBack(int nice = 0) {
        EXPECT_EQ(SCHED_OTHER, kernel.policy);
        EXPECT_EQ(0, kernel.realTimePriority);
        EXPECT_EQ(nice, kernel.nice);
    }
};

TEST_F(PriorityLimits, without_any_leave_to_rise_change_nothing) {
    {
        const HighestPriority priority;
        EXPECT_EQ(PriorityGained::none, priority.gained());
        expectPutBack();
    }
    expectPutBack();
}

TEST_F(PriorityLimits, of_none_let_a_privileged_process_to_the_top) {
    kernel.isPrivileged = true;
    {
        const HighestPriority priority;
        EXPECT_EQ(PriorityGained::realTime, priority.gained());
        EXPECT_EQ(SCHED_FIFO, kernel.policy);
        EXPECT_EQ(sched_get_priority_max(SCHED_FIFO), kernel.realTimePriority);
    }
    expectPutBack();
}

TEST_F(PriorityLimits, of_real_time_are_used_up) {
    kernel.realTimeLimit = 7;
    kernel.niceLimit = 30;
    {
        const HighestPriority priority;
        EXPECT_EQ(PriorityGained::realTime, priority.gained());
        EXPECT_EQ(SCHED_FIFO, kernel.policy);
        EXPECT_EQ(7, kernel.realTimePriority);
        EXPECT_EQ(0, kernel.nice);
    }
    expectPutBack();
}

TEST_F(PriorityLimits, beyond_the_scale_mean_its_top) {
    kernel.realTimeLimit = RLIM_INFINITY;
    {
        const HighestPriority priority;
        EXPECT_EQ(sched_get_priority_max(SCHED_FIFO), kernel.realTimePriority);
    }
    expectPutBack();
    kernel.realTimeLimit = 0;
    kernel.niceLimit = RLIM_INFINITY;
    {
        const HighestPriority priority;
        EXPECT_EQ(-20, kernel.nice);
    }
    expectPutBack();
}

TEST_F(PriorityLimits, of_nice_are_used_up_when_real_time_is_not_permitted) {
    kernel.niceLimit = 30;
    {
        const HighestPriority priority;
        EXPECT_EQ(PriorityGained::nice, priority.gained());
        EXPECT_EQ(SCHED_OTHER, kernel.policy);
        EXPECT_EQ(-10, kernel.nice);
    }
    expectPutBack();
}

TEST_F(PriorityLimits, of_nice_lower_a_nice_thread_s_value) {
    kernel.niceLimit = 20;
    kernel.nice = 12;
    {
        const HighestPriority priority;
        EXPECT_EQ(PriorityGained::nice, priority.gained());
        EXPECT_EQ(0, kernel.nice);
    }
    expectPutBack(12);
}

TEST_F(PriorityLimits, of_nice_never_make_a_thread_nicer) {
    kernel.niceLimit = 15;  // permits 5 and up
    {
        const HighestPriority priority;
        EXPECT_EQ(PriorityGained::none, priority.gained());
        EXPECT_EQ(0, kernel.nice);
    }
    expectPutBack();
}

TEST_F(PriorityLimits, of_real_time_never_lower_a_thread_that_is_above) {
    kernel.policy = SCHED_FIFO;
    kernel.realTimePriority = 50;
    kernel.realTimeLimit = 7;
    {
        const HighestPriority priority;
        EXPECT_EQ(PriorityGained::none, priority.gained());
        EXPECT_EQ(50, kernel.realTimePriority);
    }
    EXPECT_EQ(SCHED_FIFO, kernel.policy);
    EXPECT_EQ(50, kernel.realTimePriority);
}

TEST_F(PriorityLimits, of_real_time_raise_a_real_time_thread) {
    kernel.policy = SCHED_RR;
    kernel.realTimePriority = 3;
    kernel.realTimeLimit = 7;
    {
        const HighestPriority priority;
        EXPECT_EQ(PriorityGained::realTime, priority.gained());
        EXPECT_EQ(SCHED_FIFO, kernel.policy);
        EXPECT_EQ(7, kernel.realTimePriority);
    }
    EXPECT_EQ(SCHED_RR, kernel.policy);
    EXPECT_EQ(3, kernel.realTimePriority);
}

TEST_F(PriorityLimits, of_none_leave_a_thread_at_the_top_as_it_is) {
    kernel.isPrivileged = true;
    kernel.policy = SCHED_RR;
    kernel.realTimePriority = sched_get_priority_max(SCHED_RR);
    {
        const HighestPriority priority;
        EXPECT_EQ(PriorityGained::none, priority.gained());
        EXPECT_EQ(SCHED_RR, kernel.policy);
    }
    EXPECT_EQ(SCHED_RR, kernel.policy);
    EXPECT_EQ(sched_get_priority_max(SCHED_RR), kernel.realTimePriority);
}

TEST_F(PriorityLimits, do_not_matter_where_scheduling_cannot_be_read) {
    kernel.isPrivileged = true;
    kernel.isBroken = true;
    {
        const HighestPriority priority;
        EXPECT_EQ(PriorityGained::none, priority.gained());
    }
    expectPutBack();
}

/** How long a wait of two seconds takes while somebody adds so many seconds to the wall clock, in ms. */
int64_t lengthOfWaitMs(int64_t setBySeconds) {
    clocks = Clocks{.arePlayed = true, .setDuringSleepNs = setBySeconds * 1'000'000'000};
    const int64_t began = clocks.steadyNs;
    const int64_t moment = clocks.wallNs / 1000 + 2'000'000;
    sleepUntilShortlyBefore(moment);
    watchTheClockUntil(moment);
    clocks.arePlayed = false;
    return (clocks.steadyNs - began) / 1'000'000;
}

TEST(WaitByPlayedClocks, lasts_to_the_moment) {
    EXPECT_EQ(lengthOfWaitMs(0), 2000);
}

TEST(WaitByPlayedClocks, leaves_the_last_moment_to_be_watched) {
    clocks = Clocks{.arePlayed = true};
    const int64_t moment = clocks.wallNs / 1000 + 2'000'000;
    sleepUntilShortlyBefore(moment);
    clocks.arePlayed = false;
    const int64_t leftUs = moment - clocks.wallNs / 1000;
    EXPECT_GT(leftUs, 0);
    EXPECT_LT(leftUs, 500);
}

TEST(WaitByPlayedClocks, is_no_longer_when_the_clock_is_set_back) {
    EXPECT_NEAR(static_cast<double>(lengthOfWaitMs(-3600)), 2000, 1);
}

TEST(WaitByPlayedClocks, ends_when_the_clock_is_set_forward) {
    EXPECT_NEAR(static_cast<double>(lengthOfWaitMs(3600)), 2000, 1);
}

}  // namespace
