#include "host/client/Wire.h"

#include <array>
#include <cmath>

#include "host/client/protocol.h"

namespace tarvo {
namespace {

constexpr float kFloatScale = 1000000.0F;

template <size_t Size>
Result<uint64_t> receiveLittleEndian(int fd, const Patience& patience) {
    std::array<uint8_t, Size> bytes{};
    if (auto error = receiveAll(fd, bytes, patience)) return {std::move(error), 0};
    uint64_t value = 0;
    for (size_t i = 0; i < Size; ++i)
        value |= static_cast<uint64_t>(bytes[i]) << (8 * i);
    return {{}, value};
}

Result<int32_t> receiveCount(int fd, int32_t elementSize, const char* what, const Patience& patience) {
    auto count = receiveInt(fd, patience);
    if (!count.ok()) return count;
    if (count.value < 0 || count.value > kMostBytes / elementSize) {
        return {failed(Failure::wrongAnswer,
                       "a count of " + std::to_string(count.value) + " cannot be that of " + what),
                0};
    }
    return count;
}

}  // namespace

void Arguments::addLittleEndian(uint64_t value, int size) {
    if (error_) return;
    for (int i = 0; i < size; ++i)
        bytes_.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

Arguments& Arguments::addByte(uint8_t value) {
    addLittleEndian(value, 1);
    return *this;
}

Arguments& Arguments::addInt(int32_t value) {
    addLittleEndian(static_cast<uint32_t>(value), 4);
    return *this;
}

Arguments& Arguments::addLong(int64_t value) {
    addLittleEndian(static_cast<uint64_t>(value), 8);
    return *this;
}

Arguments& Arguments::addFloat(float value) {
    // Single precision and truncation, as the other end does it: only then does 0.7 travel as 700000.
    const float scaled = value * kFloatScale;
    if (!std::isfinite(scaled) || std::fabs(scaled) >= 9.2e18F) {
        if (!error_) error_ = failed(Failure::badArgument, "the number is too large to be sent, or is none");
        return *this;
    }
    addLittleEndian(static_cast<uint64_t>(static_cast<int64_t>(scaled)), 8);
    return *this;
}

Arguments& Arguments::addString(std::string_view text) {
    if (error_) return *this;
    if (text.size() > kLongestString) {
        error_ = failed(Failure::badArgument, "a text of " + std::to_string(text.size()) +
                                                  " bytes is too long; at most " +
                                                  std::to_string(kLongestString) + " can be sent");
        return *this;
    }
    if (text.find('\0') != std::string_view::npos) {
        error_ = failed(Failure::badArgument, "a text with a NUL byte in it cannot be sent");
        return *this;
    }
    addInt(static_cast<int32_t>(text.size()));
    bytes_.insert(bytes_.end(), text.begin(), text.end());
    return *this;
}

Result<uint8_t> receiveByte(int fd, const Patience& patience) {
    auto raw = receiveLittleEndian<1>(fd, patience);
    return {std::move(raw.error), static_cast<uint8_t>(raw.value)};
}

Result<int32_t> receiveInt(int fd, const Patience& patience) {
    auto raw = receiveLittleEndian<4>(fd, patience);
    return {std::move(raw.error), static_cast<int32_t>(static_cast<uint32_t>(raw.value))};
}

Result<int64_t> receiveLong(int fd, const Patience& patience) {
    auto raw = receiveLittleEndian<8>(fd, patience);
    return {std::move(raw.error), static_cast<int64_t>(raw.value)};
}

Result<float> receiveFloat(int fd, const Patience& patience) {
    auto scaled = receiveLong(fd, patience);
    return {std::move(scaled.error), static_cast<float>(scaled.value) / kFloatScale};
}

Result<std::string> receiveString(int fd, const Patience& patience) {
    auto count = receiveCount(fd, 1, "a text", patience);
    if (!count.ok()) return {std::move(count.error), {}};
    std::string text(static_cast<size_t>(count.value), '\0');
    auto error = receiveAll(fd, {reinterpret_cast<uint8_t*>(text.data()), text.size()}, patience);
    return {std::move(error), std::move(text)};
}

Result<std::vector<int32_t>> receiveInts(int fd, const Patience& patience) {
    auto count = receiveCount(fd, 4, "an array of ints", patience);
    if (!count.ok()) return {std::move(count.error), {}};
    std::vector<uint8_t> raw(static_cast<size_t>(count.value) * 4);
    if (auto error = receiveAll(fd, raw, patience)) return {std::move(error), {}};
    std::vector<int32_t> values(static_cast<size_t>(count.value));
    for (size_t i = 0; i < values.size(); ++i) {
        uint32_t value = 0;
        for (size_t b = 0; b < 4; ++b)
            value |= static_cast<uint32_t>(raw[4 * i + b]) << (8 * b);
        values[i] = static_cast<int32_t>(value);
    }
    return {{}, std::move(values)};
}

Result<std::vector<uint8_t>> receiveBytes(int fd, const Patience& patience) {
    auto count = receiveCount(fd, 1, "an array of bytes", patience);
    if (!count.ok()) return {std::move(count.error), {}};
    std::vector<uint8_t> bytes(static_cast<size_t>(count.value));
    auto error = receiveAll(fd, bytes, patience);
    return {std::move(error), std::move(bytes)};
}

Result<std::vector<std::string>> receiveStrings(int fd, const Patience& patience) {
    auto count = receiveCount(fd, 4, "an array of texts", patience);
    if (!count.ok()) return {std::move(count.error), {}};
    std::vector<std::string> texts;
    for (int32_t i = 0; i < count.value; ++i) {
        auto text = receiveString(fd, patience);
        if (!text.ok()) return {std::move(text.error), {}};
        texts.push_back(std::move(text.value));
    }
    return {{}, std::move(texts)};
}

}  // namespace tarvo
