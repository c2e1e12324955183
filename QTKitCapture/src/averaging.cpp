/* averaging.cpp: the loops of the averaging capture.
 *
 * They are bound by memory: 28 bytes go over the bus for a pixel and frame. Plain code that the compiler
 * makes vectors of (this file is built with -O3, and says so in the build description); the sums lie colour
 * by colour because a vector of one colour is one load. Nothing here may allow the compiler to reorder or
 * fuse floating-point operations: hosts compare the pictures bit by bit.
 */
#include "QTKitCapture/src/averaging.h"

#include <new>

bool FrameSums::allocate(size_t pixels) {
    red.reset(new (std::nothrow) float[pixels]());
    green.reset(new (std::nothrow) float[pixels]());
    blue.reset(new (std::nothrow) float[pixels]());
    count = pixels;
    return red != nullptr && green != nullptr && blue != nullptr;
}

void addFrame(FrameSums& sums, const uint32_t* words) {
    const size_t count = sums.count;
    const uint32_t* __restrict word = words;
    float* __restrict red = sums.red.get();
    float* __restrict green = sums.green.get();
    float* __restrict blue = sums.blue.get();
    // Signed on the way to float: a byte is the same either way, and vectors convert signed ints only.
    for (size_t i = 0; i < count; ++i) {
        red[i] += static_cast<float>(static_cast<int32_t>((word[i] >> 16) & 0xFF));
        green[i] += static_cast<float>(static_cast<int32_t>((word[i] >> 8) & 0xFF));
        blue[i] += static_cast<float>(static_cast<int32_t>(word[i] & 0xFF));
    }
}

void averageFrames(const FrameSums& sums, int32_t frames, uint32_t* words) {
    const size_t count = sums.count;
    const auto divisor = static_cast<float>(frames);
    const float* __restrict red = sums.red.get();
    const float* __restrict green = sums.green.get();
    const float* __restrict blue = sums.blue.get();
    uint32_t* __restrict word = words;
    for (size_t i = 0; i < count; ++i) {
        const auto r = static_cast<uint32_t>(static_cast<int32_t>(red[i] / divisor));
        const auto g = static_cast<uint32_t>(static_cast<int32_t>(green[i] / divisor));
        const auto b = static_cast<uint32_t>(static_cast<int32_t>(blue[i] / divisor));
        word[i] = 0xFF000000U | r << 16 | g << 8 | b;
    }
}
