/* patience.h: how long a test waits for something that must happen, and how much it may ask for.
 *
 * A wait ends as soon as its condition holds; the limits below only decide when a test gives up, so they
 * are generous. Nothing asserts how long a thing took.
 *
 * Units: seconds and milliseconds as std::chrono says.
 */
#pragma once

#include <chrono>
#include <cstdlib>
#include <functional>

namespace e2e {

/** The helper under test was built with a sanitizer, which makes it slower and larger: TARVO_SANITIZED is
 * set. The tests themselves know nothing of it, so that one build of them tests every build of the helper. */
inline const bool kSanitized = std::getenv("TARVO_SANITIZED") != nullptr;

inline constexpr std::chrono::milliseconds kPatience{60000};
/** How long silence has to last to be believed. */
inline const std::chrono::milliseconds kSilence{kSanitized ? 400 : 150};

/** Asks again and again until the condition holds; false when patience runs out. */
bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds patience = kPatience);

}  // namespace e2e
