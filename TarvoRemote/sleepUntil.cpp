#include "TarvoRemote/sleepUntil.h"

#include <time.h>

#include "TarvoRemote/modules.h"
#include "TarvoRemote/rdebug.h"
#include "platform/Priority.h"

namespace {

constexpr double kLongestWait = 5.0;  // seconds; a host that is further ahead will ask again

bool readWallClock(int64_t* microseconds) {
    timespec now{};
    if (clock_gettime(CLOCK_REALTIME, &now) != 0) return false;
    *microseconds = static_cast<int64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
    return true;
}

void waitFor(int64_t deadline, int64_t nowUs) {
    // Both cut to 32 bits, as hosts expect: the differences wrap, and so does what counts as the past.
    const auto wanted = static_cast<uint32_t>(deadline);
    const auto now = static_cast<uint32_t>(nowUs);
    if (wanted <= now) {
        rdebug(MODULE_CORE, "Did not sleep, microTime=%lld, result=%lld\n", static_cast<long long>(deadline),
               static_cast<long long>(now));
        return;
    }
    const uint32_t ahead = wanted - now;
    const double interval = ahead / 1000000.0;
    if (interval < kLongestWait) {
        sleepUntilShortlyBefore(nowUs + ahead);
        // Told now: waking the log's reader takes longer than the shutter may be late.
        rdebug(MODULE_CORE, "Slept for interval = %f\n", interval);
        watchTheClockUntil(nowUs + ahead);
    } else {
        rdebug(MODULE_CORE, "Did not sleep, interval = %f\n", interval);
    }
}

}  // namespace

void sleepUntil(int64_t deadline) {
    const HighestPriority priority;
    int64_t now = 0;
    if (readWallClock(&now)) waitFor(deadline, now);
}
