/* Webcam.h: a device of GStreamer's monitor, as what can be kept and started.
 *
 * Thread: any; nothing of it changes.
 * Owns:   a reference on GStreamer's device.
 */
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "frameworks/QTKit/gstreamer/Modes.h"
#include "frameworks/QTKit/gstreamer/Node.h"

namespace capture {

class Webcam final : public Camera, public std::enable_shared_from_this<Webcam> {
public:
    /** `number` tells webcams apart that have the same place: 1 for the first. */
    Webcam(GstDevice* device, size_t number);

    const std::string& name() const override { return name_; }
    const std::string& uniqueId() const override { return uniqueId_; }
    Failure reserve(bool isStreamingHere, std::unique_ptr<Reservation>& out) override;
    std::shared_ptr<Source> start(std::optional<FrameSize> size,
                                  std::shared_ptr<StreamListener> listener) override;

    GstDevice* device() const { return device_.get(); }
    const std::vector<Mode>& modes() const { return modes_; }
    const std::optional<Node>& node() const { return node_; }
    /** Whether it was pulled out since it was listed. */
    bool isGone() const;

private:
    const Held<GstDevice> device_;
    const std::string name_;
    const std::vector<Mode> modes_;
    const std::optional<Node> node_;  // of V4L2's devices only
    const std::string uniqueId_;
};

/** What a device's own words tell about it, without opening it. */
std::string propertyOf(GstDevice* device, const char* name);
/** The id, the same for all webcams at one place. */
std::string placeOf(GstDevice* device);

}  // namespace capture
