#include "lab/video/Setup.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace lab::video {

namespace {

constexpr int64_t kMostPixels = 16384;
constexpr int64_t kPixelBytes = 4;

bool readMedium(const Json& json, Medium& out) {
    for (const Medium medium : {Medium::video, Medium::muxed, Medium::sound}) {
        if (json != mediumName(medium)) continue;
        out = medium;
        return true;
    }
    return false;
}

/** A list; one medium may stand alone. */
void readMedia(Fields& fields, CameraSetup& out) {
    const Json* media = fields.any("media");
    if (media == nullptr) return;
    const Json list = media->is_string() ? Json::array({*media}) : *media;
    if (!list.is_array()) {
        fields.wrong("media", "expected a list, found " + kindOf(*media));
        return;
    }
    out.media.clear();
    for (size_t i = 0; i < list.size(); ++i) {
        Medium medium{};
        if (!readMedium(list[i], medium)) {
            fields.report().wrong(itemPath(fields.pathOf("media"), i),
                                  "expected \"video\", \"muxed\" or \"sound\", found " + kindOf(list[i]));
            return;
        }
        out.media.push_back(medium);
    }
}

void readFrames(Fields& fields, const Context& context, CameraSetup& out) {
    const Json* frames = fields.any("frames");
    if (frames == nullptr || *frames == "pattern") return;
    if (!frames->is_array()) {
        fields.wrong("frames", "expected \"pattern\" or a list of paths, found " + kindOf(*frames));
        return;
    }
    readPaths(fields, "frames", context, out.frames);
}

void readSides(Fields& fields, Size& out) {
    int64_t width = out.width;
    int64_t height = out.height;
    fields.number("width", width, {0, kMostPixels});
    fields.number("height", height, {0, kMostPixels});
    out = {static_cast<uint32_t>(width), static_cast<uint32_t>(height)};
}

/** [width, height], or an object with both. */
Size readSize(const Json& json, const std::string& path, Report& report) {
    Size size;
    if (json.is_object()) {
        Fields fields(json, path, report);
        fields.require("width");
        fields.require("height");
        readSides(fields, size);
        fields.finish();
        return size;
    }
    int64_t width = 0;
    int64_t height = 0;
    const bool isPair = json.is_array() && json.size() == 2 && toNumber(json[0], width) &&
                        toNumber(json[1], height) && std::min(width, height) >= 1 &&
                        std::max(width, height) <= kMostPixels;
    if (!isPair) report.wrong(path, "expected [width, height], found " + kindOf(json));
    return {static_cast<uint32_t>(width), static_cast<uint32_t>(height)};
}

void readSizes(Fields& fields, CameraSetup& out) {
    const Json* sizes = fields.list("sizes");
    if (sizes == nullptr) return;
    for (size_t i = 0; i < sizes->size(); ++i) {
        out.sizes.push_back(readSize((*sizes)[i], itemPath(fields.pathOf("sizes"), i), fields.report()));
    }
}

void readRows(Fields& fields, CameraSetup& out) {
    constexpr int64_t kMostSurplus = 65536;
    const int64_t pixels = int64_t{out.size.width} * kPixelBytes;
    int64_t bytesPerRow = pixels;
    fields.number("bytesPerRow", bytesPerRow, {pixels, pixels + kMostSurplus});
    out.rowSurplus = static_cast<uint32_t>(bytesPerRow - pixels);
}

/** So many hexadecimal digits of a unique id, from `at` on; 0 when it is not of the bus's form. */
uint32_t digitsOf(const std::string& uniqueId, size_t at, size_t count) {
    constexpr size_t kWholeLength = 18;  // 0x, location 8, vendor 4, product 4
    int64_t number = 0;
    const bool isWhole = uniqueId.size() == kWholeLength && uniqueId.starts_with("0x") &&
                         toNumber("0x" + uniqueId.substr(at, count), number);
    return isWhole ? static_cast<uint32_t>(number) : 0;
}

void readUsb(Fields& fields, CameraSetup& out) {
    const Json* uvc = fields.object("uvc");
    if (uvc == nullptr) return;
    Fields uvcFields(*uvc, fields.pathOf("uvc"), fields.report());
    // Both libraries show the same device, so what one of them says is the other one's default.
    int64_t location = digitsOf(out.uniqueId, 2, 8);
    int64_t vendor = digitsOf(out.uniqueId, 10, 4);
    int64_t product = digitsOf(out.uniqueId, 14, 4);
    int64_t interface = 0;
    uvcFields.number("location", location, {0, UINT32_MAX});
    uvcFields.number("vendor", vendor, {0, UINT16_MAX});
    uvcFields.number("product", product, {0, UINT16_MAX});
    uvcFields.number("interface", interface, {0, UINT8_MAX});
    out.usb = {static_cast<uint32_t>(location), static_cast<uint16_t>(vendor), static_cast<uint16_t>(product),
               static_cast<uint8_t>(interface), readControls(uvcFields)};
    uvcFields.finish();
}

std::string uniqueIdOf(const CameraSetup& setup) {
    if (!setup.usb) return setup.id;
    char text[32];
    std::snprintf(text, sizeof text, "0x%08x%04x%04x", static_cast<unsigned>(setup.usb->location),
                  static_cast<unsigned>(setup.usb->vendor), static_cast<unsigned>(setup.usb->product));
    return text;
}

}  // namespace

const char* mediumName(Medium medium) {
    switch (medium) {
        case Medium::video:
            return "video";
        case Medium::muxed:
            return "muxed";
        case Medium::sound:
            return "sound";
    }
    return "";
}

void readCameraSetup(Fields& fields, const Context& context, CameraSetup& out) {
    constexpr double kMostFps = 1000;
    int64_t noise = 0;
    out.name = out.id;
    fields.text("name", out.name);
    const bool hasUniqueId = fields.text("uniqueId", out.uniqueId);
    readMedia(fields, out);
    readSides(fields, out.size);
    fields.real("fps", out.fps, 0, kMostFps);
    readRows(fields, out);
    readFrames(fields, context, out);
    readSizes(fields, out);
    fields.number("noise", noise, {0, UINT8_MAX});
    out.noise = static_cast<int>(noise);
    fields.number("startMs", out.startMs, {0, kMostMilliseconds});
    fields.number("stopMs", out.stopMs, {0, kMostMilliseconds});
    fields.flag("nullEntry", out.isNullEntry);
    readUsb(fields, out);
    if (!hasUniqueId) out.uniqueId = uniqueIdOf(out);
}

}  // namespace lab::video
