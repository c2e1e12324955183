#include "host/tarvo/CameraAccess.h"

#include <CLI/CLI.hpp>
#include "host/tarvo/Commands.h"
#include "host/tarvo/Console.h"
#include "host/tarvo/ExitStatus.h"
#include "host/tarvo/Properties.h"
#include "host/tarvo/WebcamAccess.h"

namespace tarvo {
namespace {

int showCanon(CameraAccess& access) {
    const auto firmware = access.client().getFirmwareVersion(access.handle());
    if (!firmware.ok()) return report(firmware.error);
    say("    firmware {}", firmware.value);
    for (const char* name : {"mode", "quality", "battery", "shots-left"}) {
        const auto property = findProperty(name);
        if (!property) continue;
        const auto value = access.client().getSetting(access.handle(), property->id);
        if (!value.ok()) return report(value.error);
        say("    {} {}", name, valueText(property->id, value.value));
    }
    return kExitOk;
}

int showNikon(CameraAccess& access) {
    auto& nikon = access.nikon();
    const auto battery = nikon.client().getBatteryLevel(nikon.camera());
    if (!battery.ok()) return report(battery.error);
    say("    battery {}", battery.value < 0 ? "-" : std::to_string(battery.value));
    const auto isLive = nikon.client().isLiveView(nikon.camera());
    if (!isLive.ok()) return report(isLive.error);
    say("    live view {}", isLive.value ? "on" : "off");
    return kExitOk;
}

int showDetails(CameraAccess& access) {
    if (const int status = access.openCamera(); status != kExitOk) return status;
    note("{}:", access.name());
    return access.isNikon() ? showNikon(access) : showCanon(access);
}

void printNikon(const FoundNikon& camera) {
    if (camera.type == 0) {
        say("{}  (cannot be opened now)", camera.name);
    } else {
        say("{}  (module type {}, camera type {})", camera.name, camera.module.type, camera.type);
    }
}

int findWebcams(uint16_t port, const CommonOptions& common, std::vector<FoundWebcam>& webcams) {
    WebcamSession session;
    if (const int status = session.connect(port); status != kExitOk) return status;
    return session.find(common.camera, webcams);
}

}  // namespace

int runCameras(const CommonOptions& common, const CamerasOptions& options) {
    CameraAccess access;
    if (const int status = access.connect(common); status != kExitOk) return status;
    std::vector<FoundCamera> canons;
    if (const int status = access.findCameras(canons); status != kExitOk) return status;
    const auto others = canons;
    std::erase_if(canons, [&](const FoundCamera& camera) { return !hasText(camera.name, common.camera); });
    for (const auto& camera : canons) {
        say("{}  (reference 0x{:08X})", camera.name.empty() ? "camera without a name" : camera.name,
            static_cast<uint32_t>(camera.reference));
    }
    std::vector<FoundNikon> nikons;
    if (const int status = access.findNikons(nikons); status != kExitOk) return status;
    for (const auto& camera : nikons)
        printNikon(camera);
    std::vector<FoundWebcam> webcams;
    if (const int status = findWebcams(access.port(), common, webcams); status != kExitOk) return status;
    for (const auto& webcam : webcams)
        say("{}  (webcam)", webcam.name);
    if (canons.empty() && nikons.empty() && webcams.empty()) return access.complainOfNoCamera(others);
    if (!options.showsDetails) return kExitOk;
    if (canons.empty() && nikons.empty()) {
        note("  'tarvo webcam get' shows a webcam's settings.");
        return kExitOk;
    }
    access.nikon().end();  // opening starts the one module that it needs anew
    return showDetails(access);
}

void addCameras(CLI::App& app, Invocation& invocation) {
    auto* command = app.add_subcommand("cameras", "List the attached cameras");
    auto options = std::make_shared<CamerasOptions>();
    command->add_flag("--details", options->showsDetails,
                      "Open the camera that other commands would use and show firmware, mode and battery");
    describe(
        *command,
        "With several Canon cameras attached only the last one can be reached; the list says so. A Nikon\n"
        "camera is named by its module and its place in that module's list: 'Nikon D80 #0'. Commands use "
        "the\n"
        "first camera of this list, or the first one that has the text of --camera in its name; a webcam\n"
        "(with its place, too: 'Webcam #0') is for 'tarvo webcam' alone.\n\n"
        "Examples:\n"
        "  tarvo cameras\n"
        "  tarvo cameras --details --simulated\n"
        "  tarvo cameras --nikon-modules modules --camera nikon\n");
    command->callback(
        [options, &invocation] { invocation.status = runCameras(invocation.common, *options); });
}

}  // namespace tarvo
