/* Frames.h: the live view of a body, as it leaves the camera: a header and a JPEG in one piece.
 *
 * Thread: any; plain functions.
 * Units:  pixels; seconds of the countdown.
 * Errors: null when a file cannot be read.
 */
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "lab/nikon/Setup.h"

namespace lab::nikon {

using Bytes = std::vector<uint8_t>;
using FrameRef = std::shared_ptr<const Bytes>;

/** What the camera knows of itself while it makes a frame. */
struct View {
    uint16_t wholeWidth = 4288;
    uint16_t wholeHeight = 2848;
    uint32_t zoomPercent = 0;  // 0: all of it is shown
    int32_t zoomX = 0;
    int32_t zoomY = 0;
    uint8_t focusDriving = 0;  // nonzero while the lens moves
    uint16_t countdown = 0;
};

/** A moving ramp behind the camera's own header. */
FrameRef rampFrame(const View& view, unsigned phase);
/** One that a scenario describes. */
FrameRef describedFrame(const LiveFrame& frame, const View& view, uint64_t seed);

/** Keeps a position so far inside of the whole image that the zoomed area fits. */
void clampZoom(View& view, unsigned imageWidth, unsigned imageHeight, uint16_t& width, uint16_t& height);

}  // namespace lab::nikon
