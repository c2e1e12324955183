#include "tests/QTKit/hardware/H264.h"

#include <gst/gst.h>

#include "tests/e2e/support/temp_folder.h"

namespace test {

namespace {

/** False unless it came to its end. */
bool play(const std::string& description) {
    GstElement* const pipeline = gst_parse_launch(description.c_str(), nullptr);
    if (pipeline == nullptr) return false;
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    GstBus* const bus = gst_element_get_bus(pipeline);
    constexpr auto kEnds = static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR);
    GstMessage* const end = gst_bus_timed_pop_filtered(bus, 60 * GST_SECOND, kEnds);
    const bool isPlayed = end != nullptr && GST_MESSAGE_TYPE(end) == GST_MESSAGE_EOS;
    if (end != nullptr) gst_message_unref(end);
    gst_object_unref(bus);
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(pipeline);
    return isPlayed;
}

}  // namespace

std::vector<uint8_t> h264Of(int width, int height, const std::string& pattern) {
    const e2e::TempFolder folder;
    const std::string file = folder.file("unit.h264");
    const std::string size = ",width=" + std::to_string(width) + ",height=" + std::to_string(height);
    const bool isCoded =
        play("videotestsrc num-buffers=1 pattern=" + pattern + " ! video/x-raw,format=I420" + size +
             " ! x264enc tune=zerolatency qp-min=1 qp-max=10 ! "
             "video/x-h264,stream-format=byte-stream,alignment=au" +
             " ! filesink location=" + file);
    return isCoded ? e2e::readFile(file) : std::vector<uint8_t>();
}

}  // namespace test
