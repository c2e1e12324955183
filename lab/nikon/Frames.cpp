#include "lab/nikon/Frames.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "lab/Jpeg.h"

namespace lab::nikon {

namespace {

constexpr unsigned kFrameWidth = 640;
constexpr unsigned kFrameHeight = 424;
constexpr unsigned kPercent = 100;

// Where the header has what. All numbers of two bytes are big-endian.
constexpr size_t kImageSizeAt = 0;
constexpr size_t kWholeSizeAt = 4;
constexpr size_t kAreaAt = 8;
constexpr size_t kZoomSizeAt = 16;
constexpr size_t kZoomPositionAt = 20;
constexpr size_t kFocusDrivingAt = 30;
constexpr size_t kCountdownAt = 38;

void put(Bytes& bytes, size_t at, unsigned value) {
    bytes[at] = static_cast<uint8_t>(value >> 8);
    bytes[at + 1] = static_cast<uint8_t>(value);
}

void putPair(Bytes& bytes, size_t at, unsigned first, unsigned second) {
    put(bytes, at, first);
    put(bytes, at + 2, second);
}

/** The header, and room for the picture behind it. */
Bytes ownHeader(View view, unsigned width, unsigned height, size_t jpegAt, size_t jpegBytes) {
    Bytes bytes(jpegAt + jpegBytes);
    uint16_t zoomWidth = 0;
    uint16_t zoomHeight = 0;
    clampZoom(view, width, height, zoomWidth, zoomHeight);
    putPair(bytes, kImageSizeAt, width, height);
    putPair(bytes, kWholeSizeAt, view.wholeWidth, view.wholeHeight);
    // The focus area: a quarter of the sides, in the middle.
    putPair(bytes, kAreaAt, view.wholeWidth / 4U, view.wholeHeight / 4U);
    putPair(bytes, kAreaAt + 4, view.wholeWidth / 2U, view.wholeHeight / 2U);
    putPair(bytes, kZoomSizeAt, zoomWidth, zoomHeight);
    putPair(bytes, kZoomPositionAt, static_cast<unsigned>(view.zoomX), static_cast<unsigned>(view.zoomY));
    bytes[kFocusDrivingAt] = view.focusDriving;
    put(bytes, kCountdownAt, view.countdown);
    return bytes;
}

bool readAll(const Content& content, Bytes& out, size_t from) {
    const std::unique_ptr<ContentReader> reader = content.open();
    if (!reader) return false;
    out.resize(from + reader->size());
    return reader->read(0, out.data() + from, reader->size());
}

unsigned wordAt(const Bytes& bytes, size_t at) {
    return static_cast<unsigned>(bytes[at] << 8 | bytes[at + 1]);
}

/** The sides of a JPEG picture, from its frame header; ITU-T T.81, B.2.2. */
bool sidesOf(const Bytes& jpeg, size_t from, unsigned& width, unsigned& height) {
    constexpr uint8_t kMarker = 0xFF;
    constexpr uint8_t kFirstFrame = 0xC0;
    constexpr uint8_t kLastFrame = 0xCF;
    constexpr std::array<uint8_t, 3> kNoFrames = {0xC4, 0xC8, 0xCC};
    size_t at = from + 2;
    while (at + 9 <= jpeg.size() && jpeg[at] == kMarker) {
        const uint8_t marker = jpeg[at + 1];
        const bool isFrame = marker >= kFirstFrame && marker <= kLastFrame &&
                             std::find(kNoFrames.begin(), kNoFrames.end(), marker) == kNoFrames.end();
        if (isFrame) {
            height = wordAt(jpeg, at + 5);
            width = wordAt(jpeg, at + 7);
            return true;
        }
        at += 2 + wordAt(jpeg, at + 2);
    }
    return false;
}

FrameRef ownFrame(const LiveFrame& frame, View view) {
    Bytes bytes;
    if (!readAll(*frame.jpeg, bytes, frame.jpegAt)) return nullptr;
    unsigned width = kFrameWidth;
    unsigned height = kFrameHeight;
    sidesOf(bytes, frame.jpegAt, width, height);
    if (frame.countdown) view.countdown = *frame.countdown;
    const Bytes header = ownHeader(view, width, height, frame.jpegAt, 0);
    std::copy(header.begin(), header.end(), bytes.begin());
    return std::make_shared<const Bytes>(std::move(bytes));
}

/** The bytes that were given, and a picture of what is left. */
FrameRef givenFrame(const LiveFrame& frame, uint64_t seed) {
    constexpr unsigned kPhases = 32;
    Bytes bytes(frame.length);
    if (frame.length > frame.jpegAt) {
        const Bytes jpeg =
            jpegOfSize(frame.length - frame.jpegAt, static_cast<unsigned>(seed % kPhases), seed);
        std::copy(jpeg.begin(), jpeg.end(), bytes.begin() + static_cast<ptrdiff_t>(frame.jpegAt));
    }
    std::copy(frame.header.begin(), frame.header.end(), bytes.begin());
    return std::make_shared<const Bytes>(std::move(bytes));
}

}  // namespace

void clampZoom(View& view, unsigned imageWidth, unsigned imageHeight, uint16_t& width, uint16_t& height) {
    width = view.wholeWidth;
    height = view.wholeHeight;
    if (view.zoomPercent > 0) {
        width = static_cast<uint16_t>(std::min<unsigned>(width, imageWidth * kPercent / view.zoomPercent));
        height = static_cast<uint16_t>(std::min<unsigned>(height, imageHeight * kPercent / view.zoomPercent));
    }
    view.zoomX = std::clamp(view.zoomX, 0, view.wholeWidth - width);
    view.zoomY = std::clamp(view.zoomY, 0, view.wholeHeight - height);
}

FrameRef rampFrame(const View& view, unsigned phase) {
    constexpr size_t kJpegAt = 64;
    const Bytes jpeg = rampJpeg(kFrameWidth, kFrameHeight, phase);
    Bytes bytes = ownHeader(view, kFrameWidth, kFrameHeight, kJpegAt, jpeg.size());
    std::copy(jpeg.begin(), jpeg.end(), bytes.begin() + kJpegAt);
    return std::make_shared<const Bytes>(std::move(bytes));
}

FrameRef describedFrame(const LiveFrame& frame, const View& view, uint64_t seed) {
    if (frame.jpeg) return ownFrame(frame, view);
    if (!frame.whole) return givenFrame(frame, seed);
    Bytes bytes;
    if (!readAll(*frame.whole, bytes, 0)) return nullptr;
    return std::make_shared<const Bytes>(std::move(bytes));
}

}  // namespace lab::nikon
