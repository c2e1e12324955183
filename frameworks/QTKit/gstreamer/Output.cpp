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

}  // namespace capture

QTCaptureDecompressedVideoOutput* QTCaptureDecompressedVideoOutput::create() {
    return new (std::nothrow) capture::Output;
}
