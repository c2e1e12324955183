// The photographer's side of a body: what the control socket asks for.
#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>

#include "lab/Timers.h"
#include "lab/nikon/Body.h"

namespace lab::nikon {

namespace {

/** "1/5/1": ids from the module down; empty: the module itself. */
bool parsePath(std::string_view text, std::vector<uint32_t>& out) {
    constexpr size_t kDeepest = 3;
    while (!text.empty()) {
        const size_t slash = std::min(text.find('/'), text.size());
        uint32_t id = 0;
        const auto parsed = std::from_chars(text.data(), text.data() + slash, id);
        if (slash == 0 || parsed.ec != std::errc() || parsed.ptr != text.data() + slash) return false;
        out.push_back(id);
        const bool hasMore = slash < text.size();
        text.remove_prefix(slash + (hasMore ? 1 : 0));
        if (hasMore && text.empty()) return false;
    }
    return out.size() <= kDeepest;
}

/** "capability" is its name here; "property", as other families call it, will do. */
bool readCapabilityId(Fields& command, uint32_t& out) {
    int64_t id = 0;
    const bool isCalledProperty = command.any("capability") == nullptr && command.any("property") != nullptr;
    const char* name = isCalledProperty ? "property" : "capability";
    command.require(name);
    if (!command.number(name, id, {0, UINT32_MAX})) return false;
    out = static_cast<uint32_t>(id);
    return true;
}

}  // namespace

std::string Body::press() {
    const std::lock_guard guard(mutex_);
    if (exposure_ != Exposure::none) return id() + " is busy with an exposure";
    if (setup_.shutterLagMs == 0) {
        expose();
        return {};
    }
    exposure_ = Exposure::ofHand;
    after(setup_.shutterLagMs, [weak = weak_from_this()] {
        const BodyRef body = weak.lock();
        if (!body) return;
        const std::lock_guard exposing(body->mutex_);
        body->exposure_ = Exposure::none;
        body->expose();
    });
    return {};
}

std::string Body::setValue(uint32_t capabilityId, const Json& json) {
    Capability* known = find(capabilities_, capabilityId);
    if (known == nullptr) return id() + " has no capability " + idText(capabilityId);
    Value value = known->value;
    if (std::string problem = valueFromJson(*known, json, value); !problem.empty()) {
        return "value: " + problem;
    }
    known->value = value;
    if (capabilityId == kLiveView) switchLiveView();
    raise({{sourceId_}, kValueChanged, capabilityId});
    return {};
}

/** The list of capabilities becomes another one while the computer looks at it. */
std::string Body::layCapabilities(Fields& command) {
    Table table = capabilities_;
    readCapabilities(command, table);
    command.finish();
    if (!command.report().isFine()) return command.report().text();
    capabilities_ = std::move(table);
    ++version_;
    raise({{sourceId_}, kCapabilitiesChanged, 0});
    return {};
}

std::string Body::set(Fields& command) {
    if (command.any("capabilities") != nullptr) {
        const std::lock_guard guard(mutex_);
        return layCapabilities(command);
    }
    uint32_t capabilityId = 0;
    readCapabilityId(command, capabilityId);
    command.require("value");
    const Json* json = command.any("value");
    command.finish();
    if (!command.report().isFine()) return command.report().text();
    const std::lock_guard guard(mutex_);
    return setValue(capabilityId, *json);
}

std::string Body::get(Fields& command, JsonText& answer) {
    uint32_t capabilityId = 0;
    readCapabilityId(command, capabilityId);
    command.finish();
    if (!command.report().isFine()) return command.report().text();

    const std::lock_guard guard(mutex_);
    const Capability* known = find(capabilities_, capabilityId);
    if (known == nullptr) return id() + " has no capability " + idText(capabilityId);
    writeValue(answer.key("value"), *known);
    return {};
}

std::string Body::event(Fields& command) {
    std::string object;
    int64_t number = 0;
    int64_t parameter = 0;
    command.text("object", object);
    command.require("event");
    command.number("event", number, {0, UINT32_MAX});
    command.number("parameter", parameter, {INT32_MIN, UINT32_MAX});
    command.finish();
    std::vector<uint32_t> path;
    if (!parsePath(object, path)) {
        command.wrong("object", "expected ids from the module down like \"1/5\", found \"" + object + "\"");
    }
    if (!command.report().isFine()) return command.report().text();

    const std::lock_guard guard(mutex_);
    if (!isAttached_) return id() + " is not attached";
    if (!path.empty() && path.front() != sourceId_) {
        return "object: " + id() + " is source " + std::to_string(sourceId_) + ", found \"" + object + "\"";
    }
    const Event event{std::move(path), static_cast<uint32_t>(number), static_cast<uint64_t>(parameter),
                      false};
    if (raise(event)) return {};
    return "object: no object \"" + object + "\" of " + id() + " is open";
}

void Body::writeItems(JsonText& out) const {
    out.key("items").beginArray();
    for (const ItemRef& item : items_) {
        out.beginObject();
        out.key("id").number(item->id);
        out.key("shot").number(item->shot);
        out.key("dataType").number(item->content.dataType);
        out.key("size").unsignedNumber(item->content.content->size());
        out.endObject();
    }
    out.endArray();
}

void Body::writeState(JsonText& out) {
    const std::lock_guard guard(mutex_);
    out.key("model").text(setup_.model);
    out.key("moduleType").number(setup_.moduleType);
    out.key("sourceId").number(sourceId_);
    out.key("sessions").number(sessions_);
    out.key("exposing").boolean(exposure_ != Exposure::none);
    out.key("shots").number(shots_);
    out.key("framesServed").unsignedNumber(framesServed_);
    out.key("lensPosition").number(lensPosition_);
    out.key("values").beginObject();
    for (const Capability& capability : capabilities_) {
        const bool hasValue = capability.type != kProcess && capability.type != kCallback &&
                              capability.type != kArray && capability.id != kChildren;
        if (hasValue) writeValue(out.key(idText(capability.id)), capability);
    }
    out.endObject();
    writeItems(out);
}

}  // namespace lab::nikon
