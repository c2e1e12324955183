/* QTKitRemote.h: the video capture module's two ends: remote calls in, events out.
 *
 * Thread: handleQTKitMessage on the connection's task; progress on the task that captures, status on the
 *         framework's notification delivery.
 * Errors: see callback.h for events; a call's failure travels in its result.
 */
#pragma once

#include <cstdint>

/** Serves one call, from the method id on. An unknown id is logged and answered with nothing. */
void handleQTKitMessage(int socket);

/** One callback message each. Neither says which camera it is about. */
void QTKitRemote_handleProgress(int32_t percent);
/** 1: a capture device was disconnected; there are no others. */
void QTKitRemote_handleStatusEvent(int32_t status);
