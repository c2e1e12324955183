#include "tests/host/PngReader.h"

#include <gtest/gtest.h>
#include <png.h>

namespace fake {

Picture readPng(const std::string& path) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0) {
        ADD_FAILURE() << path << ": " << image.message;
        return {};
    }
    EXPECT_EQ(image.format & PNG_FORMAT_FLAG_ALPHA, 0U) << path << " has transparency";
    image.format = PNG_FORMAT_RGB;
    std::vector<uint8_t> bytes(PNG_IMAGE_SIZE(image));
    if (png_image_finish_read(&image, nullptr, bytes.data(), 0, nullptr) == 0) {
        ADD_FAILURE() << path << ": " << image.message;
        return {};
    }
    Picture picture{static_cast<int>(image.width), static_cast<int>(image.height), {}};
    for (size_t i = 0; i + 2 < bytes.size(); i += 3) {
        picture.pixels.push_back(static_cast<uint32_t>(bytes[i]) << 16 |
                                 static_cast<uint32_t>(bytes[i + 1]) << 8 | bytes[i + 2]);
    }
    return picture;
}

int patternFrameOf(const Picture& picture) {
    if (picture.pixels.empty()) return -1;
    const uint32_t frame = picture.pixels[0] >> 16;
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            const uint32_t blue = (static_cast<uint32_t>(x) + frame) & 0xFF;
            const uint32_t green = (static_cast<uint32_t>(y) + frame) & 0xFF;
            if (picture.at(x, y) == (frame << 16 | green << 8 | blue)) continue;
            ADD_FAILURE() << "pixel " << x << ", " << y << " of frame " << frame << " is " << std::hex
                          << picture.at(x, y);
            return -1;
        }
    }
    return static_cast<int>(frame);
}

}  // namespace fake
