#include "TarvoRemote/CanonRemote.h"

#include "CanonEds/CanonEntryPoints.h"
#include "TarvoRemote/RemoteCall.h"
#include "TarvoRemote/callback.h"
#include "TarvoRemote/modules.h"
#include "TarvoRemote/rdebug.h"
#include "TarvoRemote/sleepUntil.h"

#define CANON(name) Java_com_velmont_camera_canon_CanonEdsWrapper_##name

namespace {

using remote_call::Method;
using remote_call::serve;

/** The frame belongs to the session, which may hand it out again: it is let go, not freed. */
void serveLiveViewFrame(const RemoteCall& call) {
    const jint handle = readInt(call.socket);
    call.writeHeader();
    const jbyteArray frame = CANON(DoGetLiveViewImageData)(call.env, call.env, handle);
    call.writeHeader();
    writeByteArray(call.socket, frame);
    Mac_ReleaseLiveViewImageData();
}

/** The only call with a deadline: the shutter opens at the host's moment. */
void serveTimedCapture(const RemoteCall& call) {
    const jint handle = readInt(call.socket);
    const jstring path = readString(call.socket);
    const jlong deadline = readLong(call.socket);
    call.writeHeader();
    sleepUntil(deadline);
    const jint status = CANON(DoCaptureImage)(call.env, call.env, handle, path);
    call.writeHeader();
    writeInt(call.socket, status);
    std::free(path);
}

constexpr Method kMethods[] = {
    {1, serve<CANON(InitializeSDK)>},
    {2, serve<CANON(GetCameraList)>},
    {5, serve<CANON(GetCameraName)>},
    {7, serve<CANON(DoOpenSession)>},
    {8, serve<CANON(CloseSession)>},
    {9, serve<CANON(DoStartLiveView)>},
    {10, serve<CANON(DoStopLiveView)>},
    {11, serve<CANON(DriveFocus)>},
    {12, serve<CANON(GetFirmwareVersion)>},
    {13, serveLiveViewFrame},
    {14, serve<CANON(GetLiveViewZoomPositionX)>},
    {15, serve<CANON(GetLiveViewZoomPositionY)>},
    {16, serve<CANON(GetSetting)>},
    {17, serve<CANON(GetSettingOptions)>},
    {18, serve<CANON(Idle)>},
    {19, serve<CANON(IsLiveViewZoom)>},
    {20, serve<CANON(SetLiveViewZoom)>},
    {21, serve<CANON(SetLiveViewZoomPosition)>},
    {22, serve<CANON(SetSetting)>},
    {23, serve<CANON(TerminateSDK)>},
    {24, serveTimedCapture},
    {25, serve<CANON(DoPreCaptureImage)>},
    {26, serve<CANON(ExtendShutdownTimer)>},
    {27, serve<CANON(DownloadImage)>},
};

int32_t asInt(uint32_t value) {
    return static_cast<int32_t>(value);
}

}  // namespace

void handleCanonMessage(int socket) {
    uint8_t id = 0;
    if (!remote_call::serveNext(socket, MODULE_CANON, kMethods, &id)) {
        rdebug(MODULE_CANON, "ERROR: handleCanonMessage, unknown methodId %d\n", id);
    }
}

void CanonRemote_handleObjectEvent(int32_t handle, uint32_t event, int32_t object) {
    sendCallback(MODULE_CANON, EVENT_OBJECT, {handle, asInt(event), object});
}

void CanonRemote_handlePropertyEvent(int32_t handle, uint32_t event, uint32_t propertyId,
                                     uint32_t parameter) {
    sendCallback(MODULE_CANON, EVENT_PROPERTY, {handle, asInt(event), asInt(propertyId), asInt(parameter)});
}

void CanonRemote_handleStateEvent(int32_t handle, uint32_t event, uint32_t parameter) {
    sendCallback(MODULE_CANON, EVENT_STATE, {handle, asInt(event), asInt(parameter)});
}

void CanonRemote_progressCallback(int32_t handle, uint32_t percent) {
    rdebug(MODULE_CANON, "progressCallback %d\n", asInt(percent));
    sendCallback(MODULE_CANON, EVENT_PROGRESS, {handle, asInt(percent)});
}
