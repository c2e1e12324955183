#include "lab/Scenario.h"

#include <array>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <set>

#include "lab/Document.h"
#include "lab/canon/Body.h"
#include "lab/nikon/Body.h"
#include "lab/nikon/Sources.h"
#include "lab/video/Camera.h"

namespace lab {

namespace {

constexpr std::string_view kDefaultScenario = R"({
  "devices": [
    { "id": "canon-1", "family": "canon", "model": "Canon EOS 5D Mark II" },
    { "id": "nikon-1", "family": "nikon", "moduleType": 1 },
    { "id": "webcam-1", "family": "video", "name": "Webcam", "media": ["video"], "uniqueId": "0x1a110000046d0990",
      "width": 640, "height": 480, "fps": 30,
      "uvc": { "location": "0x1a110000", "interface": 0, "controls": [
        { "unit": 1, "selector": 2, "size": 1, "min": 1, "max": 8, "cur": 8 },
        { "unit": 1, "selector": 4, "size": 4, "min": 1, "max": 10000, "cur": 156 },
        { "unit": 1, "selector": 6, "size": 2, "min": 0, "max": 255, "cur": 68 },
        { "unit": 1, "selector": 8, "size": 1, "min": 0, "max": 1, "cur": 1 },
        { "unit": 2, "selector": 2, "size": 2, "min": 0, "max": 255, "cur": 128 },
        { "unit": 2, "selector": 3, "size": 2, "min": 0, "max": 255, "cur": 32 },
        { "unit": 2, "selector": 4, "size": 2, "min": 0, "max": 255, "cur": 0 },
        { "unit": 2, "selector": 7, "size": 2, "min": 0, "max": 255, "cur": 32 },
        { "unit": 2, "selector": 8, "size": 2, "min": 0, "max": 255, "cur": 24 },
        { "unit": 2, "selector": 10, "size": 2, "min": 2000, "max": 6500, "cur": 4000 },
        { "unit": 2, "selector": 11, "size": 1, "min": 0, "max": 1, "cur": 1 } ] } },
    { "id": "builtin-1", "family": "video", "name": "Built-in iSight", "media": ["video"],
      "uniqueId": "builtin", "width": 640, "height": 480, "fps": 30 },
    { "id": "microphone-1", "family": "video", "name": "Built-in Microphone", "media": ["sound"],
      "uniqueId": "microphone" }
  ]
})";

struct FamilyRow {
    std::string_view name;
    Family family;
};
constexpr std::array<FamilyRow, 3> kFamilies = {
    {{"canon", Family::canon}, {"nikon", Family::nikon}, {"video", Family::video}}};

bool readFamily(Fields& fields, Family& out) {
    std::string name;
    if (!fields.require("family") || !fields.text("family", name)) return false;
    for (const FamilyRow& row : kFamilies) {
        if (row.name == name) {
            out = row.family;
            return true;
        }
    }
    fields.wrong("family", "expected \"canon\", \"nikon\" or \"video\", found \"" + name + "\"");
    return false;
}

bool readId(Fields& fields, std::string& out) {
    if (!fields.require("id") || !fields.text("id", out)) return false;
    if (!out.empty()) return true;
    fields.wrong("id", "must not be empty");
    return false;
}

DeviceRef makeCanon(Fields& fields, std::string id, const Context& context) {
    canon::BodySetup setup;
    setup.id = std::move(id);
    canon::readBodySetup(fields, context, setup);
    fields.finish();
    if (!fields.report().isFine()) return nullptr;
    return std::make_shared<canon::Body>(std::move(setup));
}

DeviceRef makeVideo(Fields& fields, std::string id, const Context& context) {
    video::CameraSetup setup;
    setup.id = std::move(id);
    video::readCameraSetup(fields, context, setup);
    fields.finish();
    if (!fields.report().isFine()) return nullptr;
    return std::make_shared<video::Camera>(std::move(setup));
}

DeviceRef makeNikon(Fields& fields, std::string id, const Context& context) {
    nikon::BodySetup setup;
    setup.id = std::move(id);
    nikon::readBodySetup(fields, context, setup);
    fields.finish();
    if (!fields.report().isFine()) return nullptr;
    return std::make_shared<nikon::Body>(std::move(setup));
}

DeviceRef makeDevice(Fields& fields, std::string id, Family family, const Context& context) {
    switch (family) {
        case Family::canon:
            return makeCanon(fields, std::move(id), context);
        case Family::nikon:
            return makeNikon(fields, std::move(id), context);
        case Family::video:
            return makeVideo(fields, std::move(id), context);
    }
    return nullptr;
}

void readDevices(Fields& fields, const Context& context, Setup& out) {
    const Json* devices = fields.list("devices");
    if (devices == nullptr) return;
    std::set<std::string> ids;
    for (size_t i = 0; i < devices->size(); ++i) {
        const std::string path = itemPath("devices", i);
        DeviceRef device = parseDevice((*devices)[i], path, context, fields.report());
        if (!device) return;
        if (!ids.insert(device->id()).second) {
            fields.report().wrong(path + ".id", "another device is called \"" + device->id() + "\" already");
            return;
        }
        out.devices.push_back(std::move(device));
    }
    const size_t doubled = nikon::settleSourceIds(out.devices);
    if (doubled == out.devices.size()) return;
    fields.report().wrong(itemPath("devices", doubled) + ".sourceId", "another body of its module has it");
}

void readModule(Fields& fields, Setup& out) {
    const Json* module = fields.object("module");
    if (module == nullptr) return;
    Fields moduleFields(*module, "module", fields.report());
    auto setup = std::make_shared<nikon::ModuleSetup>();
    nikon::readModuleSetup(moduleFields, *setup);
    out.module = std::move(setup);
}

std::string folderOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) return {};
    return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

DeviceRef parseDevice(const Json& json, const std::string& path, const Context& context, Report& report) {
    Fields fields(json, path, report);
    std::string id;
    Family family = Family::canon;
    if (!readId(fields, id) || !readFamily(fields, family)) return nullptr;
    bool isAttached = true;
    fields.flag("attached", isAttached);
    DeviceRef device = makeDevice(fields, std::move(id), family, context);
    if (device && !isAttached) device->detach();
    return device;
}

Dialog parseDialog(Fields& fields) {
    struct AnswerRow {
        std::string_view name;
        Dialog::Answer answer;
    };
    constexpr std::array<AnswerRow, 3> kAnswers = {
        {{"ok", Dialog::Answer::ok}, {"cancel", Dialog::Answer::cancel}, {"error", Dialog::Answer::error}}};
    Dialog dialog;
    std::string answer = "ok";
    fields.text("answer", answer);
    bool isKnown = false;
    for (const AnswerRow& row : kAnswers) {
        if (row.name != answer) continue;
        dialog.answer = row.answer;
        isKnown = true;
    }
    if (!isKnown)
        fields.wrong("answer", "expected \"ok\", \"cancel\" or \"error\", found \"" + answer + "\"");
    const bool hasStatus = fields.number("status", dialog.status, {INT32_MIN, UINT32_MAX});
    if (dialog.answer == Dialog::Answer::error && !hasStatus) fields.require("status");
    fields.bytes("settings", dialog.settings);
    fields.number("delayMs", dialog.delayMs, {0, kMostMilliseconds});
    return dialog;
}

bool parseScenario(const Json& document, const std::string& folder, Setup& out, std::string& problem) {
    Report report;
    Fields fields(document, "", report);
    Setup setup;
    setup.folder = folder;
    Context context{folder, {}};
    readPaths(fields, "photos", context, context.photos);
    setup.photos = context.photos;
    readDevices(fields, context, setup);
    if (const Json* dialog = fields.object("dialog")) {
        Fields dialogFields(*dialog, "dialog", report);
        setup.dialog = parseDialog(dialogFields);
        dialogFields.finish();
    }
    readModule(fields, setup);
    fields.finish();
    if (!report.isFine()) {
        problem = report.text();
        return false;
    }
    out = std::move(setup);
    return true;
}

bool readScenario(const std::string& path, Setup& out, std::string& problem) {
    Json document;
    if (!readDocument(path, document, problem)) return false;
    if (parseScenario(document, folderOf(path), out, problem)) return true;
    problem.insert(0, path + ": ");
    return false;
}

bool readStartScenario(Setup& out, std::string& problem) {
    if (const char* path = std::getenv("TARVO_LAB"); path != nullptr && *path != '\0') {
        return readScenario(path, out, problem);
    }
    Json document;
    return parseDocument(kDefaultScenario, document, problem) && parseScenario(document, {}, out, problem);
}

}  // namespace lab
