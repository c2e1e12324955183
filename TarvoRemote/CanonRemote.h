/* CanonRemote.h: the Canon module's two ends: remote calls in, events out.
 *
 * Thread: handleCanonMessage on the connection's task; the senders on whatever thread raises the event.
 * Errors: see callback.h for events; a call's failure travels in its result.
 */
#pragma once

#include <cstdint>

/** Serves one call, from the method id on. An unknown id is logged and answered with nothing. */
void handleCanonMessage(int socket);

/** One callback message each; the handle is the session's, as the host knows it. */
void CanonRemote_handleObjectEvent(int32_t handle, uint32_t event, int32_t object);
void CanonRemote_handlePropertyEvent(int32_t handle, uint32_t event, uint32_t propertyId, uint32_t parameter);
void CanonRemote_handleStateEvent(int32_t handle, uint32_t event, uint32_t parameter);
/** Percent: 0 to 100. Logged even when no callback socket is registered. */
void CanonRemote_progressCallback(int32_t handle, uint32_t percent);
