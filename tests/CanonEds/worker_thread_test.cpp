#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "CanonEds/CanonEdsjnilib.h"
#include "CanonEds/CanonMemPool.h"
#include "platform/Events.h"

namespace {

std::string logOf(jint (*call)(), jint expected) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(call(), expected);
    return testing::internal::GetCapturedStdout();
}

// One story, in order: the library's start and end are process-wide.
TEST(CanonWorkerThread, StartsOnceTerminatesTwiceAndStartsAgain) {
    EXPECT_EQ(logOf(Mac_TerminateSDK, 0), "CanonEds: TerminateSDK 0x0\n") << "before any start";
    EXPECT_FALSE(isLibraryInitialised());

    EXPECT_EQ(logOf(Mac_InitializeSDK, 0), "CanonEds: Creating thread 0x0\n");
    EXPECT_TRUE(isLibraryInitialised());

    EXPECT_EQ(logOf(Mac_TerminateSDK, 0),
              "CanonEds: Terminating helper thread\n"
              "CanonEds: CreateEvent status 0x0\n"
              "CanonEds: PostEventToQueue status 0x0\n");
    EXPECT_TRUE(isLibraryInitialised()) << "never goes back";

    // The thread has gone, so the library is ended here; it says that it had been ended already.
    testing::internal::CaptureStdout();
    EXPECT_NE(Mac_TerminateSDK(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "CanonEds: TerminateSDK 0x1\n");

    EXPECT_EQ(logOf(Mac_InitializeSDK, 0), "CanonEds: Creating thread 0x0\n");
}

std::atomic<EventQueueRef> queueOfTheLoop{nullptr};
std::atomic<bool> hasEnded{false};

TEST(CanonWorkerThread, EndsAtTheQuitKindWhateverTheClass) {
    std::thread worker([] {
        queueOfTheLoop = GetCurrentEventQueue();
        EXPECT_EQ(TarvoCanonThreadFunction(nullptr), 0);
        hasEnded = true;
    });
    while (queueOfTheLoop.load() == nullptr) {
        std::this_thread::yield();
    }
    EventRef other = nullptr;
    ASSERT_EQ(CreateEvent(nullptr, kCanonThreadQuitEvent, 7, 0, 0, &other), noErr);
    EXPECT_EQ(PostEventToQueue(queueOfTheLoop, other, kEventPriorityStandard), noErr);
    ReleaseEvent(other);
    EXPECT_FALSE(hasEnded) << "the class alone does not end it";

    EventRef quit = nullptr;
    ASSERT_EQ(CreateEvent(nullptr, fourCC("else"), 0x1251976, 0, 0, &quit), noErr);
    EXPECT_EQ(PostEventToQueue(queueOfTheLoop, quit, kEventPriorityStandard), noErr);
    ReleaseEvent(quit);
    worker.join();
    EXPECT_TRUE(hasEnded);
}

}  // namespace
