#include "TarvoRemote/sleepUntil.h"

#include <time.h>

#include "TarvoRemote/modules.h"
#include "TarvoRemote/rdebug.h"
#include "platform/Priority.h"

namespace {

using Outcome = WaitReport::Outcome;

constexpr double kLongestWait = 5.0;  // seconds; a host that is further ahead will ask again

bool readWallClock(int64_t* microseconds) {
    timespec now{};
    if (clock_gettime(CLOCK_REALTIME, &now) != 0) return false;
    *microseconds = static_cast<int64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
    return true;
}

/** Both cut to 32 bits, as hosts expect: the differences wrap, and so does what counts as the past. */
uint32_t ahead(int64_t deadline, uint32_t now) {
    return static_cast<uint32_t>(deadline) - now;
}

double seconds(uint32_t microseconds) {
    return microseconds / 1000000.0;
}

Outcome waitFor(int64_t deadline, int64_t nowUs) {
    const auto now = static_cast<uint32_t>(nowUs);
    if (static_cast<uint32_t>(deadline) <= now) return Outcome::past;
    if (seconds(ahead(deadline, now)) >= kLongestWait) return Outcome::tooFarAhead;
    sleepUntilAbsolute(nowUs + ahead(deadline, now));
    return Outcome::slept;
}

}  // namespace

WaitReport::~WaitReport() {
    switch (outcome_) {
        case Outcome::noClock:
            return;
        case Outcome::slept:
            rdebug(MODULE_CORE, "Slept for interval = %f\n", seconds(ahead(deadline_, now_)));
            return;
        case Outcome::tooFarAhead:
            rdebug(MODULE_CORE, "Did not sleep, interval = %f\n", seconds(ahead(deadline_, now_)));
            return;
        case Outcome::past:
            rdebug(MODULE_CORE, "Did not sleep, microTime=%lld, result=%lld\n",
                   static_cast<long long>(deadline_), static_cast<long long>(now_));
            return;
    }
}

WaitReport sleepUntil(int64_t deadline) {
    const HighestPriority priority;
    int64_t now = 0;
    const Outcome outcome = readWallClock(&now) ? waitFor(deadline, now) : Outcome::noClock;
    return {outcome, deadline, static_cast<uint32_t>(now)};
}
