#include "frameworks/QTKit/gstreamer/Node.h"

#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <utility>

#include "frameworks/QTKit/gstreamer/Errors.h"
#include "platform/UsbLocation.h"

namespace capture {

namespace {

namespace fs = std::filesystem;

class Descriptor {
public:
    explicit Descriptor(const std::string& path) {
        do {
            number_ = ::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
        } while (number_ < 0 && errno == EINTR);
    }
    ~Descriptor() {
        if (number_ >= 0) ::close(number_);
    }
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&&) = delete;

    int get() const { return number_; }

private:
    int number_ = -1;
};

/** The lock on the descriptor lasts as long as it does. */
class NodeReservation final : public Reservation {
public:
    explicit NodeReservation(Descriptor descriptor) : descriptor_(std::move(descriptor)) {}

private:
    const Descriptor descriptor_;
};

std::optional<struct stat> look(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return std::nullopt;
    return status;
}

Failure failureOfErrno(int error) {
    const std::string reason = std::generic_category().message(error) + ".";
    switch (error) {
        case ENOENT:
        case ENODEV:
        case ENXIO:
            return {QTErrorDeviceWasDisconnected, reason};
        case EACCES:
        case EPERM:
            return {kErrorPermissionDenied, reason};
        case EBUSY:
        case EWOULDBLOCK:
            return {kErrorDeviceBusy, reason};
        default:
            return {kErrorNoResources, reason};
    }
}

int control(int descriptor, unsigned long request, void* argument) {
    int result = 0;
    do {
        result = ::ioctl(descriptor, request, argument);
    } while (result < 0 && errno == EINTR);
    return result;
}

/** Buffers can be had by one program at a time, the one that streams; they are given back at once. */
bool isStreaming(int descriptor) {
    v4l2_capability capability{};
    if (control(descriptor, VIDIOC_QUERYCAP, &capability) < 0) return false;
    const bool isPlanar = (capability.device_caps & V4L2_CAP_VIDEO_CAPTURE_MPLANE) != 0;
    v4l2_requestbuffers buffers{};
    buffers.count = 1;
    buffers.type = isPlanar ? V4L2_BUF_TYPE_VIDEO_CAPTURE_MPLANE : V4L2_BUF_TYPE_VIDEO_CAPTURE;
    buffers.memory = V4L2_MEMORY_MMAP;
    if (control(descriptor, VIDIOC_REQBUFS, &buffers) < 0) return errno == EBUSY;
    buffers.count = 0;
    control(descriptor, VIDIOC_REQBUFS, &buffers);
    return false;
}

std::string firstLine(const fs::path& file) {
    std::string line;
    std::getline(std::ifstream(file), line);
    return line;
}

}  // namespace

Node::Node(std::string path) : path_(std::move(path)), identity_(look(path_)) {
    std::error_code error;
    const fs::path real = fs::canonical(path_, error);
    if (!error) sysfsPath_ = fs::path("/sys/class/video4linux") / real.filename();
}

std::string Node::uniqueId() const {
    const fs::path entry = sysfsPath_;
    if (const auto usb = usbIdentityOfPath(entry / "device")) return usbUniqueId(*usb);
    std::error_code error;
    const fs::path device = fs::canonical(entry / "device", error);
    if (error || sysfsPath_.empty()) return "v4l2:" + path_;
    return "v4l2:" + device.lexically_relative("/sys/devices").string() + ":" + firstLine(entry / "index");
}

bool Node::isCalled(const std::string& libcameraId) const {
    std::error_code error;
    const fs::path entry = sysfsPath_;
    const auto usb = usbIdentityOfPath(entry / "device");
    const std::string interface = fs::canonical(entry / "device", error).filename().string();  // "1-2.1:1.0"
    const size_t ports = interface.find('-');
    if (!usb || error || ports == std::string::npos) return false;
    char product[16];
    std::snprintf(product, sizeof product, "-%04x:%04x", static_cast<unsigned>(usb->vendor),
                  static_cast<unsigned>(usb->product));
    return libcameraId.ends_with(interface.substr(ports) + product);
}

bool Node::isReplaced() const {
    const std::optional<struct stat> now = look(path_);
    if (!now || !identity_) return true;
    return now->st_ino != identity_->st_ino || now->st_rdev != identity_->st_rdev;
}

bool Node::isGone() const {
    if (isReplaced()) return true;
    const Descriptor descriptor(path_);
    return descriptor.get() < 0 && failureOfErrno(errno).code == QTErrorDeviceWasDisconnected;
}

/** V4L2 keeps others out only while frames flow. Until then a lock keeps out those who look at it, which
 *  other helpers do; a program that does not and is quicker is met when the session starts. */
Failure Node::reserve(bool isStreamingHere, std::unique_ptr<Reservation>& out) const {
    if (isReplaced()) return {QTErrorDeviceWasDisconnected};
    Descriptor descriptor(path_);
    if (descriptor.get() < 0) return failureOfErrno(errno);
    if (::flock(descriptor.get(), LOCK_EX | LOCK_NB) != 0) return failureOfErrno(errno);
    if (!isStreamingHere && isStreaming(descriptor.get())) return failureOfErrno(EBUSY);
    out = std::make_unique<NodeReservation>(std::move(descriptor));
    return {};
}

}  // namespace capture
