/* Pictures.h: JPEG files as pixels of the size that is wanted.
 *
 * Thread: any.
 * Owns:   what was decoded is kept for the next who asks, up to a limit; whoever uses a picture keeps it.
 */
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "lab/video/Setup.h"

namespace capture {

struct Picture {
    std::vector<uint8_t> pixels;  // BGRA, rows without anything between them; none: it cannot be shown
};
using PictureRef = std::shared_ptr<const Picture>;

/** Decodes and scales the file unless that was done before. May throw std::bad_alloc. */
PictureRef pictureOf(const std::string& path, lab::video::Size size);

/** Scales by the mean of what a pixel covers, or between neighbours where it grows; a picture of the same
 * size stays as it is. */
std::vector<uint8_t> scaled(const std::vector<uint8_t>& pixels, lab::video::Size from, lab::video::Size to);

}  // namespace capture
