#include "Nikon/LiveViewHeader.h"

#include <iterator>

namespace nikon {

namespace {

constexpr size_t kLongestWithoutHeader = 512;
constexpr size_t kShortHeader = 64;
constexpr size_t kMiddleHeader = 128;
constexpr size_t kLongHeader = 384;

/** The header is big-endian whatever the machine is. */
uint16_t wordAt(std::span<const uint8_t> frame, size_t offset) {
    return static_cast<uint16_t>(frame[offset] << 8 | frame[offset + 1]);
}

bool jpegStartsAt(std::span<const uint8_t> frame, size_t offset) {
    return wordAt(frame, offset) == 0xFFD8;
}

/** Cameras put the height's high byte only; without it the picture's usual shape decides. */
uint16_t zoomHeight(std::span<const uint8_t> frame, uint16_t zoomWidth) {
    const uint8_t byte = frame[18];
    if (byte == 0) return static_cast<uint16_t>(zoomWidth * 2 / 3);
    return static_cast<uint16_t>(byte << 8 | byte);
}

}  // namespace

std::optional<LiveViewHeader> readLiveViewHeader(std::span<const uint8_t> frame) {
    if (frame.size() <= kLongestWithoutHeader) return std::nullopt;
    LiveViewHeader header;
    header.imageWidth = wordAt(frame, 0);
    header.imageHeight = wordAt(frame, 2);
    header.wholeWidth = wordAt(frame, 4);
    header.wholeHeight = wordAt(frame, 6);
    for (size_t i = 0; i < std::size(header.further); ++i) {
        header.further[i] = wordAt(frame, 8 + 2 * i);
    }
    header.zoomWidth = wordAt(frame, 16);
    header.zoomHeight = zoomHeight(frame, header.zoomWidth);
    header.zoomX = wordAt(frame, 20);
    header.zoomY = wordAt(frame, 22);
    header.focusDriving = frame[30];
    header.countdown = wordAt(frame, 38);
    return header;
}

size_t liveViewHeaderLength(std::span<const uint8_t> frame) {
    if (frame.size() <= kLongestWithoutHeader) return kShortHeader;
    for (const size_t length : {kShortHeader, kMiddleHeader}) {
        if (jpegStartsAt(frame, length)) return length;
    }
    return kLongHeader;
}

std::span<const uint8_t> jpegOf(std::span<const uint8_t> frame) {
    const size_t length = liveViewHeaderLength(frame);
    return length < frame.size() ? frame.subspan(length) : std::span<const uint8_t>{};
}

}  // namespace nikon
