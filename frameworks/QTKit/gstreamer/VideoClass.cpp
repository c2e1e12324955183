#include "frameworks/QTKit/gstreamer/VideoClass.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace capture {

namespace {

std::set<std::string> nodesNow() {
    std::set<std::string> nodes;
    std::error_code error;
    std::filesystem::directory_iterator at("/sys/class/video4linux", error);
    for (; !error && at != std::filesystem::directory_iterator(); at.increment(error)) {
        nodes.insert(at->path().filename());
    }
    return nodes;
}

bool isUdevRunning() {
    return ::access("/run/udev/control", F_OK) == 0;
}

}  // namespace

void VideoClass::update() {
    known_ = nodesNow();
}

bool VideoClass::hasUnannounced() {
    if (isUdevRunning()) return false;
    const std::set<std::string> before = std::move(known_);
    update();
    return !std::includes(before.begin(), before.end(), known_.begin(), known_.end());
}

}  // namespace capture
