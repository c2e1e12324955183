// What live view allocates, and what happens when there is nothing to allocate: a program of its own, because
// it takes the allocator's place.
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

/* ---- Without memory ---- */

class NoMemory : public CaptureTest {
protected:
    void SetUp() override {
        CaptureTest::SetUp();
        handle = select();
        capture().deliver(FakeFrame{.width = 40, .height = 30, .number = 5});
    }
    void TearDown() override {
        failAllocation(0);
        EXPECT_EQ(wordsOf(fetch(handle)), patternWords(40, 30, 5)) << "with memory all is well again";
        release(handle);
        CaptureTest::TearDown();
    }
    std::string logOfFetch(int failing) const {
        return outOf([&] {
            failAllocation(failing);
            EXPECT_EQ(fetch(handle), nullptr);
            failAllocation(0);
        });
    }

    jlong handle = 0;
};

TEST_F(NoMemory, for_the_words_of_a_frame_is_told) {
    EXPECT_EQ(logOfFetch(1), "QTKitCapture: Bail test cameraData->dataBuffer\n");
}

TEST_F(NoMemory, for_the_array_of_a_frame_is_told) {
    for (const int failing : {2, 3, 4}) {
        EXPECT_EQ(logOfFetch(failing), "QTKitCapture: Bail test cameraData->pixelArray\n") << failing;
    }
}

TEST_F(NoMemory, for_a_larger_frame_leaves_no_array_of_the_smaller_one) {
    fetch(handle);
    capture().deliver(FakeFrame{.width = 80, .height = 60});
    logOfFetch(1);
    capture().deliver(FakeFrame{.locks = false});
    EXPECT_EQ(fetch(handle), nullptr);
    capture().deliver(FakeFrame{.width = 40, .height = 30, .number = 5});
}

TEST_F(NoMemory, for_a_still_gives_none) {
    fetch(handle);
    QTKitCapture_ReleaseImageData();
    for (int failing = 1; failing <= 2; ++failing) {
        failAllocation(failing);
        EXPECT_TRUE(still(handle, 1, 40, 30).empty()) << failing;
    }
    // Three sums, the words and the two parts of the array.
    for (int failing = 1; failing <= 6; ++failing) {
        failAllocation(failing);
        EXPECT_TRUE(still(handle, 2, 40, 30).empty()) << failing;
    }
}

}  // namespace
