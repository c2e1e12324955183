#include "frameworks/QTKit/gstreamer/Monitor.h"

#include <algorithm>
#include <mutex>
#include <new>
#include <set>
#include <system_error>

#include "frameworks/QTKit/gstreamer/NodeProbe.h"
#include "frameworks/QTKit/gstreamer/Provider.h"
#include "frameworks/QTKit/gstreamer/Webcam.h"

namespace capture {

namespace {

using WebcamRef = std::shared_ptr<Webcam>;
using Webcams = std::vector<WebcamRef>;

class Monitor {
public:
    bool list(std::vector<CameraRef>& out);

private:
    void update();
    void updateListed();
    void updateUnannounced();
    void add(WebcamFacts facts);
    size_t numberFor(const std::string& place) const;

    std::mutex mutex_;
    Webcams webcams_;         // what was there last; guarded by mutex_, as below
    std::vector<Node> dull_;  // nodes that bring no pictures
};

Monitor& instance() {
    static auto* one = new Monitor;
    return *one;
}

/** One camera that two providers show is our affair: PipeWire's would hide those of V4L2, which we prefer. */
bool areReady() {
    for (Provider* provider : providers())
        provider->start();
    bool isAny = false;
    for (Provider* provider : providers())
        isAny = provider->await() || isAny;
    return isAny;
}

Devices listDevices() {
    Devices devices;
    for (Provider* provider : providers())
        provider->list(devices);
    return devices;
}

size_t Monitor::numberFor(const std::string& place) const {
    const auto isTaken = [&](size_t number) {
        const std::string id = number == 1 ? place : place + "-" + std::to_string(number);
        return std::any_of(webcams_.begin(), webcams_.end(),
                           [&](const WebcamRef& webcam) { return webcam->uniqueId() == id; });
    };
    size_t number = 1;
    while (isTaken(number))
        ++number;
    return number;
}

void Monitor::add(WebcamFacts facts) {
    const size_t number = numberFor(facts.place);
    webcams_.push_back(std::make_shared<Webcam>(std::move(facts), number));
}

/** Those that stay keep their objects. */
void Monitor::updateListed() {
    const Devices devices = listDevices();
    std::set<const GstDevice*> listed;
    for (const Held<GstDevice>& device : devices)
        listed.insert(device.get());
    std::erase_if(webcams_, [&](const WebcamRef& webcam) {
        return webcam->device() != nullptr && !listed.contains(webcam->device());
    });
    for (const WebcamRef& webcam : webcams_)
        listed.erase(webcam->device());
    std::vector<WebcamFacts> added;
    for (const Held<GstDevice>& device : devices) {
        if (listed.contains(device.get())) added.push_back(factsOf(device.get()));
    }
    const auto pathOf = [](const WebcamFacts& facts) { return facts.node ? facts.node->path() : ""; };
    std::sort(added.begin(), added.end(),
              [&](const WebcamFacts& a, const WebcamFacts& b) { return pathOf(a) < pathOf(b); });
    for (WebcamFacts& facts : added)
        add(std::move(facts));
}

void Monitor::updateUnannounced() {
    std::erase_if(dull_, [](const Node& node) { return node.isReplaced(); });
    for (const std::string& path : unannouncedNodes()) {
        const auto isIt = [&](const Node& node) { return node.path() == path; };
        const auto hasIt = [&](const WebcamRef& webcam) { return webcam->node() && isIt(*webcam->node()); };
        if (std::any_of(dull_.begin(), dull_.end(), isIt)) continue;
        if (std::any_of(webcams_.begin(), webcams_.end(), hasIt)) continue;
        const Node node(path);
        if (std::optional<WebcamFacts> facts = probeNode(node)) {
            add(std::move(*facts));
        } else {
            dull_.push_back(node);
        }
    }
}

void Monitor::update() {
    std::erase_if(webcams_, [](const WebcamRef& webcam) {
        return webcam->device() == nullptr && webcam->node()->isReplaced();
    });
    updateListed();
    updateUnannounced();
}

/** Whether V4L2 shows the same camera. */
bool isDoubled(const Webcam& webcam, const Webcams& all) {
    if (webcam.node() || webcam.device() == nullptr) return false;
    const std::string path = propertyOf(webcam.device(), "api.v4l2.path");
    const std::string libcameraId = propertyOf(webcam.device(), "api.libcamera.path");
    return std::any_of(all.begin(), all.end(), [&](const WebcamRef& other) {
        if (!other->node()) return false;
        return other->node()->path() == path ||
               (!libcameraId.empty() && other->node()->isCalled(libcameraId));
    });
}

bool isShown(const Webcam& webcam, const Webcams& all) {
    if (webcam.node() && webcam.node()->isReplaced()) return false;
    return !webcam.modes().empty() && !isDoubled(webcam, all);
}

bool Monitor::list(std::vector<CameraRef>& out) {
    const std::lock_guard guard(mutex_);
    if (!areReady()) return false;
    update();
    for (const WebcamRef& webcam : webcams_) {
        if (isShown(*webcam, webcams_)) out.push_back(webcam);
    }
    std::sort(out.begin(), out.end(),
              [](const CameraRef& a, const CameraRef& b) { return a->uniqueId() < b->uniqueId(); });
    return true;
}

}  // namespace

bool listWebcams(std::vector<CameraRef>& out) {
    try {
        return instance().list(out);
    } catch (const std::bad_alloc&) {
    } catch (const std::system_error&) {
        // No thread to be had at the moment; the next question tries again.
    }
    return false;
}

bool isListed(const GstDevice* device) {
    try {
        const Devices devices = listDevices();
        return std::any_of(devices.begin(), devices.end(),
                           [&](const Held<GstDevice>& listed) { return listed.get() == device; });
    } catch (const std::bad_alloc&) {
        return true;  // nothing says that it is gone
    }
}

}  // namespace capture
