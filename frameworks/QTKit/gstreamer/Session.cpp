#include "frameworks/QTKit/gstreamer/Session.h"

#include <new>
#include <system_error>
#include <utility>

#include "frameworks/QTKit/gstreamer/Errors.h"
#include "frameworks/QTKit/gstreamer/Threads.h"

namespace capture {

namespace {

void tellLater(Session& session, const Failure& failure) {
    try {
        startThread("capture-errors",
                    [self = Ref<Session>::share(&session), failure] { postRuntimeError(*self, failure); });
    } catch (const std::bad_alloc&) {
    } catch (const std::system_error&) {
        // Without memory or threads an error cannot be told.
    }
}

}  // namespace

Session::~Session() {
    stopRunning();
    if (output_) output_->leave(this);
}

bool Session::addInput_error(QTCaptureDeviceInput& input, NSError** error) {
    auto& own = static_cast<Input&>(input);
    if (!own.ownDevice().isOpen()) return giveError(error, {kErrorDeviceNotOpen});
    {
        const std::lock_guard guard(mutex_);
        if (!input_) input_ = Ref<Input>::share(&own);
        if (input_.get() == &own) return true;
    }
    return giveError(error, {kErrorSessionFull});
}

bool Session::addOutput_error(QTCaptureDecompressedVideoOutput& output, NSError** error) {
    auto& own = static_cast<Output&>(output);
    {
        const std::lock_guard guard(mutex_);
        if (output_.get() == &own) return true;
        if (!output_ && own.join(this)) {
            output_ = Ref<Output>::share(&own);
            return true;
        }
        if (!output_) return giveError(error, {kErrorOutputInUse});
    }
    return giveError(error, {kErrorSessionFull});
}

void Session::startRunning() {
    if (const Failure failure = start()) tellLater(*this, failure);
}

void Session::stopRunning() {
    std::shared_ptr<Stream> ended;
    {
        const std::lock_guard guard(mutex_);
        ended = std::exchange(stream_, nullptr);
        isRunning_ = false;
    }
    if (ended) ended->cancel();
}

bool Session::isRunning() const {
    const std::lock_guard guard(mutex_);
    return isRunning_;
}

bool Session::abandon(const Stream& stream) {
    const std::lock_guard guard(mutex_);
    if (stream_.get() != &stream) return false;
    stream_ = nullptr;
    isRunning_ = false;
    return true;
}

Failure Session::prepare() {
    if (output_ && output_->attributes().pixelFormat != kCVPixelFormatType_32BGRA) {
        return {kErrorUnsupportedFormat};
    }
    if (input_ && !input_->ownDevice().isOpen()) return {kErrorDeviceNotOpen};
    if (input_ && output_) stream_ = std::make_shared<Stream>(*this, *input_, *output_);
    return {};
}

Failure Session::start() {
    const std::lock_guard guard(mutex_);
    if (isRunning_) return {};
    try {
        if (Failure failure = prepare()) return failure;
        if (stream_) stream_->start();
        isRunning_ = true;
        return {};
    } catch (const std::bad_alloc&) {
    } catch (const std::system_error&) {
    }
    stream_ = nullptr;
    return {kErrorNoResources};
}

}  // namespace capture

QTCaptureSession* QTCaptureSession::create() {
    return new (std::nothrow) capture::Session;
}
