// Devices that show JPEG files.
#include <cstdio>
#include <fstream>

#include <jpeglib.h>

#include "lab/Jpeg.h"
#include "lab/video/Setup.h"
#include "tests/QTKit/fixture.h"

namespace test {
namespace {

constexpr unsigned kWidth = 64;
constexpr unsigned kHeight = 48;

std::string ramp(const Folder& folder, const char* name, unsigned phase) {
    const std::vector<uint8_t> bytes = lab::rampJpeg(kWidth, kHeight, phase);
    return folder.write(name, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

/** Grey by grey, decoded on its own. */
std::vector<uint8_t> greysOf(const std::string& path) {
    jpeg_decompress_struct decoder{};
    jpeg_error_mgr errors{};
    decoder.err = jpeg_std_error(&errors);
    std::FILE* file = std::fopen(path.c_str(), "rb");
    jpeg_create_decompress(&decoder);
    jpeg_stdio_src(&decoder, file);
    jpeg_read_header(&decoder, TRUE);
    decoder.out_color_space = JCS_GRAYSCALE;
    jpeg_start_decompress(&decoder);
    std::vector<uint8_t> greys(size_t{decoder.output_width} * decoder.output_height);
    while (decoder.output_scanline < decoder.output_height) {
        JSAMPROW row = greys.data() + size_t{decoder.output_scanline} * decoder.output_width;
        jpeg_read_scanlines(&decoder, &row, 1);
    }
    jpeg_destroy_decompress(&decoder);
    std::fclose(file);
    return greys;
}

class Pictures : public QTKitTest {
protected:
    void show(const Json& frames, size_t bytesPerRow = kWidth * 4) {
        start({{{"width", kWidth},
                {"height", kHeight},
                {"bytesPerRow", bytesPerRow},
                {"fps", 500},
                {"frames", frames}}});
    }
    static std::vector<SeenFrame> framesOf(Chain& chain, size_t count) {
        const size_t before = chain.taker->seen().size();
        chain.taker->keepsBytes = true;
        chain.session->startRunning();
        EXPECT_TRUE(chain.taker->waitForMore(count));
        chain.session->stopRunning();
        EXPECT_TRUE(eventually([&] { return chain.taker->underway == 0; }));
        std::vector<SeenFrame> seen = chain.taker->seen();
        seen.erase(seen.begin(), seen.begin() + static_cast<std::ptrdiff_t>(before));
        return seen;
    }
    const Folder folder_;
};

TEST_F(Pictures, are_shown_in_turn_as_they_are) {
    const std::string paths[] = {ramp(folder_, "a.jpg", 0), ramp(folder_, "b.jpg", 7)};
    show({paths[0], paths[1]}, kWidth * 4 + 12);
    Chain chain = this->chain();
    const std::vector<SeenFrame> seen = framesOf(chain, 5);
    const std::vector<uint8_t> greys[] = {greysOf(paths[0]), greysOf(paths[1])};
    EXPECT_NE(greys[0], greys[1]);
    for (size_t n = 0; n < 5; ++n) {
        for (size_t y = 0; y < kHeight; ++y) {
            for (size_t x = 0; x < kWidth; ++x) {
                const uint8_t grey = greys[n % 2][y * kWidth + x];
                ASSERT_EQ(seen[n].pixel(x, y), (std::vector<uint8_t>{grey, grey, grey, 255}))
                    << n << ": " << x << ", " << y;
            }
            for (size_t at = kWidth * 4; at < kWidth * 4 + 12; ++at) {
                ASSERT_EQ(seen[n].bytes[y * seen[n].bytesPerRow + at], 0xEE);
            }
        }
    }
}

TEST_F(Pictures, are_scaled_to_what_is_asked_for) {
    const std::string path = ramp(folder_, "a.jpg", 0);
    const std::vector<uint8_t> greys = greysOf(path);
    for (const lab::video::Size size :
         {lab::video::Size{32, 24}, {16, 12}, {128, 96}, {50, 40}, {1, 1}, {64, 12}}) {
        show(Json::array({path}));
        Chain chain = this->chain();
        chain.output->setPixelBufferAttributes(sized(size.width, size.height));
        const SeenFrame frame = framesOf(chain, 1).at(0);
        ASSERT_EQ(frame.width, size.width);
        ASSERT_EQ(frame.height, size.height);
        for (size_t y = 0; y < size.height; ++y) {
            for (size_t x = 0; x < size.width; ++x) {
                // A slope of two greys a block to the right and three down: what lies under a pixel's middle
                // is its grey, but for the steps between blocks.
                const size_t fromX = (2 * x + 1) * kWidth / (2 * size.width);
                const size_t fromY = (2 * y + 1) * kHeight / (2 * size.height);
                const int grey = greys[fromY * kWidth + fromX];
                const std::vector<uint8_t> pixel = frame.pixel(x, y);
                ASSERT_NEAR(pixel[0], grey, 6) << size.width << ": " << x << ", " << y;
                ASSERT_EQ(pixel[1], pixel[0]);
                ASSERT_EQ(pixel[2], pixel[0]);
                ASSERT_EQ(pixel[3], 255);
            }
        }
    }
}

TEST_F(Pictures, are_decoded_once_for_a_size) {
    const std::string path = ramp(folder_, "once.jpg", 3);
    show(Json::array({path}));
    Chain chain = this->chain();
    const SeenFrame first = framesOf(chain, 1).at(0);
    std::ofstream(path) << "no picture any more";
    EXPECT_EQ(framesOf(chain, 2).at(0).bytes, first.bytes);
    // Another size needs the file again, and does not come.
    chain.output->setPixelBufferAttributes(sized(kWidth / 2, kHeight / 2));
    const uint64_t missed = deviceState("v-1")["missedFrames"];
    const size_t before = chain.taker->count();
    chain.session->startRunning();
    EXPECT_TRUE(eventually([&] { return deviceState("v-1")["missedFrames"] > missed + 3; }));
    EXPECT_EQ(chain.taker->count(), before);
}

TEST_F(Pictures, that_cannot_be_decoded_are_left_out) {
    const std::string good = ramp(folder_, "good.jpg", 1);
    std::string cut = readFile(good);
    cut.resize(20);
    for (const std::string& bad : {std::string("x"), std::string(), cut}) {
        const std::string path = folder_.write("bad.jpg", bad);
        show(Json::array({path}));
        Chain chain = this->chain();
        chain.session->startRunning();
        EXPECT_TRUE(eventually([&] { return deviceState("v-1")["missedFrames"] > 3; }));
        EXPECT_EQ(chain.taker->count(), 0u);
        EXPECT_TRUE(chain.session->isRunning());
    }
}

}  // namespace
}  // namespace test
