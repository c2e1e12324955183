#include "tests/host/CommandRunner.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>

namespace fake {
namespace {

struct Ends {
    int reader = -1;
    int writer = -1;
};

Ends makePipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) std::abort();
    return {ends[0], ends[1]};
}

}  // namespace

CommandRunner::CommandRunner(const std::vector<std::string>& arguments, const std::string& folder) {
    std::vector<std::string> words{TARVO_TEST_COMMAND};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (auto& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    const Ends out = makePipe();
    const Ends err = makePipe();
    pid_ = ::fork();
    if (pid_ == 0) {
        ::dup2(out.writer, STDOUT_FILENO);
        ::dup2(err.writer, STDERR_FILENO);
        if (!folder.empty() && ::chdir(folder.c_str()) != 0) ::_exit(126);
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    ::close(out.writer);
    ::close(err.writer);
    hasEnded_ = pid_ < 0;  // never begun
    outThread_ = std::thread([this, fd = out.reader] { drain(fd, out_); });
    errThread_ = std::thread([this, fd = err.reader] { drain(fd, err_); });
}

CommandRunner::~CommandRunner() {
    if (!hasEnded_) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    outThread_.join();
    errThread_.join();
}

void CommandRunner::drain(int fd, std::string& text) {
    std::array<char, 4096> buffer{};
    for (;;) {
        const ssize_t got = ::read(fd, buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR) continue;
        const std::lock_guard lock(mutex_);
        if (got <= 0) {
            --open_;
            changed_.notify_all();
            break;
        }
        text.append(buffer.data(), static_cast<size_t>(got));
        changed_.notify_all();
    }
    ::close(fd);
}

bool CommandRunner::waitFor(const std::string& in, const std::string& text, std::chrono::seconds limit) {
    std::unique_lock lock(mutex_);
    const auto isThere = [&] { return in.find(text) != std::string::npos; };
    changed_.wait_for(lock, limit, [&] { return isThere() || open_ == 0; });
    return isThere();
}

bool CommandRunner::waitForOut(const std::string& text, std::chrono::seconds limit) {
    return waitFor(out_, text, limit);
}

bool CommandRunner::waitForErr(const std::string& text, std::chrono::seconds limit) {
    return waitFor(err_, text, limit);
}

void CommandRunner::interrupt() const {
    if (pid_ > 0 && !hasEnded_) ::kill(pid_, SIGINT);
}

int CommandRunner::wait(std::chrono::seconds limit) {
    if (hasEnded_) return status_;
    bool isOver = false;
    {
        std::unique_lock lock(mutex_);
        isOver = changed_.wait_for(lock, limit, [&] { return open_ == 0; });
    }
    if (!isOver) ::kill(pid_, SIGKILL);
    int raw = 0;
    ::waitpid(pid_, &raw, 0);
    hasEnded_ = true;
    if (isOver) status_ = WIFSIGNALED(raw) ? 128 + WTERMSIG(raw) : WEXITSTATUS(raw);
    return status_;
}

std::string CommandRunner::out() {
    const std::lock_guard lock(mutex_);
    return out_;
}

std::string CommandRunner::err() {
    const std::lock_guard lock(mutex_);
    return err_;
}

CommandResult runTarvo(const std::vector<std::string>& arguments, const std::string& folder) {
    CommandRunner runner(arguments, folder);
    const int status = runner.wait();
    return {status, runner.out(), runner.err()};
}

}  // namespace fake
