/* Jpeg.h: pictures for cameras that were given none.
 *
 * Thread: any; plain functions.
 * Errors: none.
 * Follows: ISO/IEC 10918-1 (JPEG), baseline, one component; JFIF 1.01.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "lab/Export.h"

namespace lab {

/** A grey ramp in blocks of 8 x 8 pixels that moves with `phase`. Sides are 1 to 65535 pixels. */
LAB_EXPORT std::vector<uint8_t> rampJpeg(unsigned width, unsigned height, unsigned phase);

/** A valid JPEG of exactly `size` bytes: a ramp, filled up with comments whose bytes depend on `seed`. Where
 *  `size` is too small for any picture, noise between the marks that begin and end one, for those who look
 *  for these; below four bytes noise alone. */
LAB_EXPORT std::vector<uint8_t> jpegOfSize(size_t size, unsigned phase, uint64_t seed);

/** Bytes that look like nothing in particular and are the same for the same seed and offset. */
LAB_EXPORT void fillNoise(uint64_t seed, uint64_t offset, uint8_t* out, size_t size);

}  // namespace lab
