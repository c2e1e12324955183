// Pictures of webcams: how they come out as BGRA.
#include <cmath>
#include <cstdlib>

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

}  // namespace
}  // namespace test
