/* Socket.h: stream sockets with a limit on every wait.
 *
 * Thread: one caller at a time for each direction of a socket.
 * Units:  limits in milliseconds of the monotonic clock, counted from when the Patience was made.
 * Errors: Result.h. Short reads and writes, EINTR and EAGAIN are dealt with here; a closed peer is an error
 * and never a signal. A failed transfer leaves the socket at an unknown byte: close it.
 */
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <span>
#include <string>

#include "host/client/Descriptor.h"
#include "host/client/Result.h"

namespace tarvo {

using Clock = std::chrono::steady_clock;

/** How long to wait for the other end, and what cuts the wait short. */
struct Patience {
    std::chrono::milliseconds limit{30'000};
    Clock::time_point since = Clock::now();
    int interruptFd = -1;  // readable: give up at once; -1: none
    // Signs of life, as nanoseconds of Clock: the limit counts from the newest one. A transfer of unknown
    // length is bounded by this, while a stuck one still ends. Null: none.
    const std::atomic<int64_t>* activity = nullptr;
};

/** A connected, non-blocking socket to 127.0.0.1, small writes sent at once. */
Result<Descriptor> connectLoopback(uint16_t port, const Patience& patience);
/** A connected, non-blocking Unix stream socket. */
Result<Descriptor> connectUnix(const std::string& path, const Patience& patience);

Error sendAll(int fd, std::span<const uint8_t> bytes, const Patience& patience);
/** Fills the whole span, or fails. */
Error receiveAll(int fd, std::span<uint8_t> bytes, const Patience& patience);
/** Receives what is there, at least one byte; 0 bytes mean that the peer has closed. */
Result<size_t> receiveSome(int fd, std::span<uint8_t> bytes, const Patience& patience);

/** Waits until the process at the other end of a connection to this machine's `port` has read everything that
 * was sent, by looking into the kernel's table of sockets. Where there is no such table it does not wait. */
Error waitUntilTaken(int fd, uint16_t port, const Patience& patience);

}  // namespace tarvo
