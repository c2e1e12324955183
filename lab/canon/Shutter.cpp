// The shutter of a body: releases, what they yield, and the timer that switches the camera off.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <ctime>

#include "lab/Timers.h"
#include "lab/canon/Body.h"

namespace lab::canon {

namespace {

constexpr int64_t kSaveToCard = 1;
constexpr int64_t kSaveToHost = 2;

constexpr int64_t kSecondImageBits = 0xF0;
/** What the main image is; other numbers are JPEG. */
constexpr int64_t kFormatShift = 20;
constexpr int64_t kFormatMask = 0xF;
constexpr int64_t kFormatCrw = 2;
constexpr int64_t kFormatCr2 = 6;

bool isRaw(int64_t quality) {
    const int64_t format = (quality >> kFormatShift) & kFormatMask;
    return format == kFormatCrw || format == kFormatCr2;
}

bool isJpegPath(std::string path) {
    std::transform(path.begin(), path.end(), path.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return path.ends_with(".jpg") || path.ends_with(".jpeg");
}

std::string fileName(uint32_t shot, const char* extension) {
    char name[32];
    std::snprintf(name, sizeof name, "IMG_%04u.%s", static_cast<unsigned>(shot % 10000), extension);
    return name;
}

}  // namespace

Outcome Body::takePicture(Link link) {
    const std::lock_guard guard(mutex_);
    const Outcome outcome = checkSessionLocked(link);
    if (outcome != Outcome::ok) return outcome;
    wakePowerTimer();
    return release();
}

Outcome Body::pressButton(Link link, Button position) {
    const std::lock_guard guard(mutex_);
    const Outcome outcome = checkSessionLocked(link);
    if (outcome != Outcome::ok) return outcome;
    if (!setup_.model.hasButtonCommands) return Outcome::unsupported;
    wakePowerTimer();
    if (position == Button::completely) {
        // A button that is down cannot be pressed.
        if (button_ == Button::completely) return Outcome::busy;
        const Outcome released = release();
        if (released != Outcome::ok) return released;
    }
    button_ = position;
    return Outcome::ok;
}

Outcome Body::release() {
    if (isExposing_) return Outcome::busy;
    const int64_t saveTo = isSessionOpen_ ? number(kSaveTo) : kSaveToCard;
    const bool isForHost = (saveTo & kSaveToHost) != 0;
    const bool isForCard = !isForHost || (saveTo & kSaveToCard) != 0;
    if (isForHost && hostCapacity_.value_or(0) <= 0) return Outcome::memoryFull;
    if (isForCard && properties_.contains(kAvailableShots) && number(kAvailableShots) <= 0) {
        return Outcome::memoryFull;
    }
    if (setup_.shutterLagMs == 0) {
        expose();
        return Outcome::ok;
    }
    isExposing_ = true;
    after(setup_.shutterLagMs, [weak = weak_from_this()] {
        const BodyRef body = weak.lock();
        if (!body) return;
        const std::lock_guard guard(body->mutex_);
        body->isExposing_ = false;
        body->expose();
    });
    return Outcome::ok;
}

void Body::expose() {
    const int64_t saveTo = isSessionOpen_ ? number(kSaveTo) : kSaveToCard;
    const bool isForHost = (saveTo & kSaveToHost) != 0;
    const bool isForCard = !isForHost || (saveTo & kSaveToCard) != 0;
    ++shots_;
    for (const ShotFile& file : nextShot()) {
        if (isForCard) keepPicture(file, true);
        if (isForHost) keepPicture(file, false);
    }
    if (isForCard && number(kAvailableShots) > 0) {
        setNumber(kAvailableShots, number(kAvailableShots) - 1);
        raiseProperty(kPropertyChanged, kAvailableShots);
    }
}

std::vector<ShotFile> Body::nextShot() {
    if (!setup_.shots.empty()) return setup_.shots[(shots_ - 1) % setup_.shots.size()];
    const int64_t quality = number(kImageQuality);
    const bool isPair = (quality & kSecondImageBits) != 0;
    std::vector<ShotFile> files;
    if (isPair || isRaw(quality)) files.push_back(nextPhoto(fileName(shots_, "CR2"), false));
    if (isPair || !isRaw(quality)) files.push_back(nextPhoto(fileName(shots_, "JPG"), true));
    return files;
}

/** Photographs of the wanted kind take turns by the number of the shot, so that pairs stay together. */
ShotFile Body::nextPhoto(const std::string& name, bool isJpeg) {
    constexpr unsigned kThumb = 8;  // a made-up picture has an eighth of the sensor's sides
    constexpr uint64_t kRawBytes = 200000;
    std::vector<std::string> fitting;
    std::copy_if(setup_.photos.begin(), setup_.photos.end(), std::back_inserter(fitting),
                 [&](const std::string& path) { return isJpegPath(path) == isJpeg; });
    const std::vector<std::string>& photos = fitting.empty() ? setup_.photos : fitting;
    if (!photos.empty()) return {name, fileContent(photos[(shots_ - 1) % photos.size()])};
    if (!isJpeg) return {name, madeUpContent(kRawBytes, shots_, false)};
    return {name, rampContent(static_cast<unsigned>(setup_.model.width) / kThumb,
                              static_cast<unsigned>(setup_.model.height) / kThumb, shots_)};
}

void Body::keepPicture(const ShotFile& file, bool isOnCard) {
    auto picture = std::make_shared<Picture>();
    picture->name = file.name;
    picture->content = file.content;
    picture->size = file.content->size();
    picture->shot = shots_;
    picture->takenAt = static_cast<uint32_t>(std::time(nullptr));
    picture->isOnCard = isOnCard;
    picture->state = isOnCard ? Picture::State::kept : Picture::State::waiting;
    pictures_.push_back(picture);
    if (!isOnCard && hostCapacity_) {
        *hostCapacity_ = std::max<int64_t>(0, *hostCapacity_ - static_cast<int64_t>(picture->size));
    }
    if (!isSessionOpen_) return;
    raise({Event::Kind::object, isOnCard ? kItemCreated : kTransferRequested, 0, 0, picture});
}

// ---- Switching itself off ------------------------------------------------------------------------------

namespace {

using Clock = std::chrono::steady_clock;

Clock::duration seconds(double count) {
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(count));
}

int64_t msUntil(Clock::time_point time) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(time - Clock::now()).count();
    return std::max<int64_t>(left, 0);
}

/** How long before the end the camera gives its warning. */
Clock::duration warningTime(double autoPowerOffSeconds) {
    constexpr double kMostSeconds = 10;
    return seconds(std::min(kMostSeconds, autoPowerOffSeconds / 3));
}

}  // namespace

/** The camera is in use: it stays on for the whole time again. One timer stands at a time; when it is due too
 *  early it sets itself anew, so that being used often costs nothing. */
void Body::wakePowerTimer() {
    if (setup_.autoPowerOffSeconds <= 0 || !isSessionOpen_) return;
    powerOffAt_ = Clock::now() + seconds(setup_.autoPowerOffSeconds);
    wasWarned_ = false;
    if (isPowerTimerSet_) return;
    isPowerTimerSet_ = true;
    after(msUntil(powerOffAt_ - warningTime(setup_.autoPowerOffSeconds)), [weak = weak_from_this()] {
        if (const BodyRef body = weak.lock()) body->powerTimerDue();
    });
}

void Body::powerTimerDue() {
    const std::lock_guard guard(mutex_);
    isPowerTimerSet_ = false;
    if (!isSessionOpen_) return;
    const Clock::time_point now = Clock::now();
    const Clock::time_point warnAt = powerOffAt_ - warningTime(setup_.autoPowerOffSeconds);
    if (now >= powerOffAt_) {
        raise({Event::Kind::state, kShutdown, 0, 0, nullptr});
        unplug();
        return;
    }
    if (now >= warnAt && !wasWarned_) {
        wasWarned_ = true;
        const auto left = std::chrono::ceil<std::chrono::seconds>(powerOffAt_ - now).count();
        raise({Event::Kind::state, kWillSoonShutDown, 0, static_cast<uint32_t>(left), nullptr});
    }
    isPowerTimerSet_ = true;
    after(msUntil(wasWarned_ ? powerOffAt_ : warnAt), [weak = weak_from_this()] {
        if (const BodyRef body = weak.lock()) body->powerTimerDue();
    });
}

Outcome Body::extendTimer(Link link) {
    const std::lock_guard guard(mutex_);
    const Outcome outcome = checkSessionLocked(link);
    if (outcome != Outcome::ok) return outcome;
    wakePowerTimer();
    if (setup_.autoPowerOffSeconds > 0) raise({Event::Kind::state, kTimerUpdate, 0, 0, nullptr});
    return Outcome::ok;
}

}  // namespace lab::canon
