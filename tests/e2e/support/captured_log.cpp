#include "tests/e2e/support/captured_log.h"

#include <unistd.h>

#include <array>
#include <cerrno>

namespace e2e {

CapturedLog::~CapturedLog() {
    join();
}

void CapturedLog::drain(int descriptor) {
    reader_ = std::thread([this, descriptor] {
        std::array<char, 65536> piece;
        for (;;) {
            const ssize_t got = ::read(descriptor, piece.data(), piece.size());
            if (got < 0 && errno == EINTR) continue;
            const std::lock_guard lock(mutex_);
            if (got <= 0) {
                ended_ = true;
                grown_.notify_all();
                break;
            }
            text_.append(piece.data(), static_cast<size_t>(got));
            grown_.notify_all();
        }
        ::close(descriptor);
    });
}

void CapturedLog::join() {
    if (reader_.joinable()) reader_.join();
}

std::string CapturedLog::text() const {
    const std::lock_guard lock(mutex_);
    return text_;
}

size_t CapturedLog::size() const {
    const std::lock_guard lock(mutex_);
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

size_t CapturedLog::count(std::string_view what, size_t from) const {
    const std::lock_guard lock(mutex_);
    return countLocked(what, from);
}

bool CapturedLog::waitFor(std::string_view what, size_t times, size_t from,
                          std::chrono::milliseconds patience) const {
    std::unique_lock lock(mutex_);
    grown_.wait_for(lock, patience, [&] { return ended_ || countLocked(what, from) >= times; });
    return countLocked(what, from) >= times;
}

}  // namespace e2e
