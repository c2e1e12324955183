#include "lab/World.h"

#include <algorithm>

namespace lab {

namespace {

DeviceRef findIn(const std::vector<DeviceRef>& devices, std::string_view id) {
    const auto found = std::find_if(devices.begin(), devices.end(),
                                    [&](const DeviceRef& device) { return device->id() == id; });
    return found == devices.end() ? nullptr : *found;
}

}  // namespace

World& World::instance() {
    // Never destroyed: libraries may still ask while the process exits.
    static auto* world = new World;
    return *world;
}

void World::replace(Setup setup) {
    const std::vector<DeviceRef> newcomers = setup.devices;
    {
        const std::lock_guard guard(mutex_);
        std::swap(setup_, setup);
    }
    for (const DeviceRef& device : setup.devices) {
        device->detach();
    }
    for (const DeviceRef& device : newcomers) {
        device->appeared();
    }
}

std::vector<DeviceRef> World::devices() const {
    const std::lock_guard guard(mutex_);
    return setup_.devices;
}

DeviceRef World::find(std::string_view id) const {
    const std::lock_guard guard(mutex_);
    return findIn(setup_.devices, id);
}

bool World::put(const DeviceRef& device) {
    const std::lock_guard guard(mutex_);
    for (DeviceRef& known : setup_.devices) {
        if (known->id() != device->id()) continue;
        if (known->isAttached()) return false;
        known = device;
        return true;
    }
    setup_.devices.push_back(device);
    return true;
}

bool World::add(const DeviceRef& device) {
    if (!put(device)) return false;
    device->appeared();
    return true;
}

std::string World::folder() const {
    const std::lock_guard guard(mutex_);
    return setup_.folder;
}

std::vector<std::string> World::photos() const {
    const std::lock_guard guard(mutex_);
    return setup_.photos;
}

std::shared_ptr<const nikon::ModuleSetup> World::module() const {
    const std::lock_guard guard(mutex_);
    return setup_.module;
}

Dialog World::dialog() const {
    const std::lock_guard guard(mutex_);
    return setup_.dialog;
}

void World::setDialog(Dialog dialog) {
    const std::lock_guard guard(mutex_);
    setup_.dialog = std::move(dialog);
}

}  // namespace lab
