#include "host/tarvo/NikonAccess.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

#include "host/client/protocol.h"
#include "host/tarvo/CameraAccess.h"
#include "host/tarvo/Console.h"
#include "host/tarvo/ExitStatus.h"
#include "host/tarvo/Interrupt.h"
#include "host/tarvo/Places.h"

namespace tarvo {
namespace {

using namespace std::chrono_literals;

constexpr auto kConnectLimit = 5s;
constexpr int32_t kMostIndexes = 10;  // of one digit: enough to tell whether a name may be meant

std::string nameOf(const NikonModule& module, int32_t index) {
    return fmt::format("Nikon {} #{}", module.name, index);
}

// Starting a module takes a while, so those that cannot be meant are left alone.
bool canBeMeant(const NikonModule& module, const std::string& wanted) {
    for (int32_t index = 0; index < kMostIndexes; ++index) {
        if (hasText(nameOf(module, index), wanted)) return true;
    }
    return false;
}

}  // namespace

bool hasText(const std::string& name, const std::string& wanted) {
    const auto equal = [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); };
    return std::search(name.begin(), name.end(), wanted.begin(), wanted.end(), equal) != name.end();
}

bool namesNikon(const std::string& wanted) {
    return hasText(wanted, "nikon");
}

int NikonAccess::connect(uint16_t port, const CommonOptions& options, const std::atomic<int64_t>* activity) {
    // Only simulated cameras have a lab, so a helper that runs already is known by it.
    const bool isSimulated = options.isSimulated || !options.scenario.empty() || !options.labSocket.empty();
    folder_ = options.nikonModules.empty() ? nikonFolder(isSimulated).string() : options.nikonModules;
    if (connection_.isOpen()) return kExitOk;
    connection_.setActivity(activity);
    return report(connection_.open(port, kConnectLimit));
}

int NikonAccess::start(const NikonModule& module) {
    const auto handle = client_.initializeSDK(folder_, module.type);
    if (!handle.ok()) return report(handle.error);
    if (handle.value == 0) {
        note("the Nikon module '{}' in {} does not start; the helper's log tells why (--verbose shows it)",
             module.name, folder_);
        return kExitOk;
    }
    started_.push_back({module, handle.value});
    return kExitOk;
}

int NikonAccess::listCameras(const Started& started, const std::string& wanted,
                             std::vector<FoundNikon>& found) {
    const auto count = client_.getCameraCount(started.handle);
    if (!count.ok()) return report(count.error);
    for (int32_t index = 0; index < count.value; ++index) {
        const auto name = nameOf(started.module, index);
        if (!hasText(name, wanted)) continue;
        const auto type = client_.getCameraTypeAtIndex(started.handle, index);
        if (!type.ok()) return report(type.error);
        if (type.value != kNikonNoCameraType) found.push_back({started.module, index, type.value, name});
    }
    return kExitOk;
}

int NikonAccess::findCameras(const std::string& wanted, bool endsAtFirst, std::vector<FoundNikon>& found) {
    for (const auto& module : findNikonModules(folder_)) {
        if (!canBeMeant(module, wanted)) continue;
        if (interrupt::isRequested()) return kExitInterrupted;
        const size_t before = started_.size();
        if (const int status = start(module); status != kExitOk) return status;
        if (started_.size() == before) continue;
        const size_t known = found.size();
        if (const int status = listCameras(started_.back(), wanted, found); status != kExitOk) return status;
        if (found.size() > known && endsAtFirst) return kExitOk;
        if (found.size() > known) continue;
        // It has no camera for this command, and must not hold one for another.
        terminate(started_.back());
        started_.pop_back();
    }
    return kExitOk;
}

int NikonAccess::select(const FoundNikon& camera) {
    const auto isOther = [&](const Started& started) { return started.module.type != camera.module.type; };
    for (const auto& started : started_) {
        if (isOther(started)) terminate(started);
    }
    std::erase_if(started_, isOther);
    if (started_.empty()) return kExitNoCamera;
    const auto handle = client_.selectCameraAtIndex(started_.front().handle, camera.index);
    if (!handle.ok()) return report(handle.error);
    if (handle.value == 0) {
        complain("'{}' cannot be opened. Close other programs that use it, or switch it off and on",
                 camera.name);
        return kExitFailed;
    }
    camera_ = handle.value;
    chosen_ = camera;
    return kExitOk;
}

void NikonAccess::terminate(const Started& started) {
    const auto status = client_.terminateSDK(started.handle);
    if (!status.ok()) {
        complain("the Nikon module '{}' could not be ended: {}", started.module.name, status.error.text);
    } else if (status.value != 0) {
        complain("the Nikon module '{}' could not close a camera", started.module.name);
    }
}

void NikonAccess::end() {
    if (!connection_.isOpen()) {
        if (!started_.empty())
            complain("the connection is lost, so Nikon modules may stay open in the helper");
        started_.clear();
        camera_ = 0;
        return;
    }
    // The camera first: a module closes what it holds, and the camera's record would be left behind.
    if (camera_ != 0) {
        if (auto error = client_.releaseCamera(camera_)) complain("{}", error.text);
        camera_ = 0;
    }
    for (; !started_.empty() && connection_.isOpen(); started_.pop_back())
        terminate(started_.back());
    started_.clear();
    connection_.close();
}

}  // namespace tarvo
