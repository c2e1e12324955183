/* MovieToolkit.h: what libQuickTime.so and its GStreamer plug-in agree on.
 *
 * GStreamer and the codecs that it looks through cost a tenth of a second and many megabytes. The helper
 * announces its port long before and mostly never opens a movie, so they come in with the plug-in, at the
 * first movie.
 *
 * Thread: main thread.
 * Owns:   nothing that lasts.
 */
#pragma once

#include "QuickTime.h"
#include "frameworks/QuickTime/gstreamer/MovieFacts.h"

struct MovieToolkit {
    /// Looks into a file that is there: 0, kQTNotAMovie, kQTReadError.
    OSErr (*examine)(const char* path, movies::MovieFacts& out);
    /// What can be encoded here.
    OSErr (*listFormats)(movies::Formats& out);
};

/** The plug-in's only symbol. Null when GStreamer cannot start. */
extern "C" QUICKTIME_EXPORT const MovieToolkit* tarvoMovieToolkit();
constexpr const char* kMovieToolkitSymbol = "tarvoMovieToolkit";
