/* Values.h: what a property of a Canon body holds, and how it is written in JSON.
 *
 * A value is its bytes as the camera library hands them out, in the machine's own byte order.
 *
 * Thread: any; plain values.
 * Follows: the library's data type numbers, which scenarios name.
 */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "lab/Export.h"
#include "lab/Fields.h"
#include "lab/JsonText.h"

namespace lab::canon {

enum DataType : uint32_t {
    kUnknown = 0,
    kBool = 1,
    kText = 2,
    kInt8 = 3,
    kInt16 = 4,
    kUInt8 = 6,
    kUInt16 = 7,
    kInt32 = 8,
    kUInt32 = 9,
    kInt64 = 10,
    kUInt64 = 11,
    kFloat = 12,
    kDouble = 13,
    kByteBlock = 14,
    kRational = 20,
    kPoint = 21,
    kRect = 22,
    kTime = 23
};

struct Value {
    uint32_t type = kUnknown;
    std::vector<uint8_t> bytes;

    bool operator==(const Value&) const = default;
};

/** The longest text that a property may hold, its final zero included. */
inline constexpr size_t kMostText = 256;

LAB_EXPORT Value numberValue(uint32_t type, int64_t number);
/** Cut where it is too long for a property. */
LAB_EXPORT Value textValue(std::string_view text);
LAB_EXPORT Value pointValue(int32_t x, int32_t y);

/** The number that a value of a number's type holds, 0 of any other. */
LAB_EXPORT int64_t numberOf(const Value& value);
LAB_EXPORT std::string_view textOf(const Value& value);
struct Point {
    int32_t x = 0;
    int32_t y = 0;
};
LAB_EXPORT Point pointOf(const Value& value);

/** How many bytes a value of the type has; 0: as many as it comes with. */
LAB_EXPORT size_t sizeOfType(uint32_t type);
LAB_EXPORT bool isKnownType(int64_t type);

/** Reads a value of a type; a text that says what is wrong, or empty. */
LAB_EXPORT std::string valueFromJson(uint32_t type, const Json& json, Value& out);
/** Numbers as numbers, texts as texts, points and rectangles as lists, anything else as hex bytes. */
LAB_EXPORT void writeValue(JsonText& out, const Value& value);

}  // namespace lab::canon
