/* Values.h: capabilities of objects, read and written as the interface's data types.
 *
 * Thread: that of the module.
 * Owns:   nothing; buffers are the caller's.
 * Errors: MaidResult; a caller's record is touched on success only.
 */
#pragma once

#include "frameworks/MAID/simulated/Module.h"

namespace maid {

/** An object's capabilities as they are now; the version changes whenever the list does. */
int32_t capabilitiesOf(const Object& object, lab::nikon::Table& out, uint64_t& version);
/** One of them. Children lists are filled. */
int32_t capabilityOf(const Object& object, uint32_t id, lab::nikon::Capability& out);

int32_t getCapability(const Object& object, const Command& command);
int32_t getDefault(const Object& object, const Command& command);
int32_t getArray(const Object& object, const Command& command);
int32_t setCapability(Object& object, const Command& command);

/** The ids of what is under an object. */
std::vector<uint32_t> childIds(const Object& object);

}  // namespace maid
