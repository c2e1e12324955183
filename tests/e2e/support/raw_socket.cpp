#include "tests/e2e/support/raw_socket.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <linux/tcp.h>  // the C library's own counts no segments
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace e2e {

RawClient::RawClient(RawClient&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

RawClient& RawClient::operator=(RawClient&& other) noexcept {
    if (this != &other) {
        close();
        descriptor_ = std::exchange(other.descriptor_, -1);
    }
    return *this;
}

int RawClient::tryConnect(int port) {
    close();
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) return errno;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const int error = errno;
        ::close(descriptor);
        return error;
    }
    const int on = 1;
    ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    descriptor_ = descriptor;
    return 0;
}

size_t RawClient::segmentsReceived() const {
    tcp_info info{};
    socklen_t size = sizeof info;
    EXPECT_EQ(::getsockopt(descriptor_, IPPROTO_TCP, TCP_INFO, &info, &size), 0);
    return info.tcpi_data_segs_in;
}

bool RawClient::connect(int port) {
    const int error = tryConnect(port);
    if (error != 0) ADD_FAILURE() << "cannot connect to port " << port << ": " << std::strerror(error);
    return error == 0;
}

bool RawClient::send(const Bytes& bytes) {
    size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t result = ::send(descriptor_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (result < 0 && errno == EINTR) continue;
        if (result <= 0) return false;
        sent += static_cast<size_t>(result);
    }
    return true;
}

int RawClient::receivePiece(Bytes& into, size_t atMost, std::chrono::steady_clock::time_point end) {
    // poll() passes a closed descriptor over and would wait for nothing, to the end.
    if (!isOpen()) return 0;
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        pollfd waiting{descriptor_, POLLIN, 0};
        const int ready = ::poll(&waiting, 1, static_cast<int>(std::max<int64_t>(left.count(), 0)));
        if (ready < 0 && errno == EINTR) continue;
        if (ready == 0) return -1;
        std::array<uint8_t, 65536> piece;
        const ssize_t got = ::recv(descriptor_, piece.data(), std::min(piece.size(), atMost), 0);
        if (got < 0 && errno == EINTR) continue;
        // A reset ends a connection as surely as an orderly end does.
        if (got <= 0) return 0;
        into.insert(into.end(), piece.begin(), piece.begin() + got);
        return 1;
    }
}

Bytes RawClient::receive(size_t count, std::chrono::milliseconds patience) {
    Bytes bytes;
    const auto end = std::chrono::steady_clock::now() + patience;
    while (bytes.size() < count) {
        const int result = receivePiece(bytes, count - bytes.size(), end);
        if (result > 0) continue;
        ADD_FAILURE() << (result == 0 ? "connection closed" : "nothing more came") << " after "
                      << bytes.size() << " of " << count << " bytes: " << hex(bytes);
        // Later receives on this connection would each wait in vain; let them fail at once.
        close();
        break;
    }
    return bytes;
}

Bytes RawClient::receiveSome(size_t atMost, std::chrono::milliseconds patience) {
    Bytes bytes;
    const auto end = std::chrono::steady_clock::now() + patience;
    while (bytes.size() < atMost && receivePiece(bytes, atMost - bytes.size(), end) > 0) {
    }
    return bytes;
}

Bytes RawClient::receiveUntilClosed(std::chrono::milliseconds patience) {
    Bytes bytes;
    const auto end = std::chrono::steady_clock::now() + patience;
    int result = 1;
    while (result > 0) {
        result = receivePiece(bytes, SIZE_MAX, end);
    }
    EXPECT_EQ(result, 0) << "the helper keeps the connection open";
    return bytes;
}

void RawClient::expectSilence(std::chrono::milliseconds howLong) {
    Bytes bytes;
    const int result = receivePiece(bytes, SIZE_MAX, std::chrono::steady_clock::now() + howLong);
    EXPECT_NE(result, 0) << "the helper closed the connection";
    EXPECT_EQ(hex(bytes), "");
}

void RawClient::expectClosed() {
    EXPECT_EQ(hex(receiveUntilClosed()), "");
}

void RawClient::finishSending() {
    ::shutdown(descriptor_, SHUT_WR);
}

void RawClient::close() {
    if (descriptor_ >= 0) ::close(std::exchange(descriptor_, -1));
}

void RawClient::abort() {
    const linger now{1, 0};
    ::setsockopt(descriptor_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    close();
}

}  // namespace e2e
