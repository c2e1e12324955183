/* focus.cpp: drive the lens, and watch the frames until it stands still. */
#include <cmath>

#include "Nikon/NikonRecords.h"
#include "Nikon/Nikonjnilib.h"
#include "Nikon/nikon_internal.h"

using namespace nikon;

namespace {

constexpr uint32_t kFocusAmount = 0x8248;
constexpr uint32_t kFocusDirection = 0x8249;
constexpr int kMostFrames = 100;

/** A camera that does not tell its amount is driven by the one it has. */
bool setAmount(tagRefObj* source, jint steps) {
    if (!CheckCapabilityOperation(source, kFocusAmount, kMaidOperationGet)) return true;
    NkMAIDRange range{};
    const auto data = reinterpret_cast<MaidParam>(&range);
    if (!Command_CapGet(source, kFocusAmount, kMaidDataRangePtr, data)) return false;
    range.value = std::fabs(static_cast<double>(steps));
    return Command_CapSet(source, kFocusAmount, kMaidDataRangePtr, data);
}

bool isDrivingAt(JNIEnv* env, CameraData& camera, int counter) {
    fetchFrame(env, camera, false);
    // The percent sign stands alone, without the flag: log filters know the line so.
    debug("driveFocus, counter=%d, focus=%%\n", counter);
    return camera.lvFocusDriving != 0;
}

}  // namespace

NIKON_ENTRY(void, driveFocus, jlong camera, jint steps) {
    (void)object;
    const CameraCall call(camera);
    if (!call || steps == 0 || call.source() == nullptr) return;
    if (!setAmount(call.source(), steps)) return;
    if (!Command_CapSet(call.source(), kFocusDirection, kMaidDataUnsigned, steps < 0 ? 1 : 0)) return;
    // The camera paces this: a frame comes when there is a new one.
    for (int counter = 0; counter < kMostFrames && isDrivingAt(env, call.camera(), counter);) {
        ++counter;
    }
}
