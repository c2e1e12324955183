#include "host/tarvo/CameraAccess.h"
#include "host/tarvo/Commands.h"
#include "host/tarvo/Console.h"
#include "host/tarvo/ExitStatus.h"
#include "host/tarvo/Properties.h"

namespace tarvo {
namespace {

int showDetails(CameraAccess& access) {
    if (const int status = access.openSession(); status != kExitOk) return status;
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

}  // namespace

int runCameras(const CommonOptions& common, const CamerasOptions& options) {
    CameraAccess access;
    if (const int status = access.connect(common); status != kExitOk) return status;
    std::vector<FoundCamera> found;
    if (const int status = access.findCameras(found); status != kExitOk) return status;
    if (found.empty()) {
        complain(
            "no Canon camera is attached. Plug one in, switch it on, and close other programs that use it");
        return kExitNoCamera;
    }
    for (const auto& camera : found) {
        say("{}  (reference 0x{:08X})", camera.name.empty() ? "camera without a name" : camera.name,
            static_cast<uint32_t>(camera.reference));
    }
    return options.showsDetails ? showDetails(access) : kExitOk;
}

void addCameras(CLI::App& app, Invocation& invocation) {
    auto* command = app.add_subcommand("cameras", "List the attached cameras");
    auto options = std::make_shared<CamerasOptions>();
    command->add_flag("--details", options->showsDetails,
                      "Open the camera and show firmware, mode and battery");
    describe(*command,
             "With several Canon cameras attached only the last one can be reached; the list says so.\n\n"
             "Examples:\n"
             "  tarvo cameras\n"
             "  tarvo cameras --details --simulated\n");
    command->callback(
        [options, &invocation] { invocation.status = runCameras(invocation.common, *options); });
}

}  // namespace tarvo
