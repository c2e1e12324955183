/* capture.cpp: release the shutter, and wait for what comes of it. */
#include <chrono>
#include <thread>

#include "Nikon/CallBack.h"
#include "Nikon/NikonRecords.h"
#include "Nikon/Nikonjnilib.h"
#include "Nikon/nikon_internal.h"

using namespace nikon;

namespace {

enum CaptureResult : jint {
    kDone = 0,
    kNoSource = -1,
    kPathTooLong = -2,
    kCaptureFailed = -3,
    kModuleFailed = -31,
    kNoImage = -4,
};

// Leaves room for the extension and the end mark.
constexpr jsize kLongestPath = 1013;
constexpr uint32_t kReadBeforeCapture = 0x818F;
constexpr int kPolls = 51;
constexpr std::chrono::milliseconds kPollPause{100};

/** A null path was too long to be read at all. */
bool takePath(JNIEnv* env, CameraData& camera, jstring path) {
    static_assert(sizeof camera.imagePath > kLongestPath);
    if (path == nullptr || (*env)->GetStringUTFLength(env, path) > kLongestPath) return false;
    (*env)->GetStringUTFRegion(env, path, 0, (*env)->GetStringLength(env, path), camera.imagePath);
    return true;
}

/** The checks that both capture calls begin with. */
CaptureResult prepare(JNIEnv* env, const CameraCall& call, jstring path) {
    if (call.source() == nullptr) return kNoSource;
    return takePath(env, call.camera(), path) ? kDone : kPathTooLong;
}

CaptureResult releaseShutter(tagRefObj* source) {
    uint32_t unused = 0;
    Command_CapGet(source, kReadBeforeCapture, kMaidDataUnsignedPtr, reinterpret_cast<MaidParam>(&unused));
    if (!IssueProcess(source, kMaidCapabilityCapture)) return kCaptureFailed;
    return Command_Async(source) ? kDone : kModuleFailed;
}

/** Whatever goes wrong with a transfer, the picture may come at the next look. */
CaptureResult awaitImages(CameraData& camera) {
    for (int poll = 0; poll < kPolls; ++poll) {
        if (camera.active == 0 || fetchImages(camera) > 0) return kDone;
        // A module that completes its commands at once would otherwise not be let work.
        if (camera.active != 0) Command_Async(camera.source);
        std::this_thread::sleep_for(kPollPause);
    }
    debug("Image not available. Exiting.\n");
    return kNoImage;
}

}  // namespace

NIKON_ENTRY(jint, CaptureImage, jlong camera, jstring imagePath) {
    (void)object;
    const CameraCall call(camera);
    if (!call) return kDone;
    CaptureResult result = prepare(env, call, imagePath);
    if (result != kDone) return result;
    CameraData& data = call.camera();
    debug("Issue kNkMAIDCapability_Capture for %s\n", data.imagePath);
    result = releaseShutter(data.source);
    if (result != kDone) return result;
    beginImages(data);
    ReportProgress(data.source, 0, 100);
    debug("Waiting for image %s\n", data.imagePath);
    return awaitImages(data);
}

NIKON_ENTRY(jint, preCaptureImage, jlong camera, jstring imagePath) {
    (void)object;
    const CameraCall call(camera);
    if (!call) return kDone;
    const CaptureResult result = prepare(env, call, imagePath);
    if (result != kDone) return result;
    return Command_Async(call.source()) ? kDone : kModuleFailed;
}
