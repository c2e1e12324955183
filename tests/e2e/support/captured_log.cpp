#include "tests/e2e/support/captured_log.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

namespace e2e {

CapturedLog::~CapturedLog() {
    join();
}

void CapturedLog::drain(int descriptor) {
    ::fcntl(descriptor, F_SETFL, O_NONBLOCK);
    descriptor_ = descriptor;
    reader_ = std::thread([this, descriptor] {
        for (;;) {
            pollfd waiting{descriptor, POLLIN, 0};
            ::poll(&waiting, 1, -1);
            const std::lock_guard lock(mutex_);
            pullLocked();
            if (ended_) return;
        }
    });
}

void CapturedLog::pullLocked() {
    std::array<char, 65536> piece;
    while (descriptor_ >= 0 && !ended_) {
        const ssize_t got = ::read(descriptor_, piece.data(), piece.size());
        if (got > 0) {
            text_.append(piece.data(), static_cast<size_t>(got));
        } else if (got < 0 && errno == EINTR) {
            continue;
        } else if (got < 0 && errno == EAGAIN) {
            break;
        } else {
            ended_ = true;
        }
    }
    grown_.notify_all();
}

void CapturedLog::join() {
    if (!reader_.joinable()) return;
    reader_.join();
    // Not earlier: the reader may still be polling, and the number would then be another file's.
    ::close(std::exchange(descriptor_, -1));
}

std::string CapturedLog::text() {
    return since(0);
}

std::string CapturedLog::since(size_t from) {
    const std::lock_guard lock(mutex_);
    pullLocked();
    return text_.substr(from);
}

size_t CapturedLog::size() {
    const std::lock_guard lock(mutex_);
    pullLocked();
    return text_.size();
}

size_t CapturedLog::countLocked(std::string_view what, size_t from) const {
    size_t found = 0;
    for (size_t at = text_.find(what, from); at != std::string::npos;
         at = text_.find(what, at + what.size())) {
        ++found;
    }
    return found;
}

size_t CapturedLog::count(std::string_view what, size_t from) {
    const std::lock_guard lock(mutex_);
    pullLocked();
    return countLocked(what, from);
}

bool CapturedLog::waitFor(std::string_view what, size_t times, size_t from,
                          std::chrono::milliseconds patience) {
    std::unique_lock lock(mutex_);
    pullLocked();
    grown_.wait_for(lock, patience, [&] { return ended_ || countLocked(what, from) >= times; });
    return countLocked(what, from) >= times;
}

}  // namespace e2e
