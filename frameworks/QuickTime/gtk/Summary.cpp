#include "frameworks/QuickTime/gtk/Summary.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace movies {
namespace {

using atoms::ExportChoice;

constexpr const char* kSeparator = " \u00B7 ";
constexpr double kGuessedFrameRate = 25;
constexpr double kGuessedSampleRate = 48000;
constexpr double kGuessedChannels = 2;

template <class Format>
const Format* formatOf(const std::vector<Format>& formats, uint32_t codec) {
    for (const Format& format : formats) {
        if (format.codec == codec) return &format;
    }
    return nullptr;
}

double firstOf(double chosen, double movies, double guess) {
    if (chosen > 0) return chosen;
    return movies > 0 ? movies : guess;
}

/** Codecs spend about the same factor more for each step of quality, not the same number of bits. */
double pixelBits(const VideoFormat& format, uint32_t quality) {
    const double share = std::min(quality, atoms::kBestQuality) / double{atoms::kBestQuality};
    return format.leastBits * std::pow(format.bestBits / format.leastBits, share);
}

double videoBytesPerSecond(const ExportChoice& choice, const MovieFacts& movie, const VideoFormat& format) {
    if (format.hasDataRate && choice.dataRate > 0) return choice.dataRate;
    const PictureSize size = pictureSize(choice, movie);
    const double frames = firstOf(choice.frameRate, movie.frameRate, kGuessedFrameRate);
    return pixelBits(format, choice.quality) * size.width * size.height * frames / 8;
}

double soundBytesPerSecond(const ExportChoice& choice, const MovieFacts& movie, const SoundFormat& format) {
    if (format.hasDataRate) {
        return (choice.soundDataRate > 0 ? choice.soundDataRate : kUsualSoundDataRate) / 8.0;
    }
    const double samples = firstOf(choice.sampleRate, movie.sampleRate, kGuessedSampleRate);
    return samples * firstOf(choice.channels, movie.channels, kGuessedChannels) * format.sampleBits / 8;
}

void addPart(std::string& text, const std::string& part) {
    if (part.empty()) return;
    if (!text.empty()) text += kSeparator;
    text += part;
}

std::string rateText(double framesPerSecond) {
    return framesPerSecond > 0 ? decimalText(framesPerSecond) + " frames a second" : "";
}

std::string sampleRateText(double samplesPerSecond) {
    return samplesPerSecond > 0 ? decimalText(samplesPerSecond / 1000) + " kHz" : "";
}

}  // namespace

PictureSize pictureSize(const ExportChoice& choice, const MovieFacts& movie) {
    const bool isChosen = choice.width > 0 && choice.height > 0;
    return isChosen ? PictureSize{choice.width, choice.height} : PictureSize{movie.width, movie.height};
}

double estimateBytes(const ExportChoice& choice, const MovieFacts& movie, const Formats& formats,
                     double seconds) {
    double bytesPerSecond = 0;
    const VideoFormat* const video = formatOf(formats.video, choice.videoCodec);
    const SoundFormat* const sound = formatOf(formats.sound, choice.soundCodec);
    if (choice.hasVideo && movie.hasVideo && video != nullptr) {
        bytesPerSecond += videoBytesPerSecond(choice, movie, *video);
    }
    if (choice.hasSound && movie.hasSound && sound != nullptr) {
        bytesPerSecond += soundBytesPerSecond(choice, movie, *sound);
    }
    return bytesPerSecond * seconds;
}

std::string durationText(double seconds) {
    const auto whole = static_cast<long long>(std::llround(std::max(seconds, 0.0)));
    std::array<char, 40> text{};
    if (whole >= 3600) {
        std::snprintf(text.data(), text.size(), "%lld:%02lld:%02lld", whole / 3600, whole / 60 % 60,
                      whole % 60);
    } else {
        std::snprintf(text.data(), text.size(), "%lld:%02lld", whole / 60, whole % 60);
    }
    return text.data();
}

std::string bytesText(double bytes) {
    static constexpr std::array units = {"bytes", "kB", "MB", "GB", "TB"};
    size_t unit = 0;
    while (bytes >= 999.5 && unit + 1 < units.size()) {
        bytes /= 1000;
        ++unit;
    }
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), unit > 0 && bytes < 9.95 ? "%.1f %s" : "%.0f %s", bytes,
                  units[unit]);
    return text.data();
}

std::string decimalText(double value) {
    std::array<char, 40> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "%.3f", value);
    std::string text = buffer.data();
    text.erase(text.find_last_not_of('0') + 1);
    if (text.ends_with('.')) text.pop_back();
    return text;
}

std::string sizeText(PictureSize size) {
    return std::to_string(size.width) + " \u00D7 " + std::to_string(size.height);
}

std::string channelsText(uint32_t channels) {
    if (channels == 0) return "";
    if (channels == 1) return "mono";
    return channels == 2 ? "stereo" : std::to_string(channels) + " channels";
}

std::string movieText(const MovieFacts& movie) {
    std::string first = durationText(movie.seconds);
    addPart(first, bytesText(static_cast<double>(movie.fileBytes)));
    addPart(first, movie.trackCount == 1 ? "1 track" : std::to_string(movie.trackCount) + " tracks");
    std::string video;
    if (movie.hasVideo) {
        addPart(video, sizeText({movie.width, movie.height}));
        addPart(video, rateText(movie.frameRate));
        addPart(video, movie.videoCodec);
    }
    std::string sound;
    if (movie.hasSound) {
        addPart(sound, sampleRateText(movie.sampleRate));
        addPart(sound, channelsText(movie.channels));
        addPart(sound, movie.soundCodec);
    }
    return first + "\nPicture: " + (movie.hasVideo ? video : "none") +
           "\nSound: " + (movie.hasSound ? sound : "none");
}

std::string choiceText(const ExportChoice& choice, const MovieFacts& movie, const Formats& formats,
                       double seconds) {
    const VideoFormat* const video = formatOf(formats.video, choice.videoCodec);
    const SoundFormat* const sound = formatOf(formats.sound, choice.soundCodec);
    const bool hasVideo = choice.hasVideo && movie.hasVideo && video != nullptr;
    const bool hasSound = choice.hasSound && movie.hasSound && sound != nullptr;
    if (!hasVideo && !hasSound) return "Nothing is left to export: switch picture or sound on";
    std::string text = "About " + bytesText(estimateBytes(choice, movie, formats, seconds));
    if (hasVideo) {
        addPart(text, video->name);
        addPart(text, sizeText(pictureSize(choice, movie)));
        addPart(text, rateText(firstOf(choice.frameRate, movie.frameRate, 0)));
    }
    addPart(text, hasSound ? sound->name : "no sound");
    return text;
}

}  // namespace movies
