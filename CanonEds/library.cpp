#include <cstdarg>

#include "CanonEds/canon_internal.h"
#include "shared/vask_log.h"

void debug(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vask_log("CanonEds", format, arguments);
    va_end(arguments);
}

EdsError getProperty(EdsBaseRef object, EdsPropertyID property, int32_t* value) {
    return EdsGetPropertyData(object, property, 0, sizeof *value, value);
}

EdsError setProperty(EdsBaseRef object, EdsPropertyID property, int32_t value) {
    return EdsSetPropertyData(object, property, 0, sizeof value, &value);
}

EdsError lockUI(CanonCamera& session) {
    if (!session.legacy) return EDS_ERR_OK;
    const EdsError status = EdsSendStatusCommand(session.camera, kEdsCameraStatusCommand_UILock, 0);
    if (status == EDS_ERR_OK) {
        session.uiLocked = true;
    } else {
        debug("NO LOCK 0x%X\n", status);
    }
    return status;
}

void unlockUI(CanonCamera& session) {
    if (!session.legacy || !session.uiLocked) return;
    const EdsError status = EdsSendStatusCommand(session.camera, kEdsCameraStatusCommand_UIUnLock, 0);
    if (status == EDS_ERR_OK) {
        session.uiLocked = false;
    } else {
        debug("NO UNLOCK 0x%X\n", status);
    }
}

EdsError announceCapacity(EdsCameraRef camera) {
    constexpr EdsCapacity kPlenty = {.numberOfFreeClusters = 0x7FFFFFFF, .bytesPerSector = 4096, .reset = 1};
    return EdsSetCapacity(camera, kPlenty);
}
