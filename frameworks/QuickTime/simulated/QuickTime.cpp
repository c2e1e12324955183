/* The lab's toolbox: any file is a movie, and the dialog answers what the lab was told. */
#include "QuickTime.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "lab/Call.h"
#include "lab/World.h"

struct QTDataReferenceRecord {
    std::string path;
};
struct MovieRecord {};
struct MovieExportRecord {};
/** Whatever bytes a host saved are its settings; only real exporters look inside. */
struct QTAtomContainerRecord {
    std::vector<uint8_t> bytes;
};

namespace {

constexpr int64_t kMovieDuration = 600;

template <class Record, class... Parts>
OSErr make(Record** out, Parts&&... parts) {
    *out = new (std::nothrow) Record{std::forward<Parts>(parts)...};
    return *out != nullptr ? OSErr{0} : kQTNotEnoughMemory;
}

OSErr examineMovie(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return errno == ENOENT || errno == ENOTDIR ? kQTFileNotFound : kQTNotAMovie;
    }
    const bool isMovie = S_ISREG(status.st_mode) && status.st_size > 0 && access(path.c_str(), R_OK) == 0;
    return isMovie ? OSErr{0} : kQTNotAMovie;
}

OSErr runDialog(const lab::Dialog& dialog, bool* isCancelled) {
    std::this_thread::sleep_for(std::chrono::milliseconds(dialog.delayMs));
    if (dialog.answer == lab::Dialog::Answer::error) return static_cast<OSErr>(dialog.status);
    *isCancelled = dialog.answer == lab::Dialog::Answer::cancel;
    return 0;
}

}  // namespace

OSErr EnterMovies() {
    lab::Call call("EnterMovies");
    if (call.refused()) {
        return call.answer<OSErr>();
    }
    return call.done<OSErr>(0);
}

OSErr QTNewDataReferenceFromFullPath(const char* path, QTDataReference* out) {
    if (path == nullptr || *path == '\0' || out == nullptr) {
        return kQTParameterError;
    }
    return make(out, std::string(path));
}

void QTDisposeDataReference(QTDataReference reference) {
    delete reference;
}

OSErr NewMovieFromDataRef(Movie* out, bool /*isActive*/, QTDataReference reference) {
    lab::Call call("OpenMovie");
    if (out == nullptr || reference == nullptr) {
        return call.done<OSErr>(kQTParameterError);
    }
    call.text("path", reference->path);
    if (call.refused()) {
        return call.answer<OSErr>();
    }
    const OSErr status = examineMovie(reference->path);
    return call.done(status == 0 ? make(out) : status);
}

int64_t GetMovieDuration(Movie movie) {
    return movie != nullptr ? kMovieDuration : 0;
}

void DisposeMovie(Movie movie) {
    if (movie == nullptr) {
        return;
    }
    lab::Call call("DisposeMovie");
    static_cast<void>(call.refused());
    delete movie;  // whatever a fault says, nobody would do it later
}

OSErr OpenADefaultComponent(uint32_t type, uint32_t subtype, MovieExportComponent* out) {
    lab::Call call("OpenExporter");
    if (call.refused()) {
        return call.answer<OSErr>();
    }
    if (out == nullptr) {
        return call.done<OSErr>(kQTParameterError);
    }
    const bool isKnown = type == kQTMovieExportType && subtype == kQTMovieExportSubtype;
    return call.done(isKnown ? make(out) : kQTNoExporter);
}

void CloseComponent(MovieExportComponent exporter) {
    if (exporter == nullptr) {
        return;
    }
    lab::Call call("CloseExporter");
    static_cast<void>(call.refused());
    delete exporter;
}

OSErr MovieExportSetSettingsFromAtomContainer(MovieExportComponent exporter, QTAtomContainer settings) {
    lab::Call call("SetSettings");
    if (exporter == nullptr || settings == nullptr) {
        return call.done<OSErr>(kQTParameterError);
    }
    call.bytes("settings", settings->bytes.data(), settings->bytes.size());
    if (call.refused()) {
        return call.answer<OSErr>();
    }
    return call.done<OSErr>(0);
}

OSErr MovieExportGetSettingsAsAtomContainer(MovieExportComponent exporter, QTAtomContainer* out) {
    lab::Call call("GetSettings");
    if (exporter == nullptr || out == nullptr) {
        return call.done<OSErr>(kQTParameterError);
    }
    if (call.refused()) {
        return call.answer<OSErr>();
    }
    std::vector<uint8_t> settings = lab::World::instance().dialog().settings;
    call.bytes("settings", settings.data(), settings.size());
    return call.done(make(out, std::move(settings)));
}

OSErr MovieExportDoUserDialog(MovieExportComponent exporter, Movie movie, int64_t /*startTime*/,
                              int64_t /*duration*/, bool* isCancelled) {
    lab::Call call("ExportDialog");
    if (call.refused()) {
        return call.answer<OSErr>();
    }
    if (exporter == nullptr || movie == nullptr || isCancelled == nullptr) {
        return call.done<OSErr>(kQTParameterError);
    }
    return call.done(runDialog(lab::World::instance().dialog(), isCancelled));
}

OSErr QTNewAtomContainerFromBytes(const void* bytes, size_t size, QTAtomContainer* out) {
    if (bytes == nullptr || size == 0 || out == nullptr) {
        return kQTBadContainer;
    }
    const auto* first = static_cast<const uint8_t*>(bytes);
    return make(out, std::vector<uint8_t>(first, first + size));
}

const void* QTAtomContainerBytes(QTAtomContainer container, size_t* size) {
    *size = container != nullptr ? container->bytes.size() : 0;
    return container != nullptr ? container->bytes.data() : nullptr;
}

void QTDisposeAtomContainer(QTAtomContainer container) {
    delete container;
}
