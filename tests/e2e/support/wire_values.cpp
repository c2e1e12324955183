#include "tests/e2e/support/wire_values.h"

#include <cmath>
#include <utility>

namespace e2e {

namespace {

void append(Bytes& bytes, uint64_t value, size_t size) {
    for (size_t i = 0; i < size; ++i) {
        bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
    }
}

}  // namespace

Message& Message::byte(int value) {
    bytes_.push_back(static_cast<uint8_t>(value));
    return *this;
}

Message& Message::int32(int64_t value) {
    append(bytes_, static_cast<uint64_t>(value), 4);
    return *this;
}

Message& Message::int64(int64_t value) {
    append(bytes_, static_cast<uint64_t>(value), 8);
    return *this;
}

Message& Message::fraction(double value) {
    return int64(std::llround(value * 1000000.0));
}

Message& Message::text(std::string_view value) {
    int32(static_cast<int64_t>(value.size()));
    return raw(value);
}

Message& Message::raw(const Bytes& value) {
    bytes_.insert(bytes_.end(), value.begin(), value.end());
    return *this;
}

Message& Message::raw(std::string_view value) {
    bytes_.insert(bytes_.end(), value.begin(), value.end());
    return *this;
}

uint64_t Reader::integer(size_t size) {
    if (bytes_.size() - at_ < size) {
        ok_ = false;
        at_ = bytes_.size();
        return 0;
    }
    uint64_t value = 0;
    for (size_t i = 0; i < size; ++i) {
        value |= static_cast<uint64_t>(bytes_[at_ + i]) << (8 * i);
    }
    at_ += size;
    return value;
}

uint8_t Reader::byte() {
    return static_cast<uint8_t>(integer(1));
}

int32_t Reader::int32() {
    return static_cast<int32_t>(integer(4));
}

int64_t Reader::int64() {
    return static_cast<int64_t>(integer(8));
}

std::string Reader::text() {
    const int32_t length = int32();
    if (length < 0 || bytes_.size() - at_ < static_cast<size_t>(length)) {
        ok_ = false;
        return {};
    }
    const auto from = bytes_.begin() + static_cast<std::ptrdiff_t>(at_);
    at_ += static_cast<size_t>(length);
    return {from, from + length};
}

std::vector<int32_t> Reader::ints() {
    std::vector<int32_t> values;
    const int32_t count = int32();
    for (int32_t i = 0; i < count && ok_; ++i) {
        values.push_back(int32());
    }
    return values;
}

int32_t int32At(const Bytes& bytes, size_t offset) {
    return Reader({bytes.begin() + static_cast<std::ptrdiff_t>(offset), bytes.end()}).int32();
}

int64_t int64At(const Bytes& bytes, size_t offset) {
    return Reader({bytes.begin() + static_cast<std::ptrdiff_t>(offset), bytes.end()}).int64();
}

std::string hex(const Bytes& bytes) {
    static constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    for (const uint8_t byte : bytes) {
        if (!text.empty()) text += ' ';
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

}  // namespace e2e
