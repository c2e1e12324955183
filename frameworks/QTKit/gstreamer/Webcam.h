/* Webcam.h: a webcam as GStreamer or the kernel shows it, as what can be kept and started.
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

/** What is known of a webcam. */
struct WebcamFacts {
    Held<GstDevice> device = {};  // null for one that was found by its node alone
    std::string name = {};
    std::string place = {};  // the unique id, the same for all at one place
    std::vector<Mode> modes = {};
    std::optional<Node> node = {};  // of V4L2's only
};

class Webcam final : public Camera, public std::enable_shared_from_this<Webcam> {
public:
    /** `number` tells webcams apart that have the same place: 1 for the first. */
    Webcam(WebcamFacts facts, size_t number);

    const std::string& name() const override { return facts_.name; }
    const std::string& uniqueId() const override { return uniqueId_; }
    Failure reserve(bool isStreamingHere, std::unique_ptr<Reservation>& out) override;
    std::shared_ptr<Source> start(std::optional<FrameSize> size,
                                  std::shared_ptr<StreamListener> listener) override;

    /** Null for one that was found by its node alone. */
    GstDevice* device() const { return facts_.device.get(); }
    const std::vector<Mode>& modes() const { return facts_.modes; }
    const std::optional<Node>& node() const { return facts_.node; }
    /** Whether it was pulled out since it was listed. */
    bool isGone() const;

private:
    const WebcamFacts facts_;
    const std::string uniqueId_;
};

/** What a device's own words tell about it, without opening it. */
std::string propertyOf(GstDevice* device, const char* name);
/** All of what the device tells. */
WebcamFacts factsOf(GstDevice* device);

}  // namespace capture
