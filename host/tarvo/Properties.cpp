#include "host/tarvo/Properties.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>

namespace tarvo {
namespace {

struct Named {
    int32_t value;
    const char* text;
};

constexpr auto kProperties = std::to_array<Property>({
    {"quality", kPropertyQuality, "image quality: which files a shot makes"},
    {"mode", 0x400, "exposure mode (the mode dial)"},
    {"tv", 0x406, "shutter speed"},
    {"av", 0x405, "aperture"},
    {"iso", 0x402, "sensitivity"},
    {"compensation", 0x407, "exposure compensation in stops"},
    {"white-balance", 0x106, "white balance"},
    {"color-temperature", 0x107, "colour temperature in kelvin"},
    {"picture-style", 0x114, "picture style"},
    {"metering", 0x403, "metering mode"},
    {"focus-mode", 0x404, "autofocus mode"},
    {"drive", 0x401, "drive mode"},
    {"save-to", 0x0B, "where the camera stores pictures"},
    {"battery", 0x08, "battery level in percent"},
    {"shots-left", 0x40A, "pictures for which there is room"},
    {"live-view", 0x501, "live view: 1 on, 0 off"},
    {"live-view-output", 0x500, "where live view is shown"},
    {"live-view-zoom", 0x507, "live-view zoom"},
    {"live-view-white-balance", 0x502, "white balance of live view"},
    {"live-view-focus", 0x50E, "autofocus mode of live view"},
    {"depth-of-field", 0x504, "depth-of-field preview in live view: 1 on, 0 off"},
});

constexpr auto kModes = std::to_array<Named>({{0, "P"},
                                              {1, "Tv"},
                                              {2, "Av"},
                                              {3, "M"},
                                              {4, "Bulb"},
                                              {5, "A-DEP"},
                                              {6, "DEP"},
                                              {7, "Custom"},
                                              {8, "Lock"},
                                              {9, "Auto"},
                                              {10, "Night portrait"},
                                              {11, "Sports"},
                                              {12, "Portrait"},
                                              {13, "Landscape"},
                                              {14, "Close-up"},
                                              {15, "No flash"},
                                              {19, "Creative auto"}});

constexpr auto kSpeeds = std::to_array<Named>({
    {0x0C, "bulb"},   {0x10, "30\""},   {0x13, "25\""},   {0x14, "20\""},   {0x18, "15\""},
    {0x1B, "13\""},   {0x1C, "10\""},   {0x20, "8\""},    {0x23, "6\""},    {0x25, "5\""},
    {0x28, "4\""},    {0x2B, "3.2\""},  {0x2C, "3\""},    {0x2D, "2.5\""},  {0x30, "2\""},
    {0x33, "1.6\""},  {0x34, "1.5\""},  {0x35, "1.3\""},  {0x38, "1\""},    {0x3B, "0.8\""},
    {0x3C, "0.7\""},  {0x3D, "0.6\""},  {0x40, "0.5\""},  {0x43, "0.4\""},  {0x44, "0.3\""},
    {0x48, "1/4"},    {0x4B, "1/5"},    {0x4C, "1/6"},    {0x50, "1/8"},    {0x53, "1/10"},
    {0x55, "1/13"},   {0x58, "1/15"},   {0x5B, "1/20"},   {0x5D, "1/25"},   {0x60, "1/30"},
    {0x63, "1/40"},   {0x64, "1/45"},   {0x65, "1/50"},   {0x68, "1/60"},   {0x6B, "1/80"},
    {0x6C, "1/90"},   {0x6D, "1/100"},  {0x70, "1/125"},  {0x73, "1/160"},  {0x74, "1/180"},
    {0x75, "1/200"},  {0x78, "1/250"},  {0x7B, "1/320"},  {0x7C, "1/350"},  {0x7D, "1/400"},
    {0x80, "1/500"},  {0x83, "1/640"},  {0x84, "1/750"},  {0x85, "1/800"},  {0x88, "1/1000"},
    {0x8B, "1/1250"}, {0x8C, "1/1500"}, {0x8D, "1/1600"}, {0x90, "1/2000"}, {0x93, "1/2500"},
    {0x94, "1/3000"}, {0x95, "1/3200"}, {0x98, "1/4000"}, {0x9B, "1/5000"}, {0x9C, "1/6000"},
    {0x9D, "1/6400"}, {0xA0, "1/8000"},
});

constexpr auto kApertures = std::to_array<Named>({
    {0x08, "f/1"},   {0x0B, "f/1.1"}, {0x0C, "f/1.2"}, {0x10, "f/1.4"}, {0x13, "f/1.6"}, {0x14, "f/1.8"},
    {0x18, "f/2"},   {0x1B, "f/2.2"}, {0x1C, "f/2.5"}, {0x20, "f/2.8"}, {0x23, "f/3.2"}, {0x24, "f/3.5"},
    {0x28, "f/4"},   {0x2B, "f/4.5"}, {0x2D, "f/5"},   {0x30, "f/5.6"}, {0x33, "f/6.3"}, {0x34, "f/6.7"},
    {0x35, "f/7.1"}, {0x38, "f/8"},   {0x3B, "f/9"},   {0x3C, "f/9.5"}, {0x3D, "f/10"},  {0x40, "f/11"},
    {0x43, "f/13"},  {0x45, "f/14"},  {0x48, "f/16"},  {0x4B, "f/18"},  {0x4C, "f/19"},  {0x4D, "f/20"},
    {0x50, "f/22"},  {0x53, "f/25"},  {0x54, "f/27"},  {0x55, "f/29"},  {0x58, "f/32"},  {0x5B, "f/36"},
    {0x5C, "f/38"},  {0x5D, "f/40"},  {0x60, "f/45"},  {0x63, "f/51"},  {0x64, "f/54"},  {0x65, "f/57"},
    {0x68, "f/64"},  {0x6B, "f/72"},  {0x6C, "f/76"},  {0x6D, "f/80"},  {0x70, "f/91"},
});

constexpr auto kSensitivities = std::to_array<Named>({
    {0x00, "auto"},  {0x40, "50"},    {0x48, "100"},   {0x4B, "125"},   {0x4D, "160"},    {0x50, "200"},
    {0x53, "250"},   {0x55, "320"},   {0x58, "400"},   {0x5B, "500"},   {0x5D, "640"},    {0x60, "800"},
    {0x63, "1000"},  {0x65, "1250"},  {0x68, "1600"},  {0x6B, "2000"},  {0x6D, "2500"},   {0x70, "3200"},
    {0x73, "4000"},  {0x75, "5000"},  {0x78, "6400"},  {0x7B, "8000"},  {0x7D, "10000"},  {0x80, "12800"},
    {0x83, "16000"}, {0x85, "20000"}, {0x88, "25600"}, {0x90, "51200"}, {0x98, "102400"},
});

constexpr auto kWhiteBalances = std::to_array<Named>({{0, "auto"},
                                                      {1, "daylight"},
                                                      {2, "cloudy"},
                                                      {3, "tungsten"},
                                                      {4, "fluorescent"},
                                                      {5, "flash"},
                                                      {6, "custom"},
                                                      {8, "shade"},
                                                      {9, "color temperature"}});

constexpr auto kStyles = std::to_array<Named>({{0x81, "standard"},
                                               {0x82, "portrait"},
                                               {0x83, "landscape"},
                                               {0x84, "neutral"},
                                               {0x85, "faithful"},
                                               {0x86, "monochrome"},
                                               {0x87, "auto"},
                                               {0x21, "user 1"},
                                               {0x22, "user 2"},
                                               {0x23, "user 3"}});

constexpr auto kMeterings =
    std::to_array<Named>({{1, "spot"}, {3, "evaluative"}, {4, "partial"}, {5, "center-weighted"}});
constexpr auto kFocusModes =
    std::to_array<Named>({{0, "one-shot"}, {1, "AI servo"}, {2, "AI focus"}, {3, "manual"}});
constexpr auto kDrives = std::to_array<Named>({{0, "single"},
                                               {1, "continuous"},
                                               {2, "video"},
                                               {4, "continuous high"},
                                               {5, "continuous low"},
                                               {6, "silent"},
                                               {7, "self-timer continuous"},
                                               {16, "self-timer 10 s"},
                                               {17, "self-timer 2 s"}});
constexpr auto kSaveTo = std::to_array<Named>({{1, "camera"}, {2, "host"}, {3, "both"}});
constexpr auto kOnOff = std::to_array<Named>({{0, "off"}, {1, "on"}});
constexpr auto kOutputs = std::to_array<Named>({{0, "off"}, {1, "camera"}, {2, "host"}, {3, "both"}});
constexpr auto kZooms = std::to_array<Named>({{1, "fit"}, {5, "5x"}, {10, "10x"}});
constexpr auto kLiveFocus = std::to_array<Named>({{0, "quick"}, {1, "live"}, {2, "live face"}});

std::span<const Named> tableOf(int32_t property) {
    switch (property) {
        case 0x400:
            return kModes;
        case 0x406:
            return kSpeeds;
        case 0x405:
            return kApertures;
        case 0x402:
            return kSensitivities;
        case 0x106:
        case 0x502:
            return kWhiteBalances;
        case 0x114:
            return kStyles;
        case 0x403:
            return kMeterings;
        case 0x404:
            return kFocusModes;
        case 0x401:
            return kDrives;
        case 0x0B:
            return kSaveTo;
        case 0x501:
        case 0x504:
            return kOnOff;
        case 0x500:
            return kOutputs;
        case 0x507:
            return kZooms;
        case 0x50E:
            return kLiveFocus;
        default:
            return {};
    }
}

constexpr int32_t kPropertyCompensation = 0x407;

// Eighths of a stop: 3 and 5 stand for a third and two thirds, 4 for a half.
std::string compensationText(int32_t value) {
    const auto eighths = static_cast<int>(static_cast<int8_t>(value & 0xFF));
    const int whole = std::abs(eighths) / 8;
    const char* part = nullptr;
    switch (std::abs(eighths) % 8) {
        case 0:
            part = "";
            break;
        case 3:
            part = "1/3";
            break;
        case 4:
            part = "1/2";
            break;
        case 5:
            part = "2/3";
            break;
        default:
            return fmt::format("{:.2f}", eighths / 8.0);
    }
    if (eighths == 0) return "0";
    const char* gap = whole != 0 && part[0] != '\0' ? " " : "";
    return fmt::format("{}{}{}{}", eighths < 0 ? '-' : '+', whole != 0 ? std::to_string(whole) : "", gap,
                       part);
}

// A quality: size and format of the first file in the upper half, of the second in the lower one.
struct Image {
    int size;
    int type;         // 1: JPEG; 2, 4, 6: RAW of different generations
    int compression;  // 2: normal, 3: fine, 4: lossless, 15: not told
};

Image imageOf(int half) {
    return {half >> 8, half >> 4 & 0xF, half & 0xF};
}
Image firstImage(int32_t quality) {
    return imageOf(static_cast<int>(static_cast<uint32_t>(quality) >> 16));
}
Image secondImage(int32_t quality) {
    return imageOf(static_cast<int>(static_cast<uint32_t>(quality) & 0xFFFF));
}

bool isRaw(const Image& image) {
    return image.type == 2 || image.type == 4 || image.type == 6;
}
bool isJpeg(const Image& image) {
    return image.type == 1;
}

std::string sizeText(int size) {
    switch (size) {
        case 0:
            return "Large";
        case 1:
            return "Medium";
        case 2:
            return "Small";
        case 5:
            return "Medium1";
        case 6:
            return "Medium2";
        case 14:
            return "Small1";
        case 15:
            return "Small2";
        case 16:
            return "Small3";
        default:
            return fmt::format("Size{}", size);
    }
}

std::string imageText(const Image& image) {
    if (isRaw(image)) return image.size == 1 ? "mRAW" : image.size == 2 ? "sRAW" : "RAW";
    const char* compression = image.compression == 2 ? " Normal" : image.compression == 3 ? " Fine" : "";
    return sizeText(image.size) + compression + " JPEG";
}

bool isImage(const Image& image) {
    return isRaw(image) || isJpeg(image);
}

std::string qualityText(int32_t quality) {
    const auto first = firstImage(quality);
    const auto second = secondImage(quality);
    if (!isImage(first)) return fmt::format("0x{:08X}", static_cast<uint32_t>(quality));
    return isImage(second) ? imageText(first) + " + " + imageText(second) : imageText(first);
}

std::string simplified(const std::string& text) {
    std::string plain;
    for (const char c : text) {
        const bool isVisible = std::isgraph(static_cast<unsigned char>(c)) != 0;
        if (isVisible) plain += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return plain;
}

// Ways in which people leave something out.
bool meansSame(int32_t property, const std::string& shown, const std::string& asked) {
    const auto a = simplified(shown);
    const auto b = simplified(asked);
    if (a == b) return true;
    if (property == 0x405) return a == "f/" + b || a == "f/" + (b.starts_with("f") ? b.substr(1) : b);
    if (property == 0x406)
        return a == b + "\"" || a == (b.ends_with("s") ? b.substr(0, b.size() - 1) + "\"" : b);
    if (property == kPropertyCompensation) return a == "+" + b;
    return false;
}

}  // namespace

std::span<const Property> knownProperties() {
    return kProperties;
}

std::optional<int32_t> parseCode(const std::string& text) {
    const bool isHex = text.starts_with("0x") || text.starts_with("0X");
    const char* begin = text.data() + (isHex ? 2 : 0);
    const char* end = text.data() + text.size();
    int64_t value = 0;
    const auto parsed = std::from_chars(begin, end, value, isHex ? 16 : 10);
    if (parsed.ec != std::errc() || parsed.ptr != end || begin == end) return std::nullopt;
    if (value < INT32_MIN || value > UINT32_MAX || (isHex && value < 0)) return std::nullopt;
    return static_cast<int32_t>(static_cast<uint32_t>(value));
}

std::optional<Property> findProperty(const std::string& text) {
    const auto code = parseCode(text);
    for (const auto& property : kProperties) {
        if (simplified(text) == property.name || (code && *code == property.id)) return property;
    }
    if (code) return Property{"", *code, ""};
    return std::nullopt;
}

std::string valueText(int32_t property, int32_t value) {
    for (const auto& named : tableOf(property)) {
        if (named.value == value) return named.text;
    }
    if (property == kPropertyQuality) return qualityText(value);
    if (property == kPropertyCompensation) return compensationText(value);
    if (property == 0x08 && value == -1) return "mains";
    if (!tableOf(property).empty()) return fmt::format("0x{:X}", static_cast<uint32_t>(value));
    return std::to_string(value);
}

QualityFiles filesOf(int32_t quality) {
    const auto first = firstImage(quality);
    const auto second = secondImage(quality);
    return {isRaw(first) || isRaw(second), isJpeg(first) || isJpeg(second)};
}

std::optional<int32_t> parseValue(int32_t property, const std::string& text,
                                  std::span<const int32_t> options) {
    for (const int32_t option : options) {
        if (meansSame(property, valueText(property, option), text)) return option;
    }
    if (property == kPropertyQuality) {
        // The first option of the wanted kind: cameras list the largest and finest first.
        const auto plain = simplified(text);
        for (const int32_t option : options) {
            const auto files = filesOf(option);
            const bool isPair = plain == "raw+jpeg" && files.hasRaw && files.hasJpeg;
            const bool isAlone = (plain == "jpeg" && files.hasJpeg && !files.hasRaw) ||
                                 (plain == "raw" && files.hasRaw && !files.hasJpeg);
            if (isPair || isAlone) return option;
        }
    }
    for (const auto& named : tableOf(property)) {
        if (meansSame(property, named.text, text)) return named.value;
    }
    for (int eighths = -64; property == kPropertyCompensation && eighths <= 64; ++eighths) {
        const int32_t code = eighths & 0xFF;
        if (meansSame(property, compensationText(code), text)) return code;
    }
    // A decimal code where values have texts would take ISO 96 for ISO 3200 in disguise.
    const bool hasTexts =
        !tableOf(property).empty() || property == kPropertyQuality || property == kPropertyCompensation;
    const bool isHex = text.starts_with("0x") || text.starts_with("0X");
    if (hasTexts && !isHex) return std::nullopt;
    return parseCode(text);
}

}  // namespace tarvo
