// What delivery takes of the heap by the library's own doing: nothing, once it is under way; and what happens
// when there is nothing left. What GStreamer takes is not counted.
#include <pthread.h>

#include <array>
#include <csignal>

#include "frameworks/QTKit/gstreamer/Frame.h"
#include "tests/QTKit/Newest.h"
#include "tests/QTKit/capture/fixture.h"
#include "tests/QTKitCapture/AllocationCounter.h"

namespace test {
namespace {

/** A picture of GStreamer's, and no more frames than it takes to show it. */
capture::Held<GstSample> sampleOfBgra() {
    const capture::Held<GstCaps> caps(
        gst_caps_from_string("video/x-raw,format=BGRA,width=64,height=48,framerate=30/1"));
    const capture::Held<GstBuffer> buffer(gst_buffer_new_allocate(nullptr, 64 * 48 * 4, nullptr));
    return capture::Held<GstSample>(gst_sample_new(buffer.get(), caps.get(), nullptr, nullptr));
}

bool isBlocked(int signal) {
    sigset_t blocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    return sigismember(&blocked, signal) == 1;
}

class CaptureAllocations : public CaptureTest {
protected:
    static void SetUpTestSuite() { gst_init(nullptr, nullptr); }
};

TEST_F(CaptureAllocations, are_none_in_steady_delivery) {
    const capture::Held<GstSample> sample = sampleOfBgra();
    camera->setFrames([&] { return capture::Frame::of(*sample); });
    Chain chain = this->chain();
    const auto newest = Ref<Newest>::adopt(new Newest);
    chain.output->setDelegate(&*newest);
    chain.session->startRunning();
    newest->waitForMore(20);
    // As many frames at once as ever on a machine that is busy with other things: their memory stays for
    // frames.
    std::array<Ref<CVImageBuffer>, 6> many;
    for (Ref<CVImageBuffer>& frame : many)
        frame = capture::Frame::of(*sample);
    many = {};
    startCountingAllocations();
    newest->waitForMore(100);
    EXPECT_EQ(stopCountingAllocations(), 0);
    chain.session->stopRunning();
    chain.output->setDelegate(nullptr);
    EXPECT_TRUE(eventually([this] { return camera->threadsUnderway == 0; }));
    camera->setFrames(nullptr);
}

TEST_F(CaptureAllocations, that_fail_cost_the_start_and_nothing_else) {
    Chain chain = this->chain();
    for (int number = 1; number < 60; ++number) {
        failAllocation(number);
        chain.session->startRunning();
        NSError* error = nullptr;
        chain.device->close();
        static_cast<void>(chain.device->open(&error));
        failAllocation(0);
        chain.session->stopRunning();
        EXPECT_FALSE(isBlocked(SIGTERM)) << number;
        EXPECT_TRUE(eventually([this] { return camera->threadsUnderway == 0; }));
    }
    const CallScope scope;
    NSError* error = nullptr;
    EXPECT_TRUE(chain.device->open(&error));
    chain.session->startRunning();
    EXPECT_TRUE(chain.session->isRunning());
    EXPECT_TRUE(chain.taker->waitForMore(3));
}

}  // namespace
}  // namespace test
