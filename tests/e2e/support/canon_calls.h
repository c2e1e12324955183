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
#include <utility>
#include <vector>

#include "tests/e2e/support/module_calls.h"

namespace e2e {

using CanonMethod = Method;

/** All 24, by rising id. */
std::span<const CanonMethod> canonMethods();
const CanonMethod& canonMethod(int id);

class CanonCalls : public ModuleCalls {
public:
    explicit CanonCalls(int port) : CanonCalls(RawClient(port)) {}
    explicit CanonCalls(RawClient socket);

    int32_t initializeSdk() { return callForInt(1, {}); }
    int32_t terminateSdk() { return callForInt(23, {}); }
    std::vector<int32_t> cameraList();
    std::string cameraName(int32_t reference) { return callForText(5, Message().int32(reference)); }
    int32_t openSession(int32_t reference) { return callForInt(7, Message().int32(reference)); }
    int32_t closeSession(int32_t handle) { return callForInt(8, Message().int32(handle)); }
    std::string firmwareVersion(int32_t handle) { return callForText(12, Message().int32(handle)); }
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
    Bytes liveViewFrame(int32_t handle) { return callForBytes(13, Message().int32(handle)); }
    bool isLiveViewZoom(int32_t handle) { return callForFlag(19, Message().int32(handle)); }
    void setLiveViewZoom(int32_t handle, bool zoom) { call(20, Message().int32(handle).byte(zoom ? 1 : 0)); }
    void setLiveViewZoomPosition(int32_t handle, double x, double y);
    /** In millionths, as they travel. */
    int64_t liveViewZoomX(int32_t handle) { return callForLong(14, Message().int32(handle)); }
    int64_t liveViewZoomY(int32_t handle) { return callForLong(15, Message().int32(handle)); }
    void driveFocus(int32_t handle, int32_t steps) { call(11, Message().int32(handle).int32(steps)); }
    void idle() { call(18); }
};

/** Arguments of the right shape for any method: every int the given one, texts, bytes and times made up. */
Bytes argumentsFor(const CanonMethod& method, int32_t everyInt, std::string_view text = "/nowhere/frame");

/** The answer of a method to a handle that is no session, result only. */
Bytes noSessionResult(const CanonMethod& method);

}  // namespace e2e
