#include "TarvoRemote/NikonRemote.h"

#include "Nikon/Nikonjnilib.h"
#include "TarvoRemote/RemoteCall.h"
#include "TarvoRemote/callback.h"
#include "TarvoRemote/modules.h"
#include "TarvoRemote/rdebug.h"
#include "TarvoRemote/sleepUntil.h"

#define NIKON(name) Java_com_velmont_camera_nikon_NikonMaid_##name

namespace {

using remote_call::Method;
using remote_call::serve;

/** The only call with a deadline: the shutter opens at the host's moment. */
void serveTimedCapture(const RemoteCall& call) {
    const jlong camera = readLong(call.socket);
    const jstring path = readString(call.socket);
    const jlong deadline = readLong(call.socket);
    call.writeHeader();
    sleepUntil(deadline);
    const jint result = NIKON(CaptureImage)(call.env, call.env, camera, path);
    call.writeHeader();
    writeInt(call.socket, result);
    std::free(path);
}

constexpr Method kMethods[] = {
    {1, serve<NIKON(InitializeSDK)>},
    {2, serve<NIKON(TerminateSDK)>},
    {3, serve<NIKON(getCameraCount)>},
    {4, serve<NIKON(getCameraTypeAtIndex)>},
    {5, serve<NIKON(selectCameraAtIndex)>},
    {6, serve<NIKON(GetSettingOptions)>},
    {7, serve<NIKON(GetSetting)>},
    {8, serve<NIKON(SetSetting)>},
    {9, serve<NIKON(getBatteryLevel)>},
    {10, serve<NIKON(getBracketing)>},
    {11, serve<NIKON(SetLiveView)>},
    {12, serve<NIKON(IsLiveView)>},
    {13, serve<NIKON(getLiveViewImage)>},
    {14, serve<NIKON(driveFocus)>},
    {15, serve<NIKON(SetLiveViewZoomPosition)>},
    {16, serve<NIKON(GetLiveViewZoomPositionX)>},
    {17, serve<NIKON(GetLiveViewZoomPositionY)>},
    {18, serve<NIKON(GetLiveViewZoomWidth)>},
    {19, serve<NIKON(GetLiveViewZoomHeight)>},
    {20, serveTimedCapture},
    {21, serve<NIKON(releaseCamera)>},
    {22, serve<NIKON(preCaptureImage)>},
    {23, serve<NIKON(checkForImages)>},
};

}  // namespace

void handleNikonMessage(int socket) {
    uint8_t id = 0;
    if (!remote_call::serveNext(socket, MODULE_NIKON, kMethods, &id)) {
        rdebug(MODULE_NIKON, "ERROR: handleNikonMessage, unknown methodId %d\n", id);
    }
}

void NikonRemote_statusCallback(int32_t status) {
    sendCallback(MODULE_NIKON, EVENT_STATE, {status});
}

void NikonRemote_progressCallback(int32_t percent) {
    rdebug(MODULE_NIKON, "progressCallback %d\n", percent);
    sendCallback(MODULE_NIKON, EVENT_PROGRESS, {percent});
}
