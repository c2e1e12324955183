/* Body.h: a Nikon camera as a thing: dials, shutter, card, live view, and the cable to the computer.
 *
 * The camera module stands on one side of the cable (through a Listener and the calls below), the hands of
 * the photographer and of the test on the other (through the control socket). A Link says over which plugging
 * of the cable a call comes: one that belongs to an earlier plugging finds the camera gone.
 *
 * Thread: any. Every body has one lock, held only for as long as it takes to look or change.
 * Owns:   its items; whoever holds an ItemRef keeps the item's data, not its place on the camera.
 * Units:  in the names.
 * Errors: an Outcome; nothing changes on any but ok.
 */
#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "lab/Device.h"
#include "lab/Export.h"
#include "lab/nikon/Frames.h"
#include "lab/nikon/Setup.h"

namespace lab::nikon {

enum class Outcome {
    ok = 1,
    gone,         // unplugged, or the item is no longer on the camera
    unsupported,  // there is no such capability
    busy,
    outOfBounds,
    notReady,  // the live view is off
    unreadable
};

/** Numbers of the module interface's events. */
enum EventId : uint32_t { kAddChild = 0, kRemoveChild = 1, kCapabilitiesChanged = 4, kValueChanged = 6 };

/** A picture on the camera. */
struct Item {
    uint32_t id = 0;
    uint32_t shot = 0;
    ShotItem content;
    bool isOnCamera = true;  // guarded by the body's lock
};
using ItemRef = std::shared_ptr<Item>;

class Body;
using BodyRef = std::shared_ptr<Body>;

/** One plugging of the cable. */
using Link = uint64_t;

struct Event {
    std::vector<uint32_t> path;  // ids from the module down: none is the module itself, one a source, …
    uint32_t event = 0;
    uint64_t parameter = 0;
    bool isNews = true;  // of no use any more to somebody who has found out already
};

/** The camera module's end of the cable. Called with the body's lock held, so that events keep their order:
 *  it may take note of the event and nothing else. */
class LAB_EXPORT Listener {
public:
    virtual ~Listener() = default;
    /** False when no such object is open. */
    virtual bool raised(const Body& body, Link link, const Event& event) = 0;
};

class LAB_EXPORT Body final : public Device, public std::enable_shared_from_this<Body> {
public:
    explicit Body(BodySetup setup);
    ~Body() override;

    /** Bodies tell what happens to this one; null: to nobody. It lasts as long as the process. */
    static void setListener(Listener* listener);

    // What is printed on the body.
    uint32_t moduleType() const { return setup_.moduleType; }
    uint32_t completeAfter() const { return setup_.completeAfter; }
    int64_t shutterLagMs() const { return setup_.shutterLagMs; }
    int64_t transferBytesPerSecond() const { return setup_.transferBytesPerSecond; }
    /** Given once, when the body comes into the world. */
    uint32_t sourceId() const { return sourceId_; }
    std::optional<uint32_t> wantedSourceId() const { return setup_.sourceId; }
    void setSourceId(uint32_t id) { sourceId_ = id; }

    // ---- The computer's side ---------------------------------------------------------------------------

    /** The present plugging; nothing while the cable is out. */
    std::optional<Link> link() const;
    /** ok, or gone. */
    Outcome check(Link link) const;
    /** A source object was opened or closed on this body. */
    void opened(Link link);
    void closed(Link link);

    /** All capabilities; the version changes whenever the list does. */
    Outcome capabilities(Link link, Table& out, uint64_t& version) const;
    /** One, as it is now. */
    Outcome read(Link link, uint32_t id, Capability& out) const;
    Outcome write(Link link, uint32_t id, const Value& value);

    /** From here on the camera is busy with an exposure. */
    Outcome beginCapture(Link link);
    /** The exposure is made: its items are on the camera. */
    Outcome finishCapture(Link link);
    void cancelCapture(Link link);

    std::vector<uint32_t> items(Link link) const;
    /** Null when it is not on the camera. */
    ItemRef item(Link link, uint32_t id) const;
    /** ok, or gone. */
    Outcome checkItem(Link link, const ItemRef& item) const;
    /** Its data has been accepted whole. */
    void itemAccepted(const ItemRef& item);

    /** The frame that is due. */
    Outcome frame(Link link, FrameRef& out);
    /** It went over: the next one is due. */
    void frameTaken();

    // ---- The photographer's side -----------------------------------------------------------------------

    bool isAttached() const override;
    bool attach() override;
    bool detach() override;
    void appeared() override;
    std::string press() override;
    std::string set(Fields& command) override;
    std::string get(Fields& command, JsonText& answer) override;
    std::string event(Fields& command) override;
    void writeState(JsonText& out) override;

private:
    enum class Exposure { none = 1, ofComputer, ofHand };

    // All of these want the lock held.
    Outcome checkLocked(Link link) const;
    bool raise(Event event) const;
    int64_t number(uint32_t id) const;
    void written(const Capability& capability);
    void switchLiveView();
    void driveLens();
    void expose();
    std::vector<ShotItem> nextShot() const;
    ShotItem nextPhoto() const;
    std::string setValue(uint32_t id, const Json& json);
    std::string layCapabilities(Fields& command);
    bool isLiveViewDue();
    View view() const;
    void writeItems(JsonText& out) const;

    const BodySetup setup_;
    uint32_t sourceId_ = 1;

    mutable std::mutex mutex_;
    Table capabilities_;  // guarded by mutex_, as all below
    uint64_t version_ = 1;
    Link link_ = 1;
    bool isAttached_ = true;
    bool isInWorld_ = false;  // before, there is nobody to tell anything
    uint32_t sessions_ = 0;
    Exposure exposure_ = Exposure::none;
    std::vector<ItemRef> items_;
    uint32_t lastItem_ = 0;
    uint32_t shots_ = 0;
    uint64_t framesServed_ = 0;
    std::vector<FrameRef> givenFrames_;  // those that are the same every time
    int64_t lensPosition_ = 0;
    uint32_t drivingFrames_ = 0;
    std::chrono::steady_clock::time_point liveViewSince_;
};

}  // namespace lab::nikon
