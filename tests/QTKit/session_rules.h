/* session_rules.h: what sessions keep to, whichever set they are of.
 *
 * Each is given a chain that is ready to run, and fails the test when the rule is broken.
 *
 * Thread: the test's.
 */
#pragma once

#include <functional>

#include "tests/QTKit/witnesses.h"

namespace test {

void deliverOnAThreadOfTheFramework(Chain& chain);
void holdTheDelegateWhileTheyCallIt(Chain& chain);
void retainNoDelegateBetweenFrames(Chain& chain);
/** Stop, start, attributes, delegate and the list of devices, from inside a delivery. */
void letADelegateCallBack(Chain& chain);
/** `isOver`: whether nothing of the session is left. */
void mayEndInsideOfADelivery(Chain& chain, const std::function<bool()>& isOver);
/** `meanwhile` is called by a third thread, again and again. */
void surviveCallsFromSeveralThreads(Chain& chain, const std::function<void()>& meanwhile);

}  // namespace test
