/* wire_values.h: the bytes of a call, put together and taken apart without the helper's own code.
 *
 * The encoding is written out a second time on purpose: a test that used the helper's writers could not
 * notice that they are wrong.
 *
 * Thread: any; plain values.
 * Units:  fractions travel as millionths.
 * Follows: the wire reference in docs/protocol.md; every integer is little-endian.
 */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace e2e {

using Bytes = std::vector<uint8_t>;

/** Collects the values of one message, in the order in which they are named. */
class Message {
public:
    Message& byte(int value);
    Message& int32(int64_t value);
    Message& int64(int64_t value);
    /** Eight bytes: the value in millionths. */
    Message& fraction(double value);
    Message& text(std::string_view value);
    /** Only the length of a text: for lengths that lie. */
    Message& length(int32_t value) { return int32(value); }
    Message& raw(const Bytes& value);
    Message& raw(std::string_view value);

    /** A copy: messages are often temporaries. */
    Bytes bytes() const { return bytes_; }
    operator Bytes() const { return bytes_; }

private:
    Bytes bytes_;
};

/** Takes values off the front of received bytes; what is missing reads as zero and clears ok(). */
class Reader {
public:
    explicit Reader(Bytes bytes) : bytes_(std::move(bytes)) {}
    uint8_t byte();
    int32_t int32();
    int64_t int64();
    std::string text();
    std::vector<int32_t> ints();
    bool ok() const { return ok_; }

private:
    uint64_t integer(size_t size);

    Bytes bytes_;
    size_t at_ = 0;
    bool ok_ = true;
};

int32_t int32At(const Bytes& bytes, size_t offset);
int64_t int64At(const Bytes& bytes, size_t offset);
/** "0a 01 ff", for failure messages. */
std::string hex(const Bytes& bytes);

}  // namespace e2e
