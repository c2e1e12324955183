// The units of the webcam commands that need no helper.
#include <gtest/gtest.h>

#include <filesystem>

#include "host/tarvo/FrameFiles.h"
#include "host/tarvo/PictureSheet.h"
#include "host/tarvo/Png.h"
#include "host/tarvo/WebcamSettings.h"
#include "tests/host/PngReader.h"
#include "tests/host/TempFolder.h"

namespace {

using tarvo::VideoFrame;

VideoFrame filled(int width, int height, uint32_t word) {
    return {width, height, std::vector<uint32_t>(static_cast<size_t>(width * height), word)};
}

VideoFrame counted(int width, int height) {
    VideoFrame frame = filled(width, height, 0);
    for (size_t i = 0; i < frame.pixels.size(); ++i)
        frame.pixels[i] = 0x80000000U | static_cast<uint32_t>(i * 7919);
    return frame;
}

TEST(Png, KeepsEveryColourAndLeavesAlphaOut) {
    const fake::TempFolder folder;
    const VideoFrame frame = counted(37, 11);
    for (const auto effort : {tarvo::PngEffort::fast, tarvo::PngEffort::thorough}) {
        const auto png = tarvo::encodePng(frame, effort);
        ASSERT_TRUE(png.ok()) << png.error.text;
        const auto file = folder.write("x.png", {png.value.begin(), png.value.end()});
        const auto picture = fake::readPng(file);
        ASSERT_EQ(picture.width, 37);
        ASSERT_EQ(picture.height, 11);
        for (size_t i = 0; i < picture.pixels.size(); ++i)
            ASSERT_EQ(picture.pixels[i], frame.pixels[i] & 0xFFFFFF) << i;
    }
}

TEST(Png, IsMadeOfOnePixelButNotOfNone) {
    EXPECT_TRUE(tarvo::encodePng(filled(1, 1, 5), tarvo::PngEffort::fast).ok());
    EXPECT_EQ(tarvo::encodePng({}, tarvo::PngEffort::fast).error.failure, tarvo::Failure::badArgument);
}

TEST(PictureSheet, ShowsTheMiddlesSideBySide) {
    const std::vector<VideoFrame> pictures{counted(6, 5), filled(2, 1, 7)};
    const auto sheet = tarvo::sideBySide(pictures, 4, 3, 1);
    EXPECT_EQ(sheet.width, 9);
    EXPECT_EQ(sheet.height, 3);
    const auto at = [&](int x, int y) { return sheet.pixels[static_cast<size_t>(y * 9 + x)]; };
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 4; ++x)
            EXPECT_EQ(at(x, y), pictures[0].pixels[static_cast<size_t>((y + 1) * 6 + x + 1)]) << x << y;
        EXPECT_EQ(at(4, y), 0xFFFFFFFF) << "the gap";
    }
    // The smaller one stands in the middle of its place.
    for (int y = 0; y < 3; ++y) {
        for (int x = 5; x < 9; ++x)
            EXPECT_EQ(at(x, y), y == 1 && (x == 6 || x == 7) ? 7U : 0xFFFFFFFFU) << x << y;
    }
}

TEST(PictureSheet, StandsNothingWhereThereIsNoPicture) {
    EXPECT_TRUE(tarvo::sideBySide({}, 4, 3, 1).isEmpty());
    const std::vector<VideoFrame> pictures(2);
    EXPECT_EQ(tarvo::sideBySide(pictures, 2, 2, 0), filled(4, 2, 0xFFFFFFFF));
}

TEST(WebcamSettings, AreCrossedWhereTheProtocolCrossesThem) {
    EXPECT_EQ(tarvo::webcamSettings().size(), 9U);
    const auto* exposure = tarvo::findWebcamSetting("exposure");
    const auto* automatic = tarvo::findWebcamSetting("auto-exposure");
    ASSERT_TRUE(exposure != nullptr && automatic != nullptr);
    EXPECT_EQ(exposure->written, 1);
    EXPECT_EQ(exposure->read, 0);
    EXPECT_EQ(automatic->written, 0);
    EXPECT_EQ(automatic->read, 1);
}

TEST(WebcamSettings, TakeTheirRangeAndNothingElse) {
    const auto value = [](const std::string& text) {
        const auto assignment = tarvo::parseWebcamAssignment(text);
        return assignment ? assignment->value : -1.0F;
    };
    EXPECT_EQ(value("gain=0"), 0.0F);
    EXPECT_EQ(value("gain=1"), 1.0F);
    EXPECT_EQ(value("gain=0.25"), 0.25F);
    EXPECT_EQ(value("auto-exposure=on"), 1.0F);
    EXPECT_EQ(value("auto-exposure=0"), 0.0F);
    for (const char* text : {"gain=1.0001", "gain=-0.0001", "gain=NAN", "gain=infinity", "gain=1e99",
                             "gain= 1", "auto-exposure=yes", "=1", "gain=", "gain", "Gain=1", ""})
        EXPECT_EQ(value(text), -1.0F) << text;
}

TEST(FrameFiles, WritesIntoWhatIsNoFileAndLeavesItThere) {
    const std::vector<uint8_t> bytes{1, 2, 3};
    for (const bool mayOverwrite : {false, true}) {
        EXPECT_FALSE(tarvo::FrameFiles::writeAtomically("/dev/null", bytes, mayOverwrite));
        const auto full = tarvo::FrameFiles::writeAtomically("/dev/full", bytes, mayOverwrite);
        EXPECT_EQ(full.failure, tarvo::Failure::files);
        EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
    }
    const fake::TempFolder folder;
    EXPECT_EQ(tarvo::FrameFiles::writeAtomically(folder.path(), bytes, true).failure, tarvo::Failure::files);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

}  // namespace
