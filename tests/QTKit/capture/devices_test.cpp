// The framework's own part: devices and what is kept of them.
#include "tests/QTKit/capture/fixture.h"

namespace test {
namespace {

class CaptureDevices : public CaptureTest {};

TEST_F(CaptureDevices, are_named_as_they_were_found) {
    EXPECT_EQ(device()->localizedDisplayName(), "fake 0x1a110000046d0825");
    EXPECT_EQ(device()->uniqueID(), "0x1a110000046d0825");
}

TEST_F(CaptureDevices, are_unknown_when_nobody_can_tell) {
    setCameras({camera}, false);
    EXPECT_EQ(QTCaptureDevice::inputDevices(), nullptr);
}

TEST_F(CaptureDevices, are_one_object_for_one_place) {
    const Ref<QTCaptureDevice> first = device();
    // Plugged in again where it was: GStreamer has another object for it, the place is the same.
    const auto again = std::make_shared<FakeCamera>(camera->uniqueId());
    const auto other = std::make_shared<FakeCamera>("0x1a120000046d0825");
    setCameras({other, again});
    EXPECT_NE(device(0).get(), first.get());
    EXPECT_EQ(device(1).get(), first.get());
    NSError* error = nullptr;
    EXPECT_TRUE(first->open(&error));
    EXPECT_EQ(again->reservations, 1);
    EXPECT_EQ(camera->reservations, 0);
    setCameras({});
}

TEST_F(CaptureDevices, are_reserved_from_opening_to_closing) {
    const Ref<QTCaptureDevice> device = this->device();
    NSError* error = nullptr;
    EXPECT_FALSE(device->isOpen());
    EXPECT_TRUE(device->open(&error));
    EXPECT_TRUE(device->open(&error));
    EXPECT_EQ(error, nullptr);
    EXPECT_TRUE(device->isOpen());
    EXPECT_EQ(camera->reservations, 1);
    device->close();
    device->close();
    EXPECT_FALSE(device->isOpen());
    EXPECT_EQ(camera->reservations, 0);
}

TEST_F(CaptureDevices, are_free_again_when_nobody_has_them) {
    {
        const Ref<QTCaptureDevice> device = this->device();
        NSError* error = nullptr;
        EXPECT_TRUE(device->open(&error));
    }
    EXPECT_EQ(camera->reservations, 0);
}

TEST_F(CaptureDevices, say_why_they_cannot_be_opened) {
    const CallScope scope;
    for (const int64_t code : {int64_t{capture::kErrorDeviceBusy}, int64_t{capture::kErrorPermissionDenied},
                               QTErrorDeviceWasDisconnected}) {
        camera->refuseToOpen({code, "So it is."});
        NSError* error = nullptr;
        EXPECT_FALSE(device()->open(&error));
        ASSERT_NE(error, nullptr);
        EXPECT_EQ(error->code(), code);
        EXPECT_TRUE(error->localizedDescription().ends_with(" So it is.")) << error->description();
        EXPECT_FALSE(device()->isOpen());
    }
}

TEST_F(CaptureDevices, are_not_taken_for_busy_while_their_last_stream_lets_go) {
    Chain chain = this->chain();
    EXPECT_FALSE(camera->wasStreamingHere());
    chain.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(1));
    camera->isStuck = true;
    chain.session->stopRunning();
    chain.device->close();
    NSError* error = nullptr;
    EXPECT_TRUE(chain.device->open(&error));
    EXPECT_TRUE(camera->wasStreamingHere());
}

}  // namespace
}  // namespace test
