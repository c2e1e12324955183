#include "ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>
#include <thread>

namespace {

constexpr int kPatienceMs = 60'000;

/** How often a thread has gone to sleep; negative if there is no such thread. */
int64_t wakeUpsOf(pid_t thread) {
    constexpr std::string_view kName = "voluntary_ctxt_switches:";
    std::ifstream status("/proc/" + std::to_string(thread) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(kName)) {
            return std::atoll(line.c_str() + kName.size());
        }
    }
    return -1;
}

[[noreturn]] void become(const std::vector<std::string>& command,
                         const std::map<std::string, std::string>& environment) {
    for (const auto& [name, value] : environment) {
        if (value.empty()) {
            unsetenv(name.c_str());
        } else {
            setenv(name.c_str(), value.c_str(), 1);
        }
    }
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command,
                           const std::map<std::string, std::string>& environment) {
    std::array<int, 2> toChild{-1, -1};
    std::array<int, 2> fromChild{-1, -1};
    if (pipe2(toChild.data(), O_CLOEXEC) != 0 || pipe2(fromChild.data(), O_CLOEXEC) != 0) {
        return;
    }
    pid_ = fork();
    if (pid_ == 0) {
        dup2(toChild[0], STDIN_FILENO);
        dup2(fromChild[1], STDOUT_FILENO);
        become(command, environment);
    }
    close(toChild[0]);
    close(fromChild[1]);
    input_ = toChild[1];
    output_ = fromChild[0];
    // A program that has ended must not end the test.
    std::signal(SIGPIPE, SIG_IGN);
}

ChildProcess::~ChildProcess() {
    end(SIGKILL);
    close(input_);
    close(output_);
}

std::string ChildProcess::ask(const std::string& line) {
    const std::string text = line + "\n";
    return write(input_, text.data(), text.size()) < 0 ? "" : readLine();
}

std::string ChildProcess::readLine() {
    for (;;) {
        const size_t end = received_.find('\n');
        if (end != std::string::npos) {
            std::string line = received_.substr(0, end);
            received_.erase(0, end + 1);
            return line;
        }
        pollfd readable{output_, POLLIN, 0};
        std::array<char, 512> buffer{};
        if (poll(&readable, 1, kPatienceMs) <= 0) {
            return {};
        }
        const ssize_t count = read(output_, buffer.data(), buffer.size());
        if (count <= 0) {
            return {};
        }
        received_.append(buffer.data(), static_cast<size_t>(count));
    }
}

bool ChildProcess::comesToRest() const {
    int64_t before = -2;
    for (int waitedMs = 0; waitedMs < kPatienceMs; waitedMs += 500) {
        const int64_t now = wakeUpsOf(pid_);
        if (now == before) {
            return now >= 0;
        }
        before = now;
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
    }
    return false;
}

std::optional<int> ChildProcess::finish() {
    close(input_);
    input_ = -1;
    return waitForEnd();
}

void ChildProcess::end(int signal) {
    // Once the process is reaped its id is not ours, and the -1 that stands for it would mean all processes.
    if (pid_ > 0) {
        kill(pid_, signal);
        waitForEnd();
    }
}

std::optional<int> ChildProcess::waitForEnd() {
    for (int waitedMs = 0; pid_ > 0 && waitedMs < kPatienceMs; waitedMs += 5) {
        int status = 0;
        if (waitpid(pid_, &status, WNOHANG) == pid_) {
            pid_ = -1;
            return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return std::nullopt;
}

bool isInstalled(const std::string& program) {
    const char* const path = std::getenv("PATH");
    std::istringstream folders(path == nullptr ? "" : path);
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (access((folder + "/" + program).c_str(), X_OK) == 0) {
            return true;
        }
    }
    return false;
}

std::string ownFolder() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}
