/* QuickTime.h: the movie toolbox: movies, the exporter, its settings dialog, and the settings as atoms.
 *
 * The names are the toolbox's. Settings travel as an atom container: nested atoms of big-endian size and
 * type, as the published QuickTime file format lays them out; whoever stores one stores its bytes and nothing
 * else.
 *
 * Thread: main thread. Containers alone may be made and read on any.
 * Owns:   what a call hands out through a pointer is the caller's, to be given back by the matching Dispose
 *         or Close.
 * Units:  times and durations in the movie's own time scale.
 * Errors: OSErr: 0, or a negative number below; outputs are untouched on failure.
 * Follows: QuickTime File Format: atoms, and the atoms of compression settings.
 */
#pragma once

#include <cstddef>
#include <cstdint>

#define QUICKTIME_EXPORT __attribute__((visibility("default")))

using OSErr = int16_t;

constexpr OSErr kQTReadError = -36;        ///< the file could not be read on, or not in time
constexpr OSErr kQTFileNotFound = -43;     ///< there is no such file
constexpr OSErr kQTParameterError = -50;   ///< a null pointer, or text that can be no path
constexpr OSErr kQTPermissionError = -54;  ///< the file may not be read by this user
constexpr OSErr kQTNotEnoughMemory = -108;
constexpr OSErr kQTNotAMovie = -2048;       ///< the file is there but can't be read as a movie
constexpr OSErr kQTBadContainer = -2101;    ///< the bytes are no atom container, or not one of these settings
constexpr OSErr kQTNoExporter = -3000;      ///< no component of that kind
constexpr OSErr kQTNoWindowSystem = -5699;  ///< no display to show a dialog on

constexpr uint32_t kQTMovieExportType = 0x73706974;     ///< 'spit'
constexpr uint32_t kQTMovieExportSubtype = 0x4D6F6F56;  ///< 'MooV'

using QTDataReference = struct QTDataReferenceRecord*;
using Movie = struct MovieRecord*;
using MovieExportComponent = struct MovieExportRecord*;
using QTAtomContainer = struct QTAtomContainerRecord*;

extern "C" {

/** Initialises the movie toolbox. It may be called again and then changes nothing. */
QUICKTIME_EXPORT OSErr EnterMovies();

/* ---- Movies ---------------------------------------------------------------------------------------- */

/** A reference to the file of that full path (UTF-8, copied). The file is not touched. */
QUICKTIME_EXPORT OSErr QTNewDataReferenceFromFullPath(const char* path, QTDataReference* out);
QUICKTIME_EXPORT void QTDisposeDataReference(QTDataReference reference);

/** Opens the movie. kQTFileNotFound, kQTPermissionError, kQTReadError, kQTNotAMovie, or what else stands in
 * the way. */
QUICKTIME_EXPORT OSErr NewMovieFromDataRef(Movie* out, bool isActive, QTDataReference reference);
QUICKTIME_EXPORT int64_t GetMovieDuration(Movie movie);
QUICKTIME_EXPORT void DisposeMovie(Movie movie);

/* ---- The exporter ---------------------------------------------------------------------------------- */

/** The default component of a type and subtype; there is one: the movie exporter. */
QUICKTIME_EXPORT OSErr OpenADefaultComponent(uint32_t type, uint32_t subtype, MovieExportComponent* out);
QUICKTIME_EXPORT void CloseComponent(MovieExportComponent exporter);

/** Takes the settings over; atoms that it does not know are kept. On failure the settings are what they were.
 */
QUICKTIME_EXPORT OSErr MovieExportSetSettingsFromAtomContainer(MovieExportComponent exporter,
                                                               QTAtomContainer settings);
QUICKTIME_EXPORT OSErr MovieExportGetSettingsAsAtomContainer(MovieExportComponent exporter,
                                                             QTAtomContainer* out);

/** Shows the settings dialog in front of all other windows, for a part of the movie, and returns when the
 * user has closed it. The main thread's other work, but no posted event, goes on meanwhile. `isCancelled` is
 * set on success. */
QUICKTIME_EXPORT OSErr MovieExportDoUserDialog(MovieExportComponent exporter, Movie movie, int64_t startTime,
                                               int64_t duration, bool* isCancelled);

/* ---- Atom containers ------------------------------------------------------------------------------- */

/** A container of these bytes, kept as they are. kQTBadContainer when they are none. */
QUICKTIME_EXPORT OSErr QTNewAtomContainerFromBytes(const void* bytes, size_t size, QTAtomContainer* out);
/** Lent, until the container is disposed of. */
QUICKTIME_EXPORT const void* QTAtomContainerBytes(QTAtomContainer container, size_t* size);
QUICKTIME_EXPORT void QTDisposeAtomContainer(QTAtomContainer container);

}  // extern "C"
