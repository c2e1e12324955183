/* LogForwarder.h: the helper's log, passed on without ever holding the helper up.
 *
 * Whoever reads our standard error may be slow or asleep. Lines wait in a queue of bounded length; what does
 * not fit is counted and told.
 *
 * Thread: add() from any; a thread of its own writes.
 */
#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace tarvo {

class LogForwarder {
public:
    LogForwarder();
    LogForwarder(const LogForwarder&) = delete;
    LogForwarder& operator=(const LogForwarder&) = delete;
    /** Writes what still waits, unless the reader does not take it within a second. */
    ~LogForwarder();

    void add(std::string_view line);

private:
    void run();
    /** False: nobody takes it, and we are ending or the stream is broken. */
    bool write(std::string_view text);

    std::mutex mutex_;  // guards what follows; not held while writing
    std::condition_variable changed_;
    std::deque<std::string> lines_;
    size_t lost_ = 0;
    bool isEnding_ = false;
    std::thread thread_;
};

}  // namespace tarvo
