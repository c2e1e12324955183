// The computer's side of a body: sessions, properties, live view, pictures on their way.
#include "lab/canon/Body.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <utility>

#include "lab/Timers.h"

namespace lab::canon {

namespace {

constexpr int64_t kSaveToCard = 1;
constexpr int64_t kOutputToComputer = 2;
constexpr int64_t kLensStop = 1000;  // steps from the middle to either end
constexpr unsigned kFrameWidth = 960;
constexpr unsigned kFrameHeight = 640;

std::atomic<Listener*> theListener{nullptr};

/** The bytes as a value of the property's type; false when the length is wrong for it. */
bool valueFromBytes(uint32_t type, const void* data, size_t size, Value& out) {
    constexpr size_t kMostBytes = 65536;
    const auto* bytes = static_cast<const uint8_t*>(data);
    if (type == kText) {
        const size_t length = strnlen(reinterpret_cast<const char*>(bytes), size);
        if (size == 0 || length >= kMostText) return false;
        out = textValue({reinterpret_cast<const char*>(bytes), length});
        return true;
    }
    const size_t wanted = sizeOfType(type);
    if (wanted != 0 ? size != wanted : size > kMostBytes) return false;
    out = {type, {bytes, bytes + size}};
    return true;
}

}  // namespace

Body::Body(BodySetup setup)
    : Device(setup.id, Family::canon), setup_(std::move(setup)), properties_(setup_.properties) {}

Body::~Body() = default;

void Body::setListener(Listener* listener) {
    theListener.store(listener);
}

// ---- The cable -----------------------------------------------------------------------------------------

std::optional<Link> Body::link() const {
    const std::lock_guard guard(mutex_);
    return isAttached_ ? std::optional(link_) : std::nullopt;
}

Outcome Body::checkLocked(Link link) const {
    return isAttached_ && link == link_ ? Outcome::ok : Outcome::disconnected;
}

Outcome Body::checkSessionLocked(Link link) const {
    const Outcome outcome = checkLocked(link);
    if (outcome != Outcome::ok) return outcome;
    return isSessionOpen_ ? Outcome::ok : Outcome::noSession;
}

Outcome Body::check(Link link) const {
    const std::lock_guard guard(mutex_);
    return checkLocked(link);
}

Outcome Body::checkSession(Link link) const {
    const std::lock_guard guard(mutex_);
    return checkSessionLocked(link);
}

bool Body::isAttached() const {
    const std::lock_guard guard(mutex_);
    return isAttached_;
}

bool Body::attach() {
    const std::lock_guard guard(mutex_);
    if (isAttached_) return false;
    isAttached_ = true;
    ++link_;
    return true;
}

bool Body::detach() {
    const std::lock_guard guard(mutex_);
    if (!isAttached_) return false;
    raise({Event::Kind::state, kShutdown, 0, 0, nullptr});
    unplug();
    return true;
}

void Body::unplug() {
    isAttached_ = false;
    endSession();
}

Outcome Body::waitUntil(Link link, std::chrono::steady_clock::time_point time) const {
    std::unique_lock lock(mutex_);
    Outcome outcome = checkSessionLocked(link);
    while (outcome == Outcome::ok && std::chrono::steady_clock::now() < time) {
        changed_.wait_until(lock, time);
        outcome = checkSessionLocked(link);
    }
    return outcome;
}

void Body::raise(Event event) {
    Listener* listener = theListener.load();
    if (listener != nullptr && isAttached_) listener->raised(shared_from_this(), link_, std::move(event));
}

void Body::raiseProperty(uint32_t event, uint32_t property) {
    // Without a session the camera tells the computer nothing of what its owner does.
    if (isSessionOpen_) raise({Event::Kind::property, event, property, 0, nullptr});
}

// ---- Sessions ------------------------------------------------------------------------------------------

Outcome Body::openSession(Link link) {
    const std::lock_guard guard(mutex_);
    const Outcome outcome = checkLocked(link);
    if (outcome != Outcome::ok) return outcome;
    if (isSessionOpen_) return Outcome::sessionOpen;
    isSessionOpen_ = true;
    hostCapacity_.reset();
    wakePowerTimer();
    return Outcome::ok;
}

Outcome Body::closeSession(Link link) {
    const std::lock_guard guard(mutex_);
    const Outcome outcome = checkSessionLocked(link);
    if (outcome == Outcome::ok) endSession();
    return outcome;
}

/** On its own again, the camera saves to its card and shows nothing to a computer that is not there. */
void Body::endSession() {
    const bool wasOpen = std::exchange(isSessionOpen_, false);
    areControlsLocked_ = false;
    button_ = Button::off;
    hostCapacity_.reset();
    settling_.clear();
    if (wasOpen) {
        setNumber(kSaveTo, kSaveToCard);
        setNumber(kEvfOutputDevice, number(kEvfOutputDevice) & ~kOutputToComputer);
    }
    for (const PictureRef& picture : pictures_) {
        if (picture->state == Picture::State::waiting) picture->state = Picture::State::kept;
    }
    changed_.notify_all();
}

Outcome Body::lockControls(Link link, bool isLocked) {
    const std::lock_guard guard(mutex_);
    const Outcome outcome = checkSessionLocked(link);
    if (outcome == Outcome::ok) areControlsLocked_ = isLocked;
    return outcome;
}

Outcome Body::announceCapacity(Link link, int64_t bytes) {
    const std::lock_guard guard(mutex_);
    const Outcome outcome = checkSessionLocked(link);
    if (outcome == Outcome::ok) hostCapacity_ = bytes;
    return outcome;
}

// ---- Properties ----------------------------------------------------------------------------------------

int64_t Body::number(uint32_t property) const {
    const auto found = properties_.find(property);
    return found == properties_.end() ? 0 : numberOf(found->second.value);
}

void Body::setNumber(uint32_t property, int64_t value) {
    const auto found = properties_.find(property);
    if (found != properties_.end()) found->second.value = numberValue(found->second.value.type, value);
}

Outcome Body::read(Link link, uint32_t property, Value& out) const {
    const std::lock_guard guard(mutex_);
    const Outcome outcome = checkSessionLocked(link);
    if (outcome != Outcome::ok) return outcome;
    const auto found = properties_.find(property);
    if (found == properties_.end()) return Outcome::unavailable;
    out = found->second.value;
    return Outcome::ok;
}

Outcome Body::describe(Link link, uint32_t property, std::vector<int32_t>& options) const {
    const std::lock_guard guard(mutex_);
    const Outcome outcome = checkSessionLocked(link);
    if (outcome != Outcome::ok) return outcome;
    const auto found = properties_.find(property);
    if (found == properties_.end()) return Outcome::unavailable;
    if (!found->second.options) return Outcome::undescribed;
    options = *found->second.options;
    return Outcome::ok;
}

/** The top-left corner of the magnified part stays inside of the picture by the part's own size. */
Value Body::clampZoomPosition(const Value& position) const {
    constexpr int64_t kSmallestMagnification = 5;  // where the picture is not magnified, the next one counts
    const auto magnification = static_cast<int32_t>(std::max(number(kEvfZoom), kSmallestMagnification));
    const auto clamp = [&](int32_t at, int32_t side) {
        return std::clamp(at, 0, side - side / magnification);
    };
    const Point point = pointOf(position);
    return pointValue(clamp(point.x, setup_.model.width), clamp(point.y, setup_.model.height));
}

Outcome Body::checkValue(uint32_t property, const Property& known, const Value& value) const {
    if (setup_.acceptsAnyValue || !known.options || property == kEvfZoomPosition) return Outcome::ok;
    const auto number = static_cast<int32_t>(static_cast<uint32_t>(numberOf(value)));
    const auto& options = *known.options;
    const bool isListed = std::find(options.begin(), options.end(), number) != options.end();
    return isListed ? Outcome::ok : Outcome::wrongValue;
}

Outcome Body::write(Link link, uint32_t property, const void* data, size_t size) {
    const std::lock_guard guard(mutex_);
    Outcome outcome = checkSessionLocked(link);
    if (outcome != Outcome::ok) return outcome;
    const auto found = properties_.find(property);
    if (found == properties_.end()) return Outcome::unavailable;
    // A legacy body lets the computer at its settings only while its own dials are dead: under the lock, or
    // while it waits for a picture to be fetched.
    const bool isFetched = std::any_of(pictures_.begin(), pictures_.end(), [](const PictureRef& picture) {
        return !picture->isOnCard && picture->state != Picture::State::kept;
    });
    if (setup_.isLegacy && !areControlsLocked_ && !isFetched) return Outcome::busy;
    if (found->second.isReadOnly) return Outcome::readOnly;
    Value value;
    if (!valueFromBytes(found->second.value.type, data, size, value)) return Outcome::wrongLength;
    outcome = checkValue(property, found->second, value);
    if (outcome != Outcome::ok) return outcome;
    if (property == kEvfZoomPosition && value.type == kPoint && !setup_.acceptsAnyValue) {
        value = clampZoomPosition(value);
    }
    storeValue(property, std::move(value));
    return Outcome::ok;
}

void Body::storeValue(uint32_t property, Value value) {
    Value& stored = properties_[property].value;
    if (setup_.settleMs == 0) {
        const bool isNew = stored != value;
        stored = std::move(value);
        if (isNew) raiseProperty(kPropertyChanged, property);
        return;
    }
    const uint64_t generation = ++writes_;
    settling_[property] = generation;
    after(setup_.settleMs, [weak = weak_from_this(), property, generation, value = std::move(value)] {
        if (const BodyRef body = weak.lock()) body->settled(property, generation, value);
    });
}

void Body::settled(uint32_t property, uint64_t generation, const Value& value) {
    const std::lock_guard guard(mutex_);
    const auto found = settling_.find(property);
    // A later write, or a hand at the dial, has taken its place.
    if (found == settling_.end() || found->second != generation) return;
    settling_.erase(found);
    properties_[property].value = value;
    raiseProperty(kPropertyChanged, property);
}

// ---- Live view -----------------------------------------------------------------------------------------

bool Body::isLiveViewOn() const {
    return number(kEvfMode) != 0 && (number(kEvfOutputDevice) & kOutputToComputer) != 0;
}

Outcome Body::frame(Link link, Frame& out) {
    const std::lock_guard guard(mutex_);
    const Outcome outcome = checkSessionLocked(link);
    if (outcome != Outcome::ok) return outcome;
    if (!isLiveViewOn()) return Outcome::notReady;
    const uint64_t turn = framesServed_++;
    if (setup_.liveView.empty()) {
        out.content = rampContent(kFrameWidth, kFrameHeight, static_cast<unsigned>(turn % 32));
    } else {
        const LiveFrame& frame = setup_.liveView[turn % setup_.liveView.size()];
        out.content = frame.content ? frame.content : madeUpContent(frame.madeUpBytes, turn, true);
    }
    const auto valueOf = [&](uint32_t property) {
        const auto found = properties_.find(property);
        return found == properties_.end() ? Value{} : found->second.value;
    };
    out.zoom = valueOf(kEvfZoom);
    out.zoomPosition = valueOf(kEvfZoomPosition);
    out.coordinates = valueOf(kEvfCoordinates);
    return Outcome::ok;
}

Outcome Body::focusInLiveView(Link link, bool isOn) {
    const std::lock_guard guard(mutex_);
    const Outcome outcome = checkSessionLocked(link);
    if (outcome != Outcome::ok) return outcome;
    if (setup_.isLegacy) return Outcome::unsupported;
    // Switching the focus off is no work, and so is right at any time.
    return isOn && number(kEvfMode) == 0 ? Outcome::notReady : Outcome::ok;
}

Outcome Body::driveLens(Link link, int32_t steps) {
    const std::lock_guard guard(mutex_);
    const Outcome outcome = checkSessionLocked(link);
    if (outcome != Outcome::ok) return outcome;
    if (setup_.isLegacy) return Outcome::unsupported;
    if (!isLiveViewOn()) return Outcome::notReady;
    lensPosition_ = std::clamp(lensPosition_ + steps, -kLensStop, kLensStop);
    return Outcome::ok;
}

// ---- Pictures on their way -----------------------------------------------------------------------------

Outcome Body::checkPictureLocked(Link link, const PictureRef& picture) const {
    const Outcome outcome = checkSessionLocked(link);
    if (outcome != Outcome::ok) return outcome;
    return picture->isOnCamera ? Outcome::ok : Outcome::noSuchPicture;
}

Outcome Body::checkPicture(Link link, const PictureRef& picture) const {
    const std::lock_guard guard(mutex_);
    return checkPictureLocked(link, picture);
}

Outcome Body::beginTransfer(Link link, const PictureRef& picture, uint64_t& transferred) {
    const std::lock_guard guard(mutex_);
    const Outcome outcome = checkPictureLocked(link, picture);
    if (outcome != Outcome::ok) return outcome;
    if (picture->state == Picture::State::transferring) return Outcome::busy;
    picture->state = Picture::State::transferring;
    transferred = picture->transferred;
    return Outcome::ok;
}

void Body::endTransfer(const PictureRef& picture, uint64_t transferred) {
    const std::lock_guard guard(mutex_);
    picture->transferred = transferred;
    picture->state = isSessionOpen_ ? Picture::State::waiting : Picture::State::kept;
}

Outcome Body::completeTransfer(Link link, const PictureRef& picture) {
    const std::lock_guard guard(mutex_);
    const Outcome outcome = checkPictureLocked(link, picture);
    if (outcome != Outcome::ok) return outcome;
    if (picture->state == Picture::State::transferring) return Outcome::busy;
    // A picture that has not gone over whole must not be lost.
    if (picture->transferred != picture->size) return Outcome::notReady;
    if (picture->isOnCard) {
        picture->state = Picture::State::kept;
        picture->transferred = 0;
        return Outcome::ok;
    }
    picture->isOnCamera = false;
    std::erase(pictures_, picture);
    return Outcome::ok;
}

Outcome Body::cancelTransfer(Link link, const PictureRef& picture) {
    const std::lock_guard guard(mutex_);
    const Outcome outcome = checkPictureLocked(link, picture);
    if (outcome != Outcome::ok) return outcome;
    if (picture->state == Picture::State::transferring) return Outcome::busy;
    picture->state = Picture::State::kept;
    picture->transferred = 0;
    return Outcome::ok;
}

}  // namespace lab::canon
