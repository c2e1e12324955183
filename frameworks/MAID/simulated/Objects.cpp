#include "frameworks/MAID/simulated/Objects.h"

#include <algorithm>
#include <utility>

#include "frameworks/MAID/simulated/Module.h"

namespace maid {

using lab::nikon::Outcome;

bool isThere(const Object& object) {
    if (!object.body) return true;
    if (object.content) return object.body->checkItem(object.link, object.content) == Outcome::ok;
    return object.body->check(object.link) == Outcome::ok;
}

Registry& Registry::instance() {
    // Never destroyed: a camera may still be unplugged while the process exits.
    static auto* registry = new Registry;
    return *registry;
}

bool Registry::add(const ObjectRef& object) {
    const std::lock_guard guard(mutex_);
    const auto [place, isNew] = objects_.try_emplace(object->record, object);
    if (!isNew) return false;
    object->token = reinterpret_cast<MaidRef>(++lastToken_);
    object->record->type = static_cast<uint32_t>(object->kind);
    object->record->id = object->id;
    object->record->moduleRef = object->token;
    return true;
}

ObjectRef Registry::find(NkMAIDObject* record, uint32_t moduleType) {
    const std::lock_guard guard(mutex_);
    const auto found = objects_.find(record);
    if (found == objects_.end()) return nullptr;
    const ObjectRef& object = found->second;
    // A record's memory may have been given back and be another object's by now.
    const bool isSame = record->moduleRef == object->token && record->id == object->id &&
                        record->type == static_cast<uint32_t>(object->kind);
    return isSame && object->module->type() == moduleType ? object : nullptr;
}

void Registry::remove(const Object& object) {
    const std::lock_guard guard(mutex_);
    const auto found = objects_.find(object.record);
    if (found == objects_.end() || found->second.get() != &object) return;
    std::erase_if(posted_, [&](const Posted& posted) { return posted.object.get() == &object; });
    objects_.erase(found);
}

std::vector<ObjectRef> Registry::childrenOf(const Object& parent) {
    const std::lock_guard guard(mutex_);
    std::vector<ObjectRef> children;
    for (const auto& [record, object] : objects_) {
        if (object->parent.get() == &parent) children.push_back(object);
    }
    return children;
}

namespace {

std::string pathText(const std::vector<uint32_t>& ids) {
    std::string text;
    for (const uint32_t id : ids) {
        text += (text.empty() ? "" : "/") + std::to_string(id);
    }
    return text;
}

/** The module object hears of all its bodies, the others of their own one, as long as it stays plugged. */
bool isFor(const Object& object, const lab::nikon::Body& body, lab::nikon::Link link) {
    if (object.kind == Kind::module) return object.module->type() == body.moduleType();
    return object.body.get() == &body && object.link == link;
}

}  // namespace

bool Registry::post(const lab::nikon::Body& body, lab::nikon::Link link, const lab::nikon::Event& event) {
    const std::string path = pathText(event.path);
    const std::lock_guard guard(mutex_);
    bool isHeard = false;
    for (const auto& [record, object] : objects_) {
        if (object->path != path || !isFor(*object, body, link)) continue;
        posted_.push_back({object, event.event, event.parameter, event.isNews});
        isHeard = true;
    }
    return isHeard;
}

std::vector<Posted> Registry::takePosted(const Module& module) {
    const std::lock_guard guard(mutex_);
    const auto isOurs = [&](const Posted& posted) { return posted.object->module.get() == &module; };
    std::vector<Posted> taken;
    std::copy_if(posted_.begin(), posted_.end(), std::back_inserter(taken), isOurs);
    std::erase_if(posted_, isOurs);
    return taken;
}

Counts Registry::counts(std::string_view device) {
    const std::lock_guard guard(mutex_);
    Counts counts;
    for (const auto& [record, object] : objects_) {
        const bool isCounted = device.empty() || (object->body && object->body->id() == device);
        if (isCounted) ++counts.open[static_cast<size_t>(object->kind)];
    }
    return counts;
}

uint64_t Registry::waitingEvents() {
    const std::lock_guard guard(mutex_);
    return posted_.size();
}

void Registry::countMisuse() {
    const std::lock_guard guard(mutex_);
    ++misuses_;
}

uint64_t Registry::misuses() {
    const std::lock_guard guard(mutex_);
    return misuses_;
}

}  // namespace maid
