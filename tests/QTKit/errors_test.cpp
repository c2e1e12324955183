// Runtime errors: who hears of them, on which thread, and what becomes of the session.
#include "tests/QTKit/fixture.h"

namespace test {
namespace {

class Errors : public QTKitTest {
protected:
    void SetUp() override {
        start({{{"width", 16}, {"height", 16}, {"fps", 500}}, {{"width", 16}, {"height", 16}, {"fps", 500}}});
        hearer_ = Ref<Hearer>::adopt(new Hearer);
    }
    void TearDown() override {
        NSNotificationCenter::defaultCenter().removeObserver(*hearer_);
        hearer_ = {};
        QTKitTest::TearDown();
    }
    Ref<Hearer> hearer_;
};

TEST_F(Errors, tell_a_running_session_that_its_device_was_unplugged) {
    Chain chain = this->chain(0);
    Chain other = this->chain(1);
    chain.session->startRunning();
    other.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(1));
    must({{"cmd", "detach"}, {"id", "v-1"}});
    ASSERT_TRUE(hearer_->waitFor(1));
    EXPECT_EQ(hearer_->heard()[0].object, chain.session.get());
    EXPECT_EQ(hearer_->heard()[0].code, 1203);
    EXPECT_NE(hearer_->heard()[0].thread, std::this_thread::get_id());
    EXPECT_FALSE(chain.session->isRunning());
    EXPECT_TRUE(other.session->isRunning());
    EXPECT_TRUE(other.taker->waitForMore(2));
    // No frame after the cable; plugging it in again brings none either.
    const uint64_t delivered = deviceState("v-1")["frames"];
    must({{"cmd", "attach"}, {"id", "v-1"}});
    EXPECT_TRUE(other.taker->waitForMore(5));
    EXPECT_EQ(deviceState("v-1")["frames"], delivered);
    EXPECT_EQ(hearer_->heard().size(), 1u);
}

TEST_F(Errors, do_not_concern_sessions_that_do_not_run) {
    Chain chain = this->chain(0);
    Chain other = this->chain(1);
    other.session->startRunning();
    must({{"cmd", "detach"}, {"id", "v-1"}});
    must({{"cmd", "event"}, {"id", "v-2"}, {"error", 42}});
    ASSERT_TRUE(hearer_->waitFor(1));
    EXPECT_EQ(hearer_->heard()[0].code, 42);
    EXPECT_EQ(hearer_->heard()[0].object, other.session.get());
}

TEST_F(Errors, may_have_any_code_and_let_the_session_run) {
    Chain chain = this->chain(0);
    chain.session->startRunning();
    for (const int code : {1203, -1, 7}) {
        must({{"cmd", "event"}, {"id", "v-1"}, {"error", code}});
    }
    ASSERT_TRUE(hearer_->waitFor(3));
    EXPECT_EQ(hearer_->heard()[0].code, 1203);
    EXPECT_EQ(hearer_->heard()[1].code, -1);
    EXPECT_EQ(hearer_->heard()[2].code, 7);
    EXPECT_TRUE(chain.session->isRunning());
    EXPECT_TRUE(chain.taker->waitForMore(1));
    EXPECT_EQ(refused({{"cmd", "event"}, {"id", "v-1"}}), "error: is missing");
    EXPECT_EQ(refused({{"cmd", "press"}, {"id", "v-1"}}), "v-1 has no shutter button");
}

TEST_F(Errors, come_when_a_session_starts_without_its_device) {
    Chain chain = this->chain(0);
    must({{"cmd", "detach"}, {"id", "v-1"}});
    EXPECT_EQ(refused({{"cmd", "event"}, {"id", "v-1"}, {"error", 1}}), "v-1 is not attached");
    chain.session->startRunning();
    EXPECT_FALSE(chain.session->isRunning());
    ASSERT_TRUE(hearer_->waitFor(1));
    EXPECT_EQ(hearer_->heard()[0].code, 1203);
    EXPECT_NE(hearer_->heard()[0].thread, std::this_thread::get_id());
}

TEST_F(Errors, come_when_a_session_cannot_do_what_is_asked) {
    Chain chain = this->chain(0);
    PixelBufferAttributes attributes;
    attributes.pixelFormat = 0x79757673;
    chain.output->setPixelBufferAttributes(attributes);
    chain.session->startRunning();
    EXPECT_FALSE(chain.session->isRunning());
    ASSERT_TRUE(hearer_->waitFor(1));
    EXPECT_NE(hearer_->heard()[0].code, 1203);
    chain.output->setPixelBufferAttributes({});
    chain.device->close();
    chain.session->startRunning();
    EXPECT_FALSE(chain.session->isRunning());
    ASSERT_TRUE(hearer_->waitFor(2));
    EXPECT_NE(hearer_->heard()[1].code, hearer_->heard()[0].code);
}

TEST_F(Errors, are_told_without_a_lock_held) {
    std::atomic<bool> isDone{false};
    Chain chain = this->chain(0);
    hearer_->setWork([&] {
        chain.session->stopRunning();
        must({{"cmd", "state"}});
        must({{"cmd", "attach"}, {"id", "v-1"}});
        const CallScope scope;
        EXPECT_EQ(QTCaptureDevice::inputDevices()->size(), 2u);
        isDone = true;
    });
    chain.session->startRunning();
    must({{"cmd", "detach"}, {"id", "v-1"}});
    ASSERT_TRUE(eventually([&] { return isDone.load(); }));
    EXPECT_EQ(deviceState("v-1")["attached"], true);
    hearer_->setWork({});
}

TEST_F(Errors, let_go_of_the_session_without_a_lock_held) {
    const auto gate = std::make_shared<Gate>();
    {
        Chain chain = this->chain(0);
        chain.session->startRunning();
        must({{"cmd", "detach"}, {"id", "v-1"}});
        ASSERT_TRUE(hearer_->waitFor(1));
        hearer_->setWork([gate] { gate->pass(); });
        chain.session->startRunning();
        ASSERT_TRUE(gate->waitForSomebody());
        // Now the error that is being told is the only one that holds the session.
    }
    EXPECT_EQ(living("sessions"), 1);
    gate->open();
    EXPECT_TRUE(eventually([this] { return living("sessions") == 0; }));
    hearer_->setWork({});
}

TEST_F(Errors, are_told_while_a_delivery_hangs) {
    std::mutex mutex;
    std::unique_lock lock(mutex);
    Chain chain = this->chain(0);
    chain.taker->setWork([&](CVImageBuffer&) { const std::lock_guard guard(mutex); });
    chain.session->startRunning();
    ASSERT_TRUE(eventually([&] { return chain.taker->underway == 1; }));
    must({{"cmd", "detach"}, {"id", "v-1"}});
    EXPECT_TRUE(hearer_->waitFor(1));
    lock.unlock();
    ASSERT_TRUE(eventually([&] { return chain.taker->underway == 0; }));
}

TEST_F(Errors, end_with_the_world) {
    Chain chain = this->chain(0);
    chain.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(1));
    start({});
    ASSERT_TRUE(hearer_->waitFor(1));
    EXPECT_EQ(hearer_->heard()[0].code, 1203);
}

TEST_F(Errors, and_sessions_may_end_at_the_same_time) {
    for (int round = 0; round < 30; ++round) {
        Chain chain = this->chain(0);
        chain.session->startRunning();
        std::thread unplugger([] { must({{"cmd", "detach"}, {"id", "v-1"}}); });
        chain.session = {};
        unplugger.join();
        must({{"cmd", "attach"}, {"id", "v-1"}});
    }
}

}  // namespace
}  // namespace test
