#include "TarvoRemote/rdebug.h"

#include <cstdarg>
#include <cstdio>

#include "TarvoRemote/modules.h"

const char* getModuleName(int module) {
    if (module == MODULE_NIKON) return "Nikon";
    if (module == MODULE_QUICKTIME) return "QuickTime";
    if (module == MODULE_CANON) return "Canon";
    return "TarvoRemote";
}

int rdebug(int module, const char* format, ...) {
    std::fprintf(stderr, "%s: ", getModuleName(module));
    va_list arguments;
    va_start(arguments, format);
    const int result = std::vfprintf(stderr, format, arguments);
    va_end(arguments);
    return result;
}
