/* Options.h: what all commands of tarvo have in common. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tarvo {

struct CommonOptions {
    std::optional<uint16_t> port;
    bool isSimulated = false;
    std::string helper;        // path; empty: the one beside this command
    std::string scenario;      // path or the name of one that came with this command; empty: the usual one
    std::string labSocket;     // path; empty: none
    std::string camera;        // part of a name; empty: any
    std::string nikonModules;  // folder of Nikon module bundles; empty: the one of the set of cameras in use
    bool isVerbose = false;

    /** True when the command starts a helper of its own instead of using one that runs. */
    bool startsHelper() const { return isSimulated || !helper.empty() || !scenario.empty(); }
};

}  // namespace tarvo
