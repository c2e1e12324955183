#include "host/tarvo/NikonSettings.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>

#include "host/tarvo/Console.h"
#include "host/tarvo/ExitStatus.h"
#include "host/tarvo/Interrupt.h"
#include "host/tarvo/Properties.h"

namespace tarvo {
namespace {

constexpr auto kSettings = std::to_array<NikonSetting>({
    {"mode", 0x8111, "exposure mode"},
    {"metering", 0x8116, "metering mode"},
    {"focus-mode", 0x8120, "autofocus mode"},
    {"focus-area", 0x8122, "focus area"},
    {"flash", 0x35, "flash mode"},
    {"hue", 0x815E, "hue adjustment"},
    {"picture-control", 0x822E, "picture control"},
    {"live-view-zoom", 0x823F, "how far live view is enlarged"},
});

// Where modules number their choices: the interface's own, and the vendor's.
struct Numbers {
    int32_t first;
    int32_t last;
};
constexpr auto kSearched = std::to_array<Numbers>({{0x01, 0x3F}, {0x8100, 0x82FF}});
constexpr int32_t kChildren = 7;  // a list of pictures, which nobody chooses from

std::string simplified(const std::string& text) {
    std::string plain;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (std::isgraph(byte) != 0) plain += static_cast<char>(std::tolower(byte));
    }
    return plain;
}

std::string labelOf(int32_t capability) {
    for (const auto& setting : kSettings) {
        if (setting.capability == capability) return setting.name;
    }
    return fmt::format("0x{:X}", static_cast<uint32_t>(capability));
}

std::string textOf(const std::vector<std::string>& options, int32_t index) {
    const bool isOption = index >= 0 && static_cast<size_t>(index) < options.size();
    return isOption ? options[static_cast<size_t>(index)] : "-";
}

std::string joined(const std::vector<std::string>& options) {
    std::string texts;
    for (const auto& option : options)
        texts += (texts.empty() ? "'" : ", '") + option + "'";
    return texts;
}

/** What a choice can be and is. */
struct Choice {
    std::vector<std::string> options;
    int32_t current = -1;
};

/** Empty options: no choice of this camera. */
Result<Choice> readChoice(CameraAccess& access, int32_t capability) {
    auto& nikon = access.nikon();
    auto options = nikon.client().getSettingOptions(nikon.camera(), capability);
    if (!options.ok() || options.value.empty()) return {std::move(options.error), {}};
    const auto current = nikon.client().getSetting(nikon.camera(), capability);
    return {current.error, {std::move(options.value), current.value}};
}

/** Calls `take` for every choice of the camera until it answers true. */
template <class Take>
int forEachChoice(CameraAccess& access, Take&& take) {
    for (const auto& numbers : kSearched) {
        for (int32_t capability = numbers.first; capability <= numbers.last; ++capability) {
            if (capability == kChildren) continue;
            if (interrupt::isRequested()) return kExitInterrupted;
            const auto choice = readChoice(access, capability);
            if (!choice.ok()) return report(choice.error);
            if (!choice.value.options.empty() && take(capability, choice.value)) return kExitOk;
        }
    }
    return kExitOk;
}

std::optional<NikonSetting> wantedSetting(const std::string& name) {
    auto setting = findNikonSetting(name);
    if (!setting) {
        complain(
            "there is no setting '{}' of a Nikon camera. 'tarvo settings' lists them; a number (0x8111) "
            "works too",
            name);
    }
    return setting;
}

int complainOfNoChoice(CameraAccess& access, int32_t capability) {
    complain("{}: '{}' does not offer a choice of it now", labelOf(capability), access.name());
    return kExitFailed;
}

int setOne(CameraAccess& access, int32_t capability, const std::string& text) {
    const auto choice = readChoice(access, capability);
    if (!choice.ok()) return report(choice.error);
    const auto& options = choice.value.options;
    if (options.empty()) return complainOfNoChoice(access, capability);
    const auto label = labelOf(capability);
    const auto index = findNikonValue(text, options);
    if (!index) {
        complain(
            "{}: '{}' is none of its values, or more than one; choose from {}, or write the place in this "
            "list as #0 to #{}",
            label, text, joined(options), options.size() - 1);
        return kExitUsage;
    }
    auto& nikon = access.nikon();
    if (auto error = nikon.client().setSetting(nikon.camera(), capability, *index)) return report(error);
    // The helper does not tell whether the camera took it; only reading does.
    const auto now = nikon.client().getSetting(nikon.camera(), capability);
    if (!now.ok()) return report(now.error);
    if (now.value != *index) {
        complain(
            "{}: the camera does not take '{}'; it stays at '{}'. Its mode dial or lens may not allow it",
            label, textOf(options, *index), textOf(options, now.value));
        return kExitFailed;
    }
    say("{} {}", label, textOf(options, *index));
    return kExitOk;
}

}  // namespace

std::optional<NikonSetting> findNikonSetting(const std::string& text) {
    const auto code = parseCode(text);
    for (const auto& setting : kSettings) {
        if (simplified(text) == setting.name || (code && *code == setting.capability)) return setting;
    }
    if (code) return NikonSetting{"", *code, ""};
    return std::nullopt;
}

std::optional<int32_t> findNikonValue(const std::string& text, std::span<const std::string> options) {
    const auto count = static_cast<int32_t>(options.size());
    if (text.starts_with('#')) {
        int32_t index = -1;
        const char* end = text.data() + text.size();
        const auto parsed = std::from_chars(text.data() + 1, end, index);
        const bool isNumber = parsed.ec == std::errc() && parsed.ptr == end && text.size() > 1;
        return isNumber && index >= 0 && index < count ? std::optional(index) : std::nullopt;
    }
    const auto wanted = simplified(text);
    if (wanted.empty()) return std::nullopt;
    const auto only = [&](auto&& fits) {
        std::optional<int32_t> found;
        int matches = 0;
        for (int32_t i = 0; i < count; ++i) {
            if (!fits(simplified(options[static_cast<size_t>(i)]))) continue;
            found = i;
            ++matches;
        }
        return std::pair(matches == 1 ? found : std::nullopt, matches);
    };
    const auto [same, matches] = only([&](const std::string& option) { return option == wanted; });
    if (matches > 0) return same;
    return only([&](const std::string& option) { return option.starts_with(wanted); }).first;
}

int listNikonSettings(CameraAccess& access) {
    return forEachChoice(access, [](int32_t capability, const Choice& choice) {
        const auto known = std::find_if(kSettings.begin(), kSettings.end(),
                                        [&](const auto& s) { return s.capability == capability; });
        const auto meaning = known == kSettings.end() ? "" : known->meaning;
        say("{:<24} {:<28} {:<12} {}", labelOf(capability), textOf(choice.options, choice.current),
            fmt::format("{} options", choice.options.size()), meaning);
        return false;
    });
}

int getNikonSettings(CameraAccess& access, const std::vector<std::string>& names) {
    for (const auto& name : names) {
        const auto setting = wantedSetting(name);
        if (!setting) return kExitUsage;
        const auto choice = readChoice(access, setting->capability);
        if (!choice.ok()) return report(choice.error);
        if (choice.value.options.empty()) return complainOfNoChoice(access, setting->capability);
        say("{} {}", labelOf(setting->capability), textOf(choice.value.options, choice.value.current));
    }
    return kExitOk;
}

int listNikonOptions(CameraAccess& access, const std::string& name) {
    const auto setting = wantedSetting(name);
    if (!setting) return kExitUsage;
    const auto choice = readChoice(access, setting->capability);
    if (!choice.ok()) return report(choice.error);
    if (choice.value.options.empty())
        note("the camera offers no list of values for {} now", labelOf(setting->capability));
    for (size_t i = 0; i < choice.value.options.size(); ++i)
        say("#{}  {}", i, choice.value.options[i]);
    return kExitOk;
}

int setNikonSettings(CameraAccess& access, const std::vector<std::string>& assignments) {
    for (const auto& assignment : assignments) {
        const auto equals = assignment.find('=');
        const auto setting = wantedSetting(assignment.substr(0, equals));
        if (!setting) return kExitUsage;
        const int status = setOne(access, setting->capability, assignment.substr(equals + 1));
        if (status != kExitOk) return status;
    }
    return kExitOk;
}

int setNikonQuality(CameraAccess& access, const std::string& text) {
    std::optional<int32_t> wanted;
    const int status = forEachChoice(access, [&](int32_t capability, const Choice& choice) {
        if (findNikonValue(text, choice.options)) wanted = capability;
        return wanted.has_value();
    });
    if (status != kExitOk) return status;
    if (!wanted) {
        complain("--quality: no setting of '{}' has a value '{}'; 'tarvo settings' lists them", access.name(),
                 text);
        return kExitUsage;
    }
    return setOne(access, *wanted, text);
}

}  // namespace tarvo
