#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
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

/** What is written to standard output, as it is written. */
class StandardOutput {
public:
    StandardOutput() {
        std::fflush(stdout);
        kept_ = dup(STDOUT_FILENO);
        EXPECT_EQ(pipe(ends_), 0);
        dup2(ends_[1], STDOUT_FILENO);
    }
    ~StandardOutput() {
        std::fflush(stdout);
        dup2(kept_, STDOUT_FILENO);
        for (const int descriptor : {kept_, ends_[0], ends_[1]}) {
            close(descriptor);
        }
    }
    StandardOutput(const StandardOutput&) = delete;
    StandardOutput& operator=(const StandardOutput&) = delete;

    void readUntil(const std::string& end) const {
        std::string text;
        char next = 0;
        while (!text.ends_with(end) && read(ends_[0], &next, 1) == 1) {
            text += next;
        }
    }

private:
    int kept_ = -1;
    int ends_[2] = {-1, -1};
};

std::atomic<bool> isHeldUp{false};
std::atomic<bool> mayGoOn{false};
std::atomic<int> servedBehind{0};

OSStatus holdUp(EventHandlerCallRef, EventRef, void*) {
    isHeldUp = true;
    while (!mayGoOn) {
        std::this_thread::yield();
    }
    return noErr;
}

OSStatus count(EventHandlerCallRef, EventRef, void*) {
    ++servedBehind;
    return noErr;
}

void post(uint32_t kind) {
    EventRef event = nullptr;
    ASSERT_EQ(CreateEvent(nullptr, fourCC("test"), kind, 0, 0, &event), noErr);
    EXPECT_EQ(PostEventToQueue(queueOfTheLoop, event, kEventPriorityStandard), noErr);
    ReleaseEvent(event);
}

TEST(CanonWorkerThread, EndsBeforeTheEventsThatWait) {
    constexpr EventTypeSpec kHoldUp = {fourCC("test"), 1};
    constexpr EventTypeSpec kCount = {fourCC("test"), 2};
    InstallEventHandler(GetEventDispatcherTarget(), holdUp, 1, &kHoldUp, nullptr, nullptr);
    InstallEventHandler(GetEventDispatcherTarget(), count, 1, &kCount, nullptr, nullptr);
    queueOfTheLoop = nullptr;
    std::thread worker([] {
        queueOfTheLoop = GetCurrentEventQueue();
        TarvoCanonThreadFunction(nullptr);
    });
    while (queueOfTheLoop.load() == nullptr) {
        std::this_thread::yield();
    }
    post(1);
    while (!isHeldUp) {
        std::this_thread::yield();
    }
    post(2);
    const StandardOutput output;
    std::thread host([] { EXPECT_EQ(Mac_TerminateSDK(), 0); });
    output.readUntil("PostEventToQueue status 0x0\n");
    mayGoOn = true;
    worker.join();
    host.join();
    EXPECT_EQ(servedBehind, 0);
}

}  // namespace
