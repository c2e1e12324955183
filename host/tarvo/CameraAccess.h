/* CameraAccess.h: from the common options to a helper, and to a Canon or Nikon camera that is open for calls.
 *
 * Each step prints its own complaint and answers the exit status that the command should end with (kExitOk:
 * go on). What was opened is closed in reverse order at the end, by Ctrl-C too: the camera, the
 * Canon library if this command started it, the Nikon modules, and the helper if it is this command's own.
 *
 * Thread: main. The listener runs on the event stream's thread.
 */
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/client/CallbackStream.h"
#include "host/client/CanonClient.h"
#include "host/client/HelperProcess.h"
#include "host/tarvo/LogForwarder.h"
#include "host/tarvo/NikonAccess.h"
#include "host/tarvo/Options.h"

namespace tarvo {

/** The exit status that suits a failure of the connection or the helper. */
int exitStatusOf(const Error& error);
/** Prints it, unless it is an interruption, and answers its exit status. */
int report(const Error& error);

/** A helper's port: one that runs, or a private one that lives as long as this object. */
class HelperAccess {
public:
    HelperAccess() = default;
    HelperAccess(const HelperAccess&) = delete;
    HelperAccess& operator=(const HelperAccess&) = delete;
    ~HelperAccess();

    int open(const CommonOptions& options);
    uint16_t port() const { return port_; }
    /** The private helper, or null. */
    HelperProcess* process() { return process_.get(); }

private:
    int startPrivate(const CommonOptions& options);
    int findRunning(const CommonOptions& options);

    uint16_t port_ = 0;
    std::unique_ptr<LogForwarder> log_;  // outlives the process that writes to it
    std::unique_ptr<HelperProcess> process_;
};

struct FoundCamera {
    int32_t reference = 0;
    std::string name;
};

class CameraAccess {
public:
    CameraAccess() = default;
    CameraAccess(const CameraAccess&) = delete;
    CameraAccess& operator=(const CameraAccess&) = delete;
    ~CameraAccess();

    /** Helper, event stream, connection, and the Canon library unless only a Nikon camera can be meant. */
    int connect(const CommonOptions& options, CallbackStream::Listener listener = {});
    /** The Canon cameras. Tells of those that are attached but cannot be reached. */
    int findCameras(std::vector<FoundCamera>& found);
    /** The Nikon cameras whose names have the wanted text in them. */
    int findNikons(std::vector<FoundNikon>& found, bool endsAtFirst = false);
    /** Opens the first camera whose name has the wanted text in it; Canon cameras come first. When there is
     * none, `openOther` may open something else; kExitNoCamera from it: it has nothing either. */
    int openCamera(const std::function<int()>& openOther = {});
    /** Says that there is none (of the wanted name, though others), and answers the exit status for that. */
    int complainOfNoCamera(const std::vector<FoundCamera>& others);

    uint16_t port() const { return helper_.port(); }
    /** What openCamera has opened: a Nikon camera, whose calls are nikon()'s, or a Canon one. */
    bool isNikon() const { return nikon_.camera() != 0; }
    NikonAccess& nikon() { return nikon_; }
    const std::string& name() const { return isNikon() ? nikon_.chosen().name : camera_.name; }
    CanonClient& client() { return client_; }
    CallbackStream& events() { return events_; }
    int32_t handle() const { return handle_; }

private:
    int startLibrary();
    int openSession(const FoundCamera& camera);

    CommonOptions options_;
    HelperAccess helper_;
    CallbackStream events_;
    CallConnection connection_;
    CanonClient client_{connection_};
    NikonAccess nikon_;
    bool didStartLibrary_ = false;
    std::vector<int32_t> list_;
    FoundCamera camera_;
    int32_t handle_ = 0;
};

}  // namespace tarvo
