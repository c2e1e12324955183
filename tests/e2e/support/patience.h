/* patience.h: how long a test waits for something that must happen, and how much it may ask for.
 *
 * A wait ends as soon as its condition holds; the limits below only decide when a test gives up, so they
 * are generous. Nothing asserts how long a thing took.
 *
 * Units: seconds and milliseconds as std::chrono says.
 */
#pragma once

#include <chrono>
#include <functional>

namespace e2e {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif

inline constexpr std::chrono::milliseconds kPatience{kSanitized ? 60000 : 30000};
/** How long silence has to last to be believed. */
inline constexpr std::chrono::milliseconds kSilence{kSanitized ? 400 : 150};

/** Asks again and again until the condition holds; false when patience runs out. */
bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds patience = kPatience);

}  // namespace e2e
