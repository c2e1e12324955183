/* Capability.h: what a Nikon object can be asked, as a row of its capability table.
 *
 * The numbers of types and operations are the module interface's, so that a scenario names them as a host's
 * author knows them.
 *
 * Thread: any; plain data.
 * Owns:   its texts and elements.
 */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "lab/Export.h"
#include "lab/Fields.h"
#include "lab/JsonText.h"

namespace lab::nikon {

enum Type : uint32_t {
    kProcess = 0,
    kBoolean = 1,
    kInteger = 2,
    kUnsigned = 3,
    kPoint = 5,
    kCallback = 10,
    kArray = 11,
    kEnumeration = 12,
    kRange = 13
};
inline constexpr uint32_t kLastType = 14;

enum Operation : uint32_t { kStart = 1, kGet = 2, kSet = 4, kGetArray = 8, kGetDefault = 16 };

enum ArrayType : uint32_t { kUnsignedArray = 2, kPackedStrings = 7 };

enum CapabilityId : uint32_t {
    kProgressProc = 2,
    kEventProc = 3,
    kDataProc = 4,
    kChildren = 7,
    kCapture = 17,
    kAcquire = 20,
    kBatteryLevel = 49,
    kFlashMode = 53,
    kModuleMode = 0x8101,
    kExposureMode = 0x8111,
    kMeteringMode = 0x8116,
    kFocusMode = 0x8120,
    kFocusArea = 0x8122,
    kColorAdjustment = 0x815E,
    kReleaseState = 0x818F,
    kBracketingVary = 0x81AF,
    kBracketing = 0x81B3,
    kDualImage = 0x81B5,
    kCameraType = 0x81D7,
    kPictureControl = 0x822E,
    kRemoteMode = 0x823C,
    kCameraControl = 0x823D,
    kLiveView = 0x823E,
    kZoomRate = 0x823F,
    kLiveViewImage = 0x8247,
    kFocusAmount = 0x8248,
    kFocusDirection = 0x8249,
    kZoomPosition = 0x824A
};

/** What a capability holds; which of it counts is up to the capability's type. */
struct Value {
    int64_t number = 0;  // boolean, integer, unsigned; the index of an enumeration
    double real = 0;     // range
    int32_t x = 0;       // point
    int32_t y = 0;
};

struct Capability {
    uint32_t id = 0;
    uint32_t type = kProcess;
    uint32_t operations = 0;
    uint32_t visibility = 0;
    std::string description;
    std::optional<uint32_t> completeAfter;  // none: as the device says
    Value value;
    Value defaultValue;
    double lower = 0;  // range
    double upper = 0;
    uint32_t steps = 0;  // 0: any value between the bounds
    uint32_t arrayType = kUnsignedArray;
    uint16_t elementBytes = 4;
    std::vector<uint8_t> elements;  // enumeration, array: as the interface hands them out
};

/** In the order in which the module lists them. */
using Table = std::vector<Capability>;

LAB_EXPORT const Capability* find(const Table& table, uint32_t id);
LAB_EXPORT Capability* find(Table& table, uint32_t id);

/** How many values an enumeration has to choose from: of packed strings, as many as there are texts. */
LAB_EXPORT size_t choices(const Capability& capability);
/** Says whether the capability may hold the value. */
LAB_EXPORT bool isWithin(const Capability& capability, const Value& value);

// What the objects of a camera that nobody described further can be asked.
LAB_EXPORT Table moduleTable();
Table sourceTable(uint32_t cameraType);
LAB_EXPORT Table itemTable();
LAB_EXPORT Table imageTable(uint32_t dual);

/** The list "capabilities" of a body or of the module object, laid over the table. */
void readCapabilities(Fields& fields, Table& table);
/** A capability's value from JSON; answers what is wrong with it, empty: nothing. */
std::string valueFromJson(const Capability& capability, const Json& json, Value& out);
/** The value as JSON; null for what has none. */
void writeValue(JsonText& out, const Capability& capability);

/** "0x8111" */
std::string idText(uint32_t id);

}  // namespace lab::nikon
