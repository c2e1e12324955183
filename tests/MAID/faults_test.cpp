// Faults as a module's caller meets them: which commands, how often, and late.
#include <algorithm>
#include <atomic>
#include <thread>

#include "tests/MAID/caller.h"

namespace test {
namespace {

class MaidFaults : public MaidTest {
protected:
    static void fault(Json fields) {
        fields["cmd"] = "fault";
        if (!fields.contains("call")) fields["call"] = "MAIDEntryPoint";
        must(fields);
    }

    /** A call is being held up. */
    static bool isUnderway() {
        const Json underway = must({{"cmd", "trace"}})["underway"];
        return std::any_of(underway.begin(), underway.end(), [](const Json& entry) {
            return entry.value("call", "").starts_with("MAIDEntryPoint");
        });
    }
};

TEST_F(MaidFaults, skip_calls_and_hit_as_many_as_they_say) {
    start();
    Opened* body = source();
    fault({{"call", "MAIDEntryPoint:6"}, {"result", -116}, {"skip", 2}, {"times", 3}});
    std::vector<int32_t> results;
    for (uint32_t value = 1; value <= 7; ++value) {
        results.push_back(setUnsigned(body, 0x823C, value % 2));
        EXPECT_EQ(last.result, results.back()) << "the completion says the same";
    }
    EXPECT_EQ(results, (std::vector<int32_t>{0, 0, -116, -116, -116, 0, 0}));
}

TEST_F(MaidFaults, of_no_number_stand_until_they_are_cleared) {
    start();
    Opened* body = source();
    fault({{"call", "MAIDEntryPoint:7"}, {"capability", "0x81D7"}, {"result", -127}, {"times", 0}});
    uint32_t type = 0;
    const auto data = reinterpret_cast<MaidParam>(&type);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(run(body, kMaidCommandCapGet, 0x81D7, kMaidDataUnsignedPtr, data), -127);
    }
    EXPECT_EQ(type, 0u);
    must({{"cmd", "clearFaults"}});
    EXPECT_EQ(getUnsigned(body, 0x81D7), 9u);
}

TEST_F(MaidFaults, match_the_capability_and_the_camera) {
    start({Json::object(), Json::object()});
    Opened* first = source(1);
    Opened* second = source(2);
    fault({{"call", "MAIDEntryPoint:6"}, {"device", "nikon-2"}, {"capability", "0x823D"}, {"result", -116}});
    EXPECT_EQ(setUnsigned(first, 0x823D, 1), 0);
    EXPECT_EQ(setUnsigned(second, 0x823C, 1), 0);
    EXPECT_EQ(setUnsigned(second, 0x823D, 1), -116);
    EXPECT_EQ(setUnsigned(second, 0x823D, 1), 0);
}

TEST_F(MaidFaults, with_a_delay_alone_carry_the_command_out_late) {
    start();
    Opened* body = source();
    EXPECT_EQ(getUnsigned(body, 0x823C), 0u);
    fault({{"call", "MAIDEntryPoint:6"}, {"delayMs", 3000}});
    std::atomic<bool> isDone{false};
    int32_t result = -1;
    Completion completion;
    std::thread late([&] {
        result = issue(body, kMaidCommandCapSet, 0x823C, kMaidDataUnsigned, 1, completion);
        isDone = true;
    });
    EXPECT_TRUE(eventually(isUnderway));
    // The camera's own side does not wait for it, and has not heard of it.
    EXPECT_EQ(must({{"cmd", "get"}, {"id", "nikon-1"}, {"capability", "0x823C"}})["value"], 0);
    EXPECT_FALSE(isDone);
    late.join();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(must({{"cmd", "get"}, {"id", "nikon-1"}, {"capability", "0x823C"}})["value"], 1);
    EXPECT_TRUE(pollUntil(body, [&] { return completion.count > 0; }));
    EXPECT_EQ(completion.count, 1);
}

TEST_F(MaidFaults, with_a_delay_and_a_result_do_not_carry_it_out_at_all) {
    start();
    Opened* body = source();
    fault({{"call", "MAIDEntryPoint:6"}, {"delayMs", 20}, {"result", -116}});
    EXPECT_EQ(setUnsigned(body, 0x823C, 1), -116);
    EXPECT_EQ(getUnsigned(body, 0x823C), 0u);
    EXPECT_EQ(setUnsigned(body, 0x823C, 1), 0);
}

TEST_F(MaidFaults, of_the_release_leave_the_shutter_closed) {
    start();
    Opened* body = source();
    fault({{"call", "MAIDEntryPoint:5"}, {"capability", kMaidCapabilityCapture}, {"result", -116}});
    EXPECT_EQ(run(body, kMaidCommandCapStart, kMaidCapabilityCapture), -116);
    poll(body, 3);
    EXPECT_TRUE(body->events.empty());
    EXPECT_EQ(deviceState("nikon-1")["shots"], 0);
    EXPECT_GE(run(body, kMaidCommandCapStart, kMaidCapabilityCapture), 0);
    EXPECT_EQ(deviceState("nikon-1")["shots"], 1);
}

TEST_F(MaidFaults, are_told_in_the_trace_with_what_they_answered) {
    start();
    Opened* body = source();
    must({{"cmd", "trace"}, {"clear", true}});
    fault({{"call", "MAIDEntryPoint:13"}, {"result", -125}});
    EXPECT_EQ(run(body, kMaidCommandEnumChildren), -125);
    const Json calls = callsOf("MAIDEntryPoint");
    ASSERT_FALSE(calls.empty());
    EXPECT_EQ(calls[0]["args"]["command"], 13);
    EXPECT_EQ(calls[0]["result"], -125);
    EXPECT_EQ(calls[0]["device"], "nikon-1");
}

}  // namespace
}  // namespace test
