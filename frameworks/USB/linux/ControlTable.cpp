#include "frameworks/USB/linux/ControlTable.h"

#include <linux/v4l2-controls.h>

#include <algorithm>
#include <limits>

namespace usb {

namespace {

constexpr bool kSigned = true;

constexpr Field u8(uint32_t id) {
    return {.id = id, .size = 1};
}
constexpr Field s8(uint32_t id) {
    return {.id = id, .size = 1, .isSigned = kSigned};
}
constexpr Field u16(uint32_t id) {
    return {.id = id, .size = 2};
}
constexpr Field s16(uint32_t id, uint8_t offset = 0) {
    return {.id = id, .offset = offset, .size = 2, .isSigned = kSigned};
}
constexpr Field u32(uint32_t id) {
    return {.id = id, .size = 4};
}
constexpr Field s32(uint32_t id, uint8_t offset) {
    return {.id = id, .offset = offset, .size = 4, .isSigned = kSigned};
}

struct Place {
    EntityKind kind;
    uint8_t selector;
    uint8_t bit;
};

constexpr Place camera(uint8_t selector, uint8_t bit) {
    return {EntityKind::cameraTerminal, selector, bit};
}
constexpr Place processing(uint8_t selector, uint8_t bit) {
    return {EntityKind::processingUnit, selector, bit};
}

constexpr uint8_t lengthOf(const Field& first, const Field& second) {
    return static_cast<uint8_t>(second.size == 0 ? first.size : second.offset + second.size);
}

/** Answers every request. */
constexpr ControlRow range(Place at, Field first, Field second = {}) {
    return {{first, second}, at.kind, at.selector, at.bit, lengthOf(first, second), true, true};
}
/** One of a few values, with a default. */
constexpr ControlRow choice(Place at, Field field, uint8_t hiddenBy = 0) {
    return {{field, Field{}}, at.kind, at.selector, at.bit, field.size, false, true, hiddenBy};
}
/** Without even a default. */
constexpr ControlRow state(Place at, Field field) {
    return {{field, Field{}}, at.kind, at.selector, at.bit, field.size, false, false};
}

constexpr uint8_t kTemperatureAuto = 0x0B;

// What is missing here (scanning mode, roll, the relative controls but the iris, digital multiplier, analogue
// video) the driver has no name for, or one that loses a part of the value.
constexpr ControlRow kRows[] = {
    choice(camera(0x02, 1), {.id = V4L2_CID_EXPOSURE_AUTO, .size = 1, .mapping = Mapping::exposureMode}),
    state(camera(0x03, 2), u8(V4L2_CID_EXPOSURE_AUTO_PRIORITY)),
    range(camera(0x04, 3), u32(V4L2_CID_EXPOSURE_ABSOLUTE)),
    range(camera(0x06, 5), u16(V4L2_CID_FOCUS_ABSOLUTE)),
    choice(camera(0x08, 17), u8(V4L2_CID_FOCUS_AUTO)),
    range(camera(0x09, 7), u16(V4L2_CID_IRIS_ABSOLUTE)),
    state(camera(0x0A, 8), s8(V4L2_CID_IRIS_RELATIVE)),
    range(camera(0x0B, 9), u16(V4L2_CID_ZOOM_ABSOLUTE)),
    range(camera(0x0D, 11), s32(V4L2_CID_PAN_ABSOLUTE, 0), s32(V4L2_CID_TILT_ABSOLUTE, 4)),
    state(camera(0x11, 18), u8(V4L2_CID_PRIVACY)),

    range(processing(0x01, 8), u16(V4L2_CID_BACKLIGHT_COMPENSATION)),
    range(processing(0x02, 0), s16(V4L2_CID_BRIGHTNESS)),
    range(processing(0x03, 1), u16(V4L2_CID_CONTRAST)),
    range(processing(0x04, 9), u16(V4L2_CID_GAIN)),
    choice(processing(0x05, 10), u8(V4L2_CID_POWER_LINE_FREQUENCY)),
    range(processing(0x06, 2), s16(V4L2_CID_HUE)),
    range(processing(0x07, 3), u16(V4L2_CID_SATURATION)),
    range(processing(0x08, 4), u16(V4L2_CID_SHARPNESS)),
    range(processing(0x09, 5), u16(V4L2_CID_GAMMA)),
    range(processing(0x0A, 6), u16(V4L2_CID_WHITE_BALANCE_TEMPERATURE)),
    choice(processing(kTemperatureAuto, 12), u8(V4L2_CID_AUTO_WHITE_BALANCE)),
    // Taken as signed by the driver: numbers from 0x8000 up come and go as negative ones.
    range(processing(0x0C, 7), s16(V4L2_CID_BLUE_BALANCE), s16(V4L2_CID_RED_BALANCE, 2)),
    choice(processing(0x0D, 13), u8(V4L2_CID_AUTO_WHITE_BALANCE), kTemperatureAuto),
    choice(processing(0x10, 11), u8(V4L2_CID_HUE_AUTO)),
};

struct ExposureMode {
    int64_t bit;
    int32_t menu;
};
constexpr ExposureMode kExposureModes[] = {{1, V4L2_EXPOSURE_MANUAL},
                                           {2, V4L2_EXPOSURE_AUTO},
                                           {4, V4L2_EXPOSURE_SHUTTER_PRIORITY},
                                           {8, V4L2_EXPOSURE_APERTURE_PRIORITY}};

const ControlRow* rowFor(EntityKind kind, uint8_t selector) {
    const auto found = std::find_if(std::begin(kRows), std::end(kRows), [&](const ControlRow& row) {
        return row.kind == kind && row.selector == selector;
    });
    return found == std::end(kRows) ? nullptr : found;
}

bool has(const Entity& unit, const ControlRow& row) {
    return unit.controls[row.bit];
}

bool isHidden(const Entity& unit, const ControlRow& row) {
    const ControlRow* other = row.hiddenBy == 0 ? nullptr : rowFor(unit.kind, row.hiddenBy);
    return other != nullptr && has(unit, *other);
}

}  // namespace

bool ControlRow::answers(uint8_t request) const {
    switch (request) {
        case kSetCur:
        case kGetCur:
        case kGetInfo:
        case kGetLen:
            return true;
        case kGetMin:
        case kGetMax:
            return hasRange;
        case kGetRes:
            return hasRange || fieldPair[0].mapping == Mapping::exposureMode;
        case kGetDef:
            return hasDefault;
        default:
            return false;
    }
}

const ControlRow* rowOf(const Entity& unit, uint8_t selector) {
    const ControlRow* row = rowFor(unit.kind, selector);
    return row != nullptr && has(unit, *row) && !isHidden(unit, *row) ? row : nullptr;
}

std::span<const ControlRow> controlRows() {
    return kRows;
}

int64_t numberIn(std::span<const uint8_t> bytes, const Field& field) {
    uint32_t bits = 0;
    for (size_t i = field.size; i-- > 0;) {
        bits = bits << 8 | bytes[field.offset + i];
    }
    if (!field.isSigned) return bits;
    const int64_t end = int64_t{1} << (field.size * 8);
    return bits < end / 2 ? int64_t{bits} : int64_t{bits} - end;
}

void putNumber(std::span<uint8_t> bytes, const Field& field, int64_t number) {
    auto bits = static_cast<uint64_t>(number);
    for (size_t i = 0; i < field.size; ++i) {
        bytes[field.offset + i] = static_cast<uint8_t>(bits & 0xFF);
        bits >>= 8;
    }
}

std::optional<int32_t> toDriver(const Field& field, int64_t number) {
    if (field.mapping == Mapping::exposureMode) {
        for (const ExposureMode& mode : kExposureModes) {
            if (mode.bit == number) return mode.menu;
        }
        return std::nullopt;
    }
    if (number > std::numeric_limits<int32_t>::max()) return std::nullopt;
    return static_cast<int32_t>(number);
}

int64_t fromDriver(const Field& field, int64_t number) {
    if (field.mapping != Mapping::exposureMode) return number;
    for (const ExposureMode& mode : kExposureModes) {
        if (mode.menu == number) return mode.bit;
    }
    return number;  // the driver hands on what stands in none of its menus
}

}  // namespace usb
