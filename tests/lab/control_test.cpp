// The commands of the control socket, without the socket.
#include "lab/Control.h"

#include <gtest/gtest.h>

#include "lab/World.h"
#include "tests/lab/support.h"

namespace test {
namespace {

class Control : public ::testing::Test {
protected:
    void SetUp() override {
        lay({{{"id", "canon-1"}, {"family", "canon"}}, {{"id", "nikon-1"}, {"family", "nikon"}}});
    }
    static std::vector<std::string> ids() {
        std::vector<std::string> all;
        const Json answer = must({{"cmd", "state"}});
        for (const Json& device : answer["devices"]) {
            all.push_back(device["id"]);
        }
        return all;
    }
};

TEST_F(Control, refuses_lines_that_are_no_commands) {
    struct Row {
        const char* line;
        const char* problem;
    };
    const Row rows[] = {
        {"nonsense", "line 1, column 2: invalid literal; last read: 'no'"},
        {"[]", "expected an object, found a list"},
        {"{}", "cmd: is missing"},
        {R"({"cmd":5})", "cmd: expected a text, found 5"},
        {R"({"cmd":"dance"})",
         "cmd: expected one of attach detach press set get event fault clearFaults trace state dialog reset, "
         "found \"dance\""},
        {R"({"cmd":"state","cmd":"trace"})", "the field \"cmd\" stands twice in one object"},
        {R"({"cmd":"state","all":true})", "all: no such field"},
        {R"({"cmd":"detach"})", "id: is missing"},
        {R"({"cmd":"detach","id":"canon-9"})", "id: no device is called \"canon-9\""},
        {R"({"cmd":"detach","id":"canon-1","now":1})", "now: no such field"},
        {R"({"cmd":"attach"})", "id: is missing"},
        {R"({"cmd":"attach","id":"canon-1"})", "canon-1 is attached already"},
        {R"({"cmd":"attach","device":{"id":"canon-1","family":"canon"}})",
         "device.id: a device called \"canon-1\" is attached already"},
        {R"({"cmd":"attach","device":{"id":"x","family":"canon","firm":1}})", "device.firm: no such field"},
        {R"({"cmd":"attach","device":5})", "device: expected an object, found 5"},
        {R"({"cmd":"set","id":"canon-1","value":1})", "property: is missing"},
        {R"({"cmd":"set","id":"canon-1","property":"0x406"})", "value: is missing"},
        {R"({"cmd":"set","id":"canon-1","property":"0x999","value":1})", "canon-1 has no property 0x999"},
        {R"({"cmd":"set","id":"canon-1","property":"0x406","value":"1"})",
         "value: expected a whole number or a text like \"0x406\", found the text \"1\""},
        {R"({"cmd":"get","id":"canon-1"})", "property: is missing"},
        {R"({"cmd":"get","id":"canon-1","property":"0x999"})", "canon-1 has no property 0x999"},
        {R"({"cmd":"event","id":"canon-1","kind":"noise","event":1})",
         "kind: expected \"object\", \"property\" or \"state\""},
        {R"({"cmd":"event","id":"canon-1","kind":"state"})", "event: is missing"},
        {R"({"cmd":"event","id":"canon-1","kind":"object","event":"0x208","picture":"IMG_9999.JPG"})",
         "canon-1 has no picture IMG_9999.JPG"},
        {R"({"cmd":"trace","clear":"yes"})", "clear: expected true or false, found the text \"yes\""},
        {R"({"cmd":"dialog","answer":"perhaps"})",
         "answer: expected \"ok\", \"cancel\" or \"error\", found \"perhaps\""},
        {R"({"cmd":"reset","scenario":{"devices":[{"id":"x"}]}})", "scenario.devices[0].family: is missing"},
    };
    const Json before = must({{"cmd", "state"}});
    for (const Row& row : rows) {
        const Json answer = Json::parse(lab::control(row.line));
        EXPECT_EQ(answer, (Json{{"ok", false}, {"error", row.problem}})) << row.line;
    }
    EXPECT_EQ(must({{"cmd", "state"}}), before);
}

TEST_F(Control, survives_every_single_changed_byte) {
    const std::string line = R"({"cmd":"set","id":"canon-1","property":"0x406","value":96})";
    for (size_t at = 0; at < line.size(); ++at) {
        for (int byte = 0; byte < 256; ++byte) {
            std::string changed = line;
            changed[at] = static_cast<char>(byte);
            const Json answer = Json::parse(lab::control(changed), nullptr, false);
            ASSERT_TRUE(answer.is_object() && answer.contains("ok")) << changed;
        }
    }
}

TEST_F(Control, attaches_newcomers_behind_the_others) {
    must(
        {{"cmd", "attach"}, {"device", {{"id", "canon-2"}, {"family", "canon"}, {"model", "Canon EOS 6D"}}}});
    EXPECT_EQ(ids(), (std::vector<std::string>{"canon-1", "nikon-1", "canon-2"}));
    EXPECT_EQ(deviceState("canon-2")["model"], "Canon EOS 6D");
    EXPECT_EQ(deviceState("canon-2")["attached"], true);
}

TEST_F(Control, describes_a_pulled_device_anew) {
    must({{"cmd", "detach"}, {"id", "canon-1"}});
    must({{"cmd", "attach"}, {"device", {{"id", "canon-1"}, {"family", "canon"}, {"model", "Other"}}}});
    EXPECT_EQ(ids(), (std::vector<std::string>{"canon-1", "nikon-1"}));
    EXPECT_EQ(deviceState("canon-1")["model"], "Other");
    EXPECT_EQ(deviceState("canon-1")["attached"], true);
}

TEST_F(Control, detaches_and_attaches_devices_of_every_family) {
    for (const char* id : {"canon-1", "nikon-1"}) {
        must({{"cmd", "detach"}, {"id", id}});
        EXPECT_EQ(deviceState(id)["attached"], false);
        EXPECT_EQ(refused({{"cmd", "detach"}, {"id", id}}), std::string(id) + " is not attached");
        must({{"cmd", "attach"}, {"id", id}});
        EXPECT_EQ(deviceState(id)["attached"], true);
    }
    EXPECT_EQ(ids(), (std::vector<std::string>{"canon-1", "nikon-1"}));
}

TEST_F(Control, keeps_the_answer_of_the_dialog) {
    must({{"cmd", "dialog"}, {"answer", "error"}, {"status", -2}, {"settings", "00ff"}, {"delayMs", 7}});
    const lab::Dialog dialog = lab::World::instance().dialog();
    EXPECT_EQ(dialog.answer, lab::Dialog::Answer::error);
    EXPECT_EQ(dialog.status, -2);
    EXPECT_EQ(dialog.settings, (std::vector<uint8_t>{0, 0xFF}));
    EXPECT_EQ(dialog.delayMs, 7);
    must({{"cmd", "dialog"}});
    EXPECT_EQ(lab::World::instance().dialog().answer, lab::Dialog::Answer::ok);
    EXPECT_TRUE(lab::World::instance().dialog().settings.empty());
}

TEST_F(Control, resets_to_another_world_and_forgets_the_faults) {
    const lab::DeviceRef old = lab::World::instance().find("canon-1");
    must({{"cmd", "fault"}, {"call", "A"}, {"result", 1}, {"times", 0}});
    must({{"cmd", "reset"}, {"scenario", {{"devices", {{{"id", "other"}, {"family", "video"}}}}}}});
    EXPECT_EQ(ids(), std::vector<std::string>{"other"});
    EXPECT_FALSE(old->isAttached());
    EXPECT_TRUE(must({{"cmd", "state"}})["faults"].empty());
    must({{"cmd", "reset"}});
    EXPECT_EQ(ids().size(), 5u);
}

}  // namespace
}  // namespace test
