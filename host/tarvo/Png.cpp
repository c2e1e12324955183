#include "host/tarvo/Png.h"

#include <png.h>

#include <string>

namespace tarvo {
namespace {

constexpr size_t kChannels = 3;

std::vector<uint8_t> colours(const VideoFrame& frame) {
    std::vector<uint8_t> bytes(frame.pixels.size() * kChannels);
    uint8_t* to = bytes.data();
    for (const uint32_t word : frame.pixels) {
        *to++ = static_cast<uint8_t>(word >> 16);
        *to++ = static_cast<uint8_t>(word >> 8);
        *to++ = static_cast<uint8_t>(word);
    }
    return bytes;
}

}  // namespace

Result<std::vector<uint8_t>> encodePng(const VideoFrame& frame, PngEffort effort) {
    if (frame.isEmpty()) return {failed(Failure::badArgument, "a picture without pixels"), {}};
    // The library's simplified interface: its errors come back as a value instead of a jump over destructors.
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(frame.width);
    image.height = static_cast<png_uint_32>(frame.height);
    image.format = PNG_FORMAT_RGB;
    if (effort == PngEffort::fast) image.flags = PNG_IMAGE_FLAG_FAST;
    const auto pixels = colours(frame);
    // As large as it can get, or the library would encode twice, once for the size.
    std::vector<uint8_t> bytes(PNG_IMAGE_PNG_SIZE_MAX(image));
    png_alloc_size_t size = bytes.size();
    if (png_image_write_to_memory(&image, bytes.data(), &size, 0, pixels.data(), 0, nullptr) == 0) {
        return {failed(Failure::files, std::string("the picture cannot be made a PNG: ") + image.message),
                {}};
    }
    bytes.resize(size);
    return {{}, std::move(bytes)};
}

}  // namespace tarvo
