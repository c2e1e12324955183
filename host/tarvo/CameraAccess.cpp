#include "host/tarvo/CameraAccess.h"

#include <filesystem>
#include <thread>

#include "host/client/CameraList.h"
#include "host/client/ErrorText.h"
#include "host/client/HelperFinder.h"
#include "host/client/protocol.h"
#include "host/tarvo/Console.h"
#include "host/tarvo/ExitStatus.h"
#include "host/tarvo/Interrupt.h"
#include "host/tarvo/Places.h"

namespace tarvo {
namespace {

using namespace std::chrono_literals;

constexpr auto kConnectLimit = 5s;
constexpr auto kProbeLimit = 1s;
constexpr auto kStartLimit = 20s;
constexpr auto kEndLimit = 5s;
constexpr auto kRestartLimit = 1s;
constexpr auto kRestartPause = 20ms;
constexpr size_t kLongestLabSocket = 107;

}  // namespace

int exitStatusOf(const Error& error) {
    switch (error.failure) {
        case Failure::none:
            return kExitOk;
        case Failure::badArgument:
            return kExitUsage;
        case Failure::notReachable:
            return kExitNoHelper;
        case Failure::timeout:
            return kExitTimeout;
        case Failure::interrupted:
            return kExitInterrupted;
        case Failure::files:
            return kExitFiles;
        default:
            return kExitFailed;
    }
}

int report(const Error& error) {
    if (error && error.failure != Failure::interrupted) complain("{}", error.text);
    return exitStatusOf(error);
}

HelperAccess::~HelperAccess() {
    if (!process_) return;
    if (auto error = process_->shutDown(kEndLimit))
        complain("the helper was not ended in order: {}", error.text);
}

int HelperAccess::open(const CommonOptions& options) {
    return options.startsHelper() ? startPrivate(options) : findRunning(options);
}

int HelperAccess::startPrivate(const CommonOptions& options) {
    HelperSetup setup;
    setup.executable = options.helper.empty() ? helperPath().string() : options.helper;
    std::string scenario = options.scenario;
    // The scenario that came with this command has real pictures; without it the lab makes up its own
    // devices.
    std::error_code ignored;
    if (scenario.empty() && std::filesystem::exists(scenarioFolder() / "studio.json", ignored))
        scenario = "studio";
    const bool isSimulated = options.isSimulated || !options.scenario.empty();
    if (isSimulated) {
        setup.libraryFolder = simulatedFolder().string();
        if (!std::filesystem::is_directory(setup.libraryFolder, ignored)) {
            complain("there are no simulated cameras at {}; build the whole tree with scripts/build.sh",
                     setup.libraryFolder);
            return kExitNoHelper;
        }
        if (!scenario.empty()) {
            const auto resolved = resolveScenario(scenario);
            if (!resolved.ok()) return report(resolved.error);
            setup.environment.emplace_back("TARVO_LAB", resolved.value);
        }
        if (options.labSocket.size() > kLongestLabSocket) {
            complain("--lab-socket: a socket's path has at most {} bytes, this one has {}: {}",
                     kLongestLabSocket, options.labSocket.size(), options.labSocket);
            return kExitUsage;
        }
        if (!options.labSocket.empty()) setup.environment.emplace_back("TARVO_LAB_SOCKET", options.labSocket);
    }
    if (options.isVerbose) {
        log_ = std::make_unique<LogForwarder>();
        setup.onLine = [log = log_.get()](std::string_view line) { log->add(line); };
    }
    process_ = std::make_unique<HelperProcess>();
    if (auto error = process_->start(setup)) return report(error);
    const auto port = process_->waitForPort(kStartLimit, interrupt::fd());
    if (!port.ok()) {
        const int status = report(port.error);
        // The lab ends the helper with this status when it does not understand the scenario.
        return isSimulated && process_->exitStatus() == kExitUsage ? kExitUsage : status;
    }
    port_ = port.value;
    return kExitOk;
}

int HelperAccess::findRunning(const CommonOptions& options) {
    if (options.port) {
        if (auto error = probeHelper(*options.port, kConnectLimit, interrupt::fd())) {
            report(error);
            if (error.failure == Failure::notReachable) {
                note("  Start a helper with 'tarvo helper', or leave --port out to look for one.");
            }
            return exitStatusOf(error);
        }
        port_ = *options.port;
        return kExitOk;
    }
    const auto found = findHelper(kProbeLimit, interrupt::fd());
    if (!found.ok()) {
        report(found.error);
        if (found.error.failure == Failure::notReachable) {
            note("  Start one with 'tarvo helper', or add --simulated to use simulated cameras.");
        }
        return exitStatusOf(found.error);
    }
    port_ = found.value;
    return kExitOk;
}

CameraAccess::~CameraAccess() {
    nikon_.end();
    // After Ctrl-C the orderly end must not be cut short by the same Ctrl-C; a second one ends the process.
    connection_.setInterrupt(-1);
    client_.setLimit(kEndLimit);
    // A lost connection may mean that a call still runs in the helper: then its session must stay.
    const bool mustStay = handle_ != 0 && !connection_.isOpen() && helper_.process() == nullptr;
    if (mustStay)
        complain("the connection is lost, so the session with the camera may stay open in the helper");
    if (handle_ != 0 && connection_.isOpen()) {
        const auto status = client_.closeSession(handle_);
        if (!status.ok()) complain("the session could not be closed: {}", status.error.text);
    }
    if (didStartLibrary_ && connection_.isOpen()) {
        const auto status = client_.terminateSDK();
        if (!status.ok()) complain("the camera library could not be ended: {}", status.error.text);
    }
    connection_.close();
    events_.close();
}

int CameraAccess::connect(const CommonOptions& options, CallbackStream::Listener listener) {
    options_ = options;
    if (const int status = helper_.open(options); status != kExitOk) return status;
    // Events first: what the calls cause must find somebody who listens.
    if (auto error = events_.open(helper_.port(), kConnectLimit, std::move(listener))) return report(error);
    if (auto* process = helper_.process()) {
        if (auto error = process->waitForLog("setCallbackSocket(", kConnectLimit)) return report(error);
    }
    // A call to a shared helper is let finish: nobody may close a session while another call still runs on
    // it. (Waits between calls are interrupted.) A private helper ends with the command anyway.
    connection_.setInterrupt(helper_.process() != nullptr ? interrupt::fd() : -1);
    connection_.setActivity(&events_.activity());
    if (auto error = connection_.open(helper_.port(), kConnectLimit)) return report(error);
    return namesNikon(options_.camera) ? kExitOk : startLibrary();
}

int CameraAccess::startLibrary() {
    // Somebody else may have started it at a helper that serves several hosts; it must not be ended under
    // them.
    auto list = client_.getCameraList();
    if (list.ok() && list.value.empty()) {
        const auto status = client_.initializeSDK();
        if (!status.ok()) return report(status.error);
        didStartLibrary_ = true;
        list = client_.getCameraList();
        // A helper whose library was started and ended before answers while the library is still starting
        // again.
        const auto end = Clock::now() + kRestartLimit;
        while (helper_.process() == nullptr && list.ok() && list.value.empty() && Clock::now() < end) {
            std::this_thread::sleep_for(kRestartPause);
            list = client_.getCameraList();
        }
    }
    if (!list.ok()) return report(list.error);
    list_ = list.value;
    return kExitOk;
}

int CameraAccess::findCameras(std::vector<FoundCamera>& found) {
    const auto choice = chooseCameras(list_);
    for (const int32_t reference : choice.reachable) {
        const auto name = client_.getCameraName(reference);
        if (!name.ok()) return report(name.error);
        found.push_back({reference, name.value});
    }
    if (choice.hidden > 0) {
        note("{} cameras are attached, but only the last one can be reached. Unplug it to use the others.",
             list_.size());
    }
    return kExitOk;
}

int CameraAccess::findNikons(std::vector<FoundNikon>& found, bool endsAtFirst) {
    if (const int status = nikon_.connect(helper_.port(), options_, &events_.activity()); status != kExitOk)
        return status;
    if (!nikon_.hasModules() && !options_.nikonModules.empty()) {
        complain("--nikon-modules: there is no module bundle in {}", nikon_.folder());
        return kExitUsage;
    }
    return nikon_.findCameras(options_.camera, endsAtFirst, found);
}

int CameraAccess::complainOfNoCamera(const std::vector<FoundCamera>& others) {
    if (options_.camera.empty()) {
        complain("no camera is attached. Plug one in, switch it on, and close other programs that use it");
    } else if (!others.empty()) {
        complain("no reachable camera has '{}' in its name; there is '{}'", options_.camera,
                 others.front().name);
    } else {
        complain("no reachable camera has '{}' in its name; 'tarvo cameras' lists them", options_.camera);
    }
    if (!nikon_.hasModules()) {
        note(
            "  Nikon cameras need a module bundle; there is none in {}. --nikon-modules names another "
            "folder.",
            nikon_.folder());
    }
    return kExitNoCamera;
}

int CameraAccess::openCamera(const std::function<int()>& openOther) {
    std::vector<FoundCamera> canons;
    if (const int status = findCameras(canons); status != kExitOk) return status;
    for (const auto& camera : canons) {
        if (hasText(camera.name, options_.camera)) return openSession(camera);
    }
    std::vector<FoundNikon> nikons;
    if (const int status = findNikons(nikons, true); status != kExitOk) return status;
    if (!nikons.empty()) return nikon_.select(nikons.front());
    const int status = openOther ? openOther() : kExitNoCamera;
    return status == kExitNoCamera ? complainOfNoCamera(canons) : status;
}

int CameraAccess::openSession(const FoundCamera& camera) {
    camera_ = camera;
    const auto handle = client_.openSession(camera_.reference);
    if (!handle.ok()) return report(handle.error);
    if (handle.value == 0 || handle.value == kStatusNoSession) {
        complain("'{}' does not open a session. Close other programs that use it, or switch it off and on",
                 camera_.name);
        return kExitFailed;
    }
    handle_ = handle.value;
    return kExitOk;
}

}  // namespace tarvo
