/* LiveViewScale.h: between pixels of the live-view picture and pixels of the whole image.
 *
 * Thread: any; plain values.
 * Units:  pixels.
 */
#pragma once

#include <cstdint>

namespace nikon {

/** value × numerator / denominator. The product wraps at 32 bits and is divided as a signed number, as hosts
 *  have always had it. Nothing for a denominator of 0, which is not known yet; no header's is negative. */
constexpr bool scale(int32_t value, uint16_t numerator, uint16_t denominator, int32_t* scaled) {
    if (denominator == 0) return false;
    const auto product = static_cast<int32_t>(static_cast<uint32_t>(value) * numerator);
    *scaled = product / denominator;
    return true;
}

}  // namespace nikon
