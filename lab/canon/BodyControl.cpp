// The photographer's side of a body: what the control socket asks for.
#include <algorithm>
#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <utility>

#include "lab/canon/Body.h"

namespace lab::canon {

namespace {

std::string idText(uint32_t id) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%x", static_cast<unsigned>(id));
    return text;
}

bool readPropertyId(Fields& command, uint32_t& out) {
    int64_t id = 0;
    command.require("property");
    if (!command.number("property", id, {0, UINT32_MAX})) return false;
    out = static_cast<uint32_t>(id);
    return true;
}

const char* stateName(Picture::State state) {
    switch (state) {
        case Picture::State::waiting:
            return "waiting";
        case Picture::State::transferring:
            return "transferring";
        case Picture::State::kept:
            return "kept";
    }
    return "";
}

}  // namespace

std::string Body::press() {
    const std::lock_guard guard(mutex_);
    switch (release()) {
        case Outcome::ok:
            return {};
        case Outcome::busy:
            return id() + " is busy with an exposure";
        case Outcome::memoryFull:
            return id() + " has no room for another picture";
        default:
            return id() + " cannot take a picture";
    }
}

std::string Body::set(Fields& command) {
    uint32_t property = 0;
    readPropertyId(command, property);
    command.require("value");
    const Json* json = command.any("value");
    std::vector<int32_t> options;
    const bool hasOptions = readOptions(command, options);
    command.finish();
    if (!command.report().isFine()) return command.report().text();

    const std::lock_guard guard(mutex_);
    const auto found = properties_.find(property);
    if (found == properties_.end()) return id() + " has no property " + idText(property);
    Property& known = found->second;
    Value value = known.value;
    if (std::string problem = valueFromJson(value.type, *json, value); !problem.empty()) {
        return "value: " + problem;
    }
    settling_.erase(property);
    known.value = std::move(value);
    raiseProperty(kPropertyChanged, property);
    if (hasOptions) {
        known.options = std::move(options);
        raiseProperty(kDescriptionChanged, property);
    }
    return {};
}

std::string Body::get(Fields& command, JsonText& answer) {
    uint32_t property = 0;
    readPropertyId(command, property);
    command.finish();
    if (!command.report().isFine()) return command.report().text();

    const std::lock_guard guard(mutex_);
    const auto found = properties_.find(property);
    if (found == properties_.end()) return id() + " has no property " + idText(property);
    writeValue(answer.key("value"), found->second.value);
    return {};
}

PictureRef Body::pictureNamed(const std::string& name) const {
    const auto found = std::find_if(pictures_.rbegin(), pictures_.rend(), [&](const PictureRef& picture) {
        return name.empty() || picture->name == name;
    });
    return found == pictures_.rend() ? nullptr : *found;
}

std::string Body::event(Fields& command) {
    struct KindName {
        const char* name;
        Event::Kind kind;
    };
    constexpr std::array<KindName, 3> kKinds = {{{"object", Event::Kind::object},
                                                 {"property", Event::Kind::property},
                                                 {"state", Event::Kind::state}}};
    std::string kindName;
    std::string pictureName;
    int64_t number = 0;
    int64_t property = 0;
    int64_t parameter = 0;
    command.require("kind");
    command.require("event");
    command.text("kind", kindName);
    command.number("event", number, {0, UINT32_MAX});
    command.number("property", property, {0, UINT32_MAX});
    command.number("parameter", parameter, {INT32_MIN, UINT32_MAX});
    const bool hasPicture = command.text("picture", pictureName);
    const auto* kind =
        std::find_if(kKinds.begin(), kKinds.end(), [&](const KindName& row) { return kindName == row.name; });
    if (kind == kKinds.end()) command.wrong("kind", "expected \"object\", \"property\" or \"state\"");
    command.finish();
    if (!command.report().isFine()) return command.report().text();

    const std::lock_guard guard(mutex_);
    if (!isAttached_) return id() + " is not attached";
    Event event{kind->kind, static_cast<uint32_t>(number), static_cast<uint32_t>(property),
                static_cast<uint32_t>(parameter), nullptr};
    if (event.kind == Event::Kind::object) {
        event.picture = pictureNamed(pictureName);
        if (hasPicture && !event.picture) return id() + " has no picture " + pictureName;
    }
    raise(std::move(event));
    return {};
}

void Body::writePictures(JsonText& out) const {
    out.key("pictures").beginArray();
    for (const PictureRef& picture : pictures_) {
        out.beginObject();
        out.key("name").text(picture->name);
        out.key("size").unsignedNumber(picture->size);
        out.key("shot").number(picture->shot);
        out.key("place").text(picture->isOnCard ? "card" : "memory");
        out.key("state").text(stateName(picture->state));
        out.endObject();
    }
    out.endArray();
}

void Body::writeState(JsonText& out) {
    constexpr std::array<const char*, 4> kButtonNames = {"", "off", "halfway", "completely"};
    const std::lock_guard guard(mutex_);
    out.key("model").text(setup_.description);
    out.key("legacy").boolean(setup_.isLegacy);
    out.key("sessions").number(isSessionOpen_ ? 1 : 0);
    out.key("uiLocked").boolean(areControlsLocked_);
    out.key("button").text(kButtonNames[static_cast<size_t>(button_)]);
    out.key("exposing").boolean(isExposing_);
    out.key("shots").number(shots_);
    out.key("framesServed").unsignedNumber(framesServed_);
    out.key("lensPosition").number(lensPosition_);
    out.key("hostCapacity");
    hostCapacity_ ? out.number(*hostCapacity_) : out.null();
    out.key("values").beginObject();
    for (const auto& [property, known] : properties_) {
        writeValue(out.key(idText(property)), known.value);
    }
    out.endObject();
    writePictures(out);
}

}  // namespace lab::canon
