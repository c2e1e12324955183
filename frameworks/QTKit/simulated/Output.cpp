#include "frameworks/QTKit/simulated/Output.h"

#include <charconv>
#include <cmath>
#include <new>

#include "lab/Call.h"

namespace capture {

namespace {

/** Whole numbers are shown, and can be matched, as such. */
void noteSide(lab::Call& call, const char* name, const std::optional<double>& side) {
    constexpr double kMostWhole = 9007199254740992.0;
    if (!side) return;
    if (std::trunc(*side) == *side && std::fabs(*side) <= kMostWhole) {
        call.number(name, static_cast<int64_t>(*side));
        return;
    }
    if (!std::isfinite(*side)) {
        call.null(name);
        return;
    }
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, *side).ptr;
    call.json(name, {text, static_cast<size_t>(end - text)});
}

}  // namespace

void Output::setPixelBufferAttributes(const PixelBufferAttributes& attributes) {
    std::string device;
    {
        const std::lock_guard guard(mutex_);
        device = device_;
    }
    lab::Call call("QTCaptureDecompressedVideoOutput.setPixelBufferAttributes", device);
    noteSide(call, "width", attributes.width);
    noteSide(call, "height", attributes.height);
    call.number("format", attributes.pixelFormat);
    if (call.refused()) return;
    const std::lock_guard guard(mutex_);
    attributes_ = attributes;
}

PixelBufferAttributes Output::attributes() const {
    const std::lock_guard guard(mutex_);
    return attributes_;
}

bool Output::join(const void* session, const std::string& device) {
    const std::lock_guard guard(mutex_);
    if (session_ != nullptr && session_ != session) return false;
    session_ = session;
    device_ = device;
    return true;
}

void Output::leave(const void* session) {
    const std::lock_guard guard(mutex_);
    if (session_ != session) return;
    session_ = nullptr;
    device_.clear();
}

}  // namespace capture

QTCaptureDecompressedVideoOutput* QTCaptureDecompressedVideoOutput::create() {
    if (lab::faultAt("QTCaptureDecompressedVideoOutput.create")) return nullptr;
    return new (std::nothrow) capture::Output;
}
