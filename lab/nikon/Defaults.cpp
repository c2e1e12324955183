// The capability tables that a camera begins with.
#include <cstring>
#include <initializer_list>
#include <string_view>

#include "lab/nikon/Capability.h"

namespace lab::nikon {

namespace {

constexpr uint32_t kReadWrite = kGet | kSet;
constexpr uint32_t kChoice = kGet | kSet | kGetArray | kGetDefault;

Capability plain(uint32_t id, uint32_t type, uint32_t operations, const char* description,
                 int64_t number = 0) {
    Capability capability;
    capability.id = id;
    capability.type = type;
    capability.operations = operations;
    capability.description = description;
    capability.value.number = number;
    capability.defaultValue.number = number;
    return capability;
}

Capability numbers(uint32_t id, const char* description, std::initializer_list<uint32_t> values,
                   int64_t current) {
    Capability capability = plain(id, kEnumeration, kChoice, description, current);
    for (const uint32_t value : values) {
        uint8_t bytes[sizeof value];
        std::memcpy(bytes, &value, sizeof value);
        capability.elements.insert(capability.elements.end(), bytes, bytes + sizeof value);
    }
    return capability;
}

Capability texts(uint32_t id, const char* description, std::initializer_list<std::string_view> values,
                 int64_t current) {
    Capability capability = plain(id, kEnumeration, kChoice, description, current);
    capability.arrayType = kPackedStrings;
    capability.elementBytes = 1;
    for (const std::string_view value : values) {
        capability.elements.insert(capability.elements.end(), value.begin(), value.end());
        capability.elements.push_back(0);
    }
    return capability;
}

Capability range(uint32_t id, const char* description, double lower, double upper) {
    Capability capability = plain(id, kRange, kReadWrite, description);
    capability.lower = lower;
    capability.upper = upper;
    capability.value.real = lower;
    capability.defaultValue.real = lower;
    return capability;
}

Capability frames() {
    Capability capability = plain(kLiveViewImage, kArray, kGet | kGetArray, "Live view image");
    capability.elementBytes = 1;
    return capability;
}

Capability children(const char* description) {
    return plain(kChildren, kEnumeration, kGet | kGetArray, description);
}

Capability procedure(uint32_t id, const char* description) {
    return plain(id, kCallback, kSet, description);
}

/** Numbers of ours: the dials whose values the camera itself puts into words. */
enum : uint32_t { kShutterSpeed = 0x8112, kAperture = 0x8113, kSensitivity = 0x8115, kQuality = 0x8117 };

}  // namespace

Table moduleTable() {
    return {procedure(kProgressProc, "Progress procedure"), procedure(kEventProc, "Event procedure"),
            children("Sources"), plain(kModuleMode, kUnsigned, kReadWrite, "Module mode")};
}

Table sourceTable(uint32_t cameraType) {
    return {
        procedure(kProgressProc, "Progress procedure"),
        procedure(kEventProc, "Event procedure"),
        children("Items"),
        plain(kCapture, kProcess, kStart, "Capture"),
        plain(kBatteryLevel, kInteger, kGet, "Battery level", 100),
        numbers(kFlashMode, "Flash mode", {0, 1, 2, 3, 4}, 0),
        numbers(kExposureMode, "Exposure mode", {0, 1, 2, 3}, 0),
        texts(kShutterSpeed, "Shutter speed",
              {"1/8000", "1/4000", "1/2000", "1/1000", "1/500", "1/250", "1/125", "1/60", "1/30", "1/15",
               "1/8",    "1/4",    "1/2",    "1",      "2",     "4",     "8",     "15",   "30",   "Bulb"},
              6),
        texts(kAperture, "Aperture", {"2.8", "4", "5.6", "8", "11", "16", "22"}, 2),
        texts(kSensitivity, "Sensitivity", {"100", "200", "400", "800", "1600", "3200"}, 1),
        numbers(kMeteringMode, "Metering mode", {0, 1, 2}, 0),
        texts(kQuality, "Compression level",
              {"JPEG Basic", "JPEG Normal", "JPEG Fine", "RAW", "RAW + JPEG Basic", "RAW + JPEG Normal",
               "RAW + JPEG Fine"},
              2),
        numbers(kFocusMode, "Focus mode", {0, 1, 2}, 1),
        numbers(kFocusArea, "Focus area", {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, 0),
        numbers(kColorAdjustment, "Hue", {0, 1, 2, 3, 4, 5, 6}, 3),
        plain(kReleaseState, kUnsigned, kGet, "Release state"),
        plain(kBracketingVary, kBoolean, kReadWrite, "Bracketing variation", 1),
        plain(kBracketing, kUnsigned, kGet, "Bracketing"),
        plain(kCameraType, kUnsigned, kGet, "Camera type", cameraType),
        numbers(kPictureControl, "Picture control", {1, 2, 3, 4, 101, 201, 202}, 0),
        plain(kRemoteMode, kUnsigned, kReadWrite, "Remote mode", 0),
        plain(kCameraControl, kUnsigned, kReadWrite, "Camera control", 1),
        plain(kLiveView, kUnsigned, kReadWrite, "Live view", 0),
        numbers(kZoomRate, "Live view zoom rate", {0, 1, 2, 3, 4, 5}, 0),
        frames(),
        range(kFocusAmount, "Focus drive amount", 1, 32767),
        plain(kFocusDirection, kUnsigned, kReadWrite, "Focus drive direction"),
        plain(kZoomPosition, kPoint, kReadWrite, "Live view zoom position"),
    };
}

Table itemTable() {
    return {procedure(kProgressProc, "Progress procedure"), procedure(kEventProc, "Event procedure"),
            children("Data objects")};
}

Table imageTable(uint32_t dual) {
    return {procedure(kProgressProc, "Progress procedure"), procedure(kEventProc, "Event procedure"),
            procedure(kDataProc, "Data procedure"), plain(kAcquire, kProcess, kStart, "Acquire"),
            plain(kDualImage, kUnsigned, kGet, "Images of the shot", dual)};
}

}  // namespace lab::nikon
