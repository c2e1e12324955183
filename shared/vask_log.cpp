#include "shared/vask_log.h"

#include <cstdio>

void vask_log(const char* tag, const char* format, va_list arguments) {
    std::printf("%s: ", tag);
    std::vprintf(format, arguments);
    std::fflush(stdout);
}
