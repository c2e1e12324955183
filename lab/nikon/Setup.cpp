#include "lab/nikon/Setup.h"

#include <nlohmann/json.hpp>

namespace lab::nikon {

namespace {

constexpr int64_t kMostRate = int64_t{1} << 40;
constexpr int64_t kMostFrameBytes = int64_t{256} << 20;
constexpr int64_t kMostCountdown = UINT16_MAX;
constexpr int64_t kMostMadeUpJpeg = int64_t{64} << 20;

void readUnsigned(Fields& fields, std::string_view name, uint32_t& out, int64_t lowest = 0) {
    int64_t number = 0;
    if (fields.number(name, number, {lowest, UINT32_MAX})) out = static_cast<uint32_t>(number);
}

/** The same bytes wherever and whenever a scenario runs; the place among the shots tells items apart. */
ContentRef madeUp(const ShotItem& item, int64_t bytes, uint64_t seed) {
    return madeUpContent(static_cast<uint64_t>(bytes), seed,
                         item.dataType == kJpeg && bytes <= kMostMadeUpJpeg);
}

ShotItem readItem(const Json& json, const std::string& path, const Context& context, Report& report,
                  uint64_t seed) {
    Fields fields(json, path, report);
    ShotItem item;
    readUnsigned(fields, "dataType", item.dataType);
    const Json* file = fields.any("file");
    int64_t bytes = 0;
    const bool hasBytes = fields.number("bytes", bytes, {0, kMostMadeUpBytes});
    readUnsigned(fields, "blocks", item.blocks, 1);
    fields.flag("remove", item.isRemoved);
    readUnsigned(fields, "dual", item.dual);
    readUnsigned(fields, "flags", item.flags);
    fields.finish();
    if (!report.isFine()) return item;
    if ((file != nullptr) == hasBytes) {
        report.wrong(path, "needs either \"file\" or \"bytes\"");
        return item;
    }
    if (hasBytes) {
        item.content = madeUp(item, bytes, seed);
        return item;
    }
    std::string resolved;
    if (readPath(*file, fields.pathOf("file"), context, report, resolved)) {
        item.content = fileContent(std::move(resolved));
    }
    return item;
}

void readShots(Fields& fields, const Context& context, BodySetup& out) {
    constexpr uint64_t kShotSeeds = 1000;
    const Json* shots = fields.list("shots");
    if (shots == nullptr) return;
    out.hasShots = true;
    for (size_t i = 0; i < shots->size(); ++i) {
        const std::string path = itemPath(fields.pathOf("shots"), i);
        const Json& items = (*shots)[i];
        if (!items.is_array()) {
            fields.report().wrong(path, "expected a list of items, found " + kindOf(items));
            return;
        }
        std::vector<ShotItem> shot;
        for (size_t j = 0; j < items.size(); ++j) {
            shot.push_back(
                readItem(items[j], itemPath(path, j), context, fields.report(), i * kShotSeeds + j));
        }
        out.shots.push_back(std::move(shot));
    }
}

/** A picture that the camera lays its own header before. */
void readOwnFrame(Fields& fields, const Context& context, LiveFrame& out) {
    std::string path;
    if (readPath(*fields.any("jpeg"), fields.pathOf("jpeg"), context, fields.report(), path)) {
        out.jpeg = fileContent(std::move(path));
    }
    int64_t at = out.jpegAt;
    if (fields.number("jpegAt", at) && at != 64 && at != 128 && at != 384) {
        fields.wrong("jpegAt", "expected 64, 128 or 384, found " + std::to_string(at));
    }
    out.jpegAt = static_cast<uint32_t>(at);
    int64_t countdown = 0;
    if (fields.number("countdown", countdown, {0, kMostCountdown})) {
        out.countdown = static_cast<uint16_t>(countdown);
    }
}

void readGivenFrame(Fields& fields, LiveFrame& out) {
    int64_t length = 0;
    int64_t at = out.jpegAt;
    fields.bytes("header", out.header);
    fields.require("length");
    fields.number("length", length, {0, kMostFrameBytes});
    fields.number("jpegAt", at, {0, kMostFrameBytes});
    out.length = static_cast<uint64_t>(length);
    out.jpegAt = static_cast<uint32_t>(at);
    if (out.header.size() > out.length) fields.wrong("header", "is longer than the frame");
}

LiveFrame readFrame(const Json& json, const std::string& path, const Context& context, Report& report) {
    LiveFrame frame;
    if (!json.is_object()) {
        std::string resolved;
        if (readPath(json, path, context, report, resolved)) frame.whole = fileContent(std::move(resolved));
        return frame;
    }
    Fields fields(json, path, report);
    fields.any("jpeg") != nullptr ? readOwnFrame(fields, context, frame) : readGivenFrame(fields, frame);
    fields.finish();
    return frame;
}

void readLiveView(Fields& fields, const Context& context, BodySetup& out) {
    const Json* frames = fields.list("liveview");
    if (frames == nullptr) return;
    for (size_t i = 0; i < frames->size(); ++i) {
        out.liveView.push_back(
            readFrame((*frames)[i], itemPath(fields.pathOf("liveview"), i), context, fields.report()));
    }
}

void readPhotos(Fields& fields, const Context& context, BodySetup& out) {
    out.photos = context.photos;
    if (fields.any("photos") == nullptr) return;
    std::vector<std::string> own;
    readPaths(fields, "photos", context, own);
    out.photos = std::move(own);
}

}  // namespace

void readBodySetup(Fields& fields, const Context& context, BodySetup& out) {
    constexpr int64_t kMostSeconds = UINT16_MAX;
    int64_t moduleType = 0;
    fields.number("moduleType", moduleType, {0, kMostModuleType});
    out.moduleType = static_cast<uint32_t>(moduleType);
    out.model = "Nikon";
    fields.text("name", out.model);
    fields.text("model", out.model);
    // 0 and 65535 say that there is no camera.
    uint32_t cameraType = out.moduleType + 1;
    readUnsigned(fields, "cameraType", cameraType);
    uint32_t sourceId = 0;
    if (fields.any("sourceId") != nullptr) {
        readUnsigned(fields, "sourceId", sourceId);
        out.sourceId = sourceId;
    }
    readUnsigned(fields, "completeAfter", out.completeAfter);
    out.capabilities = sourceTable(cameraType);
    readCapabilities(fields, out.capabilities);
    readShots(fields, context, out);
    readPhotos(fields, context, out);
    readLiveView(fields, context, out);
    fields.number("liveViewSeconds", out.liveViewSeconds, {1, kMostSeconds});
    fields.number("shutterLagMs", out.shutterLagMs, {0, kMostMilliseconds});
    fields.number("transferBytesPerSecond", out.transferBytesPerSecond, {0, kMostRate});
}

void readModuleSetup(Fields& fields, ModuleSetup& out) {
    readCapabilities(fields, out.capabilities);
    readUnsigned(fields, "completeAfter", out.completeAfter);
    fields.finish();
}

}  // namespace lab::nikon
