#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "CanonEds/CanonEdsjnilib.h"
#include "CanonEds/CanonMemPool.h"
#include "EDSDK.h"
#include "platform/Tasks.h"

/* These take the place of the platform's: no thread and no event can be made. */
OSStatus CreateEvent(void*, OSType, uint32_t, double, uint32_t, EventRef*) {
    return eventInternalErr;
}

OSStatus MPCreateTask(TaskProc, void*, size_t, void*, void*, void*, uint32_t, MPTaskID*) {
    return kMPInsufficientResourcesErr;
}

namespace {

TEST(CanonLibraryWithoutATask, InitializeStillAnswersZero) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(Mac_InitializeSDK(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "CanonEds: Creating thread 0xFFFF8D8E\n");
    EXPECT_TRUE(isLibraryInitialised());
}

TEST(CanonLibraryWithoutATask, LaterCallsFailWithTheLibrarysOwnErrors) {
    Mac_InitializeSDK();
    testing::internal::CaptureStdout();
    EXPECT_NE(Mac_TerminateSDK(), 0) << "the library was never started";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "CanonEds: TerminateSDK 0x1\n");
}

TEST(CanonLibraryWithoutAnEvent, IsEndedByTheCallerWhileItsThreadGoesOn) {
    std::thread(TarvoCanonThreadFunction, nullptr).detach();
    std::string log;
    jint status = -1;
    while (log.find("Terminating helper thread\n") ==
           std::string::npos) {  // the thread has come to its queue
        std::this_thread::yield();
        testing::internal::CaptureStdout();
        status = Mac_TerminateSDK();
        log = testing::internal::GetCapturedStdout();
    }
    EXPECT_EQ(log,
              "CanonEds: Terminating helper thread\n"
              "CanonEds: CreateEvent status 0xFFFFD974\n"
              "CanonEds: TerminateSDK 0x1\n");
    // A try that came too early may have ended the library already.
    EXPECT_TRUE(status == 0 || status == EDS_ERR_INTERNAL_ERROR) << status;
}

}  // namespace
