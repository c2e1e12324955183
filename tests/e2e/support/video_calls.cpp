#include "tests/e2e/support/video_calls.h"

#include <array>

namespace e2e {

namespace {

constexpr std::array<VideoMethod, 16> kMethods = {{
    {1, "Initialize", "", ResultKind::int32},
    {2, "Terminate", "", ResultKind::none},
    {3, "GetCameraCount", "", ResultKind::int32},
    {4, "GetCameraName", "i", ResultKind::text},
    {5, "DoSelectCamera", "i", ResultKind::int64},
    {6, "ReleaseCamera", "c", ResultKind::none},
    {7, "SetImageDimensions", "cii", ResultKind::none},
    {8, "GetImageWidth", "c", ResultKind::int32},
    {9, "GetImageHeight", "c", ResultKind::int32},
    {10, "GetImageData", "c", ResultKind::ints},
    {11, "CaptureImage", "ciii", ResultKind::ints},
    {12, "SetNoiseReduction", "cb", ResultKind::none},
    {13, "setUvcSetting", "cif", ResultKind::none},
    {14, "getUvcSetting", "ci", ResultKind::fraction},
    {15, "driveFocus", "ci", ResultKind::none},
    {16, "hasUvcSettings", "c", ResultKind::byte},
}};

constexpr Module kModule = {40, kMethods};

}  // namespace

std::span<const VideoMethod> videoMethods() {
    return kMethods;
}

const VideoMethod& videoMethod(int id) {
    return kModule.method(id);
}

VideoCalls::VideoCalls(int port) : ModuleCalls(kModule, RawClient(port)) {}

Words VideoCalls::callForWords(int id, const Bytes& arguments) {
    const Bytes result = call(id, arguments);
    Words words;
    words.reserve(result.size() / 4);
    for (size_t at = 4; at + 3 < result.size(); at += 4) {
        words.push_back(static_cast<uint32_t>(result[at]) | static_cast<uint32_t>(result[at + 1]) << 8 |
                        static_cast<uint32_t>(result[at + 2]) << 16 |
                        static_cast<uint32_t>(result[at + 3]) << 24);
    }
    return words;
}

void VideoCalls::setImageDimensions(int64_t camera, int32_t width, int32_t height) {
    call(7, Message().int64(camera).int32(width).int32(height));
}

Words VideoCalls::captureImage(int64_t camera, int32_t frames, int32_t width, int32_t height) {
    return callForWords(11, Message().int64(camera).int32(frames).int32(width).int32(height));
}

void VideoCalls::setSetting(int64_t camera, int32_t id, int64_t millionths) {
    call(13, Message().int64(camera).int32(id).int64(millionths));
}

int64_t VideoCalls::setting(int64_t camera, int32_t id) {
    return callForLong(14, Message().int64(camera).int32(id));
}

Bytes videoArgumentsFor(const VideoMethod& method, int64_t everyHandle) {
    return argumentsOf(method, {.handle = everyHandle});
}

Bytes videoNoHandleResult(const VideoMethod& method) {
    return emptyResult(method);
}

}  // namespace e2e
