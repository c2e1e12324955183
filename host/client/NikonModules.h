/* NikonModules.h: the module bundles that a folder holds, and the numbers under which the helper knows them.
 *
 * A bundle drives the camera models that it was made for. The helper finds it in the folder by its file name,
 * which follows from the module type; which cameras are attached, only a started module tells.
 *
 * Thread: plain functions.
 */
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tarvo {

struct NikonModule {
    int32_t type;
    const char* name;  // "D80": the file is "D80 Module.bundle"
};

/** All sixteen, by rising type. */
std::span<const NikonModule> nikonModules();
/** Those whose bundle is in the folder. */
std::vector<NikonModule> findNikonModules(const std::string& directory);

}  // namespace tarvo
