/* FakeHelper.h: a server that speaks bytes of its own, for tests of the client library.
 *
 * It shares no code with the library or with the helper. Every accepted connection runs the script on a
 * thread of its own; the connection is closed when the script returns.
 *
 * Thread: scripts run in parallel; the destructor wakes them by shutting their sockets down and joins them.
 */
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace fake {

using Bytes = std::vector<uint8_t>;

/** Values as they should look on the wire. */
Bytes intBytes(int64_t value);
Bytes longBytes(int64_t value);
Bytes textBytes(const std::string& text);
Bytes join(std::initializer_list<Bytes> parts);

/** The server's end of one connection. */
class Peer {
public:
    explicit Peer(int fd) : fd_(fd) {}
    /** Exactly so many bytes; fewer when the client closes. */
    Bytes read(size_t count);
    void write(const Bytes& bytes);
    /** One byte a segment. */
    void trickle(const Bytes& bytes);
    /** Waits until the client closes. */
    void waitForClose();
    /** Ends the connection so that the client gets a reset. */
    void reset();

private:
    int fd_;
};

class FakeHelper {
public:
    using Script = std::function<void(Peer& peer)>;

    explicit FakeHelper(Script script);
    FakeHelper(const FakeHelper&) = delete;
    FakeHelper& operator=(const FakeHelper&) = delete;
    ~FakeHelper();

    uint16_t port() const { return port_; }

private:
    void acceptAll();

    Script script_;
    int listener_ = -1;
    uint16_t port_ = 0;
    std::thread acceptor_;
    std::mutex mutex_;
    bool isEnding_ = false;
    std::vector<int> sockets_;
    std::vector<std::thread> threads_;
};

}  // namespace fake
