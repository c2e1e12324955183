// Pictures of webcams: how they come out as BGRA.
#include <cmath>
#include <cstdlib>

#include "tests/QTKit/hardware/H264.h"
#include "tests/QTKit/hardware/Jpeg.h"
#include "tests/QTKit/hardware/fixture.h"

namespace test {
namespace {

class HardwareFrames : public HardwareTest {
protected:
    /** The first frame of it, whole. */
    static SeenFrame firstFrame(const Ref<QTCaptureDevice>& device,
                                const PixelBufferAttributes& attributes = {}) {
        Chain chain = chainOf(device);
        chain.taker->keepsBytes = true;
        chain.output->setPixelBufferAttributes(attributes);
        chain.session->startRunning();
        EXPECT_TRUE(chain.taker->waitForMore(1));
        chain.session->stopRunning();
        EXPECT_TRUE(eventually([&] { return chain.taker->underway == 0; }));
        return chain.taker->seen().empty() ? SeenFrame{} : chain.taker->seen().front();
    }
};

/** ITU-R BT.601, studio range, as the standard writes it. */
std::array<double, 3> bgrOf(const Yuv& shade) {
    const double luma = 255.0 / 219 * (shade.y - 16);
    const double blueness = 255.0 / 224 * (shade.u - 128);
    const double redness = 255.0 / 224 * (shade.v - 128);
    const double red = luma + 1.402 * redness;
    const double blue = luma + 1.772 * blueness;
    const double green = (luma - 0.299 * red - 0.114 * blue) / 0.587;
    return {std::clamp(blue, 0.0, 255.0), std::clamp(green, 0.0, 255.0), std::clamp(red, 0.0, 255.0)};
}

/** GStreamer computes in eight bits and cuts off what is below, so it may end a few shades too dark. */
void expectShades(const SeenFrame& frame, int width, int height) {
    double worst = 0;
    double sum = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const std::vector<uint8_t> pixel = frame.pixel(static_cast<size_t>(x), static_cast<size_t>(y));
            const std::array<double, 3> expected = bgrOf(shadeAt(x, y));
            for (size_t channel = 0; channel < 3; ++channel) {
                const double error = std::abs(pixel[channel] - expected[channel]);
                worst = std::max(worst, error);
                sum += error;
            }
            ASSERT_EQ(pixel[3], 255) << x << ", " << y;
        }
    }
    EXPECT_LE(worst, 6);
    EXPECT_LE(sum / (3.0 * width * height), 2.5);
}

TEST_F(HardwareFrames, of_yuyv_have_the_colours_of_the_standard) {
    plugIn(webcam("fake yuyv"));
    const SeenFrame frame = firstFrame(device("fake yuyv"));
    EXPECT_EQ(frame.width, 64u);
    EXPECT_EQ(frame.height, 48u);
    EXPECT_EQ(frame.dataSize, frame.bytesPerRow * frame.height);
    expectShades(frame, 64, 48);
}

TEST_F(HardwareFrames, leave_out_what_a_device_adds_to_its_rows) {
    const FakeRef fake = webcam("fake wide rows");
    fake->paint = [](int width, int height, const std::string&, uint64_t) { return yuyv(width, height, 36); };
    plugIn(fake);
    expectShades(firstFrame(device("fake wide rows")), 64, 48);
}

TEST_F(HardwareFrames, of_yuyv_end_at_black_and_white) {
    const FakeRef fake = webcam("fake greys");
    fake->paint = [](int width, int height, const std::string&, uint64_t) {
        Raw raw = yuyv(width, height);
        for (size_t at = 0; at < raw.bytes.size(); at += 4) {
            raw.bytes[at] = 16;
            raw.bytes[at + 2] = 235;
            raw.bytes[at + 1] = raw.bytes[at + 3] = 128;
        }
        return raw;
    };
    plugIn(fake);
    const SeenFrame frame = firstFrame(device("fake greys"));
    for (size_t channel = 0; channel < 3; ++channel) {
        EXPECT_EQ(frame.pixel(10, 10)[channel], 0);
        EXPECT_GE(frame.pixel(11, 10)[channel], 253);
    }
}

constexpr const char* kJpeg = "image/jpeg,width=64,height=48,framerate=30/1";

/** One colour for each block of a picture, so that coding changes next to nothing. */
Rgb blockColour(int x, int y) {
    return {static_cast<uint8_t>(x / 16 * 80), static_cast<uint8_t>(y / 16 * 120),
            static_cast<uint8_t>((x / 16 + y / 16) % 3 * 127)};
}

void expectBlocks(const SeenFrame& frame) {
    for (int y = 0; y < 48; ++y) {
        for (int x = 0; x < 64; ++x) {
            const std::vector<uint8_t> pixel = frame.pixel(static_cast<size_t>(x), static_cast<size_t>(y));
            const Rgb colour = blockColour(x, y);
            for (size_t channel = 0; channel < 3; ++channel) {
                ASSERT_NEAR(pixel[2 - channel], colour[channel], 6) << x << ", " << y << ", " << channel;
            }
            ASSERT_EQ(pixel[3], 255);
        }
    }
}

TEST_F(HardwareFrames, of_jpeg_have_the_colours_that_were_coded) {
    const FakeRef fake = webcam("fake jpeg", kJpeg);
    fake->paint = [](int, int, const std::string&, uint64_t) { return Raw{jpegOf(64, 48, blockColour), -1}; };
    plugIn(fake);
    const SeenFrame frame = firstFrame(device("fake jpeg"));
    EXPECT_EQ(frame.width, 64u);
    EXPECT_EQ(frame.height, 48u);
    expectBlocks(frame);
}

TEST_F(HardwareFrames, go_on_after_broken_ones) {
    const FakeRef fake = webcam("fake broken", kJpeg);
    fake->paint = [](int, int, const std::string&, uint64_t number) {
        std::vector<uint8_t> bytes = jpegOf(64, 48, blockColour);
        if (number % 2 == 0) bytes.assign(100, 0x55);
        return Raw{bytes, -1};
    };
    plugIn(fake);
    const Ref<Hearer> hearer = Ref<Hearer>::adopt(new Hearer);
    Chain chain = this->chain(fake);
    chain.taker->keepsBytes = true;
    chain.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(5));
    EXPECT_TRUE(hearer->heard().empty());
    expectBlocks(chain.taker->seen().back());
}

TEST_F(HardwareFrames, of_h264_have_the_colours_that_were_coded) {
    const std::vector<uint8_t> red = h264Of(64, 48, "red");
    const std::vector<uint8_t> blue = h264Of(64, 48, "blue");
    ASSERT_FALSE(red.empty() || blue.empty());
    const FakeRef fake = webcam(
        "fake h264", "video/x-h264,stream-format=byte-stream,alignment=au,width=64,height=48,framerate=30/1");
    std::atomic<bool> isBlue{false};
    fake->paint = [&](int, int, const std::string&, uint64_t) { return Raw{isBlue ? blue : red, -1}; };
    plugIn(fake);
    Chain chain = this->chain(fake);
    chain.taker->keepsBytes = true;
    const auto shows = [&](const std::vector<int>& bgr) {
        const std::vector<SeenFrame> seen = chain.taker->seen();
        if (seen.empty() || seen.back().width != 64 || seen.back().height != 48) return false;
        const std::vector<uint8_t> pixel = seen.back().pixel(32, 24);
        for (size_t channel = 0; channel < bgr.size(); ++channel) {
            if (std::abs(pixel[channel] - bgr[channel]) > 6) return false;
        }
        return pixel[3] == 255;
    };
    chain.session->startRunning();
    EXPECT_TRUE(eventually([&] { return shows({0, 0, 255}); }));
    isBlue = true;
    EXPECT_TRUE(eventually([&] { return shows({255, 0, 0}); }));
    chain.session->stopRunning();
    // Nobody paints any more when its colours go.
    EXPECT_TRUE(eventually([&] { return fake->openCount == 0; }));
}

/** What a webcam of BGRA shows, with rows of that length. */
FakeRef bgra(const FakeRef& fake, int bytesPerRow) {
    fake->paint = [bytesPerRow](int, int height, const std::string&, uint64_t) {
        Raw raw;
        raw.bytesPerRow = bytesPerRow;
        for (int at = 0; at < bytesPerRow * height; ++at) {
            raw.bytes.push_back(static_cast<uint8_t>(at / bytesPerRow * 5 + at % bytesPerRow));
        }
        return raw;
    };
    return fake;
}

void expectSameBytes(const SeenFrame& frame) {
    for (size_t y = 0; y < 48; ++y) {
        for (size_t x = 0; x < 64; ++x) {
            for (size_t channel = 0; channel < 3; ++channel) {
                ASSERT_EQ(frame.pixel(x, y)[channel], static_cast<uint8_t>(y * 5 + x * 4 + channel));
            }
        }
    }
}

constexpr const char* kBgra = "video/x-raw,format=BGRA,width=64,height=48,framerate=30/1";

TEST_F(HardwareFrames, keep_the_device_s_own_rows) {
    plugIn(bgra(webcam("fake bgra", kBgra), 64 * 4 + 32));
    const SeenFrame frame = firstFrame(device("fake bgra"));
    EXPECT_EQ(frame.bytesPerRow, 64u * 4 + 32);
    EXPECT_EQ(frame.dataSize, frame.bytesPerRow * 48);
    expectSameBytes(frame);
}

TEST_F(HardwareFrames, have_rows_of_whole_pixels) {
    plugIn(bgra(webcam("fake odd rows", kBgra), 64 * 4 + 6));
    const SeenFrame frame = firstFrame(device("fake odd rows"));
    EXPECT_EQ(frame.bytesPerRow % 4, 0u);
    expectSameBytes(frame);
}

TEST_F(HardwareFrames, have_exactly_the_size_that_is_asked_for) {
    plugIn(webcam("fake sizes"));
    const Ref<QTCaptureDevice> device = this->device("fake sizes");
    using Size = std::pair<size_t, size_t>;
    for (const auto& [width, height] :
         {Size{32, 24}, Size{128, 96}, Size{50, 70}, Size{33, 17}, Size{64, 48}}) {
        const SeenFrame frame =
            firstFrame(device, sized(static_cast<double>(width), static_cast<double>(height)));
        EXPECT_EQ(frame.width, width);
        EXPECT_EQ(frame.height, height);
    }
}

TEST_F(HardwareFrames, fill_another_shape_without_borders) {
    const FakeRef fake = webcam("fake white");
    fake->paint = [](int width, int height, const std::string&, uint64_t) {
        Raw raw = yuyv(width, height);
        for (size_t at = 0; at < raw.bytes.size(); at += 2) {
            raw.bytes[at] = 235;
            raw.bytes[at + 1] = 128;
        }
        return raw;
    };
    plugIn(fake);
    const SeenFrame frame = firstFrame(device("fake white"), sized(200, 20));
    for (const auto& [x, y] : {std::pair<size_t, size_t>{0, 0}, {199, 0}, {0, 19}, {199, 19}, {100, 10}}) {
        EXPECT_GE(frame.pixel(x, y)[0], 253) << x << ", " << y;
    }
}

TEST_F(HardwareFrames, stay_readable_when_everything_else_is_gone) {
    const FakeRef fake = webcam("fake one");
    plugIn(fake);
    std::vector<Ref<CVImageBuffer>> kept;
    {
        Chain chain = this->chain(fake);
        chain.taker->keepsFrames = true;
        chain.session->startRunning();
        ASSERT_TRUE(chain.taker->waitForMore(12));
        chain.session->stopRunning();
        ASSERT_TRUE(eventually([&] { return chain.taker->underway == 0; }));
        kept = chain.taker->takeKept();
    }
    pullOut(fake);
    ASSERT_TRUE(eventually([&] { return fake->openCount == 0; }));
    const std::vector<uint8_t> first = bytesOf(*kept.front());
    for (const Ref<CVImageBuffer>& frame : kept)
        EXPECT_EQ(bytesOf(*frame), first);
}

TEST_F(HardwareFrames, show_their_memory_only_while_it_is_locked) {
    const FakeRef fake = webcam("fake one");
    plugIn(fake);
    Chain chain = this->chain(fake);
    chain.taker->keepsFrames = true;
    chain.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(1));
    chain.session->stopRunning();
    ASSERT_TRUE(eventually([&] { return chain.taker->underway == 0; }));
    const std::vector<Ref<CVImageBuffer>> kept = chain.taker->takeKept();
    CVImageBuffer& frame = *kept.front();
    EXPECT_EQ(frame.baseAddress(), nullptr);
    EXPECT_EQ(frame.lockBaseAddress(), kCVReturnSuccess);
    EXPECT_EQ(frame.lockBaseAddress(), kCVReturnSuccess);
    frame.unlockBaseAddress();
    EXPECT_NE(frame.baseAddress(), nullptr);
    frame.unlockBaseAddress();
    EXPECT_EQ(frame.baseAddress(), nullptr);
}

TEST_F(HardwareFrames, are_new_however_slow_the_host_is) {
    const FakeRef fake = webcam("fake one");
    fake->paint = [](int width, int height, const std::string&, uint64_t number) {
        Raw raw = yuyv(width, height);
        std::fill(raw.bytes.begin(), raw.bytes.end(), 128);
        raw.bytes[0] = static_cast<uint8_t>(16 + std::min<uint64_t>(number, 200));
        return raw;
    };
    plugIn(fake);
    const auto gate = std::make_shared<Gate>();
    Chain chain = this->chain(fake);
    chain.taker->keepsBytes = true;
    chain.taker->setWork([gate](CVImageBuffer&) { gate->pass(); });
    chain.session->startRunning();
    ASSERT_TRUE(gate->waitForSomebody());
    ASSERT_TRUE(eventually([&] { return fake->frames >= 150; }));
    gate->open();
    ASSERT_TRUE(chain.taker->waitForMore(2));
    chain.session->stopRunning();
    ASSERT_TRUE(eventually([&] { return chain.taker->underway == 0; }));
    // The one that waited is the last but a few that are on their way through the pipeline.
    const double number = chain.taker->seen().at(1).pixel(0, 0)[0] * 219.0 / 255;
    EXPECT_GE(number, 140);
}

}  // namespace
}  // namespace test
