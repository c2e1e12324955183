#include "frameworks/QuickTime/atoms/ExportChoice.h"

#include <array>
#include <cmath>

namespace atoms {
namespace {

constexpr uint32_t kVideo = typeOf("vide");
constexpr uint32_t kSpatial = typeOf("sptl");
constexpr uint32_t kTemporal = typeOf("tprl");
constexpr uint32_t kDataRate = typeOf("drat");
constexpr uint32_t kWidth = typeOf("wdth");
constexpr uint32_t kHeight = typeOf("hegt");
constexpr uint32_t kSound = typeOf("soun");
constexpr uint32_t kSoundCodec = typeOf("ssct");
constexpr uint32_t kSampleRate = typeOf("ssrt");
constexpr uint32_t kSampleSize = typeOf("ssss");
constexpr uint32_t kChannelCount = typeOf("sscc");
constexpr uint32_t kSoundDataRate = typeOf("sbps");
constexpr uint32_t kEnableVideo = typeOf("envi");
constexpr uint32_t kEnableSound = typeOf("enso");
constexpr uint32_t kSaveOptions = typeOf("save");
constexpr uint32_t kSaveForInternet = typeOf("fast");

constexpr double kFixedOne = 65536;
constexpr uint32_t kColourDepth = 24;
constexpr uint32_t kSampleBits = 16;

/** Where a number lies: in the data of the leaf that the path leads to. A short path ends with zeros. */
struct Place {
    std::array<uint32_t, 2> path;
    size_t offset;
    size_t size;
};

// sptl: codec 4, component 4, depth 2, spatial quality 4
constexpr Place kVideoCodecPlace{{kVideo, kSpatial}, 0, 4};
constexpr Place kDepthPlace{{kVideo, kSpatial}, 8, 2};
constexpr Place kSpatialQualityPlace{{kVideo, kSpatial}, 10, 4};
// tprl: temporal quality 4, frame rate 4 (16.16), key frame interval 4
constexpr Place kTemporalQualityPlace{{kVideo, kTemporal}, 0, 4};
constexpr Place kFrameRatePlace{{kVideo, kTemporal}, 4, 4};
constexpr Place kKeyFramePlace{{kVideo, kTemporal}, 8, 4};
// drat: bytes a second 4, frame duration 4, least spatial quality 4, least temporal quality 4
constexpr Place kDataRatePlace{{kVideo, kDataRate}, 0, 4};
constexpr Place kDataRateEndPlace{{kVideo, kDataRate}, 12, 4};
constexpr Place kWidthPlace{{kVideo, kWidth}, 0, 4};
constexpr Place kHeightPlace{{kVideo, kHeight}, 0, 4};
constexpr Place kSoundCodecPlace{{kSound, kSoundCodec}, 0, 4};
constexpr Place kSampleRatePlace{{kSound, kSampleRate}, 0, 4};
constexpr Place kSampleSizePlace{{kSound, kSampleSize}, 0, 2};
constexpr Place kChannelCountPlace{{kSound, kChannelCount}, 0, 2};
constexpr Place kSoundDataRatePlace{{kSound, kSoundDataRate}, 0, 4};
constexpr Place kEnableVideoPlace{{kEnableVideo}, 0, 1};
constexpr Place kEnableSoundPlace{{kEnableSound}, 0, 1};
constexpr Place kStreamingPlace{{kSaveOptions, kSaveForInternet}, 0, 1};

std::optional<uint32_t> read(const Container& container, const Place& place) {
    const Atom* atom = &container.root;
    for (const uint32_t type : place.path) {
        if (type == 0) break;
        atom = find(*atom, type);
        if (atom == nullptr) return std::nullopt;
    }
    return readNumber(atom->data, place.offset, place.size);
}

void write(Container& container, const Place& place, uint32_t value) {
    Atom* atom = &container.root;
    for (const uint32_t type : place.path) {
        if (type != 0) atom = &findOrAdd(*atom, type);
    }
    atom->children.clear();
    writeNumber(atom->data, place.offset, place.size, value);
}

void readUpTo(const Container& container, const Place& place, uint32_t most, uint32_t& field) {
    const auto value = read(container, place);
    if (value && *value <= most) field = *value;
}

/** A type of four characters; 0 says nothing. */
void readType(const Container& container, const Place& place, uint32_t& field) {
    const auto value = read(container, place);
    if (value && *value != 0) field = *value;
}

void readFixed(const Container& container, const Place& place, double most, double& field) {
    const auto value = read(container, place);
    if (value && *value / kFixedOne <= most) field = *value / kFixedOne;
}

void readFlag(const Container& container, const Place& place, bool& field) {
    const auto value = read(container, place);
    if (value) field = *value != 0;
}

uint32_t asFixed(double value, double most) {
    const bool isUsable = value > 0 && value <= most;  // not a number, neither
    return isUsable ? static_cast<uint32_t>(std::llround(value * kFixedOne)) : 0;
}

/** One side alone would distort the picture or mean nothing, so both count or none. */
void readSize(const Container& container, ExportChoice& choice) {
    double width = -1;
    double height = -1;
    readFixed(container, kWidthPlace, kLargestSide, width);
    readFixed(container, kHeightPlace, kLargestSide, height);
    if (width < 0 || height < 0 || (width < 1) != (height < 1)) return;
    choice.width = static_cast<uint32_t>(width);
    choice.height = static_cast<uint32_t>(height);
}

void writeVideo(const ExportChoice& choice, Container& container) {
    write(container, kVideoCodecPlace, choice.videoCodec);
    if (read(container, kDepthPlace).value_or(0) == 0) write(container, kDepthPlace, kColourDepth);
    write(container, kSpatialQualityPlace, choice.quality);
    write(container, kTemporalQualityPlace, choice.quality);
    write(container, kFrameRatePlace, asFixed(choice.frameRate, kHighestFrameRate));
    write(container, kKeyFramePlace, choice.keyFrameInterval);
    write(container, kDataRatePlace, choice.dataRate);
    if (!read(container, kDataRateEndPlace)) write(container, kDataRateEndPlace, 0);
    write(container, kWidthPlace, asFixed(choice.width, kLargestSide));
    write(container, kHeightPlace, asFixed(choice.height, kLargestSide));
}

void writeSound(const ExportChoice& choice, Container& container) {
    write(container, kSoundCodecPlace, choice.soundCodec);
    write(container, kSampleRatePlace, asFixed(choice.sampleRate, kHighestSampleRate));
    if (read(container, kSampleSizePlace).value_or(0) == 0) write(container, kSampleSizePlace, kSampleBits);
    write(container, kChannelCountPlace, choice.channels);
    write(container, kSoundDataRatePlace, choice.soundDataRate);
}

}  // namespace

void readChoice(const Container& container, ExportChoice& choice) {
    readType(container, kVideoCodecPlace, choice.videoCodec);
    readUpTo(container, kSpatialQualityPlace, kLosslessQuality, choice.quality);
    readFixed(container, kFrameRatePlace, kHighestFrameRate, choice.frameRate);
    readUpTo(container, kKeyFramePlace, kLongestKeyFrameInterval, choice.keyFrameInterval);
    readUpTo(container, kDataRatePlace, kHighestDataRate, choice.dataRate);
    readSize(container, choice);
    readType(container, kSoundCodecPlace, choice.soundCodec);
    readFixed(container, kSampleRatePlace, kHighestSampleRate, choice.sampleRate);
    readUpTo(container, kChannelCountPlace, kMostChannels, choice.channels);
    readUpTo(container, kSoundDataRatePlace, kHighestSoundDataRate, choice.soundDataRate);
    readFlag(container, kEnableVideoPlace, choice.hasVideo);
    readFlag(container, kEnableSoundPlace, choice.hasSound);
    readFlag(container, kStreamingPlace, choice.preparesForStreaming);
}

void writeChoice(const ExportChoice& choice, Container& container) {
    write(container, kEnableVideoPlace, choice.hasVideo ? 1 : 0);
    write(container, kEnableSoundPlace, choice.hasSound ? 1 : 0);
    writeVideo(choice, container);
    writeSound(choice, container);
    write(container, kStreamingPlace, choice.preparesForStreaming ? 1 : 0);
}

std::string typeText(uint32_t type) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const uint32_t byte = (type >> shift) & 0xFF;
        if (byte >= 0x20 && byte < 0x7F) {
            text += static_cast<char>(byte);
        } else {
            text += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
        }
    }
    return text;
}

}  // namespace atoms
