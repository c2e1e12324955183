/* Monitor.h: the list of video devices, of all that GStreamer's providers show.
 *
 * The first question waits until the system's devices have been looked through, the later ones are answered
 * from what the providers know.
 *
 * Thread: any.
 * Owns:   the webcams that were listed last, for good.
 */
#pragma once

#include <gst/gst.h>

#include <vector>

#include "frameworks/QTKit/gstreamer/Toolkit.h"

namespace capture {

/** As Toolkit's list. */
bool listWebcams(std::vector<CameraRef>& out);
/** Whether a provider still has the device. */
bool isListed(const GstDevice* device);

}  // namespace capture
