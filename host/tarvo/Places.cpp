#include "host/tarvo/Places.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <vector>

namespace tarvo {
namespace {

namespace fs = std::filesystem;

// "Line 3, column 7" of a byte offset as the parser counts it (from 1).
std::string placeOf(const std::string& text, size_t byte) {
    const size_t end = std::min(byte == 0 ? 0 : byte - 1, text.size());
    const auto line = 1 + std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end), '\n');
    const size_t lineStart = end == 0 ? std::string::npos : text.rfind('\n', end - 1);
    const size_t column = lineStart == std::string::npos ? end + 1 : end - lineStart;
    return std::to_string(line) + ":" + std::to_string(column);
}

std::string withoutPrefix(const std::string& what) {
    // "[json.exception.parse_error.101] parse error at line 1, column 2: syntax error ..."
    const auto at = what.find(": ");
    return at == std::string::npos ? what : what.substr(at + 2);
}

Error checkJson(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    if (!in.good() && !in.eof()) return failed(Failure::badArgument, path.string() + ": cannot be read");
    try {
        const auto document = nlohmann::json::parse(text);
        if (!document.is_object()) {
            return failed(Failure::badArgument, path.string() + ": a scenario is one JSON object");
        }
    } catch (const nlohmann::json::parse_error& problem) {
        return failed(Failure::badArgument, path.string() + ":" + placeOf(text, problem.byte) + ": " +
                                                withoutPrefix(problem.what()));
    }
    return {};
}

std::string knownScenarios() {
    std::vector<std::string> names;
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(scenarioFolder(), ignored)) {
        if (entry.path().extension() == ".json") names.push_back(entry.path().stem().string());
    }
    std::sort(names.begin(), names.end());
    std::string text;
    for (const auto& name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

}  // namespace

fs::path treeFolder() {
    std::error_code problem;
    const auto self = fs::read_symlink("/proc/self/exe", problem);
    return problem ? fs::path(".") : self.parent_path().parent_path();
}

fs::path helperPath() {
    return treeFolder() / "bin" / "TarvoRemote";
}
fs::path simulatedFolder() {
    return treeFolder() / "lib" / "tarvo" / "simulated";
}
fs::path nikonFolder(bool isSimulated) {
    return (isSimulated ? simulatedFolder() : treeFolder() / "lib" / "tarvo" / "frameworks") / "nikon";
}
fs::path scenarioFolder() {
    return treeFolder() / "share" / "tarvo" / "scenarios";
}

Result<std::string> resolveScenario(const std::string& text) {
    fs::path path = text;
    std::error_code problem;
    if (!fs::exists(path, problem) && text.find('/') == std::string::npos) {
        path = scenarioFolder() / (text.ends_with(".json") ? text : text + ".json");
    }
    if (!fs::is_regular_file(path, problem)) {
        const auto known = knownScenarios();
        return {failed(Failure::badArgument, "there is no scenario '" + text + "': neither a file" +
                                                 (known.empty() ? "" : " nor one of: " + known)),
                {}};
    }
    if (auto error = checkJson(path)) return {std::move(error), {}};
    return {{}, fs::absolute(path, problem).lexically_normal().string()};
}

}  // namespace tarvo
