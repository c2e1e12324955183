// What delivery takes of the heap: nothing, once it is under way; and what happens when there is nothing
// left.
#include "tests/QTKit/fixture.h"
#include "tests/QTKitCapture/AllocationCounter.h"

namespace test {
namespace {

/** Keeps the newest frame, as a live view does. */
class Newest final : public NSObject, public QTCaptureDecompressedVideoOutputDelegate {
public:
    void captureOutput_didOutputVideoFrame_withSampleBuffer_fromConnection(QTCaptureDecompressedVideoOutput*,
                                                                           CVImageBuffer* videoFrame, void*,
                                                                           QTCaptureConnection*) override {
        Ref<CVImageBuffer> frame = Ref<CVImageBuffer>::share(videoFrame);
        if (frame->lockBaseAddress() == kCVReturnSuccess) frame->unlockBaseAddress();
        const std::lock_guard guard(mutex_);
        std::swap(newest_, frame);
        ++count;
    }
    NSObject& delegateObject() override { return *this; }

    std::atomic<int> count{0};

private:
    ~Newest() override = default;

    std::mutex mutex_;
    Ref<CVImageBuffer> newest_;
};

class Allocations : public QTKitTest {
protected:
    static void waitFor(const Newest& newest, int frames) {
        const int wanted = newest.count + frames;
        // Without the helpers of the other tests, which allocate.
        for (int i = 0; i < 20000 && newest.count < wanted; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        EXPECT_GE(newest.count, wanted);
    }
};

TEST_F(Allocations, are_none_in_steady_delivery) {
    for (const Json& fields : {Json{{"noise", 5}}, Json{{"noise", 0}}}) {
        Json device = {{"width", 160}, {"height", 120}, {"fps", 500}};
        device.update(fields);
        start({device});
        Chain chain = this->chain();
        const auto newest = Ref<Newest>::adopt(new Newest);
        chain.output->setDelegate(&*newest);
        chain.session->startRunning();
        waitFor(*newest, 20);
        startCountingAllocations();
        waitFor(*newest, 100);
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
