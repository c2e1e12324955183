#include "host/tarvo/PictureSequence.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <map>

namespace tarvo {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kDigits = "0123456789";
constexpr size_t kMostDigits = 18;
constexpr const char* kExtensions[] = {".jpg", ".jpeg", ".png"};

/** A name with a number in it: what stands in front, the number's digits, and what follows. */
struct NumberedName {
    std::string front;
    std::string digits;  // empty: any
    std::string back;
    bool isNumbered = false;
};

/** Of "%d" or "%04d"; 0: there is none. */
size_t placeholderLength(const std::string& name, size_t at) {
    size_t end = at + 1;
    while (end < name.size() && kDigits.find(name[end]) != std::string_view::npos)
        ++end;
    return end < name.size() && name[end] == 'd' ? end + 1 - at : 0;
}

NumberedName split(const std::string& name) {
    const size_t percent = name.find('%');
    if (percent != std::string::npos) {
        const size_t length = placeholderLength(name, percent);
        if (length > 0) return {name.substr(0, percent), "", name.substr(percent + length), true};
    }
    const size_t dot = name.rfind('.');
    const size_t stemEnd = dot == std::string::npos ? name.size() : dot;
    const size_t last = name.find_last_not_of(kDigits, stemEnd == 0 ? 0 : stemEnd - 1);
    const size_t begin = last == std::string::npos ? 0 : last + 1;
    const bool isNumbered = begin < stemEnd;
    return {name.substr(0, begin), name.substr(begin, stemEnd - begin), name.substr(stemEnd), isNumbered};
}

bool numberIn(const std::string& name, const NumberedName& like, long long& number) {
    if (!name.starts_with(like.front) || !name.ends_with(like.back)) return false;
    if (name.size() <= like.front.size() + like.back.size()) return false;
    const std::string digits =
        name.substr(like.front.size(), name.size() - like.front.size() - like.back.size());
    if (digits.size() > kMostDigits || digits.find_first_not_of(kDigits) != std::string::npos) return false;
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return true;
}

}  // namespace

bool isPictures(const std::string& path) {
    const std::string extension = fs::path(path).extension().string();
    return std::any_of(std::begin(kExtensions), std::end(kExtensions),
                       [&](const char* each) { return strcasecmp(extension.c_str(), each) == 0; });
}

Result<PictureSequence> findPictures(const std::string& path) {
    const NumberedName like = split(fs::path(path).filename().string());
    Result<PictureSequence> result;
    std::error_code problem;
    if (!like.isNumbered) {
        if (fs::is_regular_file(path, problem)) {
            result.value.files = {path};
        } else {
            result.error = failed(Failure::badArgument, path + ": there is no such picture");
        }
        return result;
    }
    long long first = 0;
    std::from_chars(like.digits.data(), like.digits.data() + like.digits.size(), first);
    const fs::path folder = fs::path(path).parent_path();
    std::map<long long, std::string> byNumber;
    for (const auto& entry : fs::directory_iterator(folder.empty() ? "." : folder, problem)) {
        const std::string name = entry.path().filename().string();
        long long number = 0;
        if (!numberIn(name, like, number) || number < first || entry.is_directory(problem)) continue;
        byNumber.emplace(number, (folder / name).string());
    }
    if (byNumber.empty() || (!like.digits.empty() && byNumber.begin()->first != first)) {
        result.error = failed(Failure::badArgument, path + ": there is no such picture");
        return result;
    }
    for (const auto& [number, file] : byNumber)
        result.value.files.push_back(file);
    const auto span = static_cast<size_t>(byNumber.rbegin()->first - byNumber.begin()->first) + 1;
    result.value.gaps = span - byNumber.size();
    return result;
}

}  // namespace tarvo
