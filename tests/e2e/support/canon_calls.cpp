#include "tests/e2e/support/canon_calls.h"

#include <array>

namespace e2e {

namespace {

constexpr std::array<CanonMethod, 24> kMethods = {{
    {1, "InitializeSDK", "", ResultKind::int32},
    {2, "GetCameraList", "", ResultKind::ints},
    {5, "GetCameraName", "i", ResultKind::text},
    {7, "DoOpenSession", "i", ResultKind::int32},
    {8, "CloseSession", "i", ResultKind::int32},
    {9, "DoStartLiveView", "i", ResultKind::int32},
    {10, "DoStopLiveView", "i", ResultKind::int32},
    {11, "DriveFocus", "ii", ResultKind::none},
    {12, "GetFirmwareVersion", "i", ResultKind::text},
    {13, "DoGetLiveViewImageData", "i", ResultKind::bytes},
    {14, "GetLiveViewZoomPositionX", "i", ResultKind::fraction},
    {15, "GetLiveViewZoomPositionY", "i", ResultKind::fraction},
    {16, "GetSetting", "ii", ResultKind::int32},
    {17, "GetSettingOptions", "ii", ResultKind::ints},
    {18, "Idle", "", ResultKind::none},
    {19, "IsLiveViewZoom", "i", ResultKind::byte},
    {20, "SetLiveViewZoom", "ib", ResultKind::none},
    {21, "SetLiveViewZoomPosition", "iff", ResultKind::none},
    {22, "SetSetting", "iii", ResultKind::byte},
    {23, "TerminateSDK", "", ResultKind::int32},
    {24, "DoCaptureImage", "isl", ResultKind::int32},
    {25, "DoPreCaptureImage", "isb", ResultKind::int32},
    {26, "ExtendShutdownTimer", "i", ResultKind::none},
    {27, "DownloadImage", "ii", ResultKind::int32},
}};

constexpr Module kModule = {10, kMethods};

}  // namespace

std::span<const CanonMethod> canonMethods() {
    return kMethods;
}

const CanonMethod& canonMethod(int id) {
    return kModule.method(id);
}

CanonCalls::CanonCalls(RawClient socket) : ModuleCalls(kModule, std::move(socket)) {}

std::vector<int32_t> CanonCalls::cameraList() {
    return Reader(call(2)).ints();
}

int32_t CanonCalls::getSetting(int32_t handle, int property) {
    return callForInt(16, Message().int32(handle).int32(property));
}

bool CanonCalls::setSetting(int32_t handle, int property, int64_t value) {
    return callForFlag(22, Message().int32(handle).int32(property).int32(value));
}

std::vector<int32_t> CanonCalls::settingOptions(int32_t handle, int property) {
    return Reader(call(17, Message().int32(handle).int32(property))).ints();
}

int32_t CanonCalls::preCapture(int32_t handle, std::string_view path, bool halfPress) {
    return callForInt(25, Message().int32(handle).text(path).byte(halfPress ? 1 : 0));
}

int32_t CanonCalls::capture(int32_t handle, std::string_view path, int64_t deadline) {
    return callForInt(24, Message().int32(handle).text(path).int64(deadline));
}

int32_t CanonCalls::download(int32_t handle, int32_t item) {
    return callForInt(27, Message().int32(handle).int32(item));
}

void CanonCalls::setLiveViewZoomPosition(int32_t handle, double x, double y) {
    call(21, Message().int32(handle).fraction(x).fraction(y));
}

Bytes argumentsFor(const CanonMethod& method, int32_t everyInt, std::string_view text) {
    return argumentsOf(method, {.number = everyInt, .text = text});
}

Bytes noSessionResult(const CanonMethod& method) {
    switch (method.id) {
        case 7:  // a reference that is no camera
        case 8:
        case 9:
        case 10:
        case 24:
        case 25:
            return Message().int32(130);
        case 27:
            return Message().int32(-1);
        default:
            return emptyResult(method);
    }
}

}  // namespace e2e
