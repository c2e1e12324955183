#include "host/tarvo/ShotSchedule.h"

#include "host/client/Deadline.h"
#include "host/tarvo/Console.h"
#include "host/tarvo/TimeText.h"

namespace tarvo {
namespace {

constexpr int64_t kSecond = 1'000'000;
constexpr int64_t kNoticeablyLate = kSecond / 10;

}  // namespace

ShotSchedule::ShotSchedule(int64_t first, double intervalSeconds)
    : moment_(first), interval_(static_cast<int64_t>(intervalSeconds * static_cast<double>(kSecond))) {}

int64_t ShotSchedule::next(const std::string& name) {
    const int64_t now = wallClockMicroseconds();
    if (!isFirst_ && interval_ > 0) {
        moment_ += interval_;
        if (now > moment_ + kNoticeablyLate) {
            note("{} is {:.1f} s late: camera and transfer take longer than the interval", name,
                 static_cast<double>(now - moment_) / kSecond);
        }
    }
    if (isFirst_ && moment_ == 0) moment_ = now;
    const bool isTimed = moment_ > now && (interval_ > 0 || isFirst_);
    isFirst_ = false;
    if (isTimed && moment_ - now > kSecond) note("{} at {}", name, timeOfDay(moment_));
    return isTimed ? moment_ : 0;
}

}  // namespace tarvo
