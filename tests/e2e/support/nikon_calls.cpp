#include "tests/e2e/support/nikon_calls.h"

#include <array>

namespace e2e {

namespace {

constexpr std::array<NikonMethod, 23> kMethods = {{
    {1, "InitializeSDK", "si", ResultKind::int64},
    {2, "TerminateSDK", "m", ResultKind::int32},
    {3, "getCameraCount", "m", ResultKind::int32},
    {4, "getCameraTypeAtIndex", "mi", ResultKind::int32},
    {5, "selectCameraAtIndex", "mi", ResultKind::int64},
    {6, "GetSettingOptions", "ci", ResultKind::texts},
    {7, "GetSetting", "ci", ResultKind::int32},
    {8, "SetSetting", "cii", ResultKind::none},
    {9, "getBatteryLevel", "c", ResultKind::int32},
    {10, "getBracketing", "c", ResultKind::byte},
    {11, "SetLiveView", "cb", ResultKind::byte},
    {12, "IsLiveView", "c", ResultKind::byte},
    {13, "getLiveViewImage", "c", ResultKind::bytes},
    {14, "driveFocus", "ci", ResultKind::none},
    {15, "SetLiveViewZoomPosition", "cii", ResultKind::none},
    {16, "GetLiveViewZoomPositionX", "c", ResultKind::int32},
    {17, "GetLiveViewZoomPositionY", "c", ResultKind::int32},
    {18, "GetLiveViewZoomWidth", "c", ResultKind::int32},
    {19, "GetLiveViewZoomHeight", "c", ResultKind::int32},
    {20, "CaptureImage", "csl", ResultKind::int32},
    {21, "releaseCamera", "c", ResultKind::none},
    {22, "preCaptureImage", "cs", ResultKind::int32},
    {23, "checkForImages", "c", ResultKind::int32},
}};

constexpr Module kModule = {20, kMethods};

}  // namespace

std::span<const NikonMethod> nikonMethods() {
    return kMethods;
}

const NikonMethod& nikonMethod(int id) {
    return kModule.method(id);
}

NikonCalls::NikonCalls(int port) : ModuleCalls(kModule, RawClient(port)) {}

int64_t NikonCalls::initializeSdk(std::string_view directory, int32_t moduleType) {
    return callForLong(1, Message().text(directory).int32(moduleType));
}

int32_t NikonCalls::cameraType(int64_t module, int32_t index) {
    return callForInt(4, Message().int64(module).int32(index));
}

int64_t NikonCalls::selectCamera(int64_t module, int32_t index) {
    return callForLong(5, Message().int64(module).int32(index));
}

std::vector<std::string> NikonCalls::settingOptions(int64_t camera, int64_t capability) {
    Reader reader(call(6, Message().int64(camera).int32(capability)));
    std::vector<std::string> texts;
    const int32_t count = reader.int32();
    for (int32_t i = 0; i < count; ++i) {
        texts.push_back(reader.text());
    }
    return texts;
}

int32_t NikonCalls::getSetting(int64_t camera, int64_t capability) {
    return callForInt(7, Message().int64(camera).int32(capability));
}

void NikonCalls::setSetting(int64_t camera, int64_t capability, int32_t index) {
    call(8, Message().int64(camera).int32(capability).int32(index));
}

bool NikonCalls::setLiveView(int64_t camera, bool on) {
    return callForFlag(11, Message().int64(camera).byte(on ? 1 : 0));
}

void NikonCalls::setZoomPosition(int64_t camera, int32_t x, int32_t y) {
    call(15, Message().int64(camera).int32(x).int32(y));
}

std::vector<int32_t> NikonCalls::zoom(int64_t camera) {
    std::vector<int32_t> values;
    for (int id = 16; id <= 19; ++id) {
        values.push_back(callForInt(id, Message().int64(camera)));
    }
    return values;
}

int32_t NikonCalls::capture(int64_t camera, std::string_view path, int64_t deadline) {
    return callForInt(20, Message().int64(camera).text(path).int64(deadline));
}

int32_t NikonCalls::preCapture(int64_t camera, std::string_view path) {
    return callForInt(22, Message().int64(camera).text(path));
}

Bytes nikonArgumentsFor(const NikonMethod& method, int64_t everyHandle, std::string_view text) {
    return argumentsOf(method, {.handle = everyHandle, .text = text});
}

Bytes nikonNoHandleResult(const NikonMethod& method) {
    return method.id == 4 ? Bytes(Message().int32(65535)) : emptyResult(method);
}

}  // namespace e2e
