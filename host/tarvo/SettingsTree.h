/* SettingsTree.h: a settings file as text for people, and as a container.
 *
 * Thread: any.
 * Errors: Result.h: files when it cannot be read, badArgument when it is no settings file.
 */
#pragma once

#include <string>
#include <vector>

#include "frameworks/QuickTime/atoms/Atoms.h"
#include "host/client/Result.h"

namespace tarvo {

Result<atoms::Container> readSettingsFile(const std::string& path);

/** A line for each atom, indented by its depth: type, id if it is not 1, and what its data say. */
std::vector<std::string> treeOf(const atoms::Container& container);

}  // namespace tarvo
