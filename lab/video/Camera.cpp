// The computer's side of a video device: frames, and requests on the bus.
#include "lab/video/Camera.h"

#include <atomic>
#include <utility>

#include "lab/Trace.h"

namespace lab::video {

namespace {

std::atomic<Listener*> theListener{nullptr};

}  // namespace

Camera::Camera(CameraSetup setup)
    : Device(setup.id, Family::video), setup_(std::move(setup)), fps_(setup_.fps) {
    if (setup_.usb) controls_ = setup_.usb->controls;
}

Camera::~Camera() = default;

void Camera::setListener(Listener* listener) {
    theListener.store(listener);
}

Listener* Camera::listener() {
    return theListener.load();
}

// ---- The cable -----------------------------------------------------------------------------------------

std::optional<Link> Camera::link() const {
    const std::lock_guard guard(mutex_);
    return isAttached_ ? std::optional(link_) : std::nullopt;
}

bool Camera::isAttached() const {
    const std::lock_guard guard(mutex_);
    return isAttached_;
}

bool Camera::attach() {
    const std::lock_guard guard(mutex_);
    if (isAttached_) return false;
    isAttached_ = true;
    ++link_;
    // It has lost its power meanwhile.
    if (setup_.usb) controls_ = setup_.usb->controls;
    return true;
}

bool Camera::detach() {
    const std::lock_guard guard(mutex_);
    if (!isAttached_) return false;
    isAttached_ = false;
    isReserved_ = false;
    interfaceOwner_ = nullptr;
    if (listener() != nullptr) listener()->wentAway(shared_from_this(), link_);
    return true;
}

// ---- Frames --------------------------------------------------------------------------------------------

bool Camera::reserve(Link link, const void* owner) {
    const std::lock_guard guard(mutex_);
    if (!isHere(link)) return false;
    isReserved_ = true;
    reserver_ = owner;
    return true;
}

void Camera::free(Link link, const void* owner) {
    const std::lock_guard guard(mutex_);
    if (isHere(link) && reserver_ == owner) isReserved_ = false;
}

bool Camera::isReserved(Link link) const {
    const std::lock_guard guard(mutex_);
    return isHere(link) && isReserved_;
}

void Camera::beginSession() {
    const std::lock_guard guard(mutex_);
    ++sessions_;
}

void Camera::endSession() {
    const std::lock_guard guard(mutex_);
    --sessions_;
}

double Camera::fps() const {
    const std::lock_guard guard(mutex_);
    return fps_;
}

uint64_t Camera::nextFrame() const {
    const std::lock_guard guard(mutex_);
    return frames_;
}

bool Camera::countFrame(Link link, Size size) {
    const std::lock_guard guard(mutex_);
    if (!isHere(link) || !isReserved_) return false;
    frameTimes_[frames_ % kMostFrameTimes] = {frames_, monotonicUs()};
    ++frames_;
    lastSize_ = size;
    return true;
}

void Camera::countMissed(uint64_t frames) {
    const std::lock_guard guard(mutex_);
    missed_ += frames;
}

// ---- The bus -------------------------------------------------------------------------------------------

UsbOutcome Camera::openInterface(Link link, const void* owner) {
    const std::lock_guard guard(mutex_);
    if (!isHere(link)) return UsbOutcome::gone;
    if (interfaceOwner_ != nullptr) return UsbOutcome::inUse;
    interfaceOwner_ = owner;
    return UsbOutcome::ok;
}

UsbOutcome Camera::closeInterface(Link link, const void* owner) {
    const std::lock_guard guard(mutex_);
    if (!isHere(link)) return UsbOutcome::gone;
    if (interfaceOwner_ != owner) return UsbOutcome::notOpen;
    interfaceOwner_ = nullptr;
    return UsbOutcome::ok;
}

UsbOutcome Camera::checkInterface(Link link, const void* owner) const {
    const std::lock_guard guard(mutex_);
    if (!isHere(link)) return UsbOutcome::gone;
    return interfaceOwner_ == owner ? UsbOutcome::ok : UsbOutcome::notOpen;
}

UsbOutcome Camera::request(Link link, const void* owner, const UsbRequest& request, uint8_t* data,
                           uint32_t& done) {
    const std::lock_guard guard(mutex_);
    if (!isHere(link)) return UsbOutcome::gone;
    if (interfaceOwner_ != owner) return UsbOutcome::notOpen;
    constexpr uint16_t kInterfaceMask = 0xFF;
    const bool isOurs = setup_.usb && (request.index & kInterfaceMask) == setup_.usb->interface;
    const bool isDone = isOurs && carryOut(controls_, request, data, done);
    return isDone ? UsbOutcome::ok : UsbOutcome::stalled;
}

}  // namespace lab::video
