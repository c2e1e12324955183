/* Frame.h: a picture in GStreamer's memory, as the framework's frame. Nothing is copied, as long as rows lie
 * as the framework's users can read them.
 *
 * Thread: made by one thread, then any; it never changes.
 * Owns:   the memory, which goes back to where it came from with the frame. Frames' own memory is used again
 *         for frames, so steady delivery allocates nothing here.
 */
#pragma once

#include <gst/video/video.h>

#include <atomic>

#include "QTKit.h"
#include "frameworks/QTKit/gstreamer/Gst.h"

namespace capture {

class Frame final : public CVImageBuffer {
public:
    /** Null when the buffer holds no BGRA picture that can be read, or there is no memory. Keeps the buffer.
     */
    static Ref<CVImageBuffer> of(GstBuffer* buffer, const GstCaps* caps);
    static Ref<CVImageBuffer> of(GstSample& sample) {
        return of(gst_sample_get_buffer(&sample), gst_sample_get_caps(&sample));
    }

    CVReturn lockBaseAddress() override;
    void unlockBaseAddress() override;
    /** Null while it is not locked. */
    const void* baseAddress() const override;
    size_t width() const override { return static_cast<size_t>(GST_VIDEO_FRAME_WIDTH(&picture_)); }
    size_t height() const override { return static_cast<size_t>(GST_VIDEO_FRAME_HEIGHT(&picture_)); }
    size_t bytesPerRow() const override {
        return static_cast<size_t>(GST_VIDEO_FRAME_PLANE_STRIDE(&picture_, 0));
    }
    size_t dataSize() const override { return bytesPerRow() * height(); }

    static void* operator new(size_t size, const std::nothrow_t&) noexcept;
    static void operator delete(void* memory) noexcept;

private:
    explicit Frame(const GstVideoFrame& picture) : picture_(picture) {}
    ~Frame() override;

    GstVideoFrame picture_;  // mapped for reading
    std::atomic<int32_t> locks_{0};
};

}  // namespace capture
