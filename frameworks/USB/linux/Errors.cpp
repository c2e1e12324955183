#include "frameworks/USB/linux/Errors.h"

#include <errno.h>

namespace usb {

IOReturn returnOfOpen(int error) {
    switch (error) {
        case 0:
            return kIOReturnSuccess;
        case EACCES:
        case EPERM:
            return kIOReturnNotPermitted;
        case ENOENT:
        case ENXIO:
        case ENODEV:
            return kIOReturnNoDevice;
        case EBUSY:
            return kIOReturnExclusiveAccess;
        case ENOMEM:
            return kIOReturnNoMemory;
        default:
            return kIOReturnError;
    }
}

IOReturn returnOfRequest(int error) {
    switch (error) {
        case 0:
            return kIOReturnSuccess;
        case EPIPE:
        case EIO:      // also what kernels before 5.14 make of every stall
        case EBUSY:    // the device: not ready
        case EILSEQ:   // wrong state
        case EACCES:   // held back by the driver, such as an exposure time while exposure is automatic
        case EREMOTE:  // not enough power
        case ERANGE:   // out of range
        case EINVAL:   // invalid value in range, or a control that the driver dropped
        case ENXIO:    // invalid unit or control
        case EBADSLT:
        case EBADRQC:  // invalid request
        case ENOENT:   // an extension unit or a control of it that the driver does not know
        case ENOBUFS:  // an extension unit's control of another size
            return kIOUSBPipeStalled;
        case ENODEV:
        case ESHUTDOWN:
            return kIOReturnNoDevice;
        case EPERM:
            return kIOReturnNotPermitted;
        case ETIMEDOUT:
            return kIOUSBTransactionTimeout;
        case ENOMEM:
            return kIOReturnNoMemory;
        default:
            return kIOReturnError;
    }
}

}  // namespace usb
