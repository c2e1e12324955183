/* MaidProcesses.h: capabilities that are started: the shutter, and the transfer of a picture.
 *
 * Thread: one at a time for a tree; both waiting ones let the module work (RefObj.h).
 * Errors: false.
 */
#pragma once

#include <cstdint>

#include "Nikon/CameraData.h"
#include "Nikon/RefObj.h"

namespace nikon {

/** Starts a process and waits for its completion, whose result does not count. */
bool IssueProcess(tagRefObj* object, uint32_t capability);
/** Starts a process and does not wait. */
bool IssueProcessSync(tagRefObj* object, uint32_t capability);

/** Transfers an item's data object to the camera's path and an extension.
 *
 * False, and nothing left at the path that was not there before, unless the module reported the end of the
 * transfer without an error, took every block to have been received, and delivered the file in full. A
 * transfer in which no file was announced at all is none of ours and counts as done.
 */
bool IssueAcquire(CameraData* camera, tagRefObj* data);

}  // namespace nikon
