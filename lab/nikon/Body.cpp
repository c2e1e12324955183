// The computer's side of a body: capabilities, releases, items, live view.
#include "lab/nikon/Body.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <cstring>

namespace lab::nikon {

namespace {

constexpr int64_t kLensStop = 32767;  // steps from the middle to either end

std::atomic<Listener*> theListener{nullptr};

std::string lowerExtension(const std::string& path) {
    const size_t dot = path.rfind('.');
    std::string extension = dot == std::string::npos ? "" : path.substr(dot + 1);
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension;
}

struct ExtensionRow {
    std::string_view extension;
    uint32_t dataType;
};
constexpr std::array<ExtensionRow, 6> kExtensions = {
    {{"jpg", kJpeg}, {"jpeg", kJpeg}, {"tif", kTiff}, {"tiff", kTiff}, {"nef", kNef}, {"ndf", kNdf}}};

/** What a file of that name is; 0: none of the kinds that the module knows. */
uint32_t dataTypeOf(const std::string& path) {
    const std::string extension = lowerExtension(path);
    const auto* row = std::find_if(kExtensions.begin(), kExtensions.end(),
                                   [&](const ExtensionRow& other) { return other.extension == extension; });
    return row == kExtensions.end() ? 0 : row->dataType;
}

/** How much of the picture's own resolution each zoom rate shows; 0: the whole picture. */
uint32_t zoomPercentOf(uint32_t rate) {
    constexpr std::array<uint32_t, 6> kPercents = {0, 25, 33, 50, 66, 100};
    return rate < kPercents.size() ? kPercents[rate] : 0;
}

uint32_t elementAt(const Capability& capability, int64_t index) {
    uint32_t value = 0;
    const auto offset = static_cast<size_t>(index) * sizeof value;
    const bool isThere = capability.arrayType == kUnsignedArray && capability.elementBytes == sizeof value &&
                         index >= 0 && static_cast<size_t>(index) < choices(capability);
    if (isThere) std::memcpy(&value, capability.elements.data() + offset, sizeof value);
    return value;
}

}  // namespace

Body::Body(BodySetup setup)
    : Device(setup.id, Family::nikon), setup_(std::move(setup)), capabilities_(setup_.capabilities) {
    switchLiveView();
}

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
    return isAttached_ && link == link_ ? Outcome::ok : Outcome::gone;
}

Outcome Body::check(Link link) const {
    const std::lock_guard guard(mutex_);
    return checkLocked(link);
}

void Body::opened(Link link) {
    const std::lock_guard guard(mutex_);
    if (checkLocked(link) == Outcome::ok) ++sessions_;
}

void Body::closed(Link link) {
    const std::lock_guard guard(mutex_);
    if (checkLocked(link) == Outcome::ok && sessions_ > 0) --sessions_;
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
    raise({{}, kAddChild, sourceId_});
    return true;
}

void Body::appeared() {
    const std::lock_guard guard(mutex_);
    isInWorld_ = true;
    raise({{}, kAddChild, sourceId_});
}

bool Body::detach() {
    const std::lock_guard guard(mutex_);
    if (!isAttached_) return false;
    raise({{}, kRemoveChild, sourceId_});
    isAttached_ = false;
    sessions_ = 0;
    // What the computer began ends with the cable; what the photographer began does not.
    if (exposure_ == Exposure::ofComputer) exposure_ = Exposure::none;
    return true;
}

bool Body::raise(Event event) const {
    Listener* listener = theListener.load();
    if (listener == nullptr || !isAttached_ || !isInWorld_) return false;
    return listener->raised(*this, link_, event);
}

// ---- Capabilities --------------------------------------------------------------------------------------

int64_t Body::number(uint32_t id) const {
    const Capability* capability = find(capabilities_, id);
    return capability == nullptr ? 0 : capability->value.number;
}

Outcome Body::capabilities(Link link, Table& out, uint64_t& version) const {
    const std::lock_guard guard(mutex_);
    if (const Outcome outcome = checkLocked(link); outcome != Outcome::ok) return outcome;
    out = capabilities_;
    version = version_;
    return Outcome::ok;
}

Outcome Body::read(Link link, uint32_t id, Capability& out) const {
    const std::lock_guard guard(mutex_);
    if (const Outcome outcome = checkLocked(link); outcome != Outcome::ok) return outcome;
    const Capability* known = find(capabilities_, id);
    if (known == nullptr) return Outcome::unsupported;
    out = *known;
    return Outcome::ok;
}

Outcome Body::write(Link link, uint32_t id, const Value& value) {
    const std::lock_guard guard(mutex_);
    if (const Outcome outcome = checkLocked(link); outcome != Outcome::ok) return outcome;
    Capability* known = find(capabilities_, id);
    if (known == nullptr) return Outcome::unsupported;
    if (!isWithin(*known, value)) return Outcome::outOfBounds;
    known->value = value;
    written(*known);
    return Outcome::ok;
}

/** What the camera does about a value that it was given. */
void Body::written(const Capability& capability) {
    if (capability.id == kLiveView) switchLiveView();
    if (capability.id == kFocusDirection) driveLens();
}

void Body::driveLens() {
    constexpr uint32_t kFewestFrames = 3;
    constexpr uint32_t kMostFrames = 40;
    constexpr int64_t kStepsPerFrame = 500;
    // From one end to the other and no further: a photographer may set any number.
    constexpr double kWholeWay = 2.0 * kLensStop;
    const Capability* amount = find(capabilities_, kFocusAmount);
    const double wanted = amount == nullptr ? 0 : amount->value.real;
    const auto steps = static_cast<int64_t>(std::clamp(wanted, -kWholeWay, kWholeWay));
    const int64_t moved = number(kFocusDirection) != 0 ? -steps : steps;
    lensPosition_ = std::clamp(lensPosition_ + moved, -kLensStop, kLensStop);
    const auto more = static_cast<uint32_t>(std::clamp<int64_t>(steps / kStepsPerFrame, 0, kMostFrames));
    drivingFrames_ = std::min(kFewestFrames + more, kMostFrames);
}

// ---- Releases and items --------------------------------------------------------------------------------

Outcome Body::beginCapture(Link link) {
    const std::lock_guard guard(mutex_);
    if (const Outcome outcome = checkLocked(link); outcome != Outcome::ok) return outcome;
    if (exposure_ != Exposure::none) return Outcome::busy;
    exposure_ = Exposure::ofComputer;
    return Outcome::ok;
}

Outcome Body::finishCapture(Link link) {
    const std::lock_guard guard(mutex_);
    if (const Outcome outcome = checkLocked(link); outcome != Outcome::ok) return outcome;
    exposure_ = Exposure::none;
    expose();
    return Outcome::ok;
}

void Body::cancelCapture(Link link) {
    const std::lock_guard guard(mutex_);
    if (checkLocked(link) == Outcome::ok && exposure_ == Exposure::ofComputer) exposure_ = Exposure::none;
}

void Body::expose() {
    ++shots_;
    for (ShotItem& content : nextShot()) {
        auto item = std::make_shared<Item>();
        item->id = ++lastItem_;
        item->shot = shots_;
        item->content = std::move(content);
        items_.push_back(item);
        raise({{sourceId_}, kAddChild, item->id});
    }
}

std::vector<ShotItem> Body::nextShot() const {
    if (!setup_.hasShots) return {nextPhoto()};
    if (setup_.shots.empty()) return {};
    return setup_.shots[(shots_ - 1) % setup_.shots.size()];
}

ShotItem Body::nextPhoto() const {
    constexpr unsigned kWidth = 536;  // an eighth of the sensor's sides
    constexpr unsigned kHeight = 356;
    ShotItem item;
    if (setup_.photos.empty()) {
        item.content = rampContent(kWidth, kHeight, shots_);
        return item;
    }
    const std::string& path = setup_.photos[(shots_ - 1) % setup_.photos.size()];
    item.dataType = dataTypeOf(path);
    item.content = fileContent(path);
    return item;
}

std::vector<uint32_t> Body::items(Link link) const {
    const std::lock_guard guard(mutex_);
    std::vector<uint32_t> ids;
    if (checkLocked(link) != Outcome::ok) return ids;
    for (const ItemRef& item : items_) {
        ids.push_back(item->id);
    }
    return ids;
}

ItemRef Body::item(Link link, uint32_t id) const {
    const std::lock_guard guard(mutex_);
    if (checkLocked(link) != Outcome::ok) return nullptr;
    const auto found =
        std::find_if(items_.begin(), items_.end(), [id](const ItemRef& item) { return item->id == id; });
    return found == items_.end() ? nullptr : *found;
}

Outcome Body::checkItem(Link link, const ItemRef& item) const {
    const std::lock_guard guard(mutex_);
    if (const Outcome outcome = checkLocked(link); outcome != Outcome::ok) return outcome;
    return item->isOnCamera ? Outcome::ok : Outcome::gone;
}

void Body::itemAccepted(const ItemRef& item) {
    const std::lock_guard guard(mutex_);
    if (!item->content.isRemoved) return;
    item->isOnCamera = false;
    std::erase(items_, item);
}

// ---- Live view -----------------------------------------------------------------------------------------

void Body::switchLiveView() {
    liveViewSince_ = std::chrono::steady_clock::now();
}

/** A camera that has shown its picture for too long stops by itself. */
bool Body::isLiveViewDue() {
    if (number(kLiveView) == 0) return false;
    const auto end = liveViewSince_ + std::chrono::seconds(setup_.liveViewSeconds);
    if (std::chrono::steady_clock::now() < end) return true;
    find(capabilities_, kLiveView)->value.number = 0;
    raise({{sourceId_}, kValueChanged, kLiveView});
    return false;
}

View Body::view() const {
    View view;
    const auto end = liveViewSince_ + std::chrono::seconds(setup_.liveViewSeconds);
    const auto left = std::chrono::ceil<std::chrono::seconds>(end - std::chrono::steady_clock::now()).count();
    view.countdown = static_cast<uint16_t>(std::clamp<int64_t>(left, 0, UINT16_MAX));
    view.focusDriving = drivingFrames_ > 0 ? 1 : 0;
    if (const Capability* rate = find(capabilities_, kZoomRate)) {
        view.zoomPercent = zoomPercentOf(elementAt(*rate, rate->value.number));
    }
    if (const Capability* position = find(capabilities_, kZoomPosition)) {
        view.zoomX = position->value.x;
        view.zoomY = position->value.y;
    }
    return view;
}

Outcome Body::frame(Link link, FrameRef& out) {
    constexpr uint64_t kPhases = 32;
    const std::lock_guard guard(mutex_);
    if (const Outcome outcome = checkLocked(link); outcome != Outcome::ok) return outcome;
    if (!isLiveViewDue()) return Outcome::notReady;
    if (setup_.liveView.empty()) {
        out = rampFrame(view(), static_cast<unsigned>(framesServed_ % kPhases));
        return Outcome::ok;
    }
    const size_t index = framesServed_ % setup_.liveView.size();
    const LiveFrame& frame = setup_.liveView[index];
    // Made once: a host that measures the way of a frame shall not measure how it is made up.
    givenFrames_.resize(setup_.liveView.size());
    FrameRef& given = givenFrames_[index];
    const bool isFixed = !frame.jpeg && !frame.whole;
    if (isFixed && !given) given = describedFrame(frame, {}, index);
    out = isFixed ? given : describedFrame(frame, view(), index);
    return out ? Outcome::ok : Outcome::unreadable;
}

void Body::frameTaken() {
    const std::lock_guard guard(mutex_);
    ++framesServed_;
    if (drivingFrames_ > 0) --drivingFrames_;
}

}  // namespace lab::nikon
