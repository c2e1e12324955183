#include "Nikon/debug.h"

#include <cstdarg>

#include "shared/vask_log.h"

namespace nikon {

void debug(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vask_log("NikonMaid", format, arguments);
    va_end(arguments);
}

}  // namespace nikon
