#include "tests/QTKit/hardware/Jpeg.h"

#include <cstdio>
#include <cstdlib>
// After <cstdio>, whose types it uses.
#include <jpeglib.h>

namespace test {

std::vector<uint8_t> jpegOf(int width, int height, const std::function<Rgb(int x, int y)>& colour) {
    constexpr int kQuality = 98;
    jpeg_compress_struct encoder{};
    jpeg_error_mgr errors{};
    encoder.err = jpeg_std_error(&errors);
    jpeg_create_compress(&encoder);
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&encoder, &bytes, &size);
    encoder.image_width = static_cast<JDIMENSION>(width);
    encoder.image_height = static_cast<JDIMENSION>(height);
    encoder.input_components = 3;
    encoder.in_color_space = JCS_RGB;
    jpeg_set_defaults(&encoder);
    jpeg_set_quality(&encoder, kQuality, TRUE);
    encoder.comp_info[0].h_samp_factor = 2;
    encoder.comp_info[0].v_samp_factor = 1;
    jpeg_start_compress(&encoder, TRUE);
    std::vector<uint8_t> row(static_cast<size_t>(width) * 3);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const Rgb pixel = colour(x, y);
            std::copy(pixel.begin(), pixel.end(), row.begin() + x * 3);
        }
        JSAMPROW rows[] = {row.data()};
        jpeg_write_scanlines(&encoder, rows, 1);
    }
    jpeg_finish_compress(&encoder);
    jpeg_destroy_compress(&encoder);
    std::vector<uint8_t> picture(bytes, bytes + size);
    std::free(bytes);
    return picture;
}

}  // namespace test
