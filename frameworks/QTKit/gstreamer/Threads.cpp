#include "frameworks/QTKit/gstreamer/Threads.h"

#include <pthread.h>

#include <csignal>
#include <thread>
#include <utility>

namespace capture {

namespace {

/** A thread begins with the signal mask of the one that starts it. */
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t before_{};
};

}  // namespace

void startThread(const char* name, std::function<void()> body) {
    const SignalsBlocked blocked;
    std::thread thread(std::move(body));
    pthread_setname_np(thread.native_handle(), name);
    thread.detach();
}

}  // namespace capture
