/* Scenario.h: from a scenario's text to a world.
 *
 * Thread: any.
 * Errors: one line that says what is wrong and where; the output is untouched then.
 * Follows: docs/camera-lab.md.
 */
#pragma once

#include <string>
#include <string_view>

#include "lab/Context.h"
#include "lab/Export.h"
#include "lab/World.h"

namespace lab {

/** A scenario file. False with the reason, which begins with the path. */
LAB_EXPORT bool readScenario(const std::string& path, Setup& out, std::string& problem);
/** A scenario's document; relative paths start at the folder. */
LAB_EXPORT bool parseScenario(const Json& document, const std::string& folder, Setup& out,
                              std::string& problem);
/** What the environment asks for: the scenario that TARVO_LAB names; without it one camera of each kind. */
LAB_EXPORT bool readStartScenario(Setup& out, std::string& problem);

/** One device of a scenario or of the attach command; null when it was reported. */
DeviceRef parseDevice(const Json& json, const std::string& path, const Context& context, Report& report);
/** The fields of a dialog, "cmd" apart. */
Dialog parseDialog(Fields& fields);

}  // namespace lab
