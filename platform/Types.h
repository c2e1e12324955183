/* Types.h: the plain types and general statuses of the platform.
 *
 * Errors: a status is 0 for success, else a negative number of the platform's numbering. The numbers reach
 *         logs and hosts, so they stay as they are.
 */
#pragma once

#include <cstdint>

using OSStatus = int32_t;
/** Four characters in one number, the first in the highest byte, whatever the machine's byte order. */
using OSType = uint32_t;

constexpr OSType fourCC(const char (&text)[5]) {
    OSType code = 0;
    for (int i = 0; i < 4; ++i) {
        code = (code << 8) | static_cast<unsigned char>(text[i]);
    }
    return code;
}

constexpr OSStatus noErr = 0;
constexpr OSStatus paramErr = -50;     ///< an argument is null, out of range, or names nothing that lives
constexpr OSStatus memFullErr = -108;  ///< no memory for the object
