/* Context.h: what the descriptions of devices refer to without naming it. */
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "lab/Fields.h"

namespace lab {

struct Context {
    std::string folder;               // where relative paths start; empty: the process's folder
    std::vector<std::string> photos;  // resolved
};

/** The highest number of made-up bytes in one file. */
inline constexpr int64_t kMostMadeUpBytes = int64_t{1} << 30;
/** A day: long enough for every time that a scenario may name. */
inline constexpr int64_t kMostMilliseconds = int64_t{24} * 3600 * 1000;

std::string resolve(const Context& context, std::string_view path);
/** A path that leads to a readable file; reports when it does not. */
bool readPath(const Json& value, const std::string& place, const Context& context, Report& report,
              std::string& out);
/** A list of such paths. */
void readPaths(Fields& fields, std::string_view name, const Context& context, std::vector<std::string>& out);

}  // namespace lab
