#include "frameworks/QTKit/gstreamer/Output.h"

#include <new>

namespace capture {

void Output::setPixelBufferAttributes(const PixelBufferAttributes& attributes) {
    const std::lock_guard guard(mutex_);
    attributes_ = attributes;
}

PixelBufferAttributes Output::attributes() const {
    const std::lock_guard guard(mutex_);
    return attributes_;
}

void Output::setDelegate(QTCaptureDecompressedVideoOutputDelegate* delegate) {
    // Asked here and not for each frame: nothing of the delegate's is called under the lock.
    NSObject* object = delegate == nullptr ? nullptr : &delegate->delegateObject();
    const std::lock_guard guard(mutex_);
    delegate_ = delegate;
    delegateObject_ = object;
}

bool Output::join(const void* session) {
    const std::lock_guard guard(mutex_);
    if (session_ != nullptr && session_ != session) return false;
    session_ = session;
    return true;
}

void Output::leave(const void* session) {
    const std::lock_guard guard(mutex_);
    if (session_ == session) session_ = nullptr;
}

std::optional<Delivery> Output::begin() {
    const std::lock_guard guard(mutex_);
    if (delegate_ == nullptr || isDelivering_ || !delegateObject_->retainIfAlive()) return std::nullopt;
    isDelivering_ = true;
    return Delivery{delegate_, Ref<NSObject>::adopt(delegateObject_)};
}

void Output::end() {
    const std::lock_guard guard(mutex_);
    isDelivering_ = false;
}

}  // namespace capture

QTCaptureDecompressedVideoOutput* QTCaptureDecompressedVideoOutput::create() {
    return new (std::nothrow) capture::Output;
}
