#include "host/client/ShotTaker.h"

#include <algorithm>

#include "host/client/Deadline.h"
#include "host/client/protocol.h"

namespace tarvo {
namespace {

using std::chrono::milliseconds;

constexpr int32_t kPropertyImageQuality = 0x100;
constexpr int32_t kSecondImageBits = 0xF0;
// Pre-capture talks to the camera several times; it must be over when the capture is sent.
constexpr int64_t kPrepareLead = 1'000'000;
// Cameras go to sleep after 30 s at the earliest.
constexpr int64_t kKeepAwake = 20'000'000;

}  // namespace

ShotOutcome ShotTaker::take(const ShotRequest& request) {
    ShotOutcome outcome;
    outcome.error = prepare(request, outcome);
    if (outcome.error || outcome.prepareStatus != kStatusOk) return outcome;

    hasCaptureError_ = false;
    const auto status = client_.capture(request.handle, request.path, request.deadline);
    outcome.error = status.error;
    outcome.captureStatus = status.value;
    if (outcome.error || outcome.captureStatus != kStatusOk) return outcome;

    outcome.error = receiveFiles(request, outcome);
    outcome.isCameraGone = isCameraGone_;
    outcome.hasCaptureError = hasCaptureError_;
    return outcome;
}

Error ShotTaker::prepare(const ShotRequest& request, ShotOutcome& outcome) {
    const int64_t sendTime = request.deadline == 0 ? 0 : captureSendTime(request.deadline);
    if (auto error = waitUntil(sendTime - kPrepareLead, request.handle)) return error;
    if (auto error = collectExtra(request)) return error;

    const auto status = client_.preCapture(request.handle, request.path, request.halfPress);
    outcome.prepareStatus = status.value;
    if (!status.ok() || status.value != kStatusOk) return status.error;
    hasName_ = true;

    const auto quality = client_.getSetting(request.handle, kPropertyImageQuality);
    if (!quality.ok()) return quality.error;
    outcome.expectedFiles = (quality.value & kSecondImageBits) != 0 ? 2 : 1;
    return waitUntil(sendTime, request.handle);
}

Error ShotTaker::receiveFiles(const ShotRequest& request, ShotOutcome& outcome) {
    auto lastOffer = Clock::now();
    while (outcome.storedFiles + outcome.failedFiles < outcome.expectedFiles) {
        if (!offered_.empty()) {
            const int32_t item = offered_.front();
            offered_.pop_front();
            if (auto error = download(request, item, false, outcome)) return error;
            lastOffer = Clock::now();
            continue;
        }
        if (isCameraGone_ || hasCaptureError_) return {};
        const auto left = std::chrono::ceil<milliseconds>(lastOffer + request.offerLimit - Clock::now());
        const auto event = events_.next(std::max(left, milliseconds(0)), interruptFd_);
        if (event.error.failure == Failure::timeout) {
            return failed(Failure::timeout, "the camera offered " +
                                                std::to_string(outcome.storedFiles + outcome.failedFiles) +
                                                " of " + std::to_string(outcome.expectedFiles) +
                                                " files and then nothing for " +
                                                std::to_string(request.offerLimit.count()) + " ms");
        }
        if (!event.ok()) return event.error;
        note(event.value, request.handle);
        if (std::holds_alternative<ProgressEvent>(event.value)) lastOffer = Clock::now();
    }
    return {};
}

Error ShotTaker::download(const ShotRequest& request, int32_t item, bool isExtra, ShotOutcome& outcome) {
    const auto status = client_.download(request.handle, item, request.stallLimit);
    if (!status.ok()) return status.error;
    // A refusal (-1) never came as far as the transfer and is not announced.
    if (status.value != kStatusOk && status.value != kStatusRefused) ++ownErrors_;
    const bool isStored = onDownload_({item, status.value, isExtra});
    if (isExtra) return {};
    if (status.value != kStatusOk) {
        ++outcome.failedFiles;
    } else if (isStored) {
        ++outcome.storedFiles;
    }
    return {};
}

Error ShotTaker::collectExtra(const ShotRequest& request) {
    drainEvents(request.handle);
    ShotOutcome unused;
    while (!offered_.empty()) {
        if (!hasName_) {  // without one the helper would store it nowhere sensible
            const auto status = client_.preCapture(request.handle, request.path, false);
            if (!status.ok()) return status.error;
            if (status.value != kStatusOk) return {};  // the shot itself will meet and tell the same
            hasName_ = true;
        }
        const int32_t item = offered_.front();
        offered_.pop_front();
        if (auto error = download(request, item, true, unused)) return error;
        drainEvents(request.handle);
    }
    return {};
}

Error ShotTaker::waitUntil(int64_t wallClock, int32_t handle) {
    int64_t nextSign = wallClockMicroseconds() + kKeepAwake;
    for (;;) {
        const int64_t now = wallClockMicroseconds();
        // A dead session answers the following call by itself; waiting on would help nobody.
        if (now >= wallClock || isCameraGone_) return {};
        if (now >= nextSign) {
            if (auto error = client_.extendShutdownTimer(handle)) return error;
            nextSign = now + kKeepAwake;
        }
        const int64_t slice = std::min(wallClock, nextSign) - now;
        const auto event = events_.next(milliseconds(slice / 1000 + 1), interruptFd_);
        if (event.ok()) {
            note(event.value, handle);
        } else if (event.error.failure != Failure::timeout) {
            return event.error;
        }
    }
}

void ShotTaker::drainEvents(int32_t handle) {
    Event event;
    while (events_.tryNext(event))
        note(event, handle);
}

void ShotTaker::note(const Event& event, int32_t handle) {
    if (const auto* object = std::get_if<ObjectEvent>(&event)) {
        const bool isOffer = object->event == kObjectEventRequestTransfer && object->object != 0;
        if (isOffer && object->handle == handle) offered_.push_back(object->object);
    } else if (const auto* state = std::get_if<StateEvent>(&event)) {
        if (state->handle != handle) return;
        if (state->event == kStateEventShutdown) isCameraGone_ = true;
        if (state->event != kStateEventCaptureError) return;
        if (ownErrors_ > 0) {
            --ownErrors_;
        } else {
            hasCaptureError_ = true;
        }
    }
}

}  // namespace tarvo
