/* captured_log.h: what a process has written to one of its streams, so far.
 *
 * Thread: any; one thread feeds it, others wait on it.
 * Owns:   the text.
 */
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "tests/e2e/support/patience.h"

namespace e2e {

class CapturedLog {
public:
    CapturedLog() = default;
    ~CapturedLog();
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;

    /** Takes the descriptor over and reads it to its end on a thread of its own. */
    void drain(int descriptor);
    /** Until the stream has ended and all of it is here. */
    void join();

    std::string text() const;
    size_t size() const;
    /** How often the text occurs, from the offset on. */
    size_t count(std::string_view what, size_t from = 0) const;
    /** Until the text has occurred so many times; false when the stream ends or patience runs out first. */
    bool waitFor(std::string_view what, size_t times = 1, size_t from = 0,
                 std::chrono::milliseconds patience = kPatience) const;

private:
    size_t countLocked(std::string_view what, size_t from) const;

    mutable std::mutex mutex_;
    mutable std::condition_variable grown_;
    std::string text_;    // guarded by mutex_
    bool ended_ = false;  // guarded by mutex_
    std::thread reader_;
};

}  // namespace e2e
