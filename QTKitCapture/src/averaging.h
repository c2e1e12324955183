/* averaging.h: the mean of many frames, colour by colour, in single precision.
 *
 * Thread: any; the sums belong to one capture.
 * Owns:   nothing but what the sums hold.
 * Units:  words are alpha, red, green, blue from the high byte down; one sum a colour and pixel.
 * Errors: allocate() answers false without memory; the loops cannot fail.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

/** Sums of one byte a frame: exact up to 65,793 frames. */
struct FrameSums {
    std::unique_ptr<float[]> red;
    std::unique_ptr<float[]> green;
    std::unique_ptr<float[]> blue;
    size_t count = 0;

    /** All zero. */
    bool allocate(size_t pixels);
};

/** Adds one frame of sums.count words. */
void addFrame(FrameSums& sums, const uint32_t* words);

/** Each quotient is computed in single precision and truncated toward zero; alpha becomes 0xFF. */
void averageFrames(const FrameSums& sums, int32_t frames, uint32_t* words);
