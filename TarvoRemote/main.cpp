/* main.cpp: the helper's process: no options, no configuration; it announces its port in its log. */
#include <fcntl.h>
#include <malloc.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>

#include "TarvoRemote/MainThread.h"
#include "TarvoRemote/QuickTimeRemote.h"
#include "TarvoRemote/server.h"

namespace {

/** A host may start us with its standard streams closed. Without this, a socket would get one of their
 * numbers, and log lines would end up in a camera call. */
void occupyStandardStreams() {
    for (int opened = open("/dev/null", O_RDWR); opened >= 0; opened = open("/dev/null", O_RDWR)) {
        if (opened <= STDERR_FILENO) continue;
        close(opened);
        return;
    }
}

/** Frames come and go many times a second. Memory that went back to the kernel with each of them would have
 * to be cleared for the next one, which costs more than to copy the frame.
 */
void keepMemoryOfFrames() {
    constexpr int kLargestFrame = 16 << 20;  // bytes; larger blocks go back at once
    mallopt(M_MMAP_THRESHOLD, kLargestFrame);
    mallopt(M_TRIM_THRESHOLD, 2 * kLargestFrame);
}

/** Each frame waits a prescribed time; the kernel may stretch waits to gather them. Threads inherit this. */
void waitExactly() {
    constexpr unsigned long kLeastSlackNs = 1;
    prctl(PR_SET_TIMERSLACK, kLeastSlackNs);
}

}  // namespace

int main() {
    occupyStandardStreams();
    keepMemoryOfFrames();
    waitExactly();
    // Hosts close sockets at any moment; a failed send must not end the process.
    std::signal(SIGPIPE, SIG_IGN);
    // A file that grows over the user's limit is a failed write, not the end of everything.
    std::signal(SIGXFSZ, SIG_IGN);
    setExportSettingsHandler(answerExportRequest);
    return runMainThread(StartServer);
}
