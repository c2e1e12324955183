// What a scenario says about capabilities.
#include <algorithm>
#include <cstring>
#include <nlohmann/json.hpp>

#include "lab/nikon/Capability.h"

namespace lab::nikon {

namespace {

constexpr size_t kMostDescription = 256;  // of the interface's record; a full one has no end
constexpr size_t kMostCapabilities = 4096;
constexpr double kMostReal = 1e300;

uint32_t usualOperations(uint32_t type) {
    switch (type) {
        case kProcess:
            return kStart;
        case kCallback:
            return kSet;
        case kArray:
            return kGet | kGetArray;
        case kEnumeration:
            return kGet | kSet | kGetArray;
        default:
            return kGet | kSet;
    }
}

/** Bytes of one element as the interface hands it out, where the array type tells. */
uint16_t usualElementBytes(uint32_t type, uint32_t arrayType) {
    constexpr uint16_t kSizes[] = {1, 4, 4, 8, 8, 8, 16, 1};
    const bool isBytes = type == kArray && arrayType == kUnsignedArray;
    return arrayType < std::size(kSizes) && !isBytes ? kSizes[arrayType] : uint16_t{1};
}

void readUnsigned(Fields& fields, std::string_view name, uint32_t& out) {
    int64_t number = 0;
    if (fields.number(name, number, {0, UINT32_MAX})) out = static_cast<uint32_t>(number);
}

void readIndex(Fields& fields, std::string_view name, Value& out) {
    fields.number(name, out.number, {0, UINT32_MAX});
}

void wrongElement(Fields& fields, size_t index, const char* wanted, const Json& found) {
    fields.report().wrong(itemPath(fields.pathOf("elements"), index),
                          std::string("expected ") + wanted + ", found " + kindOf(found));
}

void appendNumber(std::vector<uint8_t>& out, int64_t number) {
    const auto value = static_cast<uint32_t>(number);
    uint8_t bytes[sizeof value];
    std::memcpy(bytes, &value, sizeof value);
    out.insert(out.end(), bytes, bytes + sizeof value);
}

std::vector<uint8_t> readNumberElements(Fields& fields, const Json& list) {
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i < list.size(); ++i) {
        int64_t number = 0;
        if (!toNumber(list[i], number) || number < INT32_MIN || number > UINT32_MAX) {
            wrongElement(fields, i, "a number of 32 bits", list[i]);
            return {};
        }
        appendNumber(bytes, number);
    }
    return bytes;
}

std::vector<uint8_t> readTextElements(Fields& fields, const Json& list) {
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i < list.size(); ++i) {
        if (!list[i].is_string()) {
            wrongElement(fields, i, "a text", list[i]);
            return {};
        }
        const auto& text = list[i].get_ref<const std::string&>();
        if (text.find('\0') != std::string::npos) {
            wrongElement(fields, i, "a text without NUL", list[i]);
            return {};
        }
        bytes.insert(bytes.end(), text.begin(), text.end());
        bytes.push_back(0);
    }
    return bytes;
}

/** Numbers and texts are written as such; any array type may be given as the bytes that it has. */
void readElements(Fields& fields, Capability& out) {
    const uint32_t typeBefore = out.arrayType;
    readUnsigned(fields, "arrayType", out.arrayType);
    if (out.arrayType != typeBefore) {
        out.elements.clear();
        out.elementBytes = usualElementBytes(out.type, out.arrayType);
    }
    const Json* list = fields.list("elements");
    std::vector<uint8_t> bytes;
    const bool hasBytes = fields.bytes("bytes", bytes);
    if (hasBytes) {
        int64_t each = usualElementBytes(out.type, out.arrayType);
        if (bytes.size() % static_cast<size_t>(each) != 0) each = 1;
        fields.number("elementBytes", each, {1, UINT16_MAX});
        out.elementBytes = static_cast<uint16_t>(each);
        out.elements = std::move(bytes);
    }
    if (list == nullptr) return;
    if (hasBytes) {
        fields.wrong("", "needs either \"elements\" or \"bytes\"");
        return;
    }
    if (out.arrayType != kUnsignedArray && out.arrayType != kPackedStrings) {
        fields.wrong("elements", "array type " + std::to_string(out.arrayType) + " takes \"bytes\"");
        return;
    }
    out.elementBytes = usualElementBytes(kEnumeration, out.arrayType);
    out.elements =
        out.arrayType == kPackedStrings ? readTextElements(fields, *list) : readNumberElements(fields, *list);
}

void readRange(Fields& fields, Capability& out) {
    fields.real("lower", out.lower, -kMostReal, kMostReal);
    fields.real("upper", out.upper, -kMostReal, kMostReal);
    readUnsigned(fields, "steps", out.steps);
    if (out.lower > out.upper) fields.wrong("upper", "is below \"lower\"");
}

void readValue(Fields& fields, Capability& out) {
    const Json* json = fields.any("value");
    if (json == nullptr) return;
    if (std::string problem = valueFromJson(out, *json, out.value); !problem.empty()) {
        fields.wrong("value", problem);
    }
    out.defaultValue = out.value;
}

void readPoint(Fields& fields, Capability& out) {
    int64_t x = out.value.x;
    int64_t y = out.value.y;
    fields.number("x", x, {INT32_MIN, INT32_MAX});
    fields.number("y", y, {INT32_MIN, INT32_MAX});
    out.value.x = static_cast<int32_t>(x);
    out.value.y = static_cast<int32_t>(y);
    out.defaultValue = out.value;
}

/** Only the fields that the type knows are asked for, so that the others are reported. */
void readByType(Fields& fields, Capability& out) {
    switch (out.type) {
        case kBoolean:
        case kInteger:
        case kUnsigned:
            readValue(fields, out);
            return;
        case kPoint:
            readPoint(fields, out);
            return;
        case kArray:
            readElements(fields, out);
            return;
        case kEnumeration:
            readElements(fields, out);
            readIndex(fields, "current", out.value);
            readIndex(fields, "default", out.defaultValue);
            return;
        case kRange:
            readValue(fields, out);
            readRange(fields, out);
            return;
        default:
            return;
    }
}

/** False when it was reported: the rest could not be understood without it. */
bool readType(Fields& fields, bool isKnown, Capability& out) {
    int64_t type = out.type;
    const bool hasType = fields.number("type", type, {0, kLastType});
    if (!fields.report().isFine()) return false;
    if (!hasType && !isKnown) {
        // An array type tells as much.
        if (fields.any("arrayType") == nullptr) return fields.require("type");
        type = kEnumeration;
    }
    if (isKnown && out.type == type) return true;
    const uint32_t id = out.id;
    std::string description = std::move(out.description);
    out = {};
    out.id = id;
    out.type = static_cast<uint32_t>(type);
    out.operations = usualOperations(out.type);
    out.description = std::move(description);
    if (out.type == kArray) out.elementBytes = 1;
    return true;
}

void readDescription(Fields& fields, Capability& out) {
    fields.text("description", out.description);
    if (out.description.size() > kMostDescription) {
        fields.wrong("description", "at most 256 bytes are possible");
    }
}

void readCapability(const Json& json, const std::string& path, Report& report, Table& table) {
    Fields fields(json, path, report);
    int64_t id = 0;
    if (!fields.require("id") || !fields.number("id", id, {0, UINT32_MAX})) return;
    Capability* known = find(table, static_cast<uint32_t>(id));
    bool isRemoved = false;
    fields.flag("remove", isRemoved);
    if (isRemoved) {
        fields.finish();
        std::erase_if(table, [id](const Capability& row) { return row.id == id; });
        return;
    }
    Capability capability = known == nullptr ? Capability{} : *known;
    capability.id = static_cast<uint32_t>(id);
    if (!readType(fields, known != nullptr, capability)) return;
    readUnsigned(fields, "operations", capability.operations);
    readUnsigned(fields, "visibility", capability.visibility);
    uint32_t completeAfter = 0;
    if (fields.any("completeAfter") != nullptr) {
        readUnsigned(fields, "completeAfter", completeAfter);
        capability.completeAfter = completeAfter;
    }
    readDescription(fields, capability);
    readByType(fields, capability);
    fields.finish();
    if (known != nullptr) {
        *known = std::move(capability);
    } else {
        table.push_back(std::move(capability));
    }
}

}  // namespace

void readCapabilities(Fields& fields, Table& table) {
    const Json* list = fields.list("capabilities");
    if (list == nullptr) return;
    if (list->size() > kMostCapabilities) {
        fields.wrong("capabilities", "at most 4096 are possible");
        return;
    }
    for (size_t i = 0; i < list->size(); ++i) {
        readCapability((*list)[i], itemPath(fields.pathOf("capabilities"), i), fields.report(), table);
        if (!fields.report().isFine()) return;
    }
}

}  // namespace lab::nikon
