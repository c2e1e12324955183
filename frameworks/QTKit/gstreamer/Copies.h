/* Copies.h: pictures of a stream in memory of our own, which is used again.
 *
 * Thread: one at a time; the copies themselves belong to whoever has them, on any thread.
 * Owns:   the memory that nobody uses. What is still in use when this goes is freed by its last user.
 */
#pragma once

#include <gst/video/video.h>

#include "frameworks/QTKit/gstreamer/Gst.h"

namespace capture {

class Copies {
public:
    Copies() = default;
    ~Copies();
    Copies(const Copies&) = delete;
    Copies& operator=(const Copies&) = delete;

    /** Null when the sample holds no picture that can be read, or there is no memory. */
    Held<GstBuffer> of(GstSample& sample);

private:
    bool prepareFor(GstCaps* caps);
    void forget();

    Held<GstBufferPool> pool_;
    Held<GstCaps> caps_;   // what pool_ is for
    GstVideoInfo info_{};  // likewise
};

}  // namespace capture
