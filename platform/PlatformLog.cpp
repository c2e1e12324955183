#include "platform/PlatformLog.h"

#include <errno.h>
#include <sys/time.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <string>

namespace {

std::string formatted(const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
    if (length > 0) std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

std::string onOneLine(std::string text) {
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    for (char& character : text) {
        if (character == '\n') character = ' ';
    }
    return text;
}

std::string prefix() {
    timeval now{};
    gettimeofday(&now, nullptr);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    char date[40];
    strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S", &local);
    char text[160];
    std::snprintf(text, sizeof text, "%s.%03d %s[%d] ", date, static_cast<int>(now.tv_usec / 1000),
                  program_invocation_short_name, static_cast<int>(getpid()));
    return text;
}

}  // namespace

void NSLog(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::string text = onOneLine(formatted(format, arguments));
    va_end(arguments);

    const std::string line = prefix() + text + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);  // one call: stderr's own lock keeps lines whole
    syslog(LOG_USER | LOG_NOTICE, "%s", text.c_str());
}
