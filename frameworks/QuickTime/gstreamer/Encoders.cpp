#include "frameworks/QuickTime/gstreamer/Encoders.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "frameworks/QuickTime/gstreamer/Gst.h"

namespace movies {
namespace {

using atoms::ExportChoice;

/** The elements of an encoder and what they are told, as the text of a bin. */
using Describe = std::string (*)(const ExportChoice& choice);

struct VideoEncoder {
    VideoFormat format;
    Describe describe;
};
struct SoundEncoder {
    SoundFormat format;
    Describe describe;
};

std::string number(uint32_t value) {
    return std::to_string(value);
}

/** The scale of qualities onto an encoder's own, which may run downwards. */
uint32_t scaled(uint32_t quality, double least, double best) {
    const double share = std::min(quality, atoms::kBestQuality) / double{atoms::kBestQuality};
    return static_cast<uint32_t>(std::lround(least + (best - least) * share));
}

std::string keyFrames(const ExportChoice& choice) {
    return choice.keyFrameInterval > 0 ? " key-int-max=" + number(choice.keyFrameInterval) : "";
}

uint32_t kilobits(const ExportChoice& choice, uint32_t most) {
    return std::clamp(choice.dataRate / 125, 1u, most);
}

// The worst and the best quantiser that still make sense to look at.
constexpr double kWorstQuantiser = 44;
constexpr double kBestQuantiser = 10;

/// Encoders take finer colours when they are offered, and few players can show what comes out then.
constexpr const char* kPlayable = "capsfilter caps=video/x-raw,format=I420 ! ";

std::string describeH264(const ExportChoice& choice) {
    const std::string encoder = std::string(kPlayable) + "x264enc" + keyFrames(choice);
    if (choice.dataRate > 0) return encoder + " pass=cbr bitrate=" + number(kilobits(choice, 2'000'000));
    if (choice.quality >= atoms::kLosslessQuality) return encoder + " pass=quant quantizer=0";
    return encoder +
           " pass=qual quantizer=" + number(scaled(choice.quality, kWorstQuantiser, kBestQuantiser));
}

std::string describeHevc(const ExportChoice& choice) {
    std::string encoder = std::string(kPlayable) + "x265enc log-level=1" + keyFrames(choice);
    if (choice.dataRate > 0) {
        encoder += " bitrate=" + number(kilobits(choice, 100'000));
    } else if (choice.quality >= atoms::kLosslessQuality) {
        encoder += " option-string=lossless=1";
    } else {
        encoder += " option-string=crf=" + number(scaled(choice.quality, kWorstQuantiser, kBestQuantiser));
    }
    // The encoder writes a stream without a movie's framing; the parser puts it into one.
    return encoder + " ! h265parse";
}

std::string describeJpeg(const ExportChoice& choice) {
    return std::string(kPlayable) + "jpegenc quality=" + number(scaled(choice.quality, 10, 100));
}

std::string describePng(const ExportChoice&) {
    return "pngenc";
}

std::string describeProRes(const ExportChoice&) {
    return "capsfilter caps=video/x-raw,format=I422_10LE ! avenc_prores_ks profile=standard ! capsfilter "
           "caps=video/x-prores,variant=standard";
}

std::string describeUncompressed(const ExportChoice&) {
    return "capsfilter caps=video/x-raw,format=UYVY";
}

std::string soundBits(const ExportChoice& choice) {
    return number(choice.soundDataRate > 0 ? choice.soundDataRate : kUsualSoundDataRate);
}

std::string describeAac(const ExportChoice& choice) {
    return "avenc_aac bitrate=" + soundBits(choice);
}

std::string describeFreeAac(const ExportChoice& choice) {
    return "voaacenc bitrate=" + soundBits(choice);
}

std::string describeLittleEndian(const ExportChoice&) {
    return "capsfilter caps=audio/x-raw,format=S16LE,layout=interleaved";
}

std::string describeBigEndian(const ExportChoice&) {
    return "capsfilter caps=audio/x-raw,format=S16BE,layout=interleaved";
}

std::string describeAlac(const ExportChoice&) {
    return "avenc_alac";
}

std::string describeALaw(const ExportChoice&) {
    return "alawenc";
}

std::string describeMuLaw(const ExportChoice&) {
    return "mulawenc";
}

// MPEG-4 video is not among them: QuickTime movies that the one encoder there is makes of it play at a wrong
// speed (GStreamer 1.22).
constexpr VideoEncoder kVideoEncoders[] = {
    {{atoms::kH264, "H.264", true, true, true, true, 0.01, 0.9}, describeH264},
    {{atoms::kHevc, "HEVC (H.265)", true, true, true, true, 0.006, 0.6}, describeHevc},
    {{atoms::kProRes422, "ProRes 422", false, false, false, true, 2.3, 2.3}, describeProRes},
    {{atoms::kPhotoJpeg, "Photo - JPEG", true, false, false, false, 0.3, 6}, describeJpeg},
    {{atoms::kPng, "PNG", false, false, false, false, 12, 12}, describePng},
    {{atoms::kUncompressedVideo, "Uncompressed 4:2:2", false, false, false, true, 16, 16},
     describeUncompressed},
};

constexpr SoundEncoder kSoundEncoders[] = {
    {{atoms::kAac, "AAC", true, 0}, describeAac},
    {{atoms::kAac, "AAC", true, 0}, describeFreeAac},
    {{atoms::kPcmLittleEndian, "Uncompressed, little-endian", false, 16}, describeLittleEndian},
    {{atoms::kPcmBigEndian, "Uncompressed, big-endian", false, 16}, describeBigEndian},
    {{atoms::kAlac, "Apple Lossless", false, 10}, describeAlac},
    {{atoms::kALaw, "A-law 2:1", false, 8}, describeALaw},
    {{atoms::kMuLaw, "\u00B5-law 2:1", false, 8}, describeMuLaw},
};

GstElement* makeBin(const std::string& description) {
    GError* error = nullptr;
    GstElement* const bin = gst_parse_bin_from_description_full(description.c_str(), TRUE, nullptr,
                                                                GST_PARSE_FLAG_FATAL_ERRORS, &error);
    const Held<GError> held(error);
    return bin;
}

bool canMake(const std::string& description) {
    GstElement* const bin = makeBin(description);
    if (bin == nullptr) return false;
    const Held<GstElement> held(GST_ELEMENT(gst_object_ref_sink(bin)));
    // A codec's library is opened when its element gets ready, not before.
    const bool isReady = gst_element_set_state(bin, GST_STATE_READY) != GST_STATE_CHANGE_FAILURE;
    gst_element_set_state(bin, GST_STATE_NULL);
    return isReady;
}

bool hasMuxer() {
    const Held<GstElementFactory> factory(gst_element_factory_find(kMuxer));
    return factory != nullptr;
}

}  // namespace

Formats listFormats() {
    Formats formats;
    if (!hasMuxer()) return formats;
    const ExportChoice usual;
    for (const VideoEncoder& encoder : kVideoEncoders) {
        if (canMake(encoder.describe(usual))) formats.video.push_back(encoder.format);
    }
    for (const SoundEncoder& encoder : kSoundEncoders) {
        const bool isListed = findSound(formats, encoder.format.codec) != nullptr;
        if (!isListed && canMake(encoder.describe(usual))) formats.sound.push_back(encoder.format);
    }
    return formats;
}

const VideoFormat* findVideo(const Formats& formats, uint32_t codec) {
    const auto found = std::find_if(formats.video.begin(), formats.video.end(),
                                    [codec](const VideoFormat& format) { return format.codec == codec; });
    return found != formats.video.end() ? &*found : nullptr;
}

const SoundFormat* findSound(const Formats& formats, uint32_t codec) {
    const auto found = std::find_if(formats.sound.begin(), formats.sound.end(),
                                    [codec](const SoundFormat& format) { return format.codec == codec; });
    return found != formats.sound.end() ? &*found : nullptr;
}

GstElement* makeVideoEncoder(const ExportChoice& choice) {
    for (const VideoEncoder& encoder : kVideoEncoders) {
        if (encoder.format.codec == choice.videoCodec) return makeBin(encoder.describe(choice));
    }
    return nullptr;
}

GstElement* makeSoundEncoder(const ExportChoice& choice) {
    for (const SoundEncoder& encoder : kSoundEncoders) {
        if (encoder.format.codec != choice.soundCodec) continue;
        GstElement* const bin = makeBin(encoder.describe(choice));
        if (bin != nullptr) return bin;
    }
    return nullptr;
}

}  // namespace movies
