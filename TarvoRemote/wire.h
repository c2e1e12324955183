/* wire.h: one value at a time on a connected stream socket.
 *
 * All traffic is a plain concatenation of these values, in both directions: no envelope, no checksum, no
 * alignment. Integers are little-endian on every machine.
 *
 * Thread: any; a socket that several threads write to must be guarded by the caller for a whole message.
 * Owns:   nothing. A string that readString returns is the caller's, to be freed with free().
 * Errors: writers return the result of their last send and callers ignore it; readers report nothing: what
 *         did not arrive reads as zero. Only readString can refuse, with null and a line in the log.
 */
#pragma once

#include <cstdint>

#include "TarvoRemote/ArrayRecord.h"

/** The longest string that readString takes, in bytes. */
constexpr int32_t MAX_STRING = 2048;

int64_t writeByte(int socket, uint8_t value);
int64_t writeInt(int socket, int32_t value);
int64_t writeLong(int socket, int64_t value);
/** Sends the value × 1000000, truncated toward zero, as a 64-bit integer. */
int64_t writeFloat(int socket, float value);
/** A null string goes out as an empty one. */
int64_t writeString(int socket, const char* text);
/** Null arrays go out as empty ones. */
int64_t writeIntArray(int socket, const ArrayRecord* array);
int64_t writeByteArray(int socket, const ArrayRecord* array);
int64_t writeStringArray(int socket, const ArrayRecord* array);

uint8_t readByte(int socket);
int32_t readInt(int socket);
int64_t readLong(int socket);
float readFloat(int socket);
/** A new string (empty for the length 0); null for a length above MAX_STRING or below 0, or without memory.
 */
char* readString(int socket);
