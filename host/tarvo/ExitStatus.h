/* ExitStatus.h: what the tarvo command answers to its caller. The help text lists them; scripts rely on them.
 */
#pragma once

namespace tarvo {

enum ExitStatus : int {
    kExitOk = 0,
    kExitFailed = 1,        // the camera, the helper or the lab refused or failed
    kExitUsage = 2,         // the command line or a file that it names is wrong
    kExitNoHelper = 3,      // none runs, or none could be started
    kExitNoCamera = 4,      // none is attached, or none that was asked for
    kExitFiles = 5,         // a file exists already, or cannot be written
    kExitTimeout = 6,       // something did not come in time
    kExitInterrupted = 130  // Ctrl-C, as shells count it
};

}  // namespace tarvo
