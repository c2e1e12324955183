// The library with no camera attached: it starts, shows nothing, and refuses the rest.
#include <gtest/gtest.h>

#include <cstdint>

#include "EDSDK.h"

namespace {

class NullLibrary : public ::testing::Test {
protected:
    void SetUp() override { EdsTerminateSDK(); }
    void TearDown() override { EdsTerminateSDK(); }
};

TEST_F(NullLibrary, starts_once_and_ends_once) {
    EXPECT_EQ(EdsTerminateSDK(), EDS_ERR_INTERNAL_ERROR);
    EXPECT_EQ(EdsInitializeSDK(), EDS_ERR_OK);
    EXPECT_EQ(EdsInitializeSDK(), EDS_ERR_INTERNAL_ERROR);
    EXPECT_EQ(EdsGetEvent(), EDS_ERR_OK);
    EXPECT_EQ(EdsTerminateSDK(), EDS_ERR_OK);
    EXPECT_EQ(EdsTerminateSDK(), EDS_ERR_INTERNAL_ERROR);
    EXPECT_EQ(EdsGetEvent(), EDS_ERR_INTERNAL_ERROR);
}

TEST_F(NullLibrary, lists_no_camera) {
    EdsCameraListRef list = nullptr;
    EXPECT_EQ(EdsGetCameraList(&list), EDS_ERR_INTERNAL_ERROR);
    ASSERT_EQ(EdsInitializeSDK(), EDS_ERR_OK);
    EXPECT_EQ(EdsGetCameraList(nullptr), EDS_ERR_INVALID_POINTER);
    ASSERT_EQ(EdsGetCameraList(&list), EDS_ERR_OK);
    EdsUInt32 count = 7;
    EXPECT_EQ(EdsGetChildCount(list, nullptr), EDS_ERR_INVALID_POINTER);
    EXPECT_EQ(EdsGetChildCount(list, &count), EDS_ERR_OK);
    EXPECT_EQ(count, 0u);
    EdsBaseRef child = nullptr;
    EXPECT_EQ(EdsGetChildAtIndex(list, 0, &child), EDS_ERR_INVALID_INDEX);
    EXPECT_EQ(EdsRetain(list), 2u);
    EXPECT_EQ(EdsRelease(list), 1u);
    EXPECT_EQ(EdsRelease(list), 0u);
    EXPECT_EQ(EdsRelease(list), 0xFFFFFFFF);
    EXPECT_EQ(EdsRetain(list), 0xFFFFFFFF);
    EXPECT_EQ(EdsGetChildCount(list, &count), EDS_ERR_INVALID_HANDLE);
}

TEST_F(NullLibrary, makes_its_lists_void_when_it_ends) {
    EdsCameraListRef list = nullptr;
    ASSERT_EQ(EdsInitializeSDK(), EDS_ERR_OK);
    ASSERT_EQ(EdsGetCameraList(&list), EDS_ERR_OK);
    ASSERT_EQ(EdsTerminateSDK(), EDS_ERR_OK);
    EXPECT_EQ(EdsRelease(list), 0xFFFFFFFF);
}

/** Calls every function that takes a reference with one that was never given out. */
void expectUnknown(EdsBaseRef forged) {
    EdsInt32 value = 0;
    EdsUInt32 size = 0;
    EdsUInt64 length = 0;
    EdsDataType type = 0;
    EdsVoid* pointer = nullptr;
    EdsBaseRef made = nullptr;
    EdsDeviceInfo device{};
    EdsPropertyDesc description{};
    EdsDirectoryItemInfo item{};
    const EdsError answers[] = {EdsGetChildCount(forged, &size),
                                EdsGetChildAtIndex(forged, 0, &made),
                                EdsGetDeviceInfo(forged, &device),
                                EdsOpenSession(forged),
                                EdsCloseSession(forged),
                                EdsSendCommand(forged, 0, 0),
                                EdsSendStatusCommand(forged, 0, 0),
                                EdsSetCapacity(forged, {1, 1, 1}),
                                EdsSetObjectEventHandler(forged, 0x200, nullptr, nullptr),
                                EdsSetPropertyEventHandler(forged, 0x100, nullptr, nullptr),
                                EdsSetCameraStateEventHandler(forged, 0x300, nullptr, nullptr),
                                EdsGetPropertySize(forged, 1, 0, &type, &size),
                                EdsGetPropertyData(forged, 1, 0, 4, &value),
                                EdsSetPropertyData(forged, 1, 0, 4, &value),
                                EdsGetPropertyDesc(forged, 1, &description),
                                EdsGetDirectoryItemInfo(forged, &item),
                                EdsDownload(forged, 1, forged),
                                EdsDownloadComplete(forged),
                                EdsDownloadCancel(forged),
                                EdsGetLength(forged, &length),
                                EdsGetPointer(forged, &pointer),
                                EdsSetProgressCallback(forged, nullptr, 0, nullptr),
                                EdsCreateEvfImageRef(forged, &made),
                                EdsDownloadEvfImage(forged, forged)};
    for (const EdsError answer : answers) {
        EXPECT_EQ(answer, EDS_ERR_INVALID_HANDLE);
    }
    EXPECT_EQ(EdsRetain(forged), 0xFFFFFFFF);
    EXPECT_EQ(EdsRelease(forged), 0xFFFFFFFF);
}

TEST_F(NullLibrary, knows_no_other_reference) {
    int here = 0;
    for (const bool isStarted : {false, true}) {
        if (isStarted) {
            ASSERT_EQ(EdsInitializeSDK(), EDS_ERR_OK);
        }
        for (const intptr_t number :
             {intptr_t{0}, intptr_t{1}, intptr_t{-1}, reinterpret_cast<intptr_t>(&here)}) {
            expectUnknown(reinterpret_cast<EdsBaseRef>(number));
        }
    }
}

TEST_F(NullLibrary, has_no_use_for_streams) {
    EdsStreamRef stream = nullptr;
    EXPECT_EQ(EdsCreateMemoryStream(1, &stream), EDS_ERR_INTERNAL_ERROR);
    ASSERT_EQ(EdsInitializeSDK(), EDS_ERR_OK);
    EXPECT_EQ(EdsCreateMemoryStream(1, &stream), EDS_ERR_NOT_SUPPORTED);
    EXPECT_EQ(EdsCreateFileStreamEx("/nowhere", 1, 2, &stream), EDS_ERR_NOT_SUPPORTED);
    EXPECT_EQ(stream, nullptr);
}

}  // namespace
