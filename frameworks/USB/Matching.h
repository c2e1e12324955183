/* Matching.h: whether a device or an interface is what somebody looks for; the same for every bus.
 *
 * Thread: any.
 */
#pragma once

#include <array>

#include "USBControl.h"

inline bool isWanted(const IOServiceMatching& matching, uint16_t vendor, uint16_t product) {
    return !matching.hasIds || (matching.idVendor == vendor && matching.idProduct == product);
}

/** `present` says what the interface is. */
inline bool isWanted(const IOUSBFindInterfaceRequest& wanted, const IOUSBFindInterfaceRequest& present) {
    struct Pair {
        uint16_t wanted;
        uint16_t present;
    };
    const std::array<Pair, 4> pairs = {{{wanted.bInterfaceClass, present.bInterfaceClass},
                                        {wanted.bInterfaceSubClass, present.bInterfaceSubClass},
                                        {wanted.bInterfaceProtocol, present.bInterfaceProtocol},
                                        {wanted.bAlternateSetting, present.bAlternateSetting}}};
    for (const Pair& pair : pairs) {
        if (pair.wanted != kIOUSBFindInterfaceDontCare && pair.wanted != pair.present) return false;
    }
    return true;
}
