/* MaidCapabilities.h: capabilities read and set by their type.
 *
 * Thread: one at a time for a tree; all of them let the module work (RefObj.h).
 * Errors: false: the capability is missing, of another type or does not allow it, or the module refuses.
 */
#pragma once

#include <cstdint>

#include "Nikon/MaidCommands.h"

namespace nikon {

/** The most that is allocated for elements; a module that announces more is not asked for them. */
constexpr uint64_t kMostElementBytes = 256U << 20;

/** False, too, and no command sent, when the value is the current one. */
bool SetUnsignedCapability(tagRefObj* object, uint32_t capability, uint32_t value);
/** Sent whatever the current value. */
bool SetBoolCapability(tagRefObj* object, uint32_t capability, uint8_t value);

/** Reads an array with its elements. They are the caller's, from malloc, and not fewer than the record says;
 *  a zero byte stands behind them. On failure the record's `data` is null. */
bool GetArrayCapability(tagRefObj* object, uint32_t capability, NkMAIDArray* array);

/** The first id in the object's list of children. */
bool SelectItem(tagRefObj* object, uint32_t* id);

/** Zeroed room for so many elements and a zero byte behind them; null when there is no memory, when it would
 *  be more than kMostElementBytes, or for elements without a size. */
ElementStorage AllocateElements(uint32_t count, uint16_t elementSize);

}  // namespace nikon
