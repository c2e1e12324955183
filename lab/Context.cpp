#include "lab/Context.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <nlohmann/json.hpp>
#include <system_error>

namespace lab {

namespace {

/** Empty when the path leads to a readable file. */
std::string whyUnreadable(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || access(path.c_str(), R_OK) != 0) {
        return std::generic_category().message(errno);
    }
    return S_ISREG(status.st_mode) ? std::string() : "not a regular file";
}

}  // namespace

std::string resolve(const Context& context, std::string_view path) {
    if (path.starts_with('/') || context.folder.empty()) return std::string(path);
    return context.folder + "/" + std::string(path);
}

bool readPath(const Json& value, const std::string& place, const Context& context, Report& report,
              std::string& out) {
    if (!value.is_string()) {
        report.wrong(place, "expected a path, found " + kindOf(value));
        return false;
    }
    std::string path = resolve(context, value.get_ref<const std::string&>());
    if (const std::string why = whyUnreadable(path); !why.empty()) {
        report.wrong(place, "cannot read " + path + ": " + why);
        return false;
    }
    out = std::move(path);
    return true;
}

void readPaths(Fields& fields, std::string_view name, const Context& context, std::vector<std::string>& out) {
    const Json* list = fields.list(name);
    if (list == nullptr) return;
    for (size_t i = 0; i < list->size(); ++i) {
        std::string path;
        if (!readPath((*list)[i], itemPath(fields.pathOf(name), i), context, fields.report(), path)) return;
        out.push_back(std::move(path));
    }
}

}  // namespace lab
