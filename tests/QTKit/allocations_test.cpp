// What delivery takes of the heap: nothing, once it is under way; and what happens when there is nothing
// left.
#include "tests/QTKit/Newest.h"
#include "tests/QTKit/fixture.h"
#include "tests/QTKitCapture/AllocationCounter.h"

namespace test {
namespace {

class Allocations : public QTKitTest {};

TEST_F(Allocations, are_none_in_steady_delivery) {
    for (const Json& fields : {Json{{"noise", 5}}, Json{{"noise", 0}}}) {
        Json device = {{"width", 160}, {"height", 120}, {"fps", 500}};
        device.update(fields);
        start({device});
        Chain chain = this->chain();
        const auto newest = Ref<Newest>::adopt(new Newest);
        chain.output->setDelegate(&*newest);
        chain.session->startRunning();
        newest->waitForMore(20);
        startCountingAllocations();
        newest->waitForMore(100);
        EXPECT_EQ(stopCountingAllocations(), 0);
        chain.session->stopRunning();
        chain.output->setDelegate(nullptr);
    }
}

TEST_F(Allocations, that_fail_cost_a_frame_or_the_start_and_nothing_else) {
    start({{{"width", 16}, {"height", 16}, {"fps", 500}}});
    Chain chain = this->chain();
    for (int number = 1; number < 40; ++number) {
        failAllocation(number);
        chain.session->startRunning();
        failAllocation(0);
        chain.session->stopRunning();
    }
    chain.session->startRunning();
    EXPECT_TRUE(chain.session->isRunning());
    EXPECT_TRUE(chain.taker->waitForMore(3));
}

}  // namespace
}  // namespace test
