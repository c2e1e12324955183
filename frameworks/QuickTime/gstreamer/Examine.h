/* Examine.h: looks into a movie file without playing it.
 *
 * Thread: any, after startGst(). It returns when it knows, or after a time limit.
 * Errors: kQTNotAMovie: there is no track in it that goes on in time; kQTReadError: the file could not be
 *         read on in time.
 */
#pragma once

#include "QuickTime.h"
#include "frameworks/QuickTime/gstreamer/MovieFacts.h"

namespace movies {

OSErr examine(const char* path, MovieFacts& out);
/** The same for a file that holds one picture: its size counts as that of a movie's pictures. */
OSErr examinePicture(const char* path, MovieFacts& out);

}  // namespace movies
