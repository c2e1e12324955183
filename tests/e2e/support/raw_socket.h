/* raw_socket.h: one end of a loopback connection, as bytes.
 *
 * Thread: one thread at a time.
 * Owns:   the socket, until close() or the end of the object.
 * Errors: a connection that cannot be made and bytes that do not come are test failures, told where they
 *         happen; a receive then answers what did arrive, so that the comparison that follows shows it.
 */
#pragma once

#include <chrono>
#include <cstddef>

#include "tests/e2e/support/patience.h"
#include "tests/e2e/support/wire_values.h"

namespace e2e {

class RawClient {
public:
    RawClient() = default;
    explicit RawClient(int port) { connect(port); }
    ~RawClient() { close(); }
    RawClient(RawClient&& other) noexcept;
    RawClient& operator=(RawClient&& other) noexcept;
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    /** Fails the test when nobody listens. */
    bool connect(int port);
    /** The same without failing: 0, or the system's error number. */
    int tryConnect(int port);
    bool isOpen() const { return descriptor_ >= 0; }
    /** Pieces in which the other end's bytes have come so far. */
    size_t segmentsReceived() const;

    /** False when the other end is gone; that is not a failure by itself. */
    bool send(const Bytes& bytes);
    /** Exactly so many bytes; fewer, and a failure, when they do not come in time. */
    Bytes receive(size_t count, std::chrono::milliseconds patience = kPatience);
    /** Everything until the other end closes; a failure when it does not close in time. */
    Bytes receiveUntilClosed(std::chrono::milliseconds patience = kPatience);
    /** What arrives within the time, at most so many bytes; never a failure. */
    Bytes receiveSome(size_t atMost, std::chrono::milliseconds patience);

    /** Nothing arrives and the connection stays open for the time. */
    void expectSilence(std::chrono::milliseconds howLong = kSilence);
    /** The other end closes, without another byte. */
    void expectClosed();

    /** Ends only our sending half: the helper sees the end of the stream and may still answer. */
    void finishSending();
    void close();
    /** Closes with a reset, as a host that dies does. */
    void abort();

private:
    /** Appends one piece; 1: got some, 0: closed by the other end, -1: time is up. */
    int receivePiece(Bytes& into, size_t atMost, std::chrono::steady_clock::time_point end);

    int descriptor_ = -1;
};

}  // namespace e2e
