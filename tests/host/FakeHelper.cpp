#include "tests/host/FakeHelper.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>

namespace fake {
namespace {

Bytes littleEndian(uint64_t value, int size) {
    Bytes bytes;
    for (int i = 0; i < size; ++i)
        bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
    return bytes;
}

}  // namespace

Bytes intBytes(int64_t value) {
    return littleEndian(static_cast<uint64_t>(value), 4);
}
Bytes longBytes(int64_t value) {
    return littleEndian(static_cast<uint64_t>(value), 8);
}

Bytes textBytes(const std::string& text) {
    Bytes bytes = intBytes(static_cast<int64_t>(text.size()));
    bytes.insert(bytes.end(), text.begin(), text.end());
    return bytes;
}

Bytes join(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const auto& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

Bytes Peer::read(size_t count) {
    Bytes bytes(count);
    size_t have = 0;
    while (have < count) {
        const ssize_t got = ::recv(fd_, bytes.data() + have, count - have, 0);
        if (got <= 0) break;
        have += static_cast<size_t>(got);
    }
    bytes.resize(have);
    return bytes;
}

void Peer::write(const Bytes& bytes) {
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t sent = ::send(fd_, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (sent <= 0) return;
        done += static_cast<size_t>(sent);
    }
}

void Peer::trickle(const Bytes& bytes) {
    for (const uint8_t byte : bytes) {
        write({byte});
        std::this_thread::yield();
    }
}

void Peer::waitForClose() {
    while (!read(1).empty()) {
    }
}

void Peer::reset() {
    const linger abrupt{1, 0};
    ::setsockopt(fd_, SOL_SOCKET, SO_LINGER, &abrupt, sizeof abrupt);
}

FakeHelper::FakeHelper(Script script) : script_(std::move(script)) {
    listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (::bind(listener_, reinterpret_cast<sockaddr*>(&address), size) != 0 || ::listen(listener_, 50) != 0 ||
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        std::abort();
    }
    port_ = ntohs(address.sin_port);
    acceptor_ = std::thread([this] { acceptAll(); });
}

FakeHelper::~FakeHelper() {
    {
        const std::lock_guard lock(mutex_);
        isEnding_ = true;
        for (const int fd : sockets_)
            ::shutdown(fd, SHUT_RDWR);
    }
    ::shutdown(listener_, SHUT_RDWR);
    acceptor_.join();
    for (auto& thread : threads_)
        thread.join();
    ::close(listener_);
}

void FakeHelper::acceptAll() {
    for (;;) {
        const int fd = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) return;
        const int on = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        const std::lock_guard lock(mutex_);
        if (isEnding_) {
            ::close(fd);
            return;
        }
        sockets_.push_back(fd);
        threads_.emplace_back([this, fd] {
            Peer peer(fd);
            script_(peer);
            const std::lock_guard closing(mutex_);
            std::erase(sockets_, fd);
            ::close(fd);
        });
    }
}

}  // namespace fake
