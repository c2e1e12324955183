#include "lab/canon/Values.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>

namespace lab::canon {

namespace {

/** Types that are one whole number. */
struct NumberType {
    uint32_t type;
    size_t size;
    bool isSigned;
};
constexpr std::array<NumberType, 9> kNumberTypes = {{{kBool, 4, true},
                                                     {kInt8, 1, true},
                                                     {kInt16, 2, true},
                                                     {kUInt8, 1, false},
                                                     {kUInt16, 2, false},
                                                     {kInt32, 4, true},
                                                     {kUInt32, 4, false},
                                                     {kInt64, 8, true},
                                                     {kUInt64, 8, false}}};

/** Types that are some 32-bit numbers in a row. */
struct ListType {
    uint32_t type;
    size_t count;
};
constexpr std::array<ListType, 3> kListTypes = {{{kRational, 2}, {kPoint, 2}, {kRect, 4}}};

constexpr size_t kTimeSize = 32;

const NumberType* findNumberType(uint32_t type) {
    const auto found = std::find_if(kNumberTypes.begin(), kNumberTypes.end(),
                                    [&](const NumberType& row) { return row.type == type; });
    return found == kNumberTypes.end() ? nullptr : &*found;
}

const ListType* findListType(uint32_t type) {
    const auto found = std::find_if(kListTypes.begin(), kListTypes.end(),
                                    [&](const ListType& row) { return row.type == type; });
    return found == kListTypes.end() ? nullptr : &*found;
}

template <typename Stored, typename Given>
void store(std::vector<uint8_t>& bytes, Given given) {
    const auto stored = static_cast<Stored>(given);
    bytes.resize(sizeof stored);
    std::memcpy(bytes.data(), &stored, sizeof stored);
}

template <typename Stored>
Stored load(const std::vector<uint8_t>& bytes, size_t offset = 0) {
    Stored stored{};
    if (bytes.size() >= offset + sizeof stored) std::memcpy(&stored, bytes.data() + offset, sizeof stored);
    return stored;
}

bool fits(const NumberType& type, int64_t number) {
    if (type.size == 8) return true;
    const unsigned bits = static_cast<unsigned>(type.size * 8);
    // Both readings of the bits are taken: people write 0xFFFFFFFF where they mean -1.
    return number >= -(int64_t{1} << (bits - 1)) && number < (int64_t{1} << bits);
}

std::string numberFromJson(const NumberType& type, const Json& json, Value& out) {
    int64_t number = 0;
    if (type.type == kBool && json.is_boolean()) {
        number = json.get<bool>() ? 1 : 0;
    } else if (!toNumber(json, number)) {
        return "expected a whole number or a text like \"0x406\", found " + kindOf(json);
    }
    if (!fits(type, number)) {
        return kindOf(json) + " does not fit into " + std::to_string(type.size * 8) + " bits";
    }
    out = numberValue(type.type, number);
    return {};
}

std::string bytesFromJson(uint32_t type, const Json& json, Value& out) {
    int64_t number = 0;
    Value value{type, {}};
    if (toNumber(json, number)) {
        store<int32_t>(value.bytes, number);
    } else if (!json.is_string() || !toBytes(json.get_ref<const std::string&>(), value.bytes)) {
        return "expected bytes as pairs of hexadecimal digits, found " + kindOf(json);
    }
    const size_t size = sizeOfType(type);
    if (size != 0 && value.bytes.size() != size) {
        return "expected " + std::to_string(size) + " bytes, found " + std::to_string(value.bytes.size());
    }
    out = std::move(value);
    return {};
}

std::string listFromJson(const ListType& type, const Json& json, Value& out) {
    if (json.is_string()) return bytesFromJson(type.type, json, out);
    Value value{type.type, {}};
    const bool isXy = json.is_object() && type.type == kPoint && json.size() == 2 && json.contains("x") &&
                      json.contains("y");
    const Json list = isXy ? Json::array({json["x"], json["y"]}) : json;
    if (!list.is_array() || list.size() != type.count) {
        return "expected a list of " + std::to_string(type.count) + " numbers, found " + kindOf(json);
    }
    for (const Json& item : list) {
        Value element;
        if (std::string problem = numberFromJson({kInt32, 4, true}, item, element); !problem.empty()) {
            return problem;
        }
        value.bytes.insert(value.bytes.end(), element.bytes.begin(), element.bytes.end());
    }
    out = std::move(value);
    return {};
}

std::string realFromJson(uint32_t type, const Json& json, Value& out) {
    if (!json.is_number()) return "expected a number, found " + kindOf(json);
    out.type = type;
    type == kFloat ? store<float>(out.bytes, json.get<double>())
                   : store<double>(out.bytes, json.get<double>());
    return {};
}

std::string textFromJson(const Json& json, Value& out) {
    if (!json.is_string()) return "expected a text, found " + kindOf(json);
    const auto& text = json.get_ref<const std::string&>();
    if (text.size() >= kMostText) return "a text of more than " + std::to_string(kMostText - 1) + " bytes";
    if (text.find('\0') != std::string::npos) return "a text with a zero byte inside";
    out = textValue(text);
    return {};
}

void writeReal(JsonText& out, double number) {
    // JSON knows no infinities.
    std::isfinite(number) ? out.raw(Json(number).dump()) : out.null();
}

}  // namespace

Value numberValue(uint32_t type, int64_t number) {
    Value value{type, {}};
    switch (sizeOfType(type)) {
        case 1:
            store<int8_t>(value.bytes, number);
            break;
        case 2:
            store<int16_t>(value.bytes, number);
            break;
        case 8:
            store<int64_t>(value.bytes, number);
            break;
        default:
            store<int32_t>(value.bytes, number);
            break;
    }
    return value;
}

Value textValue(std::string_view text) {
    text = text.substr(0, kMostText - 1);
    Value value{kText, {text.begin(), text.end()}};
    value.bytes.push_back(0);
    return value;
}

Value pointValue(int32_t x, int32_t y) {
    Value value{kPoint, std::vector<uint8_t>(2 * sizeof x)};
    std::memcpy(value.bytes.data(), &x, sizeof x);
    std::memcpy(value.bytes.data() + sizeof x, &y, sizeof y);
    return value;
}

int64_t numberOf(const Value& value) {
    const NumberType* type = findNumberType(value.type);
    if (type == nullptr) return 0;
    switch (type->size) {
        case 1:
            return type->isSigned ? load<int8_t>(value.bytes) : load<uint8_t>(value.bytes);
        case 2:
            return type->isSigned ? load<int16_t>(value.bytes) : load<uint16_t>(value.bytes);
        case 4:
            return type->isSigned ? int64_t{load<int32_t>(value.bytes)} : load<uint32_t>(value.bytes);
        default:
            return load<int64_t>(value.bytes);
    }
}

std::string_view textOf(const Value& value) {
    const auto end = std::find(value.bytes.begin(), value.bytes.end(), uint8_t{0});
    return {reinterpret_cast<const char*>(value.bytes.data()),
            static_cast<size_t>(end - value.bytes.begin())};
}

Point pointOf(const Value& value) {
    return {load<int32_t>(value.bytes), load<int32_t>(value.bytes, sizeof(int32_t))};
}

size_t sizeOfType(uint32_t type) {
    if (const NumberType* number = findNumberType(type)) return number->size;
    if (const ListType* list = findListType(type)) return list->count * sizeof(int32_t);
    switch (type) {
        case kFloat:
            return sizeof(float);
        case kDouble:
            return sizeof(double);
        case kTime:
            return kTimeSize;
        default:
            return 0;
    }
}

bool isKnownType(int64_t type) {
    constexpr int64_t kFirstArray = 30;  // arrays of the plain types follow the plain types
    constexpr int64_t kLastArray = 47;
    return type == kUnknown || (type >= kBool && type <= kByteBlock && type != 5) ||
           (type >= kRational && type <= kTime) || (type >= kFirstArray && type <= kLastArray);
}

std::string valueFromJson(uint32_t type, const Json& json, Value& out) {
    if (const NumberType* number = findNumberType(type)) return numberFromJson(*number, json, out);
    if (const ListType* list = findListType(type)) return listFromJson(*list, json, out);
    switch (type) {
        case kText:
            return textFromJson(json, out);
        case kFloat:
        case kDouble:
            return realFromJson(type, json, out);
        default:
            return bytesFromJson(type, json, out);
    }
}

void writeValue(JsonText& out, const Value& value) {
    if (const ListType* list = findListType(value.type)) {
        out.beginArray();
        for (size_t i = 0; i < list->count; ++i) {
            out.number(load<int32_t>(value.bytes, i * sizeof(int32_t)));
        }
        out.endArray();
        return;
    }
    if (value.type == kUInt64) {
        out.unsignedNumber(load<uint64_t>(value.bytes));
    } else if (findNumberType(value.type) != nullptr) {
        out.number(numberOf(value));
    } else if (value.type == kText) {
        out.text(textOf(value));
    } else if (value.type == kFloat) {
        writeReal(out, static_cast<double>(load<float>(value.bytes)));
    } else if (value.type == kDouble) {
        writeReal(out, load<double>(value.bytes));
    } else {
        out.hex(value.bytes.data(), value.bytes.size());
    }
}

}  // namespace lab::canon
