/* UVCCameraControl.h: the controls of a webcam, driven by requests on its video-control interface.
 *
 * It goes past the capture framework, which offers no such controls. It lies beside the capture unit because
 * nobody else makes one, and knows nothing of it.
 *
 * Thread: any; the requests of one instance go one after another. A change of several requests (a range is
 *         read before a value is set) is not one step: two tasks that turn one control may mix.
 * Owns:   its interface, which is open only while a request is under way.
 * Units:  values are fractions, 0.0 to 1.0, of the range that the device reports; nothing limits them.
 * Errors: false, 0 or null, and a line in the platform log.
 * Follows: USB Video Class 1.1, 4.2.2.1 (camera terminal controls), 4.2.2.3 (processing unit controls).
 */
#pragma once

#include <cstdint>
#include <mutex>

#include "USBControl.h"
#include "platform/Object.h"

/** Where a control is found and how many bytes (1 to 8) its value has. */
struct UVCControl {
    int32_t unit;  // the id of the unit or terminal
    int32_t selector;
    int32_t size;

    bool operator==(const UVCControl&) const = default;
};

/** The range of a control's values, as the device reports it. */
struct UVCRange {
    int64_t min;
    int64_t max;
};

/** The rows of the control table, which all instances share. */
enum class UVCRow {
    AutoExposure,
    Exposure,
    Brightness,
    Contrast,
    Gain,
    Saturation,
    Sharpness,
    WhiteBalance,
    AutoWhiteBalance,
    Focus,
    AutoFocus,
};

class UVCCameraControl final : public NSObject {
public:
    /** For the device at the place; without an interface when there is none. Null: no memory. The search for
     *  the interface's number leaves the first control that answers at a tenth of its range. */
    static Ref<UVCCameraControl> initWithLocationID(uint32_t locationID);
    /** For the first device of the kind. */
    static Ref<UVCCameraControl> initWithVendorID_productID(int32_t vendorID, int32_t productID);

    bool hasInterface() const { return static_cast<bool>(interface_); }
    /** The interface's number, which every request carries; 0 when none was found to answer. */
    uint32_t iface() const { return iface_; }

    /** The row as it stands. Only the focus row can change, once, for all instances. */
    static UVCControl control(UVCRow row);

    bool sendControlRequest(IOUSBDevRequest request);
    /** The value, zero-extended: a control that the device defines as signed reads as a large number. */
    int64_t getDataFor_withLength_fromSelector_at(int32_t request, int32_t length, int32_t selector,
                                                  int32_t unit);
    bool setData_withLength_forSelector_at(int64_t value, int32_t length, int32_t selector, int32_t unit);
    UVCRange getRangeForControl(const UVCControl& control);
    /** Neither clamped nor guarded: an empty range of the source gives an infinite value or none. */
    static float mapValue_fromMin_max_toMin_max(double value, double fromMin, double fromMax, double toMin,
                                                double toMax);
    bool setValue_forControl(float value, const UVCControl& control);
    float getValueForControl(const UVCControl& control);

    bool setAutoExposure(bool isOn);
    bool getAutoExposure();
    /** Inverted: the host's 0.0 is the longest time. */
    bool setExposure(float value);
    float getExposure();
    bool setBrightness(float value);
    float getBrightness();
    bool setContrast(float value);
    float getContrast();
    bool setGain(float value);
    float getGain();
    bool setSaturation(float value);
    float getSaturation();
    bool setSharpness(float value);
    float getSharpness();
    bool setWhiteBalance(float value);
    float getWhiteBalance();
    bool setAutoWhiteBalance(bool isOn);
    bool getAutoWhiteBalance();
    /** The first failure on the extension unit turns every instance to the standard focus control. */
    bool setAbsoluteFocus(float value);
    float getAbsoluteFocus();
    bool setAutoFocus(bool isOn);
    bool getAutoFocus();

private:
    UVCCameraControl() = default;
    ~UVCCameraControl() override;

    void findDevice(const IOServiceMatching& matching, const uint32_t* locationID);
    void determineInterfaceId();
    bool probe();

    int64_t getCurrent(UVCRow row);
    bool setCurrent(UVCRow row, int64_t value);
    bool setRow(UVCRow row, float value) { return setValue_forControl(value, control(row)); }
    float getRow(UVCRow row) { return getValueForControl(control(row)); }

    Ref<IOUSBInterfaceInterface> interface_;
    uint32_t iface_ = 0;
    std::mutex requestMutex_;  // an interface serves one thread at a time
};

/** For tests: the table as the process starts with it. */
void resetUVCControlTable();
