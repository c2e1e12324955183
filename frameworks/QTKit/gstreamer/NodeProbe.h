/* NodeProbe.h: webcams where nobody announces them.
 *
 * GStreamer's monitor has its webcams of V4L2 from udev. In containers and other small systems there is no
 * udev, and the kernel's nodes have to be looked at one by one.
 *
 * Thread: one at a time.
 */
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "frameworks/QTKit/gstreamer/Webcam.h"

namespace capture {

/** The kernel's video nodes that may be used, if there is no udev to tell of them; otherwise none. */
std::vector<std::string> unannouncedNodes();
/** Opens the node; nothing when it brings no pictures. */
std::optional<WebcamFacts> probeNode(const Node& node);

}  // namespace capture
