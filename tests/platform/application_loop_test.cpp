#include <glib.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "TestEvents.h"

namespace {

std::vector<uint32_t> served;

OSStatus noteKind(EventHandlerCallRef, EventRef event, void*) {
    served.push_back(GetEventKind(event));
    return noErr;
}

class ApplicationLoop : public testing::Test {
protected:
    void SetUp() override {
        served.clear();
        const EventTypeSpec types[] = {{kTestClass, 1}, {kTestClass, 2}, {kTestClass, 3}};
        InstallEventHandler(GetApplicationEventTarget(), noteKind, 3, types, nullptr, &handler_);
    }
    void TearDown() override { RemoveEventHandler(handler_); }

    EventHandlerRef handler_ = nullptr;
};

TEST_F(ApplicationLoop, serves_what_was_posted_before_it_quits) {
    post(GetMainEventQueue(), 2);
    post(GetMainEventQueue(), 1, kEventPriorityHigh);
    QuitApplicationEventLoop();
    post(GetMainEventQueue(), 3);
    RunApplicationEventLoop();
    EXPECT_EQ((std::vector<uint32_t>{1, 2}), served);
    QuitApplicationEventLoop();
    RunApplicationEventLoop();
    EXPECT_EQ((std::vector<uint32_t>{1, 2, 3}), served);
}

TEST_F(ApplicationLoop, serves_events_of_other_threads_and_quits_when_they_ask) {
    std::thread poster([] {
        post(GetMainEventQueue(), 1);
        post(GetMainEventQueue(), 2);
        QuitApplicationEventLoop();
    });
    RunApplicationEventLoop();
    poster.join();
    EXPECT_EQ((std::vector<uint32_t>{1, 2}), served);
}

TEST_F(ApplicationLoop, drops_events_that_nobody_handles_and_goes_on) {
    post(GetMainEventQueue(), 99);
    post(GetMainEventQueue(), 1);
    QuitApplicationEventLoop();
    RunApplicationEventLoop();
    EXPECT_EQ(std::vector<uint32_t>{1}, served);
    EXPECT_EQ(nullptr, receive());
}

TEST_F(ApplicationLoop, quits_innermost_first) {
    EventHandlerRef nested = nullptr;
    const EventTypeSpec type[] = {{kTestClass, 7}};
    InstallEventHandler(
        GetApplicationEventTarget(),
        [](EventHandlerCallRef, EventRef, void*) -> OSStatus {
            post(GetMainEventQueue(), 1);
            QuitApplicationEventLoop();
            RunApplicationEventLoop();
            served.push_back(70);
            QuitApplicationEventLoop();
            return noErr;
        },
        1, type, nullptr, &nested);
    post(GetMainEventQueue(), 7);
    RunApplicationEventLoop();
    RemoveEventHandler(nested);
    EXPECT_EQ((std::vector<uint32_t>{1, 70}), served);
}

TEST_F(ApplicationLoop, runs_on_the_main_thread_alone) {
    std::thread([] { RunApplicationEventLoop(); }).join();
    SUCCEED() << "it returned";
}

TEST_F(ApplicationLoop, draws_windows_under_a_steady_stream_of_events) {
    // Each event posts the next one; a source of the default context, as a window's are, ends the stream.
    EventHandlerRef stream = nullptr;
    const EventTypeSpec type[] = {{kTestClass, 8}};
    InstallEventHandler(
        GetApplicationEventTarget(),
        [](EventHandlerCallRef, EventRef, void*) -> OSStatus {
            post(GetMainEventQueue(), 8);
            return noErr;
        },
        1, type, nullptr, &stream);
    g_idle_add(
        [](gpointer) -> gboolean {
            QuitApplicationEventLoop();
            return G_SOURCE_REMOVE;
        },
        nullptr);
    post(GetMainEventQueue(), 8);
    RunApplicationEventLoop();
    RemoveEventHandler(stream);
    EXPECT_NE(nullptr, receive()) << "the stream still ran";
}

}  // namespace
