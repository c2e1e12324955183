#include "host/export/ExportPipeline.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "frameworks/QuickTime/gstreamer/Encoders.h"
#include "frameworks/QuickTime/gstreamer/Examine.h"

namespace tarvo {
namespace {

using movies::Held;

constexpr GstClockTime kLookInterval = 100 * GST_MSECOND;

GstElement* parseBin(const std::string& description) {
    GError* error = nullptr;
    GstElement* const bin = gst_parse_bin_from_description_full(description.c_str(), TRUE, nullptr,
                                                                GST_PARSE_FLAG_FATAL_ERRORS, &error);
    const Held<GError> held(error);
    return bin;
}

/** The one bin from `first` to `second`; takes both, null ones too. */
GstElement* joinBins(GstElement* first, GstElement* second) {
    if (first == nullptr || second == nullptr) {
        for (GstElement* const left : {first, second}) {
            if (left != nullptr) gst_object_unref(gst_object_ref_sink(left));
        }
        return nullptr;
    }
    GstElement* const bin = gst_bin_new(nullptr);
    gst_bin_add_many(GST_BIN(bin), first, second, nullptr);
    if (!gst_element_link(first, second)) {
        gst_object_unref(gst_object_ref_sink(bin));
        return nullptr;
    }
    const Held<GstPad> sink(gst_element_get_static_pad(first, "sink"));
    const Held<GstPad> source(gst_element_get_static_pad(second, "src"));
    gst_element_add_pad(bin, gst_ghost_pad_new("sink", sink.get()));
    gst_element_add_pad(bin, gst_ghost_pad_new("src", source.get()));
    return bin;
}

std::string errorText(GstMessage* message) {
    GError* error = nullptr;
    gst_message_parse_error(message, &error, nullptr);
    const Held<GError> held(error);
    return error != nullptr ? error->message : "no reason is known";
}

}  // namespace

ExportPipeline::ExportPipeline(const ExportJob& job, const std::string& target)
    : job_(job),
      target_(target),
      pictures_(job.pictures, job.choice.frameRate > 0 ? job.choice.frameRate : job.pictureRate) {}

ExportPipeline::~ExportPipeline() {
    if (pipeline_) gst_element_set_state(pipeline_.get(), GST_STATE_NULL);
}

ExportResult ExportPipeline::prepare(std::string& problem) {
    const ExportResult found = examineSource(problem);
    if (found != ExportResult::done) return found;
    pipeline_.reset(GST_ELEMENT(gst_object_ref_sink(gst_pipeline_new(nullptr))));
    for (const auto step : {&ExportPipeline::addMuxer, &ExportPipeline::addVideo, &ExportPipeline::addSound,
                            &ExportPipeline::addSource}) {
        const ExportResult result = (this->*step)(problem);
        if (result != ExportResult::done) return result;
    }
    return ExportResult::done;
}

ExportResult ExportPipeline::examineSource(std::string& problem) {
    const bool isMovie = !job_.movie.empty();
    const std::string& path = isMovie ? job_.movie : job_.pictures.front();
    const OSErr status =
        isMovie ? movies::examine(path.c_str(), facts_) : movies::examinePicture(path.c_str(), facts_);
    if (status != 0) {
        problem = path + " is no " + (isMovie ? "movie" : "picture") + " that can be opened";
        return ExportResult::badSource;
    }
    if (!isMovie) facts_.seconds = pictures_.seconds();
    const bool hasVideo = job_.choice.hasVideo && facts_.hasVideo;
    const bool hasSound = job_.choice.hasSound && facts_.hasSound;
    if (hasVideo || hasSound) return ExportResult::done;
    problem = "nothing in " + path + " is to be exported by these settings";
    return ExportResult::badSource;
}

ExportResult ExportPipeline::addMuxer(std::string& problem) {
    muxer_ = gst_element_factory_make(movies::kMuxer, nullptr);
    GstElement* const sink = gst_element_factory_make("filesink", nullptr);
    if (muxer_ == nullptr || sink == nullptr) {
        problem = "GStreamer's QuickTime muxer is not installed";
        return ExportResult::notEncodable;
    }
    gst_bin_add_many(GST_BIN(pipeline_.get()), muxer_, sink, nullptr);
    gst_element_link(muxer_, sink);
    g_object_set(sink, "location", target_.c_str(), nullptr);
    if (job_.choice.preparesForStreaming) {
        // The frames wait in a second file until the tables are known that go in front of them.
        g_object_set(muxer_, "faststart", TRUE, "faststart-file", (target_ + ".frames").c_str(), nullptr);
    }
    return ExportResult::done;
}

/** What comes out of decoders, as the choice wants it to go into the encoder. */
std::string ExportPipeline::videoFilter() const {
    const movies::Formats formats = movies::listFormats();
    const movies::VideoFormat* const format = movies::findVideo(formats, job_.choice.videoCodec);
    const bool isSized = job_.choice.width > 0 && job_.choice.height > 0;
    uint32_t width = isSized ? job_.choice.width : facts_.width;
    uint32_t height = isSized ? job_.choice.height : facts_.height;
    if (format != nullptr && format->needsEvenSides) {
        width = std::max(width & ~1u, 2u);
        height = std::max(height & ~1u, 2u);
    }
    std::string caps = "video/x-raw,width=" + std::to_string(width) + ",height=" + std::to_string(height);
    // A size that was chosen is one of square pixels; what does not fill it gets bars.
    if (isSized) caps += ",pixel-aspect-ratio=1/1";
    std::string rate;
    if (job_.choice.frameRate > 0) {
        int numerator = 0;
        int denominator = 1;
        rateFraction(job_.choice.frameRate, numerator, denominator);
        rate = " ! videorate";
        caps += ",framerate=" + std::to_string(numerator) + "/" + std::to_string(denominator);
    }
    return "queue ! videoconvert ! videoscale add-borders=true" + rate + " ! capsfilter caps=" + caps +
           " ! videoconvert";
}

std::string ExportPipeline::soundFilter() const {
    std::string caps = "audio/x-raw";
    if (job_.choice.sampleRate > 0) caps += ",rate=" + std::to_string(std::lround(job_.choice.sampleRate));
    if (job_.choice.channels > 0) caps += ",channels=" + std::to_string(job_.choice.channels);
    return "queue ! audioconvert ! audioresample ! capsfilter caps=" + caps + " ! audioconvert";
}

bool ExportPipeline::addBranch(GstElement* branch, const char* muxerPad, GstElement** kept) {
    if (branch == nullptr || !gst_bin_add(GST_BIN(pipeline_.get()), branch)) return false;
    const Held<GstPad> end(gst_element_get_static_pad(branch, "src"));
    const Held<GstPad> start(gst_element_get_static_pad(branch, "sink"));
    const Held<GstPad> into(gst_element_request_pad_simple(muxer_, muxerPad));
    gst_pad_add_probe(start.get(), GST_PAD_PROBE_TYPE_BUFFER, reinterpret_cast<GstPadProbeCallback>(onBuffer),
                      this, nullptr);
    *kept = branch;
    return into != nullptr && gst_pad_link(end.get(), into.get()) == GST_PAD_LINK_OK;
}

ExportResult ExportPipeline::addVideo(std::string& problem) {
    if (!job_.choice.hasVideo || !facts_.hasVideo) return ExportResult::done;
    GstElement* const encoder = movies::makeVideoEncoder(job_.choice);
    if (encoder != nullptr && addBranch(joinBins(parseBin(videoFilter()), encoder), "video_%u", &video_)) {
        return ExportResult::done;
    }
    problem = "this machine cannot encode pictures as '" + atoms::typeText(job_.choice.videoCodec) + "'";
    return ExportResult::notEncodable;
}

ExportResult ExportPipeline::addSound(std::string& problem) {
    if (!job_.choice.hasSound || !facts_.hasSound) return ExportResult::done;
    GstElement* const encoder = movies::makeSoundEncoder(job_.choice);
    if (encoder != nullptr && addBranch(joinBins(parseBin(soundFilter()), encoder), "audio_%u", &sound_)) {
        return ExportResult::done;
    }
    problem = "this machine cannot encode sound as '" + atoms::typeText(job_.choice.soundCodec) + "'";
    return ExportResult::notEncodable;
}

ExportResult ExportPipeline::addSource(std::string& problem) {
    if (job_.movie.empty()) {
        GstElement* const source = pictures_.makeElement();
        if (source != nullptr && gst_bin_add(GST_BIN(pipeline_.get()), source) &&
            gst_element_link(source, video_)) {
            return ExportResult::done;
        }
        problem = "pictures like " + job_.pictures.front() + " cannot be decoded here";
        return ExportResult::badSource;
    }
    const Held<gchar> uri(gst_filename_to_uri(job_.movie.c_str(), nullptr));
    GstElement* const source = gst_element_factory_make("uridecodebin", nullptr);
    if (source == nullptr || !uri) {
        problem = job_.movie + " cannot be opened";
        return ExportResult::badSource;
    }
    g_object_set(source, "uri", uri.get(), nullptr);
    g_signal_connect(source, "pad-added", G_CALLBACK(onPadAdded), this);
    gst_bin_add(GST_BIN(pipeline_.get()), source);
    return ExportResult::done;
}

/** On a streaming thread. A stream that goes nowhere would hold the others up. */
void ExportPipeline::onPadAdded(GstElement* /*source*/, GstPad* pad, ExportPipeline* pipeline) {
    const Held<GstCaps> caps(gst_pad_query_caps(pad, nullptr));
    const bool isNamed = caps && gst_caps_get_size(caps.get()) > 0;
    const std::string_view name =
        isNamed ? gst_structure_get_name(gst_caps_get_structure(caps.get(), 0)) : "";
    GstElement* const branch = name.starts_with("video/")   ? pipeline->video_
                               : name.starts_with("audio/") ? pipeline->sound_
                                                            : nullptr;
    if (branch != nullptr) {
        const Held<GstPad> start(gst_element_get_static_pad(branch, "sink"));
        if (!gst_pad_is_linked(start.get()) && gst_pad_link(pad, start.get()) == GST_PAD_LINK_OK) return;
    }
    GstElement* const nowhere = gst_element_factory_make("fakesink", nullptr);
    g_object_set(nowhere, "sync", FALSE, "async", FALSE, nullptr);
    gst_bin_add(GST_BIN(pipeline->pipeline_.get()), nowhere);
    const Held<GstPad> end(gst_element_get_static_pad(nowhere, "sink"));
    gst_pad_link(pad, end.get());
    gst_element_sync_state_with_parent(nowhere);
}

GstPadProbeReturn ExportPipeline::onBuffer(GstPad* /*pad*/, GstPadProbeInfo* info, ExportPipeline* pipeline) {
    const GstClockTime time = GST_BUFFER_PTS(GST_PAD_PROBE_INFO_BUFFER(info));
    if (GST_CLOCK_TIME_IS_VALID(time)) {
        // Two branches move it; a bar that is off by one buffer hurts nobody.
        pipeline->position_ = std::max<int64_t>(pipeline->position_, static_cast<int64_t>(time));
    }
    return GST_PAD_PROBE_OK;
}

int ExportPipeline::percent() const {
    if (facts_.seconds <= 0) return 0;
    const double share = static_cast<double>(position_.load()) / (facts_.seconds * GST_SECOND);
    return static_cast<int>(std::clamp(share * 100, 0.0, 99.0));  // the last is for the end
}

ExportResult ExportPipeline::run(const ExportWatch& watch, std::string& problem) {
    const Held<GstBus> bus(gst_element_get_bus(pipeline_.get()));
    gst_element_set_state(pipeline_.get(), GST_STATE_PLAYING);
    constexpr auto kEnds = static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR);
    for (;;) {
        const Held<GstMessage> message(gst_bus_timed_pop_filtered(bus.get(), kLookInterval, kEnds));
        if (watch.isInterrupted != nullptr && watch.isInterrupted(watch.context)) {
            return ExportResult::interrupted;
        }
        if (message && GST_MESSAGE_TYPE(message.get()) == GST_MESSAGE_ERROR) {
            problem = errorText(message.get());
            return ExportResult::failed;
        }
        const bool isDone = message != nullptr;
        if (watch.progress != nullptr) watch.progress(watch.context, isDone ? 100 : percent());
        if (!isDone) continue;
        gst_element_set_state(pipeline_.get(), GST_STATE_NULL);  // closes the file
        return ExportResult::done;
    }
}

}  // namespace tarvo
