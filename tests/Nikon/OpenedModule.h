/* OpenedModule.h: a module's handle without a bundle: its entry point is in the test. */
#pragma once

#include "Nikon/NikonRecords.h"
#include "Nikon/Nikonjnilib.h"
#include "Nikon/nikon_internal.h"

#define NIKON(name) Java_com_velmont_camera_nikon_NikonMaid_##name

namespace nikon::test {

/** As InitializeSDK goes about it once the bundle is loaded; 0 when it fails. */
inline jlong openAsLoaded(MaidEntryPoint entryPoint) {
    using handles::Kind;
    auto* record = handles::create<NikonModule>(Kind::NikonModule);
    if (record == nullptr) return 0;
    record->root.entryPoint = entryPoint;
    if (!openLoadedModule(*record)) {
        handles::retire(Kind::NikonModule, toAddress(toHandle(record)));
        return 0;
    }
    record->isOpen = true;
    return toHandle(record);
}

}  // namespace nikon::test
