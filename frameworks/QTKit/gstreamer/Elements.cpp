#include "frameworks/QTKit/gstreamer/Elements.h"

#include <gst/app/gstappsink.h>
#include <gst/video/video.h>

#include <algorithm>
#include <thread>

#include "frameworks/QTKit/gstreamer/Errors.h"

namespace capture {

namespace {

/** What the framework's users hold while the next frames are made: the one they read, the newest, one on its
 *  way. */
constexpr guint kFramesOutside = 3;

/** A chain under construction: each element is linked to the one before. */
class Chain {
public:
    explicit Chain(GstElement* pipeline) : bin_(GST_BIN(pipeline)) {}

    /** Takes the element over. */
    GstElement* add(GstElement* element, const char* name) {
        if (element == nullptr) {
            if (missing_ == nullptr) missing_ = name;
            return nullptr;
        }
        gst_bin_add(bin_, element);
        if (last_ != nullptr && !gst_element_link(last_, element) && missing_ == nullptr) missing_ = name;
        last_ = element;
        return element;
    }
    GstElement* add(const char* name) { return add(gst_element_factory_make(name, nullptr), name); }
    void addCaps(const GstCaps* caps) {
        GstElement* const filter = add("capsfilter");
        if (filter != nullptr) g_object_set(filter, "caps", caps, nullptr);
    }

    Failure result() const {
        if (missing_ == nullptr) return {};
        return {kErrorNoResources, std::string("GStreamer has no ") + missing_ + " here."};
    }

private:
    GstBin* bin_;
    GstElement* last_ = nullptr;
    const char* missing_ = nullptr;
};

/** Its newest buffer only. */
void addQueue(Chain& chain) {
    GstElement* const queue = chain.add("queue");
    if (queue == nullptr) return;
    g_object_set(queue, "max-size-buffers", 1U, "max-size-bytes", 0U, "max-size-time", guint64{0}, "silent",
                 TRUE, nullptr);
    gst_util_set_object_arg(G_OBJECT(queue), "leaky", "downstream");
}

void addDecoder(Chain& chain, Coding coding) {
    const char* const name = decoderFor(coding);
    if (name == nullptr) return;
    GstElement* const decoder = chain.add(name);
    // Webcams send a broken picture now and then; the next one is as good.
    if (decoder != nullptr) gst_util_set_object_arg(G_OBJECT(decoder), "max-errors", "-1");
}

void addConversion(Chain& chain) {
    constexpr unsigned kMostThreads = 4;
    GstElement* const converter = chain.add("videoconvertscale");
    if (converter == nullptr) return;
    const guint threads = std::clamp(std::thread::hardware_concurrency(), 1U, kMostThreads);
    // The picture fills the size that was asked for, whatever its shape.
    g_object_set(converter, "n-threads", threads, "add-borders", FALSE, nullptr);
    // Smoothing colours between neighbours costs as much as all the rest.
    gst_util_set_object_arg(G_OBJECT(converter), "chroma-mode", "none");
    gst_util_set_object_arg(G_OBJECT(converter), "dither", "none");
}

void addOutputCaps(Chain& chain, std::optional<FrameSize> size) {
    const Held<GstCaps> caps(gst_caps_new_simple("video/x-raw", "format", G_TYPE_STRING, "BGRA", nullptr));
    if (size) {
        gst_caps_set_simple(caps.get(), "width", G_TYPE_INT, static_cast<int>(size->width), "height",
                            G_TYPE_INT, static_cast<int>(size->height), nullptr);
    }
    chain.addCaps(caps.get());
}

/** Whoever makes the buffers learns that rows may be as long as it likes, and how many it has to spare. */
GstPadProbeReturn onQuery(GstPad* /*pad*/, GstPadProbeInfo* info, gpointer /*data*/) {
    GstQuery* const query = GST_PAD_PROBE_INFO_QUERY(info);
    if (GST_QUERY_TYPE(query) != GST_QUERY_ALLOCATION) return GST_PAD_PROBE_OK;
    GstCaps* caps = nullptr;
    GstVideoInfo pictures;
    gst_query_parse_allocation(query, &caps, nullptr);
    gst_query_add_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr);
    if (caps != nullptr && gst_video_info_from_caps(&pictures, caps)) {
        const auto bytes = static_cast<guint>(GST_VIDEO_INFO_SIZE(&pictures));
        gst_query_add_allocation_pool(query, nullptr, bytes, kFramesOutside, 0);
    }
    return GST_PAD_PROBE_HANDLED;
}

GstElement* addSink(Chain& chain) {
    GstElement* const sink = chain.add("appsink");
    if (sink == nullptr) return nullptr;
    g_object_set(sink, "max-buffers", 1U, "drop", TRUE, "sync", FALSE, "enable-last-sample", FALSE, nullptr);
    const Held<GstPad> pad(gst_element_get_static_pad(sink, "sink"));
    gst_pad_add_probe(pad.get(), GST_PAD_PROBE_TYPE_QUERY_DOWNSTREAM, onQuery, nullptr, nullptr);
    return sink;
}

}  // namespace

Failure makeElements(GstElement* source, const Choice& choice, std::optional<FrameSize> size, Elements& out) {
    out.pipeline.reset(GST_ELEMENT(gst_object_ref_sink(gst_pipeline_new(nullptr))));
    Chain chain(out.pipeline.get());
    out.source = chain.add(source, "source for the device");
    chain.addCaps(capsOf(choice).get());
    // Pictures that build on each other are only dropped when they are whole.
    if (choice.coding != Coding::H264) addQueue(chain);
    addDecoder(chain, choice.coding);
    if (choice.coding == Coding::H264) addQueue(chain);
    addConversion(chain);
    addOutputCaps(chain, size);
    out.sink = addSink(chain);
    return chain.result();
}

GstElement* makeNodeSource(const std::string& path) {
    GstElement* const source = gst_element_factory_make("v4l2src", nullptr);
    if (source != nullptr) g_object_set(source, "device", path.c_str(), nullptr);
    return source;
}

Failure makeElements(const Webcam& webcam, const Choice& choice, std::optional<FrameSize> size,
                     Elements& out) {
    GstElement* const source = webcam.device() != nullptr
                                   ? gst_device_create_element(webcam.device(), nullptr)
                                   : makeNodeSource(webcam.node()->path());
    if (Failure failure = makeElements(source, choice, size, out)) return failure;
    if (webcam.node()) return {};
    out.departure = std::make_unique<Departure>(webcam.device(), out.source);
    // One that left before is not told of any more.
    return webcam.isGone() ? Failure{QTErrorDeviceWasDisconnected} : Failure{};
}

}  // namespace capture
