/* Frames of live view: their headers, and where the picture begins. */
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>

#include "Nikon/LiveViewHeader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    // A copy of just this size: a byte beyond it is seen.
    const auto copy = std::make_unique<uint8_t[]>(size);
    for (size_t i = 0; i < size; ++i) {
        copy[i] = bytes[i];
    }
    const std::span<const uint8_t> frame(copy.get(), size);
    const auto header = nikon::readLiveViewHeader(frame);
    if (header.has_value() != (size > 512)) std::abort();
    const auto jpeg = nikon::jpegOf(frame);
    const size_t length = nikon::liveViewHeaderLength(frame);
    if (jpeg.size() != (size > length ? size - length : 0)) std::abort();
    uint32_t sum = 0;
    for (const uint8_t byte : jpeg) {
        sum += byte;
    }
    return sum == 0xFFFFFFFF ? -1 : 0;
}
