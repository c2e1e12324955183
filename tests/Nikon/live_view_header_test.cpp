// The header of live-view frames: its fields, the three lengths, and frames that end too early.
#include <gtest/gtest.h>

#include <vector>

#include "Nikon/LiveViewHeader.h"

namespace nikon {
namespace {

using Frame = std::vector<uint8_t>;

/** A frame whose byte n is n, so that each field tells where it came from. */
Frame countingFrame(size_t size) {
    Frame frame(size);
    for (size_t i = 0; i < size; ++i) {
        frame[i] = static_cast<uint8_t>(i);
    }
    return frame;
}

Frame frameWithJpegAt(size_t size, size_t offset) {
    Frame frame(size);
    frame[offset] = 0xFF;
    frame[offset + 1] = 0xD8;
    return frame;
}

TEST(LiveViewHeader, is_read_from_its_places) {
    const auto header = readLiveViewHeader(countingFrame(513));
    ASSERT_TRUE(header);
    EXPECT_EQ(header->imageWidth, 0x0001);
    EXPECT_EQ(header->imageHeight, 0x0203);
    EXPECT_EQ(header->wholeWidth, 0x0405);
    EXPECT_EQ(header->wholeHeight, 0x0607);
    EXPECT_EQ(header->further[0], 0x0809);
    EXPECT_EQ(header->further[1], 0x0A0B);
    EXPECT_EQ(header->further[2], 0x0C0D);
    EXPECT_EQ(header->further[3], 0x0E0F);
    EXPECT_EQ(header->zoomWidth, 0x1011);
    EXPECT_EQ(header->zoomX, 0x1415);
    EXPECT_EQ(header->zoomY, 0x1617);
    EXPECT_EQ(header->focusDriving, 30);
    EXPECT_EQ(header->countdown, 0x2627);
}

TEST(LiveViewHeader, takes_both_bytes_of_the_zoom_height_from_one) {
    Frame frame = countingFrame(513);
    EXPECT_EQ(readLiveViewHeader(frame)->zoomHeight, 0x1212);
    frame[18] = 0x04;
    frame[19] = 0xB0;
    EXPECT_EQ(readLiveViewHeader(frame)->zoomHeight, 0x0404);
}

TEST(LiveViewHeader, takes_two_thirds_of_the_zoom_width_for_a_height_of_zero) {
    Frame frame(513);
    frame[16] = 0x03;
    frame[17] = 0x20;  // 800
    frame[19] = 0xFF;  // is not looked at
    EXPECT_EQ(readLiveViewHeader(frame)->zoomHeight, 533);
    frame[16] = frame[17] = 0xFF;
    EXPECT_EQ(readLiveViewHeader(frame)->zoomHeight, 43690);
    frame[16] = frame[17] = 0;
    EXPECT_EQ(readLiveViewHeader(frame)->zoomHeight, 0);
}

TEST(LiveViewHeader, is_not_read_from_frames_of_512_bytes_or_fewer) {
    for (const size_t size : {size_t{0}, size_t{1}, size_t{63}, size_t{64}, size_t{128}, size_t{512}}) {
        EXPECT_FALSE(readLiveViewHeader(countingFrame(size))) << size;
    }
    EXPECT_TRUE(readLiveViewHeader(countingFrame(513)));
}

TEST(LiveViewHeader, is_as_long_as_the_jpeg_start_mark_tells) {
    EXPECT_EQ(liveViewHeaderLength(frameWithJpegAt(600, 64)), 64u);
    EXPECT_EQ(liveViewHeaderLength(frameWithJpegAt(600, 128)), 128u);
    EXPECT_EQ(liveViewHeaderLength(frameWithJpegAt(600, 384)), 384u);
    EXPECT_EQ(liveViewHeaderLength(Frame(600)), 384u);
    // Half a mark is none.
    Frame half(600);
    half[64] = 0xFF;
    half[129] = 0xD8;
    EXPECT_EQ(liveViewHeaderLength(half), 384u);
    // The first of two counts.
    Frame both = frameWithJpegAt(600, 64);
    both[128] = 0xFF;
    both[129] = 0xD8;
    EXPECT_EQ(liveViewHeaderLength(both), 64u);
}

TEST(LiveViewHeader, of_a_short_frame_is_64_bytes_wherever_the_jpeg_starts) {
    EXPECT_EQ(liveViewHeaderLength(frameWithJpegAt(512, 128)), 64u);
    EXPECT_EQ(liveViewHeaderLength(Frame{}), 64u);
}

TEST(LiveViewHeader, is_stripped_from_the_jpeg_data) {
    const Frame frame = frameWithJpegAt(600, 128);
    const auto jpeg = jpegOf(frame);
    EXPECT_EQ(jpeg.data(), frame.data() + 128);
    EXPECT_EQ(jpeg.size(), 472u);
    const Frame small(512);
    EXPECT_EQ(jpegOf(small).data(), small.data() + 64);
    EXPECT_EQ(jpegOf(small).size(), 448u);
}

TEST(LiveViewHeader, leaves_nothing_of_a_frame_that_ends_before_the_jpeg_data) {
    EXPECT_TRUE(jpegOf(Frame{}).empty());
    EXPECT_TRUE(jpegOf(Frame(10)).empty());
    EXPECT_TRUE(jpegOf(Frame(64)).empty());
    const Frame frame(65);
    EXPECT_EQ(jpegOf(frame).size(), 1u);
}

}  // namespace
}  // namespace nikon
