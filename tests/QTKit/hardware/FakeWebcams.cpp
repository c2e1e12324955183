#include "tests/QTKit/hardware/FakeWebcams.h"

#include <gst/base/gstpushsrc.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <mutex>
#include <thread>

namespace test {
namespace {

constexpr const char* kProvider = "tarvofakewebcams";

/* ---- The source ---------------------------------------------------------------------------------------- */

struct FakeSource {
    GstPushSrc parent;
    FakeRef* fake;
    std::atomic<bool>* isUnlocked;
    GstVideoInfo* info;
    std::string* format;
};
struct FakeSourceClass {
    GstPushSrcClass parent;
};

G_DEFINE_TYPE(FakeSource, fake_source, GST_TYPE_PUSH_SRC)

FakeSource* sourceOf(void* object) {
    return static_cast<FakeSource*>(object);
}

GstCaps* getCaps(GstBaseSrc* base, GstCaps* filter) {
    GstCaps* caps = gst_caps_from_string((*sourceOf(base)->fake)->caps.c_str());
    if (filter != nullptr) {
        GstCaps* const both = gst_caps_intersect_full(filter, caps, GST_CAPS_INTERSECT_FIRST);
        gst_caps_unref(caps);
        caps = both;
    }
    return caps;
}

gboolean setCaps(GstBaseSrc* base, GstCaps* caps) {
    FakeSource* const self = sourceOf(base);
    FakeWebcam& fake = **self->fake;
    gchar* const text = gst_caps_to_string(caps);
    fake.noteCaps(text);
    g_free(text);
    const GstStructure* const structure = gst_caps_get_structure(caps, 0);
    const char* const format = gst_structure_get_string(structure, "format");
    *self->format = format == nullptr ? "" : format;
    int width = 0;
    int height = 0;
    gst_structure_get_int(structure, "width", &width);
    gst_structure_get_int(structure, "height", &height);
    gst_video_info_set_format(
        self->info, format == nullptr ? GST_VIDEO_FORMAT_ENCODED : gst_video_format_from_string(format),
        static_cast<guint>(width), static_cast<guint>(height));
    if (fake.manner == Manner::Busy) {
        GST_ELEMENT_ERROR(base, RESOURCE, BUSY, ("Device is busy"), ("Call to S_FMT failed"));
        return FALSE;
    }
    if (fake.manner == Manner::NotItsWord && width != 64) return FALSE;
    return TRUE;
}

gboolean startSource(GstBaseSrc* base) {
    FakeWebcam& fake = **sourceOf(base)->fake;
    if (fake.manner == Manner::Denied) {
        GST_ELEMENT_ERROR(base, RESOURCE, NOT_AUTHORIZED, ("Could not open device"), ("Permission denied"));
        return FALSE;
    }
    ++fake.openCount;
    return TRUE;
}

gboolean stopSource(GstBaseSrc* base) {
    FakeWebcam& fake = **sourceOf(base)->fake;
    while (fake.isStuck)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    --fake.openCount;
    return TRUE;
}

gboolean unlock(GstBaseSrc* base) {
    *sourceOf(base)->isUnlocked = true;
    return TRUE;
}

gboolean unlockStop(GstBaseSrc* base) {
    *sourceOf(base)->isUnlocked = false;
    return TRUE;
}

/** Waits for the next frame's time; false when it is not to come. */
bool waitForFrame(const FakeSource& self) {
    FakeWebcam& fake = **self.fake;
    const auto due = std::chrono::steady_clock::now() + std::chrono::milliseconds(fake.intervalMs);
    while (std::chrono::steady_clock::now() < due || fake.manner == Manner::Silent) {
        if (*self.isUnlocked) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return !*self.isUnlocked;
}

GstBuffer* bufferOf(const FakeSource& self, const Raw& raw) {
    GstBuffer* const buffer = gst_buffer_new_allocate(nullptr, raw.bytes.size(), nullptr);
    gst_buffer_fill(buffer, 0, raw.bytes.data(), raw.bytes.size());
    if (raw.bytesPerRow > 0) {
        gsize offsets[GST_VIDEO_MAX_PLANES] = {};
        gint strides[GST_VIDEO_MAX_PLANES] = {raw.bytesPerRow};
        gst_buffer_add_video_meta_full(buffer, GST_VIDEO_FRAME_FLAG_NONE, GST_VIDEO_INFO_FORMAT(self.info),
                                       static_cast<guint>(GST_VIDEO_INFO_WIDTH(self.info)),
                                       static_cast<guint>(GST_VIDEO_INFO_HEIGHT(self.info)), 1, offsets,
                                       strides);
    }
    return buffer;
}

GstFlowReturn create(GstPushSrc* push, GstBuffer** out) {
    const FakeSource& self = *sourceOf(push);
    FakeWebcam& fake = **self.fake;
    if (!waitForFrame(self)) return GST_FLOW_FLUSHING;
    if (fake.manner == Manner::ReadError) {
        GST_ELEMENT_ERROR(push, RESOURCE, READ, ("Could not read from resource."),
                          ("poll error 1: Invalid argument (22)"));
        return GST_FLOW_ERROR;
    }
    if (fake.manner == Manner::EndOfStream) return GST_FLOW_EOS;
    *out = bufferOf(self, fake.paint(GST_VIDEO_INFO_WIDTH(self.info), GST_VIDEO_INFO_HEIGHT(self.info),
                                     *self.format, fake.frames));
    ++fake.frames;
    return GST_FLOW_OK;
}

void fake_source_init(FakeSource* self) {
    self->fake = new FakeRef;
    self->isUnlocked = new std::atomic<bool>(false);
    self->info = gst_video_info_new();
    self->format = new std::string;
    gst_base_src_set_live(GST_BASE_SRC(self), TRUE);
    gst_base_src_set_format(GST_BASE_SRC(self), GST_FORMAT_TIME);
    gst_base_src_set_do_timestamp(GST_BASE_SRC(self), TRUE);
}

void finalizeSource(GObject* object) {
    const FakeSource* const self = sourceOf(object);
    delete self->fake;
    delete self->isUnlocked;
    gst_video_info_free(self->info);
    delete self->format;
    G_OBJECT_CLASS(fake_source_parent_class)->finalize(object);
}

void fake_source_class_init(FakeSourceClass* klass) {
    G_OBJECT_CLASS(klass)->finalize = finalizeSource;
    auto* const element = GST_ELEMENT_CLASS(klass);
    gst_element_class_set_static_metadata(element, "Fake webcam", "Source/Video", "Plays a webcam", "tests");
    GstCaps* const any = gst_caps_new_any();
    gst_element_class_add_pad_template(element,
                                       gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, any));
    gst_caps_unref(any);
    auto* const base = GST_BASE_SRC_CLASS(klass);
    base->get_caps = getCaps;
    base->set_caps = setCaps;
    base->start = startSource;
    base->stop = stopSource;
    base->unlock = unlock;
    base->unlock_stop = unlockStop;
    GST_PUSH_SRC_CLASS(klass)->create = create;
}

/* ---- The device ---------------------------------------------------------------------------------------- */

struct FakeDevice {
    GstDevice parent;
    FakeRef* fake;
};
struct FakeDeviceClass {
    GstDeviceClass parent;
};

G_DEFINE_TYPE(FakeDevice, fake_device, GST_TYPE_DEVICE)

GstElement* createElement(GstDevice* device, const gchar* /*name*/) {
    auto* const source = sourceOf(g_object_new(fake_source_get_type(), nullptr));
    *source->fake = *reinterpret_cast<FakeDevice*>(device)->fake;
    return GST_ELEMENT(source);
}

void fake_device_init(FakeDevice* self) {
    self->fake = new FakeRef;
}

void finalizeDevice(GObject* object) {
    delete reinterpret_cast<FakeDevice*>(object)->fake;
    G_OBJECT_CLASS(fake_device_parent_class)->finalize(object);
}

void fake_device_class_init(FakeDeviceClass* klass) {
    G_OBJECT_CLASS(klass)->finalize = finalizeDevice;
    GST_DEVICE_CLASS(klass)->create_element = createElement;
}

GstDevice* makeDevice(const FakeRef& fake) {
    GstCaps* const caps = gst_caps_from_string(fake->caps.c_str());
    GstStructure* const properties = gst_structure_new_empty("properties");
    for (const auto& [name, value] : fake->properties) {
        gst_structure_set(properties, name.c_str(), G_TYPE_STRING, value.c_str(), nullptr);
    }
    auto* const device =
        GST_DEVICE(g_object_new(fake_device_get_type(), "display-name", fake->name.c_str(), "caps", caps,
                                "device-class", "Video/Source", "properties", properties, nullptr));
    gst_caps_unref(caps);
    gst_structure_free(properties);
    *reinterpret_cast<FakeDevice*>(device)->fake = fake;
    return device;
}

/* ---- The provider -------------------------------------------------------------------------------------- */

struct FakeProvider {
    GstDeviceProvider parent;
};
struct FakeProviderClass {
    GstDeviceProviderClass parent;
};

G_DEFINE_TYPE(FakeProvider, fake_provider, GST_TYPE_DEVICE_PROVIDER)

gboolean startProvider(GstDeviceProvider* /*provider*/) {
    return TRUE;
}

void stopProvider(GstDeviceProvider* /*provider*/) {}

void fake_provider_init(FakeProvider* /*self*/) {}

void fake_provider_class_init(FakeProviderClass* klass) {
    auto* const provider = GST_DEVICE_PROVIDER_CLASS(klass);
    provider->start = startProvider;
    provider->stop = stopProvider;
    gst_device_provider_class_set_static_metadata(provider, "Fake webcams", "Video/Source",
                                                  "Webcams of tests", "tests");
}

GstDeviceProvider* provider() {
    static GstDeviceProvider* const one = gst_device_provider_factory_get_by_name(kProvider);
    return one;
}

/** What is plugged in. */
std::map<FakeRef, GstDevice*>& plugged() {
    static std::map<FakeRef, GstDevice*> all;
    return all;
}

}  // namespace

std::string FakeWebcam::lastCaps() const {
    const std::lock_guard guard(mutex_);
    return lastCaps_;
}

void FakeWebcam::noteCaps(const std::string& text) {
    const std::lock_guard guard(mutex_);
    lastCaps_ = text;
}

void registerFakes() {
    gst_init(nullptr, nullptr);
    gst_device_provider_register(nullptr, kProvider, GST_RANK_PRIMARY, fake_provider_get_type());
}

void plugIn(const FakeRef& fake) {
    GstDevice* const device = makeDevice(fake);
    gst_device_provider_device_add(provider(), GST_DEVICE(gst_object_ref_sink(device)));
    plugged()[fake] = device;
}

void pullOut(const FakeRef& fake) {
    const auto found = plugged().find(fake);
    if (found == plugged().end()) return;
    gst_device_provider_device_remove(provider(), found->second);
    gst_object_unref(found->second);
    plugged().erase(found);
}

void pullOutAll() {
    while (!plugged().empty())
        pullOut(FakeRef(plugged().begin()->first));
}

}  // namespace test
