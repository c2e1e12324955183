#include "frameworks/QTKit/gstreamer/Seat.h"

namespace capture {

bool Seat::enter(const Flag& isLeaving, std::chrono::milliseconds patience) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, patience, [&] { return holder_ == nullptr || !*holder_ || isLeaving; });
    if (holder_ != nullptr || isLeaving) return false;
    holder_ = &isLeaving;
    return true;
}

void Seat::leave() {
    {
        const std::lock_guard guard(mutex_);
        holder_ = nullptr;
    }
    changed_.notify_all();
}

void Seat::wake() {
    // Through the lock, so that a waiter is either before its look at the flag or already asleep.
    { const std::lock_guard guard(mutex_); }
    changed_.notify_all();
}

bool Seat::isTaken() const {
    const std::lock_guard guard(mutex_);
    return holder_ != nullptr;
}

}  // namespace capture
