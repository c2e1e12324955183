#include "host/client/NikonClient.h"

#include "host/client/TypedCall.h"
#include "host/client/protocol.h"

namespace tarvo {
namespace {

using namespace std::chrono_literals;

// What a call may take inside the helper on top of the answer's way: it polls the module until the module has
// answered, and a module talks to every body on the bus before it does.
constexpr auto kModuleStart = 30s;
constexpr auto kFocusDrive = 60s;
constexpr auto kDeadlineWait = 5s;
constexpr auto kImagePolls = 10s;

CallConnection::Call longer(CallConnection::Call call, std::chrono::milliseconds more) {
    call.limit += more;
    return call;
}

CallConnection::Call prolonged(CallConnection::Call call, std::chrono::milliseconds limit) {
    call.limit = limit;
    call.prolonged = true;
    return call;
}

Arguments on(int64_t handle) {
    return std::move(Arguments().addLong(handle));
}

}  // namespace

CallConnection::Call NikonClient::describe(uint8_t method, const char* name) const {
    return {kModuleNikon, method, name, limit_};
}

Error NikonClient::none(const CallConnection::Call& call, const Arguments& arguments) {
    return connection_.make(call, arguments, {});
}

Result<int32_t> NikonClient::integer(const CallConnection::Call& call, const Arguments& arguments) {
    return makeTypedCall(connection_, call, arguments, receiveInt);
}

Result<int64_t> NikonClient::handle(const CallConnection::Call& call, const Arguments& arguments) {
    return makeTypedCall(connection_, call, arguments, receiveLong);
}

Result<bool> NikonClient::boolean(const CallConnection::Call& call, const Arguments& arguments) {
    auto result = makeTypedCall(connection_, call, arguments, receiveByte);
    return {std::move(result.error), result.value != 0};
}

Result<int64_t> NikonClient::initializeSDK(const std::string& directory, int32_t moduleType) {
    return handle(longer(describe(kNikonInitializeSDK, "InitializeSDK"), kModuleStart),
                  Arguments().addString(directory).addInt(moduleType));
}

Result<int32_t> NikonClient::terminateSDK(int64_t module) {
    return integer(describe(kNikonTerminateSDK, "TerminateSDK"), on(module));
}

Result<int32_t> NikonClient::getCameraCount(int64_t module) {
    return integer(describe(kNikonGetCameraCount, "getCameraCount"), on(module));
}

Result<int32_t> NikonClient::getCameraTypeAtIndex(int64_t module, int32_t index) {
    return integer(longer(describe(kNikonGetCameraTypeAtIndex, "getCameraTypeAtIndex"), kModuleStart),
                   on(module).addInt(index));
}

Result<int64_t> NikonClient::selectCameraAtIndex(int64_t module, int32_t index) {
    return handle(longer(describe(kNikonSelectCameraAtIndex, "selectCameraAtIndex"), kModuleStart),
                  on(module).addInt(index));
}

Error NikonClient::releaseCamera(int64_t camera) {
    return none(describe(kNikonReleaseCamera, "releaseCamera"), on(camera));
}

Result<std::vector<std::string>> NikonClient::getSettingOptions(int64_t camera, int32_t capability) {
    return makeTypedCall(connection_, describe(kNikonGetSettingOptions, "GetSettingOptions"),
                         on(camera).addInt(capability), receiveStrings);
}

Result<int32_t> NikonClient::getSetting(int64_t camera, int32_t capability) {
    return integer(describe(kNikonGetSetting, "GetSetting"), on(camera).addInt(capability));
}

Error NikonClient::setSetting(int64_t camera, int32_t capability, int32_t index) {
    return none(describe(kNikonSetSetting, "SetSetting"), on(camera).addInt(capability).addInt(index));
}

Result<int32_t> NikonClient::getBatteryLevel(int64_t camera) {
    return integer(describe(kNikonGetBatteryLevel, "getBatteryLevel"), on(camera));
}

Result<bool> NikonClient::getBracketing(int64_t camera) {
    return boolean(describe(kNikonGetBracketing, "getBracketing"), on(camera));
}

Result<bool> NikonClient::setLiveView(int64_t camera, bool isOn) {
    return boolean(describe(kNikonSetLiveView, "SetLiveView"), on(camera).addByte(isOn ? 1 : 0));
}

Result<bool> NikonClient::isLiveView(int64_t camera) {
    return boolean(describe(kNikonIsLiveView, "IsLiveView"), on(camera));
}

Result<std::vector<uint8_t>> NikonClient::getLiveViewImage(int64_t camera) {
    return makeTypedCall(connection_, describe(kNikonGetLiveViewImage, "getLiveViewImage"), on(camera),
                         receiveBytes);
}

Error NikonClient::driveFocus(int64_t camera, int32_t steps) {
    return none(longer(describe(kNikonDriveFocus, "driveFocus"), kFocusDrive), on(camera).addInt(steps));
}

Error NikonClient::setLiveViewZoomPosition(int64_t camera, int32_t x, int32_t y) {
    return none(describe(kNikonSetLiveViewZoomPosition, "SetLiveViewZoomPosition"),
                on(camera).addInt(x).addInt(y));
}

Result<int32_t> NikonClient::getLiveViewZoomPositionX(int64_t camera) {
    return integer(describe(kNikonGetLiveViewZoomPositionX, "GetLiveViewZoomPositionX"), on(camera));
}

Result<int32_t> NikonClient::getLiveViewZoomPositionY(int64_t camera) {
    return integer(describe(kNikonGetLiveViewZoomPositionY, "GetLiveViewZoomPositionY"), on(camera));
}

Result<int32_t> NikonClient::getLiveViewZoomWidth(int64_t camera) {
    return integer(describe(kNikonGetLiveViewZoomWidth, "GetLiveViewZoomWidth"), on(camera));
}

Result<int32_t> NikonClient::getLiveViewZoomHeight(int64_t camera) {
    return integer(describe(kNikonGetLiveViewZoomHeight, "GetLiveViewZoomHeight"), on(camera));
}

Result<int32_t> NikonClient::capture(int64_t camera, const std::string& path, int64_t deadlineMicroseconds,
                                     std::chrono::milliseconds limit) {
    return integer(
        prolonged(describe(kNikonCaptureImage, "CaptureImage"), limit + kDeadlineWait + kImagePolls),
        on(camera).addString(path).addLong(deadlineMicroseconds));
}

Result<int32_t> NikonClient::preCapture(int64_t camera, const std::string& path) {
    return integer(describe(kNikonPreCaptureImage, "preCaptureImage"), on(camera).addString(path));
}

Result<int32_t> NikonClient::checkForImages(int64_t camera, std::chrono::milliseconds limit) {
    return integer(prolonged(describe(kNikonCheckForImages, "checkForImages"), limit), on(camera));
}

}  // namespace tarvo
