/* MovieTables.h: whether a QuickTime or MP4 file still has the tables that tell what is in it.
 *
 * Recorders write the pictures first and the tables last: a movie whose recording or copying broke off has
 * none, and nothing in it can be found again. GStreamer finds that out only by waiting.
 *
 * Thread: any; reads a few bytes an atom.
 * Follows: ISO/IEC 14496-12, 4.2 (boxes); QuickTime File Format (atoms).
 */
#pragma once

namespace movies {

enum class MovieTables {
    notOfThisKind,  // another kind of file, or one whose sizes make no sense: others may know it
    present,
    cutOff,
};

/** A file that cannot be read is not of this kind. */
MovieTables lookForTables(const char* path);

}  // namespace movies
