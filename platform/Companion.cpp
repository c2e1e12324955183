#include "platform/Companion.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <glib-unix.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <thread>
#include <utility>

extern char** environ;

namespace {

/// The companion's end of the connection has this number in the companion.
constexpr int kStarterDescriptor = 3;
/// A process that has closed its end is about to end; so long it may take.
constexpr int kFarewellMs = 500;

/** What is done between fork and exec. */
class FileActions {
public:
    FileActions() { isReady_ = posix_spawn_file_actions_init(&actions_) == 0; }
    ~FileActions() {
        if (isReady_) posix_spawn_file_actions_destroy(&actions_);
    }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    bool set(int connection) {
        return isReady_ && posix_spawn_file_actions_adddup2(&actions_, connection, kStarterDescriptor) == 0 &&
               posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0) == 0 &&
               posix_spawn_file_actions_adddup2(&actions_, STDERR_FILENO, STDOUT_FILENO) == 0 &&
               // Camera libraries open what they like, and not all of it close-on-exec.
               posix_spawn_file_actions_addclosefrom_np(&actions_, kStarterDescriptor + 1) == 0;
    }
    const posix_spawn_file_actions_t* get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
    bool isReady_ = false;
};

/** Signals as a program expects them; ignored ones would be inherited. */
class Attributes {
public:
    Attributes() { isReady_ = posix_spawnattr_init(&attributes_) == 0; }
    ~Attributes() {
        if (isReady_) posix_spawnattr_destroy(&attributes_);
    }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    bool set() {
        sigset_t none{};
        sigset_t usual{};
        sigemptyset(&none);
        sigemptyset(&usual);
        for (const int signal : {SIGPIPE, SIGXFSZ, SIGCHLD})
            sigaddset(&usual, signal);
        return isReady_ && posix_spawnattr_setsigmask(&attributes_, &none) == 0 &&
               posix_spawnattr_setsigdefault(&attributes_, &usual) == 0 &&
               posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF) == 0;
    }
    const posix_spawnattr_t* get() const { return &attributes_; }

private:
    posix_spawnattr_t attributes_{};
    bool isReady_ = false;
};

/** 0 or an error number. */
int spawn(const std::string& program, int connection, pid_t& pid) {
    FileActions actions;
    Attributes attributes;
    if (!actions.set(connection) || !attributes.set()) return ENOMEM;
    std::array<char*, 3> arguments{const_cast<char*>(program.c_str()), program_invocation_short_name,
                                   nullptr};
    return posix_spawn(&pid, program.c_str(), actions.get(), attributes.get(), arguments.data(), environ);
}

std::string nameOf(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

std::string textOf(int status) {
    if (WIFSIGNALED(status)) {
        const int signal = WTERMSIG(status);
        return "was ended by signal " + std::to_string(signal) + " (" + strsignal(signal) + ")";
    }
    return "ended with status " + std::to_string(WEXITSTATUS(status));
}

/** Ends a wait of the main loop at a moment. */
class Alarm {
public:
    explicit Alarm(double seconds) {
        if (seconds < 0) return;
        source_ = g_timeout_source_new(static_cast<guint>(seconds * 1000));
        g_source_set_callback(
            source_,
            [](gpointer hasRung) -> gboolean {
                *static_cast<bool*>(hasRung) = true;
                return G_SOURCE_CONTINUE;
            },
            &hasRung_, nullptr);
        g_source_attach(source_, nullptr);
    }
    ~Alarm() {
        if (source_ == nullptr) return;
        g_source_destroy(source_);
        g_source_unref(source_);
    }
    Alarm(const Alarm&) = delete;
    Alarm& operator=(const Alarm&) = delete;

    bool hasRung() const { return hasRung_; }

private:
    GSource* source_ = nullptr;
    bool hasRung_ = false;
};

}  // namespace

/** The main loop's eye on the connection. */
struct Companion::Watch {
    Watch(int descriptor, Companion& companion)
        : source(g_unix_fd_source_new(descriptor, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR))) {
        const GUnixFDSourceFunc onArrival = [](gint, GIOCondition, gpointer self) -> gboolean {
            static_cast<Companion*>(self)->arrived();
            return G_SOURCE_CONTINUE;
        };
        g_source_set_callback(source, G_SOURCE_FUNC(onArrival), &companion, nullptr);
        g_source_attach(source, nullptr);
    }
    ~Watch() {
        g_source_destroy(source);
        g_source_unref(source);
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    GSource* source;
};

Companion::Companion(std::string program, Listener listener)
    : program_(std::move(program)), listener_(std::move(listener)) {
    start();
}

Companion::~Companion() {
    end();
}

void Companion::start() {
    std::array<int, 2> ends{-1, -1};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        std::fprintf(stderr, "%s: could not be started: %s\n", nameOf(program_).c_str(), strerror(errno));
        return;
    }
    MessageSocket ours(ends[0]);
    const MessageSocket theirs(ends[1]);
    fcntl(ours.descriptor(), F_SETFL, O_NONBLOCK);
    const int error = spawn(program_, theirs.descriptor(), pid_);
    if (error != 0) {
        pid_ = -1;
        std::fprintf(stderr, "%s: could not be started: %s\n", nameOf(program_).c_str(), strerror(error));
        return;
    }
    socket_ = std::move(ours);
    watch_ = std::make_unique<Watch>(socket_.descriptor(), *this);
}

bool Companion::send(const MessageWriter& message) {
    if (!isRunning()) return false;
    if (socket_.send(message)) return true;
    const int error = errno;
    const bool isGone = error == EPIPE || error == ECONNRESET;
    fail(isGone ? farewell() : std::string("could not be told: ") + strerror(error));
    return false;
}

bool Companion::serveUntil(const std::function<bool()>& isDone, double seconds) {
    const Alarm alarm(seconds);
    while (!isDone() && isRunning()) {
        if (alarm.hasRung()) {
            fail("has not answered in time");
        } else {
            g_main_context_iteration(nullptr, TRUE);
        }
    }
    return isDone();
}

/** Called by the main loop, which knows no exceptions. */
void Companion::arrived() {
    if (!isRunning()) return;
    try {
        std::vector<uint8_t> bytes;
        switch (socket_.receive(bytes)) {
            case MessageSocket::Arrival::message:
                handle(bytes);
                break;
            case MessageSocket::Arrival::nothing:
                break;
            case MessageSocket::Arrival::ended:
                fail(farewell());
                break;
        }
    } catch (const std::exception& error) {
        fail(std::string("could not be listened to: ") + error.what());
    }
}

void Companion::handle(const std::vector<uint8_t>& bytes) {
    MessageReader reader(bytes);
    if (!listener_.received(reader)) fail("said what makes no sense");
}

void Companion::fail(const std::string& reason) {
    std::fprintf(stderr, "%s: %s\n", nameOf(program_).c_str(), reason.c_str());
    end();
    listener_.ended();
}

std::string Companion::farewell() {
    if (const std::optional<int> status = reap(kFarewellMs)) return textOf(*status);
    const std::optional<int> status = endProcess();
    // One that was just slow to end keeps the status that it ended with.
    const bool isOurDoing = !status || (WIFSIGNALED(*status) && WTERMSIG(*status) == SIGKILL);
    return isOurDoing ? "closed its connection" : textOf(*status);
}

/** The process's end, if it comes in time. A host may have had us ignore the ends of children; then there is
 * nothing to learn and nothing to reap. */
std::optional<int> Companion::reap(int patienceMs) {
    constexpr int stepMs = 2;
    for (int waitedMs = 0; pid_ > 0; waitedMs += stepMs) {
        int status = 0;
        const pid_t ended = waitpid(pid_, &status, WNOHANG);
        if (ended != 0) pid_ = -1;
        if (ended > 0) return status;
        if (ended < 0 || waitedMs >= patienceMs) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(stepMs));
    }
    return std::nullopt;
}

void Companion::end() {
    watch_.reset();
    socket_.close();
    endProcess();
}

std::optional<int> Companion::endProcess() {
    if (const std::optional<int> status = reap(0)) return status;
    if (pid_ <= 0) return std::nullopt;
    // It has just been seen alive, and it is ours to reap: the number is nobody else's.
    kill(pid_, SIGKILL);
    int status = 0;
    pid_t ended = -1;
    do {
        ended = waitpid(pid_, &status, 0);
    } while (ended < 0 && errno == EINTR);
    pid_ = -1;
    return ended > 0 ? std::optional(status) : std::nullopt;
}

std::string fileBeside(const void* address, const std::string& name) {
    Dl_info info{};
    if (dladdr(address, &info) == 0 || info.dli_fname == nullptr) return name;
    const std::string self = info.dli_fname;
    const size_t slash = self.rfind('/');
    return slash == std::string::npos ? name : self.substr(0, slash + 1) + name;
}

MessageSocket joinStarter() {
    // A starter that is killed while we hang in a library's call is noticed by this alone.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::signal(SIGPIPE, SIG_IGN);
    int kind = 0;
    socklen_t size = sizeof kind;
    const bool isConnected =
        getsockopt(kStarterDescriptor, SOL_SOCKET, SO_TYPE, &kind, &size) == 0 && kind == SOCK_SEQPACKET;
    if (!isConnected) return MessageSocket();
    // What the libraries start must not hold the connection open.
    fcntl(kStarterDescriptor, F_SETFD, FD_CLOEXEC);
    return MessageSocket(kStarterDescriptor);
}
