/* live_view.cpp: live view on and off, and its frames. */
#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <memory>
#include <span>

#include "Nikon/LiveViewHeader.h"
#include "Nikon/NikonRecords.h"
#include "Nikon/Nikonjnilib.h"
#include "Nikon/nikon_internal.h"
#include "TarvoRemote/NikonRemote.h"

namespace nikon {

namespace {

constexpr uint32_t kLiveViewState = 0x823E;
constexpr uint32_t kLiveViewFrame = 0x8247;
// The camera's countdown to the end of live view: a drop from above the one to the other or below is told.
constexpr uint16_t kCool = 500;
constexpr uint16_t kHot = 30;

void warnOfHeat(CameraData& camera, uint16_t countdown) {
    if (countdown <= kHot && camera.lvCountdown > kCool) {
        debug("live view OVERHEAT!\n");
        NikonRemote_statusCallback(kNikonOverheating);
    }
    camera.lvCountdown = countdown;
}

void storeHeader(CameraData& camera, const LiveViewHeader& header) {
    camera.lvImageWidth = header.imageWidth;
    camera.lvImageHeight = header.imageHeight;
    camera.lvWholeWidth = header.wholeWidth;
    camera.lvWholeHeight = header.wholeHeight;
    std::copy(std::begin(header.further), std::end(header.further), std::begin(camera.lvFurther));
    camera.lvZoomWidth = header.zoomWidth;
    camera.lvZoomHeight = header.zoomHeight;
    camera.lvZoomX = header.zoomX;
    camera.lvZoomY = header.zoomY;
    camera.lvFocusDriving = header.focusDriving;
    warnOfHeat(camera, header.countdown);
}

/** Straight from the module's buffer: the one copy that a frame is worth. */
jbyteArray newArrayOf(JNIEnv* env, std::span<const uint8_t> jpeg) {
    if (jpeg.empty() || jpeg.size() > static_cast<size_t>(std::numeric_limits<jsize>::max())) return nullptr;
    const auto length = static_cast<jsize>(jpeg.size());
    const jbyteArray array = (*env)->NewByteArray(env, length);
    if (array != nullptr) (*env)->SetByteArrayRegion(env, array, 0, length, jpeg.data());
    return array;
}

}  // namespace

jbyteArray fetchFrame(JNIEnv* env, CameraData& camera, bool makeArray) {
    if (camera.active == 0 || camera.source == nullptr) return nullptr;
    NkMAIDArray record{};
    if (!GetArrayCapability(camera.source, kLiveViewFrame, &record)) return nullptr;
    const std::unique_ptr<void, decltype(&std::free)> storage(record.data, &std::free);
    const std::span frame(static_cast<const uint8_t*>(record.data),
                          size_t{record.elements} * record.physicalBytes);
    if (const auto header = readLiveViewHeader(frame)) storeHeader(camera, *header);
    return makeArray ? newArrayOf(env, jpegOf(frame)) : nullptr;
}

}  // namespace nikon

NIKON_ENTRY(jboolean, SetLiveView, jlong camera, jboolean on) {
    (void)env, (void)object;
    const nikon::CameraCall call(camera);
    if (!call || call.source() == nullptr) return 0;
    return SetUnsignedCapability(call.source(), nikon::kLiveViewState, on != 0 ? 1 : 0) ? 1 : 0;
}

NIKON_ENTRY(jboolean, IsLiveView, jlong camera) {
    (void)env, (void)object;
    const nikon::CameraCall call(camera);
    uint32_t state = 0;
    if (!call || call.source() == nullptr) return 0;
    return nikon::readUnsigned(call.source(), nikon::kLiveViewState, &state) && state != 0 ? 1 : 0;
}

NIKON_ENTRY(jbyteArray, getLiveViewImage, jlong camera) {
    (void)object;
    const nikon::CameraCall call(camera);
    if (!call || call.source() == nullptr) return nullptr;
    return nikon::fetchFrame(env, call.camera(), true);
}
