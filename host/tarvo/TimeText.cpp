#include "host/tarvo/TimeText.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <ctime>

namespace tarvo {
namespace {

constexpr int64_t kSecond = 1'000'000;

// A plain decimal number that takes up all of the text.
std::optional<double> parseNumber(const std::string& text) {
    double value = 0;
    const char* end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, value, std::chars_format::fixed);
    if (text.empty() || parsed.ec != std::errc() || parsed.ptr != end || !std::isfinite(value))
        return std::nullopt;
    return value;
}

struct Fields {
    int hour = 0;
    int minute = 0;
    double second = 0;
};

std::optional<int> parseWhole(const std::string& text, int lowest, int highest) {
    int value = 0;
    const char* end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, value);
    const bool isWhole = !text.empty() && parsed.ec == std::errc() && parsed.ptr == end;
    if (!isWhole || value < lowest || value > highest) return std::nullopt;
    return value;
}

std::optional<Fields> parseTimeOfDay(const std::string& text) {
    const auto first = text.find(':');
    if (first == std::string::npos) return std::nullopt;
    const auto second = text.find(':', first + 1);
    const auto hour = parseWhole(text.substr(0, first), 0, 23);
    const auto minute = parseWhole(text.substr(first + 1, second - first - 1), 0, 59);
    const auto seconds = second == std::string::npos ? 0.0 : parseNumber(text.substr(second + 1));
    if (!hour || !minute || !seconds || *seconds < 0 || *seconds >= 60) return std::nullopt;
    return Fields{*hour, *minute, *seconds};
}

bool parseDate(const std::string& text, std::tm& day) {
    if (text.size() != 10 || text[4] != '-' || text[7] != '-') return false;
    const auto year = parseWhole(text.substr(0, 4), 1970, 9999);
    const auto month = parseWhole(text.substr(5, 2), 1, 12);
    const auto dayOfMonth = parseWhole(text.substr(8, 2), 1, 31);
    if (!year || !month || !dayOfMonth) return false;
    day.tm_year = *year - 1900;
    day.tm_mon = *month - 1;
    day.tm_mday = *dayOfMonth;
    return true;
}

}  // namespace

std::optional<int64_t> parseMoment(const std::string& text, int64_t now) {
    if (text.starts_with("@")) {
        const auto seconds = parseNumber(text.substr(1));
        if (!seconds || *seconds < 0 || *seconds > 9e9) return std::nullopt;
        return static_cast<int64_t>(std::llround(*seconds * static_cast<double>(kSecond)));
    }
    const std::time_t today = now / kSecond;
    std::tm day{};
    if (::localtime_r(&today, &day) == nullptr) return std::nullopt;
    const auto gap = text.find_first_of("T ");
    if (gap != std::string::npos && !parseDate(text.substr(0, gap), day)) return std::nullopt;
    const auto fields = parseTimeOfDay(gap == std::string::npos ? text : text.substr(gap + 1));
    if (!fields) return std::nullopt;
    day.tm_hour = fields->hour;
    day.tm_min = fields->minute;
    day.tm_sec = 0;
    day.tm_isdst = -1;
    const std::tm wanted = day;
    const std::time_t whole = std::mktime(&day);
    if (whole == -1 || day.tm_mday != wanted.tm_mday) return std::nullopt;  // the 31st of a shorter month
    return static_cast<int64_t>(whole) * kSecond +
           static_cast<int64_t>(std::llround(fields->second * static_cast<double>(kSecond)));
}

std::string timeOfDay(int64_t moment) {
    const std::time_t whole = moment / kSecond;
    std::tm day{};
    if (::localtime_r(&whole, &day) == nullptr) return std::to_string(moment);
    return fmt::format("{:02}:{:02}:{:02}.{:03}", day.tm_hour, day.tm_min, day.tm_sec,
                       moment % kSecond / 1000);
}

}  // namespace tarvo
