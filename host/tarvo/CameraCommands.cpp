// battery, bracketing and focus: one question or one movement.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <thread>

#include "host/client/ErrorText.h"
#include "host/client/protocol.h"
#include "host/tarvo/CameraAccess.h"
#include "host/tarvo/Commands.h"
#include "host/tarvo/Console.h"
#include "host/tarvo/ExitStatus.h"
#include "host/tarvo/Interrupt.h"
#include "host/tarvo/NikonFrames.h"
#include "host/tarvo/Properties.h"

namespace tarvo {
namespace {

using namespace std::chrono_literals;

constexpr int32_t kPropertyBattery = 0x08;
constexpr int kWidestCanonStep = 3;
constexpr auto kFirstFrameLimit = 15s;
constexpr auto kRetry = 20ms;

int open(CameraAccess& access, const CommonOptions& common) {
    if (const int status = access.connect(common); status != kExitOk) return status;
    return access.openCamera();
}

int driveCanon(CameraAccess& access, int steps) {
    if (std::abs(steps) > kWidestCanonStep) {
        complain("focus: '{}' knows steps from -{} to {}", access.name(), kWidestCanonStep, kWidestCanonStep);
        return kExitUsage;
    }
    auto& client = access.client();
    const auto started = client.startLiveView(access.handle());
    if (!started.ok()) return report(started.error);
    if (started.value != kStatusOk) {
        complain("'{}' does not start live view: {}", access.name(), statusSentence(started.value));
        return kExitFailed;
    }
    // A lens is driven only while frames come.
    const auto end = Clock::now() + kFirstFrameLimit;
    auto image = client.getLiveViewImage(access.handle());
    while (image.ok() && image.value.empty() && Clock::now() < end && !interrupt::isRequested()) {
        std::this_thread::sleep_for(kRetry);
        image = client.getLiveViewImage(access.handle());
    }
    auto error = image.ok() ? client.driveFocus(access.handle(), steps) : image.error;
    const auto stopped = client.stopLiveView(access.handle());
    return report(error ? error : stopped.error);
}

int driveNikon(CameraAccess& access, int steps) {
    NikonFrames frames(access);
    if (const int status = frames.start(); status != kExitOk) return status;
    return report(access.nikon().client().driveFocus(access.nikon().camera(), steps));
}

}  // namespace

int runBattery(const CommonOptions& common) {
    CameraAccess access;
    if (const int status = open(access, common); status != kExitOk) return status;
    if (!access.isNikon()) {
        const auto level = access.client().getSetting(access.handle(), kPropertyBattery);
        if (!level.ok()) return report(level.error);
        say("{}", valueText(kPropertyBattery, level.value));
        return kExitOk;
    }
    const auto level = access.nikon().client().getBatteryLevel(access.nikon().camera());
    if (!level.ok()) return report(level.error);
    if (level.value < 0) {
        complain("'{}' does not tell its battery's level", access.name());
        return kExitFailed;
    }
    say("{}", level.value);
    return kExitOk;
}

int runBracketing(const CommonOptions& common) {
    CameraAccess access;
    if (const int status = open(access, common); status != kExitOk) return status;
    if (!access.isNikon()) {
        complain("bracketing: only Nikon cameras tell it; '{}' is none. --camera nikon chooses one",
                 access.name());
        return kExitUsage;
    }
    const auto isOn = access.nikon().client().getBracketing(access.nikon().camera());
    if (!isOn.ok()) return report(isOn.error);
    say("{}", isOn.value ? "on" : "off");
    return kExitOk;
}

int runFocus(const CommonOptions& common, int steps) {
    if (steps == 0) {
        complain("focus: 0 steps move nothing");
        return kExitUsage;
    }
    CameraAccess access;
    if (const int status = open(access, common); status != kExitOk) return status;
    return access.isNikon() ? driveNikon(access, steps) : driveCanon(access, steps);
}

void addBattery(CLI::App& app, Invocation& invocation) {
    auto* command = app.add_subcommand("battery", "Show the camera's battery level in percent");
    describe(*command, "Examples:\n  tarvo battery\n  tarvo battery --camera nikon\n");
    command->callback([&invocation] { invocation.status = runBattery(invocation.common); });
}

void addBracketing(CLI::App& app, Invocation& invocation) {
    auto* command = app.add_subcommand("bracketing", "Show whether a Nikon camera brackets: on or off");
    describe(*command,
             "Asking ends the variation of a bracketing that is under way.\n\n"
             "Examples:\n  tarvo bracketing --camera nikon\n  tarvo bracketing --simulated --camera nikon\n");
    command->callback([&invocation] { invocation.status = runBracketing(invocation.common); });
}

void addFocus(CLI::App& app, Invocation& invocation) {
    auto* command = app.add_subcommand("focus", "Drive the lens");
    auto steps = std::make_shared<int>(0);
    command->add_option("--steps", *steps, "How far; less than 0 in the other direction")
        ->required()
        ->check(CLI::Range(-32767, 32767));
    describe(
        *command,
        "Live view is on meanwhile. Canon: 1, 2, 3 toward near, -1, -2, -3 toward far, each wider than the "
        "one\n"
        "before. Nikon: steps of the lens's motor; the command ends when the lens rests.\n\n"
        "Examples:\n"
        "  tarvo focus --steps -1\n"
        "  tarvo focus --steps 120 --camera nikon\n");
    command->callback([steps, &invocation] { invocation.status = runFocus(invocation.common, *steps); });
}

}  // namespace tarvo
