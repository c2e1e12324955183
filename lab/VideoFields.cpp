#include "lab/VideoFields.h"

#include <array>
#include <nlohmann/json.hpp>

namespace lab {

namespace {

constexpr int64_t kMostPixels = 65535;
constexpr int64_t kMost32Bits = UINT32_MAX;

void checkMedia(Fields& fields) {
    const Json* media = fields.any("media");
    if (media == nullptr) return;
    const std::string place = fields.pathOf("media");
    const Json list = media->is_string() ? Json::array({*media}) : *media;
    if (!list.is_array()) {
        fields.wrong("media", "expected a list, found " + kindOf(*media));
        return;
    }
    for (size_t i = 0; i < list.size(); ++i) {
        const bool isKnown = list[i] == "video" || list[i] == "muxed" || list[i] == "sound";
        if (isKnown) continue;
        fields.report().wrong(itemPath(place, i),
                              "expected \"video\", \"muxed\" or \"sound\", found " + kindOf(list[i]));
        return;
    }
}

void checkFrames(Fields& fields, const Context& context) {
    const Json* frames = fields.any("frames");
    if (frames == nullptr || *frames == "pattern") return;
    if (!frames->is_array()) {
        fields.wrong("frames", "expected \"pattern\" or a list of paths, found " + kindOf(*frames));
        return;
    }
    std::vector<std::string> paths;
    readPaths(fields, "frames", context, paths);
}

/** A size is [width, height] or an object with both. */
void checkSize(const Json& json, const std::string& path, Report& report) {
    int64_t number = 0;
    if (json.is_object()) {
        Fields fields(json, path, report);
        fields.require("width");
        fields.require("height");
        fields.number("width", number, {1, kMostPixels});
        fields.number("height", number, {1, kMostPixels});
        fields.finish();
        return;
    }
    const bool isPair =
        json.is_array() && json.size() == 2 && toNumber(json[0], number) && toNumber(json[1], number);
    if (!isPair) report.wrong(path, "expected [width, height], found " + kindOf(json));
}

void checkControl(const Json& json, const std::string& path, Report& report) {
    constexpr std::array<std::string_view, 3> kNeeded = {"unit", "selector", "size"};
    constexpr std::array<std::string_view, 5> kValues = {"min", "max", "cur", "def", "res"};
    constexpr int64_t kMostByte = 255;
    constexpr int64_t kMostSize = 64;
    Fields fields(json, path, report);
    int64_t number = 0;
    for (const std::string_view name : kNeeded) {
        fields.require(name);
    }
    fields.number("unit", number, {0, kMostByte});
    fields.number("selector", number, {0, kMostByte});
    fields.number("size", number, {1, kMostSize});
    for (const std::string_view name : kValues) {
        fields.number(name, number);
    }
    fields.finish();
}

void checkUvc(Fields& fields) {
    const Json* uvc = fields.object("uvc");
    if (uvc == nullptr) return;
    Fields uvcFields(*uvc, fields.pathOf("uvc"), fields.report());
    int64_t number = 0;
    uvcFields.number("location", number, {0, kMost32Bits});
    uvcFields.number("interface", number, {0, 255});
    if (const Json* controls = uvcFields.list("controls")) {
        for (size_t i = 0; i < controls->size(); ++i) {
            checkControl((*controls)[i], itemPath(uvcFields.pathOf("controls"), i), fields.report());
        }
    }
    uvcFields.finish();
}

}  // namespace

void checkVideoFields(Fields& fields, const Context& context) {
    constexpr double kMostFps = 1000;
    int64_t number = 0;
    double fps = 0;
    std::string text;
    fields.text("name", text);
    fields.text("uniqueId", text);
    checkMedia(fields);
    fields.number("width", number, {1, kMostPixels});
    fields.number("height", number, {1, kMostPixels});
    fields.real("fps", fps, 0, kMostFps);
    fields.number("bytesPerRow", number, {0, kMost32Bits});
    checkFrames(fields, context);
    if (const Json* sizes = fields.list("sizes")) {
        for (size_t i = 0; i < sizes->size(); ++i) {
            checkSize((*sizes)[i], itemPath(fields.pathOf("sizes"), i), fields.report());
        }
    }
    checkUvc(fields);
}

}  // namespace lab
