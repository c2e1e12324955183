#include "tests/QuickTime/TestMovies.h"

#include <gtest/gtest.h>

#include "frameworks/QuickTime/gstreamer/Gst.h"

namespace {

std::string number(int value) {
    return std::to_string(value);
}

void runToEnd(const std::string& description) {
    ASSERT_TRUE(movies::startGst());
    const movies::Held<GstElement> pipeline(gst_parse_launch(description.c_str(), nullptr));
    ASSERT_NE(nullptr, pipeline) << description;
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    const movies::Held<GstBus> bus(gst_element_get_bus(pipeline.get()));
    const movies::Held<GstMessage> end(gst_bus_timed_pop_filtered(
        bus.get(), 60 * GST_SECOND, static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR)));
    gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    ASSERT_NE(nullptr, end) << "never ends: " << description;
    EXPECT_EQ(GST_MESSAGE_EOS, GST_MESSAGE_TYPE(end.get())) << description;
}

}  // namespace

void makeMovie(const std::string& path, const TestMovie& movie) {
    std::string description = "qtmux name=muxer ! filesink location=\"" + path + "\"";
    if (movie.hasVideo) {
        description += std::string(" videotestsrc pattern=") + movie.pattern +
                       " num-buffers=" + number(movie.frames) +
                       " ! video/x-raw,width=" + number(movie.width) + ",height=" + number(movie.height) +
                       ",framerate=" + number(movie.framesPerSecond) + "/1 ! jpegenc ! muxer.";
    }
    if (movie.hasSound) {
        const int samples = 44100 * movie.frames / movie.framesPerSecond;
        description += " audiotestsrc samplesperbuffer=441 num-buffers=" + number(samples / 441) +
                       " ! audio/x-raw,format=S16LE,rate=44100,channels=2 ! muxer.";
    }
    runToEnd(description);
}

void makePicture(const std::string& path, int width, int height, int frame) {
    const std::string encoder = path.ends_with(".png") ? "pngenc" : "jpegenc";
    runToEnd("videotestsrc num-buffers=1 pattern=ball timestamp-offset=" + number(frame * 100'000'000) +
             " ! video/x-raw,width=" + number(width) + ",height=" + number(height) + " ! " + encoder +
             " ! filesink location=\"" + path + "\"");
}
