// The framework's own part: what goes wrong, and how it is told.
#include <new>
#include <system_error>

#include "tests/QTKit/capture/fixture.h"

namespace test {
namespace {

using namespace std::chrono_literals;

class CaptureErrors : public CaptureTest {
protected:
    void SetUp() override {
        CaptureTest::SetUp();
        hearer = Ref<Hearer>::adopt(new Hearer);
    }
    void TearDown() override {
        // Whoever tells of an error may still be on the way out of it.
        EXPECT_TRUE(eventually([this] { return hearer->retainCount() == 1; }));
        hearer = {};
        CaptureTest::TearDown();
    }

    /** One error has been told, of that session, on another thread. */
    void expectHeard(const Chain& chain, int64_t code) {
        ASSERT_TRUE(hearer->waitFor(1));
        const Hearer::Heard heard = hearer->heard().back();
        EXPECT_EQ(heard.code, code);
        EXPECT_EQ(heard.object, chain.session.get());
        EXPECT_NE(heard.thread, std::this_thread::get_id());
        EXPECT_FALSE(chain.session->isRunning());
    }

    Ref<Hearer> hearer;
};

TEST_F(CaptureErrors, of_the_device_end_the_run_and_reach_observers) {
    Chain chain = this->chain();
    chain.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(2));
    camera->fail({QTErrorDeviceWasDisconnected, "Pulled out."});
    expectHeard(chain, QTErrorDeviceWasDisconnected);
    EXPECT_TRUE(eventually([&] { return camera->streams == 0; }));
    EXPECT_EQ(hearer->heard().size(), 1u);
}

TEST_F(CaptureErrors, leave_a_session_that_can_be_started_again) {
    Chain chain = this->chain();
    for (size_t round = 1; round <= 5; ++round) {
        chain.session->startRunning();
        ASSERT_TRUE(chain.taker->waitForMore(1));
        camera->fail({capture::kErrorStreamFailed});
        ASSERT_TRUE(hearer->waitFor(round));
        EXPECT_EQ(hearer->heard().back().code, capture::kErrorStreamFailed);
    }
    EXPECT_EQ(camera->mostStreams, 1);
}

TEST_F(CaptureErrors, let_an_observer_start_the_session_again) {
    Chain chain = this->chain();
    std::atomic<bool> isFirst{true};
    hearer->setWork([&] {
        if (isFirst.exchange(false)) chain.session->startRunning();
    });
    chain.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(1));
    camera->fail({capture::kErrorStreamFailed});
    ASSERT_TRUE(eventually([&] { return camera->starts == 2; }));
    EXPECT_TRUE(chain.taker->waitForMore(1));
    EXPECT_EQ(hearer->heard().size(), 1u);
}

TEST_F(CaptureErrors, count_silence_before_the_first_frame_as_the_loss_of_the_device) {
    capture::patience().firstFrame = 20ms;
    camera->isSilent = true;
    Chain chain = this->chain();
    chain.session->startRunning();
    expectHeard(chain, QTErrorDeviceWasDisconnected);
    EXPECT_TRUE(eventually([&] { return camera->streams == 0; }));
    EXPECT_EQ(chain.taker->count(), 0u);
}

TEST_F(CaptureErrors, count_silence_between_frames_as_the_loss_of_the_device) {
    capture::patience().nextFrame = 200ms;
    Chain chain = this->chain();
    chain.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(2));
    camera->isSilent = true;
    expectHeard(chain, QTErrorDeviceWasDisconnected);
    EXPECT_TRUE(eventually([&] { return camera->streams == 0; }));
}

TEST_F(CaptureErrors, are_none_while_a_delegate_takes_its_time) {
    capture::patience().nextFrame = 400ms;
    const auto gate = std::make_shared<Gate>();
    Chain chain = this->chain();
    chain.taker->setWork([gate](CVImageBuffer&) { gate->pass(); });
    chain.session->startRunning();
    ASSERT_TRUE(gate->waitForSomebody());
    std::this_thread::sleep_for(2 * capture::patience().nextFrame);
    gate->open();
    EXPECT_TRUE(chain.taker->waitForMore(3));
    EXPECT_TRUE(hearer->heard().empty());
}

TEST_F(CaptureErrors, are_not_told_of_a_stopped_run) {
    camera->isSilent = true;
    Chain chain = this->chain();
    chain.session->startRunning();
    ASSERT_TRUE(eventually([&] { return camera->streams == 1; }));
    camera->isStuck = true;
    chain.session->stopRunning();
    camera->fail({capture::kErrorStreamFailed});
    EXPECT_TRUE(eventually([&] { return camera->hasFailed(); }));
    camera->isStuck = false;
    EXPECT_TRUE(eventually([&] { return camera->threadsUnderway == 0; }));
    EXPECT_TRUE(hearer->heard().empty());
}

TEST_F(CaptureErrors, may_meet_the_end_of_the_session) {
    for (int round = 0; round < 50; ++round) {
        Chain chain = this->chain();
        chain.session->startRunning();
        ASSERT_TRUE(chain.taker->waitForMore(1));
        camera->fail({capture::kErrorStreamFailed});
        chain.session = {};
        ASSERT_TRUE(eventually([&] { return camera->streams == 0; }));
        camera->fail({});
    }
}

TEST_F(CaptureErrors, of_a_start_are_told_by_notification) {
    Chain chain = this->chain();
    PixelBufferAttributes attributes;
    attributes.pixelFormat = 32;
    chain.output->setPixelBufferAttributes(attributes);
    chain.session->startRunning();
    expectHeard(chain, capture::kErrorUnsupportedFormat);
    chain.output->setPixelBufferAttributes({});
    chain.device->close();
    chain.session->startRunning();
    ASSERT_TRUE(hearer->waitFor(2));
    EXPECT_EQ(hearer->heard().back().code, capture::kErrorDeviceNotOpen);
    EXPECT_EQ(camera->starts, 0);
}

TEST_F(CaptureErrors, of_a_start_without_memory_or_threads_leave_the_device_free) {
    Chain chain = this->chain();
    camera->setNextStart([] { throw std::bad_alloc(); });
    chain.session->startRunning();
    expectHeard(chain, capture::kErrorNoResources);
    camera->setNextStart(
        [] { throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again)); });
    chain.session->startRunning();
    ASSERT_TRUE(hearer->waitFor(2));
    EXPECT_EQ(hearer->heard().back().code, capture::kErrorNoResources);
    chain.session->startRunning();
    EXPECT_TRUE(chain.taker->waitForMore(1));
}

TEST_F(CaptureErrors, tell_a_second_session_that_the_device_is_taken) {
    Chain first = chain();
    Chain second = chain();
    first.session->startRunning();
    ASSERT_TRUE(first.taker->waitForMore(1));
    second.session->startRunning();
    expectHeard(second, capture::kErrorDeviceBusy);
    EXPECT_TRUE(first.session->isRunning());
    EXPECT_TRUE(first.taker->waitForMore(1));
}

TEST_F(CaptureErrors, tell_that_the_device_is_taken_when_its_driver_hangs) {
    capture::patience().seat = 30ms;
    Chain chain = this->chain();
    chain.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(1));
    camera->isStuck = true;
    chain.session->stopRunning();
    chain.session->startRunning();
    expectHeard(chain, capture::kErrorDeviceBusy);
    EXPECT_EQ(camera->starts, 1);
}

}  // namespace
}  // namespace test
