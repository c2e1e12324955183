/* ControlTable.h: the standard's camera-terminal and processing-unit controls, and what the kernel calls
 * them.
 *
 * Thread: any; the table never changes.
 * Follows: USB Video Class 1.1, 4.2.2.1, 4.2.2.3 (values), 3.7.2.3, 3.7.2.5 (bits of bmControls), 4.2.1
 * (requests).
 */
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "frameworks/USB/linux/Descriptors.h"

namespace usb {

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

/** How the driver's number stands for the device's. */
enum class Mapping : uint8_t {
    number,        // it is the same
    exposureMode,  // one bit of four on the bus, the place in a menu in the driver
};

/** A number within a control's bytes, which is a control of its own in the driver. */
struct Field {
    uint32_t id = 0;  // V4L2_CID_…
    uint8_t offset = 0;
    uint8_t size = 0;  // 1, 2 or 4; 0: there is no such field
    bool isSigned = false;
    Mapping mapping = Mapping::number;
};

/** A standard control. */
struct ControlRow {
    std::array<Field, 2> fieldPair;
    EntityKind kind;
    uint8_t selector;
    uint8_t bit;  // of the unit's bmControls
    uint8_t size;
    bool hasRange;  // answers the requests for minimum, maximum and step
    bool hasDefault;
    uint8_t hiddenBy = 0;  // another selector whose control has the driver's name first; 0: none

    std::span<const Field> fields() const { return {fieldPair.data(), fieldPair[1].size == 0 ? 1U : 2U}; }
    bool answers(uint8_t request) const;
};

/** The row of a control that the unit has and that the driver can reach; null when there is none. */
const ControlRow* rowOf(const Entity& unit, uint8_t selector);

/** The whole table. */
std::span<const ControlRow> controlRows();

/** What stands in the field, as a number; and back. */
int64_t numberIn(std::span<const uint8_t> bytes, const Field& field);
void putNumber(std::span<uint8_t> bytes, const Field& field, int64_t number);

/** From the device's number to the driver's; nothing when the driver has none for it. */
std::optional<int32_t> toDriver(const Field& field, int64_t number);
/** From the driver's number to the device's. */
int64_t fromDriver(const Field& field, int64_t number);

}  // namespace usb
