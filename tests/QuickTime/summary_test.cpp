#include "frameworks/QuickTime/gtk/Summary.h"

#include <gtest/gtest.h>

namespace movies {
namespace {

MovieFacts film() {
    return {.name = "film.mov",
            .fileBytes = 12'345'678,
            .seconds = 61.6,
            .hasVideo = true,
            .videoCodec = "H.264",
            .width = 1280,
            .height = 720,
            .frameRate = 30000 / 1001.0,
            .hasSound = true,
            .soundCodec = "MPEG-4 AAC",
            .sampleRate = 44100,
            .channels = 2,
            .trackCount = 2};
}

Formats someFormats() {
    return {.video = {{.codec = atoms::kH264,
                       .name = "H.264",
                       .hasQuality = true,
                       .hasDataRate = true,
                       .hasKeyFrames = true,
                       .needsEvenSides = true,
                       .leastBits = 0.01,
                       .bestBits = 1},
                      {.codec = atoms::kPng, .name = "PNG", .leastBits = 12, .bestBits = 12}},
            .sound = {{.codec = atoms::kAac, .name = "AAC", .hasDataRate = true},
                      {.codec = atoms::kPcmLittleEndian, .name = "Uncompressed", .sampleBits = 16}}};
}

double estimate(const atoms::ExportChoice& choice) {
    return estimateBytes(choice, film(), someFormats(), 10);
}

TEST(Summary, tells_what_a_movie_is) {
    EXPECT_EQ(
        "1:02 \u00B7 12 MB \u00B7 2 tracks\n"
        "Picture: 1280 \u00D7 720 \u00B7 29.97 frames a second \u00B7 H.264\n"
        "Sound: 44.1 kHz \u00B7 stereo \u00B7 MPEG-4 AAC",
        movieText(film()));
    EXPECT_EQ("0:00 \u00B7 0 bytes \u00B7 1 track\nPicture: none\nSound: none", movieText({.trackCount = 1}));
}

TEST(Summary, estimates_exactly_what_data_rates_say) {
    EXPECT_DOUBLE_EQ(10 * (500'000 + 16'000.0), estimate({.dataRate = 500'000}));
    EXPECT_DOUBLE_EQ(10 * (500'000 + 8'000.0), estimate({.dataRate = 500'000, .soundDataRate = 64'000}));
    EXPECT_DOUBLE_EQ(10 * 44100 * 2 * 2.0,
                     estimate({.hasVideo = false, .soundCodec = atoms::kPcmLittleEndian}));
    EXPECT_DOUBLE_EQ(
        10 * 48000 * 2.0,
        estimate(
            {.hasVideo = false, .soundCodec = atoms::kPcmLittleEndian, .sampleRate = 48000, .channels = 1}));
}

TEST(Summary, estimates_more_for_more) {
    const double usual = estimate({});
    EXPECT_GT(estimate({.quality = atoms::kBestQuality}), usual);
    EXPECT_LT(estimate({.quality = atoms::kLowQuality}), usual);
    EXPECT_GT(estimate({.frameRate = 60}), usual);
    EXPECT_LT(estimate({.width = 640, .height = 360}), usual);
    EXPECT_LT(estimate({.hasSound = false}), usual);
}

TEST(Summary, pays_no_heed_to_a_data_rate_that_a_codec_cannot_keep) {
    EXPECT_DOUBLE_EQ(estimate({.videoCodec = atoms::kPng}),
                     estimate({.videoCodec = atoms::kPng, .dataRate = 1000}));
}

TEST(Summary, estimates_nothing_for_what_is_switched_off_or_not_there) {
    EXPECT_EQ(0, estimate({.hasVideo = false, .hasSound = false}));
    EXPECT_EQ(0, estimate({.videoCodec = atoms::typeOf("none"), .soundCodec = atoms::typeOf("none")}));
    EXPECT_EQ(0, estimateBytes({}, {}, someFormats(), 10));
}

TEST(Summary, tells_what_will_come_out) {
    EXPECT_EQ("About 5.2 MB \u00B7 H.264 \u00B7 640 \u00D7 360 \u00B7 25 frames a second \u00B7 AAC",
              choiceText({.dataRate = 500'000, .frameRate = 25, .width = 640, .height = 360}, film(),
                         someFormats(), 10));
    EXPECT_EQ("About 160 kB \u00B7 AAC", choiceText({.hasVideo = false}, film(), someFormats(), 10));
    EXPECT_EQ("Nothing is left to export: switch picture or sound on",
              choiceText({.hasVideo = false, .hasSound = false}, film(), someFormats(), 10));
}

TEST(Summary, writes_numbers_as_people_do) {
    EXPECT_EQ("25", decimalText(25));
    EXPECT_EQ("23.976", decimalText(24000 / 1001.0));
    EXPECT_EQ("0", decimalText(0));
    EXPECT_EQ("1:00:00", durationText(3599.6));
    EXPECT_EQ("0:00", durationText(-3));
    EXPECT_EQ("999 bytes", bytesText(999));
    EXPECT_EQ("1.0 kB", bytesText(1000));
    EXPECT_EQ("10 MB", bytesText(9'960'000));
    EXPECT_EQ("1.0 GB", bytesText(999'600'000));
    EXPECT_EQ("6 channels", channelsText(6));
}

}  // namespace
}  // namespace movies
