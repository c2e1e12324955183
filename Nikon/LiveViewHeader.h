/* LiveViewHeader.h: what stands before the JPEG data in a live-view frame.
 *
 * Thread: any; plain values.
 * Units:  sizes and positions in pixels: of the live-view picture, or of the whole image where a name says
 *         so. The countdown is the camera's own.
 * Errors: nothing is read beyond the frame, however short it is.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace nikon {

struct LiveViewHeader {
    uint16_t imageWidth = 0;
    uint16_t imageHeight = 0;
    uint16_t wholeWidth = 0;
    uint16_t wholeHeight = 0;
    uint16_t further[4] = {};  // kept as they come
    uint16_t zoomWidth = 0;    // in pixels of the whole image, like the three below
    uint16_t zoomHeight = 0;
    uint16_t zoomX = 0;
    uint16_t zoomY = 0;
    uint8_t focusDriving = 0;  // not 0 while the lens moves
    uint16_t countdown = 0;    // until live view ends because of the heat
};

/** The header; none in a frame of 512 bytes or fewer, which is taken for bare. */
std::optional<LiveViewHeader> readLiveViewHeader(std::span<const uint8_t> frame);

/** Where the JPEG data begins: 64, 128 or 384, found by its start mark. */
size_t liveViewHeaderLength(std::span<const uint8_t> frame);

/** The JPEG data; empty when the frame ends before it begins. */
std::span<const uint8_t> jpegOf(std::span<const uint8_t> frame);

}  // namespace nikon
