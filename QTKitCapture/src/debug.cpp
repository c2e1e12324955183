#include <cstdarg>

#include "QTKitCapture/src/qtkit_internal.h"
#include "shared/vask_log.h"

void qtkit::debug(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vask_log("QTKitCapture", format, arguments);
    va_end(arguments);
}
