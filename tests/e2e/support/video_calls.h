/* video_calls.h: the video calls of a host, one function a method, both headers checked.
 *
 * Thread: one thread at a time for one connection.
 * Owns:   its connection.
 * Errors: missing or wrong bytes fail the test; the value returned is then zero or empty.
 * Units:  settings in millionths, as they travel.
 * Follows: docs/protocol.md.
 */
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tests/e2e/support/module_calls.h"

namespace e2e {

using VideoMethod = Method;

/** All 16, by rising id. */
std::span<const VideoMethod> videoMethods();
const VideoMethod& videoMethod(int id);

using Words = std::vector<uint32_t>;

class VideoCalls : public ModuleCalls {
public:
    explicit VideoCalls(int port);

    int32_t initialize() { return callForInt(1, {}); }
    void terminate() { call(2); }
    int32_t cameraCount() { return callForInt(3, {}); }
    std::string cameraName(int32_t index) { return callForText(4, Message().int32(index)); }
    int64_t selectCamera(int32_t index) { return callForLong(5, Message().int32(index)); }
    void releaseCamera(int64_t camera) { call(6, Message().int64(camera)); }
    void setImageDimensions(int64_t camera, int32_t width, int32_t height);
    int32_t imageWidth(int64_t camera) { return callForInt(8, Message().int64(camera)); }
    int32_t imageHeight(int64_t camera) { return callForInt(9, Message().int64(camera)); }
    /** Empty for no array. */
    Words imageData(int64_t camera) { return callForWords(10, Message().int64(camera)); }
    Words captureImage(int64_t camera, int32_t frames, int32_t width, int32_t height);
    void setNoiseReduction(int64_t camera, int flag) { call(12, Message().int64(camera).byte(flag)); }
    void setSetting(int64_t camera, int32_t id, int64_t millionths);
    int64_t setting(int64_t camera, int32_t id);
    void driveFocus(int64_t camera, int32_t amount) { call(15, Message().int64(camera).int32(amount)); }
    bool hasSettings(int64_t camera) { return callForFlag(16, Message().int64(camera)); }

private:
    Words callForWords(int id, const Bytes& arguments);
};

/** Arguments of the right shape for any method: every handle the given one, all else made up. */
Bytes videoArgumentsFor(const VideoMethod& method, int64_t everyHandle);

/** The answer of a method to a handle that names nothing, result only. */
Bytes videoNoHandleResult(const VideoMethod& method);

}  // namespace e2e
