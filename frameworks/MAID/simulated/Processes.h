/* Processes.h: releases and transfers, which take more than one step.
 *
 * Thread: that of the module.
 * Errors: MaidResult.
 */
#pragma once

#include <memory>

#include "frameworks/MAID/simulated/Module.h"

namespace maid {

/** The shutter of the source's body; null with the reason in `refusal`. */
std::unique_ptr<Process> beginCapture(const ObjectRef& source, int32_t& refusal);
/** The data of an image object, block by block, to its data procedure. */
std::unique_ptr<Process> beginAcquire(const ObjectRef& image, int32_t& refusal);

/** What a body says, in the interface's numbers. */
int32_t resultOf(lab::nikon::Outcome outcome);

}  // namespace maid
