#include "Nikon/EnumStrings.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <span>

namespace {

constexpr uint32_t kPictureControl = 0x822E;

constexpr const char* kExposureModes[] = {"Program", "Aperture", "Speed", "Manual"};
constexpr const char* kMeteringModes[] = {"Matrix", "CenterWeighted", "Spot"};
constexpr const char* kFocusModes[] = {"MF", "AFs", "AFc"};
constexpr const char* kColorAdjustments[] = {"-9 deg", "-6 deg", "-3 deg", " 0 deg",
                                             "+3 deg", "+6 deg", "+9 deg"};
constexpr const char* kPictureControls[] = {"Undefined", "Standard", "Neutral", "Vivid", "Monochrome"};
constexpr const char* kZoomRates[] = {"Full", "25%", "33%", "50%", "66%", "100%"};

enum class Number { isDecimal, isHex };

/** A capability's names, by value from 0; every other value is numbered after the prefix. */
struct Texts {
    const char* prefix;
    std::span<const char* const> names;
    uint32_t capability;
    Number number = Number::isDecimal;
};

constexpr Texts kTexts[] = {
    {"FlashMode ", {}, 0x35},
    {"ExposureMode ", kExposureModes, 0x8111},
    {"MeteringMode ", kMeteringModes, 0x8116},
    {"FocusMode ", kFocusModes, 0x8120},
    {"FocusPreferredArea :", {}, 0x8122},
    {"0x", {}, 0x814E, Number::isHex},
    {"ColorAdjustment ", kColorAdjustments, 0x815E},
    {"", {}, 0x818C},
    {"Picture Control ", kPictureControls, kPictureControl},
    {"LiveViewImageZoomRate ", kZoomRates, 0x823F},
};

/** Values that the photographer has loaded or made, numbered from 1 in their kind. */
struct NumberedKind {
    uint32_t first;
    uint32_t last;
    const char* prefix;
};

constexpr NumberedKind kLoadedPictureControls[] = {
    {101, 104, "Option Picture Control "},
    {201, 209, "Custom Picture Control "},
};

char* put(char* buffer, const char* text) {
    std::snprintf(buffer, kEnumStringSize, "%s", text);
    return buffer;
}

char* putNumbered(char* buffer, const char* prefix, uint32_t value) {
    std::snprintf(buffer, kEnumStringSize, "%s%u", prefix, value);
    return buffer;
}

}  // namespace

char* GetEnumString(uint32_t capability, uint32_t value, char* buffer) {
    const auto* texts = std::find_if(std::begin(kTexts), std::end(kTexts),
                                     [capability](const Texts& row) { return row.capability == capability; });
    if (texts == std::end(kTexts)) return put(buffer, "Undefined String");
    if (value < texts->names.size()) return put(buffer, texts->names[value]);
    if (capability == kPictureControl) {
        for (const NumberedKind& kind : kLoadedPictureControls) {
            if (value >= kind.first && value <= kind.last) {
                return putNumbered(buffer, kind.prefix, value - kind.first + 1);
            }
        }
    }
    if (texts->number == Number::isDecimal) return putNumbered(buffer, texts->prefix, value);
    std::snprintf(buffer, kEnumStringSize, "%s%08x", texts->prefix, value);
    return buffer;
}
