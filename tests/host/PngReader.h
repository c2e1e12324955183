/* PngReader.h: a PNG file's pixels, by the library's own reader and by nothing of the command's.
 *
 * Thread: plain functions.
 * Errors: a file that is no whole PNG of red, green and blue fails the test and gives a picture without
 * pixels.
 */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace fake {

struct Picture {
    int width = 0;
    int height = 0;
    std::vector<uint32_t> pixels;  // red, green and blue below a zero byte

    uint32_t at(int x, int y) const {
        return pixels[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)];
    }
};

Picture readPng(const std::string& path);

/** The number of the frame of the lab's pattern that this is, pixel by pixel; -1: it is none. */
int patternFrameOf(const Picture& picture);

}  // namespace fake
