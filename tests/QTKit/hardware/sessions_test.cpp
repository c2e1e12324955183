// Sessions on webcams: starting, stopping, and drivers that take their time.
#include "tests/QTKit/hardware/fixture.h"
#include "tests/QTKit/session_rules.h"

namespace test {
namespace {

class HardwareSessions : public HardwareTest {
protected:
    void SetUp() override {
        one = webcam("fake one");
        plugIn(one);
    }
    void TearDown() override {
        one = nullptr;
        HardwareTest::TearDown();
    }
    FakeRef one;
};

TEST_F(HardwareSessions, deliver_on_a_thread_of_the_framework_with_output_and_connection) {
    Chain chain = this->chain(one);
    deliverOnAThreadOfTheFramework(chain);
}

TEST_F(HardwareSessions, hold_the_delegate_while_they_call_it) {
    Chain chain = this->chain(one);
    holdTheDelegateWhileTheyCallIt(chain);
}

TEST_F(HardwareSessions, retain_no_delegate_between_frames) {
    Chain chain = this->chain(one);
    retainNoDelegateBetweenFrames(chain);
}

TEST_F(HardwareSessions, let_a_delegate_call_back) {
    Chain chain = this->chain(one);
    letADelegateCallBack(chain);
}

TEST_F(HardwareSessions, may_end_inside_of_a_delivery) {
    Chain chain = this->chain(one);
    mayEndInsideOfADelivery(chain, [&] { return one->openCount == 0; });
}

TEST_F(HardwareSessions, survive_calls_in_any_order_from_several_threads) {
    const FakeRef two = webcam("fake two");
    Chain chain = this->chain(one);
    surviveCallsFromSeveralThreads(chain, [&] {
        plugIn(two);
        EXPECT_EQ(names().size(), 2u);
        pullOut(two);
        EXPECT_EQ(device("fake one").get(), chain.device.get());
    });
    EXPECT_LE(one->openCount, 1);
}

TEST_F(HardwareSessions, start_and_stop_again_and_again) {
    Chain chain = this->chain(one);
    for (int round = 0; round < 20; ++round) {
        chain.output->setPixelBufferAttributes(sized(32 + round, 24));
        const size_t before = chain.taker->seen().size();
        chain.session->startRunning();
        ASSERT_TRUE(chain.taker->waitForMore(1));
        chain.session->stopRunning();
        ASSERT_TRUE(eventually([&] { return chain.taker->underway == 0; }));
        EXPECT_EQ(chain.taker->seen().at(before).width, static_cast<size_t>(32 + round));
        EXPECT_LE(one->openCount, 1);
    }
}

TEST_F(HardwareSessions, do_not_wait_for_a_driver_that_hangs) {
    Chain chain = this->chain(one);
    chain.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(1));
    one->isStuck = true;
    chain.session->stopRunning();
    EXPECT_FALSE(chain.session->isRunning());
    EXPECT_EQ(one->openCount, 1);
    // The next start finds the device free as soon as it is.
    chain.session->startRunning();
    EXPECT_TRUE(chain.session->isRunning());
    one->isStuck = false;
    EXPECT_TRUE(chain.taker->waitForMore(1));
    EXPECT_EQ(one->openCount, 1);
}

TEST_F(HardwareSessions, of_two_webcams_run_side_by_side) {
    const FakeRef two = webcam("fake two");
    plugIn(two);
    Chain first = chain(one);
    Chain second = chain(two);
    first.session->startRunning();
    second.session->startRunning();
    EXPECT_TRUE(first.taker->waitForMore(3));
    EXPECT_TRUE(second.taker->waitForMore(3));
}

}  // namespace
}  // namespace test
