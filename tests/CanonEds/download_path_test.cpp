// A path that names no file. Cameras give their files names, so the library is made up here.
#include <gtest/gtest.h>

#include <string>

#include "CanonEds/CanonCamera.h"
#include "CanonEds/CanonEdsjnilib.h"
#include "EDSDK.h"

namespace {

int released = 0;
int streams = 0;

}  // namespace

EdsError EdsGetDirectoryItemInfo(EdsDirectoryItemRef, EdsDirectoryItemInfo* info) {
    *info = {};
    return EDS_ERR_OK;
}

EdsError EdsCreateFileStreamEx(const EdsChar*, EdsFileCreateDisposition, EdsAccess, EdsStreamRef*) {
    ++streams;
    return EDS_ERR_FILE_OPEN_ERROR;
}

EdsUInt32 EdsRelease(EdsBaseRef) {
    ++released;
    return 0;
}

namespace {

using handles::Kind;

TEST(DownloadPath, ThatNamesAFolderIsRefusedBeforeAnyFileIsMade) {
    auto* record = handles::create<CanonCamera>(Kind::CanonSession);
    ASSERT_NE(record, nullptr);
    record->connected = true;
    record->fileName = "folder/";
    int object = 0;
    const int32_t item = handles::standFor(Kind::CanonDirectoryItem, &object);
    testing::internal::CaptureStdout();
    EXPECT_EQ(Mac_DownloadImage(GetGlobalEnv(), nullptr, record->handle(), item), 1002);
    const std::string log = testing::internal::GetCapturedStdout();
    EXPECT_NE(log.find("CanonEds: Could not create fileRef\nCanonEds: Download error 0x3EA\n"),
              std::string::npos)
        << log;
    EXPECT_EQ(streams, 0);
    EXPECT_EQ(released, 1) << "the item";
    handles::retire(Kind::CanonSession, record->handle());
}

}  // namespace
