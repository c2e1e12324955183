// What a file system says only when a file is closed: the linker sends the stream's own closing to the
// function below.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>

#include "frameworks/EDSDK/simulated/Streams.h"

namespace {

int closeFailure = 0;  // the next close() says so

}  // namespace

extern "C" {
int __real_close(int descriptor);
// Visible, since a sanitizer's library is linked to it as well.
__attribute__((visibility("default"))) int __wrap_close(int descriptor);

int __wrap_close(int descriptor) {
    const int result = __real_close(descriptor);  // Linux frees the number in any case
    if (closeFailure == 0) return result;
    errno = closeFailure;
    closeFailure = 0;
    return -1;
}
}

namespace {

class FileStreams : public testing::Test {
protected:
    FileStreams() {
        const int descriptor = mkstemp(path_.data());
        __real_close(descriptor);
        EXPECT_EQ(sim::openFileStream(path_.data(), kEdsFileCreateDisposition_CreateAlways,
                                      kEdsAccess_ReadWrite, stream_),
                  EDS_ERR_OK);
    }
    ~FileStreams() override { unlink(path_.data()); }

    EdsError settleWith(int failure) {
        closeFailure = failure;
        const EdsError error = stream_->settle();
        EXPECT_EQ(closeFailure, 0) << "nothing was closed";
        return error;
    }

    std::string path_ = testing::TempDir() + "tarvo_stream_XXXXXX";
    std::shared_ptr<sim::Stream> stream_;
};

TEST_F(FileStreams, settle_when_closing_says_nothing) {
    EXPECT_EQ(stream_->settle(), EDS_ERR_OK);
    EXPECT_EQ(settleWith(EINTR), EDS_ERR_OK) << "the close has happened all the same";
}

TEST_F(FileStreams, tell_what_only_closing_brings_to_light) {
    EXPECT_EQ(settleWith(ENOSPC), EDS_ERR_FILE_DISK_FULL_ERROR);
    EXPECT_EQ(settleWith(EDQUOT), EDS_ERR_FILE_DISK_FULL_ERROR);
    EXPECT_EQ(settleWith(EIO), EDS_ERR_FILE_IO_ERROR);
    EXPECT_EQ(settleWith(EACCES), EDS_ERR_FILE_PERMISSION_ERROR);
    EXPECT_EQ(settleWith(ENOTCONN), EDS_ERR_FILE_WRITE_ERROR);
}

TEST_F(FileStreams, stay_open_after_they_have_settled) {
    EXPECT_EQ(settleWith(EIO), EDS_ERR_FILE_IO_ERROR);
    EdsUInt64 length = 1;
    EXPECT_EQ(stream_->length(length), EDS_ERR_OK);
    EXPECT_EQ(length, 0u);
}

}  // namespace
