#include "lab/nikon/Sources.h"

#include <map>
#include <set>

#include "lab/World.h"

namespace lab::nikon {

namespace {

using Ids = std::set<uint32_t>;

bool settle(Body& body, Ids& taken) {
    uint32_t id = body.wantedSourceId().value_or(1);
    while (taken.contains(id)) {
        if (body.wantedSourceId()) return false;
        ++id;
    }
    body.setSourceId(id);
    taken.insert(id);
    return true;
}

BodyRef bodyOf(const DeviceRef& device) {
    return std::dynamic_pointer_cast<Body>(device);
}

}  // namespace

size_t settleSourceIds(const std::vector<DeviceRef>& devices) {
    std::map<uint32_t, Ids> taken;  // by module
    // Those that ask for an id go first, so that the others count past them.
    for (const bool isAsking : {true, false}) {
        for (size_t i = 0; i < devices.size(); ++i) {
            const BodyRef body = bodyOf(devices[i]);
            if (!body || body->wantedSourceId().has_value() != isAsking) continue;
            if (!settle(*body, taken[body->moduleType()])) return i;
        }
    }
    return devices.size();
}

bool settleSourceId(Body& newcomer, const std::vector<DeviceRef>& others) {
    Ids taken;
    for (const DeviceRef& device : others) {
        const BodyRef body = bodyOf(device);
        if (!body || body->moduleType() != newcomer.moduleType() || body->id() == newcomer.id()) continue;
        taken.insert(body->sourceId());
    }
    return settle(newcomer, taken);
}

std::vector<BodyRef> attachedBodies(uint32_t moduleType) {
    std::vector<BodyRef> bodies;
    for (const DeviceRef& device : World::instance().devices()) {
        BodyRef body = bodyOf(device);
        if (body && body->moduleType() == moduleType && body->isAttached()) bodies.push_back(std::move(body));
    }
    return bodies;
}

}  // namespace lab::nikon
