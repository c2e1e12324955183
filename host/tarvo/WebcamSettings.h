/* WebcamSettings.h: a webcam's controls by name, and what the webcam commands do with them.
 *
 * Thread: main.
 * Units:  0 to 1 from one end of the webcam's range to the other; switches are on or off.
 * Errors: complaints are printed; exit statuses.
 */
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/tarvo/WebcamAccess.h"

namespace tarvo {

struct WebcamSetting {
    const char* name;
    int32_t written;  // the id that sets it
    int32_t read;     // the id that answers it
    bool isSwitch;
    const char* meaning;
};

std::span<const WebcamSetting> webcamSettings();
/** Complains of a name that is none. */
const WebcamSetting* findWebcamSetting(const std::string& name);

struct WebcamAssignment {
    const WebcamSetting* setting;
    float value;
};
/** From NAME=VALUE; complains of what is none or lies outside the range. */
std::optional<WebcamAssignment> parseWebcamAssignment(const std::string& text);
std::optional<std::vector<WebcamAssignment>> parseWebcamAssignments(const std::vector<std::string>& texts);

/** kExitFailed with a complaint for a webcam without controls. */
int requireWebcamControls(WebcamSession& webcam);
/** In the order given; each is read back and printed. */
int setWebcamSettings(WebcamSession& webcam, const std::vector<WebcamAssignment>& assignments);
/** Those of these names, or all. */
int showWebcamSettings(WebcamSession& webcam, const std::vector<std::string>& names);

}  // namespace tarvo
