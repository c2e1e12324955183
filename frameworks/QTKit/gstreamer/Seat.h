/* Seat.h: from one device streams one stream at a time.
 *
 * A stream that was stopped may still be letting go of the device when the next one begins, since nobody
 * waits for its end. The next one does, here, on its own thread.
 *
 * Thread: any. The lock is a leaf.
 */
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace capture {

class Seat {
public:
    using Flag = std::atomic<bool>;

    /** True when it is the caller's, until leave(). `isLeaving` turns true when the caller is to go, and
     * stays readable for as long as it sits there. False at once when somebody is there to stay; false as
     * well when the one who goes has not gone in time, or the caller is to go itself while it waits. */
    bool enter(const Flag& isLeaving, std::chrono::milliseconds patience);
    void leave();
    /** For who is to go: waiting streams look again. */
    void wake();
    bool isTaken() const;

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    const Flag* holder_ = nullptr;  // guarded by mutex_
};

}  // namespace capture
