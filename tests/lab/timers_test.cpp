// What is done after a while, on the lab's own thread.
#include "lab/Timers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>

#include "tests/e2e/support/patience.h"

namespace {

using e2e::eventually;

/** Sets a timer when it goes. */
struct LastWill {
    std::shared_ptr<std::atomic<bool>> isDone;
    ~LastWill() {
        lab::after(0, [done = isDone] { *done = true; });
    }
};

TEST(Timers, may_be_set_by_what_an_action_held) {
    const auto isDone = std::make_shared<std::atomic<bool>>(false);
    lab::after(0, [will = std::make_shared<LastWill>(isDone)] {});
    EXPECT_TRUE(eventually([&] { return isDone->load(); })) << "the action was let go of under the lock";
}

TEST(Timers, go_off_in_the_order_of_their_moments) {
    const auto order = std::make_shared<std::atomic<int>>(0);
    lab::after(60, [order] { *order = *order * 10 + 2; });
    lab::after(20, [order] { *order = *order * 10 + 1; });
    lab::after(100, [order] { *order = *order * 10 + 3; });
    EXPECT_TRUE(eventually([&] { return *order == 123; })) << *order;
}

}  // namespace
