/* Descriptors.h: what a webcam says of its terminals and units, read from its configuration descriptors.
 *
 * The bytes are the device's, and devices are wrong at times: nothing outside of them is ever read, and what
 * is cut off, too short or of no known kind is left out.
 *
 * Thread: any.
 * Errors: none; a device whose descriptors make no sense has no units.
 * Follows: Universal Serial Bus Specification 2.0, 9.6 (descriptors); USB Video Class 1.1, 3.7.2
 * (class-specific video-control interface descriptors).
 */
#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <span>
#include <vector>

namespace usb {

enum class EntityKind : uint8_t { other, cameraTerminal, processingUnit, extensionUnit };

/** A terminal or unit of the video function. */
struct Entity {
    EntityKind kind = EntityKind::other;
    uint8_t id = 0;
    std::bitset<256> controls{};     // bmControls
    std::array<uint8_t, 16> guid{};  // of an extension unit, as it stands there

    bool operator==(const Entity&) const = default;
};

/** A video-control interface. */
struct VideoControl {
    uint16_t version = 0;          // bcdUVC; 0 without a header
    std::vector<Entity> entities;  // in the device's order, each id once

    /** Null: there is no such id. */
    const Entity* find(uint8_t id) const;
};

/** Of `descriptors`, the device descriptor and all configurations as the kernel keeps them, the one
 * interface. */
VideoControl readVideoControl(std::span<const uint8_t> descriptors, uint8_t configuration, uint8_t interface);

}  // namespace usb
