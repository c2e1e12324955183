#include "frameworks/QTKit/gstreamer/Provider.h"

#include <cstring>
#include <thread>

#include "frameworks/QTKit/gstreamer/Departure.h"
#include "frameworks/QTKit/gstreamer/Threads.h"

namespace capture {

namespace {

constexpr const char* kWebcams = "Video/Source";
/** As GStreamer's monitor: all but those that are switched off. */
constexpr auto kLeastRank = static_cast<GstRank>(GST_RANK_NONE + 1);
/** Looking through a machine's devices takes some hundredths of a second, a sleeping one some tenths. */
constexpr std::chrono::seconds kStartLimit{5};
/** Reading them takes far less than a thousandth of a second. */
constexpr std::chrono::milliseconds kLastWords{300};

bool isPipeWires(GstDeviceProviderFactory* factory) {
    return std::strcmp(GST_OBJECT_NAME(factory), "pipewiredeviceprovider") == 0;
}

/** On whatever thread reports; nobody reads the bus. */
GstBusSyncReply onMessage(GstBus* /*bus*/, GstMessage* message, gpointer /*data*/) {
    if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_DEVICE_REMOVED) {
        GstDevice* device = nullptr;
        gst_message_parse_device_removed(message, &device);
        const Held<GstDevice> held(device);
        Departure::tell(device);
    }
    gst_message_unref(message);
    return GST_BUS_DROP;
}

/** All that a provider has, webcams and others. */
class Listed {
public:
    explicit Listed(GstDeviceProvider* provider) : all_(gst_device_provider_get_devices(provider)) {}
    ~Listed() { g_list_free_full(all_, gst_object_unref); }
    Listed(const Listed&) = delete;
    Listed& operator=(const Listed&) = delete;

    template <class Use>
    void forEach(Use use) const {
        for (const GList* at = all_; at != nullptr; at = at->next)
            use(GST_DEVICE(at->data));
    }

private:
    GList* const all_;
};

Providers makeProviders() {
    Providers made;
    GList* const factories = gst_device_provider_factory_list_get_device_providers(kLeastRank);
    for (const GList* at = factories; at != nullptr; at = at->next) {
        auto* const factory = GST_DEVICE_PROVIDER_FACTORY(at->data);
        if (gst_device_provider_factory_has_classes(factory, kWebcams)) made.push_back(new Provider(factory));
    }
    gst_plugin_feature_list_free(factories);
    return made;
}

}  // namespace

Provider::Provider(GstDeviceProviderFactory* factory)
    : provider_(gst_device_provider_factory_get(factory)), isPipeWire_(isPipeWires(factory)) {
    if (!provider_) return;
    const Held<GstBus> bus(gst_device_provider_get_bus(provider_.get()));
    gst_bus_set_sync_handler(bus.get(), onMessage, nullptr, nullptr);
}

void Provider::start() {
    const std::lock_guard guard(mutex_);
    if (!provider_ || state_ != State::None) return;
    std::shared_ptr<const Daemon> daemon;
    if (isPipeWire_) {
        daemon = std::make_shared<Daemon>();
        if (!daemon->isThere()) return;
    }
    startThread("capture-devices", [this, daemon] { run(daemon.get()); });
    state_ = State::Starting;
    limit_ = std::chrono::steady_clock::now() + kStartLimit;
}

void Provider::run(const Daemon* daemon) {
    const bool isStarted = gst_device_provider_start(provider_.get()) != FALSE;
    enter(isStarted ? State::Running : State::None);
    if (!isStarted || daemon == nullptr) return;
    daemon->awaitEnd();
    end();
}

/** PipeWire's provider (0.3.65) must not be stopped while a source shares its connection, or while it still
 * reads what the daemon said last: it goes on to use what it has given back by then, and takes the process
 * along. */
void Provider::end() {
    const Listed devices(provider_.get());
    // Whoever is told looks whether the device is listed, which it is not any more; and no source opens it
    // again.
    enter(State::Ending);
    devices.forEach([](const GstDevice* device) { Departure::tell(device); });
    devices.forEach([](const GstDevice* device) { Departure::awaitNone(device); });
    std::this_thread::sleep_for(kLastWords);
    gst_device_provider_stop(provider_.get());
    enter(State::None);
}

void Provider::enter(State state) {
    {
        const std::lock_guard guard(mutex_);
        state_ = state;
    }
    changed_.notify_all();
}

bool Provider::await() {
    std::unique_lock lock(mutex_);
    changed_.wait_until(lock, limit_, [this] { return state_ != State::Starting; });
    return state_ == State::Running;
}

void Provider::list(Devices& out) {
    const std::lock_guard guard(mutex_);
    if (state_ != State::Running) return;
    Listed(provider_.get()).forEach([&](GstDevice* device) {
        if (!gst_device_has_classes(device, kWebcams)) return;
        out.reserve(out.size() + 1);
        out.emplace_back(GST_DEVICE(gst_object_ref(device)));
    });
}

const Providers& providers() {
    static const auto* const all = new Providers(makeProviders());
    return *all;
}

}  // namespace capture
