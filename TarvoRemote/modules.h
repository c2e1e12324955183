/* modules.h: the numbers that name the parts of the system, on the wire and in the log. */
#pragma once

#include <cstdint>

enum ModuleId : uint8_t {
    MODULE_CORE = 0,        // log only: the server and the core
    MODULE_CALLBACK = 8,    // the connection becomes the callback socket
    MODULE_CANON = 10,      // remote calls
    MODULE_NIKON = 20,      // remote calls
    MODULE_QUICKTIME = 30,  // one request for the movie-export settings
    MODULE_QTKIT = 40,      // remote calls
    MODULE_SHUTDOWN = 66,   // the process exits
};
