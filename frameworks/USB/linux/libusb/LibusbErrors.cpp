#include "frameworks/USB/linux/libusb/LibusbErrors.h"

#include <libusb.h>

namespace usb {

IOReturn returnOfLibusb(int error) {
    switch (error) {
        case LIBUSB_SUCCESS:
            return kIOReturnSuccess;
        case LIBUSB_ERROR_PIPE:
            return kIOUSBPipeStalled;
        case LIBUSB_ERROR_NO_DEVICE:
        case LIBUSB_ERROR_NOT_FOUND:
            return kIOReturnNoDevice;
        case LIBUSB_ERROR_ACCESS:
            return kIOReturnNotPermitted;
        case LIBUSB_ERROR_BUSY:
            return kIOReturnExclusiveAccess;
        case LIBUSB_ERROR_TIMEOUT:
            return kIOUSBTransactionTimeout;
        case LIBUSB_ERROR_INVALID_PARAM:
            return kIOReturnBadArgument;
        case LIBUSB_ERROR_NO_MEM:
            return kIOReturnNoMemory;
        default:
            return kIOReturnError;
    }
}

}  // namespace usb
