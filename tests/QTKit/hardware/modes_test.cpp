// What webcams are asked for.
#include "tests/QTKit/hardware/Jpeg.h"
#include "tests/QTKit/hardware/fixture.h"

namespace test {
namespace {

class HardwareModes : public HardwareTest {
protected:
    /** What is agreed on with a webcam that offers that. */
    std::string askedOf(const std::string& caps, const PixelBufferAttributes& attributes = {}) {
        const FakeRef fake = webcam("fake modes", caps);
        fake->paint = [](int width, int height, const std::string& format, uint64_t) {
            if (format.empty()) return Raw{jpegOf(width, height, [](int, int) { return Rgb{9, 9, 9}; }), -1};
            return Raw{std::vector<uint8_t>(static_cast<size_t>(width) * static_cast<size_t>(height) * 4), 0};
        };
        plugIn(fake);
        {
            Chain chain = this->chain(fake);
            chain.output->setPixelBufferAttributes(attributes);
            chain.session->startRunning();
            EXPECT_TRUE(chain.taker->waitForMore(1)) << caps;
            chain.session->stopRunning();
            EXPECT_TRUE(eventually([&] { return chain.taker->underway == 0; }));
        }
        EXPECT_TRUE(eventually([&] { return fake->openCount == 0; }));
        pullOut(fake);
        return fake->lastCaps();
    }
    static bool has(const std::string& text, const std::string& part) {
        return text.find(part) != std::string::npos;
    }
};

/** As an ordinary webcam offers them. */
constexpr const char* kOrdinary =
    "video/x-raw,format=YUY2,width=640,height=480,framerate={(fraction)30/1,(fraction)15/1};"
    "video/x-raw,format=YUY2,width=1280,height=720,framerate=10/1;"
    "video/x-raw,format=YUY2,width=1920,height=1080,framerate=5/1;"
    "image/jpeg,width=640,height=480,framerate=30/1;"
    "image/jpeg,width=1280,height=720,framerate={(fraction)30/1,(fraction)25/1};"
    "image/jpeg,width=1920,height=1080,framerate=30/1;"
    "image/jpeg,width=3840,height=2160,framerate=30/1";

TEST_F(HardwareModes, are_large_and_smooth_without_a_wish) {
    const std::string caps = askedOf(kOrdinary);
    EXPECT_TRUE(has(caps, "image/jpeg") && has(caps, "width=(int)1920") && has(caps, "30/1")) << caps;
}

TEST_F(HardwareModes, are_plain_where_that_is_as_smooth) {
    const std::string caps = askedOf(
        "image/jpeg,width=640,height=480,framerate=30/1;video/x-raw,format=YUY2,width=640,height=480,"
        "framerate=30/1;video/x-raw,format=YUY2,width=320,height=240,framerate=30/1");
    EXPECT_TRUE(has(caps, "YUY2") && has(caps, "width=(int)640")) << caps;
}

TEST_F(HardwareModes, are_the_best_of_the_slow_ones_when_all_are) {
    const std::string caps = askedOf(
        "video/x-raw,format=YUY2,width=320,height=240,framerate=15/1;video/x-raw,format=YUY2,width=640,"
        "height=480,framerate=12/1;video/x-raw,format=YUY2,width=1280,height=720,framerate=2/1");
    EXPECT_TRUE(has(caps, "width=(int)640")) << caps;
}

TEST_F(HardwareModes, have_the_size_that_is_asked_for_if_there_is_one) {
    EXPECT_TRUE(has(askedOf(kOrdinary, sized(1280, 720)), "image/jpeg, width=(int)1280"));
    EXPECT_TRUE(has(askedOf(kOrdinary, sized(640, 480)), "format=(string)YUY2, width=(int)640"));
}

TEST_F(HardwareModes, are_larger_rather_than_smaller_otherwise) {
    EXPECT_TRUE(has(askedOf(kOrdinary, sized(1000, 600)), "width=(int)1280"));
    EXPECT_TRUE(has(askedOf(kOrdinary, sized(320, 240)), "width=(int)640"));
}

TEST_F(HardwareModes, are_taken_out_of_ranges) {
    const std::string caps =
        askedOf("video/x-raw,format=YUY2,width=[16,1920,16],height=[16,1080,2],framerate=[1/1,120/1]",
                sized(100, 50));
    EXPECT_TRUE(has(caps, "width=(int)96") && has(caps, "height=(int)50")) << caps;
}

TEST_F(HardwareModes, leave_interlaced_memory_and_graphics_cards_alone) {
    const std::string caps = askedOf(
        "video/x-raw(memory:DMABuf),format=YUY2,width=1280,height=720,framerate=30/1;"
        "video/x-raw(format:Interlaced),format=YUY2,width=1280,height=720,framerate=30/1;"
        "video/x-raw,format=YUY2,width=64,height=48,framerate=30/1");
    EXPECT_TRUE(has(caps, "width=(int)64")) << caps;
}

TEST_F(HardwareModes, do_without_a_device_s_word) {
    const FakeRef fake =
        webcam("fake promises", "video/x-raw,format=YUY2,width={(int)64,(int)640},height=48,framerate=30/1");
    fake->manner = Manner::NotItsWord;
    plugIn(fake);
    Chain chain = this->chain(fake);
    chain.session->startRunning();
    EXPECT_TRUE(chain.taker->waitForMore(1));
    EXPECT_EQ(chain.taker->seen().at(0).width, 64u);
}

}  // namespace
}  // namespace test
