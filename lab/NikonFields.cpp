#include "lab/NikonFields.h"

#include <array>
#include <nlohmann/json.hpp>

namespace lab {

namespace {

constexpr int64_t kMost32Bits = UINT32_MAX;
constexpr int64_t kLeast32Bits = INT32_MIN;

constexpr int64_t kNumberArray = 2;
constexpr int64_t kTextArray = 7;

/** The elements of an enumeration are numbers or texts by its array type. */
void checkElements(Fields& fields, int64_t arrayType) {
    const Json* elements = fields.list("elements");
    if (elements == nullptr) return;
    for (size_t i = 0; i < elements->size(); ++i) {
        const Json& element = (*elements)[i];
        int64_t number = 0;
        const bool isGood = arrayType == kTextArray ? element.is_string() : toNumber(element, number);
        if (isGood) continue;
        const char* wanted = arrayType == kTextArray ? "a text" : "a number";
        fields.report().wrong(itemPath(fields.pathOf("elements"), i),
                              std::string("expected ") + wanted + ", found " + kindOf(element));
        return;
    }
}

/** Which of these a capability has depends on its type; the library that simulates it will know. */
void checkCapability(const Json& json, const std::string& path, Report& report) {
    constexpr std::array<std::string_view, 9> kNumbers = {
        "type", "operations", "completeAfter", "visibility", "current", "default", "steps", "x", "y"};
    constexpr std::array<std::string_view, 2> kReals = {"lower", "upper"};
    constexpr double kMostReal = 1e300;
    Fields fields(json, path, report);
    int64_t number = 0;
    std::string text;
    double real = 0;
    bool flag = false;
    std::vector<uint8_t> bytes;
    fields.require("id");
    fields.number("id", number, {0, kMost32Bits});
    fields.text("description", text);
    fields.flag("remove", flag);
    for (const std::string_view name : kNumbers) {
        fields.number(name, number, {kLeast32Bits, kMost32Bits});
    }
    for (const std::string_view name : kReals) {
        fields.real(name, real, -kMostReal, kMostReal);
    }
    const Json* value = fields.any("value");
    if (value != nullptr && !value->is_boolean() && !value->is_number() && !toNumber(*value, number)) {
        fields.wrong("value", "expected a number, true or false, found " + kindOf(*value));
    }
    int64_t arrayType = kNumberArray;
    fields.number("arrayType", arrayType, {0, kMost32Bits});
    fields.bytes("bytes", bytes);
    checkElements(fields, arrayType);
    fields.finish();
}

void checkItem(const Json& json, const std::string& path, const Context& context, Report& report) {
    Fields fields(json, path, report);
    int64_t number = 0;
    bool flag = false;
    fields.number("dataType", number, {0, kMost32Bits});
    const Json* file = fields.any("file");
    const bool hasBytes = fields.number("bytes", number, {0, kMostMadeUpBytes});
    if (file != nullptr && hasBytes) report.wrong(path, "needs either \"file\" or \"bytes\"");
    std::string resolved;
    if (file != nullptr) readPath(*file, fields.pathOf("file"), context, report, resolved);
    fields.number("blocks", number, {1, kMost32Bits});
    fields.flag("remove", flag);
    fields.number("dual", number, {kLeast32Bits, kMost32Bits});
    fields.finish();
}

void checkShots(Fields& fields, const Context& context) {
    const Json* shots = fields.list("shots");
    if (shots == nullptr) return;
    for (size_t i = 0; i < shots->size(); ++i) {
        const std::string path = itemPath(fields.pathOf("shots"), i);
        const Json& items = (*shots)[i];
        if (!items.is_array()) {
            fields.report().wrong(path, "expected a list of items, found " + kindOf(items));
            return;
        }
        for (size_t j = 0; j < items.size(); ++j) {
            checkItem(items[j], itemPath(path, j), context, fields.report());
        }
    }
}

void checkFrame(const Json& json, const std::string& path, const Context& context, Report& report) {
    std::string resolved;
    if (!json.is_object()) {
        readPath(json, path, context, report, resolved);
        return;
    }
    Fields fields(json, path, report);
    std::vector<uint8_t> header;
    int64_t number = 0;
    fields.bytes("header", header);
    fields.require("length");
    fields.number("length", number, {0, kMostMadeUpBytes});
    fields.number("jpegAt", number, {0, kMostMadeUpBytes});
    fields.finish();
}

}  // namespace

void checkNikonCapabilities(Fields& fields) {
    const Json* capabilities = fields.list("capabilities");
    if (capabilities == nullptr) return;
    for (size_t i = 0; i < capabilities->size(); ++i) {
        checkCapability((*capabilities)[i], itemPath(fields.pathOf("capabilities"), i), fields.report());
    }
}

void checkNikonFields(Fields& fields, const Context& context) {
    constexpr int64_t kMostModuleType = 15;
    constexpr int64_t kMostRate = int64_t{1} << 40;
    int64_t number = 0;
    std::string text;
    fields.text("name", text);
    fields.text("model", text);
    fields.number("moduleType", number, {0, kMostModuleType});
    fields.number("cameraType", number, {kLeast32Bits, kMost32Bits});
    fields.number("sourceId", number, {0, kMost32Bits});
    fields.number("completeAfter", number, {0, kMost32Bits});
    checkNikonCapabilities(fields);
    checkShots(fields, context);
    if (const Json* frames = fields.list("liveview")) {
        for (size_t i = 0; i < frames->size(); ++i) {
            checkFrame((*frames)[i], itemPath(fields.pathOf("liveview"), i), context, fields.report());
        }
    }
    fields.number("shutterLagMs", number, {0, kMostMilliseconds});
    fields.number("transferBytesPerSecond", number, {0, kMostRate});
}

}  // namespace lab
