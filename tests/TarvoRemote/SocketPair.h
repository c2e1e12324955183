/* SocketPair.h: two connected stream sockets: one for the code under test, one for the test. */
#pragma once

#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <vector>

using Bytes = std::vector<uint8_t>;

class SocketPair {
public:
    SocketPair() { socketpair(AF_UNIX, SOCK_STREAM, 0, ends_); }
    ~SocketPair() {
        closePeer();
        close(ends_[0]);
    }
    SocketPair(const SocketPair&) = delete;
    SocketPair& operator=(const SocketPair&) = delete;

    /** The end that the code under test gets. */
    int socket() const { return ends_[0]; }
    int peer() const { return ends_[1]; }

    void feed(const Bytes& bytes) const { (void)!write(ends_[1], bytes.data(), bytes.size()); }

    /** What was sent so far and nothing more. */
    Bytes sent() const {
        uint8_t buffer[8192];
        const ssize_t count = recv(ends_[1], buffer, sizeof buffer, MSG_DONTWAIT);
        return count > 0 ? Bytes(buffer, buffer + count) : Bytes{};
    }

    /** What the code under test left unread. */
    Bytes unread() const {
        uint8_t buffer[8192];
        const ssize_t count = recv(ends_[0], buffer, sizeof buffer, MSG_DONTWAIT);
        return count > 0 ? Bytes(buffer, buffer + count) : Bytes{};
    }

    void closePeer() {
        if (ends_[1] >= 0) close(ends_[1]);
        ends_[1] = -1;
    }

private:
    int ends_[2] = {-1, -1};
};
