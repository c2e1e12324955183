/* Departure.h: tells a stream that its device has left, when its source would not.
 *
 * PipeWire's source waits without a word for a camera that is gone, or for a daemon that has ended. Whoever
 * watches the devices knows at once.
 *
 * Thread: any. The stream is told under the lock, so that nobody is told who is no longer there: what takes
 *         the message must not make or end a departure.
 * Owns:   nothing; the source must outlive it.
 */
#pragma once

#include <gst/gst.h>

namespace capture {

class Departure {
public:
    Departure(const GstDevice* device, GstElement* source);
    ~Departure();
    Departure(const Departure&) = delete;
    Departure& operator=(const Departure&) = delete;

    /** The sources of the device report an error to their pipelines. */
    static void tell(const GstDevice* device);
    /** Until the device has no sources. */
    static void awaitNone(const GstDevice* device);

private:
    void post() const;

    const GstDevice* const device_;
    GstElement* const source_;
};

}  // namespace capture
