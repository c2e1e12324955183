/* ExportChoice.h: what a user chooses for the export of a movie, in a record and in a container's atoms.
 *
 * Where each value lies is written down in docs/settings-files.md.
 *
 * Thread: any.
 * Units:  as each field says. A 0 leaves the value to the movie or to the codec.
 * Errors: none: an atom that is missing, too short or out of its limits leaves the field as it was.
 * Follows: QuickTime File Format; the settings atoms of its compression dialogs.
 */
#pragma once

#include <cstdint>
#include <string>

#include "frameworks/QuickTime/atoms/Atoms.h"

namespace atoms {

constexpr uint32_t kH264 = typeOf("avc1");
constexpr uint32_t kHevc = typeOf("hvc1");
constexpr uint32_t kPhotoJpeg = typeOf("jpeg");
constexpr uint32_t kPng = typeOf("png ");
constexpr uint32_t kProRes422 = typeOf("apcn");
constexpr uint32_t kUncompressedVideo = typeOf("2vuy");

constexpr uint32_t kAac = typeOf("mp4a");
constexpr uint32_t kPcmLittleEndian = typeOf("sowt");
constexpr uint32_t kPcmBigEndian = typeOf("twos");
constexpr uint32_t kALaw = typeOf("alaw");
constexpr uint32_t kMuLaw = typeOf("ulaw");
constexpr uint32_t kAlac = typeOf("alac");

/// The scale of qualities; in between all values are possible.
constexpr uint32_t kLeastQuality = 0;
constexpr uint32_t kLowQuality = 256;
constexpr uint32_t kNormalQuality = 512;
constexpr uint32_t kHighQuality = 768;
constexpr uint32_t kBestQuality = 1023;
constexpr uint32_t kLosslessQuality = 1024;

struct ExportChoice {
    bool hasVideo = true;
    uint32_t videoCodec = kH264;
    uint32_t quality = kHighQuality;  // kLeastQuality to kLosslessQuality
    uint32_t dataRate = 0;            // bytes a second; 0: quality decides
    double frameRate = 0;             // frames a second, to 1/65536; 0: the movie's
    uint32_t keyFrameInterval = 0;    // frames; 0: the codec's
    uint32_t width = 0;               // pixels; 0, both together: the movie's
    uint32_t height = 0;

    bool hasSound = true;
    uint32_t soundCodec = kAac;
    double sampleRate = 0;       // samples a second; 0: the movie's
    uint32_t channels = 0;       // 0: the movie's
    uint32_t soundDataRate = 0;  // bits a second; 0: the codec's

    bool preparesForStreaming = true;

    bool operator==(const ExportChoice&) const = default;
};

constexpr uint32_t kLargestSide = 16384;
constexpr double kHighestFrameRate = 1000;
constexpr double kHighestSampleRate = 65535;
constexpr uint32_t kMostChannels = 64;
/// More than any codec here takes, and far from overflowing when counted in bits.
constexpr uint32_t kHighestDataRate = 125'000'000;
constexpr uint32_t kHighestSoundDataRate = 10'000'000;
constexpr uint32_t kLongestKeyFrameInterval = 100'000;

/** Takes over what the container says. */
void readChoice(const Container& container, ExportChoice& choice);
/** Writes the choice into the container; what else is in there stays. */
void writeChoice(const ExportChoice& choice, Container& container);

/** The four characters of a type; those that cannot be printed as \xNN. */
std::string typeText(uint32_t type);

}  // namespace atoms
