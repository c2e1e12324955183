/* H264.h: a stream of H.264 as webcams send it: access units of a byte stream, each of which stands by
 * itself. */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace test {

/** One access unit that shows a pattern of GStreamer's videotestsrc ("red", …); empty when it cannot be
 * coded. */
std::vector<uint8_t> h264Of(int width, int height, const std::string& pattern);

}  // namespace test
