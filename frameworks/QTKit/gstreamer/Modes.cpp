#include "frameworks/QTKit/gstreamer/Modes.h"

#include <gst/video/video.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <tuple>

namespace capture {

namespace {

/** A picture that moves smoothly is worth more than a larger one that does not. */
constexpr double kSmoothFps = 24;
constexpr double kBearableFps = 10;
/** What is faster only takes time from the rest of the machine. */
constexpr double kMostFps = 60;
/** A device's own size is its largest up to about 1080p. Above, decoding and conversion take a processor
 *  core for themselves, so that is left to hosts that ask for it. */
constexpr double kNativeWidth = 1920;
constexpr double kNativeHeight = 1200;
/** Pixels that are not there weigh more than pixels that are thrown away. */
constexpr double kEnlarging = 2;

bool hasElement(const char* name) {
    const Held<GstElementFactory> factory(gst_element_factory_find(name));
    return factory != nullptr;
}

const char* firstOf(std::initializer_list<const char*> names) {
    const auto* const found = std::find_if(names.begin(), names.end(), hasElement);
    return found == names.end() ? nullptr : *found;
}

Range rangeOf(const GValue* value) {
    if (value == nullptr) return {};
    if (G_VALUE_HOLDS_INT(value)) return {g_value_get_int(value), g_value_get_int(value), 1};
    if (GST_VALUE_HOLDS_INT_RANGE(value)) {
        return {gst_value_get_int_range_min(value), gst_value_get_int_range_max(value),
                std::max(gst_value_get_int_range_step(value), 1)};
    }
    return {};
}

double fpsOf(const GValue* value) {
    const int denominator = gst_value_get_fraction_denominator(value);
    return denominator == 0 ? 0 : static_cast<double>(gst_value_get_fraction_numerator(value)) / denominator;
}

/** Lists are taken apart: `use` gets each of their values. */
template <class Use>
void forEachValue(const GValue* value, Use use) {
    if (value == nullptr || !GST_VALUE_HOLDS_LIST(value)) return use(value);
    for (guint at = 0; at < gst_value_list_get_size(value); ++at) {
        use(gst_value_list_get_value(value, at));
    }
}

void addRates(const GstStructure* structure, Mode& mode) {
    mode.leastFps = kMostFps;
    const auto add = [&](const GValue* value) {
        if (value == nullptr) return;
        const bool isRange = GST_VALUE_HOLDS_FRACTION_RANGE(value);
        if (!isRange && !GST_VALUE_HOLDS_FRACTION(value)) return;
        const GValue* const least = isRange ? gst_value_get_fraction_range_min(value) : value;
        const GValue* const most = isRange ? gst_value_get_fraction_range_max(value) : value;
        mode.leastFps = std::min(mode.leastFps, fpsOf(least));
        mode.mostFps = std::max(mode.mostFps, fpsOf(most));
    };
    forEachValue(gst_structure_get_value(structure, "framerate"), add);
    // A device that does not tell its rate is taken for an ordinary one.
    if (mode.mostFps <= 0) mode.mostFps = mode.leastFps = kSmoothFps;
}

bool isPlainMemory(const GstCapsFeatures* features) {
    if (features == nullptr) return true;
    return gst_caps_features_is_equal(features, GST_CAPS_FEATURES_MEMORY_SYSTEM_MEMORY) != FALSE;
}

bool isConvertible(const char* format) {
    const GstVideoFormat known =
        format == nullptr ? GST_VIDEO_FORMAT_UNKNOWN : gst_video_format_from_string(format);
    return known != GST_VIDEO_FORMAT_UNKNOWN && known != GST_VIDEO_FORMAT_ENCODED;
}

std::optional<Coding> codingOf(const GstStructure* structure) {
    if (gst_structure_has_name(structure, "video/x-raw")) return Coding::Raw;
    if (gst_structure_has_name(structure, "image/jpeg")) return Coding::Jpeg;
    if (gst_structure_has_name(structure, "video/x-h264")) return Coding::H264;
    return std::nullopt;
}

void addSizes(const GstStructure* structure, const Mode& common, std::vector<Mode>& modes) {
    forEachValue(gst_structure_get_value(structure, "width"), [&](const GValue* width) {
        forEachValue(gst_structure_get_value(structure, "height"), [&](const GValue* height) {
            Mode mode = common;
            mode.width = rangeOf(width);
            mode.height = rangeOf(height);
            if (mode.width.most > 0 && mode.height.most > 0) modes.push_back(mode);
        });
    });
}

void addModes(const GstStructure* structure, std::vector<Mode>& modes) {
    const std::optional<Coding> coding = codingOf(structure);
    if (!coding || (*coding != Coding::Raw && decoderFor(*coding) == nullptr)) return;
    Mode mode;
    mode.coding = *coding;
    addRates(structure, mode);
    if (*coding != Coding::Raw) return addSizes(structure, mode, modes);
    forEachValue(gst_structure_get_value(structure, "format"), [&](const GValue* value) {
        const char* const format =
            value != nullptr && G_VALUE_HOLDS_STRING(value) ? g_value_get_string(value) : nullptr;
        if (!isConvertible(format)) return;
        mode.format = format;
        addSizes(structure, mode, modes);
    });
}

/** The value of the range that is nearest. */
uint32_t nearest(const Range& range, double wanted) {
    const double inside = std::clamp<double>(wanted, std::max(range.least, 1), range.most);
    const double steps = std::floor((inside - range.least) / range.step);
    return static_cast<uint32_t>(range.least + steps * range.step);
}

double missed(uint32_t side, uint32_t wanted) {
    const double ratio = std::log(static_cast<double>(side) / wanted);
    return ratio < 0 ? -ratio * kEnlarging : ratio;
}

int slowness(double fps) {
    if (fps >= kSmoothFps) return 0;
    return fps >= kBearableFps ? 1 : 2;
}

/** How much work it is to make BGRA of it. */
int effort(const Mode& mode) {
    if (mode.coding == Coding::H264) return 3;
    if (mode.coding == Coding::Jpeg) return 2;
    return mode.format == "BGRA" || mode.format == "BGRx" ? 0 : 1;
}

/** Of two, the lesser is the better one. */
using Rank = std::tuple<double, int, double, int, double>;

struct Candidate {
    Rank rank;
    Choice choice;
};

Candidate candidateOf(const Mode& mode, std::optional<FrameSize> wanted) {
    const double width = wanted ? wanted->width : kNativeWidth;
    const double height = wanted ? wanted->height : kNativeHeight;
    const FrameSize size{nearest(mode.width, width), nearest(mode.height, height)};
    const double area = static_cast<double>(size.width) * size.height;
    const double nativeArea = kNativeWidth * kNativeHeight;
    double miss = 0;
    double smallness = 0;
    if (wanted) {
        miss = missed(size.width, wanted->width) + missed(size.height, wanted->height);
    } else {
        smallness = area <= nativeArea ? nativeArea - area : area;
    }
    const double fps = std::min(mode.mostFps, kMostFps);
    const bool isTooFast = mode.mostFps > kMostFps && mode.leastFps <= kMostFps;
    return {{miss, slowness(fps), smallness, effort(mode), -fps},
            {mode.coding, mode.format, size, isTooFast}};
}

}  // namespace

const char* decoderFor(Coding coding) {
    static const char* const jpeg = firstOf({"jpegdec", "avdec_mjpeg"});
    static const char* const h264 = firstOf({"avdec_h264", "openh264dec"});
    if (coding == Coding::Raw) return nullptr;
    return coding == Coding::Jpeg ? jpeg : h264;
}

std::vector<Mode> modesOf(const GstCaps* caps) {
    std::vector<Mode> modes;
    if (caps == nullptr || gst_caps_is_any(caps)) return modes;
    for (guint at = 0; at < gst_caps_get_size(caps); ++at) {
        if (!isPlainMemory(gst_caps_get_features(caps, at))) continue;
        addModes(gst_caps_get_structure(caps, at), modes);
    }
    return modes;
}

std::vector<Choice> choicesFor(const std::vector<Mode>& modes, std::optional<FrameSize> wanted) {
    std::vector<Candidate> candidates;
    candidates.reserve(modes.size());
    for (const Mode& mode : modes)
        candidates.push_back(candidateOf(mode, wanted));
    const auto best =
        std::min_element(candidates.begin(), candidates.end(),
                         [](const Candidate& a, const Candidate& b) { return a.rank < b.rank; });
    if (best == candidates.end()) return {};
    return {best->choice, {best->choice.coding, {}, std::nullopt, false}};
}

Held<GstCaps> capsOf(const Choice& choice) {
    constexpr std::array<const char*, 3> kNames = {"video/x-raw", "image/jpeg", "video/x-h264"};
    Held<GstCaps> caps(gst_caps_new_empty_simple(kNames.at(static_cast<size_t>(choice.coding))));
    if (!choice.format.empty()) {
        gst_caps_set_simple(caps.get(), "format", G_TYPE_STRING, choice.format.c_str(), nullptr);
    }
    if (choice.size) {
        gst_caps_set_simple(caps.get(), "width", G_TYPE_INT, static_cast<int>(choice.size->width), "height",
                            G_TYPE_INT, static_cast<int>(choice.size->height), nullptr);
    }
    // No single rate: a device may refuse one that it offered, and takes the highest by itself.
    if (choice.isTooFast) {
        gst_caps_set_simple(caps.get(), "framerate", GST_TYPE_FRACTION_RANGE, 0, 1,
                            static_cast<int>(kMostFps), 1, nullptr);
    }
    return caps;
}

}  // namespace capture
