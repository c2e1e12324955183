/* Examine.h: looks into a movie file without playing it.
 *
 * Thread: any, after startGst(). It returns when it knows, or after a time limit.
 * Errors: kQTNotAMovie: there is no track in it that goes on in time; kQTReadError: it could not be found out
 * in time, or the file could not be read on.
 */
#pragma once

#include "QuickTime.h"
#include "frameworks/QuickTime/gstreamer/MovieFacts.h"

namespace movies {

OSErr examine(const char* path, MovieFacts& out);

}  // namespace movies
