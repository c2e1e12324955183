/* canon_internal.h: what the Canon unit's files share among themselves.
 *
 * Thread: any; the library's callbacks on the worker thread, progress on the downloading one.
 * Errors: the library's, handed on.
 */
#pragma once

#include <mutex>

#include "CanonEds/CanonCamera.h"
#include "EDSDK.h"

/** The unit's log, on standard output with the tag "CanonEds". */
void debug(const char* format, ...) __attribute__((format(printf, 1, 2)));

/* Properties of four bytes, the size of all that the camera logic itself reads and writes. */
EdsError getProperty(EdsBaseRef object, EdsPropertyID property, int32_t* value);
EdsError setProperty(EdsBaseRef object, EdsPropertyID property, int32_t value);

/** Legacy cameras want their user interface locked around settings; others answer 0 at once. */
EdsError lockUI(CanonCamera& session);
void unlockUI(CanonCamera& session);

/** Tells the camera that the host has room for pictures; it refuses to shoot otherwise. */
EdsError announceCapacity(EdsCameraRef camera);

/* The library's callbacks; the context is the session's record. */
EdsError handleObjectEvent(EdsObjectEvent event, EdsBaseRef object, EdsVoid* context);
EdsError handlePropertyEvent(EdsPropertyEvent event, EdsPropertyID property, EdsUInt32 parameter,
                             EdsVoid* context);
EdsError handleStateEvent(EdsStateEvent event, EdsUInt32 parameter, EdsVoid* context);
EdsError ProgressFunc(EdsUInt32 percent, EdsVoid* context, EdsBool* cancel);

/** Logs a state and tells the host, also of a session that it has closed meanwhile. */
void tellState(int32_t handle, EdsStateEvent event, EdsUInt32 parameter);

/** While it is held the library does not end, nor does memory that belongs to it. Not around calls that wait
 * for a camera: whoever ends the library would wait with them. */
std::unique_lock<std::mutex> keepLibrary();
