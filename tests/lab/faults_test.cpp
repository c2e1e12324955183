// Faults: which calls they meet, how often, and what they do to them.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <optional>
#include <thread>

#include "lab/Call.h"
#include "tests/lab/support.h"

namespace test {
namespace {

class Faults : public ::testing::Test {
protected:
    void SetUp() override { lay(Json::array()); }
    void TearDown() override { must({{"cmd", "clearFaults"}}); }

    static void fault(Json fields) {
        fields["cmd"] = "fault";
        must(fields);
    }
    /** What a call is made to answer; nothing when it is carried out. */
    static std::optional<int64_t> meets(std::string_view name, std::string_view device = "canon-1",
                                        std::optional<int64_t> property = std::nullopt) {
        lab::Call call(name, device);
        if (property) call.number("property", *property);
        if (!call.refused()) return std::nullopt;
        return call.answer<int64_t>();
    }
};

constexpr std::optional<int64_t> kCarriedOut = std::nullopt;

TEST_F(Faults, hit_the_next_call_once) {
    fault({{"call", "EdsOpenSession"}, {"result", "0x81"}});
    EXPECT_EQ(meets("EdsCloseSession"), kCarriedOut);
    EXPECT_EQ(meets("EdsOpenSession"), 0x81);
    EXPECT_EQ(meets("EdsOpenSession"), kCarriedOut);
}

TEST_F(Faults, leave_faulted_calls_in_the_trace) {
    fault({{"call", "EdsOpenSession"}, {"result", -7}});
    meets("EdsOpenSession");
    const Json calls = callsOf("EdsOpenSession");
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0]["result"], -7);
}

TEST_F(Faults, skip_and_repeat_as_told) {
    fault({{"call", "A"}, {"result", 1}, {"skip", 2}, {"times", 2}});
    EXPECT_EQ(meets("A"), kCarriedOut);
    EXPECT_EQ(meets("A"), kCarriedOut);
    EXPECT_EQ(meets("A"), 1);
    EXPECT_EQ(meets("A"), 1);
    EXPECT_EQ(meets("A"), kCarriedOut);
}

TEST_F(Faults, of_no_number_stand_until_cleared) {
    fault({{"call", "A"}, {"result", 1}, {"times", 0}});
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(meets("A"), 1);
    }
    EXPECT_EQ(must({{"cmd", "state"}})["faults"].at(0)["applied"], 100);
    must({{"cmd", "clearFaults"}});
    EXPECT_EQ(meets("A"), kCarriedOut);
    EXPECT_TRUE(must({{"cmd", "state"}})["faults"].empty());
}

TEST_F(Faults, match_device_and_arguments) {
    fault({{"call", "A"}, {"result", 1}, {"device", "canon-2"}});
    EXPECT_EQ(meets("A", "canon-1"), kCarriedOut);
    EXPECT_EQ(meets("A", "canon-2"), 1);
    fault({{"call", "A"}, {"result", 2}, {"property", "0x406"}});
    EXPECT_EQ(meets("A", "canon-1", 0x405), kCarriedOut);
    EXPECT_EQ(meets("A", "canon-1"), kCarriedOut);
    EXPECT_EQ(meets("A", "canon-1", 0x406), 2);
}

TEST_F(Faults, match_every_argument_that_may_be_named) {
    for (const char* key : {"property", "capability", "unit", "selector", "request", "command", "param"}) {
        fault({{"call", "A"}, {"result", 1}, {key, 5}});
        lab::Call other("A");
        EXPECT_FALSE(other.number(key, 4).refused()) << key;
        lab::Call call("A");
        EXPECT_TRUE(call.number(key, 5).refused()) << key;
    }
}

TEST_F(Faults, name_a_command_behind_a_colon) {
    fault({{"call", "MAIDEntryPoint:7"}, {"result", -127}});
    lab::Call other("MAIDEntryPoint");
    EXPECT_FALSE(other.number("command", 6).refused());
    lab::Call call("MAIDEntryPoint");
    EXPECT_TRUE(call.number("command", 7).refused());
    EXPECT_EQ(call.answer<int>(), -127);
}

TEST_F(Faults, know_both_names_of_a_file_stream) {
    fault({{"call", "EdsCreateFileStream"}, {"result", 1}});
    EXPECT_EQ(meets("EdsCreateFileStreamEx"), 1);
    fault({{"call", "EdsCreateFileStreamEx"}, {"result", 1}});
    EXPECT_EQ(meets("EdsCreateFileStreamEx"), 1);
}

TEST_F(Faults, act_in_the_order_in_which_they_were_set) {
    fault({{"call", "A"}, {"result", 1}});
    fault({{"call", "A"}, {"result", 2}, {"skip", 1}});
    EXPECT_EQ(meets("A"), 1);  // the second never learns of this call
    EXPECT_EQ(meets("A"), kCarriedOut);
    EXPECT_EQ(meets("A"), 2);
}

TEST_F(Faults, with_a_delay_alone_carry_out_late) {
    fault({{"call", "A"}, {"delayMs", 30}});
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(meets("A"), kCarriedOut);
    EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(30));
}

TEST_F(Faults, with_a_delay_and_a_result_answer_late) {
    fault({{"call", "A"}, {"delayMs", 30}, {"result", 9}});
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(meets("A"), 9);
    EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(30));
}

TEST_F(Faults, hold_up_no_other_call) {
    constexpr int64_t kLong = 3000;
    fault({{"call", "Slow"}, {"delayMs", kLong}});
    std::atomic<bool> isDone{false};
    std::thread slow([&] {
        meets("Slow");
        isDone = true;
    });
    ASSERT_TRUE(eventually([] { return !must({{"cmd", "trace"}})["underway"].empty(); }));
    EXPECT_EQ(meets("Quick"), kCarriedOut);
    EXPECT_FALSE(isDone);
    slow.join();
}

TEST_F(Faults, that_make_no_sense_are_refused) {
    struct Row {
        Json fields;
        const char* problem;
    };
    const Row rows[] = {
        {{{"result", 1}}, "call: is missing"},
        {{{"call", 5}, {"result", 1}}, "call: expected a text, found 5"},
        {{{"call", "MAIDEntryPoint:open"}, {"result", 1}},
         "call: expected a command's number behind the colon"},
        {{{"call", "A"}, {"result", "0x100000000"}},
         "result: expected -2147483648 to 4294967295, found the text \"0x100000000\""},
        {{{"call", "A"}}, "a fault needs \"result\" or \"delayMs\""},
        {{{"call", "A"}, {"result", "x"}},
         "result: expected a whole number or a text like \"0x406\", "
         "found the text \"x\""},
        {{{"call", "A"}, {"result", 1}, {"skip", -1}}, "skip: expected 0 to 1099511627776, found -1"},
        {{{"call", "A"}, {"result", 1}, {"times", 1.5}},
         "times: expected a whole number or a text like \"0x406\", found 1.5"},
        {{{"call", "A"}, {"delayMs", -1}}, "delayMs: expected 0 to 86400000, found -1"},
        {{{"call", "A"}, {"result", 1}, {"propertty", 1}},
         "propertty: no such field, did you mean \"property\"?"},
    };
    for (Row row : rows) {
        row.fields["cmd"] = "fault";
        EXPECT_EQ(refused(row.fields), row.problem);
    }
    EXPECT_TRUE(must({{"cmd", "state"}})["faults"].empty());
}

}  // namespace
}  // namespace test
