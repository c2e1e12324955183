// The capture framework without devices.
#include <gtest/gtest.h>

#include "QTKit.h"
#include "platform/CallScope.h"

TEST(NullCapture, lists_no_device) {
    const CallScope scope;
    const QTCaptureDeviceList* list = QTCaptureDevice::inputDevices();
    ASSERT_NE(list, nullptr);
    EXPECT_TRUE(list->empty());
    EXPECT_EQ(QTCaptureSession::create(), nullptr);
    EXPECT_EQ(QTCaptureDecompressedVideoOutput::create(), nullptr);
    EXPECT_STREQ(QTCaptureSessionRuntimeErrorNotification.text, "QTCaptureSessionRuntimeErrorNotification");
}
