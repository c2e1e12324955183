/* What a webcam says of its units: descriptors of any bytes at all. The first two bytes choose the
 * configuration and the interface. */
#include <algorithm>
#include <bitset>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "frameworks/USB/linux/ControlTable.h"
#include "frameworks/USB/linux/Descriptors.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    constexpr size_t kChoice = 2;
    if (size < kChoice) return 0;
    const size_t length = size - kChoice;
    // A copy of just this size: a byte beyond it is seen.
    const auto copy = std::make_unique<uint8_t[]>(length);
    std::copy_n(bytes + kChoice, length, copy.get());
    const usb::VideoControl control = usb::readVideoControl({copy.get(), length}, bytes[0], bytes[1]);

    std::bitset<256> seen;
    for (const usb::Entity& entity : control.entities) {
        if (entity.id == 0 || seen[entity.id]) std::abort();
        seen.set(entity.id);
        if (entity.kind == usb::EntityKind::other && entity.controls.any()) std::abort();
        for (unsigned selector = 0; selector <= 0xFF; ++selector) {
            const usb::ControlRow* row = usb::rowOf(entity, static_cast<uint8_t>(selector));
            if (row != nullptr && (row->kind != entity.kind || !entity.controls[row->bit])) std::abort();
        }
    }
    return 0;
}
