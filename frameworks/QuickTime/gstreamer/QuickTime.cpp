#include "QuickTime.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <exception>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "frameworks/QuickTime/atoms/ExportChoice.h"
#include "frameworks/QuickTime/gstreamer/PlugIns.h"
#include "frameworks/QuickTime/gtk/DialogCompanion.h"
#include "platform/Events.h"

struct QTDataReferenceRecord {
    std::string path;
};
struct MovieRecord {
    movies::MovieFacts facts;
};
/** The container holds what was handed in, known or not; the choice is laid over it when it is asked for. */
struct MovieExportRecord {
    atoms::Container container;
    atoms::ExportChoice choice;
};
struct QTAtomContainerRecord {
    atoms::Bytes bytes;
};

namespace {

/// Units of a movie's times, a second.
constexpr double kTimeScale = 600;

/** No exception leaves the library; what can be thrown here is that memory is short. */
template <class Work>
OSErr guarded(Work work) {
    try {
        return work();
    } catch (const std::exception&) {
        return kQTNotEnoughMemory;
    }
}

OSErr statusOfErrno() {
    switch (errno) {
        case ENOENT:
        case ENOTDIR:
            return kQTFileNotFound;
        case EACCES:
        case EPERM:
            return kQTPermissionError;
        case EIO:
            return kQTReadError;
        default:
            return kQTNotAMovie;
    }
}

/** What can be told without loading anything. Opening a pipe would wait for somebody to write into it. */
OSErr examineFile(const std::string& path, movies::MovieFacts& facts) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return statusOfErrno();
    if (!S_ISREG(status.st_mode) || status.st_size == 0) return kQTNotAMovie;
    if (access(path.c_str(), R_OK) != 0) return statusOfErrno();
    facts.name = path.substr(path.rfind('/') + 1);
    facts.fileBytes = static_cast<uint64_t>(status.st_size);
    return 0;
}

OSErr examineMovie(const std::string& path, movies::MovieFacts& out) {
    movies::MovieFacts file;
    OSErr status = examineFile(path, file);
    if (status != 0) return status;
    const MovieToolkit* const toolkit = movieToolkit();
    if (toolkit == nullptr) return kQTNotAMovie;
    status = toolkit->examine(path.c_str(), out);
    out.name = file.name;
    out.fileBytes = file.fileBytes;
    return status;
}

/** A preset that cannot be encoded here gives way to the first one that can. */
void settleCodecs(const movies::Formats& formats, atoms::ExportChoice& choice) {
    const auto isAmong = [](const auto& list, uint32_t codec) {
        for (const auto& format : list) {
            if (format.codec == codec) return true;
        }
        return list.empty();
    };
    if (!isAmong(formats.video, choice.videoCodec)) choice.videoCodec = formats.video.front().codec;
    if (!isAmong(formats.sound, choice.soundCodec)) choice.soundCodec = formats.sound.front().codec;
}

OSErr runDialog(MovieExportRecord& exporter, const movies::MovieFacts& movie, double seconds,
                bool* isCancelled) {
    movies::DialogCompanion dialog;
    OSErr status = dialog.open();
    if (status != 0) return status;
    const MovieToolkit* const toolkit = movieToolkit();
    if (toolkit == nullptr) return kQTNoExporter;
    movies::ExportDialogRequest request;
    request.movie = movie;
    request.seconds = seconds;
    status = toolkit->listFormats(request.formats);
    if (status != 0) return status;
    if (request.formats.video.empty() && request.formats.sound.empty()) return kQTNoExporter;

    request.choice = exporter.choice;
    settleCodecs(request.formats, request.choice);
    std::optional<atoms::ExportChoice> chosen;
    status = dialog.run(request, chosen);
    if (status != 0) return status;
    if (chosen) exporter.choice = *chosen;
    *isCancelled = !chosen;
    return 0;
}

}  // namespace

OSErr EnterMovies() {
    return 0;  // what there is to prepare comes in with the first movie
}

OSErr QTNewDataReferenceFromFullPath(const char* path, QTDataReference* out) {
    if (path == nullptr || *path == '\0' || out == nullptr) return kQTParameterError;
    return guarded([&] {
        *out = new QTDataReferenceRecord{path};
        return OSErr{0};
    });
}

void QTDisposeDataReference(QTDataReference reference) {
    delete reference;
}

OSErr NewMovieFromDataRef(Movie* out, bool /*isActive*/, QTDataReference reference) {
    if (out == nullptr || reference == nullptr) return kQTParameterError;
    return guarded([&] {
        movies::MovieFacts facts;
        const OSErr status = examineMovie(reference->path, facts);
        if (status == 0) *out = new MovieRecord{std::move(facts)};
        return status;
    });
}

int64_t GetMovieDuration(Movie movie) {
    return movie != nullptr ? std::llround(movie->facts.seconds * kTimeScale) : 0;
}

void DisposeMovie(Movie movie) {
    delete movie;
}

OSErr OpenADefaultComponent(uint32_t type, uint32_t subtype, MovieExportComponent* out) {
    if (out == nullptr) return kQTParameterError;
    if (type != kQTMovieExportType || subtype != kQTMovieExportSubtype) return kQTNoExporter;
    return guarded([&] {
        *out = new MovieExportRecord;
        return OSErr{0};
    });
}

void CloseComponent(MovieExportComponent exporter) {
    delete exporter;
}

OSErr MovieExportSetSettingsFromAtomContainer(MovieExportComponent exporter, QTAtomContainer settings) {
    if (exporter == nullptr || settings == nullptr) return kQTParameterError;
    return guarded([&] {
        MovieExportRecord changed;
        if (!atoms::parse(settings->bytes, changed.container)) return kQTBadContainer;
        atoms::readChoice(changed.container, changed.choice);
        *exporter = std::move(changed);
        return OSErr{0};
    });
}

OSErr MovieExportGetSettingsAsAtomContainer(MovieExportComponent exporter, QTAtomContainer* out) {
    if (exporter == nullptr || out == nullptr) return kQTParameterError;
    return guarded([&] {
        atoms::Container container = exporter->container;
        atoms::writeChoice(exporter->choice, container);
        auto bytes = atoms::serialise(container);
        if (!bytes) return kQTBadContainer;
        *out = new QTAtomContainerRecord{std::move(*bytes)};
        return OSErr{0};
    });
}

OSErr MovieExportDoUserDialog(MovieExportComponent exporter, Movie movie, int64_t startTime, int64_t duration,
                              bool* isCancelled) {
    if (exporter == nullptr || movie == nullptr || isCancelled == nullptr) return kQTParameterError;
    if (startTime < 0 || duration < 0 || !IsMainThread()) return kQTParameterError;
    const double seconds = static_cast<double>(duration) / kTimeScale;
    return guarded([&] { return runDialog(*exporter, movie->facts, seconds, isCancelled); });
}

OSErr QTNewAtomContainerFromBytes(const void* bytes, size_t size, QTAtomContainer* out) {
    if (bytes == nullptr || out == nullptr) return kQTBadContainer;
    return guarded([&] {
        const auto* const first = static_cast<const uint8_t*>(bytes);
        atoms::Container container;
        if (!atoms::parse({first, size}, container)) return kQTBadContainer;
        *out = new QTAtomContainerRecord{atoms::Bytes(first, first + size)};
        return OSErr{0};
    });
}

const void* QTAtomContainerBytes(QTAtomContainer container, size_t* size) {
    *size = container != nullptr ? container->bytes.size() : 0;
    return container != nullptr ? container->bytes.data() : nullptr;
}

void QTDisposeAtomContainer(QTAtomContainer container) {
    delete container;
}
