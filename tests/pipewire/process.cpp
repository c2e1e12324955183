#include "tests/pipewire/process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

#include "tests/e2e/support/environment.h"
#include "tests/e2e/support/patience.h"

namespace pw {

Process::Process(const std::vector<std::string>& command, const Environment& changes) {
    std::vector<std::string> words = command;
    std::vector<std::string> settings = e2e::environmentWith(changes);
    const std::vector<char*> arguments = e2e::pointersTo(words);
    const std::vector<char*> environment = e2e::pointersTo(settings);
    std::array<int, 2> pipe{};
    if (::pipe2(pipe.data(), O_CLOEXEC) != 0) {
        ADD_FAILURE() << "no pipe for " << command.front();
        return;
    }
    pid_ = ::fork();
    if (pid_ == 0) {
        // A test that crashes must not leave anybody behind.
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::dup2(pipe[1], STDOUT_FILENO);
        ::dup2(pipe[1], STDERR_FILENO);
        ::execvpe(arguments[0], arguments.data(), environment.data());
        ::_exit(127);
    }
    ::close(pipe[1]);
    said_.drain(pipe[0]);
    EXPECT_GT(pid_, 0) << "cannot start " << command.front();
}

void Process::send(int signal) const {
    if (pid_ > 0) ::kill(pid_, signal);
}

void Process::halt() {
    send(SIGSTOP);
    // It has stopped when the system says so, not when it was asked to.
    // One that has ended instead stays to be reaped by end(): until then its id is nobody else's.
    siginfo_t ignored{};
    if (pid_ > 0) ::waitid(P_PID, static_cast<id_t>(pid_), &ignored, WSTOPPED | WEXITED | WNOWAIT);
}

void Process::resume() {
    send(SIGCONT);
}

void Process::end(int signal) {
    if (pid_ <= 0) return;
    send(signal);
    resume();
    const auto hasEnded = [this] { return ::waitpid(pid_, nullptr, WNOHANG) != 0; };
    if (!e2e::eventually(hasEnded, std::chrono::seconds(10))) {
        send(SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    pid_ = -1;
    said_.join();
}

}  // namespace pw
