/* captured_log.h: what a process has written to one of its streams, so far.
 *
 * What the process wrote before a question is asked is part of the answer: after a reply has come, the
 * lines that were logged before it are there to be counted, without a wait.
 *
 * Thread: any; one thread drains the stream so that the process never blocks on it.
 * Owns:   the text and the descriptor.
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

    /** Takes the reading end of a pipe over and reads it to its end. */
    void drain(int descriptor);
    /** Until the stream has ended and all of it is here. */
    void join();

    std::string text();
    /** The text from the offset on. */
    std::string since(size_t from);
    size_t size();
    /** How often the text occurs, from the offset on. */
    size_t count(std::string_view what, size_t from = 0);
    /** Until the text has occurred so many times; false when the stream ends or patience runs out first. */
    bool waitFor(std::string_view what, size_t times = 1, size_t from = 0,
                 std::chrono::milliseconds patience = kPatience);

private:
    void pullLocked();
    size_t countLocked(std::string_view what, size_t from) const;

    std::mutex mutex_;
    std::condition_variable grown_;
    std::string text_;    // guarded by mutex_
    bool ended_ = false;  // guarded by mutex_
    int descriptor_ = -1;
    std::thread reader_;
};

}  // namespace e2e
