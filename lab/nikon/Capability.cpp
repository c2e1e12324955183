#include "lab/nikon/Capability.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace lab::nikon {

const Capability* find(const Table& table, uint32_t id) {
    const auto found =
        std::find_if(table.begin(), table.end(), [id](const Capability& row) { return row.id == id; });
    return found == table.end() ? nullptr : &*found;
}

Capability* find(Table& table, uint32_t id) {
    const auto found =
        std::find_if(table.begin(), table.end(), [id](const Capability& row) { return row.id == id; });
    return found == table.end() ? nullptr : &*found;
}

size_t choices(const Capability& capability) {
    if (capability.arrayType == kPackedStrings) {
        const auto ends = std::count(capability.elements.begin(), capability.elements.end(), uint8_t{0});
        const bool hasTail = !capability.elements.empty() && capability.elements.back() != 0;
        return static_cast<size_t>(ends) + (hasTail ? 1 : 0);
    }
    return capability.elementBytes == 0 ? 0 : capability.elements.size() / capability.elementBytes;
}

bool isWithin(const Capability& capability, const Value& value) {
    switch (capability.type) {
        case kEnumeration:
            return value.number >= 0 && static_cast<uint64_t>(value.number) < choices(capability);
        case kRange:
            return value.real >= capability.lower && value.real <= capability.upper;
        default:
            return true;
    }
}

std::string idText(uint32_t id) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%x", static_cast<unsigned>(id));
    return text;
}

namespace {

std::string expected(const char* what, const Json& found) {
    return std::string("expected ") + what + ", found " + kindOf(found);
}

std::string numberFromJson(const Json& json, int64_t lowest, int64_t highest, Value& out) {
    int64_t number = 0;
    if (!toNumber(json, number)) return expected("a whole number or a text like \"0x406\"", json);
    if (number < lowest || number > highest) {
        return "expected " + std::to_string(lowest) + " to " + std::to_string(highest) + ", found " +
               kindOf(json);
    }
    out.number = number;
    return {};
}

std::string booleanFromJson(const Json& json, Value& out) {
    if (!json.is_boolean()) {
        if (std::string problem = numberFromJson(json, 0, 1, out); problem.empty()) return problem;
        return expected("true or false", json);
    }
    out.number = json.get<bool>() ? 1 : 0;
    return {};
}

std::string pointFromJson(const Json& json, Value& out) {
    int64_t x = 0;
    int64_t y = 0;
    const bool isPair = json.is_array() && json.size() == 2 && toNumber(json[0], x) && toNumber(json[1], y);
    const bool fits = x >= INT32_MIN && x <= INT32_MAX && y >= INT32_MIN && y <= INT32_MAX;
    if (!isPair || !fits) return expected("[x, y]", json);
    out.x = static_cast<int32_t>(x);
    out.y = static_cast<int32_t>(y);
    return {};
}

std::string realFromJson(const Json& json, Value& out) {
    if (!json.is_number()) return expected("a number", json);
    out.real = json.get<double>();
    return {};
}

}  // namespace

std::string valueFromJson(const Capability& capability, const Json& json, Value& out) {
    switch (capability.type) {
        case kBoolean:
            return booleanFromJson(json, out);
        case kInteger:
            return numberFromJson(json, INT32_MIN, INT32_MAX, out);
        case kUnsigned:
        case kEnumeration:
            return numberFromJson(json, 0, UINT32_MAX, out);
        case kPoint:
            return pointFromJson(json, out);
        case kRange:
            return realFromJson(json, out);
        default:
            return "capability " + idText(capability.id) + " has no value of its own";
    }
}

void writeValue(JsonText& out, const Capability& capability) {
    const Value& value = capability.value;
    switch (capability.type) {
        case kBoolean:
            out.boolean(value.number != 0);
            return;
        case kInteger:
        case kUnsigned:
        case kEnumeration:
            out.number(value.number);
            return;
        case kPoint:
            out.beginArray().number(value.x).number(value.y).endArray();
            return;
        case kRange:
            out.raw(Json(value.real).dump());
            return;
        default:
            out.null();
    }
}

}  // namespace lab::nikon
