/* Pace.h: keeps the changes of one device's controls apart in time.
 *
 * Cheap webcams run one small processor, which answers requests between two lines of a picture and has been
 * seen to hang, or to drop off the bus, when changes arrive faster than it can write them to its sensor. So a
 * change waits until some time has passed since the end of the one before, longer when that one was never
 * answered. The first change after a pause waits for nothing, and reading never waits.
 *
 * Thread: one at a time.
 */
#pragma once

#include <optional>

#include "USBControl.h"
#include "frameworks/USB/linux/System.h"

namespace usb {

class Pace {
public:
    static constexpr Duration kGap = std::chrono::milliseconds(5);
    static constexpr Duration kGapAfterSilence = std::chrono::milliseconds(100);

    /** Waits for the device's next turn. */
    void beforeSet(System& system) const;
    /** With what became of the change. */
    void afterSet(System& system, IOReturn result);

private:
    std::optional<Duration> readyAt_;
};

}  // namespace usb
