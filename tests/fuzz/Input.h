/* Input.h: the bytes of one run, taken from the front. Numbers are little-endian; past the end all is 0. */
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

class Input {
public:
    Input(const uint8_t* bytes, size_t size) : bytes_(bytes), size_(size) {}

    bool isEmpty() const { return size_ == 0; }

    uint8_t byte() { return static_cast<uint8_t>(number(1)); }
    uint16_t half() { return static_cast<uint16_t>(number(2)); }
    uint32_t word() { return number(4); }

    /** Small most of the time, anything at all now and then. */
    uint32_t count() {
        const uint8_t first = byte();
        return first < 0xF0 ? first : word();
    }

    /** Copies what there is, and leaves the rest of the target alone. */
    void fill(void* target, size_t size) {
        const size_t length = std::min(size, size_);
        if (length > 0) std::memcpy(target, bytes_, length);
        skip(length);
    }

private:
    uint32_t number(size_t size) {
        uint32_t value = 0;
        for (size_t i = 0; i < size && i < size_; ++i) {
            value |= uint32_t{bytes_[i]} << (8 * i);
        }
        skip(std::min(size, size_));
        return value;
    }

    void skip(size_t length) {
        bytes_ += length;
        size_ -= length;
    }

    const uint8_t* bytes_;
    size_t size_;
};
