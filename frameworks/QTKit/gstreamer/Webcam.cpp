#include "frameworks/QTKit/gstreamer/Webcam.h"

#include "frameworks/QTKit/gstreamer/Errors.h"
#include "frameworks/QTKit/gstreamer/Monitor.h"
#include "frameworks/QTKit/gstreamer/Pipeline.h"

namespace capture {

namespace {

std::string displayNameOf(GstDevice* device) {
    const Held<gchar> name(gst_device_get_display_name(device));
    return name ? name.get() : "";
}

std::vector<Mode> modesOfDevice(GstDevice* device) {
    const Held<GstCaps> caps(gst_device_get_caps(device));
    return modesOf(caps.get());
}

std::optional<Node> nodeOf(GstDevice* device) {
    std::string path = propertyOf(device, "device.path");
    if (path.empty()) return std::nullopt;
    return Node(std::move(path));
}

/** Where PipeWire has it. */
std::string placeOf(GstDevice* device) {
    for (const char* property : {"api.libcamera.path", "object.path", "node.name"}) {
        const std::string text = propertyOf(device, property);
        if (!text.empty()) return "pipewire:" + text;
    }
    return "name:" + displayNameOf(device);
}

}  // namespace

std::string propertyOf(GstDevice* device, const char* name) {
    const Held<GstStructure> properties(gst_device_get_properties(device));
    const char* const text = properties ? gst_structure_get_string(properties.get(), name) : nullptr;
    return text == nullptr ? "" : text;
}

Webcam::Webcam(WebcamFacts facts, size_t number)
    : facts_(std::move(facts)),
      uniqueId_(number == 1 ? facts_.place : facts_.place + "-" + std::to_string(number)) {}

WebcamFacts factsOf(GstDevice* device) {
    WebcamFacts facts;
    facts.device.reset(GST_DEVICE(gst_object_ref(device)));
    facts.name = displayNameOf(device);
    facts.modes = modesOfDevice(device);
    facts.node = nodeOf(device);
    facts.place = facts.node ? facts.node->uniqueId() : placeOf(device);
    return facts;
}

Failure Webcam::reserve(bool isStreamingHere, std::unique_ptr<Reservation>& out) {
    if (node()) return node()->reserve(isStreamingHere, out);
    // PipeWire lends its cameras to several programs at once.
    if (isGone()) return {QTErrorDeviceWasDisconnected};
    out = std::make_unique<Reservation>();
    return {};
}

std::shared_ptr<Source> Webcam::start(std::optional<FrameSize> size,
                                      std::shared_ptr<StreamListener> listener) {
    return Pipeline::start(shared_from_this(), size, std::move(listener));
}

bool Webcam::isGone() const {
    return node() ? node()->isGone() : !isListed(device());
}

}  // namespace capture
