#include "frameworks/QuickTime/gtk/DialogMessages.h"

#include <string_view>

namespace movies {
namespace {

using atoms::ExportChoice;

// Each list of fields serves both ways, so that the two cannot differ.

template <class Archive, class Facts>
bool carryFacts(Archive& message, Facts& movie) {
    return message(movie.name, movie.fileBytes, movie.seconds, movie.hasVideo, movie.videoCodec, movie.width,
                   movie.height, movie.frameRate, movie.hasSound, movie.soundCodec, movie.sampleRate,
                   movie.channels, movie.trackCount);
}

template <class Archive, class Format, class Name>
bool carryVideo(Archive& message, Format& format, Name& name) {
    return message(name, format.codec, format.hasQuality, format.hasDataRate, format.hasKeyFrames,
                   format.needsEvenSides, format.leastBits, format.bestBits);
}

template <class Archive, class Format, class Name>
bool carrySound(Archive& message, Format& format, Name& name) {
    return message(name, format.codec, format.hasDataRate, format.sampleBits);
}

/** As a settings file holds it: whatever is out of its limits is not taken over when it is read. */
void writeChoice(MessageWriter& message, const ExportChoice& choice) {
    atoms::Container container;
    atoms::writeChoice(choice, container);
    message(atoms::serialise(container).value_or(atoms::Bytes{}));
}

bool readChoice(MessageReader& message, ExportChoice& choice) {
    atoms::Bytes bytes;
    atoms::Container container;
    if (!message(bytes) || !atoms::parse(bytes, container)) return false;
    atoms::readChoice(container, choice);
    return true;
}

/** Every format takes some bytes, so a count that is too large ends with the message. */
template <class Format, class Carry>
bool readFormats(MessageReader& message, std::vector<Format>& formats, std::list<std::string>& names,
                 Carry carry) {
    uint32_t count = 0;
    if (!message(count)) return false;
    for (uint32_t i = 0; i < count; ++i) {
        Format format{};
        if (!carry(message, format, names.emplace_back())) return false;
        format.name = names.back().c_str();
        formats.push_back(format);
    }
    return true;
}

}  // namespace

MessageWriter write(const ExportDialogRequest& request) {
    MessageWriter message(static_cast<uint32_t>(DialogWord::request));
    carryFacts(message, request.movie);
    message(request.seconds, static_cast<uint32_t>(request.formats.video.size()));
    for (const VideoFormat& format : request.formats.video) {
        const std::string_view name = format.name;
        carryVideo(message, format, name);
    }
    message(static_cast<uint32_t>(request.formats.sound.size()));
    for (const SoundFormat& format : request.formats.sound) {
        const std::string_view name = format.name;
        carrySound(message, format, name);
    }
    writeChoice(message, request.choice);
    return message;
}

bool read(MessageReader& message, ExportDialogRequest& out) {
    const auto video = [](MessageReader& from, VideoFormat& format, std::string& name) {
        return carryVideo(from, format, name);
    };
    const auto sound = [](MessageReader& from, SoundFormat& format, std::string& name) {
        return carrySound(from, format, name);
    };
    return carryFacts(message, out.movie) && message(out.seconds) &&
           readFormats(message, out.formats.video, out.formatNames, video) &&
           readFormats(message, out.formats.sound, out.formatNames, sound) &&
           readChoice(message, out.choice) && message.isAtEnd();
}

MessageWriter writeAccepted(const ExportChoice& choice) {
    MessageWriter message(static_cast<uint32_t>(DialogWord::accepted));
    writeChoice(message, choice);
    return message;
}

bool readAccepted(MessageReader& message, ExportChoice& choice) {
    ExportChoice accepted;
    if (!readChoice(message, accepted) || !message.isAtEnd()) return false;
    choice = accepted;
    return true;
}

}  // namespace movies
