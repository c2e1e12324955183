/* Modes.h: what a device can be asked for, and which of it to ask for.
 *
 * Thread: any.
 * Units:  pixels; frames a second.
 */
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "frameworks/QTKit/gstreamer/Gst.h"
#include "frameworks/QTKit/gstreamer/Toolkit.h"

namespace capture {

enum class Coding { Raw, Jpeg, H264 };

struct Range {
    int least = 0;
    int most = 0;
    int step = 1;
};

/** One of a device's ways to deliver. */
struct Mode {
    Coding coding = Coding::Raw;
    std::string format;  // GStreamer's name of it; empty for what is coded
    Range width;
    Range height;
    double leastFps = 0;
    double mostFps = 0;
};

/** What to ask for. Without a size: what the device thinks best. */
struct Choice {
    Coding coding = Coding::Raw;
    std::string format;
    std::optional<FrameSize> size;
    bool isTooFast = false;  // unless its rate is limited
};

/** Those that can be used here. */
std::vector<Mode> modesOf(const GstCaps* caps);
/** The best first, and then what may do when the device does not keep its word. Empty only without modes. */
std::vector<Choice> choicesFor(const std::vector<Mode>& modes, std::optional<FrameSize> wanted);
Held<GstCaps> capsOf(const Choice& choice);
/** GStreamer's name of the decoder to use; null when there is none, or need not be one. */
const char* decoderFor(Coding coding);

}  // namespace capture
