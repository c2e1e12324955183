/* TimeText.h: moments as people write them.
 *
 * Thread: parseMoment uses the C library's time zone; call it from one thread.
 * Units:  microseconds of the wall clock since 1970.
 */
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tarvo {

/** "18:30:00", "18:30:00.250", "2026-11-21 18:30" (a T instead of the blank too), or "@1763749800.5" (seconds
 * since 1970). A time of day is today's, in the local time zone. */
std::optional<int64_t> parseMoment(const std::string& text, int64_t now);

/** "18:30:00.250" of the local time zone. */
std::string timeOfDay(int64_t moment);

}  // namespace tarvo
