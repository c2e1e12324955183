// The user's side of a video device: what the control socket asks for.
#include <nlohmann/json.hpp>

#include "lab/video/Camera.h"

namespace lab::video {

namespace {

constexpr double kMostFps = 1000;
constexpr std::string_view kFps = "fps";

std::string noProperty(const std::string& id, const std::string& property) {
    return id + " has no property " + property;
}

}  // namespace

std::string Camera::press() {
    return id() + " has no shutter button";
}

std::string Camera::set(Fields& command) {
    std::string property;
    command.require("property");
    command.require("value");
    command.text("property", property);
    double fps = 0;
    if (property == kFps) command.real("value", fps, 0, kMostFps);
    const Json* value = command.any("value");
    command.finish();
    if (!command.report().isFine()) return command.report().text();

    const std::lock_guard guard(mutex_);
    if (property == kFps) {
        fps_ = fps;
        return {};
    }
    Control* control = controlNamed(controls_, property);
    if (control == nullptr) return noProperty(id(), property);
    const std::string problem = setCurrent(*control, *value);
    return problem.empty() ? problem : "value: " + problem;
}

std::string Camera::get(Fields& command, JsonText& answer) {
    std::string property;
    command.require("property");
    command.text("property", property);
    command.finish();
    if (!command.report().isFine()) return command.report().text();

    const std::lock_guard guard(mutex_);
    if (property == kFps) {
        answer.key("value").raw(Json(fps_).dump());
        return {};
    }
    const Control* control = controlNamed(controls_, property);
    if (control == nullptr) return noProperty(id(), property);
    writeCurrent(answer.key("value"), *control);
    return {};
}

std::string Camera::event(Fields& command) {
    int64_t code = 0;
    command.require("error");
    command.number("error", code);
    command.finish();
    if (!command.report().isFine()) return command.report().text();

    const std::lock_guard guard(mutex_);
    if (!isAttached_) return id() + " is not attached";
    if (listener() != nullptr) listener()->failed(shared_from_this(), link_, code);
    return {};
}

void Camera::writeFrames(JsonText& out) const {
    out.key("frames").unsignedNumber(frames_);
    out.key("missedFrames").unsignedNumber(missed_);
    out.key("frameSize").beginArray().number(lastSize_.width).number(lastSize_.height).endArray();
    out.key("frameTimes").beginArray();
    const uint64_t oldest = frames_ < kMostFrameTimes ? 0 : frames_ - kMostFrameTimes;
    for (uint64_t number = oldest; number < frames_; ++number) {
        const FrameTime& time = frameTimes_[number % kMostFrameTimes];
        out.beginArray().unsignedNumber(time.number).number(time.us).endArray();
    }
    out.endArray();
}

void Camera::writeState(JsonText& out) {
    const std::lock_guard guard(mutex_);
    out.key("name").text(setup_.name);
    out.key("uniqueId").text(setup_.uniqueId);
    out.key("sessions").number(sessions_);
    out.key("open").boolean(isReserved_);
    out.key("fps").raw(Json(fps_).dump());
    writeFrames(out);
    out.key("interfaceOpen").boolean(interfaceOwner_ != nullptr);
    out.key("values").beginObject();
    for (const Control& control : controls_) {
        writeCurrent(out.key(controlName(control)), control);
    }
    out.endObject();
}

}  // namespace lab::video
