#include "tests/e2e/support/nikon_calls.h"

#include <gtest/gtest.h>

#include <array>

namespace e2e {

namespace {

constexpr std::array<NikonMethod, 23> kMethods = {{
    {1, "InitializeSDK", "si", NikonResult::int64},
    {2, "TerminateSDK", "m", NikonResult::int32},
    {3, "getCameraCount", "m", NikonResult::int32},
    {4, "getCameraTypeAtIndex", "mi", NikonResult::int32},
    {5, "selectCameraAtIndex", "mi", NikonResult::int64},
    {6, "GetSettingOptions", "ci", NikonResult::texts},
    {7, "GetSetting", "ci", NikonResult::int32},
    {8, "SetSetting", "cii", NikonResult::none},
    {9, "getBatteryLevel", "c", NikonResult::int32},
    {10, "getBracketing", "c", NikonResult::byte},
    {11, "SetLiveView", "cb", NikonResult::byte},
    {12, "IsLiveView", "c", NikonResult::byte},
    {13, "getLiveViewImage", "c", NikonResult::bytes},
    {14, "driveFocus", "ci", NikonResult::none},
    {15, "SetLiveViewZoomPosition", "cii", NikonResult::none},
    {16, "GetLiveViewZoomPositionX", "c", NikonResult::int32},
    {17, "GetLiveViewZoomPositionY", "c", NikonResult::int32},
    {18, "GetLiveViewZoomWidth", "c", NikonResult::int32},
    {19, "GetLiveViewZoomHeight", "c", NikonResult::int32},
    {20, "CaptureImage", "csl", NikonResult::int32},
    {21, "releaseCamera", "c", NikonResult::none},
    {22, "preCaptureImage", "cs", NikonResult::int32},
    {23, "checkForImages", "c", NikonResult::int32},
}};

}  // namespace

std::span<const NikonMethod> nikonMethods() {
    return kMethods;
}

const NikonMethod& nikonMethod(int id) {
    for (const NikonMethod& method : kMethods) {
        if (method.id == id) return method;
    }
    ADD_FAILURE() << "no method " << id;
    return kMethods[0];
}

void NikonCalls::send(int id, const Bytes& arguments) {
    EXPECT_TRUE(socket_.send(Message().byte(20).byte(id).raw(arguments))) << "the helper is gone";
}

void NikonCalls::expectHeader(int id) {
    const Bytes expected = Message().byte(20).byte(id);
    EXPECT_EQ(hex(socket_.receive(2)), hex(expected)) << "header of " << nikonMethod(id).name;
}

int32_t NikonCalls::receiveInt() {
    return Reader(socket_.receive(4)).int32();
}

int64_t NikonCalls::receiveLong() {
    return Reader(socket_.receive(8)).int64();
}

Bytes NikonCalls::receiveResult(const NikonMethod& method) {
    switch (method.result) {
        case NikonResult::none:
            return {};
        case NikonResult::byte:
            return socket_.receive(1);
        case NikonResult::int32:
            return socket_.receive(4);
        case NikonResult::int64:
            return socket_.receive(8);
        case NikonResult::bytes:
        case NikonResult::texts:
            break;
    }
    const Bytes count = socket_.receive(4);
    Message result;
    result.raw(count);
    const int32_t elements = Reader(count).int32();
    if (method.result == NikonResult::bytes) {
        return result.raw(socket_.receive(static_cast<size_t>(elements)));
    }
    for (int32_t i = 0; i < elements; ++i) {
        const Bytes length = socket_.receive(4);
        result.raw(length).raw(socket_.receive(static_cast<size_t>(Reader(length).int32())));
    }
    return result;
}

Bytes NikonCalls::call(int id, const Bytes& arguments) {
    send(id, arguments);
    expectHeader(id);
    expectHeader(id);
    return receiveResult(nikonMethod(id));
}

int32_t NikonCalls::callForInt(int id, const Bytes& arguments) {
    return Reader(call(id, arguments)).int32();
}

bool NikonCalls::callForFlag(int id, const Bytes& arguments) {
    const uint8_t answer = Reader(call(id, arguments)).byte();
    EXPECT_LE(answer, 1) << "a boolean is 0 or 1";
    return answer != 0;
}

int64_t NikonCalls::initializeSdk(std::string_view directory, int32_t moduleType) {
    return Reader(call(1, Message().text(directory).int32(moduleType))).int64();
}

int32_t NikonCalls::cameraType(int64_t module, int32_t index) {
    return callForInt(4, Message().int64(module).int32(index));
}

int64_t NikonCalls::selectCamera(int64_t module, int32_t index) {
    return Reader(call(5, Message().int64(module).int32(index))).int64();
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

Bytes NikonCalls::liveViewImage(int64_t camera) {
    const Bytes counted = call(13, Message().int64(camera));
    return {counted.begin() + 4, counted.end()};
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
    Message arguments;
    for (const char* letter = method.arguments; *letter != '\0'; ++letter) {
        switch (*letter) {
            case 'm':
            case 'c':
                arguments.int64(everyHandle);
                break;
            case 'i':
                arguments.int32(1);
                break;
            case 'b':
                arguments.byte(0);
                break;
            case 's':
                arguments.text(text);
                break;
            default:
                arguments.int64(0);
                break;
        }
    }
    return arguments;
}

Bytes nikonNoHandleResult(const NikonMethod& method) {
    if (method.id == 4) return Message().int32(65535);
    switch (method.result) {
        case NikonResult::none:
            return {};
        case NikonResult::byte:
            return Message().byte(0);
        case NikonResult::int64:
            return Message().int64(0);
        default:
            return Message().int32(0);  // the number zero, or an array without elements
    }
}

}  // namespace e2e
