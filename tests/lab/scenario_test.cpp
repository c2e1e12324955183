// Scenarios: all that the documentation names is read, and whatever is wrong is said with its place.
#include "lab/Scenario.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "lab/nikon/Setup.h"
#include "lab/video/Camera.h"
#include "tests/lab/support.h"

namespace test {
namespace {

/** The reason why a scenario was refused; empty when it was not. */
std::string problemOf(const std::string& text, const std::string& folder = {}) {
    lab::Setup setup;
    std::string problem;
    if (lab::parseScenario(Json::parse(text), folder, setup, problem)) return {};
    EXPECT_TRUE(setup.devices.empty());
    EXPECT_EQ(problem.find('\n'), std::string::npos);
    return problem;
}

lab::Setup setupOf(const std::string& text, const std::string& folder = {}) {
    lab::Setup setup;
    std::string problem;
    EXPECT_TRUE(lab::parseScenario(Json::parse(text), folder, setup, problem)) << problem;
    return setup;
}

std::string canonWith(const std::string& fields) {
    return R"({"devices": [{"id": "c", "family": "canon", )" + fields + "}]}";
}

std::string nikonWith(const std::string& fields) {
    return R"({"devices": [{"id": "n", "family": "nikon", )" + fields + "}]}";
}

std::string videoWith(const std::string& fields) {
    return R"({"devices": [{"id": "v", "family": "video", )" + fields + "}]}";
}

constexpr const char* kNumberWanted = "expected a whole number or a text like \"0x406\", found ";

TEST(ScenarioErrors, are_told_with_their_place) {
    struct Row {
        std::string text;
        std::string problem;
    };
    const Row rows[] = {
        {"[]", "expected an object, found a list"},
        {R"({"device": []})", "device: no such field, did you mean \"devices\"?"},
        {R"({"devices": {}})", "devices: expected a list, found an object"},
        {R"({"devices": [5]})", "devices[0]: expected an object, found 5"},
        {R"({"devices": [{"family": "canon"}]})", "devices[0].id: is missing"},
        {R"({"devices": [{"id": "", "family": "canon"}]})", "devices[0].id: must not be empty"},
        {R"({"devices": [{"id": 7, "family": "canon"}]})", "devices[0].id: expected a text, found 7"},
        {R"({"devices": [{"id": "c"}]})", "devices[0].family: is missing"},
        {R"({"devices": [{"id": "c", "family": "leica"}]})",
         "devices[0].family: expected \"canon\", \"nikon\" or \"video\", found \"leica\""},
        {R"({"devices": [{"id": "c", "family": "canon"}, {"id": "c", "family": "nikon"}]})",
         "devices[1].id: another device is called \"c\" already"},
        {canonWith(R"("attached": 1)"), "devices[0].attached: expected true or false, found 1"},
        {canonWith(R"("modle": "x")"), "devices[0].modle: no such field, did you mean \"model\"?"},
        {canonWith(R"("colour": "x")"), "devices[0].colour: no such field"},
        {canonWith(R"("model": 5)"), "devices[0].model: expected a text, found 5"},
        {canonWith(R"("legacy": "yes")"),
         "devices[0].legacy: expected true or false, found the text \"yes\""},
        {canonWith(R"("shutterLagMs": -1)"), "devices[0].shutterLagMs: expected 0 to 86400000, found -1"},
        {canonWith(R"("shutterLagMs": "soon")"),
         std::string("devices[0].shutterLagMs: ") + kNumberWanted + "the text \"soon\""},
        {canonWith(R"("transferBytesPerSecond": -5)"),
         "devices[0].transferBytesPerSecond: expected 0 to 1099511627776, found -5"},
        {canonWith(R"("autoPowerOffSeconds": -1)"), "devices[0].autoPowerOffSeconds: out of range: -1"},
        {canonWith(R"("photos": ["none.jpg"])"),
         "devices[0].photos[0]: cannot read none.jpg: No such file or directory"},
        {R"({"photos": ["/"]})", "photos[0]: cannot read /: not a regular file"},
        {R"({"photos": [3]})", "photos[0]: expected a path, found 3"},
        {canonWith(R"("shots": [{}])"), "devices[0].shots[0]: expected a list of files, found an object"},
        {canonWith(R"("shots": [[{"bytes": 5}]])"), "devices[0].shots[0][0].name: is missing"},
        {canonWith(R"("shots": [[{"name": "a/b", "bytes": 5}]])"),
         "devices[0].shots[0][0].name: expected a file's name of at most 255 bytes, without a folder"},
        {canonWith(R"("shots": [[], [{"name": "a"}]])"),
         "devices[0].shots[1][0]: needs either \"file\" or \"bytes\""},
        {canonWith(R"("shots": [[{"name": "a", "bytes": 1, "file": "b"}]])"),
         "devices[0].shots[0][0]: needs either \"file\" or \"bytes\""},
        {canonWith(R"("shots": [[{"name": "a", "bytes": 1, "sise": 2}]])"),
         "devices[0].shots[0][0].sise: no such field"},
        {canonWith(R"("shots": [[{"name": "a", "bytes": 2000000000}]])"),
         "devices[0].shots[0][0].bytes: expected 0 to 1073741824, found 2000000000"},
        {canonWith(R"("liveview": [5])"), "devices[0].liveview[0]: expected a path, found 5"},
        {canonWith(R"("liveview": [{}])"), "devices[0].liveview[0].bytes: is missing"},
        {canonWith(R"("properties": [])"), "devices[0].properties: expected an object, found a list"},
        {canonWith(R"("properties": {"Tv": {}})"),
         "devices[0].properties.Tv: expected a property number like \"0x406\""},
        {canonWith(R"("properties": {"0x406": 5})"),
         "devices[0].properties.0x406: expected an object, found 5"},
        {canonWith(R"("properties": {"0x406": {}, "1030": {}})"),
         "devices[0].properties.1030: the same property stands here twice"},
        {canonWith(R"("properties": {"0x406": {"type": 5}})"),
         "devices[0].properties.0x406.type: no such data type"},
        {canonWith(R"("properties": {"0x406": {"type": "uint"}})"),
         std::string("devices[0].properties.0x406.type: ") + kNumberWanted + "the text \"uint\""},
        {canonWith(R"("properties": {"0x406": {"value": "fast"}})"),
         std::string("devices[0].properties.0x406.value: ") + kNumberWanted + "the text \"fast\""},
        {canonWith(R"("properties": {"0x406": {"type": 6, "value": 256}})"),
         "devices[0].properties.0x406.value: 256 does not fit into 8 bits"},
        {canonWith(R"("properties": {"0x7": {"value": 3}})"),
         "devices[0].properties.0x7.value: expected a text, found 3"},
        {canonWith(R"("properties": {"0x508": {"value": [1]}})"),
         "devices[0].properties.0x508.value: expected a list of 2 numbers, found a list"},
        {canonWith(R"("properties": {"0x508": {"value": "00"}})"),
         "devices[0].properties.0x508.value: expected 8 bytes, found 1"},
        {canonWith(R"("properties": {"0x406": {"options": [1, "x"]}})"),
         std::string("devices[0].properties.0x406.options[1]: ") + kNumberWanted + "the text \"x\""},
        {canonWith(R"("properties": {"0x406": {"option": [1]}})"),
         "devices[0].properties.0x406.option: no such field, did you mean \"options\"?"},
        {nikonWith(R"("moduleType": 16)"), "devices[0].moduleType: expected 0 to 15, found 16"},
        {nikonWith(R"("model": "x", "legacy": true)"), "devices[0].legacy: no such field"},
        {nikonWith(R"("capabilities": [{"type": 3}])"), "devices[0].capabilities[0].id: is missing"},
        {nikonWith(R"("capabilities": [{"id": 1, "arrayType": 7, "elements": [5]}])"),
         "devices[0].capabilities[0].elements[0]: expected a text, found 5"},
        {nikonWith(R"("shots": [[{"dataTyp": 4}]])"),
         "devices[0].shots[0][0].dataTyp: no such field, did you mean \"dataType\"?"},
        {nikonWith(R"("liveview": [{"header": "0x1", "length": 5}])"),
         "devices[0].liveview[0].header: expected bytes as pairs of hexadecimal digits"},
        {videoWith(R"("media": ["film"])"),
         "devices[0].media[0]: expected \"video\", \"muxed\" or \"sound\", found the text \"film\""},
        {videoWith(R"("width": -1)"), "devices[0].width: expected 0 to 16384, found -1"},
        {videoWith(R"("width": 640, "bytesPerRow": 2559)"),
         "devices[0].bytesPerRow: expected 2560 to 68096, found 2559"},
        {videoWith(R"("noise": 256)"), "devices[0].noise: expected 0 to 255, found 256"},
        {videoWith(R"("sizes": [[0, 480]])"), "devices[0].sizes[0]: expected [width, height], found a list"},
        {videoWith(R"("uvc": {"controls": [{"unit": 1, "selector": 4, "size": 1, "cur": 256}]})"),
         "devices[0].uvc.controls[0].cur: does not fit into 1 bytes"},
        {videoWith(R"("uvc": {"controls": [{"unit": 1, "selector": 4, "size": 65}]})"),
         "devices[0].uvc.controls[0].size: expected 1 to 64, found 65"},
        {videoWith(R"("uvc": {"controls": [{"unit": 1, "selector": 4, "size": 1},
                                           {"unit": 1, "selector": 4, "size": 2}]})"),
         "devices[0].uvc.controls[1]: the control 1:4 stands here twice"},
        {videoWith(R"("fps": "fast")"), "devices[0].fps: expected a number, found the text \"fast\""},
        {videoWith(R"("frames": "noise")"),
         "devices[0].frames: expected \"pattern\" or a list of paths, found the text \"noise\""},
        {videoWith(R"("sizes": [[640]])"), "devices[0].sizes[0]: expected [width, height], found a list"},
        {videoWith(R"("uvc": {"controls": [{"unit": 1, "size": 4}]})"),
         "devices[0].uvc.controls[0].selector: is missing"},
        {R"({"dialog": {"answer": "maybe"}})",
         "dialog.answer: expected \"ok\", \"cancel\" or \"error\", found \"maybe\""},
        {R"({"dialog": {"answer": "error"}})", "dialog.status: is missing"},
        {R"({"dialog": {"settings": "0"}})",
         "dialog.settings: expected bytes as pairs of hexadecimal digits"},
        {R"({"module": {"capability": []}})",
         "module.capability: no such field, did you mean \"capabilities\"?"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(problemOf(row.text), row.problem) << row.text;
    }
}

TEST(ScenarioErrors, limit_the_options_of_a_property) {
    Json options = Json::array();
    for (int i = 0; i < 129; ++i) {
        options.push_back(i);
    }
    EXPECT_EQ(problemOf(canonWith(R"("properties": {"0x406": {"options": )" + options.dump() + "}}")),
              "devices[0].properties.0x406.options: at most 128 are possible, found 129");
    options.erase(128);
    EXPECT_EQ(problemOf(canonWith(R"("properties": {"0x406": {"options": )" + options.dump() + "}}")), "");
}

TEST(Scenarios, of_every_family_are_read_whole) {
    const Folder folder;
    folder.write("photo.jpg", "x");
    const std::string text = R"({
      "photos": ["photo.jpg"],
      "devices": [
        { "id": "canon-1", "family": "canon", "attached": false, "model": "Any text", "legacy": false,
          "firmware": "2.0.4", "acceptAnyValue": false, "shutterLagMs": 5, "transferBytesPerSecond": 1000,
          "photos": [], "settleMs": 3, "autoPowerOffSeconds": 1.5,
          "properties": { "0x406": { "type": 9, "value": 96, "options": [80, 88, 96] },
                          "0x7": { "value": "9.9" }, "0x8": { "remove": true },
                          "0x999": { "type": 22, "value": [1, 2, 3, 4] }, "2": { "readOnly": true } },
          "shots": [[{ "name": "IMG_0001.CR2", "file": "photo.jpg" }, { "name": "A.JPG", "bytes": 5000 }], []],
          "liveview": ["photo.jpg", { "bytes": 80000 }] },
        { "id": "nikon-1", "family": "nikon", "moduleType": 15, "cameraType": "0x10", "sourceId": 2,
          "capabilities": [
            { "id": "0x8111", "type": 12, "operations": 14, "description": "d", "arrayType": 7,
              "elements": ["a"], "current": 0, "default": 0 },
            { "id": 5, "type": 12, "arrayType": 2, "elements": [1, "0x2"] },
            { "id": 5, "type": 12, "arrayType": 9, "bytes": "00ff" },
            { "id": 6, "type": 13, "value": 0.5, "lower": -1, "upper": 1.5, "steps": 3 },
            { "id": 7, "type": 5, "x": 1, "y": -1 }, { "id": 8, "type": 1, "value": true },
            { "id": 9, "remove": true }, { "id": 10, "type": 0, "completeAfter": 0 } ],
          "shots": [[{ "dataType": 4, "file": "photo.jpg", "blocks": 3, "remove": true, "dual": 0 },
                     { "dataType": 1, "bytes": 50 }], []],
          "liveview": ["photo.jpg", { "header": "0001", "length": 500, "jpegAt": 64 }],
          "completeAfter": 2, "shutterLagMs": 1, "transferBytesPerSecond": 0 },
        { "id": "video-1", "family": "video", "name": "Cam", "media": ["video", "muxed", "sound"],
          "uniqueId": "0x1", "width": 640, "height": 480, "fps": 29.97, "bytesPerRow": 2600,
          "frames": ["photo.jpg"], "sizes": [[320, 240], { "width": 640, "height": 480 }],
          "uvc": { "location": "0x1a110000", "interface": 0, "controls": [
            { "unit": 1, "selector": 4, "size": 4, "min": 1, "max": 10000, "cur": 156 } ] } },
        { "id": "video-2", "family": "video", "frames": "pattern" } ],
      "dialog": { "answer": "error", "status": -128, "settings": "0000ff", "delayMs": 5 },
      "module": { "capabilities": [{ "id": 5, "type": 10 }] }
    })";
    const lab::Setup setup = setupOf(text, folder.path());
    ASSERT_EQ(setup.devices.size(), 4u);
    EXPECT_EQ(setup.devices[0]->id(), "canon-1");
    EXPECT_FALSE(setup.devices[0]->isAttached());
    EXPECT_EQ(setup.devices[1]->family(), lab::Family::nikon);
    EXPECT_TRUE(setup.devices[1]->isAttached());
    const auto& camera = dynamic_cast<const lab::video::Camera&>(*setup.devices[2]).setup();
    EXPECT_EQ(camera.name, "Cam");
    EXPECT_EQ(camera.media.size(), 3u);
    EXPECT_EQ(camera.fps, 29.97);
    EXPECT_EQ(camera.rowSurplus, 40u);
    EXPECT_EQ(camera.frames, std::vector<std::string>{folder.file("photo.jpg")});
    EXPECT_EQ(camera.sizes, (std::vector<lab::video::Size>{{320, 240}, {640, 480}}));
    ASSERT_TRUE(camera.usb.has_value());
    EXPECT_EQ(camera.usb->location, 0x1A110000u);
    EXPECT_EQ(camera.usb->controls[0].current, (std::vector<uint8_t>{156, 0, 0, 0}));
    EXPECT_EQ(setup.photos, std::vector<std::string>{folder.file("photo.jpg")});
    EXPECT_EQ(setup.dialog.answer, lab::Dialog::Answer::error);
    EXPECT_EQ(setup.dialog.status, -128);
    EXPECT_EQ(setup.dialog.settings, (std::vector<uint8_t>{0, 0, 0xFF}));
    EXPECT_EQ(setup.dialog.delayMs, 5);
    ASSERT_TRUE(setup.module);
    EXPECT_EQ(lab::nikon::find(setup.module->capabilities, 5)->type, lab::nikon::kCallback);
}

TEST(Scenarios, may_be_empty) {
    EXPECT_TRUE(setupOf("{}").devices.empty());
}

TEST(Scenarios, take_relative_paths_from_their_own_folder) {
    const Folder folder;
    folder.write("photo.jpg", "x");
    const std::string path = folder.write("scenario.json", R"({"photos": ["photo.jpg"]})");
    lab::Setup setup;
    std::string problem;
    ASSERT_TRUE(lab::readScenario(path, setup, problem)) << problem;
    EXPECT_EQ(setup.photos, std::vector<std::string>{folder.file("photo.jpg")});
    EXPECT_EQ(setup.folder, folder.path());
}

TEST(Scenarios, in_files_are_named_in_their_errors) {
    const Folder folder;
    lab::Setup setup;
    std::string problem;
    EXPECT_FALSE(lab::readScenario(folder.write("a.json", "{\n}}"), setup, problem));
    EXPECT_EQ(problem.find(folder.file("a.json") + ": line 2, column 2: "), 0u) << problem;
    EXPECT_FALSE(lab::readScenario(folder.write("b.json", R"({"photo": []})"), setup, problem));
    EXPECT_EQ(problem, folder.file("b.json") + ": photo: no such field, did you mean \"photos\"?");
}

TEST(Scenarios, without_one_have_a_camera_of_each_kind) {
    unsetenv("TARVO_LAB");
    lab::Setup setup;
    std::string problem;
    ASSERT_TRUE(lab::readStartScenario(setup, problem)) << problem;
    std::vector<std::string> ids;
    for (const lab::DeviceRef& device : setup.devices) {
        ids.push_back(device->id());
        EXPECT_TRUE(device->isAttached());
    }
    EXPECT_EQ(ids, (std::vector<std::string>{"canon-1", "nikon-1", "webcam-1", "builtin-1", "microphone-1"}));
}

}  // namespace
}  // namespace test
