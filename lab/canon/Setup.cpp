#include "lab/canon/Setup.h"

#include <algorithm>
#include <cctype>
#include <nlohmann/json.hpp>
#include <set>

namespace lab::canon {

namespace {

constexpr size_t kMostOptions = 128;  // of the library's description record
constexpr int64_t kMostJpegBytes = int64_t{64} << 20;

bool isJpegName(std::string name) {
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return name.ends_with(".jpg") || name.ends_with(".thm");
}

/** The same on every machine (FNV-1a): the same name and size yield the same bytes wherever a test runs. */
uint64_t seedOf(std::string_view name) {
    uint64_t hash = 0xCBF29CE484222325U;
    for (const char c : name) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
    }
    return hash;
}

ContentRef madeUpFile(const std::string& name, int64_t bytes) {
    return madeUpContent(static_cast<uint64_t>(bytes), seedOf(name),
                         isJpegName(name) && bytes <= kMostJpegBytes);
}

/** One place for the two ways to say what a file holds. */
ContentRef readContent(Fields& fields, const Context& context, const std::string& name) {
    const Json* file = fields.any("file");
    int64_t bytes = 0;
    const bool hasBytes = fields.number("bytes", bytes, {0, kMostMadeUpBytes});
    if ((file != nullptr) == hasBytes) {
        fields.report().wrong(fields.path(), "needs either \"file\" or \"bytes\"");
        return nullptr;
    }
    if (hasBytes) return madeUpFile(name, bytes);
    std::string path;
    if (!readPath(*file, fields.pathOf("file"), context, fields.report(), path)) return nullptr;
    return fileContent(std::move(path));
}

ShotFile readShotFile(const Json& json, const std::string& path, const Context& context, Report& report) {
    Fields fields(json, path, report);
    ShotFile file;
    fields.require("name");
    if (fields.text("name", file.name)) {
        const bool isName = !file.name.empty() && file.name.size() < kMostText &&
                            file.name.find('/') == std::string::npos &&
                            file.name.find('\0') == std::string::npos;
        if (!isName) fields.wrong("name", "expected a file's name of at most 255 bytes, without a folder");
    }
    file.content = readContent(fields, context, file.name);
    fields.finish();
    return file;
}

void readShots(Fields& fields, const Context& context, BodySetup& out) {
    const Json* shots = fields.list("shots");
    if (shots == nullptr) return;
    for (size_t i = 0; i < shots->size(); ++i) {
        const std::string path = itemPath(fields.pathOf("shots"), i);
        const Json& files = (*shots)[i];
        if (!files.is_array()) {
            fields.report().wrong(path, "expected a list of files, found " + kindOf(files));
            return;
        }
        std::vector<ShotFile> shot;
        for (size_t j = 0; j < files.size(); ++j) {
            shot.push_back(readShotFile(files[j], itemPath(path, j), context, fields.report()));
        }
        out.shots.push_back(std::move(shot));
    }
}

void readLiveView(Fields& fields, const Context& context, BodySetup& out) {
    const Json* frames = fields.list("liveview");
    if (frames == nullptr) return;
    for (size_t i = 0; i < frames->size(); ++i) {
        const std::string path = itemPath(fields.pathOf("liveview"), i);
        LiveFrame frame;
        if ((*frames)[i].is_object()) {
            Fields frameFields((*frames)[i], path, fields.report());
            int64_t bytes = 0;
            frameFields.require("bytes");
            frameFields.number("bytes", bytes, {0, kMostJpegBytes});
            frameFields.finish();
            frame.madeUpBytes = static_cast<uint64_t>(bytes);
        } else {
            std::string file;
            if (!readPath((*frames)[i], path, context, fields.report(), file)) return;
            frame.content = fileContent(std::move(file));
        }
        out.liveView.push_back(std::move(frame));
    }
}

void readType(Fields& fields, Property& property) {
    int64_t type = 0;
    if (!fields.number("type", type)) return;
    if (!isKnownType(type)) {
        fields.wrong("type", "no such data type");
        return;
    }
    if (property.value.type == type) return;
    // The value's bytes mean nothing in another type.
    property.value = {static_cast<uint32_t>(type),
                      std::vector<uint8_t>(sizeOfType(static_cast<uint32_t>(type)))};
    if (property.value.type == kText) property.value = textValue("");
}

void readValue(Fields& fields, Property& property) {
    const Json* value = fields.any("value");
    if (value == nullptr) return;
    const std::string problem = valueFromJson(property.value.type, *value, property.value);
    if (!problem.empty()) fields.wrong("value", problem);
}

void readProperty(const Json& json, const std::string& path, uint32_t id, Report& report,
                  PropertyTable& table) {
    Fields fields(json, path, report);
    const auto known = table.find(id);
    Property property = known == table.end() ? Property{} : known->second;
    property.isReadOnly = false;
    if (known == table.end()) {
        const bool isText = json.is_object() && json.contains("value") && json["value"].is_string() &&
                            !json["value"].get_ref<const std::string&>().starts_with("0x");
        property.value = isText ? textValue("") : numberValue(kUInt32, 0);
    }
    bool isRemoved = false;
    fields.flag("remove", isRemoved);
    readType(fields, property);
    readValue(fields, property);
    if (std::vector<int32_t> options; readOptions(fields, options)) property.options = std::move(options);
    fields.flag("readOnly", property.isReadOnly);
    fields.finish();
    if (isRemoved) {
        table.erase(id);
    } else {
        table[id] = std::move(property);
    }
}

void readProperties(Fields& fields, PropertyTable& table) {
    const Json* properties = fields.object("properties");
    if (properties == nullptr) return;
    std::set<uint32_t> seen;
    for (const auto& item : properties->items()) {
        const std::string path = fieldPath(fields.pathOf("properties"), item.key());
        int64_t id = 0;
        if (!keyNumber(item.key(), id) || id < 0 || id > UINT32_MAX) {
            fields.report().wrong(path, "expected a property number like \"0x406\"");
            return;
        }
        if (!seen.insert(static_cast<uint32_t>(id)).second) {
            fields.report().wrong(path, "the same property stands here twice");
            return;
        }
        readProperty(item.value(), path, static_cast<uint32_t>(id), fields.report(), table);
    }
}

}  // namespace

bool readOptions(Fields& fields, std::vector<int32_t>& out) {
    std::vector<int64_t> options;
    if (!fields.numbers("options", options, {INT32_MIN, UINT32_MAX})) return false;
    if (options.size() > kMostOptions) {
        fields.wrong("options", "at most 128 are possible, found " + std::to_string(options.size()));
        return false;
    }
    out.clear();
    for (const int64_t option : options) {
        out.push_back(static_cast<int32_t>(static_cast<uint32_t>(option)));
    }
    return true;
}

void readBodySetup(Fields& fields, const Context& context, BodySetup& out) {
    constexpr int64_t kMostRate = int64_t{1} << 40;
    constexpr double kDaySeconds = 86400;
    std::string firmware = "1.0.0";
    fields.flag("legacy", out.isLegacy);
    out.description = out.isLegacy ? "Canon EOS 20D" : "Canon EOS 5D Mark II";
    fields.text("model", out.description);
    if (out.description.size() >= kMostText) fields.wrong("model", "at most 255 bytes are possible");
    fields.text("firmware", firmware);
    out.model = modelOf(out.description, out.isLegacy);
    out.properties = defaultProperties(out.model, out.isLegacy, out.description, firmware);
    readProperties(fields, out.properties);
    out.photos = context.photos;
    if (std::vector<std::string> own; fields.any("photos") != nullptr) {
        readPaths(fields, "photos", context, own);
        out.photos = std::move(own);
    }
    readShots(fields, context, out);
    readLiveView(fields, context, out);
    fields.number("shutterLagMs", out.shutterLagMs, {0, kMostMilliseconds});
    fields.number("transferBytesPerSecond", out.transferBytesPerSecond, {0, kMostRate});
    fields.number("settleMs", out.settleMs, {0, kMostMilliseconds});
    fields.real("autoPowerOffSeconds", out.autoPowerOffSeconds, 0, kDaySeconds);
    fields.flag("acceptAnyValue", out.acceptsAnyValue);
}

}  // namespace lab::canon
