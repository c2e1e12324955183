/* CallConnection.h: one connection that carries remote calls to the helper.
 *
 * A call is module byte, method byte and arguments. The helper answers with the start header (both bytes
 * again) when it has read them, and with the result header and the result when the call is done, however long
 * that takes. Calls on one connection run one after the other; several connections run in parallel.
 *
 * Thread: one call at a time; different connections are independent.
 * Owns:   the socket.
 * Errors: Result.h. A call that fails after its first byte has been sent closes the connection, because
 * nobody knows any more where the next answer starts; later calls answer connectionLost. An unknown method is
 *         answered with nothing at all, so it ends in a timeout.
 */
#pragma once

#include <functional>
#include <string>

#include "host/client/Wire.h"

namespace tarvo {

class CallConnection {
public:
    Error open(uint16_t port, std::chrono::milliseconds limit);
    bool isOpen() const { return socket_.isOpen(); }
    void close() { socket_.reset(); }

    /** Every wait ends with Failure::interrupted once this descriptor is readable; -1: none. It is borrowed.
     */
    void setInterrupt(int fd) { interruptFd_ = fd; }
    /** Times of life (Patience::activity) that prolong the calls made with `prolonged`; borrowed, may be
     * null. */
    void setActivity(const std::atomic<int64_t>* activity) { activity_ = activity; }

    struct Call {
        uint8_t module;
        uint8_t method;
        const char* name;  // for the texts of errors
        std::chrono::milliseconds limit;
        bool prolonged = false;  // the limit counts from the newest sign of life
    };
    using ReadResult = std::function<Error(int fd, const Patience& patience)>;

    /** Makes the call; `read` takes the result from the socket (empty: the method has none). */
    Error make(const Call& call, const Arguments& arguments, const ReadResult& read);

private:
    Error exchange(const Call& call, const Arguments& arguments, const ReadResult& read);
    Error checkHeader(const Call& call, const char* which, const Patience& patience);

    Descriptor socket_;
    int interruptFd_ = -1;
    const std::atomic<int64_t>* activity_ = nullptr;
    std::string lostBy_;  // why the connection was closed
};

}  // namespace tarvo
