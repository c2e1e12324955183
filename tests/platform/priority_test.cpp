#include "platform/Priority.h"

#include <gtest/gtest.h>
#include <linux/capability.h>
#include <pthread.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <future>
#include <limits>
#include <optional>
#include <thread>

namespace {

/** All that raising may change of the calling thread. */
struct Scheduling {
    int policy = sched_getscheduler(0);
    int realTimePriority = [] {
        sched_param parameter{};
        sched_getparam(0, &parameter);
        return parameter.sched_priority;
    }();
    int nice = getpriority(PRIO_PROCESS, 0);
    int timerSlackNs = prctl(PR_GET_TIMERSLACK);

    bool operator==(const Scheduling&) const = default;
};

/** Takes the right to any priority away from the calling thread, for good. */
bool giveUpPriorityRights() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {};
    if (syscall(SYS_capget, &header, data) != 0) {
        return false;
    }
    data[0].effective &= ~(1U << CAP_SYS_NICE);
    data[0].permitted &= ~(1U << CAP_SYS_NICE);
    return syscall(SYS_capset, &header, data) == 0;
}

struct Observed {
    PriorityGained gained;
    Scheduling before;
    Scheduling during;
    Scheduling after;
};

Observed observeRaise() {
    const Scheduling before;
    std::optional<Scheduling> during;
    PriorityGained gained = PriorityGained::none;
    {
        const HighestPriority priority;
        gained = priority.gained();
        during.emplace();
    }
    return {gained, before, *during, Scheduling()};
}

TEST(Priority, is_raised_and_put_back) {
    const Observed observed = observeRaise();
    EXPECT_EQ(observed.before, observed.after);
    switch (observed.gained) {
        case PriorityGained::realTime:
            EXPECT_EQ(SCHED_FIFO, observed.during.policy);
            EXPECT_GT(observed.during.realTimePriority, 0);
            break;
        case PriorityGained::nice:
            EXPECT_LT(observed.during.nice, observed.before.nice);
            break;
        case PriorityGained::none:
            EXPECT_EQ(observed.before, observed.during);
            break;
    }
}

TEST(Priority, of_a_privileged_process_goes_to_the_top) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs the right to real-time priorities";
    }
    const Observed observed = observeRaise();
    EXPECT_EQ(PriorityGained::realTime, observed.gained);
    EXPECT_EQ(sched_get_priority_max(SCHED_FIFO), observed.during.realTimePriority);
}

TEST(Priority, without_rights_is_put_back_all_the_same) {
    std::thread([] {
        ASSERT_TRUE(giveUpPriorityRights());
        const Observed observed = observeRaise();
        EXPECT_EQ(observed.before, observed.after);
    }).join();
}

TEST(Priority, puts_back_an_unusual_nice_value_and_timer_slack) {
    std::thread([] {
        setpriority(PRIO_PROCESS, 0, 7);
        prctl(PR_SET_TIMERSLACK, 123456UL);
        const Observed observed = observeRaise();
        EXPECT_EQ(7, observed.after.nice);
        EXPECT_EQ(123456, observed.after.timerSlackNs);
        EXPECT_EQ(observed.before, observed.after);
    }).join();
}

TEST(Priority, puts_back_a_batch_thread) {
    std::thread([] {
        const sched_param parameter{};
        ASSERT_EQ(0, sched_setscheduler(0, SCHED_BATCH | SCHED_RESET_ON_FORK, &parameter));
        const Observed observed = observeRaise();
        EXPECT_EQ(SCHED_BATCH | SCHED_RESET_ON_FORK, observed.after.policy);
        EXPECT_EQ(observed.before, observed.after);
    }).join();
}

TEST(Priority, of_a_thread_at_the_top_is_left_alone) {
    std::thread([] {
        sched_param parameter{};
        parameter.sched_priority = sched_get_priority_max(SCHED_FIFO);
        if (sched_setscheduler(0, SCHED_FIFO, &parameter) != 0) {
            GTEST_SKIP() << "needs the right to real-time priorities";
        }
        const Observed observed = observeRaise();
        EXPECT_EQ(PriorityGained::none, observed.gained);
        EXPECT_EQ(observed.before, observed.during);
        EXPECT_EQ(observed.before, observed.after);
    }).join();
}

TEST(Priority, may_be_raised_again_inside) {
    const Scheduling before;
    {
        const HighestPriority outer;
        const Scheduling raised;
        { const HighestPriority inner; }
        EXPECT_EQ(raised, Scheduling());
    }
    EXPECT_EQ(before, Scheduling());
}

TEST(Priority, is_the_calling_thread_s_alone) {
    std::promise<pid_t> otherId;
    std::promise<void> mayEnd;
    std::thread other([&] {
        otherId.set_value(gettid());
        mayEnd.get_future().wait();
    });
    const pid_t id = otherId.get_future().get();
    const int policy = sched_getscheduler(id);  // as the tests were started, niced or not
    const int niceValue = getpriority(PRIO_PROCESS, static_cast<id_t>(id));
    {
        const HighestPriority priority;
        EXPECT_EQ(policy, sched_getscheduler(id));
        EXPECT_EQ(niceValue, getpriority(PRIO_PROCESS, static_cast<id_t>(id)));
    }
    mayEnd.set_value();
    other.join();
}

int64_t wallClockUs() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<int64_t>(now.tv_sec) * 1'000'000 + now.tv_nsec / 1000;
}

void waitUntil(int64_t moment) {
    sleepUntilShortlyBefore(moment);
    watchTheClockUntil(moment);
}

TEST(Wait, does_not_return_before_the_moment) {
    for (const int64_t aheadUs : {0, 1, 999, 20'000}) {
        const int64_t moment = wallClockUs() + aheadUs;
        waitUntil(moment);
        EXPECT_GE(wallClockUs(), moment);
    }
}

TEST(Wait, returns_at_once_for_moments_past) {
    waitUntil(wallClockUs() - 1'000'000);
    waitUntil(0);
    waitUntil(-1);
    waitUntil(std::numeric_limits<int64_t>::min());
    SUCCEED();
}

std::atomic<int> signals;

/** A wait of 100 ms on a thread of its own, which gets a signal each millisecond. */
void waitUnderSignals() {
    std::atomic<bool> isOver = false;
    std::thread sleeper([&] {
        const int64_t moment = wallClockUs() + 100'000;
        waitUntil(moment);
        EXPECT_GE(wallClockUs(), moment);
        isOver = true;
    });
    while (!isOver) {
        pthread_kill(sleeper.native_handle(), SIGUSR1);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    sleeper.join();
}

TEST(Wait, is_not_cut_short_by_signals) {
    signals = 0;
    struct sigaction action {};
    struct sigaction before {};
    action.sa_handler = [](int) { ++signals; };
    sigaction(SIGUSR1, &action, &before);
    // On a machine under load the wait may be over before the first signal is sent.
    for (int i = 0; i < 50 && signals == 0; ++i) {
        waitUnderSignals();
    }
    sigaction(SIGUSR1, &before, nullptr);
    EXPECT_GT(signals, 0);
}

TEST(Wait, puts_the_timer_slack_back) {
    const Scheduling before;
    waitUntil(wallClockUs() + 1000);
    EXPECT_EQ(before, Scheduling());
}

}  // namespace
