// Sessions: when frames come, when they stop, and who may do what meanwhile.
#include <memory>

#include "tests/QTKit/fixture.h"
#include "tests/QTKit/session_rules.h"

namespace test {
namespace {

class Sessions : public QTKitTest {
protected:
    void SetUp() override { start({{{"width", 16}, {"height", 16}, {"fps", 500}}}); }
};

TEST_F(Sessions, deliver_on_a_thread_of_the_framework_with_output_and_connection) {
    Chain chain = this->chain();
    deliverOnAThreadOfTheFramework(chain);
    EXPECT_EQ(deviceState("v-1")["sessions"], 1);
    chain.session->stopRunning();
    EXPECT_EQ(deviceState("v-1")["sessions"], 0);
}

TEST_F(Sessions, are_never_ahead_of_the_rate) {
    start({{{"width", 8}, {"height", 8}, {"fps", 100}}});
    Chain chain = this->chain();
    const auto begin = std::chrono::steady_clock::now();
    chain.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(40));
    const Json state = deviceState("v-1");
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begin;
    // How far behind a busy machine is, is nobody's fault; what it missed is not made up for.
    const double due = state["frames"].get<double>() + state["missedFrames"].get<double>();
    EXPECT_LE(due, passed.count() * 100 + 1);
}

TEST_F(Sessions, deliver_nothing_once_stopped) {
    Chain chain = this->chain();
    for (int round = 0; round < 50; ++round) {
        chain.session->startRunning();
        ASSERT_TRUE(chain.taker->waitForMore(1));
        chain.session->stopRunning();
        EXPECT_FALSE(chain.session->isRunning());
        // One may be under way; when it has ended there is no other.
        ASSERT_TRUE(eventually([&] { return chain.taker->underway == 0; }));
        const uint64_t delivered = deviceState("v-1")["frames"];
        EXPECT_TRUE(eventually([&] { return chain.taker->count() == delivered; }));
        EXPECT_EQ(deviceState("v-1")["frames"], delivered);
    }
}

TEST_F(Sessions, stop_without_waiting_for_a_delivery) {
    const auto gate = std::make_shared<Gate>();
    Chain chain = this->chain();
    chain.taker->setWork([gate](CVImageBuffer&) { gate->pass(); });
    chain.session->startRunning();
    ASSERT_TRUE(gate->waitForSomebody());
    chain.session->stopRunning();
    EXPECT_FALSE(chain.session->isRunning());
    // Nor does the next run begin another delivery beside the one that hangs.
    chain.session->startRunning();
    EXPECT_TRUE(eventually([&] { return deviceState("v-1")["missedFrames"] > 5; }));
    EXPECT_EQ(chain.taker->mostUnderway, 1);
    EXPECT_EQ(chain.taker->count(), 0u);
    gate->open();
    EXPECT_TRUE(chain.taker->waitForMore(2));
    EXPECT_EQ(chain.taker->mostUnderway, 1);
}

TEST_F(Sessions, hold_the_delegate_while_they_call_it) {
    Chain chain = this->chain();
    holdTheDelegateWhileTheyCallIt(chain);
}

TEST_F(Sessions, retain_no_delegate_between_frames) {
    Chain chain = this->chain();
    retainNoDelegateBetweenFrames(chain);
}

TEST_F(Sessions, let_a_delegate_call_back) {
    Chain chain = this->chain();
    letADelegateCallBack(chain);
}

TEST_F(Sessions, may_end_inside_of_a_delivery) {
    Chain chain = this->chain();
    mayEndInsideOfADelivery(chain, [] { return living("sessions") == 0; });
}

TEST_F(Sessions, stop_when_they_end_and_close_nothing) {
    Chain chain = this->chain();
    chain.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(1));
    chain.session = {};
    EXPECT_EQ(deviceState("v-1")["sessions"], 0);
    EXPECT_TRUE(chain.device->isOpen());
}

TEST_F(Sessions, may_say_for_a_while_that_they_run) {
    start({{{"width", 16}, {"height", 16}, {"fps", 500}, {"stopMs", 30}}});
    Chain chain = this->chain();
    chain.session->startRunning();
    chain.session->stopRunning();
    EXPECT_TRUE(chain.session->isRunning());
    EXPECT_TRUE(eventually([&] { return !chain.session->isRunning(); }));
}

TEST_F(Sessions, wait_for_a_device_that_starts_slowly_or_not_at_all) {
    start({{{"width", 16}, {"height", 16}, {"fps", 0}}});
    Chain chain = this->chain();
    chain.session->startRunning();
    EXPECT_TRUE(chain.session->isRunning());
    EXPECT_EQ(chain.taker->count(), 0u);
    must({{"cmd", "set"}, {"id", "v-1"}, {"property", "fps"}, {"value", 400}});
    EXPECT_TRUE(chain.taker->waitForMore(2));
    must({{"cmd", "set"}, {"id", "v-1"}, {"property", "fps"}, {"value", 0}});
    EXPECT_EQ(must({{"cmd", "get"}, {"id", "v-1"}, {"property", "fps"}})["value"], 0);
    EXPECT_TRUE(chain.session->isRunning());
}

TEST_F(Sessions, begin_after_the_device_s_start_time) {
    start({{{"width", 16}, {"height", 16}, {"fps", 1000}, {"startMs", 40}}});
    Chain chain = this->chain();
    const auto begin = std::chrono::steady_clock::now();
    chain.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(1));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(40));
}

TEST_F(Sessions, deliver_no_pictures_over_disabled_or_silent_connections) {
    start({{{"width", 16}, {"height", 16}, {"fps", 500}, {"media", {"sound", "muxed"}}}});
    Chain chain = this->chain();
    const auto& connections = chain.input->connections();
    ASSERT_EQ(connections.size(), 2u);
    EXPECT_EQ(connections[0]->mediaType(), QTMediaType::Sound);
    EXPECT_EQ(connections[1]->mediaType(), QTMediaType::Muxed);
    EXPECT_TRUE(connections[1]->isEnabled());
    connections[1]->setEnabled(false);
    EXPECT_FALSE(connections[1]->isEnabled());
    chain.session->startRunning();
    EXPECT_TRUE(eventually([&] { return deviceState("v-1")["missedFrames"] > 5; }));
    EXPECT_EQ(chain.taker->count(), 0u);
    connections[1]->setEnabled(true);
    EXPECT_TRUE(chain.taker->waitForMore(1));
    EXPECT_EQ(chain.taker->lastConnection(), connections[1].get());
}

TEST_F(Sessions, deliver_the_same_frame_to_all_outputs) {
    const CallScope scope;
    NSError* error = nullptr;
    Chain chain = this->chain();
    const auto second =
        Ref<QTCaptureDecompressedVideoOutput>::adopt(QTCaptureDecompressedVideoOutput::create());
    const auto taker = Ref<Taker>::adopt(new Taker);
    second->setDelegate(&*taker);
    second->setPixelBufferAttributes(sized(4, 4));
    ASSERT_TRUE(chain.session->addOutput_error(*second, &error));
    taker->keepsBytes = true;
    chain.taker->keepsBytes = true;
    chain.session->startRunning();
    ASSERT_TRUE(taker->waitForMore(3));
    chain.session->stopRunning();
    ASSERT_TRUE(eventually([&] { return chain.taker->underway == 0 && taker->underway == 0; }));
    second->setDelegate(nullptr);
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(taker->seen()[i].width, 4u);
        EXPECT_EQ(taker->seen()[i].pixel(0, 0), chain.taker->seen()[i].pixel(0, 0));
    }
}

TEST_F(Sessions, refuse_closed_devices_and_outputs_of_others) {
    const CallScope scope;
    NSError* error = nullptr;
    Chain chain = this->chain();
    const auto other = Ref<QTCaptureSession>::adopt(QTCaptureSession::create());
    EXPECT_FALSE(other->addOutput_error(*chain.output, &error));
    ASSERT_NE(error, nullptr);
    error = nullptr;
    chain.device->close();
    EXPECT_FALSE(other->addInput_error(*chain.input, &error));
    EXPECT_NE(error, nullptr);
    // An output is free again when its session has ended.
    chain.session = {};
    error = nullptr;
    EXPECT_TRUE(other->addOutput_error(*chain.output, &error));
    EXPECT_EQ(error, nullptr);
}

TEST_F(Sessions, survive_calls_in_any_order_from_several_threads) {
    Chain chain = this->chain();
    surviveCallsFromSeveralThreads(chain, [&] {
        EXPECT_EQ(device().get(), chain.device.get());
        must({{"cmd", "state"}});
    });
}

}  // namespace
}  // namespace test
