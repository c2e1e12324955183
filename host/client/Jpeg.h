/* Jpeg.h: where a picture ends inside a longer array.
 *
 * The helper's live-view array is as long as the longest frame of the session so far: the newest frame, then
 * bytes that earlier, longer frames left. Only the picture itself tells where it ends. Searching for the two
 * bytes of the end marker is not enough: a thumbnail inside the picture's metadata has an end marker of its
 * own.
 *
 * Thread: plain function.
 * Follows: ITU-T T.81, annex B: marker segments and entropy-coded segments.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace tarvo {

/** Bytes of the JPEG picture at the start of `bytes`, its end marker included; 0 when there is no whole one.
 */
size_t jpegLength(std::span<const uint8_t> bytes);

struct JpegSize {
    int width = 0;  // pixels; 0: no JPEG picture
    int height = 0;
};
JpegSize jpegSize(std::span<const uint8_t> bytes);

}  // namespace tarvo
