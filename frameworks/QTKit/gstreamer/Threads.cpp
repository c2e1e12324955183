#include "frameworks/QTKit/gstreamer/Threads.h"

#include <pthread.h>

#include <csignal>
#include <system_error>
#include <thread>
#include <utility>

namespace capture {

void startThread(const char* name, std::function<void()> body) {
    // A thread begins with the signal mask of the one that starts it.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
        std::thread thread(std::move(body));
        pthread_setname_np(thread.native_handle(), name);
        thread.detach();
    } catch (const std::system_error&) {
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        throw;
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace capture
