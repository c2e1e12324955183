#include "host/tarvo/LogForwarder.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace tarvo {
namespace {

constexpr size_t kMostLines = 10'000;
constexpr int kSliceMilliseconds = 1000;

}  // namespace

LogForwarder::LogForwarder() : thread_([this] { run(); }) {}

LogForwarder::~LogForwarder() {
    {
        const std::lock_guard lock(mutex_);
        isEnding_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void LogForwarder::add(std::string_view line) {
    {
        const std::lock_guard lock(mutex_);
        if (lines_.size() >= kMostLines) {
            ++lost_;
            return;
        }
        lines_.emplace_back(line);
    }
    changed_.notify_all();
}

void LogForwarder::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return !lines_.empty() || isEnding_; });
        if (lines_.empty()) return;
        std::string text = std::move(lines_.front()) + "\n";
        lines_.pop_front();
        if (lines_.empty() && lost_ > 0) {
            text += "tarvo: " + std::to_string(std::exchange(lost_, 0)) +
                    " lines of the helper's log were lost here, because nobody read them\n";
        }
        lock.unlock();
        const bool isTaken = write(text);
        lock.lock();
        if (!isTaken) lines_.clear();
    }
}

// Not through stdio: its lock would be held while a slow reader keeps us waiting.
bool LogForwarder::write(std::string_view text) {
    while (!text.empty()) {
        pollfd watched{STDERR_FILENO, POLLOUT, 0};
        const int ready = ::poll(&watched, 1, kSliceMilliseconds);
        if (ready == 0) {
            const std::lock_guard lock(mutex_);
            if (isEnding_) return false;
        }
        if (ready <= 0) continue;
        const ssize_t done = ::write(STDERR_FILENO, text.data(), text.size());
        if (done < 0 && errno != EINTR && errno != EAGAIN) return false;
        if (done > 0) text.remove_prefix(static_cast<size_t>(done));
    }
    return true;
}

}  // namespace tarvo
