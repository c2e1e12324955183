/* NikonRemote.h: the Nikon module's two ends: remote calls in, events out.
 *
 * Thread: handleNikonMessage on the connection's task; the senders on whatever thread lets a camera module
 *         work, which is a connection's task, too.
 * Errors: see callback.h for events; a call's failure travels in its result.
 */
#pragma once

#include <cstdint>

/** Serves one call, from the method id on. An unknown id is logged and answered with nothing. */
void handleNikonMessage(int socket);

/** What NikonRemote_statusCallback tells. */
enum NikonStatus : int32_t {
    kNikonCameraRemoved = 0,  // a selected camera was disconnected or switched off
    kNikonOverheating = 1,    // live view is about to be ended by the camera's temperature
};

/** One callback message each. Progress (percent, 0 to 100) is logged even when no callback socket is
 *  registered. */
void NikonRemote_statusCallback(int32_t status);
void NikonRemote_progressCallback(int32_t percent);
