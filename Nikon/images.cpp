/* images.cpp: the pictures that wait in the camera, to the host's path.
 *
 * A shot may be two pictures, and the camera tells so with the first one. The second is waited for as long as
 * the camera gives signs of being at work on it (SignsOfLife.h), which a module at the end of its work does
 * not, and the connection must not hang for ever. The wait also ends when the camera has gone or its module
 * refuses to work. The first picture is safe by then: the check answers that one has come.
 */
#include <algorithm>
#include <chrono>
#include <thread>

#include "Nikon/CallBack.h"
#include "Nikon/NikonRecords.h"
#include "Nikon/Nikonjnilib.h"
#include "Nikon/SignsOfLife.h"
#include "Nikon/nikon_internal.h"

namespace nikon {

namespace {

enum TransferResult : jint {
    kTransferred = 0,
    kNoItem = -4,
    kNoImageObject = -5,
    kImageObjectLost = -51,
    kTransferFailed = -60,
};

using Clock = std::chrono::steady_clock;

constexpr int32_t kImageObject = 1;  // the id of the image among an item's data objects
constexpr uint32_t kImagesPerShot = 0x81B5;
// Between the first sight of an item and the second, which finds it announced whole.
constexpr std::chrono::milliseconds kAnnouncement{100};
constexpr std::chrono::milliseconds kSecondImagePause{10};

bool awaitItem(CameraData& camera, uint32_t* itemId) {
    SilenceWatch watch(Clock::now(), signsOfLife());
    while (!SelectItem(camera.source, itemId)) {
        if (camera.active == 0 || !Command_Async(camera.source)) return false;
        if (watch.isOver(Clock::now(), signsOfLife())) return false;
        std::this_thread::sleep_for(kSecondImagePause);
    }
    return true;
}

bool isWaiting(CameraData& camera, uint32_t* itemId) {
    if (!SelectItem(camera.source, itemId)) return false;
    std::this_thread::sleep_for(kAnnouncement);
    return SelectItem(camera.source, itemId);
}

/** Opened on first use; null, with a line in the log, when it cannot be had. */
tagRefObj* itemOf(tagRefObj* source, uint32_t itemId) {
    const auto id = static_cast<int32_t>(itemId);
    tagRefObj* item = GetRefChildPtr_ID(source, id);
    if (item == nullptr && AddChild(source, id)) {
        debug("Item object is opened.\n");
        item = GetRefChildPtr_ID(source, id);
    }
    if (item == nullptr) debug("Item object can't be opened.\n");
    return item;
}

TransferResult openImage(tagRefObj* item, tagRefObj** image) {
    *image = GetRefChildPtr_ID(item, kImageObject);
    if (*image != nullptr) return kTransferred;
    if (!AddChild(item, kImageObject)) {
        debug("Image object can't be opened.\n");
        return kNoImageObject;
    }
    debug("Image object is opened.\n");
    *image = GetRefChildPtr_ID(item, kImageObject);
    return *image != nullptr ? kTransferred : kImageObjectLost;
}

TransferResult acquire(CameraData& camera, tagRefObj* image, uint32_t imageCount) {
    uint32_t imagesPerShot = camera.ulSingleDualImage;
    readUnsigned(image, kImagesPerShot, &imagesPerShot);
    camera.ulSingleDualImage = std::min(imagesPerShot, 1U);
    camera.acquiring = 1;
    debug("IssueAcquire for image %s, imageCount=%d, ulSingleDualImage=%d\n", camera.imagePath,
          static_cast<int>(imageCount), static_cast<int>(camera.ulSingleDualImage));
    if (IssueAcquire(&camera, image)) return kTransferred;
    camera.acquiring = 0;
    return kTransferFailed;
}

/** The item's object and its image's are looked up anew: the module may take them away whenever it works. */
TransferResult transferImage(CameraData& camera, uint32_t itemId, uint32_t imageCount) {
    ReportProgress(camera.source, 0, 100);
    debug("Downloading for image %s, imageCount=%d, ulSingleDualImage=%d\n", camera.imagePath,
          static_cast<int>(imageCount), static_cast<int>(camera.ulSingleDualImage));
    tagRefObj* item = itemOf(camera.source, itemId);
    if (item == nullptr) return kNoItem;
    camera.removeItem = 0;
    tagRefObj* image = nullptr;
    TransferResult result = openImage(item, &image);
    if (result == kTransferred) result = acquire(camera, image, imageCount);
    if (result != kTransferred) return result;
    if (camera.removeItem != 0) RemoveChild(camera.source, static_cast<int32_t>(itemId));
    ++camera.imagesTransferred;
    debug("Finished for image %s, imageCount=%d, ulSingleDualImage=%d\n", camera.imagePath,
          static_cast<int>(imageCount), static_cast<int>(camera.ulSingleDualImage));
    return kTransferred;
}

}  // namespace

void beginImages(CameraData& camera) {
    camera.ulSingleDualImage = 0;
    camera.imagesTransferred = 0;
}

bool readUnsigned(tagRefObj* object, uint32_t capability, uint32_t* value) {
    uint32_t read = 0;
    if (!Command_CapGet(object, capability, kMaidDataUnsignedPtr, reinterpret_cast<MaidParam>(&read))) {
        return false;
    }
    *value = read;
    return true;
}

jint fetchImages(CameraData& camera) {
    beginImages(camera);
    uint32_t itemId = 0;
    if (camera.source == nullptr || !isWaiting(camera, &itemId)) return 0;
    for (uint32_t imageCount = 0;;) {
        const TransferResult result = transferImage(camera, itemId, imageCount);
        if (result != kTransferred) return result;
        if (camera.imagesTransferred == 1 && camera.ulSingleDualImage == 1) {
            debug("Waiting for second image.\n");
            if (!awaitItem(camera, &itemId)) break;
        }
        if (++imageCount > camera.ulSingleDualImage) break;
    }
    return static_cast<jint>(camera.imagesTransferred);
}

}  // namespace nikon

NIKON_ENTRY(jint, checkForImages, jlong camera) {
    (void)env, (void)object;
    const nikon::CameraCall call(camera);
    return call ? nikon::fetchImages(call.camera()) : 0;
}
