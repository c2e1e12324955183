// The averaging loops against a reference written from the prescription, bit for bit.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "QTKitCapture/src/averaging.h"

namespace {

using Words = std::vector<uint32_t>;

/** One pixel at a time, one colour at a time, each sum forced through memory as a single float. */
Words reference(const std::vector<Words>& frames) {
    Words result;
    for (size_t pixel = 0; pixel < frames[0].size(); ++pixel) {
        uint32_t word = 0xFF;
        for (const int shift : {16, 8, 0}) {
            volatile float sum = 0.0F;
            for (const Words& frame : frames) {
                sum = sum + static_cast<float>(frame[pixel] >> shift & 0xFF);
            }
            volatile float quotient = sum / static_cast<float>(frames.size());
            word = word << 8 | static_cast<uint32_t>(quotient);
        }
        result.push_back(word);
    }
    return result;
}

Words averaged(const std::vector<Words>& frames) {
    FrameSums sums;
    EXPECT_TRUE(sums.allocate(frames[0].size()));
    for (const Words& frame : frames) {
        addFrame(sums, frame.data());
    }
    Words result(frames[0].size());
    averageFrames(sums, static_cast<int32_t>(frames.size()), result.data());
    return result;
}

std::vector<Words> noise(size_t frames, size_t pixels, uint32_t seed) {
    std::mt19937 random(seed);
    std::vector<Words> all(frames, Words(pixels));
    for (Words& frame : all) {
        for (uint32_t& word : frame) {
            word = static_cast<uint32_t>(random());
        }
    }
    return all;
}

TEST(Averaging, equals_the_reference_for_every_count_of_frames) {
    for (size_t frames = 1; frames <= 120; ++frames) {
        const std::vector<Words> input = noise(frames, 1500, static_cast<uint32_t>(frames));
        ASSERT_EQ(averaged(input), reference(input)) << frames;
    }
}

TEST(Averaging, treats_pixels_behind_the_last_whole_vector_like_all_others) {
    for (size_t pixels = 1; pixels <= 70; ++pixels) {
        const std::vector<Words> input = noise(7, pixels, static_cast<uint32_t>(pixels));
        ASSERT_EQ(averaged(input), reference(input)) << pixels;
    }
}

/** Sums whose quotients lie just at a whole number: the place where a multiplication by the reciprocal, or
 *  rounding, would differ. */
TEST(Averaging, truncates_quotients_of_single_precision) {
    for (size_t frames = 2; frames <= 120; ++frames) {
        std::vector<Words> input(frames, Words(256));
        for (size_t frame = 0; frame < frames; ++frame) {
            for (size_t pixel = 0; pixel < 256; ++pixel) {
                const auto value =
                    static_cast<uint32_t>(frame + 1 == frames && pixel > 0 ? pixel - 1 : pixel);
                input[frame][pixel] = value << 16 | value << 8 | value;
            }
        }
        ASSERT_EQ(averaged(input), reference(input)) << frames;
    }
}

TEST(Averaging, keeps_what_all_frames_agree_on_and_makes_it_opaque) {
    EXPECT_EQ(averaged(std::vector<Words>(120, Words{0x00123456, 0x80FFFFFF, 0x01000000})),
              (Words{0xFF123456, 0xFFFFFFFF, 0xFF000000}));
    EXPECT_EQ(averaged({{0x00010203}, {0x00020405}}), Words{0xFF010304}) << "1.5, 3 and 4";
}

}  // namespace
