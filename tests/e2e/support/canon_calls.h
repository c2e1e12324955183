/* canon_calls.h: the Canon calls of a host, one function a method, both headers checked.
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
#include <vector>

#include "tests/e2e/support/raw_socket.h"

namespace e2e {

enum class ResultKind { none, byte, int32, fraction, text, ints, bytes };

/** A method as the wire sees it. */
struct CanonMethod {
    int id;
    const char* name;
    /** One letter an argument: i int, b byte, f fraction, s text, l long. */
    const char* arguments;
    ResultKind result;
};

/** All 24, by rising id. */
std::span<const CanonMethod> canonMethods();
const CanonMethod& canonMethod(int id);

class CanonCalls {
public:
    explicit CanonCalls(int port) : socket_(port) {}
    explicit CanonCalls(RawClient socket) : socket_(std::move(socket)) {}

    RawClient& socket() { return socket_; }

    // The parts of a call, for tests that do something between them.
    void send(int id, const Bytes& arguments = {});
    void expectHeader(int id);
    int32_t receiveInt();
    std::string receiveText();
    std::vector<int32_t> receiveInts();
    Bytes receiveBytes();
    /** The result of the method as raw bytes, lengths and counts included. */
    Bytes receiveResult(const CanonMethod& method);
    /** A whole call: both headers checked, the result as raw bytes. */
    Bytes call(int id, const Bytes& arguments = {});

    int32_t initializeSdk() { return callForInt(1, {}); }
    int32_t terminateSdk() { return callForInt(23, {}); }
    std::vector<int32_t> cameraList();
    std::string cameraName(int32_t reference);
    int32_t openSession(int32_t reference) { return callForInt(7, Message().int32(reference)); }
    int32_t closeSession(int32_t handle) { return callForInt(8, Message().int32(handle)); }
    std::string firmwareVersion(int32_t handle);
    int32_t getSetting(int32_t handle, int property);
    bool setSetting(int32_t handle, int property, int64_t value);
    std::vector<int32_t> settingOptions(int32_t handle, int property);
    int32_t preCapture(int32_t handle, std::string_view path, bool halfPress = false);
    /** The deadline is in microseconds of the wall clock; 0 is long past. */
    int32_t capture(int32_t handle, std::string_view path, int64_t deadline = 0);
    int32_t download(int32_t handle, int32_t item);
    void extendShutdownTimer(int32_t handle) { call(26, Message().int32(handle)); }
    int32_t startLiveView(int32_t handle) { return callForInt(9, Message().int32(handle)); }
    int32_t stopLiveView(int32_t handle) { return callForInt(10, Message().int32(handle)); }
    Bytes liveViewFrame(int32_t handle);
    bool isLiveViewZoom(int32_t handle);
    void setLiveViewZoom(int32_t handle, bool zoom) { call(20, Message().int32(handle).byte(zoom ? 1 : 0)); }
    void setLiveViewZoomPosition(int32_t handle, double x, double y);
    /** In millionths, as they travel. */
    int64_t liveViewZoomX(int32_t handle) { return callForLong(14, Message().int32(handle)); }
    int64_t liveViewZoomY(int32_t handle) { return callForLong(15, Message().int32(handle)); }
    void driveFocus(int32_t handle, int32_t steps) { call(11, Message().int32(handle).int32(steps)); }
    void idle() { call(18); }

private:
    int32_t callForInt(int id, const Bytes& arguments);
    int64_t callForLong(int id, const Bytes& arguments);

    RawClient socket_;
};

/** Arguments of the right shape for any method: every int the given one, texts, bytes and times made up. */
Bytes argumentsFor(const CanonMethod& method, int32_t everyInt, std::string_view text = "/nowhere/frame");

/** The answer of a method to a handle that is no session, result only. */
Bytes noSessionResult(const CanonMethod& method);

}  // namespace e2e
