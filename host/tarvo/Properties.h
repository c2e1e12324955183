/* Properties.h: the cameras' properties under names that people use, and their values as people read them.
 *
 * The codes are the camera library's. Speeds, apertures and sensitivities are coded in eighths of a stop of
 * the APEX system, so that one table of steps serves many bodies; an image quality is a code of five fields.
 *
 * Thread: plain functions over constant tables.
 * Errors: an empty optional where a text means nothing.
 */
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tarvo {

struct Property {
    const char* name;
    int32_t id;
    const char* meaning;
};

constexpr int32_t kPropertyQuality = 0x100;

std::span<const Property> knownProperties();
/** By name, or by number ("0x406"). A number that has no name is a property without one. */
std::optional<Property> findProperty(const std::string& text);

/** "1/125", "f/5.6", "RAW + Large Fine JPEG"; the bare number where there is no better text. */
std::string valueText(int32_t property, int32_t value);

/** The code of a value as a person writes it: as valueText shows it (blanks and case do not matter, and no
 * more of it than tells it apart), or as a code: "0x60", and a decimal number where the property counts
 * something. The options come first. */
std::optional<int32_t> parseValue(int32_t property, const std::string& text,
                                  std::span<const int32_t> options);

/** Does the quality make a RAW file, a JPEG file? */
struct QualityFiles {
    bool hasRaw = false;
    bool hasJpeg = false;
};
QualityFiles filesOf(int32_t quality);

/** A number as people and programs write it: decimal, or 0x and hexadecimal digits, in 32 bits, signed or
 * not. */
std::optional<int32_t> parseCode(const std::string& text);

}  // namespace tarvo
