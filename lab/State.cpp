#include "lab/State.h"

#include <mutex>
#include <vector>

#include "lab/Faults.h"
#include "lab/World.h"

namespace lab {

namespace {

struct Sources {
    std::mutex mutex;
    std::vector<StateSource*> list;  // guarded by mutex
};

Sources& sources() {
    static auto* all = new Sources;
    return *all;
}

std::vector<StateSource*> listOfSources() {
    const std::lock_guard guard(sources().mutex);
    return sources().list;
}

}  // namespace

void addStateSource(StateSource* source) {
    const std::lock_guard guard(sources().mutex);
    sources().list.push_back(source);
}

void writeState(JsonText& out) {
    const std::vector<StateSource*> all = listOfSources();
    out.key("devices").beginArray();
    for (const DeviceRef& device : World::instance().devices()) {
        out.beginObject();
        out.key("id").text(device->id());
        out.key("family").text(familyName(device->family()));
        out.key("attached").boolean(device->isAttached());
        device->writeState(out);
        for (StateSource* source : all) {
            source->writeDevice(device->id(), out);
        }
        out.endObject();
    }
    out.endArray();
    out.key("libraries").beginObject();
    for (StateSource* source : all) {
        out.key(source->library()).beginObject();
        source->writeLibrary(out);
        out.endObject();
    }
    out.endObject();
    Faults::instance().write(out);
}

}  // namespace lab
