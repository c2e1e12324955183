/* SettingsFile.h: files that hold the bytes of a settings container and nothing else.
 *
 * Thread: any.
 * Owns:   nothing that lasts.
 * Errors: loading answers no bytes; a failed save is logged and leaves the file as it was. A file is never
 *         seen half written, unless its folder is protected and it alone may be written.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/** All bytes of the file; none when it can't be read, is no regular file, or is longer than any settings. */
std::vector<uint8_t> loadSettings(const char* path);

/** Replaces the file as a whole; its permissions and, for a symbolic link, the link stay. No bytes: nothing
 * is written. 0, or 1 when it failed. */
int saveSettings(const char* path, const void* bytes, size_t size);
