/* module_calls.h: what the calls of all modules have in common: two headers, and results by kind.
 *
 * Thread: one thread at a time for one connection.
 * Owns:   its connection.
 * Errors: missing or wrong bytes fail the test; the value returned is then zero or empty.
 * Follows: docs/protocol.md.
 */
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "tests/e2e/support/raw_socket.h"

namespace e2e {

enum class ResultKind { none, byte, int32, int64, fraction, text, bytes, ints, texts };

/** A method as the wire sees it. */
struct Method {
    int id;
    const char* name;
    /** One letter an argument: m module handle, c camera handle, i int, b byte, f fraction, s text, l long.
     */
    const char* arguments;
    ResultKind result;
};

/** A module's byte and all of its methods, by rising id. */
struct Module {
    int id;
    std::span<const Method> methods;

    /** Fails the test for an id that there is not. */
    const Method& method(int methodId) const;
};

class ModuleCalls {
public:
    RawClient& socket() { return socket_; }

    // The parts of a call, for tests that do something between them.
    void send(int id, const Bytes& arguments = {});
    void expectHeader(int id);
    int32_t receiveInt();
    int64_t receiveLong();
    std::string receiveText();
    Bytes receiveBytes();
    /** The result of the method as raw bytes, lengths and counts included. */
    Bytes receiveResult(const Method& method);
    /** A whole call: both headers checked, the result as raw bytes. */
    Bytes call(int id, const Bytes& arguments = {});

protected:
    ModuleCalls(const Module& module, RawClient socket) : module_(module), socket_(std::move(socket)) {}

    int32_t callForInt(int id, const Bytes& arguments);
    int64_t callForLong(int id, const Bytes& arguments);
    bool callForFlag(int id, const Bytes& arguments);
    std::string callForText(int id, const Bytes& arguments);
    /** What an array of bytes or a text holds, without its length. */
    Bytes callForBytes(int id, const Bytes& arguments);

private:
    Module module_;
    RawClient socket_;
};

/** What stands for the arguments of a call about which nothing matters but its handle. */
struct MadeUp {
    int64_t handle = 0;
    int32_t number = 1;
    std::string_view text = "/nowhere/frame";
};

Bytes argumentsOf(const Method& method, const MadeUp& values);

/** The result that says nothing: zero, false, an empty text or array. */
Bytes emptyResult(const Method& method);

}  // namespace e2e
