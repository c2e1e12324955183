/* Places.h: where things are, seen from this command's own file, so that a tree can be moved.
 *
 * Thread: plain functions.
 * Errors: Result.h; badArgument for a scenario that is not there or is no JSON, with file, line and column.
 */
#pragma once

#include <filesystem>
#include <string>

#include "host/client/Result.h"

namespace tarvo {

/** The folder above bin/. */
std::filesystem::path treeFolder();
std::filesystem::path helperPath();
std::filesystem::path simulatedFolder();
/** The module bundles for Nikon bodies, real and simulated ones. */
std::filesystem::path nikonFolder(bool isSimulated);
std::filesystem::path scenarioFolder();

/** The absolute path of a scenario, given as a path or as the name of one in scenarioFolder(). */
Result<std::string> resolveScenario(const std::string& text);

}  // namespace tarvo
