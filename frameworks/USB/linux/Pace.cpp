#include "frameworks/USB/linux/Pace.h"

namespace usb {

void Pace::beforeSet(System& system) const {
    if (!readyAt_) return;
    const Duration rest = *readyAt_ - system.now();
    if (rest > Duration::zero()) system.sleepFor(rest);
}

void Pace::afterSet(System& system, IOReturn result) {
    readyAt_ = system.now() + (result == kIOUSBTransactionTimeout ? kGapAfterSilence : kGap);
}

}  // namespace usb
