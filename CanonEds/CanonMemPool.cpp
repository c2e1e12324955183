/* CanonMemPool.cpp: the worker thread, on whose event queue the library delivers camera events.
 *
 * It executes no calls: it starts the library, pumps the queue, and ends the library when told to.
 */
#include "CanonEds/CanonMemPool.h"

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#include "CanonEds/CanonEdsjnilib.h"
#include "CanonEds/canon_internal.h"
#include "platform/CallScope.h"
#include "platform/Events.h"
#include "platform/Tasks.h"

namespace {

constexpr size_t kWorkerStack = 2048;
constexpr int kPolls = 100;
constexpr std::chrono::milliseconds kPollPause{100};

std::atomic<uint8_t> g_edsdk_init{0};                // set once, never cleared
std::atomic<EventQueueRef> threadQueueRef{nullptr};  // while the worker thread pumps its queue
// A host that ends the library may start it again at once: the next worker must not find the library still
// running, or have it ended under its feet by the last one.
std::mutex libraryTurn;

/** At most 10 s. */
template <class Condition>
void waitFor(Condition isMet) {
    for (int i = 0; i < kPolls && !isMet(); ++i) {
        std::this_thread::sleep_for(kPollPause);
    }
}

/** False when the thread is to end. */
bool dispatchNextEvent(EventTargetRef target) {
    const CallScope scope;
    EventRef event = nullptr;
    if (ReceiveNextEvent(0, nullptr, kEventDurationForever, true, &event) != noErr) return false;
    const bool isQuit = GetEventKind(event) == kCanonThreadQuitEvent;  // whatever its class
    if (!isQuit) SendEventToEventTarget(event, target);
    ReleaseEvent(event);
    return !isQuit;
}

/** False when there is no event to ask with. */
bool askWorkerToQuit() {
    EventRef event = nullptr;
    OSStatus status = CreateEvent(nullptr, kCanonThreadQuitEvent, kCanonThreadQuitEvent, 0.0, 0, &event);
    debug("CreateEvent status 0x%X\n", static_cast<uint32_t>(status));
    if (status != noErr) return false;
    status = PostEventToQueue(threadQueueRef, event, kEventPriorityHigh);
    debug("PostEventToQueue status 0x%X\n", static_cast<uint32_t>(status));
    ReleaseEvent(event);  // the queue holds its own
    return true;
}

void startLibrary() {
    const std::lock_guard turn(libraryTurn);
    EdsInitializeSDK();
}

void endLibrary() {
    const std::lock_guard turn(libraryTurn);
    threadQueueRef = nullptr;  // lets Mac_TerminateSDK answer; the turn is ours until the library has ended
    EdsTerminateSDK();
}

}  // namespace

OSStatus TarvoCanonThreadFunction(void*) {
    startLibrary();
    EventTargetRef target = GetEventDispatcherTarget();
    threadQueueRef = GetCurrentEventQueue();
    g_edsdk_init = 1;  // last: who waits for it may ask this thread to quit at once
    while (dispatchNextEvent(target)) {
    }
    endLibrary();
    return noErr;
}

std::unique_lock<std::mutex> keepLibrary() {
    return std::unique_lock(libraryTurn);
}

bool isLibraryInitialised() {
    return g_edsdk_init != 0;
}

jint Mac_InitializeSDK() {
    MPTaskID task{};
    const OSStatus status =
        MPCreateTask(TarvoCanonThreadFunction, nullptr, kWorkerStack, nullptr, nullptr, nullptr, 0, &task);
    debug("Creating thread 0x%X\n", static_cast<uint32_t>(status));
    if (status == noErr) waitFor(isLibraryInitialised);
    // Set in any case: later calls then fail with the library's own errors.
    g_edsdk_init = 1;
    return 0;
}

jint Mac_TerminateSDK() {
    if (threadQueueRef.load() != nullptr) {
        debug("Terminating helper thread\n");
        if (askWorkerToQuit()) {
            waitFor([] { return threadQueueRef.load() == nullptr; });
            return 0;
        }
    }
    debug("TerminateSDK 0x%X\n", g_edsdk_init.load());
    if (!isLibraryInitialised()) return 0;
    const std::lock_guard turn(libraryTurn);
    return static_cast<jint>(EdsTerminateSDK());
}
