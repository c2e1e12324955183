#include "tests/vm/webcam_pictures.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace vm {

namespace {

constexpr int kStripHeight = 24;
constexpr int kStripCells = 40;
constexpr int kNumberBits = 32;
constexpr int kCellHeight = 48;
constexpr int kColumns = 8;
/** Pixels beside an edge that are not looked at. */
constexpr int kEdge = 4;
constexpr int kTolerance = 6;

struct Colour {
    int red;
    int green;
    int blue;
};

constexpr Colour kWhite{235, 235, 235};
constexpr Colour kBlack{20, 20, 20};
constexpr std::array<Colour, 8> kPalette = {{{200, 40, 40},
                                             {40, 200, 40},
                                             {40, 40, 200},
                                             {200, 200, 40},
                                             {200, 40, 200},
                                             {40, 200, 200},
                                             {220, 220, 220},
                                             {30, 30, 30}}};

struct Box {
    int left;
    int top;
    int right;
    int bottom;
};

class Picture {
public:
    Picture(const e2e::Words& words, Size size) : words_(words), size_(size) {}

    bool hasItsSize() const {
        return size_.width > 0 && size_.height > kStripHeight &&
               words_.size() == static_cast<size_t>(size_.width) * static_cast<size_t>(size_.height);
    }
    uint32_t at(int x, int y) const {
        return words_[static_cast<size_t>(y) * static_cast<size_t>(size_.width) + static_cast<size_t>(x)];
    }
    Box stripCell(int cell) const {
        const int width = size_.width / kStripCells;
        return {cell * width, 0, (cell + 1) * width, kStripHeight};
    }
    bool isWhite(int cell) const {
        const Box box = stripCell(cell);
        return (at((box.left + box.right) / 2, kStripHeight / 2) & 0xFF) > 128;
    }
    /** The inside of the box is of the colour. */
    ::testing::AssertionResult isFilled(const Box& box, const Colour& colour) const;

private:
    const e2e::Words& words_;
    Size size_;
};

bool isNear(uint32_t word, const Colour& colour) {
    const auto off = [](uint32_t found, int expected) {
        return std::abs(static_cast<int>(found & 0xFF) - expected) > kTolerance;
    };
    return word >> 24 == 0xFF && !off(word >> 16, colour.red) && !off(word >> 8, colour.green) &&
           !off(word, colour.blue);
}

::testing::AssertionResult Picture::isFilled(const Box& box, const Colour& colour) const {
    for (int y = box.top + kEdge; y < box.bottom - kEdge; ++y) {
        for (int x = box.left + kEdge; x < box.right - kEdge; ++x) {
            if (isNear(at(x, y), colour)) continue;
            return ::testing::AssertionFailure()
                   << "at " << x << ", " << y << " is " << std::hex << at(x, y) << std::dec << ", not "
                   << colour.red << ", " << colour.green << ", " << colour.blue;
        }
    }
    return ::testing::AssertionSuccess();
}

}  // namespace

std::optional<uint32_t> pictureNumber(const e2e::Words& words, Size size) {
    const Picture picture(words, size);
    if (!picture.hasItsSize()) return std::nullopt;
    for (int cell = kNumberBits; cell < kStripCells; ++cell) {
        if (picture.isWhite(cell) != (cell % 2 == 0)) return std::nullopt;
    }
    uint32_t number = 0;
    for (int bit = 0; bit < kNumberBits; ++bit) {
        number |= static_cast<uint32_t>(picture.isWhite(bit)) << bit;
    }
    return number;
}

::testing::AssertionResult isPicture(const e2e::Words& words, Size size) {
    const std::optional<uint32_t> number = pictureNumber(words, size);
    if (!number) {
        return ::testing::AssertionFailure()
               << words.size() << " words are no picture of " << size.width << " x " << size.height;
    }
    const Picture picture(words, size);
    for (int cell = 0; cell < kStripCells; ++cell) {
        const bool isWhite = picture.isWhite(cell);
        if (const auto result = picture.isFilled(picture.stripCell(cell), isWhite ? kWhite : kBlack);
            !result) {
            return result;
        }
    }
    for (int top = kStripHeight, band = 0; top < size.height; top += kCellHeight, ++band) {
        for (int column = 0; column < kColumns; ++column) {
            const uint32_t index = static_cast<uint32_t>(column + band) + 2 * (*number % 4);
            const Box box{column * size.width / kColumns, top, (column + 1) * size.width / kColumns,
                          std::min(top + kCellHeight, size.height)};
            if (auto result = picture.isFilled(box, kPalette[index % kPalette.size()]); !result) {
                return result << " (picture " << *number << ")";
            }
        }
    }
    return ::testing::AssertionSuccess();
}

}  // namespace vm
