#include "TarvoRemote/QTKitRemote.h"

#include "QTKitCapture/src/QTKitCapture.h"
#include "TarvoRemote/RemoteCall.h"
#include "TarvoRemote/callback.h"
#include "TarvoRemote/modules.h"
#include "TarvoRemote/rdebug.h"

#define QTKIT(name) Java_com_velmont_camera_qtkit_QTKitCapture_##name

namespace {

using remote_call::Method;
using remote_call::serve;

/** The array belongs to the camera, which may hand it out again: it is let go, not freed. */
void serveImageData(const RemoteCall& call) {
    const jlong handle = readLong(call.socket);
    call.writeHeader();
    const jintArray pixels = QTKIT(GetImageData)(call.env, call.env, handle);
    call.writeHeader();
    writeIntArray(call.socket, pixels);
    QTKitCapture_ReleaseImageData();
}

constexpr Method kMethods[] = {
    {1, serve<QTKIT(Initialize)>},         {2, serve<QTKIT(Terminate)>},
    {3, serve<QTKIT(GetCameraCount)>},     {4, serve<QTKIT(GetCameraName)>},
    {5, serve<QTKIT(DoSelectCamera)>},     {6, serve<QTKIT(ReleaseCamera)>},
    {7, serve<QTKIT(SetImageDimensions)>}, {8, serve<QTKIT(GetImageWidth)>},
    {9, serve<QTKIT(GetImageHeight)>},     {10, serveImageData},
    {11, serve<QTKIT(CaptureImage)>},      {12, serve<QTKIT(SetNoiseReduction)>},
    {13, serve<QTKIT(setUvcSetting)>},     {14, serve<QTKIT(getUvcSetting)>},
    {15, serve<QTKIT(driveFocus)>},        {16, serve<QTKIT(hasUvcSettings)>},
};

}  // namespace

void handleQTKitMessage(int socket) {
    uint8_t id = 0;
    if (!remote_call::serveNext(socket, MODULE_QTKIT, kMethods, &id)) {
        rdebug(MODULE_QTKIT, "handleQTKitMessage, unknown methodId %d\n", id);
    }
}

void QTKitRemote_handleProgress(int32_t percent) {
    sendCallback(MODULE_QTKIT, EVENT_PROGRESS, {percent});
}

void QTKitRemote_handleStatusEvent(int32_t status) {
    sendCallback(MODULE_QTKIT, EVENT_STATE, {status});
}
