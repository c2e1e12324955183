#include "tests/e2e/support/canon_calls.h"

#include <gtest/gtest.h>

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

}  // namespace

std::span<const CanonMethod> canonMethods() {
    return kMethods;
}

const CanonMethod& canonMethod(int id) {
    for (const CanonMethod& method : kMethods) {
        if (method.id == id) return method;
    }
    ADD_FAILURE() << "no method " << id;
    return kMethods[0];
}

void CanonCalls::send(int id, const Bytes& arguments) {
    EXPECT_TRUE(socket_.send(Message().byte(10).byte(id).raw(arguments))) << "the helper is gone";
}

void CanonCalls::expectHeader(int id) {
    const Bytes expected = Message().byte(10).byte(id);
    EXPECT_EQ(hex(socket_.receive(2)), hex(expected)) << "header of " << canonMethod(id).name;
}

int32_t CanonCalls::receiveInt() {
    return Reader(socket_.receive(4)).int32();
}

std::string CanonCalls::receiveText() {
    const Bytes text = receiveBytes();
    return {text.begin(), text.end()};
}

std::vector<int32_t> CanonCalls::receiveInts() {
    const Bytes count = socket_.receive(4);
    Reader reader(Message().raw(count).raw(socket_.receive(4 * static_cast<size_t>(Reader(count).int32()))));
    return reader.ints();
}

Bytes CanonCalls::receiveBytes() {
    return socket_.receive(static_cast<size_t>(receiveInt()));
}

Bytes CanonCalls::receiveResult(const CanonMethod& method) {
    switch (method.result) {
        case ResultKind::none:
            return {};
        case ResultKind::byte:
            return socket_.receive(1);
        case ResultKind::int32:
            return socket_.receive(4);
        case ResultKind::fraction:
            return socket_.receive(8);
        case ResultKind::text:
        case ResultKind::bytes:
        case ResultKind::ints:
            break;
    }
    const Bytes count = socket_.receive(4);
    const size_t elements = static_cast<size_t>(Reader(count).int32());
    const size_t size = method.result == ResultKind::ints ? 4 : 1;
    return Message().raw(count).raw(socket_.receive(elements * size));
}

Bytes CanonCalls::call(int id, const Bytes& arguments) {
    send(id, arguments);
    expectHeader(id);
    expectHeader(id);
    return receiveResult(canonMethod(id));
}

int32_t CanonCalls::callForInt(int id, const Bytes& arguments) {
    return Reader(call(id, arguments)).int32();
}

int64_t CanonCalls::callForLong(int id, const Bytes& arguments) {
    return Reader(call(id, arguments)).int64();
}

std::vector<int32_t> CanonCalls::cameraList() {
    return Reader(call(2)).ints();
}

std::string CanonCalls::cameraName(int32_t reference) {
    return Reader(call(5, Message().int32(reference))).text();
}

std::string CanonCalls::firmwareVersion(int32_t handle) {
    return Reader(call(12, Message().int32(handle))).text();
}

int32_t CanonCalls::getSetting(int32_t handle, int property) {
    return callForInt(16, Message().int32(handle).int32(property));
}

bool CanonCalls::setSetting(int32_t handle, int property, int64_t value) {
    const uint8_t answer = Reader(call(22, Message().int32(handle).int32(property).int32(value))).byte();
    EXPECT_LE(answer, 1) << "a boolean is 0 or 1";
    return answer != 0;
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

Bytes CanonCalls::liveViewFrame(int32_t handle) {
    send(13, Message().int32(handle));
    expectHeader(13);
    expectHeader(13);
    return receiveBytes();
}

bool CanonCalls::isLiveViewZoom(int32_t handle) {
    const uint8_t answer = Reader(call(19, Message().int32(handle))).byte();
    EXPECT_LE(answer, 1) << "a boolean is 0 or 1";
    return answer != 0;
}

void CanonCalls::setLiveViewZoomPosition(int32_t handle, double x, double y) {
    call(21, Message().int32(handle).fraction(x).fraction(y));
}

Bytes argumentsFor(const CanonMethod& method, int32_t everyInt, std::string_view text) {
    Message arguments;
    for (const char* letter = method.arguments; *letter != '\0'; ++letter) {
        switch (*letter) {
            case 'i':
                arguments.int32(everyInt);
                break;
            case 'b':
                arguments.byte(0);
                break;
            case 'f':
                arguments.fraction(0.5);
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
            break;
    }
    switch (method.result) {
        case ResultKind::none:
            return {};
        case ResultKind::byte:
            return Message().byte(0);
        case ResultKind::fraction:
            return Message().int64(0);
        default:
            return Message().int32(0);  // the number zero, an empty text, an empty array
    }
}

}  // namespace e2e
