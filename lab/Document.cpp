#include "lab/Document.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <system_error>
#include <vector>

namespace lab {

namespace {

std::string placeText(std::string_view text, size_t byte) {
    const std::string_view before = text.substr(0, std::min(byte, text.size()));
    const auto line = 1 + std::count(before.begin(), before.end(), '\n');
    const size_t lineStart = before.rfind('\n') == std::string_view::npos ? 0 : before.rfind('\n') + 1;
    return "line " + std::to_string(line) + ", column " + std::to_string(before.size() - lineStart + 1);
}

/** The parser's message without its prefixes: "unexpected '}'; expected string literal". */
std::string reasonOf(const Json::parse_error& error) {
    std::string reason = error.what();
    const size_t position = reason.find(": ");
    if (position != std::string::npos) reason.erase(0, position + 2);
    constexpr std::string_view kPrefix = "syntax error while parsing ";
    if (reason.starts_with(kPrefix)) {
        const size_t dash = reason.find(" - ");
        if (dash != std::string::npos) reason.erase(0, dash + 3);
    }
    return reason;
}

/** The whole file; an errno value on failure. */
int readWhole(const std::string& path, std::string& out) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rbe"), std::fclose);
    if (!file) return errno;
    std::array<char, 65536> buffer;
    for (;;) {
        errno = 0;
        const size_t count = std::fread(buffer.data(), 1, buffer.size(), file.get());
        out.append(buffer.data(), count);
        if (count < buffer.size()) return std::ferror(file.get()) != 0 ? errno : 0;
    }
}

/** Watches the keys go by while a text is parsed. */
class DuplicateKeys {
public:
    bool see(Json::parse_event_t event, const Json& parsed) {
        if (event == Json::parse_event_t::object_start) keys_.emplace_back();
        if (event == Json::parse_event_t::object_end && !keys_.empty()) keys_.pop_back();
        if (event == Json::parse_event_t::key && !keys_.back().insert(parsed.get<std::string>()).second) {
            if (first_.empty()) first_ = parsed.get<std::string>();
        }
        return true;
    }
    const std::string& first() const { return first_; }

private:
    std::vector<std::set<std::string>> keys_;
    std::string first_;
};

}  // namespace

bool parseDocument(std::string_view text, Json& out, std::string& problem) {
    DuplicateKeys duplicates;
    try {
        Json parsed = Json::parse(text, [&](int /*depth*/, Json::parse_event_t event, Json& value) {
            return duplicates.see(event, value);
        });
        if (!duplicates.first().empty()) {
            problem = "the field \"" + duplicates.first() + "\" stands twice in one object";
            return false;
        }
        out = std::move(parsed);
        return true;
    } catch (const Json::parse_error& error) {
        problem = placeText(text, error.byte == 0 ? 0 : error.byte - 1) + ": " + reasonOf(error);
    } catch (const Json::exception& error) {
        problem = error.what();
    }
    return false;
}

bool readDocument(const std::string& path, Json& out, std::string& problem) {
    std::string text;
    if (const int error = readWhole(path, text); error != 0) {
        problem = path + ": " + std::generic_category().message(error);
        return false;
    }
    if (parseDocument(text, out, problem)) return true;
    problem.insert(0, path + ": ");
    return false;
}

}  // namespace lab
