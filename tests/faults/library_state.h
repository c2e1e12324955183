/* library_state.h: what the simulated camera library tells of itself through the lab.
 *
 * Thread: as the lab client it is given.
 * Errors: a lab that tells nothing of the kind fails the test.
 */
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "tests/e2e/support/lab_client.h"

namespace e2e::faults {

/** How many references of each kind callers hold. */
using References = std::map<std::string, int64_t>;

References heldReferences(LabClient& lab);
/** Calls on references that name nothing (any more), releases included. */
int64_t misuse(LabClient& lab);
bool isLibraryRunning(LabClient& lab);

}  // namespace e2e::faults
