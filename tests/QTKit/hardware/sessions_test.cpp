// Sessions on webcams: starting, stopping, and drivers that take their time.
#include "tests/QTKit/hardware/fixture.h"

namespace test {
namespace {

class HardwareSessions : public HardwareTest {};

TEST_F(HardwareSessions, start_and_stop_again_and_again) {
    const FakeRef fake = webcam("fake one");
    plugIn(fake);
    Chain chain = this->chain(fake);
    for (int round = 0; round < 20; ++round) {
        chain.output->setPixelBufferAttributes(sized(32 + round, 24));
        const size_t before = chain.taker->seen().size();
        chain.session->startRunning();
        ASSERT_TRUE(chain.taker->waitForMore(1));
        chain.session->stopRunning();
        ASSERT_TRUE(eventually([&] { return chain.taker->underway == 0; }));
        EXPECT_EQ(chain.taker->seen().at(before).width, static_cast<size_t>(32 + round));
        EXPECT_LE(fake->openCount, 1);
    }
}

TEST_F(HardwareSessions, do_not_wait_for_a_driver_that_hangs) {
    const FakeRef fake = webcam("fake one");
    plugIn(fake);
    Chain chain = this->chain(fake);
    chain.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(1));
    fake->manner = Manner::SlowToStop;
    chain.session->stopRunning();
    EXPECT_FALSE(chain.session->isRunning());
    EXPECT_EQ(fake->openCount, 1);
    // The next start finds the device free as soon as it is.
    chain.session->startRunning();
    EXPECT_TRUE(chain.session->isRunning());
    fake->manner = Manner::Well;
    EXPECT_TRUE(chain.taker->waitForMore(1));
    EXPECT_EQ(fake->openCount, 1);
}

TEST_F(HardwareSessions, of_two_webcams_run_side_by_side) {
    const FakeRef one = webcam("fake one");
    const FakeRef two = webcam("fake two");
    plugIn(one);
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
