#include "frameworks/QTKit/simulated/Session.h"

#include <algorithm>
#include <new>
#include <system_error>
#include <utility>

#include "frameworks/QTKit/simulated/Errors.h"
#include "lab/Call.h"

namespace capture {

namespace {

using Clock = std::chrono::steady_clock;

/** Where fault and error meet: a call that is refused with 0 tells why. */
bool refuse(const lab::Call& call, NSError** error) {
    const bool result = call.answer<int64_t>() != 0;
    if (!result) giveError(error, kErrorRefused);
    return result;
}

}  // namespace

Session::Session() {
    registerSession(*this);
}

Session::~Session() {
    forgetSession(*this);
    stop();
    for (const Ref<Output>& output : outputs_) {
        output->leave(this);
    }
}

std::string Session::deviceId() const {
    const std::lock_guard guard(mutex_);
    return inputs_.empty() ? std::string() : inputs_.front()->ownDevice().camera()->id();
}

bool Session::addInput_error(QTCaptureDeviceInput& input, NSError** error) {
    auto& own = static_cast<Input&>(input);
    lab::Call call("QTCaptureSession.addInput", own.ownDevice().camera()->id());
    if (call.refused()) return refuse(call, error);
    if (!own.ownDevice().isOpen()) {
        giveError(error, kErrorDeviceNotOpen);
        return call.done(false);
    }
    const std::lock_guard guard(mutex_);
    inputs_.push_back(Ref<Input>::share(&own));
    return call.done(true);
}

bool Session::addOutput_error(QTCaptureDecompressedVideoOutput& output, NSError** error) {
    auto& own = static_cast<Output&>(output);
    const std::string device = deviceId();
    lab::Call call("QTCaptureSession.addOutput", device);
    if (call.refused()) return refuse(call, error);
    if (!own.join(this, device)) {
        giveError(error, kErrorOutputInUse);
        return call.done(false);
    }
    const std::lock_guard guard(mutex_);
    outputs_.push_back(Ref<Output>::share(&own));
    return call.done(true);
}

void Session::startRunning() {
    lab::Call call("QTCaptureSession.startRunning", deviceId());
    if (call.refused()) return;
    const int64_t problem = start();
    if (problem == 0) return;
    tellLater([self = Ref<Session>::share(this), problem] { postRuntimeError(*self, problem); });
}

void Session::stopRunning() {
    lab::Call call("QTCaptureSession.stopRunning", deviceId());
    if (call.refused()) return;
    stop();
}

bool Session::isRunning() const {
    const std::lock_guard guard(mutex_);
    return isRunning_ || Clock::now() < stopsAt_;
}

bool Session::streamsFrom(const lab::video::Camera& camera, lab::video::Link link) const {
    const std::lock_guard guard(mutex_);
    return std::any_of(streams_.begin(), streams_.end(), [&](const std::shared_ptr<Stream>& stream) {
        return stream->device().camera().get() == &camera && stream->device().link() == link;
    });
}

void Session::abandon() {
    Streams ended;
    {
        const std::lock_guard guard(mutex_);
        ended.swap(streams_);
        isRunning_ = false;
    }
    for (const std::shared_ptr<Stream>& stream : ended) {
        stream->cancel();
    }
}

void Session::stop() {
    std::chrono::milliseconds lag{0};
    {
        const std::lock_guard guard(mutex_);
        if (!isRunning_) return;
        for (const std::shared_ptr<Stream>& stream : streams_) {
            lag = std::max(lag, std::chrono::milliseconds(stream->device().camera()->setup().stopMs));
        }
        stopsAt_ = Clock::now() + lag;
    }
    abandon();
}

std::vector<std::unique_ptr<Feed>> Session::makeFeeds(const lab::video::CameraSetup& setup) const {
    std::vector<std::unique_ptr<Feed>> feeds;
    for (const Ref<Output>& output : outputs_) {
        feeds.push_back(std::make_unique<Feed>(*output, setup, output->attributes()));
    }
    return feeds;
}

/** One stream for each input; 0, or the error that keeps the session from running. */
int64_t Session::prepare(Streams& streams) const {
    for (const Ref<Output>& output : outputs_) {
        if (output->attributes().pixelFormat != kCVPixelFormatType_32BGRA) return kErrorUnsupportedFormat;
    }
    for (const Ref<Input>& input : inputs_) {
        const Device& device = input->ownDevice();
        if (device.camera()->link() != device.link()) return QTErrorDeviceWasDisconnected;
        if (!device.isOpen()) return kErrorDeviceNotOpen;
        streams.push_back(std::make_shared<Stream>(*input, makeFeeds(device.camera()->setup())));
    }
    return 0;
}

int64_t Session::start() {
    Streams streams;
    try {
        const std::lock_guard guard(mutex_);
        if (isRunning_) return 0;
        if (const int64_t problem = prepare(streams); problem != 0) return problem;
        for (const std::shared_ptr<Stream>& stream : streams) {
            stream->start();
        }
        streams_ = std::move(streams);
        isRunning_ = true;
        stopsAt_ = {};
        return 0;
    } catch (const std::bad_alloc&) {
    } catch (const std::system_error&) {
    }
    for (const std::shared_ptr<Stream>& stream : streams) {
        stream->cancel();
    }
    return kErrorNoResources;
}

}  // namespace capture

QTCaptureSession* QTCaptureSession::create() {
    if (lab::faultAt("QTCaptureSession.create")) return nullptr;
    return new (std::nothrow) capture::Session;
}
