#include "frameworks/USB/linux/Descriptors.h"

#include <algorithm>
#include <optional>

namespace usb {

namespace {

using Bytes = std::span<const uint8_t>;

enum Type : uint8_t { kConfiguration = 2, kInterface = 4, kClassInterface = 0x24 };
enum Subtype : uint8_t {
    kHeader = 1,
    kInputTerminal = 2,
    kOutputTerminal = 3,
    kSelectorUnit = 4,
    kProcessingUnit = 5,
    kExtensionUnit = 6
};

constexpr uint16_t kCameraTerminal = 0x0201;
constexpr uint8_t kVideoClass = 14;
constexpr uint8_t kVideoControlSubclass = 1;

/** 0 past the end: what is cut off is as good as not said. */
uint8_t byteAt(Bytes bytes, size_t at) {
    return at < bytes.size() ? bytes[at] : uint8_t{0};
}

uint16_t halfAt(Bytes bytes, size_t at) {
    return static_cast<uint16_t>(byteAt(bytes, at) | byteAt(bytes, at + 1) << 8);
}

/** Takes a descriptor off the front; none when its length makes no sense. */
std::optional<Bytes> takeDescriptor(Bytes& rest) {
    constexpr uint8_t kLeast = 2;
    const uint8_t length = byteAt(rest, 0);
    if (length < kLeast || length > rest.size()) return std::nullopt;
    const Bytes taken = rest.first(length);
    rest = rest.subspan(length);
    return taken;
}

/** The configuration's descriptor and all that belongs to it; empty when there is none of that value. */
Bytes configurationOf(Bytes descriptors, uint8_t value) {
    constexpr size_t kDeviceLength = 18;
    constexpr size_t kLeast = 9;
    if (descriptors.size() < kDeviceLength) return {};
    Bytes rest = descriptors.subspan(kDeviceLength);
    while (rest.size() >= kLeast && rest[1] == kConfiguration) {
        const size_t total = std::min<size_t>(halfAt(rest, 2), rest.size());
        if (total < kLeast) return {};
        if (rest[5] == value) return rest.first(total);
        rest = rest.subspan(total);
    }
    return {};
}

bool isVideoControl(Bytes descriptor, uint8_t number) {
    constexpr size_t kLength = 9;
    return descriptor.size() >= kLength && descriptor[2] == number && descriptor[5] == kVideoClass &&
           descriptor[6] == kVideoControlSubclass;
}

/** The bitmap whose length stands at the place and which follows it. */
std::bitset<256> bitmapAt(Bytes descriptor, size_t place) {
    std::bitset<256> bits;
    const size_t count = size_t{byteAt(descriptor, place)} * 8;
    for (size_t bit = 0; bit < std::min(count, bits.size()); ++bit) {
        bits[bit] = (byteAt(descriptor, place + 1 + bit / 8) >> (bit % 8) & 1) != 0;
    }
    return bits;
}

std::optional<Entity> inputTerminal(Bytes descriptor) {
    constexpr size_t kLength = 8;
    constexpr size_t kControls = 14;
    if (descriptor.size() < kLength) return std::nullopt;
    if (halfAt(descriptor, 4) != kCameraTerminal) return Entity{.id = descriptor[3]};
    return Entity{
        .kind = EntityKind::cameraTerminal, .id = descriptor[3], .controls = bitmapAt(descriptor, kControls)};
}

std::optional<Entity> processingUnit(Bytes descriptor) {
    constexpr size_t kControls = 7;
    if (descriptor.size() <= kControls) return std::nullopt;
    return Entity{
        .kind = EntityKind::processingUnit, .id = descriptor[3], .controls = bitmapAt(descriptor, kControls)};
}

std::optional<Entity> extensionUnit(Bytes descriptor) {
    constexpr size_t kGuid = 4;
    constexpr size_t kPinCount = 21;
    if (descriptor.size() <= kPinCount) return std::nullopt;
    Entity unit{.kind = EntityKind::extensionUnit, .id = descriptor[3]};
    std::copy_n(descriptor.begin() + kGuid, unit.guid.size(), unit.guid.begin());
    unit.controls = bitmapAt(descriptor, kPinCount + 1 + descriptor[kPinCount]);
    return unit;
}

std::optional<Entity> plain(Bytes descriptor) {
    return descriptor.size() > 3 ? std::optional(Entity{.id = descriptor[3]}) : std::nullopt;
}

std::optional<Entity> entityOf(Bytes descriptor) {
    switch (byteAt(descriptor, 2)) {
        case kInputTerminal:
            return inputTerminal(descriptor);
        case kProcessingUnit:
            return processingUnit(descriptor);
        case kExtensionUnit:
            return extensionUnit(descriptor);
        case kOutputTerminal:
        case kSelectorUnit:
            return plain(descriptor);
        default:
            return std::nullopt;
    }
}

void take(VideoControl& control, Bytes descriptor) {
    constexpr size_t kVersionEnd = 5;
    if (byteAt(descriptor, 2) == kHeader && descriptor.size() >= kVersionEnd) {
        control.version = halfAt(descriptor, 3);
    }
    const std::optional<Entity> entity = entityOf(descriptor);
    // Id 0 stands for the interface itself. Of two with one id the first counts, so there are at most 255.
    if (entity && entity->id != 0 && control.find(entity->id) == nullptr) control.entities.push_back(*entity);
}

}  // namespace

const Entity* VideoControl::find(uint8_t id) const {
    const auto found = std::find_if(entities.begin(), entities.end(),
                                    [id](const Entity& entity) { return entity.id == id; });
    return found == entities.end() ? nullptr : &*found;
}

VideoControl readVideoControl(Bytes descriptors, uint8_t configuration, uint8_t interface) {
    VideoControl control;
    Bytes rest = configurationOf(descriptors, configuration);
    bool isInside = false;
    while (const std::optional<Bytes> descriptor = takeDescriptor(rest)) {
        const uint8_t type = (*descriptor)[1];
        if (type == kInterface) isInside = isVideoControl(*descriptor, interface);
        if (type == kClassInterface && isInside) take(control, *descriptor);
    }
    return control;
}

}  // namespace usb
