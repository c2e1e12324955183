#include "lab/video/Controls.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace lab::video {

namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint8_t kToInterface = 0x21;    // class request, host to device
constexpr uint8_t kFromInterface = 0xA1;  // class request, device to host
constexpr uint8_t kCanRead = 1;
constexpr uint8_t kCanWrite = 2;
constexpr size_t kNumberSize = 8;

enum RequestCode : uint8_t {
    kSetCur = 0x01,
    kGetCur = 0x81,
    kGetMin = 0x82,
    kGetMax = 0x83,
    kGetRes = 0x84,
    kGetLen = 0x85,
    kGetInfo = 0x86,
    kGetDef = 0x87
};

/** Whether a number, taken as signed or unsigned, fits into so many bytes. */
bool fits(int64_t value, size_t size) {
    if (size >= kNumberSize) return true;
    const int64_t end = int64_t{1} << (size * 8);
    return value >= -end / 2 && value < end;
}

Bytes bytesOf(int64_t value, size_t size) {
    Bytes bytes(size, value < 0 ? 0xFF : 0);
    const auto bits = static_cast<uint64_t>(value);
    for (size_t i = 0; i < std::min(size, kNumberSize); ++i) {
        bytes[i] = static_cast<uint8_t>(bits >> (i * 8));
    }
    return bytes;
}

uint64_t unsignedOf(const Bytes& bytes) {
    uint64_t value = 0;
    for (size_t i = 0; i < std::min(bytes.size(), kNumberSize); ++i) {
        value |= uint64_t{bytes[i]} << (i * 8);
    }
    return value;
}

bool isNegative(const Bytes& bytes) {
    return (bytes.back() & 0x80U) != 0;
}

/** A control whose range begins below zero is a signed one. One that goes up to all ones is not: its lowest
 *  value may have the highest bit set and be a large number. */
bool isSigned(const Control& control) {
    return isNegative(control.lowest) && !isNegative(control.highest);
}

const Bytes* readable(const Control& control, uint8_t request) {
    switch (request) {
        case kGetCur:
            return (control.info & kCanRead) != 0 ? &control.current : nullptr;
        case kGetMin:
            return &control.lowest;
        case kGetMax:
            return &control.highest;
        case kGetRes:
            return &control.step;
        case kGetDef:
            return &control.standard;
        default:
            return nullptr;
    }
}

/** The device sends what it has, cut off where the host's patience ends. */
bool send(const uint8_t* bytes, size_t size, const UsbRequest& request, uint8_t* data, uint32_t& done) {
    const size_t count = std::min<size_t>(size, request.length);
    std::copy_n(bytes, count, data);
    done = static_cast<uint32_t>(count);
    return true;
}

bool read(const Control& control, const UsbRequest& request, uint8_t* data, uint32_t& done) {
    if (request.request == kGetInfo) return send(&control.info, 1, request, data, done);
    if (request.request == kGetLen) {
        const Bytes length = bytesOf(static_cast<int64_t>(control.current.size()), 2);
        return send(length.data(), length.size(), request, data, done);
    }
    const Bytes* bytes = readable(control, request.request);
    return bytes != nullptr && send(bytes->data(), bytes->size(), request, data, done);
}

bool write(Control& control, const UsbRequest& request, const uint8_t* data, uint32_t& done) {
    const bool isPossible = request.request == kSetCur && (control.info & kCanWrite) != 0 &&
                            request.length == control.current.size();
    if (!isPossible) return false;
    std::copy_n(data, control.current.size(), control.current.begin());
    done = request.length;
    return true;
}

bool readValue(Fields& fields, std::string_view name, size_t size, Bytes& out) {
    int64_t value = 0;
    if (!fields.number(name, value)) return false;
    if (!fits(value, size)) {
        fields.wrong(name, "does not fit into " + std::to_string(size) + " bytes");
        return false;
    }
    out = bytesOf(value, size);
    return true;
}

Control readControl(const Json& json, const std::string& path, Report& report) {
    Fields fields(json, path, report);
    int64_t unit = 0;
    int64_t selector = 0;
    int64_t size = 1;
    int64_t info = kCanRead | kCanWrite;
    for (const std::string_view name : {"unit", "selector", "size"}) {
        fields.require(name);
    }
    fields.number("unit", unit, {0, UINT8_MAX});
    fields.number("selector", selector, {0, UINT8_MAX});
    fields.number("size", size, {1, kMostControlSize});
    fields.number("info", info, {0, UINT8_MAX});
    const auto bytes = static_cast<size_t>(size);
    Control control{static_cast<uint8_t>(unit),
                    static_cast<uint8_t>(selector),
                    static_cast<uint8_t>(info),
                    Bytes(bytes),
                    Bytes(bytes),
                    Bytes(bytes, 0xFF),
                    bytesOf(1, bytes),
                    Bytes()};
    readValue(fields, "min", bytes, control.lowest);
    readValue(fields, "max", bytes, control.highest);
    readValue(fields, "res", bytes, control.step);
    control.current = control.lowest;
    readValue(fields, "cur", bytes, control.current);
    control.standard = control.current;
    readValue(fields, "def", bytes, control.standard);
    fields.finish();
    return control;
}

}  // namespace

bool carryOut(std::vector<Control>& controls, const UsbRequest& request, uint8_t* data, uint32_t& done) {
    if ((request.value & 0xFFU) != 0) return false;
    const auto control = std::find_if(controls.begin(), controls.end(), [&](const Control& other) {
        return other.unit == unitOf(request) && other.selector == selectorOf(request);
    });
    if (control == controls.end()) return false;
    if (request.type == kFromInterface) return read(*control, request, data, done);
    return request.type == kToInterface && write(*control, request, data, done);
}

std::vector<Control> readControls(Fields& uvc) {
    std::vector<Control> controls;
    const Json* list = uvc.list("controls");
    if (list == nullptr) return controls;
    for (size_t i = 0; i < list->size(); ++i) {
        const std::string path = itemPath(uvc.pathOf("controls"), i);
        Control control = readControl((*list)[i], path, uvc.report());
        if (controlNamed(controls, controlName(control)) != nullptr) {
            uvc.report().wrong(path, "the control " + controlName(control) + " stands here twice");
        }
        controls.push_back(std::move(control));
    }
    return controls;
}

std::string controlName(const Control& control) {
    return std::to_string(control.unit) + ":" + std::to_string(control.selector);
}

Control* controlNamed(std::vector<Control>& controls, std::string_view name) {
    const auto found = std::find_if(controls.begin(), controls.end(),
                                    [&](const Control& control) { return controlName(control) == name; });
    return found == controls.end() ? nullptr : &*found;
}

void writeCurrent(JsonText& out, const Control& control) {
    const Bytes& bytes = control.current;
    if (bytes.size() > kNumberSize) {
        out.hex(bytes.data(), bytes.size());
        return;
    }
    const uint64_t value = unsignedOf(bytes);
    if (!isSigned(control) || !isNegative(bytes)) {
        out.unsignedNumber(value);
        return;
    }
    const uint64_t above = bytes.size() < kNumberSize ? ~uint64_t{0} << (bytes.size() * 8) : 0;
    out.number(static_cast<int64_t>(value | above));
}

std::string setCurrent(Control& control, const Json& value) {
    const size_t size = control.current.size();
    int64_t number = 0;
    if (toNumber(value, number)) {
        if (!fits(number, size)) return "does not fit into " + std::to_string(size) + " bytes";
        control.current = bytesOf(number, size);
        return {};
    }
    Bytes bytes;
    const bool isBytes = value.is_string() && toBytes(value.get_ref<const std::string&>(), bytes);
    if (!isBytes || bytes.size() != size) {
        return "expected a whole number, a text like \"0x406\" or " + std::to_string(size) +
               " bytes, found " + kindOf(value);
    }
    control.current = std::move(bytes);
    return {};
}

}  // namespace lab::video
