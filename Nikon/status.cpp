/* status.cpp: what a host asks a camera around a capture. */
#include "Nikon/NikonRecords.h"
#include "Nikon/Nikonjnilib.h"
#include "Nikon/nikon_internal.h"

using namespace nikon;

namespace {

constexpr uint32_t kClearedBeforeBracketing = 0x81AF;
constexpr uint32_t kBracketing = 0x81B3;

}  // namespace

NIKON_ENTRY(jint, getBatteryLevel, jlong camera) {
    (void)env, (void)object;
    const CameraCall call(camera);
    if (!call) return 0;
    if (!CheckCapabilityOperation(call.source(), kMaidCapabilityBatteryLevel, kMaidOperationGet)) return -1;
    int32_t level = -1;
    const bool isKnown = Command_CapGet(call.source(), kMaidCapabilityBatteryLevel, kMaidDataIntegerPtr,
                                        reinterpret_cast<MaidParam>(&level));
    return isKnown ? level : -1;
}

NIKON_ENTRY(jboolean, getBracketing, jlong camera) {
    (void)env, (void)object;
    const CameraCall call(camera);
    if (!call || call.source() == nullptr) return 0;
    SetBoolCapability(call.source(), kClearedBeforeBracketing, 0);
    uint32_t state = 0;
    if (CheckCapabilityOperation(call.source(), kBracketing, kMaidOperationGet)) {
        readUnsigned(call.source(), kBracketing, &state);
    }
    return state != 0 ? 1 : 0;
}
