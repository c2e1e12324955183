/* FilePath.h: may this text be used as a file's path?
 *
 * Thread: any.
 * Errors: false.
 */
#pragma once

#include <string>

#include "platform/Export.h"

/** Whether the text is well-formed UTF-8, as file names of this system are. */
TARVO_PLATFORM_API bool isUtf8(const std::string& text);

/** Whether the path can name a file at all: it is not empty and its last part is not a directory's. */
TARVO_PLATFORM_API bool namesAFile(const std::string& path);
