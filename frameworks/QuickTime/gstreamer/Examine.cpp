#include "frameworks/QuickTime/gstreamer/Examine.h"

#include <gst/pbutils/pbutils.h>

#include <fstream>

#include "frameworks/QuickTime/gstreamer/Gst.h"
#include "frameworks/QuickTime/gstreamer/MovieTables.h"

namespace movies {
namespace {

/// A file on a slow disk or a sleeping network drive may take this long; the user is waiting.
constexpr GstClockTime kTimeLimit = 8 * GST_SECOND;

/** Whether the file's end can be read: what took so long was not the disk, then. */
bool canBeRead(const char* path) {
    std::ifstream file(path, std::ios::binary);
    file.seekg(-1, std::ios::end);
    return file.get() != std::ifstream::traits_type::eof();
}

struct ListFree {
    void operator()(GList* streams) const { gst_discoverer_stream_info_list_free(streams); }
};
using Streams = std::unique_ptr<GList, ListFree>;

std::string codecName(GstDiscovererStreamInfo* stream) {
    const Held<GstCaps> caps(gst_discoverer_stream_info_get_caps(stream));
    if (!caps || !gst_caps_is_fixed(caps.get())) return {};
    const Held<gchar> text(gst_pb_utils_get_codec_description(caps.get()));
    return text ? text.get() : "";
}

void addVideo(GstDiscovererStreamInfo* stream, bool takesPictures, MovieFacts& facts) {
    const auto* video = GST_DISCOVERER_VIDEO_INFO(stream);
    if (gst_discoverer_video_info_is_image(video) && !takesPictures) return;
    ++facts.trackCount;
    if (facts.hasVideo) return;
    facts.hasVideo = true;
    facts.videoCodec = codecName(stream);
    facts.width = gst_discoverer_video_info_get_width(video);
    facts.height = gst_discoverer_video_info_get_height(video);
    const guint denominator = gst_discoverer_video_info_get_framerate_denom(video);
    if (denominator > 0) {
        facts.frameRate =
            static_cast<double>(gst_discoverer_video_info_get_framerate_num(video)) / denominator;
    }
}

void addSound(GstDiscovererStreamInfo* stream, MovieFacts& facts) {
    const auto* sound = GST_DISCOVERER_AUDIO_INFO(stream);
    ++facts.trackCount;
    if (facts.hasSound) return;
    facts.hasSound = true;
    facts.soundCodec = codecName(stream);
    facts.sampleRate = gst_discoverer_audio_info_get_sample_rate(sound);
    facts.channels = gst_discoverer_audio_info_get_channels(sound);
}

void addTracks(GstDiscovererInfo* info, bool takesPictures, MovieFacts& facts) {
    const Streams videos(gst_discoverer_info_get_video_streams(info));
    for (GList* each = videos.get(); each != nullptr; each = each->next)
        addVideo(GST_DISCOVERER_STREAM_INFO(each->data), takesPictures, facts);
    const Streams sounds(gst_discoverer_info_get_audio_streams(info));
    for (GList* each = sounds.get(); each != nullptr; each = each->next)
        addSound(GST_DISCOVERER_STREAM_INFO(each->data), facts);
}

OSErr statusOf(GstDiscovererInfo* info, const MovieFacts& facts, const char* path) {
    switch (gst_discoverer_info_get_result(info)) {
        case GST_DISCOVERER_OK:
        case GST_DISCOVERER_MISSING_PLUGINS:  // what cannot be decoded may still be a movie
            return facts.trackCount > 0 ? OSErr{0} : kQTNotAMovie;
        case GST_DISCOVERER_TIMEOUT:
        case GST_DISCOVERER_BUSY:
            return canBeRead(path) ? kQTNotAMovie : kQTReadError;
        default:
            return kQTNotAMovie;
    }
}

OSErr discover(const char* path, bool takesPictures, MovieFacts& out) {
    // decodebin loses the demuxer's word that there is nothing to play when it comes right after the
    // demuxer's start (GStreamer 1.22; four of five runs here), and the discoverer would wait to its limit.
    if (lookForTables(path) == MovieTables::cutOff) return kQTNotAMovie;
    const Held<gchar> uri(gst_filename_to_uri(path, nullptr));
    const Held<GstDiscoverer> discoverer(gst_discoverer_new(kTimeLimit, nullptr));
    if (!uri || !discoverer) return kQTNotAMovie;
    GError* error = nullptr;
    const Held<GstDiscovererInfo> info(gst_discoverer_discover_uri(discoverer.get(), uri.get(), &error));
    const Held<GError> held(error);
    if (!info) return kQTNotAMovie;

    MovieFacts facts;
    addTracks(info.get(), takesPictures, facts);
    const OSErr status = statusOf(info.get(), facts, path);
    if (status != 0) return status;
    const GstClockTime duration = gst_discoverer_info_get_duration(info.get());
    if (GST_CLOCK_TIME_IS_VALID(duration)) facts.seconds = static_cast<double>(duration) / GST_SECOND;
    out = facts;
    return 0;
}

}  // namespace

OSErr examine(const char* path, MovieFacts& out) {
    return discover(path, false, out);
}

OSErr examinePicture(const char* path, MovieFacts& out) {
    return discover(path, true, out);
}

}  // namespace movies
