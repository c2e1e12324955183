// Counts what live view allocates: a program of its own, because it takes the allocator's place.
#include "tests/QTKitCapture/AllocationCounter.h"
#include "tests/QTKitCapture/CaptureTest.h"

namespace {

class Allocations : public CaptureTest {
protected:
    template <class Action>
    static int countOf(Action action) {
        startCountingAllocations();
        action();
        return stopCountingAllocations();
    }
};

TEST_F(Allocations, of_steady_live_view_are_none) {
    const jlong handle = select();
    const Ref<CVImageBuffer> frames[] = {makeFrame({.width = 640, .height = 480, .number = 1}),
                                         makeFrame({.width = 640, .height = 480, .number = 2}),
                                         makeFrame({.width = 640, .height = 480, .bytesPerRow = 2624})};
    capture().deliver(frames[0]);
    EXPECT_GT(countOf([&] { fetch(handle); }), 0) << "the first frame is what allocates";
    EXPECT_EQ(countOf([&] {
                  for (int i = 0; i < 300; ++i) {
                      capture().deliver(frames[i % 3]);
                      fetch(handle);
                      QTKitCapture_ReleaseImageData();
                      width(handle);
                      height(handle);
                  }
              }),
              0);
    release(handle);
}

TEST_F(Allocations, come_with_another_size_alone) {
    const jlong handle = select();
    const Ref<CVImageBuffer> small = makeFrame({.width = 64, .height = 48});
    const Ref<CVImageBuffer> large = makeFrame({.width = 128, .height = 96});
    capture().deliver(small);
    fetch(handle);
    QTKitCapture_ReleaseImageData();
    capture().deliver(large);
    EXPECT_GT(countOf([&] { fetch(handle); }), 0);
    EXPECT_EQ(countOf([&] { fetch(handle); }), 0);
    release(handle);
}

}  // namespace
