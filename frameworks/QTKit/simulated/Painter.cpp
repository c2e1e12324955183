#include "frameworks/QTKit/simulated/Painter.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "frameworks/QTKit/simulated/Pictures.h"
#include "lab/Jpeg.h"

namespace capture {

namespace {

constexpr size_t kPixelBytes = 4;
constexpr uint32_t kShades = 256;
constexpr uint8_t kPatternAlpha = 128;

/** The four bytes as they lie in memory, whatever the machine's order. */
constexpr uint32_t pixelOf(uint8_t blue, uint8_t green, uint8_t red, uint8_t alpha) {
    return std::bit_cast<uint32_t>(std::array<uint8_t, kPixelBytes>{blue, green, red, alpha});
}

/** Blue runs along the row, green down the column, red through the frames. */
class PatternPainter final : public Painter {
public:
    explicit PatternPainter(const Format& format) : row_(format.size.width) {
        blues_.reserve(format.size.width + kShades);
        for (uint32_t x = 0; x < format.size.width + kShades; ++x) {
            blues_.push_back(pixelOf(static_cast<uint8_t>(x % kShades), 0, 0, 0));
        }
    }

    bool paint(uint64_t number, Frame& frame) override {
        const auto shift = static_cast<uint32_t>(number % kShades);
        const Format& format = frame.format();
        for (uint32_t y = 0; y < format.size.height; ++y) {
            const auto green = static_cast<uint8_t>((y + shift) % kShades);
            const uint32_t rest = pixelOf(0, green, static_cast<uint8_t>(shift), kPatternAlpha);
            for (size_t x = 0; x < row_.size(); ++x) {
                row_[x] = blues_[x + shift] | rest;
            }
            // Rows begin anywhere when the device has an odd stride.
            std::memcpy(frame.pixels() + y * format.bytesPerRow, row_.data(), row_.size() * kPixelBytes);
        }
        return true;
    }

private:
    std::vector<uint32_t> blues_;
    std::vector<uint32_t> row_;
};

class PicturePainter final : public Painter {
public:
    explicit PicturePainter(std::vector<std::string> paths)
        : paths_(std::move(paths)), pictures_(paths_.size()) {}

    bool paint(uint64_t number, Frame& frame) override {
        const size_t index = static_cast<size_t>(number % paths_.size());
        const Format& format = frame.format();
        if (!pictures_[index]) pictures_[index] = pictureOf(paths_[index], format.size);
        const std::vector<uint8_t>& pixels = pictures_[index]->pixels;
        if (pixels.empty()) return false;
        const size_t rowBytes = format.size.width * kPixelBytes;
        for (size_t y = 0; y < format.size.height; ++y) {
            std::memcpy(frame.pixels() + y * format.bytesPerRow, pixels.data() + y * rowBytes, rowBytes);
        }
        return true;
    }

private:
    std::vector<std::string> paths_;
    std::vector<PictureRef> pictures_;
};

/** Rows begin anywhere in the first half of the table; the second one is as long as the longest row. */
constexpr size_t kOffsets = 65536;

}  // namespace

std::unique_ptr<Painter> makePainter(const lab::video::CameraSetup& setup, const Format& format) {
    if (setup.frames.empty()) return std::make_unique<PatternPainter>(format);
    return std::make_unique<PicturePainter>(setup.frames);
}

Noise::Noise(int amplitude) {
    constexpr uint64_t kSeed = 1;
    if (amplitude == 0) return;
    std::vector<uint8_t> bytes(2 * kOffsets);
    lab::fillNoise(kSeed, 0, bytes.data(), bytes.size());
    offsets_.reserve(bytes.size());
    for (const uint8_t byte : bytes) {
        const bool isAlpha = offsets_.size() % kPixelBytes == kPixelBytes - 1;
        // Both sides are equally likely, so that an average tends to the picture.
        const int centred = isAlpha ? 0 : 2 * byte - 255;
        const int rounding = centred < 0 ? -127 : 127;
        offsets_.push_back(static_cast<int16_t>((centred * amplitude + rounding) / 255));
    }
}

void Noise::add(uint64_t number, Frame& frame) const {
    if (offsets_.empty()) return;
    const Format& format = frame.format();
    const size_t rowBytes = format.size.width * kPixelBytes;
    for (uint32_t y = 0; y < format.size.height; ++y) {
        std::array<uint8_t, 2> place{};
        lab::fillNoise(number, uint64_t{y} * place.size(), place.data(), place.size());
        const size_t start = (place[0] | size_t{place[1]} << 8U) / kPixelBytes * kPixelBytes;
        const int16_t* offsets = offsets_.data() + start;
        uint8_t* row = frame.pixels() + y * format.bytesPerRow;
        for (size_t i = 0; i < rowBytes; ++i) {
            row[i] = static_cast<uint8_t>(std::clamp(row[i] + offsets[i], 0, 255));
        }
    }
}

}  // namespace capture
