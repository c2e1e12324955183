// Capabilities by type, live view, the lens, the trace and faults.
#include <algorithm>
#include <cstring>

#include "tests/MAID/caller.h"

namespace test {
namespace {

template <typename Record>
MaidParam addressOf(Record& record) {
    return reinterpret_cast<MaidParam>(&record);
}

TEST_F(MaidTest, an_enumeration_is_read_and_set_by_its_index) {
    start();
    Opened* body = source();
    NkMAIDEnum list{};
    ASSERT_EQ(run(body, kMaidCommandCapGet, 0x8111, kMaidDataEnumPtr, addressOf(list)), 0);
    EXPECT_EQ(list.elements, 4u);
    list.value = 2;
    EXPECT_EQ(run(body, kMaidCommandCapSet, 0x8111, kMaidDataEnumPtr, addressOf(list)), 0);
    EXPECT_EQ(must({{"cmd", "get"}, {"id", "nikon-1"}, {"capability", "0x8111"}})["value"], 2);
    EXPECT_EQ(must({{"cmd", "get"}, {"id", "nikon-1"}, {"property", "0x8111"}})["value"], 2);
    list.value = 4;
    EXPECT_EQ(run(body, kMaidCommandCapSet, 0x8111, kMaidDataEnumPtr, addressOf(list)),
              kMaidResultValueOutOfBounds);
}

TEST_F(MaidTest, packed_texts_are_counted_in_bytes_and_chosen_by_text) {
    start({{{"capabilities",
             {{{"id", "0x9000"}, {"type", 12}, {"arrayType", 7}, {"elements", {"f/2", "f/11"}}}}}}});
    Opened* body = source();
    NkMAIDEnum list{};
    ASSERT_EQ(run(body, kMaidCommandCapGet, 0x9000, kMaidDataEnumPtr, addressOf(list)), 0);
    EXPECT_EQ(list.type, static_cast<uint32_t>(kMaidArrayPackedString));
    EXPECT_EQ(list.elements, 9u);
    EXPECT_EQ(list.physicalBytes, 1);
    std::string bytes(9, 'x');
    list.data = bytes.data();
    ASSERT_EQ(run(body, kMaidCommandCapGetArray, 0x9000, kMaidDataEnumPtr, addressOf(list)), 0);
    EXPECT_EQ(bytes, std::string("f/2\0f/11\0", 9));
    list.value = 2;
    EXPECT_EQ(run(body, kMaidCommandCapSet, 0x9000, kMaidDataEnumPtr, addressOf(list)),
              kMaidResultValueOutOfBounds);
}

TEST_F(MaidTest, defaults_are_told_apart_from_values) {
    start({{{"capabilities",
             {{{"id", "0x9000"},
               {"type", 12},
               {"operations", 30},
               {"arrayType", 2},
               {"elements", {7, 8, 9}},
               {"current", 2},
               {"default", 1}}}}}});
    Opened* body = source();
    NkMAIDEnum list{};
    ASSERT_EQ(run(body, kMaidCommandCapGetDefault, 0x9000, kMaidDataEnumPtr, addressOf(list)), 0);
    EXPECT_EQ(list.value, 1u);
    ASSERT_EQ(run(body, kMaidCommandCapGet, 0x9000, kMaidDataEnumPtr, addressOf(list)), 0);
    EXPECT_EQ(list.value, 2u);
    EXPECT_EQ(list.defaultValue, 1u);
}

TEST_F(MaidTest, a_capability_that_was_taken_away_is_none) {
    start({{{"capabilities", {{{"id", 49}, {"remove", true}}}}}});
    Opened* body = source();
    int32_t battery = 77;
    EXPECT_EQ(run(body, kMaidCommandCapGet, 49, kMaidDataIntegerPtr, addressOf(battery)),
              kMaidResultNotSupported);
    EXPECT_EQ(battery, 77);
}

TEST_F(MaidTest, storage_of_another_size_is_refused_untouched) {
    start();
    Opened* body = source();
    NkMAIDEnum list{};
    ASSERT_EQ(run(body, kMaidCommandCapGet, 0x8111, kMaidDataEnumPtr, addressOf(list)), 0);
    uint32_t storage[4] = {77, 77, 77, 77};
    list.data = storage;
    list.elements = 2;
    EXPECT_EQ(run(body, kMaidCommandCapGetArray, 0x8111, kMaidDataEnumPtr, addressOf(list)),
              kMaidResultBufferSize);
    EXPECT_EQ(storage[0], 77u);
}

TEST_F(MaidTest, other_types_are_read_and_set) {
    start();
    Opened* body = source();
    int32_t battery = 0;
    EXPECT_EQ(run(body, kMaidCommandCapGet, 49, kMaidDataIntegerPtr, addressOf(battery)), 0);
    EXPECT_EQ(battery, 100);
    EXPECT_EQ(run(body, kMaidCommandCapSet, 0x81AF, kMaidDataBoolean, 0), 0);
    uint8_t isVaried = 9;
    EXPECT_EQ(run(body, kMaidCommandCapGet, 0x81AF, kMaidDataBooleanPtr, addressOf(isVaried)), 0);
    EXPECT_EQ(isVaried, 0);
    NkMAIDRange range{};
    EXPECT_EQ(run(body, kMaidCommandCapGet, 0x8248, kMaidDataRangePtr, addressOf(range)), 0);
    range.value = range.upper + 1;
    EXPECT_EQ(run(body, kMaidCommandCapSet, 0x8248, kMaidDataRangePtr, addressOf(range)),
              kMaidResultValueOutOfBounds);
}

TEST_F(MaidTest, frames_are_to_be_had_while_the_live_view_is_on) {
    start();
    Opened* body = source();
    NkMAIDArray array{};
    EXPECT_NE(run(body, kMaidCommandCapGet, 0x8247, kMaidDataArrayPtr, addressOf(array)), 0);
    EXPECT_EQ(setUnsigned(body, 0x823E, 1), 0);
    const std::string bytes = frame(body);
    EXPECT_EQ(bytes.substr(64, 2), "\xFF\xD8");
    EXPECT_GT(wordAt(bytes, 0), 0u);
    EXPECT_GT(wordAt(bytes, 38), 30u);
    EXPECT_EQ(deviceState("nikon-1")["framesServed"], 1);
}

TEST_F(MaidTest, described_frames_are_served_in_turn_as_they_stand) {
    const Folder folder;
    const std::string whole = folder.write("frame", std::string(700, 'w'));
    start({{{"liveview", {whole, {{"header", "0102"}, {"length", 900}, {"jpegAt", 384}}}}}});
    Opened* body = source();
    EXPECT_EQ(setUnsigned(body, 0x823E, 1), 0);
    EXPECT_EQ(frame(body), std::string(700, 'w'));
    const std::string second = frame(body);
    EXPECT_EQ(second.size(), 900u);
    EXPECT_EQ(wordAt(second, 0), 0x0102u);
    EXPECT_EQ(second.substr(384, 2), "\xFF\xD8");
    EXPECT_EQ(frame(body), std::string(700, 'w'));
}

TEST_F(MaidTest, the_lens_drives_for_some_frames_and_then_stands) {
    start();
    Opened* body = source();
    EXPECT_EQ(setUnsigned(body, 0x823E, 1), 0);
    EXPECT_EQ(frame(body)[30], 0);
    NkMAIDRange range{};
    ASSERT_EQ(run(body, kMaidCommandCapGet, 0x8248, kMaidDataRangePtr, addressOf(range)), 0);
    range.value = 5;
    ASSERT_EQ(run(body, kMaidCommandCapSet, 0x8248, kMaidDataRangePtr, addressOf(range)), 0);
    ASSERT_EQ(setUnsigned(body, 0x8249, 1), 0);
    EXPECT_EQ(deviceState("nikon-1")["lensPosition"], -5);
    int frames = 0;
    while (frame(body)[30] != 0 && frames < 100) {
        ++frames;
    }
    EXPECT_GT(frames, 1);
    EXPECT_LT(frames, 100);
}

TEST_F(MaidTest, the_lens_stops_at_its_end_however_far_it_is_to_go) {
    start();
    Opened* body = source();
    must({{"cmd", "set"}, {"id", "nikon-1"}, {"capability", "0x8248"}, {"value", 1e300}});
    ASSERT_EQ(setUnsigned(body, 0x8249, 0), 0);
    EXPECT_EQ(deviceState("nikon-1")["lensPosition"], 32767);
}

TEST_F(MaidTest, the_zoomed_area_follows_the_position_inside_of_the_image) {
    start();
    Opened* body = source();
    EXPECT_EQ(setUnsigned(body, 0x823E, 1), 0);
    must({{"cmd", "set"}, {"id", "nikon-1"}, {"capability", "0x823F"}, {"value", 5}});
    NkMAIDPoint point{300, 99999};
    EXPECT_EQ(run(body, kMaidCommandCapSet, 0x824A, kMaidDataPointPtr, addressOf(point)), 0);
    const std::string bytes = frame(body);
    EXPECT_EQ(wordAt(bytes, 20), 300u);
    EXPECT_EQ(wordAt(bytes, 22) + wordAt(bytes, 18), wordAt(bytes, 6));
}

TEST_F(MaidTest, completions_come_as_late_as_the_body_says) {
    start({{{"completeAfter", 3}}});
    Opened* body = source();
    uint32_t type = 0;
    Completion done;
    EXPECT_EQ(issue(body, kMaidCommandCapGet, 0x81D7, kMaidDataUnsignedPtr, addressOf(type), done), 0);
    poll(body, 2);
    EXPECT_EQ(done.count, 0);
    poll(body);
    EXPECT_EQ(done.count, 1);
    must({{"cmd", "trace"}, {"clear", true}});
}

TEST_F(MaidTest, completions_may_come_inside_of_the_call) {
    start({{{"completeAfter", 0}}});
    Opened* body = source();
    uint32_t type = 0;
    Completion done;
    EXPECT_EQ(issue(body, kMaidCommandCapGet, 0x81D7, kMaidDataUnsignedPtr, addressOf(type), done), 0);
    EXPECT_EQ(done.count, 1);
    Completion taken;
    EXPECT_EQ(issue(body, kMaidCommandCapStart, kMaidCapabilityCapture, 0, 0, taken), 0);
    EXPECT_EQ(taken.count, 1);
    EXPECT_TRUE(body->events.empty());
    poll(body, 2);
    EXPECT_EQ(body->events.size(), 1u);
    EXPECT_EQ(taken.count, 1);
}

TEST_F(MaidTest, the_trace_tells_object_command_and_value) {
    start();
    Opened* body = source();
    must({{"cmd", "trace"}, {"clear", true}});
    setUnsigned(body, 0x823C, 1);
    const Json calls = callsOf("MAIDEntryPoint");
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0]["device"], "nikon-1");
    EXPECT_EQ(calls[0]["args"], (Json{{"object", "1"},
                                      {"command", 6},
                                      {"param", 0x823C},
                                      {"dataType", 3},
                                      {"value", 1},
                                      {"completion", true}}));
    EXPECT_EQ(calls[0]["result"], 0);
    EXPECT_EQ(calls[1]["args"]["command"], 0);
}

TEST_F(MaidTest, a_fault_answers_and_completes_once_without_carrying_out) {
    start();
    Opened* body = source();
    must({{"cmd", "fault"}, {"call", "MAIDEntryPoint:6"}, {"capability", "0x823C"}, {"result", -116}});
    EXPECT_EQ(setUnsigned(body, 0x823C, 1), -116);
    EXPECT_EQ(last.result, -116);
    EXPECT_EQ(last.count, 1);
    EXPECT_EQ(getUnsigned(body, 0x823C), 0u);
    must({{"cmd", "fault"}, {"call", "MAIDEntryPoint:0"}, {"result", -116}});
    must({{"cmd", "press"}, {"id", "nikon-1"}});
    EXPECT_EQ(call(&body->record, kMaidCommandAsync, 0, 0, 0, nullptr, nullptr), -116);
    EXPECT_TRUE(body->events.empty());
}

}  // namespace
}  // namespace test
