/* NikonAccess.h: from a folder of Nikon modules to a camera of one of them.
 *
 * A Nikon camera does not tell a name of its own: it is named by the module that drives it and its place in
 * that module's list, "Nikon D80 #0". A module is started once and ended at the end, by Ctrl-C too: a module
 * that is left running in the helper would go on holding its cameras. For the same reason calls are let
 * finish on a connection of their own, which Ctrl-C does not cut short.
 *
 * Each step prints its own complaint and answers the exit status that the command should end with (kExitOk:
 * go on).
 *
 * Thread: main.
 */
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "host/client/NikonClient.h"
#include "host/client/NikonModules.h"
#include "host/tarvo/Options.h"

namespace tarvo {

struct FoundNikon {
    NikonModule module{};
    int32_t index = 0;
    int32_t type = 0;  // the camera's own number; 0: it cannot be opened
    std::string name;
};

class NikonAccess {
public:
    NikonAccess() = default;
    NikonAccess(const NikonAccess&) = delete;
    NikonAccess& operator=(const NikonAccess&) = delete;
    ~NikonAccess() { end(); }

    /** Needs no module yet. `activity` is borrowed (CallConnection::setActivity). */
    int connect(uint16_t port, const CommonOptions& options, const std::atomic<int64_t>* activity);
    /** Starts every module in the folder that can drive a camera of the wanted name (any, when that is empty)
     * and lists those cameras. With `endsAtFirst` it stops at the first module that has one. */
    int findCameras(const std::string& wanted, bool endsAtFirst, std::vector<FoundNikon>& found);
    /** Ends all other modules and selects the camera. */
    int select(const FoundNikon& camera);
    /** Releases the camera and ends the modules. */
    void end();

    NikonClient& client() { return client_; }
    int64_t camera() const { return camera_; }
    const FoundNikon& chosen() const { return chosen_; }
    const std::string& folder() const { return folder_; }
    /** The folder has bundles. */
    bool hasModules() const { return !findNikonModules(folder_).empty(); }

private:
    struct Started {
        NikonModule module;
        int64_t handle;
    };
    int start(const NikonModule& module);
    int listCameras(const Started& started, const std::string& wanted, std::vector<FoundNikon>& found);
    void terminate(const Started& started);

    std::string folder_;
    CallConnection connection_;
    NikonClient client_{connection_};
    std::vector<Started> started_;
    FoundNikon chosen_;
    int64_t camera_ = 0;
};

/** Upper and lower case are the same. */
bool hasText(const std::string& name, const std::string& wanted);
/** The wanted text begins like a Nikon camera's name, so that no other family can be meant. */
bool namesNikon(const std::string& wanted);

}  // namespace tarvo
