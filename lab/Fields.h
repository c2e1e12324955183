/* Fields.h: reads the fields of JSON objects and says in one line what is wrong with them.
 *
 * A Report collects the first thing that is wrong in a document; a Fields reads one object of it. Every field
 * is optional unless require() says otherwise; finish() reports fields that nobody asked for, so that a
 * typing error never passes for a default.
 *
 * Thread: one document, one thread.
 * Owns:   nothing; the document outlives its Fields.
 * Errors: in the Report; outputs keep their value when a field is missing or wrong.
 */
#pragma once

#include <cstdint>
#include <limits>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "lab/Export.h"

namespace lab {

using Json = nlohmann::json;

/** The first thing that is wrong, with its place: "devices[1].fps: expected a number, found a text". */
class LAB_EXPORT Report {
public:
    void wrong(std::string_view path, std::string_view what);
    bool isFine() const { return text_.empty(); }
    const std::string& text() const { return text_; }

private:
    std::string text_;
};

/** "a text", "a list", … as a message names it. */
std::string kindOf(const Json& value);
/** path.name, or name alone at the top. */
std::string fieldPath(std::string_view path, std::string_view name);
std::string itemPath(std::string_view path, size_t index);

/** A whole JSON number or a text "0x…"; false when it is neither or does not fit. */
LAB_EXPORT bool toNumber(const Json& value, int64_t& out);
/** Two hexadecimal digits a byte; false when the text is something else. */
LAB_EXPORT bool toBytes(std::string_view hex, std::vector<uint8_t>& out);
/** A text like "0x406" or "1030"; false when it is something else. */
bool keyNumber(std::string_view text, int64_t& out);

struct Limits {
    int64_t lowest = std::numeric_limits<int64_t>::min();
    int64_t highest = std::numeric_limits<int64_t>::max();
};

class Fields {
public:
    /** Reports when `object` is no object; every later question then finds nothing. */
    Fields(const Json& object, std::string path, Report& report);

    /** The field as it stands, null when there is none. It counts as asked for. */
    const Json* any(std::string_view name);
    /** These answer true when the field is there and good. */
    bool text(std::string_view name, std::string& out);
    bool number(std::string_view name, int64_t& out, Limits limits = {});
    bool real(std::string_view name, double& out, double lowest, double highest);
    bool flag(std::string_view name, bool& out);
    bool bytes(std::string_view name, std::vector<uint8_t>& out);
    bool numbers(std::string_view name, std::vector<int64_t>& out, Limits limits = {});
    const Json* object(std::string_view name);
    const Json* list(std::string_view name);

    /** Reports that the object must have the field when it has not. */
    bool require(std::string_view name);
    void wrong(std::string_view name, std::string_view what);
    /** Reports a field that was never asked for. */
    void finish();

    std::string pathOf(std::string_view name) const { return fieldPath(path_, name); }
    const std::string& path() const { return path_; }
    Report& report() { return report_; }

private:
    const Json* object_;  // null: was no object
    std::string path_;
    Report& report_;
    std::vector<std::string> known_;
};

}  // namespace lab
