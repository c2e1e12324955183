/* ShotSchedule.h: when the shots of a series are due.
 *
 * A series keeps its rhythm by the clock: a shot that is late does not move those after it.
 *
 * Thread: one caller.
 * Units:  microseconds of the wall clock.
 */
#pragma once

#include <cstdint>
#include <string>

namespace tarvo {

class ShotSchedule {
public:
    /** `first` 0: at once. `interval` 0: one right after the other. */
    ShotSchedule(int64_t first, double intervalSeconds);

    /** The deadline of the next shot, 0: at once. Tells people when a shot is far away, or late. */
    int64_t next(const std::string& name);

private:
    int64_t moment_;
    int64_t interval_;
    bool isFirst_ = true;
};

}  // namespace tarvo
