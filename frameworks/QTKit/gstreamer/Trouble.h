/* Trouble.h: what GStreamer says when something fails, and what we make of it.
 *
 * Thread: any.
 */
#pragma once

#include <optional>
#include <string>

#include "frameworks/QTKit/gstreamer/Webcam.h"

namespace capture {

/** An error in GStreamer's words. */
struct Trouble {
    GQuark domain = 0;
    int code = 0;
    std::string text;
};

/** Of errors and ends of streams. */
std::optional<Trouble> troubleOf(GstMessage* message);
/** `hasFrames`: frames came before. May take half a second: a node vanishes a little later than its device.
 */
Failure failureOf(const Trouble& trouble, bool hasFrames, const Webcam& webcam);

}  // namespace capture
