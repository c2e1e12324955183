/* PictureSheet.h: the middles of several pictures side by side, at their own scale.
 *
 * Thread: plain functions.
 * Units:  pixels.
 */
#pragma once

#include <span>

#include "host/client/VideoClient.h"

namespace tarvo {

/** From left to right with a white gap; a picture that is smaller than `width` x `height` stands in the
 * middle of its place, on white. Sizes of 1 at least. */
VideoFrame sideBySide(std::span<const VideoFrame> pictures, int32_t width, int32_t height, int32_t gap);

}  // namespace tarvo
