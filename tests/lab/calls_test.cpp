// The trace: what an entry says, in which order, how many there may be.
#include "lab/Call.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "lab/Trace.h"
#include "tests/lab/support.h"

namespace test {
namespace {

class Calls : public ::testing::Test {
protected:
    void SetUp() override { lay(Json::array()); }
    static Json trace() { return must({{"cmd", "trace"}}); }
};

TEST_F(Calls, appear_with_all_that_they_said) {
    const int64_t before = lab::monotonicUs();
    {
        lab::Call call("OpenMovie", "canon-1");
        call.text("path", "/a \"b\"\n").number("size", -3).flag("handler", true);
        call.bytes("data", "\x01\xAB", 2).null("object").json("at", "[1,2]");
        EXPECT_FALSE(call.refused());
        EXPECT_EQ(call.done<int16_t>(-43), -43);
    }
    const Json entry = trace()["trace"].at(0);
    EXPECT_EQ(entry["call"], "OpenMovie");
    EXPECT_EQ(entry["device"], "canon-1");
    EXPECT_EQ(entry["thread"], gettid());
    EXPECT_EQ(entry["result"], -43);
    EXPECT_GE(entry["us"], before);
    EXPECT_LE(entry["us"], lab::monotonicUs());
    EXPECT_EQ(entry["args"], (Json{{"path", "/a \"b\"\n"},
                                   {"size", -3},
                                   {"handler", true},
                                   {"data", "01ab"},
                                   {"object", nullptr},
                                   {"at", {1, 2}}}));
}

TEST_F(Calls, without_device_or_result_say_null) {
    { const lab::Call call("EnterMovies"); }
    const Json entry = trace()["trace"].at(0);
    EXPECT_TRUE(entry["device"].is_null());
    EXPECT_TRUE(entry["result"].is_null());
    EXPECT_EQ(entry["args"], Json::object());
}

TEST_F(Calls, stand_in_the_order_in_which_they_began) {
    {
        lab::Call outer("Outer");
        lab::Call("Inner").done(0);
        const Json during = trace();
        EXPECT_EQ(during["trace"].size(), 1u);
        EXPECT_EQ(during["underway"].at(0)["call"], "Outer");
        outer.done(0);
    }
    const Json after = trace();
    ASSERT_EQ(after["trace"].size(), 2u);
    EXPECT_EQ(after["trace"][0]["call"], "Outer");
    EXPECT_EQ(after["trace"][1]["call"], "Inner");
    EXPECT_LT(after["trace"][0]["seq"], after["trace"][1]["seq"]);
    EXPECT_TRUE(after["underway"].empty());
}

TEST_F(Calls, that_carry_no_utf8_still_make_valid_json) {
    lab::Call("OpenMovie").text("path", "a\xFF\xC0\x80\xED\xA0\x80z\xE2\x82\xAC").done(0);
    EXPECT_EQ(trace()["trace"].at(0)["args"]["path"], "a\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDz\u20AC");
}

TEST_F(Calls, are_gone_once_cleared) {
    lab::Call("One").done(0);
    EXPECT_EQ(must({{"cmd", "trace"}, {"clear", true}})["trace"].size(), 1u);
    EXPECT_TRUE(trace()["trace"].empty());
    lab::Call("Two").done(0);
    EXPECT_EQ(trace()["trace"].size(), 1u);
}

TEST_F(Calls, beyond_the_limit_push_out_the_oldest_and_are_counted) {
    constexpr size_t kMore = 10;
    for (size_t i = 0; i < lab::Trace::kMostEntries + kMore; ++i) {
        lab::Call("Call").number("index", static_cast<int64_t>(i)).done(0);
    }
    const Json answer = must({{"cmd", "trace"}, {"clear", true}});
    EXPECT_EQ(answer["trace"].size(), lab::Trace::kMostEntries);
    EXPECT_EQ(answer["trace"].at(0)["args"]["index"], kMore);
    EXPECT_EQ(answer["dropped"], kMore);
    EXPECT_EQ(trace()["dropped"], 0);
}

TEST_F(Calls, of_several_threads_all_arrive_once) {
    constexpr int kThreads = 4;
    constexpr int kEach = 500;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([] {
            for (int j = 0; j < kEach; ++j) {
                lab::Call("Call", "x").number("j", j).done(j);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const Json entries = trace()["trace"];
    ASSERT_EQ(entries.size(), static_cast<size_t>(kThreads * kEach));
    for (size_t i = 1; i < entries.size(); ++i) {
        EXPECT_EQ(entries[i]["seq"].get<int>(), entries[i - 1]["seq"].get<int>() + 1);
        EXPECT_GE(entries[i]["us"], entries[i - 1]["us"]);
    }
}

}  // namespace
}  // namespace test
