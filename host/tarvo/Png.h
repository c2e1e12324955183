/* Png.h: a frame as a PNG file's bytes.
 *
 * Red, green and blue, without alpha: what cameras deliver there is no transparency.
 *
 * Thread: plain functions.
 * Errors: Result.h; badArgument for a frame without pixels, files for what the encoder refuses.
 */
#pragma once

#include <cstdint>
#include <vector>

#include "host/client/Result.h"
#include "host/client/VideoClient.h"

namespace tarvo {

/** Fast makes larger files in a fraction of the time, for frames that come one after the other. */
enum class PngEffort { fast, thorough };

Result<std::vector<uint8_t>> encodePng(const VideoFrame& frame, PngEffort effort);

}  // namespace tarvo
