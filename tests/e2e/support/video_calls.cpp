#include "tests/e2e/support/video_calls.h"

#include <gtest/gtest.h>

#include <array>

namespace e2e {

namespace {

constexpr int kModule = 40;

constexpr std::array<VideoMethod, 16> kMethods = {{
    {1, "Initialize", "", VideoResult::int32},
    {2, "Terminate", "", VideoResult::none},
    {3, "GetCameraCount", "", VideoResult::int32},
    {4, "GetCameraName", "i", VideoResult::text},
    {5, "DoSelectCamera", "i", VideoResult::int64},
    {6, "ReleaseCamera", "c", VideoResult::none},
    {7, "SetImageDimensions", "cii", VideoResult::none},
    {8, "GetImageWidth", "c", VideoResult::int32},
    {9, "GetImageHeight", "c", VideoResult::int32},
    {10, "GetImageData", "c", VideoResult::words},
    {11, "CaptureImage", "ciii", VideoResult::words},
    {12, "SetNoiseReduction", "cb", VideoResult::none},
    {13, "setUvcSetting", "cif", VideoResult::none},
    {14, "getUvcSetting", "ci", VideoResult::int64},
    {15, "driveFocus", "ci", VideoResult::none},
    {16, "hasUvcSettings", "c", VideoResult::byte},
}};

}  // namespace

std::span<const VideoMethod> videoMethods() {
    return kMethods;
}

const VideoMethod& videoMethod(int id) {
    for (const VideoMethod& method : kMethods) {
        if (method.id == id) return method;
    }
    ADD_FAILURE() << "no method " << id;
    return kMethods[0];
}

void VideoCalls::send(int id, const Bytes& arguments) {
    EXPECT_TRUE(socket_.send(Message().byte(kModule).byte(id).raw(arguments))) << "the helper is gone";
}

void VideoCalls::expectHeader(int id) {
    const Bytes expected = Message().byte(kModule).byte(id);
    EXPECT_EQ(hex(socket_.receive(2)), hex(expected)) << "header of " << videoMethod(id).name;
}

Bytes VideoCalls::receiveResult(const VideoMethod& method) {
    switch (method.result) {
        case VideoResult::none:
            return {};
        case VideoResult::byte:
            return socket_.receive(1);
        case VideoResult::int32:
            return socket_.receive(4);
        case VideoResult::int64:
            return socket_.receive(8);
        case VideoResult::text:
        case VideoResult::words:
            break;
    }
    const Bytes count = socket_.receive(4);
    const size_t elements = static_cast<size_t>(Reader(count).int32());
    const size_t size = method.result == VideoResult::words ? 4 : 1;
    return Message().raw(count).raw(socket_.receive(elements * size));
}

Bytes VideoCalls::call(int id, const Bytes& arguments) {
    send(id, arguments);
    expectHeader(id);
    expectHeader(id);
    return receiveResult(videoMethod(id));
}

int32_t VideoCalls::callForInt(int id, const Bytes& arguments) {
    return Reader(call(id, arguments)).int32();
}

int64_t VideoCalls::callForLong(int id, const Bytes& arguments) {
    return Reader(call(id, arguments)).int64();
}

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

std::string VideoCalls::cameraName(int32_t index) {
    return Reader(call(4, Message().int32(index))).text();
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

bool VideoCalls::hasSettings(int64_t camera) {
    const uint8_t answer = Reader(call(16, Message().int64(camera))).byte();
    EXPECT_LE(answer, 1) << "a boolean is 0 or 1";
    return answer != 0;
}

Bytes videoArgumentsFor(const VideoMethod& method, int64_t everyHandle) {
    Message arguments;
    for (const char* letter = method.arguments; *letter != '\0'; ++letter) {
        switch (*letter) {
            case 'c':
                arguments.int64(everyHandle);
                break;
            case 'b':
                arguments.byte(1);
                break;
            case 'f':
                arguments.fraction(0.5);
                break;
            default:
                arguments.int32(1);
                break;
        }
    }
    return arguments;
}

Bytes videoNoHandleResult(const VideoMethod& method) {
    switch (method.result) {
        case VideoResult::none:
            return {};
        case VideoResult::byte:
            return Message().byte(0);
        case VideoResult::int64:
            return Message().int64(0);
        default:
            return Message().int32(0);  // the number zero, an empty text, an empty array
    }
}

}  // namespace e2e
