#include "tests/e2e/support/helper_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/e2e/support/environment.h"
#include "tests/e2e/support/raw_socket.h"

namespace e2e {

namespace {

constexpr std::array<std::string_view, 5> kSanitizerReports = {
    "ERROR: AddressSanitizer", "ERROR: LeakSanitizer", "WARNING: ThreadSanitizer",
    "runtime error:", "ERROR: ThreadSanitizer"};

/** Between fork and exec: nothing here may allocate. */
[[noreturn]] void becomeHelper(const char* program, char** environment,
                               const std::map<__rlimit_resource_t, rlim_t>& limits, int out, int err) {
    // A test that crashes must not leave a helper behind that holds a port.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::dup2(out, STDOUT_FILENO);
    ::dup2(err, STDERR_FILENO);
    for (const auto& [resource, value] : limits) {
        const rlimit limit{value, value};
        ::setrlimit(resource, &limit);
    }
    std::array<char*, 2> arguments{const_cast<char*>(program), nullptr};
    ::execve(program, arguments.data(), environment);
    ::_exit(127);
}

std::string readAll(const std::string& path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace

std::string helperPath() {
    if (const char* given = std::getenv("TARVO_HELPER"); given != nullptr) return given;
    return (std::filesystem::read_symlink("/proc/self/exe").parent_path() / "../../bin/TarvoRemote").string();
}

std::string simulatedSetPath() {
    return (std::filesystem::path(helperPath()).parent_path() / "../lib/tarvo/simulated").string();
}

HelperProcess::HelperProcess(const HelperOptions& options) {
    start(options);
    if (options.waitForPort) awaitPort();
}

void HelperProcess::awaitPort() {
    if (pid_ < 0) return;
    static constexpr std::string_view kAnnouncement = "TarvoRemote: PORT=";
    if (!err_.waitFor(kAnnouncement) || !err_.waitFor("\n", 1, err_.text().find(kAnnouncement))) {
        ADD_FAILURE() << "the helper announced no port; it said:\n" << err_.text();
        return;
    }
    const std::string text = err_.text();
    port_ = std::atoi(text.c_str() + text.find(kAnnouncement) + kAnnouncement.size());
}

void HelperProcess::start(const HelperOptions& options) {
    std::map<std::string, std::string> changes = options.environment;
    if (options.isSimulated) {
        changes.emplace("LD_LIBRARY_PATH", simulatedSetPath());
        changes.emplace("TARVO_LAB_SOCKET", labSocket());
    }
    if (!options.scenario.is_null()) {
        const std::string scenario = folder_.file("scenario.json");
        std::ofstream(scenario) << options.scenario.dump(2);
        changes.emplace("TARVO_LAB", scenario);
    }
    std::vector<std::string> texts = environmentWith(changes);
    const std::vector<char*> environment = pointersTo(texts);
    const std::string program = helperPath();

    std::array<int, 2> out{};
    std::array<int, 2> err{};
    if (::pipe2(out.data(), O_CLOEXEC) != 0 || ::pipe2(err.data(), O_CLOEXEC) != 0) {
        ADD_FAILURE() << "no pipes for the helper";
        return;
    }
    pid_ = ::fork();
    if (pid_ == 0) {
        becomeHelper(program.c_str(), const_cast<char**>(environment.data()), options.limits, out[1], err[1]);
    }
    ::close(out[1]);
    ::close(err[1]);
    out_.drain(out[0]);
    err_.drain(err[0]);
    if (pid_ < 0) {
        ADD_FAILURE() << "cannot start " << program;
        return;
    }
    reaper_ = std::thread([this] { reap(); });
}

void HelperProcess::reap() {
    // The process stays a zombie until we hold the lock, so that nobody signals a number given to another.
    siginfo_t ended{};
    while (::waitid(P_PID, static_cast<id_t>(pid_), &ended, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
    }
    const std::lock_guard lock(mutex_);
    int raw = 0;
    ::waitpid(pid_, &raw, 0);
    status_ = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
    exited_.notify_all();
}

void HelperProcess::kill(int signal) {
    const std::lock_guard lock(mutex_);
    if (pid_ > 0 && !status_) ::kill(pid_, signal);
}

bool HelperProcess::isRunning() const {
    const std::lock_guard lock(mutex_);
    return pid_ > 0 && !status_;
}

std::optional<int> HelperProcess::waitForExit(std::chrono::milliseconds patience) {
    std::unique_lock lock(mutex_);
    exited_.wait_for(lock, patience, [this] { return status_.has_value(); });
    return status_;
}

bool HelperProcess::waitForOut(std::string_view what, size_t times, size_t from) {
    const bool found = out_.waitFor(what, times, from);
    EXPECT_TRUE(found) << "not on standard output: " << what << "\nbut:\n" << out_.since(from);
    return found;
}

bool HelperProcess::waitForErr(std::string_view what, size_t times, size_t from) {
    const bool found = err_.waitFor(what, times, from);
    EXPECT_TRUE(found) << "not on standard error: " << what << "\nbut:\n" << err_.since(from);
    return found;
}

void HelperProcess::stop() {
    if (pid_ < 0) return;
    if (isRunning() && port_ != 0) {
        RawClient client;
        if (client.tryConnect(port_) == 0) {
            client.send(Message().byte(66).byte(0));
            waitForExit();
        }
    }
    judge();
}

void HelperProcess::judge() {
    if (judged_) return;
    judged_ = true;
    if (isRunning()) {
        ADD_FAILURE() << "the helper does not end when asked to";
        kill(SIGKILL);
    }
    reaper_.join();
    out_.join();
    err_.join();
    const std::string said = err_.text();
    EXPECT_EQ(status_.value_or(-1), expectedStatus_)
        << "standard error ends with:\n"
        << said.substr(said.size() - std::min<size_t>(said.size(), 6000));
    for (const std::string_view report : kSanitizerReports) {
        EXPECT_EQ(said.find(report), std::string::npos)
            << said.substr(std::min(said.size(), said.find(report)), 6000);
    }
}

HelperProcess::~HelperProcess() {
    stop();
}

uint64_t HelperProcess::residentBytes() const {
    const std::string status = readAll("/proc/" + std::to_string(pid_) + "/status");
    const size_t at = status.find("VmRSS:");
    return at == std::string::npos ? 0 : std::strtoull(status.c_str() + at + 6, nullptr, 10) * 1024;
}

std::chrono::milliseconds HelperProcess::processorTime() const {
    const std::string stat = readAll("/proc/" + std::to_string(pid_) + "/stat");
    // The name in parentheses may hold blanks; user and system time are the 12th and 13th field after it.
    std::istringstream fields(stat.substr(std::min(stat.size(), stat.rfind(')') + 1)));
    std::string skipped;
    for (int i = 0; i < 11; ++i) {
        fields >> skipped;
    }
    int64_t user = 0;
    int64_t system = 0;
    fields >> user >> system;
    return std::chrono::milliseconds((user + system) * 1000 / ::sysconf(_SC_CLK_TCK));
}

namespace {

size_t entryCount(const std::string& folder) {
    std::error_code error;
    size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        (void)entry;
        ++count;
    }
    return count;
}

}  // namespace

size_t HelperProcess::descriptorCount() const {
    return entryCount("/proc/" + std::to_string(pid_) + "/fd");
}

size_t HelperProcess::threadCount() const {
    return entryCount("/proc/" + std::to_string(pid_) + "/task");
}

}  // namespace e2e
