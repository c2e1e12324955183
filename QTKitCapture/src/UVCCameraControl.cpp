#include "QTKitCapture/src/UVCCameraControl.h"

#include <atomic>
#include <iterator>
#include <limits>
#include <new>

#include "platform/PlatformLog.h"

namespace {

constexpr uint8_t kSetCurrent = 0x01;
constexpr uint8_t kGetCurrent = 0x81;
constexpr uint8_t kGetMinimum = 0x82;
constexpr uint8_t kGetMaximum = 0x83;

constexpr uint8_t kClassRequestToInterface = 0x21;
constexpr uint8_t kClassRequestFromInterface = 0xA1;
constexpr uint8_t kDefaultPipe = 0;
constexpr uint8_t kStalledPipe = 1;

// Bits of the standard's exposure modes. A device whose automatic mode is another one reads as manual.
constexpr int64_t kManualMode = 1;
constexpr int64_t kAperturePriorityMode = 8;

constexpr int32_t kLongestValue = 8;
constexpr uint32_t kLastInterface = 3;
constexpr float kProbeValue = 0.1F;

constexpr UVCControl kControls[] = {
    {1, 2, 1},   // auto exposure: camera terminal, mode
    {1, 4, 4},   // exposure: camera terminal, absolute time
    {2, 2, 2},   // brightness: processing unit, like all up to auto white balance
    {2, 3, 2},   // contrast
    {2, 4, 2},   // gain
    {2, 7, 2},   // saturation
    {2, 8, 2},   // sharpness
    {2, 10, 2},  // white balance: temperature
    {2, 11, 1},  // auto white balance: of the temperature
    {9, 3, 8},   // focus: an extension unit of one vendor
    {1, 8, 1},   // auto focus: camera terminal
};
static_assert(std::size(kControls) == static_cast<size_t>(UVCRow::AutoFocus) + 1);

constexpr UVCControl kStandardFocus = {1, 6, 2};  // camera terminal, absolute

// One device that fails the vendor's focus speaks for all, for as long as the process runs.
std::atomic<bool> usesStandardFocus{false};

/** What no 64-bit integer can hold becomes the least one, as on the first hosts' processors. */
int64_t truncated(float value) {
    constexpr float kLimit = 9223372036854775808.0F;  // 2^63
    if (!(value >= -kLimit && value < kLimit)) return std::numeric_limits<int64_t>::min();
    return static_cast<int64_t>(value);
}

/** A control's value on its way: little-endian on every machine. */
struct WireValue {
    uint8_t bytes[kLongestValue] = {};

    WireValue() = default;
    explicit WireValue(int64_t value) {
        auto rest = static_cast<uint64_t>(value);
        for (uint8_t& byte : bytes) {
            byte = static_cast<uint8_t>(rest & 0xFF);
            rest >>= 8;
        }
    }
    int64_t value() const {
        uint64_t value = 0;
        for (int i = kLongestValue - 1; i >= 0; --i) {
            value = value << 8 | bytes[i];
        }
        return static_cast<int64_t>(value);
    }
};

uint16_t valueField(int32_t selector) {
    return static_cast<uint16_t>(static_cast<uint32_t>(selector) << 8);
}

uint16_t indexField(int32_t unit, uint32_t iface) {
    return static_cast<uint16_t>(static_cast<uint32_t>(unit) << 8 | iface);
}

bool isLength(int32_t length) {
    return length >= 1 && length <= kLongestValue;
}

/* ---- The way to the device ---- */

/** The plug-in's interface, by way of a plug-in that is done with afterwards. */
template <class Interface>
Ref<Interface> query(IOCFPlugInInterface& plugIn, IOReturn* status) {
    Interface* found = nullptr;
    *status = plugIn.QueryInterface(&found);
    if (*status != kIOReturnSuccess) return {};
    return Ref<Interface>::adopt(found);
}

Ref<IOUSBDeviceInterface> deviceOf(IOService& service) {
    IOCFPlugInInterface* made = nullptr;
    IOReturn status = IOCreatePlugInInterfaceForService(service, IOUserClientType::Device, &made);
    if (status != kIOReturnSuccess || made == nullptr) {
        NSLog("CameraControl Error: IOCreatePlugInInterfaceForService returned 0x%08x.",
              static_cast<uint32_t>(status));
        return {};
    }
    const auto plugIn = Ref<IOCFPlugInInterface>::adopt(made);
    Ref<IOUSBDeviceInterface> device = query<IOUSBDeviceInterface>(*plugIn, &status);
    if (!device) NSLog("CameraControl Error: QueryInterface returned %d.\n", status);
    return device;
}

IOService* firstControlInterface(IOUSBDeviceInterface& device) {
    constexpr uint16_t kVideoClass = 14;
    constexpr uint16_t kVideoControlSubclass = 1;
    const IOUSBFindInterfaceRequest wanted = {kVideoClass, kVideoControlSubclass, kIOUSBFindInterfaceDontCare,
                                              kIOUSBFindInterfaceDontCare};
    IOIterator* made = nullptr;
    if (device.CreateInterfaceIterator(&wanted, &made) != kIOReturnSuccess || made == nullptr) return nullptr;
    const auto interfaces = Ref<IOIterator>::adopt(made);
    return interfaces->next();
}

Ref<IOUSBInterfaceInterface> getControlInferaceWithDeviceInterface(IOUSBDeviceInterface& device) {
    IOService* service = firstControlInterface(device);
    if (service == nullptr) return {};
    IOCFPlugInInterface* made = nullptr;
    IOCreatePlugInInterfaceForService(*service, IOUserClientType::Interface, &made);
    const auto plugIn = Ref<IOCFPlugInInterface>::adopt(made);
    // The status that counts here, and that support knows from users' logs, is that of the release.
    IOReturn status = IOObjectRelease(service);
    if (status != kIOReturnSuccess || !plugIn) {
        NSLog("CameraControl Error: Unable to create a plug-in (%08x)\n", static_cast<uint32_t>(status));
        return {};
    }
    Ref<IOUSBInterfaceInterface> interface = query<IOUSBInterfaceInterface>(*plugIn, &status);
    if (!interface) {
        NSLog("CameraControl Error: Couldn’t create a device interface for the interface (%08x)",
              static_cast<uint32_t>(status));
    }
    return interface;
}

}  // namespace

void resetUVCControlTable() {
    usesStandardFocus = false;
}

UVCControl UVCCameraControl::control(UVCRow row) {
    if (row == UVCRow::Focus && usesStandardFocus) return kStandardFocus;
    return kControls[static_cast<size_t>(row)];
}

/* ---- Creation ---- */

Ref<UVCCameraControl> UVCCameraControl::initWithLocationID(uint32_t locationID) {
    auto made = Ref<UVCCameraControl>::adopt(new (std::nothrow) UVCCameraControl);
    if (made) made->findDevice({}, &locationID);
    return made;
}

Ref<UVCCameraControl> UVCCameraControl::initWithVendorID_productID(int32_t vendorID, int32_t productID) {
    auto made = Ref<UVCCameraControl>::adopt(new (std::nothrow) UVCCameraControl);
    if (made) made->findDevice({.hasIds = true, .idVendor = vendorID, .idProduct = productID}, nullptr);
    return made;
}

UVCCameraControl::~UVCCameraControl() {
    if (interface_) interface_->USBInterfaceClose();
}

/** Takes the control interface of the device at the location; without a location, of the first service. */
void UVCCameraControl::findDevice(const IOServiceMatching& matching, const uint32_t* locationID) {
    IOIterator* made = nullptr;
    if (IOServiceGetMatchingServices(matching, &made) != kIOReturnSuccess || made == nullptr) return;
    const auto services = Ref<IOIterator>::adopt(made);
    while (IOService* service = services->next()) {
        const Ref<IOUSBDeviceInterface> device = deviceOf(*service);
        IOObjectRelease(service);
        if (!device && locationID == nullptr) return;  // this one or none
        uint32_t location = 0;
        if (!device || (locationID != nullptr &&
                        (device->GetLocationID(&location) != kIOReturnSuccess || location != *locationID))) {
            continue;
        }
        interface_ = getControlInferaceWithDeviceInterface(*device);
        determineInterfaceId();
        return;
    }
}

bool UVCCameraControl::probe() {
    return setExposure(kProbeValue) || setBrightness(kProbeValue) || setGain(kProbeValue);
}

void UVCCameraControl::determineInterfaceId() {
    for (iface_ = 0; iface_ <= kLastInterface; ++iface_) {
        if (!probe()) continue;
        NSLog("CameraControl determineInterfaceId iface = %d.\n", static_cast<int>(iface_));
        return;
    }
    iface_ = 0;
}

/* ---- Requests ---- */

bool UVCCameraControl::sendControlRequest(IOUSBDevRequest request) {
    if (!interface_) {
        NSLog("CameraControl Error: No interface to send request");
        return false;
    }
    IOReturn opened = kIOReturnSuccess;
    IOReturn sent = kIOReturnSuccess;
    {
        const std::lock_guard turn(requestMutex_);
        opened = interface_->USBInterfaceOpen();
        if (opened == kIOReturnSuccess) {
            sent = interface_->ControlRequest(kDefaultPipe, &request);
            // Told at once: a bus in trouble may hang in what follows.
            if (sent != kIOReturnSuccess) {
                NSLog("CameraControl Error: Control request failed: %08x", static_cast<uint32_t>(sent));
            }
            if (sent == kIOUSBPipeStalled) interface_->ClearPipeStall(kStalledPipe);
            interface_->USBInterfaceClose();
        }
    }
    if (opened != kIOReturnSuccess) {
        NSLog("CameraControl Error: Unable to open interface (%08x)\n", static_cast<uint32_t>(opened));
        return false;
    }
    return sent == kIOReturnSuccess;
}

int64_t UVCCameraControl::getDataFor_withLength_fromSelector_at(int32_t request, int32_t length,
                                                                int32_t selector, int32_t unit) {
    if (!isLength(length)) return 0;
    WireValue value;
    const bool isSent = sendControlRequest({.bmRequestType = kClassRequestFromInterface,
                                            .bRequest = static_cast<uint8_t>(request),
                                            .wValue = valueField(selector),
                                            .wIndex = indexField(unit, iface_),
                                            .wLength = static_cast<uint16_t>(length),
                                            .pData = value.bytes,
                                            .wLenDone = 0});
    if (!isSent) return 0;
    const UVCControl focus = control(UVCRow::Focus);
    // The vendor's focus control answers eight bytes of which only the first two are the position.
    if (selector == focus.selector && unit == focus.unit) return value.value() & 0xFFFF;
    return value.value();
}

bool UVCCameraControl::setData_withLength_forSelector_at(int64_t value, int32_t length, int32_t selector,
                                                         int32_t unit) {
    if (!isLength(length)) return false;
    WireValue bytes(value);
    return sendControlRequest({.bmRequestType = kClassRequestToInterface,
                               .bRequest = kSetCurrent,
                               .wValue = valueField(selector),
                               .wIndex = indexField(unit, iface_),
                               .wLength = static_cast<uint16_t>(length),
                               .pData = bytes.bytes,
                               .wLenDone = 0});
}

UVCRange UVCCameraControl::getRangeForControl(const UVCControl& control) {
    const auto read = [&](uint8_t request) {
        return getDataFor_withLength_fromSelector_at(request, control.size, control.selector, control.unit);
    };
    return {.min = read(kGetMinimum), .max = read(kGetMaximum)};
}

float UVCCameraControl::mapValue_fromMin_max_toMin_max(double value, double fromMin, double fromMax,
                                                       double toMin, double toMax) {
    return static_cast<float>((toMax - toMin) * ((value - fromMin) / (fromMax - fromMin)) + toMin);
}

bool UVCCameraControl::setValue_forControl(float value, const UVCControl& control) {
    const UVCRange range = getRangeForControl(control);
    const float mapped = mapValue_fromMin_max_toMin_max(
        static_cast<double>(value), 0.0, 1.0, static_cast<double>(range.min), static_cast<double>(range.max));
    return setData_withLength_forSelector_at(truncated(mapped), control.size, control.selector, control.unit);
}

float UVCCameraControl::getValueForControl(const UVCControl& control) {
    const UVCRange range = getRangeForControl(control);
    const int64_t value =
        getDataFor_withLength_fromSelector_at(kGetCurrent, control.size, control.selector, control.unit);
    return mapValue_fromMin_max_toMin_max(static_cast<double>(value), static_cast<double>(range.min),
                                          static_cast<double>(range.max), 0.0, 1.0);
}

int64_t UVCCameraControl::getCurrent(UVCRow row) {
    const UVCControl where = control(row);
    return getDataFor_withLength_fromSelector_at(kGetCurrent, where.size, where.selector, where.unit);
}

bool UVCCameraControl::setCurrent(UVCRow row, int64_t value) {
    const UVCControl where = control(row);
    return setData_withLength_forSelector_at(value, where.size, where.selector, where.unit);
}

/* ---- The controls ---- */

bool UVCCameraControl::setAutoExposure(bool isOn) {
    return setCurrent(UVCRow::AutoExposure, isOn ? kAperturePriorityMode : kManualMode);
}

bool UVCCameraControl::getAutoExposure() {
    return getCurrent(UVCRow::AutoExposure) == kAperturePriorityMode;
}

bool UVCCameraControl::setExposure(float value) {
    return setRow(UVCRow::Exposure, 1.0F - value);
}

float UVCCameraControl::getExposure() {
    return 1.0F - getRow(UVCRow::Exposure);
}

bool UVCCameraControl::setBrightness(float value) {
    return setRow(UVCRow::Brightness, value);
}

float UVCCameraControl::getBrightness() {
    return getRow(UVCRow::Brightness);
}

bool UVCCameraControl::setContrast(float value) {
    return setRow(UVCRow::Contrast, value);
}

float UVCCameraControl::getContrast() {
    return getRow(UVCRow::Contrast);
}

bool UVCCameraControl::setGain(float value) {
    return setRow(UVCRow::Gain, value);
}

float UVCCameraControl::getGain() {
    return getRow(UVCRow::Gain);
}

bool UVCCameraControl::setSaturation(float value) {
    return setRow(UVCRow::Saturation, value);
}

float UVCCameraControl::getSaturation() {
    return getRow(UVCRow::Saturation);
}

bool UVCCameraControl::setSharpness(float value) {
    return setRow(UVCRow::Sharpness, value);
}

float UVCCameraControl::getSharpness() {
    return getRow(UVCRow::Sharpness);
}

bool UVCCameraControl::setWhiteBalance(float value) {
    return setRow(UVCRow::WhiteBalance, value);
}

float UVCCameraControl::getWhiteBalance() {
    return getRow(UVCRow::WhiteBalance);
}

bool UVCCameraControl::setAutoWhiteBalance(bool isOn) {
    return setCurrent(UVCRow::AutoWhiteBalance, isOn ? 1 : 0);
}

bool UVCCameraControl::getAutoWhiteBalance() {
    return getCurrent(UVCRow::AutoWhiteBalance) != 0;
}

bool UVCCameraControl::setAbsoluteFocus(float value) {
    bool isSet = setRow(UVCRow::Focus, value);
    if (isSet || usesStandardFocus.exchange(true)) return isSet;
    isSet = setRow(UVCRow::Focus, value);
    NSLog("CameraControl setAbsoluteFocus try alternative = %d.\n", isSet ? 1 : 0);
    return isSet;
}

float UVCCameraControl::getAbsoluteFocus() {
    return getRow(UVCRow::Focus);
}

bool UVCCameraControl::setAutoFocus(bool isOn) {
    return setCurrent(UVCRow::AutoFocus, isOn ? 1 : 0);
}

bool UVCCameraControl::getAutoFocus() {
    return getCurrent(UVCRow::AutoFocus) == 1;
}
