#include "lab/Fields.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>

namespace lab {

namespace {

std::string limitsText(const Limits& limits) {
    if (limits.highest == std::numeric_limits<int64_t>::max()) {
        return std::to_string(limits.lowest) + " or more";
    }
    return std::to_string(limits.lowest) + " to " + std::to_string(limits.highest);
}

bool isWithin(int64_t value, const Limits& limits) {
    return value >= limits.lowest && value <= limits.highest;
}

int digitOf(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

/** False for a fraction, and where doubles cannot tell one whole number from the next. */
bool wholeNumber(double number, int64_t& out) {
    constexpr double kExact = 9007199254740992.0;
    if (!(std::fabs(number) <= kExact) || number != std::trunc(number)) return false;
    out = static_cast<int64_t>(number);
    return true;
}

bool parseWhole(std::string_view text, int base, int64_t& out) {
    int64_t value = 0;
    const char* end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, value, base);
    if (text.empty() || parsed.ec != std::errc() || parsed.ptr != end) return false;
    out = value;
    return true;
}

/** How many letters must change to make one name of the other: small means a typing error. */
size_t distance(std::string_view a, std::string_view b) {
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j) {
        row[j] = j;
    }
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, replaced});
        }
    }
    return row[b.size()];
}

std::string suggestion(std::string_view name, const std::vector<std::string>& known) {
    const auto nearest = std::min_element(known.begin(), known.end(), [&](const auto& a, const auto& b) {
        return distance(name, a) < distance(name, b);
    });
    if (nearest == known.end()) return {};
    // Two letters are a typing error in a long name and another name among the short ones.
    const size_t most = name.size() < 5 ? 1 : name.size() < 10 ? 2 : 3;
    if (distance(name, *nearest) > most) return {};
    return ", did you mean \"" + *nearest + "\"?";
}

}  // namespace

void Report::wrong(std::string_view path, std::string_view what) {
    if (!text_.empty()) return;
    text_ = path;
    if (!path.empty()) text_ += ": ";
    text_ += what;
}

std::string kindOf(const Json& value) {
    switch (value.type()) {
        case Json::value_t::null:
            return "null";
        case Json::value_t::boolean:
            return value.get<bool>() ? "true" : "false";
        case Json::value_t::string: {
            const auto& text = value.get_ref<const std::string&>();
            const bool isShort = text.size() <= 40 && std::none_of(text.begin(), text.end(), [](char c) {
                                     return static_cast<unsigned char>(c) < 0x20;
                                 });
            return isShort ? "the text \"" + text + "\"" : "a text";
        }
        case Json::value_t::array:
            return "a list";
        case Json::value_t::object:
            return "an object";
        default:
            return value.dump();
    }
}

std::string fieldPath(std::string_view path, std::string_view name) {
    std::string joined(path);
    if (!joined.empty()) joined += '.';
    return joined += name;
}

std::string itemPath(std::string_view path, size_t index) {
    return std::string(path) + "[" + std::to_string(index) + "]";
}

bool toNumber(const Json& value, int64_t& out) {
    if (value.is_string()) {
        const std::string_view text = value.get_ref<const std::string&>();
        if (!text.starts_with("0x") && !text.starts_with("0X")) return false;
        return parseWhole(text.substr(2), 16, out) && out >= 0;
    }
    if (value.is_number_unsigned()) {
        const auto number = value.get<uint64_t>();
        if (number > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) return false;
        out = static_cast<int64_t>(number);
        return true;
    }
    // Scripts compute: 600 / 2 is 300.0 in some of their languages.
    if (value.is_number_float()) return wholeNumber(value.get<double>(), out);
    if (!value.is_number_integer()) return false;
    out = value.get<int64_t>();
    return true;
}

bool toBytes(std::string_view hex, std::vector<uint8_t>& out) {
    if (hex.size() % 2 != 0) return false;
    std::vector<uint8_t> bytes;
    bytes.reserve(hex.size() / 2);
    for (size_t i = 0; i < hex.size(); i += 2) {
        const int high = digitOf(hex[i]);
        const int low = digitOf(hex[i + 1]);
        if (high < 0 || low < 0) return false;
        bytes.push_back(static_cast<uint8_t>(high * 16 + low));
    }
    out = std::move(bytes);
    return true;
}

bool keyNumber(std::string_view text, int64_t& out) {
    const bool isHex = text.starts_with("0x") || text.starts_with("0X");
    return isHex ? parseWhole(text.substr(2), 16, out) && out >= 0 : parseWhole(text, 10, out);
}

Fields::Fields(const Json& object, std::string path, Report& report)
    : object_(object.is_object() ? &object : nullptr), path_(std::move(path)), report_(report) {
    if (object_ == nullptr) report_.wrong(path_, "expected an object, found " + kindOf(object));
}

const Json* Fields::any(std::string_view name) {
    known_.emplace_back(name);
    if (object_ == nullptr) return nullptr;
    const auto found = object_->find(name);
    return found == object_->end() ? nullptr : &*found;
}

bool Fields::text(std::string_view name, std::string& out) {
    const Json* value = any(name);
    if (value == nullptr) return false;
    if (!value->is_string()) {
        wrong(name, "expected a text, found " + kindOf(*value));
        return false;
    }
    out = value->get<std::string>();
    return true;
}

bool Fields::number(std::string_view name, int64_t& out, Limits limits) {
    const Json* value = any(name);
    if (value == nullptr) return false;
    int64_t number = 0;
    if (!toNumber(*value, number)) {
        wrong(name, "expected a whole number or a text like \"0x406\", found " + kindOf(*value));
        return false;
    }
    if (!isWithin(number, limits)) {
        wrong(name, "expected " + limitsText(limits) + ", found " + kindOf(*value));
        return false;
    }
    out = number;
    return true;
}

bool Fields::real(std::string_view name, double& out, double lowest, double highest) {
    const Json* value = any(name);
    if (value == nullptr) return false;
    if (!value->is_number()) {
        wrong(name, "expected a number, found " + kindOf(*value));
        return false;
    }
    const auto number = value->get<double>();
    if (!(number >= lowest && number <= highest)) {
        wrong(name, "out of range: " + kindOf(*value));
        return false;
    }
    out = number;
    return true;
}

bool Fields::flag(std::string_view name, bool& out) {
    const Json* value = any(name);
    if (value == nullptr) return false;
    if (!value->is_boolean()) {
        wrong(name, "expected true or false, found " + kindOf(*value));
        return false;
    }
    out = value->get<bool>();
    return true;
}

bool Fields::bytes(std::string_view name, std::vector<uint8_t>& out) {
    std::string hex;
    if (!text(name, hex)) return false;
    if (toBytes(hex, out)) return true;
    wrong(name, "expected bytes as pairs of hexadecimal digits");
    return false;
}

bool Fields::numbers(std::string_view name, std::vector<int64_t>& out, Limits limits) {
    const Json* values = list(name);
    if (values == nullptr) return false;
    std::vector<int64_t> numbers;
    for (size_t i = 0; i < values->size(); ++i) {
        int64_t number = 0;
        if (!toNumber((*values)[i], number)) {
            report_.wrong(itemPath(pathOf(name), i),
                          "expected a whole number or a text like \"0x406\", found " + kindOf((*values)[i]));
            return false;
        }
        if (!isWithin(number, limits)) {
            report_.wrong(itemPath(pathOf(name), i),
                          "expected " + limitsText(limits) + ", found " + kindOf((*values)[i]));
            return false;
        }
        numbers.push_back(number);
    }
    out = std::move(numbers);
    return true;
}

const Json* Fields::object(std::string_view name) {
    const Json* value = any(name);
    if (value == nullptr || value->is_object()) return value;
    wrong(name, "expected an object, found " + kindOf(*value));
    return nullptr;
}

const Json* Fields::list(std::string_view name) {
    const Json* value = any(name);
    if (value == nullptr || value->is_array()) return value;
    wrong(name, "expected a list, found " + kindOf(*value));
    return nullptr;
}

bool Fields::require(std::string_view name) {
    if (object_ == nullptr) return false;
    if (object_->contains(name)) return true;
    wrong(name, "is missing");
    return false;
}

void Fields::wrong(std::string_view name, std::string_view what) {
    report_.wrong(pathOf(name), what);
}

void Fields::finish() {
    if (object_ == nullptr) return;
    for (const auto& item : object_->items()) {
        const std::string& name = item.key();
        if (std::find(known_.begin(), known_.end(), name) != known_.end()) continue;
        std::vector<std::string> unused;
        std::copy_if(known_.begin(), known_.end(), std::back_inserter(unused),
                     [&](const std::string& other) { return !object_->contains(other); });
        wrong(name, "no such field" + suggestion(name, unused));
        return;
    }
}

}  // namespace lab
