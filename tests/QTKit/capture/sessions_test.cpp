// The framework's own part: sessions, and who may do what while they run.
#include <cmath>

#include "tests/QTKit/capture/fixture.h"
#include "tests/QTKit/session_rules.h"

namespace test {
namespace {

class CaptureSessions : public CaptureTest {};

TEST_F(CaptureSessions, deliver_on_a_thread_of_the_framework_with_output_and_connection) {
    Chain chain = this->chain();
    ASSERT_EQ(chain.input->connections().size(), 1u);
    EXPECT_EQ(chain.input->connections()[0]->mediaType(), QTMediaType::Video);
    deliverOnAThreadOfTheFramework(chain);
    chain.session->stopRunning();
    EXPECT_FALSE(chain.session->isRunning());
    EXPECT_TRUE(eventually([&] { return camera->streams == 0; }));
}

TEST_F(CaptureSessions, give_a_slow_delegate_the_newest_frame) {
    const auto gate = std::make_shared<Gate>();
    std::mutex mutex;
    std::vector<uint64_t> numbers;
    Chain chain = this->chain();
    chain.taker->setWork([&, gate](CVImageBuffer& frame) {
        gate->pass();
        const std::lock_guard guard(mutex);
        numbers.push_back(NumberedFrame::numberOf(frame));
    });
    chain.session->startRunning();
    ASSERT_TRUE(gate->waitForSomebody());
    const uint64_t before = camera->frames;
    ASSERT_TRUE(eventually([&] { return camera->frames > before + 50; }));
    const uint64_t newest = camera->frames;
    gate->open();
    ASSERT_TRUE(chain.taker->waitForMore(2));
    chain.session->stopRunning();
    ASSERT_TRUE(eventually([&] { return chain.taker->underway == 0; }));
    EXPECT_LE(numbers.at(0), before + 1);
    EXPECT_GE(numbers.at(1), newest);
}

TEST_F(CaptureSessions, deliver_nothing_once_stopped) {
    Chain chain = this->chain();
    for (int round = 0; round < 30; ++round) {
        chain.session->startRunning();
        ASSERT_TRUE(chain.taker->waitForMore(1));
        chain.session->stopRunning();
        EXPECT_FALSE(chain.session->isRunning());
        // One may be under way; when it has ended there is no other.
        ASSERT_TRUE(eventually([&] { return chain.taker->underway == 0; }));
        const size_t delivered = chain.taker->count();
        const uint64_t told = camera->frames;
        chain.session->startRunning();
        chain.session->stopRunning();
        EXPECT_TRUE(eventually([&] { return camera->streams == 0; }));
        EXPECT_LE(chain.taker->count(), delivered + (camera->frames - told));
    }
    EXPECT_EQ(camera->mostStreams, 1);
}

TEST_F(CaptureSessions, stop_without_waiting_for_a_delivery) {
    const auto gate = std::make_shared<Gate>();
    Chain chain = this->chain();
    chain.taker->setWork([gate](CVImageBuffer&) { gate->pass(); });
    chain.session->startRunning();
    ASSERT_TRUE(gate->waitForSomebody());
    chain.session->stopRunning();
    EXPECT_FALSE(chain.session->isRunning());
    // The device is let go of as well, whatever the delegate does, and the next run begins no other delivery
    // beside the one that hangs.
    EXPECT_TRUE(eventually([&] { return camera->streams == 0; }));
    chain.session->startRunning();
    const uint64_t before = camera->frames;
    EXPECT_TRUE(eventually([&] { return camera->frames > before + 10; }));
    EXPECT_EQ(chain.taker->mostUnderway, 1);
    EXPECT_EQ(chain.taker->count(), 0u);
    gate->open();
    EXPECT_TRUE(chain.taker->waitForMore(2));
    EXPECT_EQ(chain.taker->mostUnderway, 1);
}

TEST_F(CaptureSessions, hold_the_delegate_while_they_call_it) {
    Chain chain = this->chain();
    holdTheDelegateWhileTheyCallIt(chain);
}

TEST_F(CaptureSessions, retain_no_delegate_between_frames) {
    Chain chain = this->chain();
    retainNoDelegateBetweenFrames(chain);
}

TEST_F(CaptureSessions, let_a_delegate_call_back) {
    Chain chain = this->chain();
    letADelegateCallBack(chain);
}

TEST_F(CaptureSessions, may_end_inside_of_a_delivery) {
    Chain chain = this->chain();
    mayEndInsideOfADelivery(chain, [&] { return camera->streams == 0; });
}

TEST_F(CaptureSessions, stop_when_they_end_and_close_nothing) {
    Chain chain = this->chain();
    chain.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(1));
    chain.session = {};
    EXPECT_TRUE(eventually([&] { return camera->streams == 0; }));
    EXPECT_TRUE(chain.device->isOpen());
}

TEST_F(CaptureSessions, ask_for_the_size_that_is_wanted_at_their_start) {
    Chain chain = this->chain();
    chain.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(1));
    EXPECT_EQ(camera->lastSize(), std::nullopt);
    chain.output->setPixelBufferAttributes(sized(640, 480));
    chain.session->stopRunning();
    chain.session->startRunning();
    ASSERT_TRUE(eventually([&] { return camera->starts == 2; }));
    EXPECT_EQ(camera->lastSize(), (capture::FrameSize{640, 480}));
}

TEST_F(CaptureSessions, take_impossible_sizes_for_none) {
    Chain chain = this->chain();
    int starts = 0;
    using Size = std::pair<double, double>;
    for (const auto& [width, height] : {Size{0, 480}, Size{640, -1}, Size{1e9, 480}, Size{640, NAN}}) {
        chain.output->setPixelBufferAttributes(sized(width, height));
        chain.session->startRunning();
        ++starts;
        ASSERT_TRUE(eventually([&] { return camera->starts == starts; }));
        EXPECT_EQ(camera->lastSize(), std::nullopt);
        chain.session->stopRunning();
    }
}

TEST_F(CaptureSessions, deliver_no_pictures_over_disabled_connections) {
    Chain chain = this->chain();
    const auto& connection = chain.input->connections().at(0);
    EXPECT_TRUE(connection->isEnabled());
    connection->setEnabled(false);
    chain.session->startRunning();
    EXPECT_TRUE(eventually([&] { return camera->frames > 10; }));
    EXPECT_EQ(chain.taker->count(), 0u);
    connection->setEnabled(true);
    EXPECT_TRUE(chain.taker->waitForMore(1));
}

TEST_F(CaptureSessions, have_one_open_input_and_one_output_of_their_own) {
    const CallScope scope;
    NSError* error = nullptr;
    Chain chain = this->chain();
    // Twice the same is no second one.
    EXPECT_TRUE(chain.session->addInput_error(*chain.input, &error));
    EXPECT_TRUE(chain.session->addOutput_error(*chain.output, &error));
    const auto input =
        Ref<QTCaptureDeviceInput>::adopt(QTCaptureDeviceInput::createWithDevice(*chain.device));
    const auto output =
        Ref<QTCaptureDecompressedVideoOutput>::adopt(QTCaptureDecompressedVideoOutput::create());
    EXPECT_FALSE(chain.session->addInput_error(*input, &error));
    EXPECT_EQ(error->code(), capture::kErrorSessionFull);
    EXPECT_FALSE(chain.session->addOutput_error(*output, &error));
    EXPECT_EQ(error->code(), capture::kErrorSessionFull);
    const auto other = Ref<QTCaptureSession>::adopt(QTCaptureSession::create());
    EXPECT_FALSE(other->addOutput_error(*chain.output, &error));
    EXPECT_EQ(error->code(), capture::kErrorOutputInUse);
    chain.device->close();
    EXPECT_FALSE(other->addInput_error(*input, &error));
    EXPECT_EQ(error->code(), capture::kErrorDeviceNotOpen);
    // An output is free again when its session has ended.
    chain.session = {};
    EXPECT_TRUE(other->addOutput_error(*chain.output, &error));
}

TEST_F(CaptureSessions, begin_when_the_one_before_has_let_go_of_the_device) {
    Chain first = chain();
    Chain second = chain();
    first.session->startRunning();
    ASSERT_TRUE(first.taker->waitForMore(1));
    camera->isStuck = true;
    first.session->stopRunning();
    second.session->startRunning();
    EXPECT_TRUE(second.session->isRunning());
    EXPECT_EQ(camera->starts, 1);
    camera->isStuck = false;
    EXPECT_TRUE(second.taker->waitForMore(1));
    EXPECT_EQ(camera->mostStreams, 1);
}

TEST_F(CaptureSessions, may_be_stopped_while_they_wait_for_the_device) {
    Chain first = chain();
    Chain second = chain();
    first.session->startRunning();
    ASSERT_TRUE(first.taker->waitForMore(1));
    camera->isStuck = true;
    first.session->stopRunning();
    second.session->startRunning();
    second.session->stopRunning();
    EXPECT_FALSE(second.session->isRunning());
    camera->isStuck = false;
    EXPECT_TRUE(eventually([&] { return camera->streams == 0; }));
    first.session->startRunning();
    EXPECT_TRUE(first.taker->waitForMore(1));
}

TEST_F(CaptureSessions, survive_calls_in_any_order_from_several_threads) {
    Chain chain = this->chain();
    surviveCallsFromSeveralThreads(chain, [&] {
        NSError* error = nullptr;
        EXPECT_EQ(device().get(), chain.device.get());
        EXPECT_TRUE(chain.device->open(&error));
        camera->fail({capture::kErrorStreamFailed});
    });
    EXPECT_EQ(camera->mostStreams, 1);
}

}  // namespace
}  // namespace test
