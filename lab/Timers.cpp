#include "lab/Timers.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <system_error>
#include <utility>

#include "lab/Threads.h"

namespace lab {

namespace {

using Clock = std::chrono::steady_clock;

class Timers {
public:
    void add(int64_t delayMs, std::function<void()> action) {
        const auto due = Clock::now() + std::chrono::milliseconds(std::max<int64_t>(delayMs, 0));
        const std::lock_guard guard(mutex_);
        waiting_.emplace(due, std::move(action));
        if (isRunning_) {
            changed_.notify_one();
            return;
        }
        try {
            startThread("lab-timer", [this] { run(); });
            isRunning_ = true;
        } catch (const std::system_error&) {
            // No thread to be had at the moment: the next timer tries again and takes this one along.
        }
    }

private:
    void run() {
        std::unique_lock lock(mutex_);
        while (!waiting_.empty()) {
            const auto first = waiting_.begin();
            if (Clock::now() < first->first) {
                const auto due = first->first;
                changed_.wait_until(lock, due);
                continue;
            }
            std::function<void()> action = std::move(first->second);
            waiting_.erase(first);
            lock.unlock();
            action();
            action = nullptr;  // outside of the lock, too: what it held may set a timer when it goes
            lock.lock();
        }
        isRunning_ = false;
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::multimap<Clock::time_point, std::function<void()>> waiting_;  // guarded by mutex_, as below
    bool isRunning_ = false;
};

}  // namespace

void after(int64_t delayMs, std::function<void()> action) {
    // Never destroyed: the thread may wait while the process exits.
    static auto* timers = new Timers;
    timers->add(delayMs, std::move(action));
}

}  // namespace lab
