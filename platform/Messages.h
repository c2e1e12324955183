/* Messages.h: messages between a program and its companion (Companion.h): plain values, one after another,
 * one message a packet.
 *
 * A socket of packets keeps messages apart by itself, so there is no stream to fall out of step with: one
 * that is cut off, too long or made of other values is seen as such when it is read.
 *
 * Thread: a socket belongs to one thread at a time; the rest, any.
 * Owns:   a socket its descriptor. A reader borrows the bytes that it reads.
 * Units:  numbers in the machine's own order and width: both ends come from one build and run on one machine.
 * Errors: false. What a reader has given out before it failed is not to be used.
 */
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "platform/Export.h"

template <class T>
concept MessageNumber = std::is_arithmetic_v<T> && !std::is_same_v<T, bool>;

class TARVO_PLATFORM_API MessageWriter {
public:
    explicit MessageWriter(uint32_t kind) { add(kind); }

    /** Appends the values in this order. Always true, so that one list of fields serves writer and reader. */
    template <class... Values>
    bool operator()(const Values&... values) {
        (add(values), ...);
        return true;
    }
    std::span<const uint8_t> bytes() const { return bytes_; }

private:
    template <MessageNumber Number>
    void add(Number value) {
        append(&value, sizeof value);
    }
    /// Nothing but a flag itself: any pointer could become one, too.
    template <std::same_as<bool> Flag>
    void add(Flag value) {
        add(static_cast<uint8_t>(value ? 1 : 0));
    }
    void add(std::string_view text);
    void add(const std::vector<uint8_t>& data);
    void append(const void* data, size_t size);

    std::vector<uint8_t> bytes_;
};

class TARVO_PLATFORM_API MessageReader {
public:
    explicit MessageReader(std::span<const uint8_t> bytes) : left_(bytes) {}

    /** The first thing to be read; false for a message that is too short to have one. */
    bool readKind(uint32_t& kind) { return take(kind); }
    /** Reads values in the order in which they were written; false when there are not so many, or others. */
    template <class... Values>
    bool operator()(Values&... values) {
        return (take(values) && ...);
    }
    /** Nothing is left over. */
    bool isAtEnd() const { return left_.empty(); }

private:
    template <MessageNumber Number>
    bool take(Number& value) {
        return copy(&value, sizeof value);
    }
    bool take(bool& value);
    bool take(std::string& text);
    bool take(std::vector<uint8_t>& data);
    bool copy(void* out, size_t size);
    /** The bytes behind a length; false when there are fewer. */
    bool takeCounted(std::span<const uint8_t>& out);

    std::span<const uint8_t> left_;
};

class TARVO_PLATFORM_API MessageSocket {
public:
    static constexpr size_t kLongestMessage = size_t{64} << 10;

    /** Takes the descriptor over; -1 for none. */
    explicit MessageSocket(int descriptor = -1) : descriptor_(descriptor) {}
    ~MessageSocket() { close(); }
    MessageSocket(MessageSocket&& other) noexcept;
    MessageSocket& operator=(MessageSocket&& other) noexcept;

    int descriptor() const { return descriptor_; }
    bool isOpen() const { return descriptor_ >= 0; }
    void close();

    /** False, and the reason in errno: EMSGSIZE: too long; EPIPE: nobody reads any more; EAGAIN: only on a
     * socket that doesn't block, the other end lets too many lie. */
    bool send(const MessageWriter& message) const;

    enum class Arrival { message, nothing, ended };
    /** The next message. `nothing`: only on a socket that doesn't block. `ended`: the other end is closed, or
     * what it sent is empty or too long to be a message. */
    Arrival receive(std::vector<uint8_t>& out) const;

private:
    int descriptor_;
};
