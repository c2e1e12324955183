/* events.cpp: what the library tells us, on the worker thread or, for progress, on the downloading one. */
#include "CanonEds/canon_internal.h"
#include "TarvoRemote/CanonRemote.h"

namespace {

/** The session that a handler was installed for. It may be gone: handlers outlive a failed opening. */
CanonSession sessionOf(EdsVoid* context) {
    return findSession(reinterpret_cast<intptr_t>(context));
}

uint32_t shareOfCapture(const CanonCamera& session, uint32_t percent) {
    const int32_t downloaded = session.imagesDownloaded;
    if (percent == 100 && downloaded < session.imageCount) percent = 99;
    if (session.imageCount != 2) return percent;
    return (downloaded >= 1 ? percent + 100 : percent) >> 1;
}

/** Cameras take a shutter speed late while they are busy with a picture; setting it again here makes it
 * stick. */
void applyPendingTv(CanonCamera& session) {
    int32_t value = session.pendingTv;
    if (value == 0) return;
    const EdsError status = setProperty(session.camera, kEdsPropID_Tv, value);
    if (status != EDS_ERR_OK) {
        debug("Tv set error 0x%X\n", status);
        return;
    }
    debug("Tv set successfully\n");
    session.pendingTv.compare_exchange_strong(value, 0);  // keeps a value that a host set meanwhile
}

/** The number of the session that a callback's context names, 0 for none. The host may close the session as
 * soon as it hears of the event, and its camera goes back at once: nobody here may hold it while the event is
 * told. */
int32_t handleOf(EdsVoid* context) {
    const CanonSession session = sessionOf(context);
    return session ? session->handle() : 0;
}

}  // namespace

EdsError handleObjectEvent(EdsObjectEvent event, EdsBaseRef object, EdsVoid* context) {
    debug("In handleObjectEvent\n");
    if (context == nullptr) return EDS_ERR_OK;
    const int32_t handle = handleOf(context);
    if (handle == 0) {
        if (object != nullptr) EdsRelease(object);  // nobody is left who could ask for it
        return EDS_ERR_OK;
    }
    // An item that waits for its transfer stays alive until the host downloads it. Of any other object the
    // host gets a bare number, which must mean nothing any more when the host has it: the object goes below.
    const bool isKept = event == kEdsObjectEvent_DirItemRequestTransfer;
    const int32_t reference = handles::standFor(handles::Kind::CanonDirectoryItem, object);
    if (!isKept) handles::release(handles::Kind::CanonDirectoryItem, reference);
    CanonRemote_handleObjectEvent(handle, event, reference);
    debug("In handleObjectEvent 0x%X\n", event);
    if (!isKept && object != nullptr) EdsRelease(object);
    return EDS_ERR_OK;
}

EdsError handlePropertyEvent(EdsPropertyEvent event, EdsPropertyID property, EdsUInt32 parameter,
                             EdsVoid* context) {
    const int32_t handle = handleOf(context);
    if (handle != 0) CanonRemote_handlePropertyEvent(handle, event, property, parameter);
    return EDS_ERR_OK;
}

EdsError handleStateEvent(EdsStateEvent event, EdsUInt32 parameter, EdsVoid* context) {
    const int32_t handle = handleOf(context);
    if (handle == 0) return EDS_ERR_OK;
    if (event == kEdsStateEvent_Shutdown) {
        if (const CanonSession session = sessionOf(context)) session->connected = false;
    }
    tellState(handle, event, parameter);
    return EDS_ERR_OK;
}

void tellState(int32_t handle, EdsStateEvent event, EdsUInt32 parameter) {
    debug("handleStateEvent inEvent 0x%X, inParam 0x%X\n", event, parameter);
    CanonRemote_handleStateEvent(handle, event, parameter);
}

EdsError ProgressFunc(EdsUInt32 percent, EdsVoid* context, EdsBool*) {
    debug("ProgressFunc %d\n", static_cast<int>(percent));
    const CanonSession session = sessionOf(context);
    if (!session) return EDS_ERR_OK;
    CanonRemote_progressCallback(session->handle(), shareOfCapture(*session, percent));
    applyPendingTv(*session);
    return EDS_ERR_OK;
}
