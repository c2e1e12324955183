/* Camera.h: a webcam, built-in camera or microphone as a thing: what it shows, its controls, its cable.
 *
 * The capture framework reaches it for frames, the USB interface for its controls, and the control socket
 * from the other side; all of them see the same device. A Link says over which plugging of the cable a call
 * comes: one that belongs to an earlier plugging finds the device gone, whatever has been plugged in since.
 *
 * Thread: any. Every device has one lock, held only for as long as it takes to look or change.
 * Units:  in the names.
 * Errors: false, or a UsbOutcome; nothing changes on any but success.
 */
#pragma once

#include <array>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "lab/Device.h"
#include "lab/Export.h"
#include "lab/video/Setup.h"

namespace lab::video {

class Camera;
using CameraRef = std::shared_ptr<Camera>;

/** One plugging of the cable. */
using Link = uint64_t;

/** The capture framework's end of the cable. Called with the device's lock held, so that events keep their
 *  order: it may take note of the event and nothing else. */
class LAB_EXPORT Listener {
public:
    virtual ~Listener() = default;
    /** The device was unplugged. */
    virtual void wentAway(const CameraRef& camera, Link link) = 0;
    /** The sessions that run on the device shall hear of an error. */
    virtual void failed(const CameraRef& camera, Link link, int64_t code) = 0;
};

enum class UsbOutcome { ok = 1, gone, inUse, notOpen, stalled };

class LAB_EXPORT Camera final : public Device, public std::enable_shared_from_this<Camera> {
public:
    explicit Camera(CameraSetup setup);
    ~Camera() override;

    /** Devices tell what happens to this one; null: to nobody. It lasts as long as the process. */
    static void setListener(Listener* listener);

    /** As described; what can change since is asked for below. */
    const CameraSetup& setup() const { return setup_; }

    /** The present plugging; nothing while the cable is out. */
    std::optional<Link> link() const;

    // ---- The capture framework's side ------------------------------------------------------------------

    /** False when it is gone. Whoever reserved the device may do so again; the newest owner counts. */
    bool reserve(Link link, const void* owner = nullptr);
    /** Does nothing for an owner whose reservation a newer one has replaced. */
    void free(Link link, const void* owner = nullptr);
    bool isReserved(Link link) const;

    void beginSession();
    void endSession();

    /** Frames a second; 0: it is silent. */
    double fps() const;
    /** The number that the next frame will have: so many were delivered since the device was described. */
    uint64_t nextFrame() const;
    /** That frame is delivered now, in this size; false when the device is gone. */
    bool countFrame(Link link, Size size);
    /** So many could not be delivered in time and are not counted. */
    void countMissed(uint64_t frames);

    // ---- The bus's side --------------------------------------------------------------------------------

    /** `owner` stands for whoever opens the interface. */
    UsbOutcome openInterface(Link link, const void* owner);
    UsbOutcome closeInterface(Link link, const void* owner);
    /** ok when the owner has it open. */
    UsbOutcome checkInterface(Link link, const void* owner) const;
    UsbOutcome request(Link link, const void* owner, const UsbRequest& request, uint8_t* data,
                       uint32_t& done);

    // ---- The user's side -------------------------------------------------------------------------------

    bool isAttached() const override;
    bool attach() override;
    bool detach() override;
    std::string press() override;
    std::string set(Fields& command) override;
    std::string get(Fields& command, JsonText& answer) override;
    std::string event(Fields& command) override;
    void writeState(JsonText& out) override;

private:
    /** When a frame was delivered; the newest ones are remembered. */
    struct FrameTime {
        uint64_t number = 0;
        int64_t us = 0;
    };
    static constexpr size_t kMostFrameTimes = 256;

    static Listener* listener();
    bool isHere(Link link) const { return isAttached_ && link == link_; }
    void writeFrames(JsonText& out) const;

    const CameraSetup setup_;

    mutable std::mutex mutex_;
    Link link_ = 1;  // guarded by mutex_, as all below
    bool isAttached_ = true;
    bool isReserved_ = false;
    const void* reserver_ = nullptr;  // whoever reserved it last
    int64_t sessions_ = 0;
    double fps_;
    uint64_t frames_ = 0;
    uint64_t missed_ = 0;
    Size lastSize_;
    std::array<FrameTime, kMostFrameTimes> frameTimes_{};
    const void* interfaceOwner_ = nullptr;
    std::vector<Control> controls_;
};

}  // namespace lab::video
