/* Wire.h: values as they travel between a host and the helper.
 *
 * Thread: a builder belongs to its caller.
 * Units:  little-endian whatever the machine's order; see protocol.h.
 * Errors: a builder keeps its first error and adds nothing after it; look at error() before sending.
 */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/client/Result.h"
#include "host/client/Socket.h"

namespace tarvo {

/** The arguments of one call, in order. */
class Arguments {
public:
    Arguments& addByte(uint8_t value);
    Arguments& addInt(int32_t value);
    Arguments& addLong(int64_t value);
    /** Six decimal places at most; what does not fit 64 bits when scaled is an error. */
    Arguments& addFloat(float value);
    /** At most kLongestString bytes and no NUL: the helper's strings end at one. */
    Arguments& addString(std::string_view text);

    const std::vector<uint8_t>& bytes() const { return bytes_; }
    const Error& error() const { return error_; }

private:
    void addLittleEndian(uint64_t value, int size);

    std::vector<uint8_t> bytes_;
    Error error_;
};

Result<uint8_t> receiveByte(int fd, const Patience& patience);
Result<int32_t> receiveInt(int fd, const Patience& patience);
Result<int64_t> receiveLong(int fd, const Patience& patience);
Result<float> receiveFloat(int fd, const Patience& patience);
// A count below zero or of more bytes than kMostBytes is no count: both ends are out of step (wrongAnswer).
constexpr int32_t kMostBytes = 256 * 1024 * 1024;
Result<std::string> receiveString(int fd, const Patience& patience);
Result<std::vector<int32_t>> receiveInts(int fd, const Patience& patience);
Result<std::vector<uint8_t>> receiveBytes(int fd, const Patience& patience);
Result<std::vector<std::string>> receiveStrings(int fd, const Patience& patience);

}  // namespace tarvo
