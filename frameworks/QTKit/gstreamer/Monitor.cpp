#include "frameworks/QTKit/gstreamer/Monitor.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>
#include <system_error>

#include "frameworks/QTKit/gstreamer/NodeProbe.h"
#include "frameworks/QTKit/gstreamer/Threads.h"
#include "frameworks/QTKit/gstreamer/Webcam.h"

namespace capture {

namespace {

using WebcamRef = std::shared_ptr<Webcam>;
using Webcams = std::vector<WebcamRef>;

/** Looking through a machine's devices takes some hundredths of a second, a sleeping one some tenths. */
constexpr std::chrono::seconds kStartLimit{5};

class Devices {
public:
    explicit Devices(GstDeviceMonitor* monitor) : list_(gst_device_monitor_get_devices(monitor)) {}
    ~Devices() { g_list_free_full(list_, gst_object_unref); }
    Devices(const Devices&) = delete;
    Devices& operator=(const Devices&) = delete;

    template <class Use>
    void forEach(Use use) const {
        for (const GList* at = list_; at != nullptr; at = at->next)
            use(GST_DEVICE(at->data));
    }

private:
    GList* const list_;
};

class Monitor {
public:
    bool list(std::vector<CameraRef>& out);
    bool has(const GstDevice* device);

private:
    enum class State { None, Starting, Running, Failed };

    bool isReady(std::unique_lock<std::mutex>& lock);
    void start();
    void update();
    void updateListed();
    void updateUnannounced();
    void add(WebcamFacts facts);
    size_t numberFor(const std::string& place) const;

    std::mutex mutex_;
    std::condition_variable changed_;
    State state_ = State::None;  // guarded by mutex_, as all below
    GstDeviceMonitor* monitor_ = nullptr;
    Webcams webcams_;         // what was there last
    std::vector<Node> dull_;  // nodes that bring no pictures
};

Monitor& instance() {
    static auto* one = new Monitor;
    return *one;
}

/** A monitor that has looked around, or null. */
GstDeviceMonitor* makeMonitor() {
    GstDeviceMonitor* const monitor = gst_device_monitor_new();
    // One camera that two interfaces show is our affair: PipeWire would hide those of V4L2, which we prefer.
    gst_device_monitor_set_show_all_devices(monitor, TRUE);
    gst_device_monitor_add_filter(monitor, "Video/Source", nullptr);
    const Held<GstBus> bus(gst_device_monitor_get_bus(monitor));
    gst_bus_set_flushing(bus.get(), TRUE);  // nobody reads what it reports
    if (gst_device_monitor_start(monitor)) return monitor;
    gst_object_unref(monitor);
    return nullptr;
}

/** On a thread of its own, since some interface may keep it waiting. */
void Monitor::start() {
    state_ = State::Starting;
    startThread("capture-devices", [this] {
        GstDeviceMonitor* const monitor = makeMonitor();
        const std::lock_guard guard(mutex_);
        monitor_ = monitor;
        state_ = monitor != nullptr ? State::Running : State::Failed;
        changed_.notify_all();
    });
}

bool Monitor::isReady(std::unique_lock<std::mutex>& lock) {
    if (state_ == State::None || state_ == State::Failed) start();
    changed_.wait_for(lock, kStartLimit, [this] { return state_ != State::Starting; });
    return state_ == State::Running;
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
    const Devices devices(monitor_);
    std::set<const GstDevice*> listed;
    devices.forEach([&](GstDevice* device) { listed.insert(device); });
    std::erase_if(webcams_, [&](const WebcamRef& webcam) {
        return webcam->device() != nullptr && !listed.contains(webcam->device());
    });
    for (const WebcamRef& webcam : webcams_)
        listed.erase(webcam->device());
    std::vector<WebcamFacts> added;
    devices.forEach([&](GstDevice* device) {
        if (listed.contains(device)) added.push_back(factsOf(device));
    });
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
    std::unique_lock lock(mutex_);
    if (!isReady(lock)) return false;
    update();
    for (const WebcamRef& webcam : webcams_) {
        if (isShown(*webcam, webcams_)) out.push_back(webcam);
    }
    std::sort(out.begin(), out.end(),
              [](const CameraRef& a, const CameraRef& b) { return a->uniqueId() < b->uniqueId(); });
    return true;
}

bool Monitor::has(const GstDevice* device) {
    const std::lock_guard guard(mutex_);
    if (state_ != State::Running) return false;
    bool isFound = false;
    Devices(monitor_).forEach([&](const GstDevice* listed) { isFound = isFound || listed == device; });
    return isFound;
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
    return instance().has(device);
}

}  // namespace capture
