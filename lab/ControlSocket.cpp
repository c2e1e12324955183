#include "lab/ControlSocket.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <list>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "lab/Control.h"
#include "lab/Threads.h"

namespace lab {

namespace {

class Descriptor {
public:
    explicit Descriptor(int value = -1) : value_(value) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor&& other) noexcept : value_(std::exchange(other.value_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) reset(std::exchange(other.value_, -1));
        return *this;
    }
    int get() const { return value_; }
    void reset(int value = -1) {
        if (value_ >= 0) close(value_);
        value_ = value;
    }

private:
    int value_;
};

std::string systemText(int error) {
    return std::generic_category().message(error);
}

/** One host or test that sends commands. */
class Connection {
public:
    explicit Connection(Descriptor socket) : socket_(std::move(socket)) {}

    int socket() const { return socket_.get(); }
    short interest() const { return output_.empty() ? POLLIN : POLLOUT; }

    /** False when the other end has gone. */
    bool serve() { return output_.empty() ? receive() : flush(); }

private:
    bool receive() {
        std::array<char, 65536> buffer;
        const ssize_t got = recv(socket_.get(), buffer.data(), buffer.size(), 0);
        if (got < 0) return errno == EAGAIN || errno == EINTR;
        if (got == 0) return false;
        input_.append(buffer.data(), static_cast<size_t>(got));
        return answerLines();
    }

    /** Answers line by line, and only as fast as the answers are fetched. */
    bool answerLines() {
        size_t from = 0;
        while (output_.empty()) {
            const size_t end = input_.find('\n', from);
            if (end == std::string::npos) break;
            answer(std::string_view(input_).substr(from, end - from));
            from = end + 1;
            if (!send()) return false;
        }
        input_.erase(0, from);
        if (!output_.empty() || input_.find('\n') != std::string::npos) return true;
        if (input_.size() > kMostLineBytes) {
            isSkipping_ = true;
            input_.clear();
        }
        return true;
    }

    void answer(std::string_view line) {
        const bool isTooLong = std::exchange(isSkipping_, false) || line.size() > kMostLineBytes;
        if (line.ends_with('\r')) line.remove_suffix(1);
        if (isTooLong) {
            output_ = refusal("the line is longer than " + std::to_string(kMostLineBytes) + " bytes");
        } else {
            output_ = control(line);
        }
        output_ += '\n';
    }

    bool flush() { return send() && (!output_.empty() || answerLines()); }

    bool send() {
        size_t done = 0;
        bool isOpen = true;
        while (done < output_.size()) {
            const ssize_t put =
                ::send(socket_.get(), output_.data() + done, output_.size() - done, MSG_NOSIGNAL);
            if (put < 0 && errno == EINTR) continue;
            if (put < 0) {
                isOpen = errno == EAGAIN;
                break;
            }
            done += static_cast<size_t>(put);
        }
        output_.erase(0, done);
        return isOpen;
    }

    Descriptor socket_;
    std::string input_;
    std::string output_;
    bool isSkipping_ = false;  // the rest of an overlong line is still coming
};

class Server {
public:
    explicit Server(Descriptor listener) : listener_(std::move(listener)) {}

    [[noreturn]] void run() {
        for (;;) {
            serveOnce();
        }
    }

private:
    /** While there is no descriptor for a newcomer, he waits; asking again at once would spin. */
    static constexpr int kPauseMs = 100;

    void serveOnce() {
        std::vector<pollfd> polled;
        polled.push_back({isFull_ ? -1 : listener_.get(), POLLIN, 0});
        for (const Connection& connection : connections_) {
            polled.push_back({connection.socket(), connection.interest(), 0});
        }
        const int ready = poll(polled.data(), polled.size(), isFull_ ? kPauseMs : -1);
        isFull_ = false;
        if (ready <= 0) return;
        auto connection = connections_.begin();
        for (size_t i = 1; i < polled.size(); ++i) {
            const bool isOpen = polled[i].revents == 0 || connection->serve();
            connection = isOpen ? std::next(connection) : connections_.erase(connection);
        }
        if (polled[0].revents != 0) accept();
    }

    void accept() {
        Descriptor socket(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (socket.get() >= 0) {
            connections_.emplace_back(std::move(socket));
        } else {
            isFull_ = errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == ENOBUFS;
        }
    }

    Descriptor listener_;
    std::list<Connection> connections_;
    bool isFull_ = false;
};

bool makeAddress(const std::string& path, sockaddr_un& out) {
    out = {};
    out.sun_family = AF_UNIX;
    if (path.size() >= sizeof out.sun_path) return false;
    std::memcpy(out.sun_path, path.data(), path.size());
    return true;
}

const sockaddr* plain(const sockaddr_un& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

/** Takes away what an earlier process left behind; a text when something else stands in the way. */
std::string clearPath(const std::string& path, const sockaddr_un& address) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) return {};
    if (!S_ISSOCK(status.st_mode)) return "something that is no socket stands there";
    const Descriptor probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const bool isAnswered = connect(probe.get(), plain(address), sizeof address) == 0;
    // EAGAIN: by somebody who accepts nobody just now. To wait for them would keep the process from its
    // main().
    if (isAnswered || errno == EAGAIN) return "somebody listens there already";
    if (errno != ECONNREFUSED) return systemText(errno);
    return unlink(path.c_str()) == 0 || errno == ENOENT ? std::string() : systemText(errno);
}

/** The file goes with the process, unless somebody has put another in its place. */
struct SocketFile {
    std::string path;
    dev_t device = 0;
    ino_t inode = 0;
};

SocketFile& socketFile() {
    static auto* file = new SocketFile;
    return *file;
}

void removeSocketFile() {
    const SocketFile& file = socketFile();
    struct stat status {};
    if (lstat(file.path.c_str(), &status) != 0) return;
    if (status.st_dev == file.device && status.st_ino == file.inode) unlink(file.path.c_str());
}

void removeAtExit(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) return;
    // The process may have changed its folder by then.
    const std::unique_ptr<char, void (*)(void*)> absolute(realpath(path.c_str(), nullptr), std::free);
    if (!absolute) return;
    socketFile() = {absolute.get(), status.st_dev, status.st_ino};
    std::atexit(removeSocketFile);
}

}  // namespace

std::string startControlSocket(const std::string& path) {
    constexpr mode_t kOwnerOnly = 0600;
    sockaddr_un address{};
    if (!makeAddress(path, address)) {
        return "a socket's path has at most " + std::to_string(sizeof address.sun_path - 1) + " bytes";
    }
    if (std::string problem = clearPath(path, address); !problem.empty()) return problem;
    Descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    // The mode is set before the file appears, so that nobody else gets a moment.
    if (listener.get() < 0 || fchmod(listener.get(), kOwnerOnly) != 0 ||
        bind(listener.get(), plain(address), sizeof address) != 0) {
        return systemText(errno);
    }
    removeAtExit(path);
    if (listen(listener.get(), SOMAXCONN) != 0) return systemText(errno);
    try {
        startThread("lab-control",
                    [server = std::make_shared<Server>(std::move(listener))] { server->run(); });
    } catch (const std::system_error& error) {
        return error.what();
    }
    return {};
}

}  // namespace lab
