/* Elements.h: the parts of a pipeline from a webcam to BGRA pictures.
 *
 * Thread: any, one at a time.
 * Errors: failures as in Toolkit.h; `out` may be filled in part then, and is given back like a whole one.
 */
#pragma once

#include <memory>
#include <optional>

#include "frameworks/QTKit/gstreamer/Departure.h"
#include "frameworks/QTKit/gstreamer/Modes.h"
#include "frameworks/QTKit/gstreamer/Webcam.h"

namespace capture {

struct Elements {
    Held<GstElement> pipeline;
    // In the pipeline:
    GstElement* source = nullptr;
    GstElement* sink = nullptr;  // the application's
    // Only of those that do not notice by themselves; it ends before the pipeline does.
    std::unique_ptr<Departure> departure = {};
};

/** V4L2's source for a node; null when GStreamer has none. */
GstElement* makeNodeSource(const std::string& path);
Failure makeElements(const Webcam& webcam, const Choice& choice, std::optional<FrameSize> size,
                     Elements& out);
/** From a source to BGRA; takes over the source. */
Failure makeElements(GstElement* source, const Choice& choice, std::optional<FrameSize> size, Elements& out);

}  // namespace capture
