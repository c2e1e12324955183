#include "host/client/Socket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

namespace tarvo {
namespace {

std::string systemText(int number) {
    return std::strerror(number);
}

Clock::time_point endOf(const Patience& patience) {
    auto start = patience.since;
    if (patience.activity != nullptr) {
        const std::chrono::nanoseconds sign{patience.activity->load(std::memory_order_relaxed)};
        start = std::max(start, Clock::time_point{std::chrono::duration_cast<Clock::duration>(sign)});
    }
    return start + patience.limit;
}

int pollMilliseconds(const Patience& patience) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(endOf(patience) - Clock::now());
    // A sign of life moves the end while we sleep, so look again at least that often.
    const int64_t longest = 60'000;
    return static_cast<int>(std::clamp<int64_t>(left.count(), 0, longest));
}

Error waitUntilReady(int fd, short events, const Patience& patience) {
    for (;;) {
        pollfd watched[2] = {{fd, events, 0}, {patience.interruptFd, POLLIN, 0}};
        const int wait = pollMilliseconds(patience);
        const int ready = ::poll(watched, 2, wait);  // a negative descriptor is passed over by poll
        if (ready < 0 && errno != EINTR) {
            return failed(Failure::connectionLost, "waiting for the other end failed: " + systemText(errno));
        }
        if (ready > 0 && watched[1].revents != 0) return failed(Failure::interrupted, "interrupted");
        if (ready > 0) return {};
        if (ready == 0 && Clock::now() >= endOf(patience)) {
            return failed(Failure::timeout,
                          "nothing came within " + std::to_string(patience.limit.count()) + " ms");
        }
    }
}

bool wouldBlock(int number) {
    return number == EAGAIN || number == EWOULDBLOCK || number == EINTR;
}

Result<Descriptor> connectTo(int family, const sockaddr* address, socklen_t length,
                             const Patience& patience) {
    Descriptor fd{::socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)};
    if (!fd.isOpen()) return {failed(Failure::notReachable, "no socket to be had: " + systemText(errno)), {}};
    int problem = ::connect(fd.get(), address, length) == 0 ? 0 : errno;
    if (problem == EINPROGRESS || problem == EINTR) {
        if (auto error = waitUntilReady(fd.get(), POLLOUT, patience)) return {std::move(error), {}};
        socklen_t size = sizeof problem;
        if (::getsockopt(fd.get(), SOL_SOCKET, SO_ERROR, &problem, &size) != 0) problem = errno;
    }
    if (problem != 0) return {failed(Failure::notReachable, systemText(problem)), {}};
    return {{}, std::move(fd)};
}

/** What the other end of our connection has not read yet, in bytes; -1: it is not in the table. */
int64_t unreadBytes(std::ifstream& table, const std::string& theirs, const std::string& ours) {
    std::string line;
    while (std::getline(table, line)) {
        // "  0: 0100007F:D637 0100007F:C350 01 00000000:00000001 ...": number, local, remote, state,
        // send:receive queue
        std::istringstream fields(line);
        std::string number, local, remote, state, queues;
        fields >> number >> local >> remote >> state >> queues;
        const auto colon = queues.find(':');
        if (local != theirs || remote != ours || colon == std::string::npos) continue;
        return static_cast<int64_t>(std::strtoul(queues.c_str() + colon + 1, nullptr, 16));
    }
    return -1;
}

/** As the table writes an address: the address in the machine's own order, the port as a number. */
std::string tableAddress(uint32_t address, uint16_t port) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%08X:%04X", address, static_cast<unsigned>(port));
    return text.data();
}

}  // namespace

Error waitUntilTaken(int fd, uint16_t port, const Patience& patience) {
    sockaddr_in self{};
    socklen_t size = sizeof self;
    if (::getsockname(fd, reinterpret_cast<sockaddr*>(&self), &size) != 0) return {};
    const std::string theirs = tableAddress(self.sin_addr.s_addr, port);
    const std::string ours = tableAddress(self.sin_addr.s_addr, ntohs(self.sin_port));
    for (;;) {
        std::ifstream table("/proc/net/tcp");
        if (!table) return {};
        // An end that is not in the table any more has been closed; the next read tells.
        if (unreadBytes(table, theirs, ours) <= 0) return {};
        if (Clock::now() >= endOf(patience)) {
            return failed(Failure::timeout, "the helper does not take what was sent to it");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

Result<Descriptor> connectLoopback(uint16_t port, const Patience& patience) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto result = connectTo(AF_INET, reinterpret_cast<const sockaddr*>(&address), sizeof address, patience);
    if (!result.ok()) {
        result.error.text = "cannot connect to 127.0.0.1:" + std::to_string(port) + ": " + result.error.text;
        return result;
    }
    // Calls are small and wait for their answers; gathering them would only delay them.
    const int on = 1;
    ::setsockopt(result.value.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return result;
}

Result<Descriptor> connectUnix(const std::string& path, const Patience& patience) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path) {
        return {failed(Failure::badArgument, "socket path '" + path + "' has " + std::to_string(path.size()) +
                                                 " bytes; it needs 1 to " +
                                                 std::to_string(sizeof address.sun_path - 1)),
                {}};
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    auto result = connectTo(AF_UNIX, reinterpret_cast<const sockaddr*>(&address), sizeof address, patience);
    if (!result.ok()) result.error.text = "cannot connect to '" + path + "': " + result.error.text;
    return result;
}

Error sendAll(int fd, std::span<const uint8_t> bytes, const Patience& patience) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent >= 0) {
            bytes = bytes.subspan(static_cast<size_t>(sent));
            continue;
        }
        if (!wouldBlock(errno))
            return failed(Failure::connectionLost, "sending failed: " + systemText(errno));
        if (auto error = waitUntilReady(fd, POLLOUT, patience)) return error;
    }
    return {};
}

Result<size_t> receiveSome(int fd, std::span<uint8_t> bytes, const Patience& patience) {
    for (;;) {
        const ssize_t got = ::recv(fd, bytes.data(), bytes.size(), 0);
        if (got >= 0) return {{}, static_cast<size_t>(got)};
        if (!wouldBlock(errno)) {
            return {failed(Failure::connectionLost, "receiving failed: " + systemText(errno)), 0};
        }
        if (auto error = waitUntilReady(fd, POLLIN, patience)) return {std::move(error), 0};
    }
}

Error receiveAll(int fd, std::span<uint8_t> bytes, const Patience& patience) {
    const size_t wanted = bytes.size();
    while (!bytes.empty()) {
        const auto got = receiveSome(fd, bytes, patience);
        if (!got.ok()) return got.error;
        if (got.value == 0) {
            return failed(Failure::connectionLost, "the other end closed after " +
                                                       std::to_string(wanted - bytes.size()) + " of " +
                                                       std::to_string(wanted) + " bytes");
        }
        bytes = bytes.subspan(got.value);
    }
    return {};
}

}  // namespace tarvo
