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

#include "tests/e2e/support/raw_socket.h"

namespace e2e {

enum class VideoResult { none, byte, int32, int64, text, words };

/** A method as the wire sees it. */
struct VideoMethod {
    int id;
    const char* name;
    /** One letter an argument: c camera handle, i int, b byte, f fraction. */
    const char* arguments;
    VideoResult result;
};

/** All 16, by rising id. */
std::span<const VideoMethod> videoMethods();
const VideoMethod& videoMethod(int id);

using Words = std::vector<uint32_t>;

class VideoCalls {
public:
    explicit VideoCalls(int port) : socket_(port) {}

    RawClient& socket() { return socket_; }

    // The parts of a call, for tests that do something between them.
    void send(int id, const Bytes& arguments = {});
    void expectHeader(int id);
    /** The result of the method as raw bytes, lengths and counts included. */
    Bytes receiveResult(const VideoMethod& method);
    /** A whole call: both headers checked, the result as raw bytes. */
    Bytes call(int id, const Bytes& arguments = {});

    int32_t initialize() { return callForInt(1, {}); }
    void terminate() { call(2); }
    int32_t cameraCount() { return callForInt(3, {}); }
    std::string cameraName(int32_t index);
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
    bool hasSettings(int64_t camera);

private:
    int32_t callForInt(int id, const Bytes& arguments);
    int64_t callForLong(int id, const Bytes& arguments);
    Words callForWords(int id, const Bytes& arguments);

    RawClient socket_;
};

/** Arguments of the right shape for any method: every handle the given one, all else made up. */
Bytes videoArgumentsFor(const VideoMethod& method, int64_t everyHandle);

/** The answer of a method to a handle that names nothing, result only. */
Bytes videoNoHandleResult(const VideoMethod& method);

}  // namespace e2e
