#include "host/tarvo/Interrupt.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <initializer_list>

namespace tarvo::interrupt {
namespace {

int gDescriptor = -1;  // written once, before the handlers exist

void onSignal(int) {
    const int saved = errno;
    const uint64_t one = 1;
    (void)!::write(gDescriptor, &one, sizeof one);
    errno = saved;
}

// Its being there makes the write fail. A handler, and not a signal ignored, because helpers that are started
// do not inherit it.
void onFileTooLarge(int) {}

}  // namespace

bool install() {
    gDescriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (gDescriptor < 0) return false;
    struct sigaction action {};
    action.sa_handler = onSignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        if (::sigaction(number, &action, nullptr) != 0) return false;
    }
    struct sigaction tooLarge {};
    tooLarge.sa_handler = onFileTooLarge;
    return ::sigaction(SIGXFSZ, &tooLarge, nullptr) == 0;
}

int fd() {
    return gDescriptor;
}

bool isRequested() {
    pollfd watched{gDescriptor, POLLIN, 0};
    return ::poll(&watched, 1, 0) > 0;
}

bool pauseUntil(std::chrono::steady_clock::time_point moment) {
    for (;;) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(moment - std::chrono::steady_clock::now()).count();
        if (left <= 0) return isRequested();
        pollfd watched{gDescriptor, POLLIN, 0};
        if (::poll(&watched, 1, static_cast<int>(std::min<int64_t>(left, 60'000))) > 0) return true;
    }
}

}  // namespace tarvo::interrupt
