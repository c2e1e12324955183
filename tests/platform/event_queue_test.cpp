#include <glib.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <future>
#include <thread>
#include <vector>

#include "TestEvents.h"
#include "ThreadFacts.h"

namespace {

/** Leaves the main thread's queue as it was found. */
class EventQueue : public testing::Test {
protected:
    void TearDown() override {
        while (receive() != nullptr) {
        }
    }
    const EventQueueRef queue_ = GetCurrentEventQueue();
};

TEST_F(EventQueue, of_the_main_thread_is_the_main_queue) {
    EXPECT_TRUE(IsMainThread());
    EXPECT_NE(nullptr, queue_);
    EXPECT_EQ(GetMainEventQueue(), queue_);
    EXPECT_EQ(queue_, GetCurrentEventQueue());
}

TEST_F(EventQueue, is_each_thread_s_own) {
    EventQueueRef first = nullptr;
    EventQueueRef second = nullptr;
    std::thread([&] {
        EXPECT_FALSE(IsMainThread());
        first = GetCurrentEventQueue();
        EXPECT_EQ(first, GetCurrentEventQueue());
    }).join();
    std::thread([&] { second = GetCurrentEventQueue(); }).join();
    EXPECT_NE(nullptr, first);
    EXPECT_NE(nullptr, second);
    EXPECT_NE(queue_, first);
    EXPECT_NE(first, second) << "a reference must not come to mean another thread's queue";
}

TEST_F(EventQueue, keeps_the_order_of_posting) {
    for (uint32_t kind = 1; kind <= 5; ++kind) {
        ASSERT_EQ(noErr, post(queue_, kind));
    }
    for (uint32_t kind = 1; kind <= 5; ++kind) {
        const OwnedEvent event = receive();
        ASSERT_NE(nullptr, event);
        EXPECT_EQ(kind, GetEventKind(event.get()));
    }
    EXPECT_EQ(nullptr, receive());
}

TEST_F(EventQueue, gives_out_higher_priorities_first) {
    post(queue_, 5, kEventPriorityLow);
    post(queue_, 3, kEventPriorityStandard);
    post(queue_, 1, kEventPriorityHigh);
    post(queue_, 6, kEventPriorityLow);
    post(queue_, 4, kEventPriorityStandard);
    post(queue_, 2, kEventPriorityHigh);
    for (uint32_t kind = 1; kind <= 6; ++kind) {
        const OwnedEvent event = receive();
        ASSERT_NE(nullptr, event);
        EXPECT_EQ(kind, GetEventKind(event.get()));
    }
}

TEST_F(EventQueue, refuses_a_priority_that_is_none) {
    const OwnedEvent event = makeEvent(1);
    EXPECT_EQ(paramErr, PostEventToQueue(queue_, event.get(), static_cast<EventPriority>(3)));
    EXPECT_EQ(paramErr, PostEventToQueue(queue_, event.get(), static_cast<EventPriority>(-1)));
    EXPECT_EQ(nullptr, receive());
}

TEST_F(EventQueue, refuses_no_event_and_no_queue) {
    const OwnedEvent event = makeEvent(1);
    EXPECT_EQ(paramErr, PostEventToQueue(queue_, nullptr, kEventPriorityStandard));
    EXPECT_EQ(paramErr, PostEventToQueue(nullptr, event.get(), kEventPriorityStandard));
    EXPECT_EQ(paramErr, PostEventToQueue(reinterpret_cast<EventQueueRef>(event.get()), event.get(),
                                         kEventPriorityStandard));
}

TEST_F(EventQueue, takes_an_event_again_only_after_it_was_received) {
    const OwnedEvent event = makeEvent(1);
    ASSERT_EQ(noErr, PostEventToQueue(queue_, event.get(), kEventPriorityStandard));
    EXPECT_EQ(eventAlreadyPostedErr, PostEventToQueue(queue_, event.get(), kEventPriorityHigh));
    EXPECT_EQ(event.get(), receive().get());
    EXPECT_EQ(noErr, PostEventToQueue(queue_, event.get(), kEventPriorityStandard));
}

TEST_F(EventQueue, filters_by_class_and_kind_and_keeps_the_others) {
    post(queue_, 1);
    post(queue_, 2);
    const EventTypeSpec wanted[] = {{fourCC("else"), 1}, {kTestClass, 2}};
    EventRef event = nullptr;
    ASSERT_EQ(noErr, ReceiveNextEvent(2, wanted, 0, true, &event));
    EXPECT_EQ(2U, GetEventKind(OwnedEvent(event).get()));
    EXPECT_EQ(eventLoopTimedOutErr, ReceiveNextEvent(2, wanted, 0, true, &event));
    EXPECT_EQ(1U, GetEventKind(receive().get()));
}

TEST_F(EventQueue, lends_an_event_that_is_not_pulled) {
    post(queue_, 9);
    EventRef lent = nullptr;
    EventRef again = nullptr;
    ASSERT_EQ(noErr, ReceiveNextEvent(0, nullptr, 0, false, &lent));
    ASSERT_EQ(noErr, ReceiveNextEvent(0, nullptr, 0, false, &again));
    EXPECT_EQ(lent, again);
    EXPECT_EQ(lent, receive().get());
    EXPECT_EQ(nullptr, receive());
}

TEST_F(EventQueue, times_out_without_touching_the_output) {
    EventRef event = nullptr;
    EXPECT_EQ(eventLoopTimedOutErr, ReceiveNextEvent(0, nullptr, kEventDurationNoWait, true, &event));
    EXPECT_EQ(eventLoopTimedOutErr, ReceiveNextEvent(0, nullptr, 0.01, true, &event));
    EXPECT_EQ(nullptr, event);
}

TEST_F(EventQueue, never_times_out_early) {
    const auto start = std::chrono::steady_clock::now();
    EventRef event = nullptr;
    EXPECT_EQ(eventLoopTimedOutErr, ReceiveNextEvent(0, nullptr, 0.05, true, &event));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50));
}

TEST_F(EventQueue, takes_huge_timeouts_for_what_they_are) {
    std::thread poster([this] { post(queue_, 1); });
    EXPECT_NE(nullptr, receive(1e300));
    poster.join();
}

TEST_F(EventQueue, refuses_arguments_that_mean_nothing) {
    EventRef event = nullptr;
    EXPECT_EQ(paramErr, ReceiveNextEvent(0, nullptr, 0, true, nullptr));
    EXPECT_EQ(paramErr, ReceiveNextEvent(1, nullptr, 0, true, &event));
    EXPECT_EQ(paramErr, ReceiveNextEvent(0, nullptr, std::nan(""), true, &event));
}

TEST_F(EventQueue, serves_the_thread_s_other_sources_while_it_waits) {
    // A source of the default context, as GTK's are; it posts the event that ends the wait.
    g_idle_add(
        [](gpointer queue) -> gboolean {
            post(static_cast<EventQueueRef>(queue), 8);
            return G_SOURCE_REMOVE;
        },
        queue_);
    const OwnedEvent event = receive(kEventDurationForever);
    ASSERT_NE(nullptr, event);
    EXPECT_EQ(8U, GetEventKind(event.get()));
}

/** A thread that receives until the quit event (kind 0) and then ends. */
class Receiver {
public:
    Receiver() {
        std::promise<void> isReady;
        thread_ = std::thread([this, &isReady] {
            queue_ = GetCurrentEventQueue();
            id_ = gettid();
            isReady.set_value();
            run();
        });
        isReady.get_future().wait();
    }
    ~Receiver() { stop(); }

    void stop() {
        if (thread_.joinable()) {
            post(queue_, 0, kEventPriorityLow);
            thread_.join();
        }
    }
    EventQueueRef queue() const { return queue_; }
    pid_t id() const { return id_; }
    /// After stop().
    const std::vector<uint32_t>& kinds() const { return kinds_; }

private:
    void run() {
        for (;;) {
            const OwnedEvent event = receive(kEventDurationForever);
            if (event == nullptr || GetEventKind(event.get()) == 0) {
                return;
            }
            kinds_.push_back(GetEventKind(event.get()));
        }
    }

    std::thread thread_;
    EventQueueRef queue_ = nullptr;
    pid_t id_ = 0;
    std::vector<uint32_t> kinds_;
};

TEST(EventQueueAcrossThreads, wakes_its_owner) {
    Receiver receiver;
    ASSERT_TRUE(eventually([&] { return isAsleep(receiver.id()); }));
    ASSERT_EQ(noErr, post(receiver.queue(), 17));
    receiver.stop();
    EXPECT_EQ(std::vector<uint32_t>{17}, receiver.kinds());
}

TEST(EventQueueAcrossThreads, wakes_an_owner_that_waits_with_a_limit) {
    std::promise<EventQueueRef> queue;
    std::thread waiter([&] {
        queue.set_value(GetCurrentEventQueue());
        EXPECT_NE(nullptr, receive(3600));
    });
    EXPECT_EQ(noErr, post(queue.get_future().get(), 1));
    waiter.join();
}

TEST(EventQueueAcrossThreads, loses_nothing_and_keeps_each_poster_s_order) {
    constexpr uint32_t kPosters = 4;
    constexpr uint32_t kEach = 2000;
    Receiver receiver;
    std::vector<std::thread> posters;
    for (uint32_t poster = 1; poster <= kPosters; ++poster) {
        posters.emplace_back([&receiver, poster] {
            for (uint32_t i = 0; i < kEach; ++i) {
                ASSERT_EQ(noErr, post(receiver.queue(), poster << 16 | i));
            }
        });
    }
    for (std::thread& poster : posters) {
        poster.join();
    }
    receiver.stop();
    std::array<uint32_t, kPosters + 1> next{};
    for (const uint32_t kind : receiver.kinds()) {
        EXPECT_EQ(next.at(kind >> 16)++, kind & 0xFFFF);
    }
    EXPECT_EQ(kPosters * kEach, receiver.kinds().size());
}

TEST(EventQueueAcrossThreads, hands_parameters_over) {
    std::promise<EventQueueRef> queue;
    int read = 0;
    std::thread reader([&] {
        queue.set_value(GetCurrentEventQueue());
        const OwnedEvent event = receive(kEventDurationForever);
        GetEventParameter(event.get(), fourCC("numb"), fourCC("long"), nullptr, sizeof(read), nullptr, &read);
    });
    OwnedEvent event = makeEvent(1);
    const int number = 4711;
    SetEventParameter(event.get(), fourCC("numb"), fourCC("long"), sizeof(number), &number);
    PostEventToQueue(queue.get_future().get(), event.get(), kEventPriorityStandard);
    event.reset();
    reader.join();
    EXPECT_EQ(number, read);
}

TEST(EventQueueAcrossThreads, of_an_ended_thread_refuses) {
    EventQueueRef queue = nullptr;
    std::thread([&] { queue = GetCurrentEventQueue(); }).join();
    const OwnedEvent event = makeEvent(1);
    EXPECT_EQ(paramErr, PostEventToQueue(queue, event.get(), kEventPriorityHigh));
    EXPECT_EQ(noErr, PostEventToQueue(GetMainEventQueue(), event.get(), kEventPriorityHigh))
        << "a refused event is free for another queue";
    EXPECT_EQ(event.get(), receive().get());
}

TEST(EventQueueAcrossThreads, releases_what_its_thread_left_unread) {
    // The leak checker sees the event if its queue keeps it, and here its use shows if it was freed too
    // often.
    const OwnedEvent event = makeEvent(1);
    std::thread([&] {
        PostEventToQueue(GetCurrentEventQueue(), event.get(), kEventPriorityStandard);
    }).join();
    EXPECT_EQ(noErr, PostEventToQueue(GetMainEventQueue(), event.get(), kEventPriorityStandard));
    EXPECT_EQ(event.get(), receive().get());
}

TEST(EventQueueAcrossThreads, may_end_at_any_moment_of_posting) {
    for (int round = 0; round < 200; ++round) {
        std::promise<EventQueueRef> queue;
        std::thread shortLived([&] { queue.set_value(GetCurrentEventQueue()); });
        const EventQueueRef posted = queue.get_future().get();
        OSStatus status = noErr;
        while (status == noErr) {
            status = post(posted, 1);
        }
        EXPECT_EQ(paramErr, status);
        shortLived.join();
    }
}

TEST(EventQueueAcrossThreads, leaves_no_descriptor_behind) {
    std::thread([] { GetCurrentEventQueue(); }).join();
    const long before = descriptorCount();
    for (int i = 0; i < 50; ++i) {
        std::thread([] { receive(); }).join();
    }
    EXPECT_EQ(before, descriptorCount());
}

TEST(EventQueueAcrossThreads, does_not_wake_while_nothing_happens) {
    Receiver receiver;
    ASSERT_TRUE(eventually([&] { return isAsleep(receiver.id()); }));
    const std::string before = threadStatus(receiver.id(), "voluntary_ctxt_switches");
    // A thread that looks around now and then would have slept and woken several times.
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_EQ(before, threadStatus(receiver.id(), "voluntary_ctxt_switches"));
}

TEST(EventQueueAcrossThreads, uses_the_loop_that_the_thread_already_had) {
    GMainContext* const context = g_main_context_new();
    std::thread([context] {
        g_main_context_push_thread_default(context);
        std::thread([queue = GetCurrentEventQueue()] { post(queue, 5); }).join();
        EXPECT_EQ(5U, GetEventKind(receive(kEventDurationForever).get()));
        g_main_context_pop_thread_default(context);
    }).join();
    g_main_context_unref(context);
}

}  // namespace
