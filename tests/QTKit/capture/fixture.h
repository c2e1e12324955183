/* fixture.h: a test with the framework's own part, and webcams that the test plays.
 *
 * Thread: the test's.
 * Owns:   its webcams; when a test ends no stream may be under way any more.
 */
#pragma once

#include "frameworks/QTKit/gstreamer/Errors.h"
#include "frameworks/QTKit/gstreamer/Stream.h"
#include "platform/CallScope.h"
#include "tests/QTKit/capture/FakeToolkit.h"
#include "tests/QTKit/witnesses.h"
#include "tests/e2e/support/patience.h"

namespace test {

using e2e::eventually;

class CaptureTest : public ::testing::Test {
protected:
    void SetUp() override {
        capture::patience() = {};
        camera = std::make_shared<FakeCamera>("0x1a110000046d0825");
        setCameras({camera});
    }
    void TearDown() override {
        camera->isStuck = false;
        EXPECT_TRUE(eventually([this] { return camera->threadsUnderway == 0; }));
        setCameras({});
        camera = nullptr;
        EXPECT_TRUE(eventually([] { return NumberedFrame::living == 0; }));
    }

    static Ref<QTCaptureDevice> device(size_t index = 0) {
        const CallScope scope;
        const QTCaptureDeviceList* list = QTCaptureDevice::inputDevices();
        EXPECT_NE(list, nullptr);
        return list->at(index);
    }
    static Chain chain() { return chainOf(device()); }

    FakeCameraRef camera;
};

}  // namespace test
