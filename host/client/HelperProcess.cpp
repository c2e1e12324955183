#include "host/client/HelperProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>

#include "host/client/Socket.h"
#include "host/client/protocol.h"

namespace tarvo {
namespace {

using std::chrono::milliseconds;

constexpr size_t kKeptLines = 200;
constexpr size_t kLongestLine =
    64 * 1024;  // a longer one is cut: memory must not grow with a helper gone wild
constexpr std::string_view kPortText = "TarvoRemote: PORT=";
constexpr milliseconds kRecheck{50};

std::vector<std::string> environmentOf(const HelperSetup& setup) {
    auto wanted = setup.environment;
    if (!setup.libraryFolder.empty()) {
        const char* before = ::getenv("LD_LIBRARY_PATH");
        const std::string rest = before != nullptr && before[0] != '\0' ? ":" + std::string(before) : "";
        wanted.emplace_back("LD_LIBRARY_PATH", setup.libraryFolder + rest);
    }
    std::vector<std::string> all;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string_view text{*entry};
        const auto name = text.substr(0, text.find('='));
        const bool isReplaced =
            std::any_of(wanted.begin(), wanted.end(), [&](const auto& w) { return w.first == name; });
        if (!isReplaced) all.emplace_back(text);
    }
    for (const auto& [name, value] : wanted)
        all.push_back(name + "=" + value);
    return all;
}

struct Pipe {
    Descriptor reader, writer;
};

bool openPipe(Pipe& pipe) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) return false;
    pipe.reader.reset(ends[0]);
    pipe.writer.reset(ends[1]);
    return true;
}

// Runs between fork and exec: only what is allowed after a fork of a process with threads.
[[noreturn]] void becomeHelper(const char* path, char* const* argv, char* const* environment, int out,
                               int err, int report, pid_t parent) {
    ::setpgid(0, 0);
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() != parent) ::_exit(127);  // the parent ended before the line above took effect
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE})
        ::signal(number, SIG_DFL);
    const int null = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (null >= 0 && ::dup2(null, STDIN_FILENO) >= 0 && ::dup2(out, STDOUT_FILENO) >= 0 &&
        ::dup2(err, STDERR_FILENO) >= 0) {
        ::execve(path, argv, environment);
    }
    const int problem = errno;
    (void)!::write(report, &problem, sizeof problem);
    ::_exit(127);
}

int statusOf(int raw) {
    return WIFSIGNALED(raw) ? 128 + WTERMSIG(raw) : WEXITSTATUS(raw);
}

}  // namespace

HelperProcess::~HelperProcess() {
    if (pid_ > 0 && running()) {
        ::kill(pid_, SIGKILL);
        waitForEnd(std::chrono::seconds(10));
    }
    if (thread_.joinable()) {
        ::eventfd_write(stop_.get(), 1);
        thread_.join();
    }
}

Error HelperProcess::start(const HelperSetup& setup) {
    if (pid_ > 0) return failed(Failure::badArgument, "this object has started its helper already");
    setup_ = setup;
    Pipe out, err, report;
    stop_.reset(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!openPipe(out) || !openPipe(err) || !openPipe(report) || !stop_.isOpen()) {
        return failed(Failure::notReachable, "no pipe to be had: " + std::string(std::strerror(errno)));
    }
    auto texts = environmentOf(setup_);
    std::vector<char*> environment;
    for (auto& text : texts)
        environment.push_back(text.data());
    environment.push_back(nullptr);
    std::array<char*, 2> argv{setup_.executable.data(), nullptr};

    const pid_t self = ::getpid();
    const pid_t child = ::fork();
    if (child == 0) {
        becomeHelper(setup_.executable.c_str(), argv.data(), environment.data(), out.writer.get(),
                     err.writer.get(), report.writer.get(), self);
    }
    if (child < 0) {
        return failed(Failure::notReachable, "no process to be had: " + std::string(std::strerror(errno)));
    }
    report.writer.reset();
    int problem = 0;
    ssize_t got = 0;
    do {
        got = ::read(report.reader.get(), &problem, sizeof problem);
    } while (got < 0 && errno == EINTR);
    if (got == static_cast<ssize_t>(sizeof problem)) {
        ::waitpid(child, nullptr, 0);
        return failed(Failure::notReachable,
                      "cannot start '" + setup_.executable + "': " + std::strerror(problem));
    }
    pid_ = child;
    // Readable once the process has ended. A kernel before 5.3 has none: then the end is looked for at
    // intervals.
    exit_.reset(static_cast<int>(::syscall(SYS_pidfd_open, child, 0U)));
    out_ = std::move(out.reader);
    err_ = std::move(err.reader);
    for (const int fd : {out_.get(), err_.get()})
        ::fcntl(fd, F_SETFL, O_NONBLOCK);
    thread_ = std::thread([this] { drain(); });
    return {};
}

void HelperProcess::drain() {
    std::string partialOut, partialErr;
    std::array<pollfd, 3> watched{
        {{out_.get(), POLLIN, 0}, {err_.get(), POLLIN, 0}, {stop_.get(), POLLIN, 0}}};
    const std::array<std::string*, 2> partials{&partialOut, &partialErr};
    while (watched[0].fd >= 0 || watched[1].fd >= 0) {
        if (::poll(watched.data(), watched.size(), -1) < 0 && errno != EINTR) break;
        if (watched[2].revents != 0) break;
        for (size_t i = 0; i < partials.size(); ++i) {
            if (watched[i].fd < 0 || watched[i].revents == 0) continue;
            std::array<char, 16384> buffer{};
            const ssize_t got = ::read(watched[i].fd, buffer.data(), buffer.size());
            if (got > 0) take(*partials[i], {buffer.data(), static_cast<size_t>(got)});
            const bool isOver = got == 0 || (got < 0 && errno != EAGAIN && errno != EINTR);
            if (isOver) watched[i].fd = -1;
        }
    }
    for (auto* partial : partials) {
        if (!partial->empty()) keepLine(*partial);
    }
    const std::lock_guard lock(mutex_);
    isDrained_ = true;
    changed_.notify_all();
}

void HelperProcess::take(std::string& partial, std::string_view bytes) {
    for (;;) {
        const auto end = bytes.find('\n');
        partial.append(bytes.substr(0, end));
        if (end == std::string_view::npos && partial.size() < kLongestLine) return;
        keepLine(partial);
        partial.clear();
        if (end == std::string_view::npos) return;
        bytes.remove_prefix(end + 1);
    }
}

void HelperProcess::keepLine(const std::string& line) {
    {
        const std::lock_guard lock(mutex_);
        lines_.push_back(line);
        if (lines_.size() > kKeptLines) lines_.pop_front();
        changed_.notify_all();
        const auto at = line.find(kPortText);
        if (!hasPort_ && at != std::string::npos) {
            unsigned number = 0;
            const char* digits = line.data() + at + kPortText.size();
            const auto parsed = std::from_chars(digits, line.data() + line.size(), number);
            if (parsed.ec == std::errc() && number > 0 && number <= 65535) {
                port_ = static_cast<uint16_t>(number);
                hasPort_ = true;
            }
        }
    }
    if (setup_.onLine) setup_.onLine(line);
}

Result<uint16_t> HelperProcess::waitForPort(milliseconds limit, int interruptFd) {
    const auto end = Clock::now() + limit;
    for (;;) {
        {
            std::unique_lock lock(mutex_);
            // In slices, because an interrupt descriptor cannot wake a condition variable.
            changed_.wait_until(lock, std::min(end, Clock::now() + kRecheck),
                                [this] { return hasPort_ || isDrained_; });
            if (hasPort_) return {{}, port_};
        }
        pollfd interrupt{interruptFd, POLLIN, 0};
        if (::poll(&interrupt, 1, 0) > 0) return {failed(Failure::interrupted, "interrupted"), 0};
        if (!running()) {
            std::unique_lock lock(mutex_);
            changed_.wait_until(lock, end, [this] { return isDrained_; });
            if (hasPort_) return {{}, port_};
            lock.unlock();
            return {failed(Failure::notReachable, describeEnd()), 0};
        }
        if (Clock::now() >= end) {
            return {failed(Failure::timeout, "the helper runs but did not announce its port within " +
                                                 std::to_string(limit.count()) + " ms"),
                    0};
        }
    }
}

Error HelperProcess::waitForLog(std::string_view text, milliseconds limit) {
    std::unique_lock lock(mutex_);
    const auto isThere = [&] {
        return std::any_of(lines_.rbegin(), lines_.rend(),
                           [&](const auto& line) { return line.find(text) != std::string::npos; });
    };
    changed_.wait_for(lock, limit, [&] { return isThere() || isDrained_; });
    if (isThere()) return {};
    return failed(isDrained_ ? Failure::connectionLost : Failure::timeout,
                  "the helper did not log '" + std::string(text) + "'");
}

std::string HelperProcess::describeEnd() {
    std::string text = "the helper ended with status " + std::to_string(exitStatus().value_or(-1)) +
                       " before it announced its port";
    const auto lines = lastLines();
    const size_t shown = std::min<size_t>(lines.size(), 3);
    for (size_t i = lines.size() - shown; i < lines.size(); ++i)
        text += (i + shown == lines.size() ? ": " : " / ") + lines[i];
    return text;
}

std::optional<int> HelperProcess::exitStatus() {
    const std::lock_guard lock(mutex_);
    if (pid_ <= 0 || status_) return status_;
    int raw = 0;
    if (::waitpid(pid_, &raw, WNOHANG) == pid_) status_ = statusOf(raw);
    return status_;
}

bool HelperProcess::running() {
    return pid_ > 0 && !exitStatus().has_value();
}

bool HelperProcess::waitForEnd(milliseconds limit, int interruptFd) {
    const auto end = Clock::now() + limit;
    while (running()) {
        const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
        if (left.count() <= 0) return false;
        const auto wait = exit_.isOpen() ? std::min<milliseconds>(left, std::chrono::minutes(1))
                                         : std::min<milliseconds>(left, kRecheck);
        std::array<pollfd, 2> watched{{{exit_.get(), POLLIN, 0}, {interruptFd, POLLIN, 0}}};
        ::poll(watched.data(), watched.size(), static_cast<int>(wait.count()));
        if (watched[1].revents != 0) return false;
    }
    return true;
}

Error HelperProcess::shutDown(milliseconds limit) {
    if (!running()) return {};
    uint16_t port = 0;
    {
        const std::lock_guard lock(mutex_);
        port = port_;
    }
    Error error =
        port == 0 ? failed(Failure::notReachable, "its port is not known") : requestShutdown(port, limit);
    if (!error && waitForEnd(limit)) return {};
    if (!error) error = failed(Failure::timeout, "the helper did not end when asked");
    for (const int number : {SIGTERM, SIGKILL}) {
        ::kill(pid_, number);
        if (waitForEnd(limit)) break;
    }
    error.text += "; it was ended by a signal";
    return error;
}

std::vector<std::string> HelperProcess::lastLines() const {
    const std::lock_guard lock(mutex_);
    return {lines_.begin(), lines_.end()};
}

Error requestShutdown(uint16_t port, milliseconds limit) {
    Patience patience;
    patience.limit = limit;
    auto connected = connectLoopback(port, patience);
    if (!connected.ok()) return connected.error;
    // The helper reads one more byte after the module's before it ends.
    const std::array<uint8_t, 2> request{kModuleShutdown, 0};
    if (auto error = sendAll(connected.value.get(), request, patience)) return error;
    // Its end closes the connection. Until then the bytes must not be thrown away by closing ours.
    std::array<uint8_t, 1> nothing{};
    const auto got = receiveSome(connected.value.get(), nothing, patience);
    const bool hasEnded = (got.ok() && got.value == 0) || got.error.failure == Failure::connectionLost;
    return hasEnded ? Error{} : failed(Failure::timeout, "the helper did not end when asked");
}

}  // namespace tarvo
