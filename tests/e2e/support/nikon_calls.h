/* nikon_calls.h: the Nikon calls of a host, one function a method, both headers checked.
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

#include "tests/e2e/support/module_calls.h"

namespace e2e {

using NikonMethod = Method;

/** All 23, by rising id. */
std::span<const NikonMethod> nikonMethods();
const NikonMethod& nikonMethod(int id);

class NikonCalls : public ModuleCalls {
public:
    explicit NikonCalls(int port);

    int64_t initializeSdk(std::string_view directory, int32_t moduleType);
    int32_t terminateSdk(int64_t module) { return callForInt(2, Message().int64(module)); }
    int32_t cameraCount(int64_t module) { return callForInt(3, Message().int64(module)); }
    int32_t cameraType(int64_t module, int32_t index);
    int64_t selectCamera(int64_t module, int32_t index);
    std::vector<std::string> settingOptions(int64_t camera, int64_t capability);
    int32_t getSetting(int64_t camera, int64_t capability);
    void setSetting(int64_t camera, int64_t capability, int32_t index);
    int32_t batteryLevel(int64_t camera) { return callForInt(9, Message().int64(camera)); }
    bool bracketing(int64_t camera) { return callForFlag(10, Message().int64(camera)); }
    bool setLiveView(int64_t camera, bool on);
    bool isLiveView(int64_t camera) { return callForFlag(12, Message().int64(camera)); }
    Bytes liveViewImage(int64_t camera) { return callForBytes(13, Message().int64(camera)); }
    void driveFocus(int64_t camera, int32_t steps) { call(14, Message().int64(camera).int32(steps)); }
    void setZoomPosition(int64_t camera, int32_t x, int32_t y);
    /** Methods 16 to 19: position x and y, width, height. */
    std::vector<int32_t> zoom(int64_t camera);
    /** The deadline is in microseconds of the wall clock; 0 is long past. */
    int32_t capture(int64_t camera, std::string_view path, int64_t deadline = 0);
    void releaseCamera(int64_t camera) { call(21, Message().int64(camera)); }
    int32_t preCapture(int64_t camera, std::string_view path);
    int32_t checkForImages(int64_t camera) { return callForInt(23, Message().int64(camera)); }
};

/** Arguments of the right shape for any method: every handle the given one, all else made up. */
Bytes nikonArgumentsFor(const NikonMethod& method, int64_t everyHandle,
                        std::string_view text = "/nowhere/frame");

/** The answer of a method to a handle that names nothing, result only. */
Bytes nikonNoHandleResult(const NikonMethod& method);

}  // namespace e2e
