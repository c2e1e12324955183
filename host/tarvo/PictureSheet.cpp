#include "host/tarvo/PictureSheet.h"

#include <algorithm>

namespace tarvo {
namespace {

constexpr uint32_t kWhite = 0xFFFFFFFF;

size_t placeOf(const VideoFrame& picture, int32_t x, int32_t y) {
    return static_cast<size_t>(y) * static_cast<size_t>(picture.width) + static_cast<size_t>(x);
}

/** The span of one side that is shown: where it begins in the picture and in its place, and how long it is.
 */
struct Span {
    int32_t from;
    int32_t to;
    int32_t length;
};

Span middleOf(int32_t picture, int32_t place) {
    return {std::max(0, (picture - place) / 2), std::max(0, (place - picture) / 2), std::min(picture, place)};
}

void paste(const VideoFrame& picture, VideoFrame& sheet, int32_t left, int32_t width) {
    const auto columns = middleOf(picture.width, width);
    const auto rows = middleOf(picture.height, sheet.height);
    for (int32_t row = 0; row < rows.length; ++row) {
        std::copy_n(&picture.pixels[placeOf(picture, columns.from, rows.from + row)], columns.length,
                    &sheet.pixels[placeOf(sheet, left + columns.to, rows.to + row)]);
    }
}

}  // namespace

VideoFrame sideBySide(std::span<const VideoFrame> pictures, int32_t width, int32_t height, int32_t gap) {
    VideoFrame sheet;
    if (pictures.empty()) return sheet;
    const auto count = static_cast<int32_t>(pictures.size());
    sheet.width = count * width + (count - 1) * gap;
    sheet.height = height;
    sheet.pixels.assign(static_cast<size_t>(sheet.width) * static_cast<size_t>(height), kWhite);
    int32_t left = 0;
    for (const auto& picture : pictures) {
        if (!picture.isEmpty()) paste(picture, sheet, left, width);
        left += width + gap;
    }
    return sheet;
}

}  // namespace tarvo
