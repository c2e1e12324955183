/* ModuleFiles.h: where a camera module and its driver lie in the directory that a host names.
 *
 * Thread: any; plain values.
 */
#pragma once

#include <cstddef>
#include <cstdint>

namespace nikon {

/** What a path may have, its end mark included. Hosts' directories must leave room for the names below. */
constexpr size_t kModulePathSize = 1024;

struct ModuleFiles {
    char bundle[kModulePathSize];
    char driver[kModulePathSize];
};

/** What is appended to the directory for a module type, its "/" included. Nothing for an unknown type: then
 *  the directory itself is taken for the bundle. */
const char* bundleName(int32_t moduleType);

/** False when one of the paths does not fit: `bundle` then holds the beginning of the directory, for the log,
 *  and `driver` nothing. A null directory is taken for one that does not fit: it was too long to be read. */
bool findModuleFiles(const char* directory, int32_t moduleType, ModuleFiles* files);

}  // namespace nikon
