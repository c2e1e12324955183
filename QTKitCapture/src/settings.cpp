/* settings.cpp: the host's setting ids and focus steps, as calls on the camera's controls. */
#include <array>

#include "QTKitCapture/src/QTKitCapture.h"
#include "QTKitCapture/src/QTKitCaptureCamera.h"
#include "platform/CallScope.h"

namespace {

using Control = UVCCameraControl;

template <bool (Control::*set)(bool)>
void setSwitch(Control& uvc, float value) {
    (uvc.*set)(value > 0.5F);
}

template <bool (Control::*set)(float)>
void setFraction(Control& uvc, float value) {
    (uvc.*set)(value);
}

template <bool (Control::*get)()>
float getSwitch(Control& uvc) {
    return (uvc.*get)() ? 1.0F : 0.0F;
}

template <float (Control::*get)()>
float getFraction(Control& uvc) {
    return (uvc.*get)();
}

struct Setting {
    void (*set)(Control& uvc, float value);
    float (*get)(Control& uvc);
};

/** By id. Of the first two each writes what the other one reads: hosts use both tables as they stand. */
constexpr std::array<Setting, 9> kSettings = {{
    {setSwitch<&Control::setAutoExposure>, getFraction<&Control::getExposure>},
    {setFraction<&Control::setExposure>, getSwitch<&Control::getAutoExposure>},
    {setSwitch<&Control::setAutoWhiteBalance>, getSwitch<&Control::getAutoWhiteBalance>},
    {setFraction<&Control::setWhiteBalance>, getFraction<&Control::getWhiteBalance>},
    {setFraction<&Control::setGain>, getFraction<&Control::getGain>},
    {setFraction<&Control::setBrightness>, getFraction<&Control::getBrightness>},
    {setFraction<&Control::setContrast>, getFraction<&Control::getContrast>},
    {setFraction<&Control::setSaturation>, getFraction<&Control::getSaturation>},
    {setFraction<&Control::setSharpness>, getFraction<&Control::getSharpness>},
}};

const Setting* findSetting(jint id) {
    return id >= 0 && static_cast<size_t>(id) < kSettings.size() ? &kSettings[static_cast<size_t>(id)]
                                                                 : nullptr;
}

Ref<Control> findControl(jlong handle) {
    const Ref<QTKitCaptureCamera> camera = findCamera(handle);
    return camera ? camera->uvc() : Ref<Control>{};
}

float focusStep(jint amount) {
    if (amount == 2 || amount == -2) return 0.05F;
    if (amount == 3 || amount == -3) return 0.2F;
    return 0.004F;
}

/** What is no number, since the device reports no range, becomes 1. */
float clamped(float focus) {
    if (focus < 0.0F) return 0.0F;
    return focus < 1.0F ? focus : 1.0F;
}

}  // namespace

QTKIT_ENTRY(jboolean, hasUvcSettings, jlong handle) {
    (void)env, (void)object;
    return findControl(handle) ? 1 : 0;
}

QTKIT_ENTRY(void, setUvcSetting, jlong handle, jint setting, jfloat value) {
    (void)env, (void)object;
    const CallScope scope;
    const Setting* row = findSetting(setting);
    const Ref<Control> uvc = findControl(handle);
    if (uvc && row != nullptr) row->set(*uvc, value);
}

QTKIT_ENTRY(jfloat, getUvcSetting, jlong handle, jint setting) {
    (void)env, (void)object;
    const CallScope scope;
    const Setting* row = findSetting(setting);
    const Ref<Control> uvc = findControl(handle);
    return uvc && row != nullptr ? row->get(*uvc) : 0.0F;
}

QTKIT_ENTRY(void, driveFocus, jlong handle, jint amount) {
    (void)env, (void)object;
    const CallScope scope;
    const Ref<Control> uvc = findControl(handle);
    if (!uvc) return;
    const float step = amount < 0 ? -focusStep(amount) : focusStep(amount);
    uvc->setAbsoluteFocus(clamped(uvc->getAbsoluteFocus() + step));
}

QTKIT_ENTRY(jboolean, hasSettings, jlong handle) {
    (void)env, (void)object, (void)handle;
    return 0;
}

QTKIT_ENTRY(void, settingsDialog, jlong handle) {
    (void)env, (void)object, (void)handle;
}
