#include "host/client/Deadline.h"

#include <ctime>

namespace tarvo {

int64_t wallClockMicroseconds() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<int64_t>(now.tv_sec) * 1'000'000 + now.tv_nsec / 1000;
}

}  // namespace tarvo
