#include "frameworks/USB/linux/DeviceState.h"

namespace usb {

bool DeviceState::take(uint8_t interface, const void* owner) {
    const std::lock_guard guard(owners_);
    return ownerOf_.emplace(interface, owner).second;
}

bool DeviceState::isTakenBy(uint8_t interface, const void* owner) {
    const std::lock_guard guard(owners_);
    const auto found = ownerOf_.find(interface);
    return found != ownerOf_.end() && found->second == owner;
}

void DeviceState::giveBack(uint8_t interface, const void* owner) {
    const std::lock_guard guard(owners_);
    const auto found = ownerOf_.find(interface);
    if (found != ownerOf_.end() && found->second == owner) ownerOf_.erase(found);
}

std::shared_ptr<DeviceState> stateOf(const Attachment& device) {
    using Key = std::pair<uint32_t, uint32_t>;
    static auto* const mutex = new std::mutex;  // threads may outlive main()
    static auto* const states = new std::map<Key, std::weak_ptr<DeviceState>>;

    const std::lock_guard guard(*mutex);
    std::erase_if(*states, [](const auto& entry) { return entry.second.expired(); });
    std::weak_ptr<DeviceState>& known = (*states)[{device.bus, device.number}];
    std::shared_ptr<DeviceState> state = known.lock();
    if (!state) known = state = std::make_shared<DeviceState>();
    return state;
}

}  // namespace usb
