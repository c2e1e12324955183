// The executable of one bundle: it knows which module it is.
#include "frameworks/MAID/simulated/EntryPoint.h"

extern "C" __attribute__((visibility("default"))) int32_t MAIDEntryPoint(NkMAIDObject* object,
                                                                         uint32_t command, uint32_t param,
                                                                         uint32_t dataType, MaidParam data,
                                                                         MaidCompletionProc completion,
                                                                         MaidRef ref) {
    return maid::entryPoint(TARVO_MODULE_TYPE, object, command, param, dataType, data, completion, ref);
}
