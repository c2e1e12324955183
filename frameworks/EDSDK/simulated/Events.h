/* Events.h: what cameras tell, on its way to the handlers.
 *
 * Cameras raise events on any thread. They wait here, oldest first, and for each one a token is posted to the
 * event queue of the thread that started the library; when that thread sends a token to the dispatcher
 * target, one event is delivered. EdsGetEvent delivers one on the thread that calls it, and leaves a token
 * over, which then finds nothing.
 *
 * Thread: any. The lock is a leaf; handlers are called without any lock of the library or the lab, and may
 *         call anything.
 * Owns:   the reference that an object event carries, until a handler gets it.
 */
#pragma once

#include <cstdint>

#include "frameworks/EDSDK/simulated/Objects.h"
#include "lab/canon/Body.h"

namespace sim {

/** Events go to the calling thread's queue from now on. */
EdsError startEvents();
/** Forgets what waits; its references are void already. */
void stopEvents();

/** Notes an event; safe under a body's lock. */
void noteEvent(const Attachment& from, lab::canon::Event event);
/** Delivers the oldest event to its handler, if there is both. */
void deliverOne();

/** How many wait, and how many were lost because nobody fetched them. */
struct Backlog {
    uint64_t waiting = 0;
    uint64_t dropped = 0;
};
Backlog backlog();

}  // namespace sim
