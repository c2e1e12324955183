#include "host/tarvo/NikonSeries.h"

#include <filesystem>

#include "host/client/Deadline.h"
#include "host/client/NikonText.h"
#include "host/client/protocol.h"
#include "host/tarvo/Console.h"
#include "host/tarvo/ExitStatus.h"
#include "host/tarvo/Interrupt.h"
#include "host/tarvo/ShotSchedule.h"

namespace tarvo {
namespace {

using namespace std::chrono_literals;

// Fetching what waits on the camera must be over when the capture is sent.
constexpr int64_t kPrepareLead = 1'000'000;
constexpr auto kLookPause = 200ms;

}  // namespace

bool tellsNikonGone(const Event& event) {
    const auto* status = std::get_if<StatusEvent>(&event);
    return status != nullptr && status->module == kModuleNikon && status->value == kNikonStatusCameraGone;
}

std::chrono::milliseconds NikonSeries::limit() const {
    return std::chrono::milliseconds(static_cast<int64_t>(options_.timeout * 1000));
}

bool NikonSeries::hasGone() {
    Event event;
    while (access_.events().tryNext(event))
        hasGone_ = hasGone_ || tellsNikonGone(event);
    return hasGone_;
}

int NikonSeries::waitUntil(int64_t wallClock) {
    for (;;) {
        const int64_t left = wallClock - wallClockMicroseconds();
        if (left <= 0 || hasGone_) return interrupt::isRequested() ? kExitInterrupted : kExitOk;
        const auto event = access_.events().next(std::chrono::milliseconds(left / 1000 + 1), interrupt::fd());
        if (event.ok()) {
            hasGone_ = hasGone_ || tellsNikonGone(event.value);
        } else if (event.error.failure != Failure::timeout) {
            return report(event.error);
        }
    }
}

int NikonSeries::publish(const std::string& suffix, int& count) {
    console::endProgress();
    const auto published = files_.publish(number_, suffix);
    count = static_cast<int>(published.files.size());
    for (const auto& file : published.files) {
        std::error_code problem;
        say("{}  {} bytes", file.string(), std::filesystem::file_size(file, problem));
    }
    return report(published.error);
}

int NikonSeries::collectExtra() {
    auto& nikon = access_.nikon();
    const auto ready = nikon.client().preCapture(nikon.camera(), files_.arrivalPath(number_));
    if (!ready.ok()) return report(ready.error);
    if (ready.value != kStatusOk) {
        complain("{}: {}", files_.nameOf(number_), nikonCaptureSentence(ready.value));
        return kExitFailed;
    }
    for (;;) {
        const auto images = nikon.client().checkForImages(nikon.camera(), limit());
        if (!images.ok()) return report(images.error);
        if (images.value < 0) {
            files_.discard();
            complain("a picture that waits on the camera: {}", nikonCheckSentence(images.value));
            return kExitFailed;
        }
        if (images.value == 0) return kExitOk;
        int count = 0;
        if (const int status = publish("-extra", count); status != kExitOk) return status;
        note("  was waiting on the camera");
        if (interrupt::isRequested()) return kExitInterrupted;
    }
}

/** The capture call waits for about 5 s; a camera that works on a picture for longer is asked on. */
int NikonSeries::collectLate() {
    auto& nikon = access_.nikon();
    const auto end = Clock::now() + limit();
    for (;;) {
        const auto images = nikon.client().checkForImages(nikon.camera(), limit());
        if (!images.ok()) return report(images.error);
        if (images.value > 0) return kExitOk;
        if (images.value < 0) {
            complain("{}: {}", files_.nameOf(number_), nikonCheckSentence(images.value));
            return kExitFailed;
        }
        if (hasGone()) return kExitOk;
        if (Clock::now() >= end) {
            complain(
                "{}: no picture came from the camera in {:.0f} s. Look at its card and at what its display "
                "says",
                files_.nameOf(number_), options_.timeout);
            return kExitTimeout;
        }
        const int64_t pause = std::chrono::microseconds(kLookPause).count();
        if (const int status = waitUntil(wallClockMicroseconds() + pause); status != kExitOk) return status;
    }
}

int NikonSeries::takeShot(int64_t deadline) {
    const int64_t sendTime = deadline == 0 ? 0 : captureSendTime(deadline);
    if (const int status = waitUntil(sendTime - kPrepareLead); status != kExitOk) return status;
    if (const int status = collectExtra(); status != kExitOk) return status;
    if (const int status = waitUntil(sendTime); status != kExitOk) return status;

    auto& nikon = access_.nikon();
    const auto result =
        nikon.client().capture(nikon.camera(), files_.arrivalPath(number_), deadline, limit());
    if (!result.ok()) return report(result.error);
    int status = kExitOk;
    if (result.value == kNikonNoImage) {
        status = collectLate();
    } else if (result.value != kStatusOk) {
        complain("{}: {}", files_.nameOf(number_), nikonCaptureSentence(result.value));
        status = kExitFailed;
    }
    int count = 0;
    const int published = publish("", count);
    if (status != kExitOk) return status;
    if (published != kExitOk || count > 0) return published;
    // A camera that has gone answers every call as if all were well.
    complain("{}: no file came: the camera was unplugged or switched off", files_.nameOf(number_));
    return kExitFailed;
}

int NikonSeries::run(int firstNumber, int64_t firstMoment) {
    ShotSchedule schedule(firstMoment, options_.interval);
    for (int i = 0; i < options_.count; ++i) {
        number_ = firstNumber + i;
        const int status = takeShot(schedule.next(files_.nameOf(number_)));
        console::endProgress();
        files_.discard();
        if (status != kExitOk) return status;
    }
    return collectExtra();
}

}  // namespace tarvo
