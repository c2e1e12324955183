#include "TarvoRemote/ExportSettings.h"

#include <memory>

#include "CanonEds/canon_internal.h"
#include "QuickTime.h"
#include "TarvoRemote/SettingsFile.h"
#include "TarvoRemote/modules.h"
#include "TarvoRemote/rdebug.h"
#include "UserInterface.h"
#include "platform/FilePath.h"

namespace {

/** Gives a handle of the toolbox back at the end of its scope. */
template <auto dispose>
struct Disposer {
    template <class Record>
    void operator()(Record* record) const {
        dispose(record);
    }
};
template <class Handle, auto dispose>
using Owned = std::unique_ptr<std::remove_pointer_t<Handle>, Disposer<dispose>>;

using OwnedReference = Owned<QTDataReference, QTDisposeDataReference>;
using OwnedMovie = Owned<Movie, DisposeMovie>;
using OwnedExporter = Owned<MovieExportComponent, CloseComponent>;
using OwnedContainer = Owned<QTAtomContainer, QTDisposeAtomContainer>;

/** What one request holds open. Members go in the opposite order: movie, exporter, container. */
struct Export {
    OwnedContainer settings;
    OwnedExporter exporter;
    OwnedMovie movie;
};

const char* shown(const char* path) {
    return path != nullptr ? path : "(null)";
}

OSErr openMovie(const char* path, Export& work) {
    QTDataReference created = nullptr;
    OSErr status = QTNewDataReferenceFromFullPath(path, &created);
    const OwnedReference reference(created);
    rdebug(MODULE_QUICKTIME, "QTNewDataReferenceFromFSRef %d\n", status);
    if (status != 0) return status;

    Movie movie = nullptr;
    status = NewMovieFromDataRef(&movie, true, reference.get());
    work.movie.reset(movie);
    rdebug(MODULE_QUICKTIME, "NewMovieFromDataRef %d\n", status);
    return status;
}

OSErr openExporter(Export& work) {
    MovieExportComponent exporter = nullptr;
    const OSErr status = OpenADefaultComponent(kQTMovieExportType, kQTMovieExportSubtype, &exporter);
    work.exporter.reset(exporter);
    if (status != 0) rdebug(MODULE_QUICKTIME, "OpenADefaultComponent failed %d\n", status);
    return status;
}

/** Null when the file is absent, empty, unreadable, or holds something else. */
OwnedContainer loadContainer(const char* path) {
    const std::vector<uint8_t> bytes = loadSettings(path);
    QTAtomContainer container = nullptr;
    if (!bytes.empty()) QTNewAtomContainerFromBytes(bytes.data(), bytes.size(), &container);
    return OwnedContainer(container);
}

OSErr presetSaved(const char* settingsPath, const char* secondPath, Export& work) {
    work.settings = loadContainer(settingsPath);
    if (!work.settings) work.settings = loadContainer(secondPath);
    if (!work.settings) return 0;
    return MovieExportSetSettingsFromAtomContainer(work.exporter.get(), work.settings.get());
}

OSErr chooseSettings(Export& work, bool& isCancelled) {
    SetFrontProcess();
    return MovieExportDoUserDialog(work.exporter.get(), work.movie.get(), 0,
                                   GetMovieDuration(work.movie.get()), &isCancelled);
}

void saveChosen(const char* settingsPath, const char* secondPath, Export& work) {
    work.settings.reset();
    QTAtomContainer chosen = nullptr;
    const OSErr status = MovieExportGetSettingsAsAtomContainer(work.exporter.get(), &chosen);
    work.settings.reset(chosen);
    if (status != 0 || chosen == nullptr) return;

    size_t size = 0;
    const void* bytes = QTAtomContainerBytes(chosen, &size);
    saveSettings(settingsPath, bytes, size);
    saveSettings(secondPath, bytes, size);
}

}  // namespace

int16_t doExportSettings(const char* settingsPath, const char* secondPath, const char* moviePath,
                         bool useSaved) {
    EnterMovies();
    rdebug(MODULE_QUICKTIME, "getExportSettings(%s, %s, %s)\n", shown(settingsPath), shown(secondPath),
           shown(moviePath));
    if (moviePath == nullptr || !isUtf8(moviePath)) {
        debug("no sourcePathStringRef\n");
        return 0;
    }
    Export work;
    OSErr status = openMovie(moviePath, work);
    if (status == 0) status = openExporter(work);
    if (status == 0 && useSaved) status = presetSaved(settingsPath, secondPath, work);
    bool isCancelled = false;
    if (status == 0) status = chooseSettings(work, isCancelled);
    if (status == 0 && !isCancelled) saveChosen(settingsPath, secondPath, work);
    return status;
}
