/* Frames.h: pictures in memory, and where their memory comes from.
 *
 * Thread: a picture is painted by the thread that took it from the pool, before anybody else sees it; from
 *         then on it never changes, and any thread may hold and read it. A pool belongs to one thread.
 * Owns:   a picture its pixels; a pool a reference on each of its pictures. A picture that only the pool
 * holds is used again, so steady delivery allocates nothing.
 */
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "frameworks/QTKit/simulated/Library.h"
#include "lab/video/Setup.h"

namespace capture {

/** How the pixels of a picture lie in memory. */
struct Format {
    lab::video::Size size;
    size_t bytesPerRow = 0;

    size_t dataSize() const { return bytesPerRow * size.height; }
};

class Frame final : public CVImageBuffer {
public:
    /** Throws std::bad_alloc. */
    Frame(const Format& format, std::string device);

    CVReturn lockBaseAddress() override;
    void unlockBaseAddress() override;
    /** Null while it is not locked. */
    const void* baseAddress() const override;
    size_t width() const override { return format_.size.width; }
    size_t height() const override { return format_.size.height; }
    size_t bytesPerRow() const override { return format_.bytesPerRow; }
    size_t dataSize() const override { return format_.dataSize(); }

    const Format& format() const { return format_; }
    uint8_t* pixels() { return pixels_.get(); }
    /** Whether nobody but the caller holds it; what others did with it has then happened before. */
    bool isIdle() const;

private:
    ~Frame() override = default;

    const Format format_;
    const std::string device_;
    const std::unique_ptr<uint8_t[]> pixels_;
    std::atomic<int32_t> locks_{0};
    const Tally tally_{Kind::frame};
};

class FramePool {
public:
    FramePool(const Format& format, std::string device) : format_(format), device_(std::move(device)) {}

    /** One that nobody else holds, lent as long as the pool; null when there is no memory. */
    Frame* take();

private:
    const Format format_;
    const std::string device_;
    std::vector<Ref<Frame>> frames_;
};

}  // namespace capture
