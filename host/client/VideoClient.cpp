#include "host/client/VideoClient.h"

#include <algorithm>

#include "host/client/TypedCall.h"
#include "host/client/protocol.h"

namespace tarvo {
namespace {

using namespace std::chrono_literals;

// What a call may take inside the helper on top of the answer's way: a webcam is opened and its controls are
// looked for, each try with a limit of the bus's; a still waits for a size, and for each frame.
constexpr auto kSelection = 30s;
constexpr auto kSizeWait = 10s;
constexpr auto kFrameWait = 1s;

CallConnection::Call longer(CallConnection::Call call, std::chrono::milliseconds more) {
    call.limit += more;
    return call;
}

Arguments on(int64_t camera) {
    return std::move(Arguments().addLong(camera));
}

VideoFrame frameOf(int32_t width, int32_t height, std::vector<uint32_t> pixels) {
    const bool isWhole =
        width > 0 && height > 0 && pixels.size() == static_cast<size_t>(width) * static_cast<size_t>(height);
    return isWhole ? VideoFrame{width, height, std::move(pixels)} : VideoFrame{};
}

}  // namespace

CallConnection::Call VideoClient::describe(uint8_t method, const char* name) const {
    return {kModuleVideo, method, name, limit_};
}

Error VideoClient::none(const CallConnection::Call& call, const Arguments& arguments) {
    return connection_.make(call, arguments, {});
}

Result<int32_t> VideoClient::integer(const CallConnection::Call& call, const Arguments& arguments) {
    return makeTypedCall(connection_, call, arguments, receiveInt);
}

Result<std::vector<uint32_t>> VideoClient::words(const CallConnection::Call& call,
                                                 const Arguments& arguments) {
    auto ints = makeTypedCall(connection_, call, arguments, receiveInts);
    return {std::move(ints.error), {ints.value.begin(), ints.value.end()}};
}

Result<int32_t> VideoClient::initialize() {
    return integer(describe(kVideoInitialize, "Initialize"), {});
}

Error VideoClient::terminate() {
    return none(describe(kVideoTerminate, "Terminate"), {});
}

Result<int32_t> VideoClient::getCameraCount() {
    return integer(describe(kVideoGetCameraCount, "GetCameraCount"), {});
}

Result<std::string> VideoClient::getCameraName(int32_t index) {
    return makeTypedCall(connection_, describe(kVideoGetCameraName, "GetCameraName"),
                         Arguments().addInt(index), receiveString);
}

Result<int64_t> VideoClient::selectCamera(int32_t index) {
    return makeTypedCall(connection_, longer(describe(kVideoDoSelectCamera, "DoSelectCamera"), kSelection),
                         Arguments().addInt(index), receiveLong);
}

Error VideoClient::releaseCamera(int64_t camera) {
    return none(describe(kVideoReleaseCamera, "ReleaseCamera"), on(camera));
}

Error VideoClient::setImageDimensions(int64_t camera, int32_t width, int32_t height) {
    return none(describe(kVideoSetImageDimensions, "SetImageDimensions"),
                on(camera).addInt(width).addInt(height));
}

Result<int32_t> VideoClient::getImageWidth(int64_t camera) {
    return integer(describe(kVideoGetImageWidth, "GetImageWidth"), on(camera));
}

Result<int32_t> VideoClient::getImageHeight(int64_t camera) {
    return integer(describe(kVideoGetImageHeight, "GetImageHeight"), on(camera));
}

Result<std::vector<uint32_t>> VideoClient::getImageData(int64_t camera) {
    return words(describe(kVideoGetImageData, "GetImageData"), on(camera));
}

Result<std::vector<uint32_t>> VideoClient::captureImage(int64_t camera, int32_t frames, int32_t width,
                                                        int32_t height) {
    const auto waits = kSizeWait + kFrameWait * std::clamp(frames, 1, kMostAveragedFrames);
    return words(longer(describe(kVideoCaptureImage, "CaptureImage"), waits),
                 on(camera).addInt(frames).addInt(width).addInt(height));
}

Error VideoClient::setNoiseReduction(int64_t camera, bool isOn) {
    return none(describe(kVideoSetNoiseReduction, "SetNoiseReduction"), on(camera).addByte(isOn ? 1 : 0));
}

Error VideoClient::setUvcSetting(int64_t camera, int32_t setting, float value) {
    return none(describe(kVideoSetUvcSetting, "setUvcSetting"), on(camera).addInt(setting).addFloat(value));
}

Result<float> VideoClient::getUvcSetting(int64_t camera, int32_t setting) {
    return makeTypedCall(connection_, describe(kVideoGetUvcSetting, "getUvcSetting"),
                         on(camera).addInt(setting), receiveFloat);
}

Error VideoClient::driveFocus(int64_t camera, int32_t amount) {
    return none(describe(kVideoDriveFocus, "driveFocus"), on(camera).addInt(amount));
}

Result<bool> VideoClient::hasUvcSettings(int64_t camera) {
    auto result =
        makeTypedCall(connection_, describe(kVideoHasUvcSettings, "hasUvcSettings"), on(camera), receiveByte);
    return {std::move(result.error), result.value != 0};
}

Result<VideoFrame> VideoClient::fetchFrame(int64_t camera) {
    auto pixels = getImageData(camera);
    if (!pixels.ok() || pixels.value.empty()) return {std::move(pixels.error), {}};
    auto width = getImageWidth(camera);
    if (!width.ok()) return {std::move(width.error), {}};
    auto height = getImageHeight(camera);
    if (!height.ok()) return {std::move(height.error), {}};
    return {{}, frameOf(width.value, height.value, std::move(pixels.value))};
}

Result<VideoFrame> VideoClient::captureFrame(int64_t camera, int32_t frames, int32_t width, int32_t height) {
    auto pixels = captureImage(camera, frames, width, height);
    return {std::move(pixels.error), frameOf(width, height, std::move(pixels.value))};
}

}  // namespace tarvo
