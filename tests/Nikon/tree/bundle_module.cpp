/* Stands for a module; it has seen the driver if that was loaded before. */
#include <cstdlib>

#include "MAID.h"

namespace {

const bool hasDriver = getenv("TARVO_TEST_DRIVER") != nullptr;

}  // namespace

extern "C" __attribute__((visibility("default"))) int32_t MAIDEntryPoint(NkMAIDObject*, uint32_t, uint32_t,
                                                                         uint32_t, MaidParam,
                                                                         MaidCompletionProc, MaidRef) {
    return hasDriver ? 1001 : 1002;
}
