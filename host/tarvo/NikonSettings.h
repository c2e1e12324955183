/* NikonSettings.h: a Nikon camera's choices, their values by their texts.
 *
 * The helper answers for any number whether it is a choice of this camera, but has no list of them; so the
 * list is made by asking for all numbers that a module uses. A number that a camera does not have costs the
 * helper no word with the camera.
 *
 * Thread: main.
 * Errors: prints complaints and answers exit statuses, as CameraAccess.h.
 */
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/tarvo/CameraAccess.h"

namespace tarvo {

struct NikonSetting {
    const char* name;
    int32_t capability;
    const char* meaning;
};

/** By name, or by number ("0x8111"); a number without a name is a setting without one. */
std::optional<NikonSetting> findNikonSetting(const std::string& text);

/** The place of a value among the options, as a person writes it: its text (blanks and case do not matter),
 * as much of its beginning as tells it apart, or "#3". */
std::optional<int32_t> findNikonValue(const std::string& text, std::span<const std::string> options);

int listNikonSettings(CameraAccess& access);
int getNikonSettings(CameraAccess& access, const std::vector<std::string>& names);
int listNikonOptions(CameraAccess& access, const std::string& name);
/** Each of the form NAME=VALUE; read back after it has been set. */
int setNikonSettings(CameraAccess& access, const std::vector<std::string>& assignments);
/** Sets the choice, whichever it is, that has a value of this text: cameras have no common number for what a
 * shot is stored as. */
int setNikonQuality(CameraAccess& access, const std::string& text);

}  // namespace tarvo
