#include "host/client/CanonClient.h"

#include "host/client/TypedCall.h"
#include "host/client/protocol.h"

namespace tarvo {
namespace {

using namespace std::chrono_literals;

// What a call may take inside the helper on top of the answer's way.
constexpr auto kLibraryStartStop = 10s;
constexpr auto kSettingPoll = 2s;
constexpr auto kDeadlineWait = 5s;

CallConnection::Call longer(CallConnection::Call call, std::chrono::milliseconds more) {
    call.limit += more;
    return call;
}

}  // namespace

CallConnection::Call CanonClient::describe(uint8_t method, const char* name) const {
    return {kModuleCanon, method, name, limit_};
}

Error CanonClient::none(const CallConnection::Call& call, const Arguments& arguments) {
    return connection_.make(call, arguments, {});
}

Result<int32_t> CanonClient::integer(const CallConnection::Call& call, const Arguments& arguments) {
    return makeTypedCall(connection_, call, arguments, receiveInt);
}

Result<bool> CanonClient::boolean(const CallConnection::Call& call, const Arguments& arguments) {
    auto result = makeTypedCall(connection_, call, arguments, receiveByte);
    return {std::move(result.error), result.value != 0};
}

Result<float> CanonClient::fraction(const CallConnection::Call& call, const Arguments& arguments) {
    return makeTypedCall(connection_, call, arguments, receiveFloat);
}

Result<std::string> CanonClient::text(const CallConnection::Call& call, const Arguments& arguments) {
    return makeTypedCall(connection_, call, arguments, receiveString);
}

Result<std::vector<int32_t>> CanonClient::integers(const CallConnection::Call& call,
                                                   const Arguments& arguments) {
    return makeTypedCall(connection_, call, arguments, receiveInts);
}

Result<int32_t> CanonClient::initializeSDK() {
    return integer(longer(describe(kCanonInitializeSDK, "InitializeSDK"), kLibraryStartStop), {});
}

Result<int32_t> CanonClient::terminateSDK() {
    return integer(longer(describe(kCanonTerminateSDK, "TerminateSDK"), kLibraryStartStop), {});
}

Result<std::vector<int32_t>> CanonClient::getCameraList() {
    return integers(describe(kCanonGetCameraList, "GetCameraList"), {});
}

Result<std::string> CanonClient::getCameraName(int32_t reference) {
    return text(describe(kCanonGetCameraName, "GetCameraName"), Arguments().addInt(reference));
}

Result<int32_t> CanonClient::openSession(int32_t reference) {
    return integer(describe(kCanonDoOpenSession, "DoOpenSession"), Arguments().addInt(reference));
}

Result<int32_t> CanonClient::closeSession(int32_t handle) {
    return integer(describe(kCanonCloseSession, "CloseSession"), Arguments().addInt(handle));
}

Result<std::string> CanonClient::getFirmwareVersion(int32_t handle) {
    return text(describe(kCanonGetFirmwareVersion, "GetFirmwareVersion"), Arguments().addInt(handle));
}

Result<int32_t> CanonClient::getSetting(int32_t handle, int32_t property) {
    return integer(describe(kCanonGetSetting, "GetSetting"), Arguments().addInt(handle).addInt(property));
}

Result<bool> CanonClient::setSetting(int32_t handle, int32_t property, int32_t value) {
    return boolean(longer(describe(kCanonSetSetting, "SetSetting"), kSettingPoll),
                   Arguments().addInt(handle).addInt(property).addInt(value));
}

Result<std::vector<int32_t>> CanonClient::getSettingOptions(int32_t handle, int32_t property) {
    return integers(describe(kCanonGetSettingOptions, "GetSettingOptions"),
                    Arguments().addInt(handle).addInt(property));
}

Result<int32_t> CanonClient::preCapture(int32_t handle, const std::string& path, bool halfPress) {
    return integer(describe(kCanonDoPreCaptureImage, "DoPreCaptureImage"),
                   Arguments().addInt(handle).addString(path).addByte(halfPress ? 1 : 0));
}

Result<int32_t> CanonClient::capture(int32_t handle, const std::string& path, int64_t deadlineMicroseconds) {
    return integer(longer(describe(kCanonDoCaptureImage, "DoCaptureImage"), kDeadlineWait),
                   Arguments().addInt(handle).addString(path).addLong(deadlineMicroseconds));
}

Result<int32_t> CanonClient::download(int32_t handle, int32_t item, std::chrono::milliseconds limit) {
    auto call = describe(kCanonDownloadImage, "DownloadImage");
    call.limit = limit;
    call.prolonged = true;
    return integer(call, Arguments().addInt(handle).addInt(item));
}

Error CanonClient::extendShutdownTimer(int32_t handle) {
    return none(describe(kCanonExtendShutdownTimer, "ExtendShutdownTimer"), Arguments().addInt(handle));
}

Result<int32_t> CanonClient::startLiveView(int32_t handle) {
    return integer(describe(kCanonDoStartLiveView, "DoStartLiveView"), Arguments().addInt(handle));
}

Result<int32_t> CanonClient::stopLiveView(int32_t handle) {
    return integer(describe(kCanonDoStopLiveView, "DoStopLiveView"), Arguments().addInt(handle));
}

Result<std::vector<uint8_t>> CanonClient::getLiveViewImage(int32_t handle) {
    return makeTypedCall(connection_, describe(kCanonDoGetLiveViewImageData, "DoGetLiveViewImageData"),
                         Arguments().addInt(handle), receiveBytes);
}

Result<bool> CanonClient::isLiveViewZoom(int32_t handle) {
    return boolean(describe(kCanonIsLiveViewZoom, "IsLiveViewZoom"), Arguments().addInt(handle));
}

Error CanonClient::setLiveViewZoom(int32_t handle, bool zoom) {
    return none(describe(kCanonSetLiveViewZoom, "SetLiveViewZoom"),
                Arguments().addInt(handle).addByte(zoom ? 1 : 0));
}

Error CanonClient::setLiveViewZoomPosition(int32_t handle, float x, float y) {
    return none(describe(kCanonSetLiveViewZoomPosition, "SetLiveViewZoomPosition"),
                Arguments().addInt(handle).addFloat(x).addFloat(y));
}

Result<float> CanonClient::getLiveViewZoomPositionX(int32_t handle) {
    return fraction(describe(kCanonGetLiveViewZoomPositionX, "GetLiveViewZoomPositionX"),
                    Arguments().addInt(handle));
}

Result<float> CanonClient::getLiveViewZoomPositionY(int32_t handle) {
    return fraction(describe(kCanonGetLiveViewZoomPositionY, "GetLiveViewZoomPositionY"),
                    Arguments().addInt(handle));
}

Error CanonClient::driveFocus(int32_t handle, int32_t steps) {
    return none(describe(kCanonDriveFocus, "DriveFocus"), Arguments().addInt(handle).addInt(steps));
}

Error CanonClient::idle() {
    return none(describe(kCanonIdle, "Idle"), {});
}

}  // namespace tarvo
