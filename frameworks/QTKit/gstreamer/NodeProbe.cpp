#include "frameworks/QTKit/gstreamer/NodeProbe.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "frameworks/QTKit/gstreamer/Elements.h"

namespace capture {

namespace {

bool isUdevRunning() {
    return ::access("/run/udev/control", F_OK) == 0;
}

/** Takes it down before it is let go of, which elements insist on. */
class Probe {
public:
    explicit Probe(GstElement* source) : source_(GST_ELEMENT(gst_object_ref_sink(source))) {}
    ~Probe() { gst_element_set_state(source_.get(), GST_STATE_NULL); }
    Probe(const Probe&) = delete;
    Probe& operator=(const Probe&) = delete;

    bool open() const {
        return gst_element_set_state(source_.get(), GST_STATE_READY) != GST_STATE_CHANGE_FAILURE;
    }
    std::string name() const {
        gchar* text = nullptr;
        g_object_get(source_.get(), "device-name", &text, nullptr);
        const Held<gchar> held(text);
        return text == nullptr ? "" : text;
    }
    Held<GstCaps> caps() const {
        const Held<GstPad> pad(gst_element_get_static_pad(source_.get(), "src"));
        return Held<GstCaps>(gst_pad_query_caps(pad.get(), nullptr));
    }

private:
    const Held<GstElement> source_;
};

}  // namespace

std::vector<std::string> unannouncedNodes() {
    std::vector<std::string> nodes;
    if (isUdevRunning()) return nodes;
    std::error_code error;
    std::filesystem::directory_iterator at("/sys/class/video4linux", error);
    for (; !error && at != std::filesystem::directory_iterator(); at.increment(error)) {
        const std::string name = at->path().filename();
        const std::string path = "/dev/" + name;
        // What may not be used may be allowed later.
        if (name.starts_with("video") && ::access(path.c_str(), R_OK | W_OK) == 0) nodes.push_back(path);
    }
    std::sort(nodes.begin(), nodes.end());
    return nodes;
}

std::optional<WebcamFacts> probeNode(const Node& node) {
    GstElement* const source = makeNodeSource(node.path());
    if (source == nullptr) return std::nullopt;
    const Probe probe(source);
    if (!probe.open()) return std::nullopt;
    WebcamFacts facts;
    facts.name = probe.name();
    facts.modes = modesOf(probe.caps().get());
    facts.node = node;
    facts.place = node.uniqueId();
    return facts;
}

}  // namespace capture
