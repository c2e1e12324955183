#include "host/tarvo/WebcamAccess.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/client/protocol.h"
#include "host/tarvo/Console.h"
#include "host/tarvo/ExitStatus.h"

namespace tarvo {
namespace {

using namespace std::chrono_literals;

constexpr auto kConnectLimit = 5s;

Error listWebcams(VideoClient& client, std::vector<FoundWebcam>& webcams) {
    const auto count = client.getCameraCount();
    if (!count.ok()) return count.error;
    for (int32_t index = 0; index < count.value; ++index) {
        const auto name = client.getCameraName(index);
        if (!name.ok()) return name.error;
        const char* shown = name.value.empty() ? "webcam without a name" : name.value.c_str();
        webcams.push_back({index, name.value, fmt::format("{} #{}", shown, index)});
    }
    return {};
}

size_t countOf(const std::vector<FoundWebcam>& webcams, const std::string& device) {
    const auto count = std::count_if(webcams.begin(), webcams.end(),
                                     [&](const FoundWebcam& webcam) { return webcam.device == device; });
    return static_cast<size_t>(count);
}

int complainOfSeveral(const std::vector<FoundWebcam>& found) {
    std::string names;
    for (const auto& webcam : found)
        names += (names.empty() ? "'" : ", '") + webcam.name + "'";
    complain("which webcam? Choose one with --camera, by a part of its name: {}", names);
    return kExitUsage;
}

}  // namespace

int WebcamSession::connect(uint16_t port) {
    port_ = port;
    return report(connection_.open(port, kConnectLimit));
}

int WebcamSession::find(const std::string& wanted, std::vector<FoundWebcam>& found, size_t* others) {
    std::vector<FoundWebcam> all;
    if (auto error = listWebcams(client_, all)) return report(error);
    for (auto& webcam : all) {
        if (hasText(webcam.name, wanted)) {
            found.push_back(std::move(webcam));
        } else if (others != nullptr) {
            ++*others;
        }
    }
    return kExitOk;
}

int WebcamSession::select(const std::string& wanted) {
    std::vector<FoundWebcam> found;
    if (const int status = find(wanted, found); status != kExitOk) return status;
    if (found.empty()) return kExitNoCamera;
    if (found.size() > 1) return complainOfSeveral(found);
    std::vector<FoundWebcam> all;
    if (const int status = find("", all); status != kExitOk) return status;
    const auto camera = client_.selectCamera(found.front().index);
    if (!camera.ok()) return report(camera.error);
    if (camera.value == 0) {
        complain("'{}' cannot be opened. Close other programs that use it, or plug it in again",
                 found.front().name);
        return kExitFailed;
    }
    chosen_ = found.front();
    namesakes_ = countOf(all, chosen_.device);
    camera_ = camera.value;
    return kExitOk;
}

bool WebcamSession::isStillListed() const {
    CallConnection connection;
    if (connection.open(port_, kConnectLimit)) return true;
    VideoClient client(connection);
    std::vector<FoundWebcam> now;
    if (listWebcams(client, now)) return true;
    return countOf(now, chosen_.device) >= namesakes_;
}

void WebcamSession::cutShort() {
    if (camera_ == 0) return;
    CallConnection connection;
    auto error = connection.open(port_, kConnectLimit);
    if (!error) error = VideoClient(connection).releaseCamera(camera_);
    if (error) {
        complain("the call that is under way cannot be ended: {}", error.text);
        return;
    }
    camera_ = 0;
}

void WebcamSession::end() {
    if (camera_ != 0 && !connection_.isOpen()) {
        cutShort();
    } else if (camera_ != 0) {
        if (auto error = client_.releaseCamera(camera_)) complain("{}", error.text);
    }
    camera_ = 0;
    connection_.close();
}

int WebcamAccess::open(const CommonOptions& options) {
    if (const int status = helper_.open(options); status != kExitOk) return status;
    // Events first: an unplugging that comes right after the selection must find somebody who listens.
    if (auto error = events_.open(helper_.port(), kConnectLimit)) return report(error);
    if (auto* process = helper_.process()) {
        if (auto error = process->waitForLog("setCallbackSocket(", kConnectLimit)) return report(error);
    }
    if (const int status = webcam_.connect(helper_.port()); status != kExitOk) return status;
    const int status = webcam_.select(options.camera);
    if (status != kExitNoCamera) return status;
    if (options.camera.empty()) {
        complain("no webcam is attached. Plug one in, and close other programs that use it");
    } else {
        complain("no webcam has '{}' in its name; 'tarvo cameras' lists them", options.camera);
    }
    return status;
}

}  // namespace tarvo
