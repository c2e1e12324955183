#include "platform/Tasks.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <array>
#include <atomic>
#include <condition_variable>
#include <future>
#include <limits>
#include <mutex>
#include <thread>

#include "ThreadFacts.h"
#include "platform/Events.h"

namespace {

OSStatus start(TaskProc entry, void* parameter, size_t stackSize = 2048) {
    return MPCreateTask(entry, parameter, stackSize, nullptr, nullptr, nullptr, 0, nullptr);
}

/** The thread sanitizer starts one of its own with the first that a process starts. */
long threadsToBeginWith() {
    std::thread([] {}).join();
    return threadCount();
}

/** Makes its task's threads go before the test does, so that none is left to the next one's counts. */
class Tasks : public testing::Test {
protected:
    void TearDown() override {
        EXPECT_TRUE(eventually([this] { return threadCount() == threadsBefore_; }));
    }
    const long threadsBefore_ = threadsToBeginWith();
};

TEST_F(Tasks, run_on_a_thread_of_their_own_with_their_parameter) {
    struct Seen {
        std::promise<pthread_t> thread;
    } seen;
    ASSERT_EQ(noErr, start(
                         [](void* parameter) -> OSStatus {
                             static_cast<Seen*>(parameter)->thread.set_value(pthread_self());
                             return noErr;
                         },
                         &seen));
    EXPECT_FALSE(pthread_equal(pthread_self(), seen.thread.get_future().get()));
}

TEST_F(Tasks, get_numbers_that_name_their_threads) {
    struct Named {
        std::promise<std::string> name;
    } named;
    MPTaskID first = 0;
    MPTaskID second = 0;
    const TaskProc tellName = [](void* parameter) -> OSStatus {
        std::array<char, 16> name{};
        pthread_getname_np(pthread_self(), name.data(), name.size());
        static_cast<Named*>(parameter)->name.set_value(name.data());
        return noErr;
    };
    MPCreateTask([](void*) -> OSStatus { return noErr; }, nullptr, 0, nullptr, nullptr, nullptr, 0, &first);
    MPCreateTask(tellName, &named, 0, nullptr, nullptr, nullptr, 0, &second);
    EXPECT_EQ(first + 1, second);
    EXPECT_EQ("task " + std::to_string(second), named.name.get_future().get());
}

TEST_F(Tasks, have_room_to_work_however_small_a_stack_was_asked_for) {
    std::promise<int> sum;
    ASSERT_EQ(noErr, start(
                         [](void* parameter) -> OSStatus {
                             volatile char room[256 * 1024];
                             for (size_t i = 0; i < sizeof(room); i += 1024) {
                                 room[i] = 1;
                             }
                             int total = 0;
                             for (size_t i = 0; i < sizeof(room); i += 1024) {
                                 total += room[i];
                             }
                             static_cast<std::promise<int>*>(parameter)->set_value(total);
                             return noErr;
                         },
                         &sum, 1));
    EXPECT_EQ(256, sum.get_future().get());
}

TEST_F(Tasks, get_the_large_stack_that_they_ask_for) {
    constexpr size_t kLarge = 16 * 1024 * 1024;
    std::promise<size_t> size;
    ASSERT_EQ(noErr, start(
                         [](void* parameter) -> OSStatus {
                             pthread_attr_t attributes;
                             size_t bytes = 0;
                             pthread_getattr_np(pthread_self(), &attributes);
                             pthread_attr_getstacksize(&attributes, &bytes);
                             pthread_attr_destroy(&attributes);
                             static_cast<std::promise<size_t>*>(parameter)->set_value(bytes);
                             return noErr;
                         },
                         &size, kLarge));
    EXPECT_GE(size.get_future().get(), kLarge);
}

TEST_F(Tasks, that_cannot_be_had_are_reported) {
    MPTaskID id = 77;
    const TaskProc never = [](void*) -> OSStatus {
        ADD_FAILURE() << "ran all the same";
        return noErr;
    };
    EXPECT_EQ(kMPInsufficientResourcesErr,
              MPCreateTask(never, nullptr, std::numeric_limits<size_t>::max() / 2, nullptr, nullptr, nullptr,
                           0, &id));
    EXPECT_EQ(kMPInsufficientResourcesErr, MPCreateTask(never, nullptr, std::numeric_limits<size_t>::max(),
                                                        nullptr, nullptr, nullptr, 0, &id));
    EXPECT_EQ(77U, id);
}

TEST_F(Tasks, refuse_what_they_cannot_do) {
    const TaskProc entry = [](void*) -> OSStatus { return noErr; };
    int queue = 0;
    EXPECT_EQ(paramErr, start(nullptr, nullptr));
    EXPECT_EQ(paramErr, MPCreateTask(entry, nullptr, 0, &queue, nullptr, nullptr, 0, nullptr));
    EXPECT_EQ(paramErr, MPCreateTask(entry, nullptr, 0, nullptr, nullptr, nullptr, 1, nullptr));
}

/** Holds many tasks at once until it is opened. Those who wait at it are woken once, not at every arrival. */
struct Gate {
    std::mutex lock;
    std::condition_variable changed;  // for the one who counts
    std::condition_variable opened;
    int waiting = 0;
    bool isOpen = false;

    static OSStatus pass(void* parameter) {
        auto& gate = *static_cast<Gate*>(parameter);
        std::unique_lock guard(gate.lock);
        ++gate.waiting;
        gate.changed.notify_one();
        gate.opened.wait(guard, [&gate] { return gate.isOpen; });
        --gate.waiting;
        gate.changed.notify_one();
        return noErr;
    }
};

#if defined(__SANITIZE_THREAD__)
constexpr int kMany = 200;  // the sanitizer's own work on a thousand threads takes most of a minute
#else
constexpr int kMany = 1000;
#endif

TEST_F(Tasks, run_a_crowd_at_once_and_leave_nothing_behind) {
    const long descriptorsBefore = descriptorCount();
    Gate gate;
    for (int i = 0; i < kMany; ++i) {
        ASSERT_EQ(noErr, start(Gate::pass, &gate, 4096));
    }
    {
        std::unique_lock guard(gate.lock);
        gate.changed.wait(guard, [&gate] { return gate.waiting == kMany; });
        gate.isOpen = true;
        gate.opened.notify_all();
        gate.changed.wait(guard, [&gate] { return gate.waiting == 0; });
    }
    ASSERT_TRUE(eventually([this] { return threadCount() == threadsBefore_; }));
    EXPECT_EQ(descriptorsBefore, descriptorCount());
}

OSStatus lookIntoTheQueue(void* ended) {
    EventRef event = nullptr;
    ReceiveNextEvent(0, nullptr, kEventDurationNoWait, true, &event);
    ++*static_cast<std::atomic<int>*>(ended);
    return noErr;
}

TEST_F(Tasks, take_their_event_queue_with_them) {
    std::atomic<int> ended = 0;
    const auto runTasks = [&](int count) {
        ended = 0;
        for (int i = 0; i < count; ++i) {
            ASSERT_EQ(noErr, start(lookIntoTheQueue, &ended));
        }
        ASSERT_TRUE(eventually([&] { return ended == count && threadCount() == threadsBefore_; }));
    };
    runTasks(1);  // what the first queue of a process opens stays open for all
    const long descriptorsBefore = descriptorCount();
    runTasks(100);
    EXPECT_EQ(descriptorsBefore, descriptorCount());
}

}  // namespace
