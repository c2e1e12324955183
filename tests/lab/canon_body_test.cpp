// A Canon body as a thing: models, dials, exposures, the cable.
#include "lab/canon/Body.h"

#include <gtest/gtest.h>

#include <cstring>
#include <mutex>
#include <set>

#include "lab/World.h"
#include "tests/lab/support.h"

namespace test {
namespace {

using lab::canon::Body;
using lab::canon::Event;
using lab::canon::Outcome;

/** Listens at the cable. */
class Recorder final : public lab::canon::Listener {
public:
    void raised(const lab::canon::BodyRef&, lab::canon::Link, Event event) override {
        const std::lock_guard guard(mutex_);
        events_.push_back(std::move(event));
    }
    std::vector<Event> take() {
        const std::lock_guard guard(mutex_);
        return std::exchange(events_, {});
    }
    size_t count(uint32_t number) {
        const std::lock_guard guard(mutex_);
        return static_cast<size_t>(std::count_if(events_.begin(), events_.end(),
                                                 [&](const Event& event) { return event.event == number; }));
    }

private:
    std::mutex mutex_;
    std::vector<Event> events_;
};

class CanonBody : public ::testing::Test {
protected:
    void SetUp() override { Body::setListener(&recorder_); }

    /** Lays a world with one body and opens a session on it. */
    void start(Json fields = Json::object(), const Json& scenario = Json::object()) {
        fields["id"] = "c";
        fields["family"] = "canon";
        lay(Json::array({fields}), scenario);
        body_ = std::dynamic_pointer_cast<Body>(lab::World::instance().find("c"));
        link_ = body_->link().value();
        recorder_.take();  // the devices of the world before have said goodbye
        ASSERT_EQ(body_->openSession(link_), Outcome::ok);
        ASSERT_EQ(body_->announceCapacity(link_, INT64_MAX), Outcome::ok);
    }
    Outcome write(uint32_t property, int32_t value) {
        return body_->write(link_, property, &value, sizeof value);
    }
    std::vector<std::string> pictures() {
        std::vector<std::string> names;
        const Json state = deviceState("c");
        for (const Json& picture : state["pictures"]) {
            names.push_back(picture["name"]);
        }
        return names;
    }
    Json value(const char* property) {
        return must({{"cmd", "get"}, {"id", "c"}, {"property", property}})["value"];
    }

    // Listeners last as long as the process: a timer of an earlier body may still have something to tell.
    static Recorder& theRecorder() {
        static auto* recorder = new Recorder;
        return *recorder;
    }
    Recorder& recorder_ = theRecorder();
    lab::canon::BodyRef body_;
    lab::canon::Link link_ = 0;
};

using Names = std::vector<std::string>;

TEST_F(CanonBody, of_every_model_describes_itself) {
    std::set<std::string_view> names;
    for (size_t i = 0; i < lab::canon::modelCount(); ++i) {
        const lab::canon::Model& model = lab::canon::modelAt(i);
        EXPECT_TRUE(names.insert(model.name).second);
        start({{"model", model.name}});
        EXPECT_EQ(value("0x2"), model.name);
        EXPECT_EQ(value("0x540"), Json::array({model.width, model.height}));
        std::vector<int32_t> options;
        for (const uint32_t property : {0xB, 0x100, 0x106, 0x400, 0x401, 0x402, 0x403, 0x404, 0x405, 0x406,
                                        0x407, 0x500, 0x501, 0x504, 0x507}) {
            ASSERT_EQ(body_->describe(link_, property, options), Outcome::ok) << property;
            EXPECT_LE(options.size(), 128u);
            lab::canon::Value known;
            ASSERT_EQ(body_->read(link_, property, known), Outcome::ok);
            EXPECT_NE(std::find(options.begin(), options.end(), lab::canon::numberOf(known)), options.end())
                << std::hex << property;
        }
        EXPECT_EQ(body_->pressButton(link_, Body::Button::completely) == Outcome::ok,
                  model.hasButtonCommands);
    }
    EXPECT_EQ(names.size(), 38u);
}

TEST_F(CanonBody, of_the_legacy_protocol_has_neither_live_view_nor_quality_options) {
    start({{"legacy", true}});
    std::vector<int32_t> options;
    EXPECT_EQ(body_->describe(link_, 0x100, options), Outcome::undescribed);
    lab::canon::Value value;
    EXPECT_EQ(body_->read(link_, 0x501, value), Outcome::unavailable);
    EXPECT_EQ(body_->focusInLiveView(link_, false), Outcome::unsupported);
    EXPECT_EQ(body_->driveLens(link_, 1), Outcome::unsupported);
}

TEST_F(CanonBody, lays_the_scenario_over_its_defaults) {
    start({{"model", "Mine"},
           {"firmware", "2.1.3"},
           {"properties",
            {{"0x406", {{"value", 88}}},
             {"0x8", {{"remove", true}}},
             {"0x9999", {{"type", 2}, {"value", "text"}}},
             {"0x9998", {{"value", "text without a type"}}},
             {"0x9997", {{"value", "0x10"}}},
             {"0x9996", {{"type", 12}, {"value", 1.5}}},
             {"0x9995", {{"type", 14}, {"value", "0aff"}}},
             {"0x9994", {{"type", 8}, {"value", "0xFFFFFFFF"}}},
             {"0x9993", {{"type", 1}, {"value", true}}},
             {"0x9992", {{"type", 20}, {"value", {1, 3}}}},
             {"0x9991", {{"type", 11}, {"value", "0x7fffffffffffffff"}}},
             {"0x9990", {{"type", 23}}}}}});
    EXPECT_EQ(value("0x2"), "Mine");
    EXPECT_EQ(value("0x7"), "2.1.3");
    EXPECT_EQ(value("0x406"), 88);
    EXPECT_EQ(refused({{"cmd", "get"}, {"id", "c"}, {"property", 8}}), "c has no property 0x8");
    EXPECT_EQ(value("0x9999"), "text");
    EXPECT_EQ(value("0x9998"), "text without a type");
    EXPECT_EQ(value("0x9997"), 16);
    EXPECT_EQ(value("0x9996"), 1.5);
    EXPECT_EQ(value("0x9995"), "0aff");
    EXPECT_EQ(value("0x9994"), -1);
    EXPECT_EQ(value("0x9993"), 1);
    EXPECT_EQ(value("0x9992"), Json::array({1, 3}));
    EXPECT_EQ(value("0x9991"), INT64_MAX);
    EXPECT_EQ(value("0x9990"), std::string(64, '0'));
}

TEST_F(CanonBody, tells_of_changed_values_alone) {
    start();
    recorder_.take();
    EXPECT_EQ(write(0x406, 80), Outcome::ok);
    EXPECT_EQ(write(0x406, 80), Outcome::ok);
    const auto events = recorder_.take();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].event, 0x101u);
    EXPECT_EQ(events[0].property, 0x406u);
}

TEST_F(CanonBody, announces_what_its_owner_does) {
    start();
    recorder_.take();
    must({{"cmd", "set"}, {"id", "c"}, {"property", "0x406"}, {"value", 96}, {"options", {1, "0x2"}}});
    const auto events = recorder_.take();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].event, 0x101u);
    EXPECT_EQ(events[1].event, 0x102u);
    std::vector<int32_t> options;
    EXPECT_EQ(body_->describe(link_, 0x406, options), Outcome::ok);
    EXPECT_EQ(options, (std::vector<int32_t>{1, 2}));
}

TEST_F(CanonBody, lists_no_more_options_than_a_description_holds) {
    start();
    recorder_.take();
    const Json command = {{"cmd", "set"}, {"id", "c"}, {"property", "0x406"}, {"value", 1}};
    Json tooMany = command;
    tooMany["options"] = std::vector<int>(129, 1);
    EXPECT_EQ(refused(tooMany), "options: at most 128 are possible, found 129");
    EXPECT_TRUE(recorder_.take().empty());
    Json most = command;
    most["options"] = std::vector<int>(128, 1);
    must(most);
}

TEST_F(CanonBody, without_a_session_keeps_it_to_itself) {
    start();
    body_->closeSession(link_);
    recorder_.take();
    must({{"cmd", "set"}, {"id", "c"}, {"property", "0x406"}, {"value", 80}});
    must({{"cmd", "press"}, {"id", "c"}});
    EXPECT_TRUE(recorder_.take().empty());
    EXPECT_EQ(value("0x406"), 80);
    EXPECT_EQ(pictures(), Names{"IMG_0001.JPG"});
}

TEST_F(CanonBody, takes_listed_values_only_when_it_is_strict) {
    start({{"acceptAnyValue", false}, {"properties", {{"0x406", {{"options", {1, 2}}}}}}});
    EXPECT_EQ(write(0x406, 2), Outcome::ok);
    EXPECT_EQ(write(0x406, 3), Outcome::wrongValue);
    EXPECT_EQ(value("0x406"), 2);
    EXPECT_EQ(write(0x107, 12345), Outcome::wrongValue) << "an empty list allows nothing";
}

TEST_F(CanonBody, refuses_what_is_printed_on_it) {
    start();
    const char text[] = "other";
    for (const uint32_t property : {0x2, 0x7, 0x40D}) {
        EXPECT_EQ(body_->write(link_, property, text, sizeof text), Outcome::readOnly) << property;
    }
    EXPECT_EQ(write(0x8, 1), Outcome::readOnly);
    EXPECT_EQ(body_->write(link_, 0x4, text, sizeof text), Outcome::ok);
    EXPECT_EQ(value("0x4"), "other");
}

TEST_F(CanonBody, wants_values_of_the_right_length) {
    start();
    const char bytes[300] = {};
    EXPECT_EQ(body_->write(link_, 0x406, bytes, 3), Outcome::wrongLength);
    EXPECT_EQ(body_->write(link_, 0x406, bytes, 8), Outcome::wrongLength);
    EXPECT_EQ(body_->write(link_, 0x508, bytes, 4), Outcome::wrongLength);
    EXPECT_EQ(body_->write(link_, 0x508, bytes, 8), Outcome::ok);
    EXPECT_EQ(body_->write(link_, 0x4, bytes, 0), Outcome::wrongLength);
    const std::string tooLong(256, 'x');
    EXPECT_EQ(body_->write(link_, 0x4, tooLong.data(), tooLong.size()), Outcome::wrongLength);
    EXPECT_EQ(body_->write(link_, 0x4, tooLong.data(), 255), Outcome::ok);
    EXPECT_EQ(value("0x4"), tooLong.substr(0, 255));
}

TEST_F(CanonBody, that_settles_late_shows_the_old_value_until_then) {
    start({{"settleMs", 40}});
    recorder_.take();
    EXPECT_EQ(write(0x406, 80), Outcome::ok);
    EXPECT_EQ(value("0x406"), 96);
    EXPECT_EQ(recorder_.count(0x101), 0u);
    EXPECT_TRUE(eventually([&] { return value("0x406") == 80; }));
    EXPECT_EQ(recorder_.count(0x101), 1u);
    // The later of two writes wins, and a hand at the dial beats both.
    EXPECT_EQ(write(0x406, 88), Outcome::ok);
    EXPECT_EQ(write(0x405, 32), Outcome::ok);
    must({{"cmd", "set"}, {"id", "c"}, {"property", "0x406"}, {"value", 96}});
    EXPECT_TRUE(eventually([&] { return value("0x405") == 32; }));
    EXPECT_EQ(value("0x406"), 96);
}

TEST_F(CanonBody, names_and_numbers_its_pictures) {
    const Folder folder;
    start({{"properties", {{"0x100", {{"value", "0x640013"}}}}}},
          {{"photos",
            {folder.write("a.jpg", "A"), folder.write("b.CR2", "BB"), folder.write("c.JPG", "CCC")}}});
    write(0xB, 1);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(body_->takePicture(link_), Outcome::ok);
    }
    const Json pictures = deviceState("c")["pictures"];
    std::vector<std::pair<std::string, int>> found;
    for (const Json& picture : pictures) {
        found.emplace_back(picture["name"], picture["size"]);
        EXPECT_EQ(picture["place"], "card");
        EXPECT_EQ(picture["state"], "kept");
    }
    EXPECT_EQ(found, (std::vector<std::pair<std::string, int>>{{"IMG_0001.CR2", 2},
                                                               {"IMG_0001.JPG", 1},
                                                               {"IMG_0002.CR2", 2},
                                                               {"IMG_0002.JPG", 3},
                                                               {"IMG_0003.CR2", 2},
                                                               {"IMG_0003.JPG", 1}}));
    EXPECT_EQ(pictures[0]["shot"], pictures[1]["shot"]);
    EXPECT_NE(pictures[1]["shot"], pictures[2]["shot"]);
    EXPECT_EQ(value("0x40a"), 996);
}

TEST_F(CanonBody, lets_image_quality_decide_what_a_shot_is) {
    struct Row {
        const char* quality;
        Names names;
    };
    const Row rows[] = {
        {"0x13FF0F", {"IMG_0001.JPG"}},
        {"0x213FF0F", {"IMG_0001.JPG"}},
        {"0x640013", {"IMG_0001.CR2", "IMG_0001.JPG"}},
        {"0x64FF0F", {"IMG_0001.CR2"}},
        {"0x130000", {"IMG_0001.JPG"}},
        {"0x240013", {"IMG_0001.CR2", "IMG_0001.JPG"}},
        {"0x130010", {"IMG_0001.CR2", "IMG_0001.JPG"}},
        {"0", {"IMG_0001.JPG"}},
    };
    for (const Row& row : rows) {
        const Json quality = row.quality[1] == 'x' ? Json(row.quality) : Json(0);
        start({{"properties", {{"0x100", {{"value", quality}}}}}});
        EXPECT_EQ(body_->takePicture(link_), Outcome::ok);
        EXPECT_EQ(pictures(), row.names) << row.quality;
    }
}

TEST_F(CanonBody, yields_the_shots_of_the_scenario_in_turn) {
    start(
        {{"shots", {{{{"name", "A.CR2"}, {"bytes", 5}}, {{"name", "A.JPG"}, {"bytes", 6}}}, Json::array()}}});
    for (int i = 0; i < 3; ++i) {
        must({{"cmd", "press"}, {"id", "c"}});
    }
    EXPECT_EQ(pictures(), (Names{"A.CR2", "A.JPG", "A.CR2", "A.JPG"}));
    EXPECT_EQ(deviceState("c")["shots"], 3);
}

TEST_F(CanonBody, offers_pictures_by_where_they_are_saved) {
    struct Row {
        int saveTo;
        std::vector<uint32_t> events;
    };
    const Row rows[] = {{1, {0x204, 0x204}}, {2, {0x208, 0x208}}, {3, {0x204, 0x208, 0x204, 0x208}}};
    for (const Row& row : rows) {
        start({{"properties", {{"0x100", {{"value", "0x640013"}}}}}});
        write(0xB, row.saveTo);
        recorder_.take();
        EXPECT_EQ(body_->takePicture(link_), Outcome::ok);
        std::vector<uint32_t> events;
        for (const Event& event : recorder_.take()) {
            if (event.kind == Event::Kind::object) events.push_back(event.event);
        }
        EXPECT_EQ(events, row.events) << row.saveTo;
    }
}

TEST_F(CanonBody, has_no_room_before_the_computer_says_how_much_it_has) {
    start();
    write(0xB, 2);
    body_->announceCapacity(link_, 0);
    EXPECT_EQ(body_->takePicture(link_), Outcome::memoryFull);
    EXPECT_EQ(refused({{"cmd", "press"}, {"id", "c"}}), "c has no room for another picture");
    body_->announceCapacity(link_, 1);
    EXPECT_EQ(body_->takePicture(link_), Outcome::ok);
    EXPECT_EQ(deviceState("c")["hostCapacity"], 0);
    EXPECT_EQ(body_->takePicture(link_), Outcome::memoryFull);
}

TEST_F(CanonBody, with_a_full_card_takes_no_picture_for_it) {
    start({{"properties", {{"0x40A", {{"value", 1}}}}}});
    EXPECT_EQ(body_->takePicture(link_), Outcome::ok);
    EXPECT_EQ(body_->takePicture(link_), Outcome::memoryFull);
    EXPECT_EQ(deviceState("c")["shots"], 1);
}

TEST_F(CanonBody, exposes_late_when_its_shutter_is_slow) {
    start({{"shutterLagMs", 50}});
    EXPECT_EQ(body_->takePicture(link_), Outcome::ok);
    EXPECT_EQ(deviceState("c")["exposing"], true);
    EXPECT_EQ(body_->takePicture(link_), Outcome::busy);
    EXPECT_EQ(refused({{"cmd", "press"}, {"id", "c"}}), "c is busy with an exposure");
    EXPECT_TRUE(eventually([&] { return deviceState("c")["shots"] == 1; }));
    EXPECT_EQ(body_->takePicture(link_), Outcome::ok);
}

TEST_F(CanonBody, that_is_unplugged_while_it_exposes_keeps_the_picture) {
    start({{"shutterLagMs", 30}});
    write(0xB, 2);
    EXPECT_EQ(body_->takePicture(link_), Outcome::ok);
    body_->detach();
    EXPECT_TRUE(eventually([&] { return deviceState("c")["shots"] == 1; }));
    EXPECT_EQ(deviceState("c")["pictures"][0]["place"], "card");
    EXPECT_EQ(recorder_.count(0x208), 0u);
}

TEST_F(CanonBody, keeps_its_button_where_it_is) {
    start();
    const auto button = [] { return deviceState("c")["button"]; };
    EXPECT_EQ(button(), "off");
    EXPECT_EQ(body_->pressButton(link_, Body::Button::halfway), Outcome::ok);
    EXPECT_EQ(button(), "halfway");
    EXPECT_EQ(body_->pressButton(link_, Body::Button::completely), Outcome::ok);
    EXPECT_EQ(button(), "completely");
    EXPECT_EQ(body_->pressButton(link_, Body::Button::completely), Outcome::busy);
    EXPECT_EQ(deviceState("c")["shots"], 1);
    EXPECT_EQ(body_->pressButton(link_, Body::Button::off), Outcome::ok);
    EXPECT_EQ(body_->pressButton(link_, Body::Button::completely), Outcome::ok);
    EXPECT_EQ(deviceState("c")["shots"], 2);
    body_->closeSession(link_);
    EXPECT_EQ(button(), "off");
}

TEST_F(CanonBody, of_the_legacy_protocol_wants_its_dials_dead_for_a_setting) {
    start({{"legacy", true}});
    EXPECT_EQ(write(0x406, 80), Outcome::busy);
    body_->lockControls(link_, true);
    EXPECT_EQ(deviceState("c")["uiLocked"], true);
    EXPECT_EQ(write(0x406, 80), Outcome::ok);
    EXPECT_EQ(write(0xB, 2), Outcome::ok);
    body_->lockControls(link_, false);
    EXPECT_EQ(write(0x406, 88), Outcome::busy);
    // While a picture waits to be fetched the camera's user has to wait, too.
    EXPECT_EQ(body_->takePicture(link_), Outcome::ok);
    EXPECT_EQ(write(0x406, 88), Outcome::ok);
}

TEST_F(CanonBody, is_on_its_own_again_after_a_session) {
    start();
    write(0xB, 2);
    write(0x501, 1);
    write(0x500, 3);
    EXPECT_EQ(body_->takePicture(link_), Outcome::ok);
    EXPECT_EQ(deviceState("c")["pictures"][0]["state"], "waiting");
    EXPECT_EQ(body_->closeSession(link_), Outcome::ok);
    EXPECT_EQ(value("0xB"), 1);
    EXPECT_EQ(value("0x500"), 1);
    EXPECT_EQ(value("0x501"), 1);
    EXPECT_EQ(deviceState("c")["pictures"][0]["state"], "kept");
    EXPECT_EQ(deviceState("c")["sessions"], 0);
    EXPECT_TRUE(deviceState("c")["hostCapacity"].is_null());
}

TEST_F(CanonBody, knows_one_plugging_from_the_next) {
    start();
    ASSERT_TRUE(body_->detach());
    EXPECT_FALSE(body_->detach());
    EXPECT_EQ(recorder_.count(0x301), 1u);
    EXPECT_EQ(body_->link(), std::nullopt);
    EXPECT_EQ(body_->check(link_), Outcome::disconnected);
    ASSERT_TRUE(body_->attach());
    EXPECT_EQ(body_->check(link_), Outcome::disconnected);
    EXPECT_EQ(write(0x406, 1), Outcome::disconnected);
    EXPECT_EQ(body_->openSession(link_), Outcome::disconnected);
    EXPECT_EQ(body_->openSession(body_->link().value()), Outcome::ok);
}

TEST_F(CanonBody, warns_before_it_switches_itself_off) {
    start({{"autoPowerOffSeconds", 0.3}});
    EXPECT_TRUE(eventually([&] { return recorder_.count(0x301) == 1; }));
    EXPECT_EQ(recorder_.count(0x303), 1u);
    for (const Event& event : recorder_.take()) {
        EXPECT_TRUE(event.event != 0x303 || event.parameter == 1);
    }
    EXPECT_FALSE(body_->isAttached());
    EXPECT_EQ(body_->check(link_), Outcome::disconnected);
}

TEST_F(CanonBody, stays_on_while_it_is_told_to) {
    start({{"autoPowerOffSeconds", 1.5}});
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(3000);
    while (std::chrono::steady_clock::now() < end) {
        ASSERT_EQ(body_->extendTimer(link_), Outcome::ok);
        const timespec aLittle{0, 20000000};
        nanosleep(&aLittle, nullptr);
    }
    EXPECT_GT(recorder_.count(0x304), 0u);
    EXPECT_EQ(recorder_.count(0x301), 0u);
}

TEST_F(CanonBody, magnifies_only_where_there_is_picture_when_it_is_strict) {
    start({{"model", "Canon EOS 5D Mark II"}, {"acceptAnyValue", false}});
    const auto put = [&](int32_t x, int32_t y) {
        const lab::canon::Value point = lab::canon::pointValue(x, y);
        EXPECT_EQ(body_->write(link_, 0x508, point.bytes.data(), point.bytes.size()), Outcome::ok);
        return value("0x508");
    };
    EXPECT_EQ(put(100, 200), Json::array({100, 200}));
    EXPECT_EQ(put(5616, 3744), Json::array({5616 - 5616 / 5, 3744 - 3744 / 5}));
    EXPECT_EQ(put(-1, -1), Json::array({0, 0}));
    EXPECT_EQ(write(0x507, 10), Outcome::ok);
    EXPECT_EQ(put(5616, 3744), Json::array({5616 - 5616 / 10, 3744 - 3744 / 10}));
    // A test may put it anywhere.
    must({{"cmd", "set"}, {"id", "c"}, {"property", "0x508"}, {"value", {5616, -7}}});
    EXPECT_EQ(value("0x508"), Json::array({5616, -7}));
    must({{"cmd", "set"}, {"id", "c"}, {"property", "0x508"}, {"value", "0100000002000000"}});
    must({{"cmd", "set"}, {"id", "c"}, {"property", "0x508"}, {"value", {{"x", 3}, {"y", 4}}}});
    EXPECT_EQ(value("0x508"), Json::array({3, 4}));
}

TEST_F(CanonBody, raises_any_event_on_demand) {
    start();
    recorder_.take();
    must({{"cmd", "event"}, {"id", "c"}, {"kind", "state"}, {"event", "0x302"}, {"parameter", 5}});
    must({{"cmd", "event"}, {"id", "c"}, {"kind", "property"}, {"event", 258}, {"property", "0x406"}});
    must({{"cmd", "event"}, {"id", "c"}, {"kind", "object"}, {"event", "0x201"}});
    must({{"cmd", "press"}, {"id", "c"}});
    must({{"cmd", "event"}, {"id", "c"}, {"kind", "object"}, {"event", "0x208"}});
    const auto events = recorder_.take();
    ASSERT_GE(events.size(), 5u);
    EXPECT_EQ(events[0].event, 0x302u);
    EXPECT_EQ(events[0].parameter, 5u);
    EXPECT_EQ(events[1].property, 0x406u);
    EXPECT_EQ(events[2].picture, nullptr);
    ASSERT_NE(events.back().picture, nullptr);
    EXPECT_EQ(events.back().picture->name, "IMG_0001.JPG");
    body_->detach();
    EXPECT_EQ(refused({{"cmd", "event"}, {"id", "c"}, {"kind", "state"}, {"event", 1}}), "c is not attached");
}

}  // namespace
}  // namespace test
