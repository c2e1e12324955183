#include "TarvoRemote/wire.h"

#include <sys/socket.h>

#include <bit>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "TarvoRemote/modules.h"
#include "TarvoRemote/rdebug.h"

namespace {

template <class Unsigned>
int64_t sendLittleEndian(int socket, Unsigned value) {
    uint8_t bytes[sizeof(Unsigned)];
    for (uint8_t& byte : bytes) {
        byte = static_cast<uint8_t>(value & 0xFF);
        value = static_cast<Unsigned>(value >> 8);
    }
    return send(socket, bytes, sizeof bytes, 0);
}

/** Until all has arrived, the peer closes or an error occurs; what has arrived stays.
 *
 * Waiting for all is not enough: a receive that has some of it comes back with that when the process is
 * stopped and continued, by a debugger or with the whole machine, and the rest would be taken for the next
 * value.
 */
void receiveAll(int socket, void* destination, size_t size) {
    auto* bytes = static_cast<uint8_t*>(destination);
    while (size > 0) {
        const ssize_t count = recv(socket, bytes, size, MSG_WAITALL);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return;
        bytes += count;
        size -= static_cast<size_t>(count);
    }
}

template <class Unsigned>
Unsigned receiveLittleEndian(int socket) {
    uint8_t bytes[sizeof(Unsigned)] = {};
    receiveAll(socket, bytes, sizeof bytes);
    Unsigned value = 0;
    for (size_t i = sizeof bytes; i-- > 0;) {
        value = static_cast<Unsigned>(value << 8 | bytes[i]);
    }
    return value;
}

int64_t writeCounted(int socket, const ArrayRecord* array, size_t elementSize) {
    if (array == nullptr) return writeInt(socket, 0);
    const int64_t sent = writeInt(socket, array->count);
    if (array->count <= 0) return sent;
    return send(socket, array->elements, static_cast<size_t>(array->count) * elementSize, 0);
}

/** Truncates toward zero; what a 64-bit integer cannot hold becomes its least value, as on the first hosts.
 */
int64_t truncated(float value) {
    constexpr float kLimit = 9223372036854775808.0F;  // 2^63
    if (!(value >= -kLimit && value < kLimit)) return std::numeric_limits<int64_t>::min();
    return static_cast<int64_t>(value);
}

}  // namespace

int64_t writeByte(int socket, uint8_t value) {
    return send(socket, &value, sizeof value, 0);
}

int64_t writeInt(int socket, int32_t value) {
    return sendLittleEndian(socket, static_cast<uint32_t>(value));
}

int64_t writeLong(int socket, int64_t value) {
    return sendLittleEndian(socket, static_cast<uint64_t>(value));
}

int64_t writeFloat(int socket, float value) {
    return writeLong(socket, truncated(value * 1000000.0F));
}

int64_t writeString(int socket, const char* text) {
    if (text == nullptr) return writeInt(socket, 0);
    const size_t length = std::strlen(text);
    const int64_t sent = writeInt(socket, static_cast<int32_t>(length));
    if (length == 0) return sent;
    return send(socket, text, length, 0);
}

int64_t writeIntArray(int socket, const ArrayRecord* array) {
    if (std::endian::native == std::endian::little || array == nullptr) {
        return writeCounted(socket, array, sizeof(int32_t));
    }
    int64_t sent = writeInt(socket, array->count);
    for (int32_t i = 0; i < array->count; ++i) {
        sent = writeInt(socket, static_cast<const int32_t*>(array->elements)[i]);
    }
    return sent;
}

int64_t writeByteArray(int socket, const ArrayRecord* array) {
    return writeCounted(socket, array, 1);
}

int64_t writeStringArray(int socket, const ArrayRecord* array) {
    if (array == nullptr) return writeInt(socket, 0);
    int64_t sent = writeInt(socket, array->count);
    for (int32_t i = 0; i < array->count; ++i) {
        sent = writeString(socket, static_cast<char* const*>(array->elements)[i]);
    }
    return sent;
}

uint8_t readByte(int socket) {
    return receiveLittleEndian<uint8_t>(socket);
}

int32_t readInt(int socket) {
    return static_cast<int32_t>(receiveLittleEndian<uint32_t>(socket));
}

int64_t readLong(int socket) {
    return static_cast<int64_t>(receiveLittleEndian<uint64_t>(socket));
}

float readFloat(int socket) {
    return static_cast<float>(readLong(socket)) / 1000000.0F;
}

char* readString(int socket) {
    const int32_t length = readInt(socket);
    // A negative length is refused in the same way: no host sends one, and it must not become a size.
    if (length > MAX_STRING || length < 0) {
        rdebug(MODULE_CORE, "readString %d > MAX_STRING\n", length);
        return nullptr;
    }
    auto* text = static_cast<char*>(std::calloc(static_cast<size_t>(length) + 1, 1));
    if (text == nullptr) {
        rdebug(MODULE_CORE, "readString malloc(%d) failed\n", length + 1);
        return nullptr;
    }
    // Zeroed before, so that a short read leaves a shorter, terminated string.
    receiveAll(socket, text, static_cast<size_t>(length));
    return text;
}
