#include "frameworks/QTKit/simulated/Feed.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace capture {

namespace {

using lab::video::CameraSetup;
using lab::video::Size;

constexpr double kMostSide = 16384;
constexpr double kMostPixels = 1 << 25;
constexpr size_t kPixelBytes = 4;

bool isPossible(double width, double height) {
    // Written so that a side that is no number fails.
    return width >= 1 && height >= 1 && width <= kMostSide && height <= kMostSide &&
           width * height <= kMostPixels;
}

/** One side alone brings the other one along in proportion. */
Size askedSize(const CameraSetup& setup, const PixelBufferAttributes& attributes) {
    if (!attributes.width && !attributes.height) return setup.size;
    const double shape = static_cast<double>(setup.size.width) / std::max(setup.size.height, 1U);
    const double width = attributes.width ? *attributes.width : *attributes.height * shape;
    const double height = attributes.height ? *attributes.height : *attributes.width / shape;
    if (!isPossible(width, height)) return setup.size;
    return {static_cast<uint32_t>(std::lround(width)), static_cast<uint32_t>(std::lround(height))};
}

double distance(Size a, Size b) {
    return std::hypot(static_cast<double>(a.width) - b.width, static_cast<double>(a.height) - b.height);
}

}  // namespace

Format formatFor(const CameraSetup& setup, const PixelBufferAttributes& attributes) {
    Size size = askedSize(setup, attributes);
    if (!setup.sizes.empty() && size != setup.size) {
        size = *std::min_element(setup.sizes.begin(), setup.sizes.end(),
                                 [&](Size a, Size b) { return distance(a, size) < distance(b, size); });
    }
    return {size, size.width * kPixelBytes + setup.rowSurplus};
}

Feed::Feed(Output& output, const CameraSetup& setup, const PixelBufferAttributes& attributes)
    : output_(Ref<Output>::share(&output)),
      pool_(formatFor(setup, attributes), setup.id),
      painter_(makePainter(setup, formatFor(setup, attributes))),
      noise_(setup.noise) {}

Frame* Feed::paint(uint64_t number) {
    Frame* frame = pool_.take();
    if (frame == nullptr) return nullptr;
    try {
        if (!painter_->paint(number, *frame)) return nullptr;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    noise_.add(number, *frame);
    return frame;
}

}  // namespace capture
