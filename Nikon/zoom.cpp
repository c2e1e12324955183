/* zoom.cpp: the part of the image that live view shows, in pixels of the live-view picture. */
#include "Nikon/LiveViewScale.h"
#include "Nikon/NikonRecords.h"
#include "Nikon/Nikonjnilib.h"
#include "Nikon/nikon_internal.h"

using namespace nikon;

namespace {

constexpr uint32_t kZoomPosition = 0x824A;

using Field = uint16_t CameraData::*;

/** A field of the last frame's header, scaled from the whole image to the picture. */
jint inPicture(jlong camera, Field field, Field picture, Field whole) {
    const CameraCall call(camera);
    if (!call) return 0;
    const CameraData& data = call.camera();
    jint scaled = 0;
    scale(data.*field, data.*picture, data.*whole, &scaled);
    return scaled;
}

}  // namespace

NIKON_ENTRY(jint, GetLiveViewZoomPositionX, jlong camera) {
    (void)env, (void)object;
    return inPicture(camera, &CameraData::lvZoomX, &CameraData::lvImageWidth, &CameraData::lvWholeWidth);
}

NIKON_ENTRY(jint, GetLiveViewZoomPositionY, jlong camera) {
    (void)env, (void)object;
    return inPicture(camera, &CameraData::lvZoomY, &CameraData::lvImageHeight, &CameraData::lvWholeHeight);
}

NIKON_ENTRY(jint, GetLiveViewZoomWidth, jlong camera) {
    (void)env, (void)object;
    return inPicture(camera, &CameraData::lvZoomWidth, &CameraData::lvImageWidth, &CameraData::lvWholeWidth);
}

NIKON_ENTRY(jint, GetLiveViewZoomHeight, jlong camera) {
    (void)env, (void)object;
    return inPicture(camera, &CameraData::lvZoomHeight, &CameraData::lvImageHeight,
                     &CameraData::lvWholeHeight);
}

NIKON_ENTRY(void, SetLiveViewZoomPosition, jlong camera, jint x, jint y) {
    (void)env, (void)object;
    const CameraCall call(camera);
    if (!call || call.source() == nullptr) return;
    if (!CheckCapabilityOperation(call.source(), kZoomPosition, kMaidOperationSet)) return;
    const CameraData& data = call.camera();
    NkMAIDPoint point{};
    if (!scale(x, data.lvWholeWidth, data.lvImageWidth, &point.x) ||
        !scale(y, data.lvWholeHeight, data.lvImageHeight, &point.y)) {
        return;
    }
    Command_CapSet(call.source(), kZoomPosition, kMaidDataPointPtr, reinterpret_cast<MaidParam>(&point));
}
