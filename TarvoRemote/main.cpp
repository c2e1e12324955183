/* main.cpp: the helper's process: no options, no configuration; it announces its port in its log. */
#include <fcntl.h>
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

}  // namespace

int main() {
    occupyStandardStreams();
    // Hosts close sockets at any moment; a failed send must not end the process.
    std::signal(SIGPIPE, SIG_IGN);
    // A file that grows over the user's limit is a failed write, not the end of everything.
    std::signal(SIGXFSZ, SIG_IGN);
    setExportSettingsHandler(answerExportRequest);
    return runMainThread(StartServer);
}
