// The bundles, the tree under a module object, and the events that change it.
#include <array>
#include <filesystem>

#include "tests/MAID/caller.h"

namespace test {
namespace {

constexpr std::array<const char*, 16> kNames = {
    "D1",       "D2",       "D40",      "D50",      "D70",      "D80",      "D100",     "D200",
    "Type0001", "Type0002", "Type0003", "Type0004", "Type0005", "Type0006", "Type0007", "Type0008"};

TEST_F(MaidTest, every_bundle_shows_the_bodies_of_its_own_type) {
    std::vector<Json> bodies;
    for (int type = 0; type < 16; ++type) {
        bodies.push_back({{"moduleType", type}, {"sourceId", 100 + type}});
    }
    start(bodies);
    close(module);
    for (size_t type = 0; type < kNames.size(); ++type) {
        call = entryPointOf(kNames[type]);
        ASSERT_NE(call, nullptr);
        Opened object;
        const auto record = reinterpret_cast<MaidParam>(&object.record);
        ASSERT_EQ(call(nullptr, kMaidCommandOpen, 0, kMaidDataObjectPtr, record, nullptr, nullptr), 0);
        EXPECT_EQ(children(&object), (std::vector<uint32_t>{static_cast<uint32_t>(100 + type)}));
        EXPECT_EQ(call(&object.record, kMaidCommandClose, 0, 0, 0, nullptr, nullptr), 0);
    }
}

TEST_F(MaidTest, has_the_driver_library_beside_the_bundles) {
    const std::string path = programFolder() + "/../../lib/tarvo/simulated/nikon/libNkPTPDriver.dylib";
    EXPECT_TRUE(std::filesystem::is_regular_file(path));
}

TEST_F(MaidTest, enumerating_children_raises_an_event_for_each_before_it_completes) {
    start({Json::object(), Json::object()});
    EXPECT_EQ(run(module, kMaidCommandEnumChildren), 0);
    ASSERT_EQ(module->events.size(), 2u);
    EXPECT_EQ(module->events[0].event, static_cast<uint32_t>(kMaidEventAddChild));
    EXPECT_EQ(module->events[0].parameter, 1u);
    EXPECT_EQ(module->events[1].parameter, 2u);
}

TEST_F(MaidTest, events_wait_until_the_module_is_polled) {
    start();
    source();
    must({{"cmd", "detach"}, {"id", "nikon-1"}});
    EXPECT_TRUE(module->events.empty());
    poll(module);
    ASSERT_EQ(module->events.size(), 1u);
    EXPECT_EQ(module->events[0].event, static_cast<uint32_t>(kMaidEventRemoveChild));
    EXPECT_EQ(module->events[0].parameter, 1u);
}

TEST_F(MaidTest, a_body_that_is_gone_can_still_be_polled_and_closed) {
    start();
    Opened* body = source();
    must({{"cmd", "detach"}, {"id", "nikon-1"}});
    uint32_t value = 0;
    const auto data = reinterpret_cast<MaidParam>(&value);
    EXPECT_EQ(run(body, kMaidCommandCapGet, 0x81D7, kMaidDataUnsignedPtr, data), kMaidResultZombieObject);
    EXPECT_EQ(last.result, kMaidResultZombieObject);
    EXPECT_EQ(module->events.size(), 1u);
    EXPECT_EQ(run(body, kMaidCommandCapSet, kMaidCapabilityEventProc), 0);
    EXPECT_EQ(call(&body->record, kMaidCommandClose, 0, 0, 0, nullptr, nullptr), 0);
    must({{"cmd", "attach"}, {"id", "nikon-1"}});
    poll(module);
    EXPECT_EQ(module->events.back().event, static_cast<uint32_t>(kMaidEventAddChild));
    EXPECT_EQ(getUnsigned(source(), 0x81D7), 9u);
}

TEST_F(MaidTest, a_child_that_was_opened_meanwhile_is_not_announced) {
    start();
    source();
    EXPECT_EQ(run(module, kMaidCommandEnumChildren), 0);
    EXPECT_TRUE(module->events.empty());
}

TEST_F(MaidTest, a_list_that_changed_after_it_was_counted_has_to_be_counted_again) {
    start();
    Opened* body = source();
    uint32_t count = 0;
    const auto data = reinterpret_cast<MaidParam>(&count);
    ASSERT_EQ(run(body, kMaidCommandGetCapCount, 0, kMaidDataUnsignedPtr, data), 0);
    must({{"cmd", "set"}, {"id", "nikon-1"}, {"capabilities", {{{"id", 53}, {"visibility", 1}}}}});
    std::vector<NkMAIDCapInfo> infos(count);
    const auto list = reinterpret_cast<MaidParam>(infos.data());
    EXPECT_EQ(run(body, kMaidCommandGetCapInfo, count, kMaidDataCapInfoPtr, list), kMaidResultBufferSize);
    ASSERT_EQ(body->events.size(), 1u);
    EXPECT_EQ(body->events[0].event, static_cast<uint32_t>(kMaidEventCapChange));
    ASSERT_EQ(run(body, kMaidCommandGetCapCount, 0, kMaidDataUnsignedPtr, data), 0);
    EXPECT_EQ(run(body, kMaidCommandGetCapInfo, count, kMaidDataCapInfoPtr, list), 0);
}

TEST_F(MaidTest, a_turned_dial_is_announced) {
    start();
    Opened* body = source();
    must({{"cmd", "set"}, {"id", "nikon-1"}, {"capability", "0x8111"}, {"value", 3}});
    poll(body);
    ASSERT_EQ(body->events.size(), 1u);
    EXPECT_EQ(body->events[0].event, static_cast<uint32_t>(kMaidEventCapChangeValueOnly));
    EXPECT_EQ(body->events[0].parameter, 0x8111u);
}

TEST_F(MaidTest, the_event_command_reaches_the_object_that_it_names) {
    start();
    Opened* body = source();
    must({{"cmd", "event"}, {"id", "nikon-1"}, {"object", "1"}, {"event", "0x107"}, {"parameter", 7}});
    EXPECT_NE(refused({{"cmd", "event"}, {"id", "nikon-1"}, {"object", "1/5"}, {"event", 6}}), "");
    poll(module);
    ASSERT_EQ(body->events.size(), 1u);
    EXPECT_EQ(body->events[0].event, 0x107u);
    EXPECT_EQ(body->events[0].parameter, 7u);
    EXPECT_TRUE(module->events.empty());
}

}  // namespace
}  // namespace test
