/* Body.h: a Canon camera as a thing: dials, shutter, memory, and the cable to the computer.
 *
 * The camera library stands on one side of the cable (through a Listener and the calls below), the hands of
 * the photographer and of the test on the other (through the control socket). A Link says over which plugging
 * of the cable a call comes: one that belongs to an earlier plugging finds the camera disconnected, whatever
 * has been plugged in since.
 *
 * Thread: any. Every body has one lock, held only for as long as it takes to look or change; transfers and
 *         waits happen outside of it.
 * Owns:   its pictures; whoever holds a PictureRef keeps the picture's data, not its place on the camera.
 * Units:  in the names.
 * Errors: an Outcome; nothing changes on any but ok.
 */
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "lab/Device.h"
#include "lab/Export.h"
#include "lab/canon/Setup.h"

namespace lab::canon {

enum class Outcome {
    ok = 1,
    disconnected,
    noSession,
    sessionOpen,
    unavailable,  // there is no such property
    undescribed,  // the property has no list of values
    readOnly,
    wrongLength,
    wrongValue,
    unsupported,
    busy,
    notReady,
    memoryFull,
    noSuchPicture
};

/** Numbers of the library's events, which the body raises itself. */
enum EventId : uint32_t {
    kPropertyChanged = 0x101,
    kDescriptionChanged = 0x102,
    kItemCreated = 0x204,
    kTransferRequested = 0x208,
    kShutdown = 0x301,
    kWillSoonShutDown = 0x303,
    kTimerUpdate = 0x304
};

/** A file on the camera. All but `state` and `isOnCamera` stay as they are from the shot on. */
struct Picture {
    enum class State { waiting = 1, transferring, kept };
    std::string name;
    ContentRef content;
    uint64_t size = 0;
    uint32_t shot = 0;             // the same for the files of one shot
    uint32_t takenAt = 0;          // seconds since 1970
    bool isOnCard = false;         // otherwise in the camera's memory, until the computer has it
    State state = State::waiting;  // guarded by the body's lock, as below
    bool isOnCamera = true;
    uint64_t transferred = 0;
};
using PictureRef = std::shared_ptr<Picture>;

class Body;
using BodyRef = std::shared_ptr<Body>;

/** One plugging of the cable. */
using Link = uint64_t;

struct Event {
    enum class Kind { object = 1, property, state };
    Kind kind;
    uint32_t event;
    uint32_t property = 0;
    uint32_t parameter = 0;
    PictureRef picture;  // of an object event; null: it comes without an object
};

/** The camera library's end of the cable. Called with the body's lock held, so that events keep their order:
 *  it may take note of the event and nothing else. */
class LAB_EXPORT Listener {
public:
    virtual ~Listener() = default;
    virtual void raised(const BodyRef& body, Link link, Event event) = 0;
};

/** One frame of the live view, as of the moment when it left the camera. */
struct Frame {
    ContentRef content;
    Value zoom;
    Value zoomPosition;
    Value coordinates;
};

class LAB_EXPORT Body final : public Device, public std::enable_shared_from_this<Body> {
public:
    explicit Body(BodySetup setup);
    ~Body() override;

    /** Bodies tell what happens to this one; null: to nobody. It lasts as long as the process. */
    static void setListener(Listener* listener);

    // What is printed on the body.
    const std::string& description() const { return setup_.description; }
    bool isLegacy() const { return setup_.isLegacy; }
    int64_t transferBytesPerSecond() const { return setup_.transferBytesPerSecond; }

    // ---- The computer's side ---------------------------------------------------------------------------

    /** The present plugging; nothing while the cable is out. */
    std::optional<Link> link() const;
    /** ok, or disconnected. */
    Outcome check(Link link) const;
    /** ok, disconnected or noSession. */
    Outcome checkSession(Link link) const;

    Outcome openSession(Link link);
    Outcome closeSession(Link link);

    Outcome read(Link link, uint32_t property, Value& out) const;
    Outcome describe(Link link, uint32_t property, std::vector<int32_t>& options) const;
    Outcome write(Link link, uint32_t property, const void* data, size_t size);

    Outcome takePicture(Link link);
    enum class Button { off = 1, halfway, completely };
    Outcome pressButton(Link link, Button position);
    Outcome extendTimer(Link link);
    Outcome focusInLiveView(Link link, bool isOn);
    Outcome driveLens(Link link, int32_t steps);
    Outcome lockControls(Link link, bool isLocked);
    Outcome announceCapacity(Link link, int64_t bytes);

    Outcome frame(Link link, Frame& out);

    /** From here on the picture is under way; busy when it is already. */
    Outcome beginTransfer(Link link, const PictureRef& picture, uint64_t& transferred);
    /** The transfer stopped after so many bytes from the picture's beginning. */
    void endTransfer(const PictureRef& picture, uint64_t transferred);
    /** The computer has the picture: the camera forgets it. */
    Outcome completeTransfer(Link link, const PictureRef& picture);
    /** The computer does not want it: it stays where it is. */
    Outcome cancelTransfer(Link link, const PictureRef& picture);
    /** ok, disconnected, noSession or noSuchPicture. */
    Outcome checkPicture(Link link, const PictureRef& picture) const;
    /** Waits; answers early when the link or its session ends, and what became of them. */
    Outcome waitUntil(Link link, std::chrono::steady_clock::time_point time) const;

    // ---- The photographer's side -----------------------------------------------------------------------

    bool isAttached() const override;
    bool attach() override;
    bool detach() override;
    std::string press() override;
    std::string set(Fields& command) override;
    std::string get(Fields& command, JsonText& answer) override;
    std::string event(Fields& command) override;
    void writeState(JsonText& out) override;

private:
    // All of these want the lock held.
    Outcome checkLocked(Link link) const;
    Outcome checkSessionLocked(Link link) const;
    void raise(Event event);
    void raiseProperty(uint32_t event, uint32_t property);
    int64_t number(uint32_t property) const;
    void setNumber(uint32_t property, int64_t value);
    bool isLiveViewOn() const;
    void endSession();
    void unplug();
    void storeValue(uint32_t property, Value value);
    Outcome checkValue(uint32_t property, const Property& known, const Value& value) const;
    Value clampZoomPosition(const Value& position) const;
    Outcome release();
    void expose();
    std::vector<ShotFile> nextShot();
    ShotFile nextPhoto(const std::string& name, bool isJpeg);
    void keepPicture(const ShotFile& file, bool isOnCard);
    Outcome checkPictureLocked(Link link, const PictureRef& picture) const;
    void wakePowerTimer();
    PictureRef pictureNamed(const std::string& name) const;
    void writePictures(JsonText& out) const;

    void powerTimerDue();
    void settled(uint32_t property, uint64_t generation, const Value& value);

    const BodySetup setup_;

    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;  // the link, its session
    PropertyTable properties_;                 // guarded by mutex_, as all below
    Link link_ = 1;
    bool isAttached_ = true;
    bool isSessionOpen_ = false;
    bool areControlsLocked_ = false;
    Button button_ = Button::off;
    bool isExposing_ = false;
    std::optional<int64_t> hostCapacity_;  // bytes; none: not announced in this session
    int64_t lensPosition_ = 0;
    std::vector<PictureRef> pictures_;
    uint32_t shots_ = 0;
    uint64_t framesServed_ = 0;
    std::map<uint32_t, uint64_t> settling_;  // the latest write of a property that has not settled
    uint64_t writes_ = 0;
    std::chrono::steady_clock::time_point powerOffAt_;
    bool isPowerTimerSet_ = false;
    bool wasWarned_ = false;
};

}  // namespace lab::canon
