/* Sources.h: the ids under which bodies appear in their module.
 *
 * Thread: the caller sees to it that the newcomers are not in use yet.
 * Errors: an id that another body of the module has; each answer says how.
 */
#pragma once

#include <vector>

#include "lab/Device.h"
#include "lab/nikon/Body.h"

namespace lab::nikon {

/** Gives every body of a new world the id that it asks for, or the next one that is free in its module.
 *  Answers the index of a device that asks for what another one has; none: the number of devices. */
size_t settleSourceIds(const std::vector<DeviceRef>& devices);

/** The same for a newcomer, among the bodies of the world. One of the newcomer's name is the one whose place
 *  it takes. False when the id that it asks for is taken. */
bool settleSourceId(Body& newcomer, const std::vector<DeviceRef>& others);

/** The bodies that are attached to this module, in the order of the world. */
LAB_EXPORT std::vector<BodyRef> attachedBodies(uint32_t moduleType);

}  // namespace lab::nikon
