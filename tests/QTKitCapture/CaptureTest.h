/* CaptureTest.h: a test of the capture unit on a framework and a bus of its own.
 *
 * Owns:   what the fakes hold, until the test ends.
 */
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "QTKitCapture/src/QTKitCapture.h"
#include "tests/QTKitCapture/FakeCapture.h"
#include "tests/QTKitCapture/FakeUsb.h"

#define QTKIT(name) Java_com_velmont_camera_qtkit_QTKitCapture_##name

using Lines = std::vector<std::string>;
using Words = std::vector<uint32_t>;

/** What the unit sent to the host. */
struct SentEvents {
    std::vector<int32_t> progress;
    std::vector<int32_t> status;
};

class CaptureTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    static void devices(const std::vector<std::optional<FakeDevice>>& all) { capture().reset(all); }
    static FakeCapture& capture() { return FakeCapture::framework(); }
    static SentEvents sent();

    static jlong select(jint index = 0) { return QTKIT(DoSelectCamera)(env(), nullptr, index); }
    static void release(jlong handle) { QTKIT(ReleaseCamera)(env(), nullptr, handle); }
    /** The array as the entry point gives it, let go by the next fetch of the thread. */
    static jintArray fetch(jlong handle) { return QTKIT(GetImageData)(env(), nullptr, handle); }
    static jint width(jlong handle) { return QTKIT(GetImageWidth)(env(), nullptr, handle); }
    static jint height(jlong handle) { return QTKIT(GetImageHeight)(env(), nullptr, handle); }
    /** A still's words; empty for null. */
    static Words still(jlong handle, jint count, jint width, jint height);
    static Words wordsOf(const IntArray* array);

    /** What the unit's log on standard output, or the platform log, got meanwhile. */
    static std::string outOf(const std::function<void()>& action);
    static std::string errOf(const std::function<void()>& action);
    static JNIEnv* env() { return GetGlobalEnv(); }
};
