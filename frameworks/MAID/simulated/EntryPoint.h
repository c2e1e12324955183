/* EntryPoint.h: what the bundles have in common.
 *
 * Every bundle of the set exports "MAIDEntryPoint" and hands it on with the number of its module type, so
 * that all of them share one library and one world.
 *
 * Thread: one at a time for each opened module.
 * Errors: MaidResult.
 */
#pragma once

#include "MAID.h"

namespace maid {

__attribute__((visibility("default"))) int32_t entryPoint(uint32_t moduleType, NkMAIDObject* object,
                                                          uint32_t command, uint32_t param, uint32_t dataType,
                                                          MaidParam data, MaidCompletionProc completion,
                                                          MaidRef ref);

}  // namespace maid
