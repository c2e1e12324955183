#include "frameworks/QTKit/gstreamer/Copies.h"

namespace capture {

Copies::~Copies() {
    forget();
}

void Copies::forget() {
    if (pool_) gst_buffer_pool_set_active(pool_.get(), FALSE);
    pool_ = nullptr;
    caps_ = nullptr;
}

bool Copies::prepareFor(GstCaps* caps) {
    if (caps == nullptr) return false;
    if (pool_ && gst_caps_is_equal(caps_.get(), caps)) return true;
    forget();
    if (!gst_video_info_from_caps(&info_, caps)) return false;
    Held<GstBufferPool> pool(gst_video_buffer_pool_new());
    GstStructure* const config = gst_buffer_pool_get_config(pool.get());
    gst_buffer_pool_config_set_params(config, caps, static_cast<guint>(GST_VIDEO_INFO_SIZE(&info_)), 0, 0);
    if (!gst_buffer_pool_set_config(pool.get(), config)) return false;
    if (!gst_buffer_pool_set_active(pool.get(), TRUE)) return false;
    pool_ = std::move(pool);
    caps_.reset(gst_caps_ref(caps));
    return true;
}

Held<GstBuffer> Copies::of(GstSample& sample) {
    GstBuffer* const original = gst_sample_get_buffer(&sample);
    if (original == nullptr || !prepareFor(gst_sample_get_caps(&sample))) return nullptr;
    GstBuffer* acquired = nullptr;
    if (gst_buffer_pool_acquire_buffer(pool_.get(), &acquired, nullptr) != GST_FLOW_OK) return nullptr;
    Held<GstBuffer> copy(acquired);
    GstVideoFrame from;
    GstVideoFrame to;
    if (!gst_video_frame_map(&from, &info_, original, GST_MAP_READ)) return nullptr;
    bool isCopied = false;
    if (gst_video_frame_map(&to, &info_, copy.get(), GST_MAP_WRITE)) {
        isCopied = gst_video_frame_copy(&to, &from) != FALSE;
        gst_video_frame_unmap(&to);
    }
    gst_video_frame_unmap(&from);
    return isCopied ? std::move(copy) : nullptr;
}

}  // namespace capture
