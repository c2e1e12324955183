#include "frameworks/QTKit/gstreamer/Departure.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <vector>

#include "frameworks/QTKit/gstreamer/Gst.h"

namespace capture {

namespace {

struct Registry {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<const Departure*> all;  // guarded by mutex
};

/** Never destroyed: streams may be under way while the process exits. */
Registry& registry() {
    static auto* one = new Registry;
    return *one;
}

}  // namespace

Departure::Departure(const GstDevice* device, GstElement* source) : device_(device), source_(source) {
    const std::lock_guard guard(registry().mutex);
    registry().all.push_back(this);
}

Departure::~Departure() {
    const std::lock_guard guard(registry().mutex);
    std::erase(registry().all, this);
    registry().changed.notify_all();
}

void Departure::tell(const GstDevice* device) {
    const std::lock_guard guard(registry().mutex);
    for (const Departure* departure : registry().all) {
        if (departure->device_ == device) departure->post();
    }
}

void Departure::awaitNone(const GstDevice* device) {
    const auto isIts = [device](const Departure* departure) { return departure->device_ == device; };
    std::unique_lock lock(registry().mutex);
    registry().changed.wait(
        lock, [&] { return std::none_of(registry().all.begin(), registry().all.end(), isIts); });
}

void Departure::post() const {
    const Held<GError> error(
        g_error_new_literal(GST_RESOURCE_ERROR, GST_RESOURCE_ERROR_NOT_FOUND, "It is not there any more."));
    gst_element_post_message(source_, gst_message_new_error(GST_OBJECT(source_), error.get(), nullptr));
}

}  // namespace capture
