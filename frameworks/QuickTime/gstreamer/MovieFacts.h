/* MovieFacts.h: what is known of a movie, and what it could be exported as. Plain records, so that whoever
 * shows them needs no GStreamer.
 *
 * Units: as each field says.
 */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace movies {

struct MovieFacts {
    std::string name{};  // of the file, without its folders
    uint64_t fileBytes = 0;
    double seconds = 0;

    bool hasVideo = false;
    std::string videoCodec{};  // for people
    uint32_t width = 0;        // pixels
    uint32_t height = 0;
    double frameRate = 0;  // frames a second; 0: it varies

    bool hasSound = false;
    std::string soundCodec{};
    uint32_t sampleRate = 0;  // samples a second
    uint32_t channels = 0;

    uint32_t trackCount = 0;
};

struct VideoFormat {
    uint32_t codec = 0;
    const char* name = nullptr;
    bool hasQuality = false;
    bool hasDataRate = false;
    bool hasKeyFrames = false;
    bool needsEvenSides = false;
    /// What a pixel of an ordinary picture takes at the least and at the best quality; an estimate.
    double leastBits = 0;
    double bestBits = 0;
};

struct SoundFormat {
    uint32_t codec = 0;
    const char* name = nullptr;
    bool hasDataRate = false;
    double sampleBits = 0;  // what a sample takes where there is no data rate; an estimate
};

/** In the order in which they are offered; the first is the usual one. */
struct Formats {
    std::vector<VideoFormat> video;
    std::vector<SoundFormat> sound;
};

/// What a compressed sound gets when the codec is left to itself, bits a second.
constexpr uint32_t kUsualSoundDataRate = 128'000;

}  // namespace movies
