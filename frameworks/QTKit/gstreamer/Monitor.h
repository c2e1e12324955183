/* Monitor.h: GStreamer's list of video devices, watched from the first question on.
 *
 * The first question waits until the system's devices have been looked through, the later ones are answered
 * from what the monitor knows.
 *
 * Thread: any.
 * Owns:   the monitor, for good.
 */
#pragma once

#include <gst/gst.h>

#include <vector>

#include "frameworks/QTKit/gstreamer/Toolkit.h"

namespace capture {

/** As Toolkit's list. */
bool listWebcams(std::vector<CameraRef>& out);
/** Whether the monitor still has the device. */
bool isListed(const GstDevice* device);

}  // namespace capture
