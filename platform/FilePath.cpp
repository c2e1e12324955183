#include "platform/FilePath.h"

#include <glib.h>

bool isUtf8(const std::string& text) {
    return g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) != FALSE;
}

bool namesAFile(const std::string& path) {
    return !path.empty() && path.back() != '/';
}
