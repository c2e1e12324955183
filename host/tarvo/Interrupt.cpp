#include "host/tarvo/Interrupt.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

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
    return true;
}

int fd() {
    return gDescriptor;
}

bool isRequested() {
    pollfd watched{gDescriptor, POLLIN, 0};
    return ::poll(&watched, 1, 0) > 0;
}

}  // namespace tarvo::interrupt
