#include "tests/QTKitCapture/CaptureTest.h"

#include <mutex>

#include "QTKitCapture/src/UVCCameraControl.h"
#include "TarvoRemote/QTKitRemote.h"
#include "platform/Handles.h"

namespace {

std::mutex sentMutex;
SentEvents allSent;

}  // namespace

void QTKitRemote_handleProgress(int32_t percent) {
    const std::lock_guard guard(sentMutex);
    allSent.progress.push_back(percent);
}

void QTKitRemote_handleStatusEvent(int32_t status) {
    const std::lock_guard guard(sentMutex);
    allSent.status.push_back(status);
}

SentEvents CaptureTest::sent() {
    const std::lock_guard guard(sentMutex);
    return allSent;
}

void CaptureTest::SetUp() {
    FakeUsb::bus().reset();
    resetUVCControlTable();
    capture().reset({FakeDevice{}});
    const std::lock_guard guard(sentMutex);
    allSent = {};
    allSent.progress.reserve(200);  // tests that let allocations fail mean others
}

void CaptureTest::TearDown() {
    QTKitCapture_ReleaseImageData();
    capture().reset({});
    resetUVCControlTable();
    EXPECT_EQ(handles::liveCount(handles::Kind::VideoCamera), 0u) << "a camera was not released";
    EXPECT_EQ(capture().liveFrames, 0);
    EXPECT_EQ(capture().lockedFrames, 0);
    EXPECT_EQ(FakeUsb::bus().openInterfaces, 0);
}

Words CaptureTest::wordsOf(const IntArray* array) {
    if (array == nullptr) return {};
    const auto* words = static_cast<const uint32_t*>(array->elements);
    return Words(words, words + array->count);
}

Words CaptureTest::still(jlong handle, jint count, jint width, jint height) {
    jintArray array = QTKIT(CaptureImage)(env(), nullptr, handle, count, width, height);
    const Words words = wordsOf(array);
    freeIntArray(array);
    return words;
}

std::string CaptureTest::outOf(const std::function<void()>& action) {
    ::testing::internal::CaptureStdout();
    action();
    return ::testing::internal::GetCapturedStdout();
}

std::string CaptureTest::errOf(const std::function<void()>& action) {
    ::testing::internal::CaptureStderr();
    action();
    return ::testing::internal::GetCapturedStderr();
}
