#include "TarvoRemote/sleepUntil.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

#include "platform/Priority.h"

namespace {

int64_t wallClockUs() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}

/** Keeps a deadline clear of the moment, once in 71 minutes, at which the low 32 bits start again. */
void awaitRoomBeforeWrap(uint32_t needed) {
    while (static_cast<uint32_t>(wallClockUs()) > 0xFFFFFFFFU - needed) {
        const timespec pause = {0, 10000000};
        nanosleep(&pause, nullptr);
    }
}

std::string logOf(int64_t deadline) {
    testing::internal::CaptureStderr();
    sleepUntil(deadline);
    return testing::internal::GetCapturedStderr();
}

TEST(SleepUntil, WaitsForADeadlineAhead) {
    awaitRoomBeforeWrap(1000000);
    const int64_t deadline = wallClockUs() + 60000;
    const std::string log = logOf(deadline);
    EXPECT_GE(wallClockUs(), deadline);
    EXPECT_EQ(log.find("TarvoRemote: Slept for interval = 0.0"), 0U) << log;
}

TEST(SleepUntil, OnlyTheLowBitsOfTheDeadlineCount) {
    awaitRoomBeforeWrap(1000000);
    const int64_t deadline = wallClockUs() + 60000;
    const std::string log = logOf(deadline & 0xFFFFFFFF);
    EXPECT_GE(wallClockUs(), deadline);
    EXPECT_EQ(log.find("TarvoRemote: Slept for interval = 0.0"), 0U) << log;
}

TEST(SleepUntil, DoesNotWaitFiveSecondsOrMore) {
    awaitRoomBeforeWrap(10000000);
    const int64_t start = wallClockUs();
    const std::string log = logOf(start + 5500000);
    EXPECT_LT(wallClockUs(), start + 5000000);
    EXPECT_EQ(log.find("TarvoRemote: Did not sleep, interval = 5."), 0U) << log;
}

TEST(SleepUntil, DoesNotWaitForThePast) {
    const int64_t past = wallClockUs() - 1000;
    const std::string log = logOf(past);
    EXPECT_EQ(log.find("TarvoRemote: Did not sleep, microTime=" + std::to_string(past) + ", result="), 0U)
        << log;
}

TEST(SleepUntil, TellsThePresentByItsLowBits) {
    awaitRoomBeforeWrap(1000000);
    const auto before = static_cast<uint32_t>(wallClockUs());
    const std::string log = logOf(before - 1);
    const auto after = static_cast<uint32_t>(wallClockUs());
    const std::string kBefore = "result=";
    const auto told = std::stoll(log.substr(log.find(kBefore) + kBefore.size()));
    EXPECT_GE(told, before);
    EXPECT_LE(told, after);
}

struct Scheduling {
    int policy;
    int nice;

    bool operator==(const Scheduling&) const = default;
};

Scheduling schedulingOf(pid_t thread) {
    return {sched_getscheduler(thread), getpriority(PRIO_PROCESS, static_cast<id_t>(thread))};
}

TEST(SleepUntil, WaitsAtTheHighestPriority) {
    if (HighestPriority().gained() == PriorityGained::none) {
        GTEST_SKIP() << "the system permits no higher priority";
    }
    const Scheduling ordinary = schedulingOf(gettid());
    std::atomic<pid_t> sleeper{0};
    std::atomic<bool> isSeen{false};
    std::thread thread([&] {
        sleeper = gettid();
        while (!isSeen) {
            sleepUntil(wallClockUs() + 50000);
        }
    });
    const auto isRaised = [&] { return sleeper != 0 && !(schedulingOf(sleeper) == ordinary); };
    constexpr int64_t kPatience = 60000000;
    const int64_t end = wallClockUs() + kPatience;
    bool wasRaised = isRaised();
    while (!wasRaised && wallClockUs() < end) {
        std::this_thread::yield();
        wasRaised = isRaised();
    }
    isSeen = true;
    thread.join();
    EXPECT_TRUE(wasRaised);
}

TEST(SleepUntil, RestoresTheThreadsPriority) {
    int policyBefore = 0;
    sched_param before{};
    pthread_getschedparam(pthread_self(), &policyBefore, &before);
    logOf(wallClockUs() + 1000);
    int policyAfter = -1;
    sched_param after{};
    pthread_getschedparam(pthread_self(), &policyAfter, &after);
    EXPECT_EQ(policyAfter, policyBefore);
    EXPECT_EQ(after.sched_priority, before.sched_priority);
}

}  // namespace
