/* CallArgs.h: what the trace shows of a command, and what faults match on.
 *
 * Thread: any.
 */
#pragma once

#include "frameworks/MAID/simulated/Module.h"
#include "lab/Call.h"

namespace maid {

/** Before the command is carried out. */
void noteCommand(lab::Call& call, const Object* object, const Command& command);
/** After it: what was read. */
void noteOutcome(lab::Call& call, const Command& command, int32_t result);

}  // namespace maid
