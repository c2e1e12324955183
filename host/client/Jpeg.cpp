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
