/* helper_process.h: the real helper, started on one of the two sets and ended again.
 *
 * The helper is $TARVO_HELPER, or bin/TarvoRemote of the build tree that the test itself lies in.
 *
 * Thread: one thread at a time; the logs may be waited on from any.
 * Owns:   the process, until it has exited, and the folder with its scenario and the lab's socket.
 * Errors: a helper that does not start, ends by itself, exits with another status than 0 or leaves a
 *         sanitizer's report fails the test that owns it.
 */
#pragma once

#include <sys/resource.h>
#include <sys/types.h>

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/e2e/support/captured_log.h"
#include "tests/e2e/support/patience.h"
#include "tests/e2e/support/temp_folder.h"

namespace e2e {

struct HelperOptions {
    /** Written to a file and named in TARVO_LAB; null: the lab's default scenario. */
    nlohmann::json scenario;
    /** Limits of the process, soft and hard. */
    std::map<__rlimit_resource_t, rlim_t> limits;
    std::map<std::string, std::string> environment;
    /** False for the hardware set, which the helper finds by itself. */
    bool isSimulated = true;
    /** False for a helper that is expected to give up before it listens, or that is awaited later. */
    bool waitForPort = true;
};

class HelperProcess {
public:
    explicit HelperProcess(const HelperOptions& options);
    /** Ends the helper through its own shutdown request if it still runs, and judges its end. */
    ~HelperProcess();
    HelperProcess(const HelperProcess&) = delete;
    HelperProcess& operator=(const HelperProcess&) = delete;

    /** Until it has announced its port; a failure when it does not. */
    void awaitPort();
    /** 0 when it never came to listen. */
    int port() const { return port_; }
    pid_t pid() const { return pid_; }
    std::string labSocket() const { return folder_.file("lab.sock"); }

    CapturedLog& out() { return out_; }
    CapturedLog& err() { return err_; }
    /** Fail the test when the text does not come. */
    bool waitForOut(std::string_view what, size_t times = 1, size_t from = 0);
    bool waitForErr(std::string_view what, size_t times = 1, size_t from = 0);

    bool isRunning() const;
    /** The exit status; 128 + n after signal n; nothing when it is still running. */
    std::optional<int> waitForExit(std::chrono::milliseconds patience = kPatience);
    /** Asks for the shutdown and judges the end: status 0 and nothing for a sanitizer to say. */
    void stop();
    /** From now on this exit status is the right one. */
    void expectExitStatus(int status) { expectedStatus_ = status; }

    uint64_t residentBytes() const;
    /** Processor time used so far, user and system. */
    std::chrono::milliseconds processorTime() const;
    size_t descriptorCount() const;
    size_t threadCount() const;

private:
    void start(const HelperOptions& options);
    void reap();
    void judge();
    void kill(int signal);

    TempFolder folder_;
    CapturedLog out_;
    CapturedLog err_;
    pid_t pid_ = -1;
    int port_ = 0;
    int expectedStatus_ = 0;
    bool judged_ = false;

    std::thread reaper_;
    mutable std::mutex mutex_;
    std::condition_variable exited_;
    std::optional<int> status_;  // guarded by mutex_
};

/** Where the helper and the simulated set lie. */
std::string helperPath();
std::string simulatedSetPath();

}  // namespace e2e
