/* EnumStrings.h: the texts by which hosts show a setting's values.
 *
 * Thread: any.
 */
#pragma once

#include <cstddef>
#include <cstdint>

/** Every text fits, with room to spare. */
constexpr size_t kEnumStringSize = 256;

/** Writes the text of one value of a capability into the buffer of kEnumStringSize bytes; returns the buffer.
 *  Values without a name are numbered, capabilities without any texts give "Undefined String". */
char* GetEnumString(uint32_t capability, uint32_t value, char* buffer);
