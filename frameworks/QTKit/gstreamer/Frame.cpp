#include "frameworks/QTKit/gstreamer/Frame.h"

#include <array>
#include <cstdlib>
#include <mutex>
#include <new>

namespace capture {

namespace {

/** Memory for frames that nobody uses at the moment. */
class Shelf {
public:
    void* take() {
        const std::lock_guard guard(mutex_);
        return count_ == 0 ? nullptr : blocks_[--count_];
    }
    bool put(void* memory) {
        const std::lock_guard guard(mutex_);
        if (count_ == blocks_.size()) return false;
        blocks_[count_++] = memory;
        return true;
    }

private:
    std::mutex mutex_;
    std::array<void*, 8> blocks_{};  // guarded by mutex_, as below; the first count_
    size_t count_ = 0;
};

/** Never destroyed: frames may be let go of while the process exits. */
Shelf& shelf() {
    static auto* one = new Shelf;
    return *one;
}

bool hasPlainRows(const GstVideoFrame& picture) {
    constexpr int kPixelBytes = 4;
    const int stride = GST_VIDEO_FRAME_PLANE_STRIDE(&picture, 0);
    return stride >= GST_VIDEO_FRAME_WIDTH(&picture) * kPixelBytes && stride % kPixelBytes == 0;
}

/** Into memory of our own, row after row. The given one is unmapped in any case. */
bool straighten(GstVideoFrame& picture) {
    GstVideoInfo info;
    gst_video_info_set_format(&info, GST_VIDEO_FORMAT_BGRA,
                              static_cast<guint>(GST_VIDEO_FRAME_WIDTH(&picture)),
                              static_cast<guint>(GST_VIDEO_FRAME_HEIGHT(&picture)));
    const Held<GstBuffer> buffer(gst_buffer_new_allocate(nullptr, GST_VIDEO_INFO_SIZE(&info), nullptr));
    GstVideoFrame copy;
    bool isCopied = false;
    if (buffer && gst_video_frame_map(&copy, &info, buffer.get(), GST_MAP_WRITE)) {
        isCopied = gst_video_frame_copy(&copy, &picture) != FALSE;
        gst_video_frame_unmap(&copy);
    }
    gst_video_frame_unmap(&picture);
    return isCopied && gst_video_frame_map(&picture, &info, buffer.get(), GST_MAP_READ);
}

}  // namespace

void* Frame::operator new(size_t size, const std::nothrow_t& /*tag*/) noexcept {
    void* const used = shelf().take();
    return used != nullptr ? used : std::malloc(size);
}

void Frame::operator delete(void* memory) noexcept {
    if (!shelf().put(memory)) std::free(memory);
}

Ref<CVImageBuffer> Frame::of(GstBuffer* buffer, const GstCaps* caps) {
    GstVideoInfo info;
    GstVideoFrame picture;
    if (caps == nullptr || buffer == nullptr || !gst_video_info_from_caps(&info, caps)) return {};
    if (GST_VIDEO_INFO_FORMAT(&info) != GST_VIDEO_FORMAT_BGRA) return {};
    if (!gst_video_frame_map(&picture, &info, buffer, GST_MAP_READ)) return {};
    if (!hasPlainRows(picture) && !straighten(picture)) return {};
    Frame* const frame = new (std::nothrow) Frame(picture);
    if (frame == nullptr) gst_video_frame_unmap(&picture);
    return Ref<CVImageBuffer>::adopt(frame);
}

Frame::~Frame() {
    gst_video_frame_unmap(&picture_);
}

CVReturn Frame::lockBaseAddress() {
    ++locks_;
    return kCVReturnSuccess;
}

void Frame::unlockBaseAddress() {
    int32_t locks = locks_;
    while (locks > 0 && !locks_.compare_exchange_weak(locks, locks - 1)) {
    }
}

const void* Frame::baseAddress() const {
    return locks_ > 0 ? GST_VIDEO_FRAME_PLANE_DATA(&picture_, 0) : nullptr;
}

}  // namespace capture
