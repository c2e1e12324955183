/* EDSDK.cpp: the camera library with no camera attached.
 *
 * It stands in the hardware set until bodies are supported, and keeps the interface honest: whatever works
 * with it asks for no more than EDSDK.h promises. No reference but the empty camera list is ever handed out,
 * so every other reference is a foreign one.
 */
#include "EDSDK.h"

#include <atomic>
#include <mutex>

namespace {

std::atomic<bool> isInitialised{false};
std::mutex listMutex;
uint32_t listReferences = 0;  // guarded by listMutex

constexpr EdsUInt32 kNoReference = 0xFFFFFFFF;

EdsObject_* emptyList() {
    static char standsForTheList;
    return reinterpret_cast<EdsObject_*>(&standsForTheList);
}

bool isLiveList(EdsBaseRef object) {
    const std::lock_guard guard(listMutex);
    return object == emptyList() && listReferences > 0;
}

/** The count afterwards. */
EdsUInt32 countList(EdsBaseRef object, int32_t difference) {
    const std::lock_guard guard(listMutex);
    if (object != emptyList() || listReferences == 0) return kNoReference;
    return listReferences += static_cast<uint32_t>(difference);
}

EdsError uninitialisedOr(EdsError error) {
    return isInitialised ? error : static_cast<EdsError>(EDS_ERR_INTERNAL_ERROR);
}

/** Also before the library has been started: then no reference is live. */
EdsError noSuchReference() {
    return EDS_ERR_INVALID_HANDLE;
}

}  // namespace

EdsError EdsInitializeSDK() {
    return isInitialised.exchange(true) ? EDS_ERR_INTERNAL_ERROR : EDS_ERR_OK;
}

EdsError EdsTerminateSDK() {
    const std::lock_guard guard(listMutex);
    listReferences = 0;
    return isInitialised.exchange(false) ? EDS_ERR_OK : EDS_ERR_INTERNAL_ERROR;
}

EdsError EdsGetEvent() {
    return uninitialisedOr(EDS_ERR_OK);
}

EdsUInt32 EdsRetain(EdsBaseRef object) {
    return countList(object, 1);
}

EdsUInt32 EdsRelease(EdsBaseRef object) {
    return countList(object, -1);
}

EdsError EdsGetChildCount(EdsBaseRef parent, EdsUInt32* count) {
    if (!isLiveList(parent)) return noSuchReference();
    if (count == nullptr) return EDS_ERR_INVALID_POINTER;
    *count = 0;
    return EDS_ERR_OK;
}

EdsError EdsGetChildAtIndex(EdsBaseRef parent, EdsInt32, EdsBaseRef*) {
    return isLiveList(parent) ? static_cast<EdsError>(EDS_ERR_INVALID_INDEX) : noSuchReference();
}

EdsError EdsGetCameraList(EdsCameraListRef* list) {
    if (!isInitialised) return EDS_ERR_INTERNAL_ERROR;
    if (list == nullptr) return EDS_ERR_INVALID_POINTER;
    const std::lock_guard guard(listMutex);
    ++listReferences;
    *list = emptyList();
    return EDS_ERR_OK;
}

EdsError EdsGetDeviceInfo(EdsCameraRef, EdsDeviceInfo*) {
    return noSuchReference();
}

EdsError EdsOpenSession(EdsCameraRef) {
    return noSuchReference();
}

EdsError EdsCloseSession(EdsCameraRef) {
    return noSuchReference();
}

EdsError EdsSendCommand(EdsCameraRef, EdsCameraCommand, EdsInt32) {
    return noSuchReference();
}

EdsError EdsSendStatusCommand(EdsCameraRef, EdsCameraStatusCommand, EdsInt32) {
    return noSuchReference();
}

EdsError EdsSetCapacity(EdsCameraRef, EdsCapacity) {
    return noSuchReference();
}

EdsError EdsSetObjectEventHandler(EdsCameraRef, EdsObjectEvent, EdsObjectEventHandler, EdsVoid*) {
    return noSuchReference();
}

EdsError EdsSetPropertyEventHandler(EdsCameraRef, EdsPropertyEvent, EdsPropertyEventHandler, EdsVoid*) {
    return noSuchReference();
}

EdsError EdsSetCameraStateEventHandler(EdsCameraRef, EdsStateEvent, EdsStateEventHandler, EdsVoid*) {
    return noSuchReference();
}

EdsError EdsGetPropertySize(EdsBaseRef, EdsPropertyID, EdsInt32, EdsDataType*, EdsUInt32*) {
    return noSuchReference();
}

EdsError EdsGetPropertyData(EdsBaseRef, EdsPropertyID, EdsInt32, EdsUInt32, EdsVoid*) {
    return noSuchReference();
}

EdsError EdsSetPropertyData(EdsBaseRef, EdsPropertyID, EdsInt32, EdsUInt32, const EdsVoid*) {
    return noSuchReference();
}

EdsError EdsGetPropertyDesc(EdsBaseRef, EdsPropertyID, EdsPropertyDesc*) {
    return noSuchReference();
}

EdsError EdsGetDirectoryItemInfo(EdsDirectoryItemRef, EdsDirectoryItemInfo*) {
    return noSuchReference();
}

EdsError EdsDownload(EdsDirectoryItemRef, EdsUInt64, EdsStreamRef) {
    return noSuchReference();
}

EdsError EdsDownloadComplete(EdsDirectoryItemRef) {
    return noSuchReference();
}

EdsError EdsDownloadCancel(EdsDirectoryItemRef) {
    return noSuchReference();
}

/* Streams are of use only with a camera to fill them. */

EdsError EdsCreateFileStreamEx(const EdsChar*, EdsFileCreateDisposition, EdsAccess, EdsStreamRef*) {
    return uninitialisedOr(EDS_ERR_NOT_SUPPORTED);
}

EdsError EdsCreateMemoryStream(EdsUInt64, EdsStreamRef*) {
    return uninitialisedOr(EDS_ERR_NOT_SUPPORTED);
}

EdsError EdsGetLength(EdsStreamRef, EdsUInt64*) {
    return noSuchReference();
}

EdsError EdsGetPointer(EdsStreamRef, EdsVoid**) {
    return noSuchReference();
}

EdsError EdsSetProgressCallback(EdsBaseRef, EdsProgressCallback, EdsProgressOption, EdsVoid*) {
    return noSuchReference();
}

EdsError EdsCreateEvfImageRef(EdsStreamRef, EdsEvfImageRef*) {
    return noSuchReference();
}

EdsError EdsDownloadEvfImage(EdsCameraRef, EdsEvfImageRef) {
    return noSuchReference();
}
