#include "host/export/PictureSource.h"

#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>

#include "frameworks/QuickTime/gstreamer/Gst.h"

namespace tarvo {
namespace {

bool hasExtension(const std::string& path, std::initializer_list<const char*> extensions) {
    for (const char* const extension : extensions) {
        const size_t length = std::strlen(extension);
        if (path.size() > length && strcasecmp(path.c_str() + path.size() - length, extension) == 0)
            return true;
    }
    return false;
}

/** Empty if there is no such kind. */
std::string describe(const std::string& path) {
    if (hasExtension(path, {".jpg", ".jpeg"})) return "jpegdec";
    if (hasExtension(path, {".png"})) return "pngdec";
    return {};
}

/** Null if the file cannot be read or is empty. */
GstBuffer* readBuffer(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(file), {}};
    if (content.empty()) return nullptr;
    GstBuffer* const buffer = gst_buffer_new_allocate(nullptr, content.size(), nullptr);
    gst_buffer_fill(buffer, 0, content.data(), content.size());
    return buffer;
}

}  // namespace

void rateFraction(double rate, int& numerator, int& denominator) {
    const double television = std::round(rate * 1.001);
    if (std::abs(television * 1000 / 1001 - rate) < 0.005 && std::abs(rate - std::round(rate)) > 0.005) {
        numerator = static_cast<int>(television) * 1000;
        denominator = 1001;
        return;
    }
    gst_util_double_to_fraction(rate, &numerator, &denominator);
}

GstElement* PictureSource::makeElement() {
    const std::string decoder = paths_.empty() ? "" : describe(paths_.front());
    if (decoder.empty()) return nullptr;
    int numerator = 0;
    int denominator = 1;
    rateFraction(rate_, numerator, denominator);
    const std::string kind = decoder == "jpegdec" ? "image/jpeg" : "image/png";
    const std::string description = "appsrc name=files format=time block=true max-bytes=1 caps=" + kind +
                                    ",framerate=" + std::to_string(numerator) + "/" +
                                    std::to_string(denominator) + " ! " + decoder;
    GError* error = nullptr;
    GstElement* const bin = gst_parse_bin_from_description_full(description.c_str(), TRUE, nullptr,
                                                                GST_PARSE_FLAG_FATAL_ERRORS, &error);
    const movies::Held<GError> held(error);
    if (bin == nullptr) return nullptr;
    const movies::Held<GstElement> source(gst_bin_get_by_name(GST_BIN(bin), "files"));
    g_signal_connect(source.get(), "need-data", G_CALLBACK(onNeedData), this);
    return bin;
}

void PictureSource::onNeedData(GstElement* source, guint /*size*/, PictureSource* pictures) {
    pictures->pushNext(source);
}

void PictureSource::pushNext(GstElement* source) {
    GstFlowReturn flow = GST_FLOW_OK;
    if (next_ == paths_.size()) {
        g_signal_emit_by_name(source, "end-of-stream", &flow);
        return;
    }
    const std::string& path = paths_[next_];
    GstBuffer* const buffer = readBuffer(path);
    if (buffer == nullptr) {
        GST_ELEMENT_ERROR(source, RESOURCE, READ, ("%s cannot be read or is empty", path.c_str()), (nullptr));
        g_signal_emit_by_name(source, "end-of-stream", &flow);
        return;
    }
    const double frame = GST_SECOND / rate_;
    GST_BUFFER_PTS(buffer) = static_cast<GstClockTime>(std::llround(frame * static_cast<double>(next_)));
    GST_BUFFER_DURATION(buffer) = static_cast<GstClockTime>(std::llround(frame));
    ++next_;
    g_signal_emit_by_name(source, "push-buffer", buffer, &flow);
    gst_buffer_unref(buffer);
}

}  // namespace tarvo
