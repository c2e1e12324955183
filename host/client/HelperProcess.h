/* HelperProcess.h: a helper that this program starts, watches and ends.
 *
 * The helper writes free text to its standard output and error all the time and stops when nobody takes it,
 * so a thread drains both as long as it lives. Among the text is the line that announces the port.
 *
 * The helper gets a process group of its own, so that Ctrl-C at a terminal reaches only this program, which
 * then ends the helper in order. It is ended by the system if the thread that called start() ends first: call
 * it from the main thread.
 *
 * Thread: one owner; running(), exitStatus() and lastLines() from any thread. onLine runs on the draining
 *         thread and must not block: while it does, so does the helper.
 * Owns:   the process (ended by the destructor, by force if need be), the pipes, the thread.
 * Errors: Result.h.
 */
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "host/client/Descriptor.h"
#include "host/client/Result.h"

namespace tarvo {

struct HelperSetup {
    std::string executable;
    // Folder of the set of camera libraries to use; empty: the one that the helper finds by itself.
    std::string libraryFolder;
    std::vector<std::pair<std::string, std::string>> environment;  // set on top of this process's own
    std::function<void(std::string_view line)> onLine;             // a line of either stream, without its end
};

class HelperProcess {
public:
    HelperProcess() = default;
    HelperProcess(const HelperProcess&) = delete;
    HelperProcess& operator=(const HelperProcess&) = delete;
    ~HelperProcess();

    Error start(const HelperSetup& setup);
    /** Waits for the announced port. An early end of the helper is told with its last words. */
    Result<uint16_t> waitForPort(std::chrono::milliseconds limit, int interruptFd = -1);

    /** Waits until a text has been logged; it is looked for in the newest lines and in those to come. */
    Error waitForLog(std::string_view text, std::chrono::milliseconds limit);

    pid_t pid() const { return pid_; }
    bool running();
    /** As shells count: the exit status, or 128 + the signal. Empty while it runs, or when none was started.
     */
    std::optional<int> exitStatus();
    /** Waits until the process has ended; false: it still runs, or interruptFd (-1: none) became readable. */
    bool waitForEnd(std::chrono::milliseconds limit, int interruptFd = -1);

    /** Asks the helper to end, then makes it: by its own request, then SIGTERM, then SIGKILL, each after
     * `limit`. The error tells that it did not end by its own request. */
    Error shutDown(std::chrono::milliseconds limit);

    /** The newest lines, oldest first. */
    std::vector<std::string> lastLines() const;

private:
    void drain();
    void take(std::string& partial, std::string_view bytes);
    void keepLine(const std::string& line);
    std::string describeEnd();

    HelperSetup setup_;
    pid_t pid_ = 0;
    Descriptor out_, err_, exit_, stop_;
    std::thread thread_;

    mutable std::mutex mutex_;  // guards what follows; onLine is called without it
    std::condition_variable changed_;
    std::deque<std::string> lines_;
    uint16_t port_ = 0;
    bool hasPort_ = false;
    bool isDrained_ = false;
    std::optional<int> status_;
};

/** Asks the helper at a port to end: it does so at once, cameras and files as they are. */
Error requestShutdown(uint16_t port, std::chrono::milliseconds limit);

}  // namespace tarvo
