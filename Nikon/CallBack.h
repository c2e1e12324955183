/* CallBack.h: what a module calls while it is let work.
 *
 * None of the references given to a module is an address: a completion, a block or an event that comes late,
 * twice or for what is gone finds nothing and is dropped.
 *
 * Thread: the one that polls the module; from inside the module's own functions.
 * Owns:   nothing beyond the call.
 */
#pragma once

#include <cstdint>

#include "MAID.h"
#include "Nikon/RefObj.h"

namespace nikon {

/** Events that raise events that raise events …: so deep, and deeper ones are dropped. */
constexpr int kDeepestEvent = 32;

/** Ends the command that the reference names, once. */
void CompletionProc(NkMAIDObject* object, uint32_t command, uint32_t parameter, uint32_t dataType,
                    MaidParam data, MaidRef reference, int32_t result);

/** Tells the host how far the camera of the object is; the reference is a record's `reference`. */
void ProgressProc(uint32_t command, uint32_t parameter, MaidRef reference, uint32_t done, uint32_t total);
/** The same for a record of our own. Percent of one picture; of both, when a shot yields two. */
void ReportProgress(const tagRefObj* object, uint32_t done, uint32_t total);

/** Takes one block of a picture; the last one brings the file to the camera's path.
 *
 * 0, -118 when there is no memory for the file, -117 when it cannot be written or the block is not one of the
 * file that was announced; after a refusal every further block of the transfer is refused. -120 for a
 * transfer that has ended.
 */
int32_t DataProc(MaidRef reference, void* info, void* data);

/** Events of the module, a source, an item and a data object. A source's also serves the module. 1 when what
 *  the event asked for was done, or there was nothing to do; 0 otherwise, also for an object that has gone.
 */
int32_t ModEventProc(MaidRef reference, uint32_t event, MaidParam parameter);
int32_t SrcEventProc(MaidRef reference, uint32_t event, MaidParam parameter);
int32_t ItmEventProc(MaidRef reference, uint32_t event, MaidParam parameter);
int32_t DatEventProc(MaidRef reference, uint32_t event, MaidParam parameter);

}  // namespace nikon
