/* Tasks.h: tasks, each a thread of its own that nobody waits for.
 *
 * Thread: any.
 * Owns:   a task frees itself when its entry returns; the entry's result is dropped.
 * Errors: statuses below; `id` is untouched on failure.
 */
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/Export.h"
#include "platform/Types.h"

using TaskProc = OSStatus (*)(void* parameter);
/** Numbers tasks from 1 in the order of their creation; a debugger shows the thread as "task <number>". */
using MPTaskID = uint64_t;

constexpr OSStatus kMPInsufficientResourcesErr = -29298;  ///< no thread, or no memory for its stack

/** Starts `entry(parameter)` on a thread of its own.
 *
 * `stackSize` is raised to what the platform needs. `notifyQueue` must be null and `options` 0: tasks here
 * end without notice, so the two termination values are not used. `id` may be null. noErr, paramErr or
 * kMPInsufficientResourcesErr.
 */
TARVO_PLATFORM_API OSStatus MPCreateTask(TaskProc entry, void* parameter, size_t stackSize, void* notifyQueue,
                                         void* termination1, void* termination2, uint32_t options,
                                         MPTaskID* id);
