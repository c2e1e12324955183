#include <CLI/CLI.hpp>
#include <algorithm>

#include "host/tarvo/CameraAccess.h"
#include "host/tarvo/Commands.h"
#include "host/tarvo/Console.h"
#include "host/tarvo/ExitStatus.h"
#include "host/tarvo/NikonSettings.h"
#include "host/tarvo/Properties.h"

namespace tarvo {
namespace {

int openCamera(CameraAccess& access, const CommonOptions& common) {
    if (const int status = access.connect(common); status != kExitOk) return status;
    return access.openCamera();
}

std::string labelOf(const Property& property) {
    return property.name[0] != '\0' ? property.name
                                    : fmt::format("0x{:X}", static_cast<uint32_t>(property.id));
}

std::optional<Property> wantedProperty(const std::string& name) {
    auto property = findProperty(name);
    if (!property)
        complain("there is no setting '{}'. 'tarvo settings' lists them; a number (0x406) works too", name);
    return property;
}

std::string optionTexts(int32_t property, const std::vector<int32_t>& options) {
    std::string texts;
    for (const int32_t option : options)
        texts += (texts.empty() ? "" : ", ") + valueText(property, option);
    return texts;
}

/** A word that names no setting of either family needs no camera to be refused. */
bool namesSetting(const std::string& name) {
    return findNikonSetting(name).has_value() || wantedProperty(name).has_value();
}

bool isAssignment(const std::string& text) {
    const auto equals = text.find('=');
    if (equals != std::string::npos && equals != 0 && equals + 1 != text.size()) return true;
    complain("'{}' is not of the form NAME=VALUE", text);
    return false;
}

struct Assignment {
    Property property;
    std::string text;
};

std::optional<Assignment> parseAssignment(const std::string& text) {
    const auto equals = text.find('=');
    const auto property = wantedProperty(text.substr(0, equals));
    if (!property) return std::nullopt;
    return Assignment{*property, text.substr(equals + 1)};
}

int setOne(CameraAccess& access, const Assignment& assignment, bool takesAny) {
    const int32_t id = assignment.property.id;
    const auto label = labelOf(assignment.property);
    const auto options = access.client().getSettingOptions(access.handle(), id);
    if (!options.ok()) return report(options.error);
    const auto code = parseValue(id, assignment.text, options.value);
    if (!code) {
        complain("{}: '{}' is no value of it{}{}", label, assignment.text,
                 options.value.empty() ? "" : "; choose from ", optionTexts(id, options.value));
        return kExitUsage;
    }
    const bool isOffered = options.value.empty() || std::find(options.value.begin(), options.value.end(),
                                                              *code) != options.value.end();
    if (!isOffered && !takesAny) {
        complain("{}: the camera does not offer {} now; choose from {}, or send it all the same with --any",
                 label, valueText(id, *code), optionTexts(id, options.value));
        return kExitUsage;
    }
    const auto isSet = access.client().setSetting(access.handle(), id, *code);
    if (!isSet.ok()) return report(isSet.error);
    if (!isSet.value) {
        complain("{}: the camera refuses {}. Its mode dial or lens may not allow it", label,
                 valueText(id, *code));
        return kExitFailed;
    }
    // A write that was taken need not have had an effect; only reading tells.
    const auto now = access.client().getSetting(access.handle(), id);
    if (!now.ok()) return report(now.error);
    if (now.value != *code) {
        complain("{}: the camera took {} but still shows {}", label, valueText(id, *code),
                 valueText(id, now.value));
        return kExitFailed;
    }
    say("{} {}", label, valueText(id, now.value));
    return kExitOk;
}

}  // namespace

int runSettingsList(const CommonOptions& common) {
    CameraAccess access;
    if (const int status = openCamera(access, common); status != kExitOk) return status;
    if (access.isNikon()) return listNikonSettings(access);
    for (const auto& property : knownProperties()) {
        const auto value = access.client().getSetting(access.handle(), property.id);
        if (!value.ok()) return report(value.error);
        const auto options = access.client().getSettingOptions(access.handle(), property.id);
        if (!options.ok()) return report(options.error);
        // 0 is also the answer for what cannot be read; a list of options without 0 tells which of the two it
        // is.
        const auto& list = options.value;
        const bool isUnreadable =
            value.value == 0 && !list.empty() && std::find(list.begin(), list.end(), 0) == list.end();
        const auto text = isUnreadable ? std::string("-") : valueText(property.id, value.value);
        const auto choices = list.empty() ? std::string() : fmt::format("{} options", list.size());
        say("{:<24} {:<28} {:<12} {}", property.name, text, choices, property.meaning);
    }
    return kExitOk;
}

int runSettingsGet(const CommonOptions& common, const std::vector<std::string>& names) {
    if (!std::all_of(names.begin(), names.end(), namesSetting)) return kExitUsage;
    CameraAccess access;
    if (const int status = openCamera(access, common); status != kExitOk) return status;
    if (access.isNikon()) return getNikonSettings(access, names);
    for (const auto& name : names) {
        const auto property = wantedProperty(name);
        if (!property) return kExitUsage;
        const auto value = access.client().getSetting(access.handle(), property->id);
        if (!value.ok()) return report(value.error);
        say("{} {}", labelOf(*property), valueText(property->id, value.value));
    }
    return kExitOk;
}

int runSettingsOptions(const CommonOptions& common, const std::string& name) {
    if (!namesSetting(name)) return kExitUsage;
    CameraAccess access;
    if (const int status = openCamera(access, common); status != kExitOk) return status;
    if (access.isNikon()) return listNikonOptions(access, name);
    const auto property = wantedProperty(name);
    if (!property) return kExitUsage;
    const auto options = access.client().getSettingOptions(access.handle(), property->id);
    if (!options.ok()) return report(options.error);
    if (options.value.empty()) note("the camera offers no list of values for {} now", labelOf(*property));
    for (const int32_t option : options.value) {
        say("0x{:02X}  {}", static_cast<uint32_t>(option), valueText(property->id, option));
    }
    return kExitOk;
}

int runSettingsSet(const CommonOptions& common, const std::vector<std::string>& assignments, bool takesAny) {
    for (const auto& text : assignments) {
        if (!isAssignment(text) || !namesSetting(text.substr(0, text.find('=')))) return kExitUsage;
    }
    CameraAccess access;
    if (const int status = openCamera(access, common); status != kExitOk) return status;
    if (access.isNikon() && takesAny) {
        complain(
            "settings: --any is not for Nikon cameras: a value is a place in the list of what they offer");
        return kExitUsage;
    }
    if (access.isNikon()) return setNikonSettings(access, assignments);
    // All of them before any is changed.
    std::vector<Assignment> parsed;
    for (const auto& text : assignments) {
        const auto assignment = parseAssignment(text);
        if (!assignment) return kExitUsage;
        parsed.push_back(*assignment);
    }
    for (const auto& assignment : parsed) {
        if (const int status = setOne(access, assignment, takesAny); status != kExitOk) return status;
    }
    return kExitOk;
}

void addSettings(CLI::App& app, Invocation& invocation) {
    auto* command = app.add_subcommand("settings", "Show and change the camera's settings");
    describe(
        *command,
        "Without a further word: all known settings with their values. A Nikon camera's values are texts of\n"
        "the camera; a text that is not the only one of its kind is named by its place in the list (#3).\n\n"
        "Examples:\n"
        "  tarvo settings\n"
        "  tarvo settings get iso tv 0x405\n"
        "  tarvo settings options quality\n"
        "  tarvo settings set iso=400 tv=1/125 av=5.6 quality=raw+jpeg\n"
        "  tarvo settings set mode=Aperture metering=Spot 0x8112=#3 --camera nikon\n");
    command->callback([command, &invocation] {
        if (command->get_subcommands().empty()) invocation.status = runSettingsList(invocation.common);
    });

    auto* get = command->add_subcommand("get", "Show some settings");
    auto names = std::make_shared<std::vector<std::string>>();
    get->add_option("NAME", *names, "A name from the list, or a number")->required();
    get->callback([names, &invocation] { invocation.status = runSettingsGet(invocation.common, *names); });

    auto* options = command->add_subcommand("options", "List the values that a setting can have now");
    auto name = std::make_shared<std::string>();
    options->add_option("NAME", *name, "A name from the list, or a number")->required();
    options->callback(
        [name, &invocation] { invocation.status = runSettingsOptions(invocation.common, *name); });

    auto* set = command->add_subcommand("set", "Change settings, in the order given");
    auto assignments = std::make_shared<std::vector<std::string>>();
    auto takesAny = std::make_shared<bool>(false);
    set->add_option("NAME=VALUE", *assignments, "Value as 'settings' shows it, or a code (0x60)")->required();
    set->add_flag("--any", *takesAny, "Send values too that the camera does not offer");
    set->callback([assignments, takesAny, &invocation] {
        invocation.status = runSettingsSet(invocation.common, *assignments, *takesAny);
    });
}

}  // namespace tarvo
