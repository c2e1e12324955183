/* The toolbox without an exporter: movies are looked at as far as their files, and whoever asks for a dialog
 * is told that there is none. */
#include "QuickTime.h"

#include <sys/stat.h>
#include <unistd.h>

#include <new>
#include <string>

struct QTDataReferenceRecord {
    std::string path;
};

OSErr EnterMovies() {
    return 0;
}

OSErr QTNewDataReferenceFromFullPath(const char* path, QTDataReference* out) {
    if (path == nullptr || *path == '\0' || out == nullptr) return kQTParameterError;
    *out = new (std::nothrow) QTDataReferenceRecord{path};
    return *out != nullptr ? OSErr{0} : kQTNotEnoughMemory;
}

void QTDisposeDataReference(QTDataReference reference) {
    delete reference;
}

OSErr NewMovieFromDataRef(Movie* out, bool /*isActive*/, QTDataReference reference) {
    if (out == nullptr || reference == nullptr) return kQTParameterError;
    return access(reference->path.c_str(), F_OK) == 0 ? kQTNotAMovie : kQTFileNotFound;
}

int64_t GetMovieDuration(Movie) {
    return 0;
}

void DisposeMovie(Movie) {}

OSErr OpenADefaultComponent(uint32_t, uint32_t, MovieExportComponent*) {
    return kQTNoExporter;
}

void CloseComponent(MovieExportComponent) {}

OSErr MovieExportSetSettingsFromAtomContainer(MovieExportComponent, QTAtomContainer) {
    return kQTNoExporter;
}

OSErr MovieExportGetSettingsAsAtomContainer(MovieExportComponent, QTAtomContainer*) {
    return kQTNoExporter;
}

OSErr MovieExportDoUserDialog(MovieExportComponent, Movie, int64_t, int64_t, bool*) {
    return kQTNoExporter;
}

OSErr QTNewAtomContainerFromBytes(const void*, size_t, QTAtomContainer*) {
    return kQTNoExporter;
}

const void* QTAtomContainerBytes(QTAtomContainer, size_t* size) {
    *size = 0;
    return nullptr;
}

void QTDisposeAtomContainer(QTAtomContainer) {}
