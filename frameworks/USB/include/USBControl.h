/* USBControl.h: USB devices, their interfaces, and requests on the default control pipe.
 *
 * As much of the platform's USB user-client interface as class requests to a webcam's video-control interface
 * need, under the platform's names.
 *
 * Thread: any. One interface is used by one thread at a time; two at once may find it open already.
 * Owns:   objects are reference-counted (platform/Object.h). What a call hands out through a pointer, and
 *         every object that an iterator's next() answers, is the caller's to release.
 * Units:  lengths in bytes. Requests are filled in the machine's byte order; what `pData` points at is on
 *         the wire's (little-endian).
 * Errors: IOReturn; 0 is success. Outputs are untouched on failure.
 * Follows: Universal Serial Bus Specification 2.0, 9.3 (requests); USB Video Class 1.1, 4.2 (class requests).
 */
#pragma once

#include <cstdint>

#include "platform/Object.h"

#define USB_EXPORT __attribute__((visibility("default")))

using IOReturn = int32_t;
inline constexpr IOReturn kIOReturnSuccess = 0;
inline constexpr IOReturn kIOReturnError = static_cast<IOReturn>(0xE00002BC);
inline constexpr IOReturn kIOReturnNoMemory = static_cast<IOReturn>(0xE00002BD);
inline constexpr IOReturn kIOReturnNoDevice = static_cast<IOReturn>(0xE00002C0);
inline constexpr IOReturn kIOReturnNotPermitted = static_cast<IOReturn>(0xE00002E2);
inline constexpr IOReturn kIOReturnBadArgument = static_cast<IOReturn>(0xE00002C2);
inline constexpr IOReturn kIOReturnExclusiveAccess = static_cast<IOReturn>(0xE00002C5);
inline constexpr IOReturn kIOReturnNotOpen = static_cast<IOReturn>(0xE00002CD);
inline constexpr IOReturn kIOReturnUnderrun = static_cast<IOReturn>(0xE00002E7);
/** The device refused the request: it stalled. */
inline constexpr IOReturn kIOUSBPipeStalled = static_cast<IOReturn>(0xE000404F);
inline constexpr IOReturn kIOUSBTransactionTimeout = static_cast<IOReturn>(0xE0004051);

/** For the find request: any value will do. */
inline constexpr uint16_t kIOUSBFindInterfaceDontCare = 0xFFFF;

/** What an interface must be. */
struct IOUSBFindInterfaceRequest {
    uint16_t bInterfaceClass;
    uint16_t bInterfaceSubClass;
    uint16_t bInterfaceProtocol;
    uint16_t bAlternateSetting;
};

/** One control request. */
struct IOUSBDevRequest {
    uint8_t bmRequestType;
    uint8_t bRequest;
    uint16_t wValue;
    uint16_t wIndex;
    uint16_t wLength;
    void* pData;
    uint32_t wLenDone;  // out: how many bytes went over
};

/** One interface of a device. Destroying it closes it. */
class USB_EXPORT IOUSBInterfaceInterface : public NSObject {
public:
    virtual IOReturn USBInterfaceOpen() = 0;
    virtual IOReturn USBInterfaceClose() = 0;
    /** Pipe 0 is the default control pipe. The interface must be open. Takes at most a few seconds. */
    virtual IOReturn ControlRequest(uint8_t pipeRef, IOUSBDevRequest* request) = 0;
    virtual IOReturn ClearPipeStall(uint8_t pipeRef) = 0;

protected:
    ~IOUSBInterfaceInterface() override = default;
};

/** A device; nothing needs to be opened for these calls. */
class USB_EXPORT IOUSBDeviceInterface : public NSObject {
public:
    /** Where the device is plugged in: the same number as in the capture framework's unique id. */
    virtual IOReturn GetLocationID(uint32_t* locationID) = 0;
    virtual IOReturn GetDeviceVendor(uint16_t* vendor) = 0;
    virtual IOReturn GetDeviceProduct(uint16_t* product) = 0;
    /** The interfaces that match, in the order of the device's configuration. */
    virtual IOReturn CreateInterfaceIterator(const IOUSBFindInterfaceRequest* request,
                                             class IOIterator** iterator) = 0;

protected:
    ~IOUSBDeviceInterface() override = default;
};

/** The way from a service to its interface: which kind of it, is asked of the plug-in. */
class USB_EXPORT IOCFPlugInInterface : public NSObject {
public:
    virtual IOReturn QueryInterface(IOUSBDeviceInterface** device) = 0;
    virtual IOReturn QueryInterface(IOUSBInterfaceInterface** interface) = 0;

protected:
    ~IOCFPlugInInterface() override = default;
};

/** A device or interface that the system knows of. */
class USB_EXPORT IOService : public NSObject {
protected:
    ~IOService() override = default;
};

/** Services, one after another. */
class USB_EXPORT IOIterator : public NSObject {
public:
    /** Null at the end. The caller's. */
    virtual IOService* next() = 0;

protected:
    ~IOIterator() override = default;
};

/** Which kind of user client a plug-in is made for. */
enum class IOUserClientType {
    Device,     // kIOUSBDeviceUserClientTypeID
    Interface,  // kIOUSBInterfaceUserClientTypeID
};

/** Narrows the matching of class "IOUSBDevice"; without ids all devices match. */
struct IOServiceMatching {
    bool hasIds = false;
    int32_t idVendor = 0;
    int32_t idProduct = 0;
};

USB_EXPORT IOReturn IOServiceGetMatchingServices(const IOServiceMatching& matching, IOIterator** iterator);
USB_EXPORT IOReturn IOCreatePlugInInterfaceForService(IOService& service, IOUserClientType type,
                                                      IOCFPlugInInterface** plugIn);
/** Gives the caller's reference back. */
USB_EXPORT IOReturn IOObjectRelease(IOService* service);
