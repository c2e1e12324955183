#include <gtest/gtest.h>

#include <cstdarg>

#include "CanonEds/canon_internal.h"
#include "TarvoRemote/rdebug.h"
#include "shared/vask_log.h"

namespace {

void log(const char* tag, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vask_log(tag, format, arguments);
    va_end(arguments);
}

TEST(CoreLog, WritesTheModulesNameAndTheTextToStandardError) {
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    rdebug(0, "PORT=%d\n", 54839);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "TarvoRemote: PORT=54839\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(CoreLog, NamesOnlyThreeModules) {
    EXPECT_STREQ(getModuleName(10), "Canon");
    EXPECT_STREQ(getModuleName(20), "Nikon");
    EXPECT_STREQ(getModuleName(30), "QuickTime");
    for (const int other : {0, 8, 40, 66, -1, 1000}) {
        EXPECT_STREQ(getModuleName(other), "TarvoRemote") << other;
    }
}

TEST(CoreLog, ReturnsWhatTheLastWriteReturned) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(rdebug(10, "%s", "four"), 4);
    testing::internal::GetCapturedStderr();
}

TEST(UnitLog, WritesTheTagAndTheTextToStandardOutput) {
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    log("NikonMaid", "%d\n", 5);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "NikonMaid: 5\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(UnitLog, MessageWithoutNewlineRunsIntoTheNextPrefix) {
    testing::internal::CaptureStdout();
    log("QTKitCapture", "half");
    log("QTKitCapture", "rest\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "QTKitCapture: halfQTKitCapture: rest\n");
}

TEST(UnitLog, CanonUnitHasItsTag) {
    testing::internal::CaptureStdout();
    debug("picture 0x%X\n", 0x81U);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "CanonEds: picture 0x81\n");
}

}  // namespace
