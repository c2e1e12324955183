#include "host/tarvo/WebcamSettings.h"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <cmath>

#include "host/tarvo/Console.h"
#include "host/tarvo/ExitStatus.h"

namespace tarvo {
namespace {

// Of a webcam that was told to change, this much must be seen; controls have steps of their own.
constexpr float kClearChange = 0.1F;
constexpr float kShownDifference = 0.01F;

// The first two are crossed: each id sets what the other one answers.
constexpr auto kSettings = std::to_array<WebcamSetting>({
    {"auto-exposure", 0, 1, true, "the webcam chooses the exposure"},
    {"exposure", 1, 0, false, "0 is the longest, 1 the shortest"},
    {"auto-white-balance", 2, 2, true, "the webcam chooses the white balance"},
    {"white-balance", 3, 3, false, "0 is for the warmest light, 1 for the coldest"},
    {"gain", 4, 4, false, ""},
    {"brightness", 5, 5, false, ""},
    {"contrast", 6, 6, false, ""},
    {"saturation", 7, 7, false, ""},
    {"sharpness", 8, 8, false, ""},
});

const char* rangeOf(const WebcamSetting& setting) {
    return setting.isSwitch ? "off or on" : "0 to 1";
}

std::string valueText(const WebcamSetting& setting, float value) {
    if (setting.isSwitch) return value > 0.5F ? "on" : "off";
    return fmt::format("{:.3f}", value);
}

bool isReading(float value) {
    return std::isfinite(value) && value > VideoClient::kNoReading;
}

std::optional<float> parseValue(const WebcamSetting& setting, const std::string& text) {
    if (setting.isSwitch) {
        if (text == "on" || text == "1") return 1.0F;
        if (text == "off" || text == "0") return 0.0F;
        return std::nullopt;
    }
    float value = 0;
    const char* end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, value);
    const bool isInside = std::isfinite(value) && value >= 0 && value <= 1;
    return parsed.ec == std::errc() && parsed.ptr == end && isInside ? std::optional(value) : std::nullopt;
}

int setOne(WebcamSession& webcam, const WebcamAssignment& assignment) {
    const auto& setting = *assignment.setting;
    const auto before = webcam.client().getUvcSetting(webcam.camera(), setting.read);
    if (!before.ok()) return report(before.error);
    if (auto error = webcam.client().setUvcSetting(webcam.camera(), setting.written, assignment.value))
        return report(error);
    // Nothing tells whether the webcam took it; only reading does.
    const auto now = webcam.client().getUvcSetting(webcam.camera(), setting.read);
    if (!now.ok()) return report(now.error);
    const auto wanted = valueText(setting, assignment.value);
    if (!isReading(now.value)) {
        complain("'{}' has no {}", webcam.name(), setting.name);
        return kExitFailed;
    }
    const float difference = std::fabs(now.value - assignment.value);
    if (now.value == before.value && difference >= kClearChange) {
        complain(
            "{}: the webcam stays at {} instead of {}. An automatic may hold it, or it has no such control",
            setting.name, valueText(setting, now.value), wanted);
        return kExitFailed;
    }
    say("{} {}", setting.name, valueText(setting, now.value));
    if (difference >= kShownDifference) note("  {} was asked for; the control moves in steps", wanted);
    return kExitOk;
}

int showOne(WebcamSession& webcam, const WebcamSetting& setting) {
    const auto value = webcam.client().getUvcSetting(webcam.camera(), setting.read);
    if (!value.ok()) return report(value.error);
    const auto shown = isReading(value.value) ? valueText(setting, value.value) : "-";
    const auto line =
        fmt::format("{:<20} {:<8} {:<12} {}", setting.name, shown, rangeOf(setting), setting.meaning);
    say("{}", line.substr(0, line.find_last_not_of(' ') + 1));
    return kExitOk;
}

}  // namespace

std::span<const WebcamSetting> webcamSettings() {
    return kSettings;
}

const WebcamSetting* findWebcamSetting(const std::string& name) {
    std::string names;
    for (const auto& setting : kSettings) {
        if (name == setting.name) return &setting;
        names += (names.empty() ? "" : ", ") + std::string(setting.name);
    }
    complain("a webcam has no setting '{}'; there are {}", name, names);
    return nullptr;
}

std::optional<WebcamAssignment> parseWebcamAssignment(const std::string& text) {
    const auto equals = text.find('=');
    if (equals == std::string::npos || equals == 0 || equals + 1 == text.size()) {
        complain("'{}' is not of the form NAME=VALUE", text);
        return std::nullopt;
    }
    const auto* setting = findWebcamSetting(text.substr(0, equals));
    if (setting == nullptr) return std::nullopt;
    const auto value = parseValue(*setting, text.substr(equals + 1));
    if (!value) {
        complain("{}: '{}' is no value of it; choose from {}", setting->name, text.substr(equals + 1),
                 rangeOf(*setting));
        return std::nullopt;
    }
    return WebcamAssignment{setting, *value};
}

std::optional<std::vector<WebcamAssignment>> parseWebcamAssignments(const std::vector<std::string>& texts) {
    std::vector<WebcamAssignment> assignments;
    for (const auto& text : texts) {
        const auto assignment = parseWebcamAssignment(text);
        if (!assignment) return std::nullopt;
        assignments.push_back(*assignment);
    }
    return assignments;
}

int requireWebcamControls(WebcamSession& webcam) {
    const auto has = webcam.client().hasUvcSettings(webcam.camera());
    if (!has.ok()) return report(has.error);
    if (has.value) return kExitOk;
    complain("'{}' has no controls that can be reached over USB", webcam.name());
    return kExitFailed;
}

int setWebcamSettings(WebcamSession& webcam, const std::vector<WebcamAssignment>& assignments) {
    if (assignments.empty()) return kExitOk;
    if (const int status = requireWebcamControls(webcam); status != kExitOk) return status;
    for (const auto& assignment : assignments) {
        if (const int status = setOne(webcam, assignment); status != kExitOk) return status;
    }
    return kExitOk;
}

int showWebcamSettings(WebcamSession& webcam, const std::vector<std::string>& names) {
    if (const int status = requireWebcamControls(webcam); status != kExitOk) return status;
    if (names.empty()) {
        for (const auto& setting : kSettings) {
            if (const int status = showOne(webcam, setting); status != kExitOk) return status;
        }
    }
    for (const auto& name : names) {
        const auto* setting = findWebcamSetting(name);
        if (setting == nullptr) return kExitUsage;
        if (const int status = showOne(webcam, *setting); status != kExitOk) return status;
    }
    return kExitOk;
}

}  // namespace tarvo
