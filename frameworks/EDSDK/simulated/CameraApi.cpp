// Entry points: cameras, their sessions, commands and handlers.
#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "frameworks/EDSDK/simulated/Library.h"
#include "frameworks/EDSDK/simulated/Streams.h"

namespace sim {

namespace {

using lab::canon::Body;
using lab::canon::Outcome;

void copyName(std::string_view text, EdsChar (&out)[EDS_MAX_NAME]) {
    const size_t length = std::min(text.size(), sizeof out - 1);
    std::memset(out, 0, sizeof out);
    std::memcpy(out, text.data(), length);
}

EdsError deviceInfo(const Camera& camera, EdsDeviceInfo* info) {
    if (info == nullptr) return EDS_ERR_INVALID_POINTER;
    const Attachment& at = camera.at;
    if (const EdsError error = errorOf(at.body->check(at.link)); error != kOk) return error;
    EdsDeviceInfo filled{};
    copyName("usb:lab," + at.body->id(), filled.szPortName);
    copyName(at.body->description(), filled.szDeviceDescription);
    filled.deviceSubType = at.body->isLegacy() ? 0 : 1;
    *info = filled;
    return kOk;
}

struct ButtonRow {
    EdsInt32 parameter;
    Body::Button position;
};
constexpr std::array<ButtonRow, 5> kButtons = {
    {{kEdsCameraCommand_ShutterButton_OFF, Body::Button::off},
     {kEdsCameraCommand_ShutterButton_Halfway, Body::Button::halfway},
     {kEdsCameraCommand_ShutterButton_Completely, Body::Button::completely},
     {kEdsCameraCommand_ShutterButton_Halfway_NonAF, Body::Button::halfway},
     {kEdsCameraCommand_ShutterButton_Completely_NonAF, Body::Button::completely}}};

EdsError pressButton(const Attachment& at, EdsInt32 parameter) {
    const auto* row = std::find_if(kButtons.begin(), kButtons.end(),
                                   [&](const ButtonRow& other) { return other.parameter == parameter; });
    if (row == kButtons.end()) return EDS_ERR_INVALID_PARAMETER;
    return errorOf(at.body->pressButton(at.link, row->position));
}

struct LensRow {
    EdsInt32 parameter;
    int32_t steps;
};
constexpr std::array<LensRow, 6> kLensSteps = {{{kEdsEvfDriveLens_Near1, -1},
                                                {kEdsEvfDriveLens_Near2, -5},
                                                {kEdsEvfDriveLens_Near3, -25},
                                                {kEdsEvfDriveLens_Far1, 1},
                                                {kEdsEvfDriveLens_Far2, 5},
                                                {kEdsEvfDriveLens_Far3, 25}}};

EdsError driveLens(const Attachment& at, EdsInt32 parameter) {
    const auto* row = std::find_if(kLensSteps.begin(), kLensSteps.end(),
                                   [&](const LensRow& other) { return other.parameter == parameter; });
    if (row == kLensSteps.end()) return EDS_ERR_INVALID_PARAMETER;
    return errorOf(at.body->driveLens(at.link, row->steps));
}

EdsError sendCommand(const Camera& camera, EdsCameraCommand command, EdsInt32 parameter) {
    const Attachment& at = camera.at;
    if (const EdsError error = errorOf(at.body->checkSession(at.link)); error != kOk) return error;
    switch (command) {
        case kEdsCameraCommand_TakePicture:
            return errorOf(at.body->takePicture(at.link));
        case kEdsCameraCommand_ExtendShutDownTimer:
            return errorOf(at.body->extendTimer(at.link));
        case kEdsCameraCommand_PressShutterButton:
            return pressButton(at, parameter);
        case kEdsCameraCommand_DoEvfAf:
            return errorOf(at.body->focusInLiveView(at.link, parameter != 0));
        case kEdsCameraCommand_DriveLensEvf:
            return driveLens(at, parameter);
        default:
            return EDS_ERR_NOT_SUPPORTED;
    }
}

EdsError sendStatusCommand(const Camera& camera, EdsCameraStatusCommand command) {
    const Attachment& at = camera.at;
    if (const EdsError error = errorOf(at.body->checkSession(at.link)); error != kOk) return error;
    switch (command) {
        case kEdsCameraStatusCommand_UILock:
            return errorOf(at.body->lockControls(at.link, true));
        case kEdsCameraStatusCommand_UIUnLock:
            return errorOf(at.body->lockControls(at.link, false));
        default:
            return EDS_ERR_NOT_SUPPORTED;
    }
}

EdsError setCapacity(const Camera& camera, const EdsCapacity& capacity) {
    if (capacity.numberOfFreeClusters < 0 || capacity.bytesPerSector <= 0) return EDS_ERR_INVALID_PARAMETER;
    const int64_t bytes = int64_t{capacity.numberOfFreeClusters} * capacity.bytesPerSector;
    return errorOf(camera.at.body->announceCapacity(camera.at.link, bytes));
}

/** A handler is changed even when its camera has gone: events of that camera may still be waiting, and must
 *  not meet a context that the caller is about to give up. */
template <typename Function>
EdsError setHandler(Camera& camera, Handler<Function> Camera::*member, Handler<Function> handler,
                    EdsUInt32 kind) {
    constexpr EdsUInt32 kKindMask = 0xFFFFFF00;
    if ((handler.event & kKindMask) != kind) return EDS_ERR_INVALID_PARAMETER;
    {
        const std::lock_guard guard(camera.mutex);
        camera.*member = handler;
    }
    return errorOf(camera.at.body->check(camera.at.link));
}

template <typename Function>
EdsError traceHandler(std::string_view name, EdsCameraRef reference, Handler<Function> Camera::*member,
                      Handler<Function> handler, EdsUInt32 kind) {
    lab::Call call(name);
    const auto camera = find<Camera>(reference, call);
    call.number("event", handler.event);
    call.flag("handler", handler.function != nullptr).flag("context", handler.context != nullptr);
    return answer(call, [&] { return camera ? setHandler(*camera, member, handler, kind) : notLive(); });
}

}  // namespace

}  // namespace sim

using namespace sim;

EdsError EdsGetDeviceInfo(EdsCameraRef reference, EdsDeviceInfo* info) {
    lab::Call call("EdsGetDeviceInfo");
    const auto camera = find<Camera>(reference, call);
    return answer(call, [&] { return camera ? deviceInfo(*camera, info) : notLive(); });
}

EdsError EdsOpenSession(EdsCameraRef reference) {
    lab::Call call("EdsOpenSession");
    const auto camera = find<Camera>(reference, call);
    return answer(
        call, [&] { return camera ? errorOf(camera->at.body->openSession(camera->at.link)) : notLive(); });
}

EdsError EdsCloseSession(EdsCameraRef reference) {
    lab::Call call("EdsCloseSession");
    const auto camera = find<Camera>(reference, call);
    return answer(
        call, [&] { return camera ? errorOf(camera->at.body->closeSession(camera->at.link)) : notLive(); });
}

EdsError EdsSendCommand(EdsCameraRef reference, EdsCameraCommand command, EdsInt32 parameter) {
    lab::Call call("EdsSendCommand");
    const auto camera = find<Camera>(reference, call);
    call.number("command", command).number("param", parameter);
    return answer(call, [&] { return camera ? sendCommand(*camera, command, parameter) : notLive(); });
}

EdsError EdsSendStatusCommand(EdsCameraRef reference, EdsCameraStatusCommand command, EdsInt32 parameter) {
    lab::Call call("EdsSendStatusCommand");
    const auto camera = find<Camera>(reference, call);
    call.number("command", command).number("param", parameter);
    return answer(call, [&] { return camera ? sendStatusCommand(*camera, command) : notLive(); });
}

EdsError EdsSetCapacity(EdsCameraRef reference, EdsCapacity capacity) {
    lab::Call call("EdsSetCapacity");
    const auto camera = find<Camera>(reference, call);
    call.number("clusters", capacity.numberOfFreeClusters).number("bytesPerSector", capacity.bytesPerSector);
    call.flag("reset", capacity.reset != 0);
    return answer(call, [&] { return camera ? setCapacity(*camera, capacity) : notLive(); });
}

EdsError EdsSetObjectEventHandler(EdsCameraRef camera, EdsObjectEvent event, EdsObjectEventHandler handler,
                                  EdsVoid* context) {
    return traceHandler("EdsSetObjectEventHandler", camera, &Camera::onObject, {event, handler, context},
                        kEdsObjectEvent_All);
}

EdsError EdsSetPropertyEventHandler(EdsCameraRef camera, EdsPropertyEvent event,
                                    EdsPropertyEventHandler handler, EdsVoid* context) {
    return traceHandler("EdsSetPropertyEventHandler", camera, &Camera::onProperty, {event, handler, context},
                        kEdsPropertyEvent_All);
}

EdsError EdsSetCameraStateEventHandler(EdsCameraRef camera, EdsStateEvent event, EdsStateEventHandler handler,
                                       EdsVoid* context) {
    return traceHandler("EdsSetCameraStateEventHandler", camera, &Camera::onState, {event, handler, context},
                        kEdsStateEvent_All);
}
