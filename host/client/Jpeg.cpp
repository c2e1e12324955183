#include "host/client/Jpeg.h"

namespace tarvo {
namespace {

constexpr uint8_t kPrefix = 0xFF;
constexpr uint8_t kStartOfImage = 0xD8;
constexpr uint8_t kEndOfImage = 0xD9;
constexpr uint8_t kStartOfScan = 0xDA;

bool standsAlone(uint8_t marker) {
    return marker == 0x01 || (marker >= 0xD0 && marker <= 0xD8);
}

// The next marker in entropy-coded data: a prefix that is neither data (followed by 0) nor a restart.
size_t skipScan(std::span<const uint8_t> bytes, size_t at) {
    while (at + 1 < bytes.size()) {
        const uint8_t next = bytes[at + 1];
        const bool isData = next == 0x00 || (next >= 0xD0 && next <= 0xD7);
        if (bytes[at] == kPrefix && !isData && next != kPrefix) return at;
        ++at;
    }
    return bytes.size();
}

}  // namespace

JpegSize jpegSize(std::span<const uint8_t> bytes) {
    if (bytes.size() < 4 || bytes[0] != kPrefix || bytes[1] != kStartOfImage) return {};
    size_t at = 2;
    while (at + 8 < bytes.size() && bytes[at] == kPrefix) {
        const uint8_t marker = bytes[at + 1];
        if (marker == kPrefix) {  // a fill byte
            ++at;
            continue;
        }
        // A frame header is any of the sixteen but those of tables, extensions and arithmetic conditioning.
        const bool isFrame =
            marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
        const auto number = [&](size_t offset) { return bytes[at + offset] << 8 | bytes[at + offset + 1]; };
        if (isFrame) return {number(7), number(5)};
        if (marker == kStartOfScan || number(2) < 2) return {};
        at += 2 + static_cast<size_t>(number(2));
    }
    return {};
}

size_t jpegLength(std::span<const uint8_t> bytes) {
    if (bytes.size() < 4 || bytes[0] != kPrefix || bytes[1] != kStartOfImage) return 0;
    size_t at = 2;
    while (at + 1 < bytes.size()) {
        if (bytes[at] != kPrefix) return 0;
        const uint8_t marker = bytes[at + 1];
        if (marker == kPrefix) {  // a fill byte
            ++at;
            continue;
        }
        at += 2;
        if (marker == kEndOfImage) return at;
        if (standsAlone(marker)) continue;
        if (at + 1 >= bytes.size()) return 0;
        const size_t length = static_cast<size_t>(bytes[at]) << 8 | bytes[at + 1];
        if (length < 2) return 0;
        at += length;
        if (marker == kStartOfScan) at = skipScan(bytes, at);
    }
    return 0;
}

}  // namespace tarvo
