#include "frameworks/EDSDK/simulated/FileErrors.h"

#include <algorithm>
#include <array>
#include <cerrno>

namespace sim {

namespace {

struct Row {
    int systemError;
    EdsError error;
};

// A limit on the file's size or on what the user may store is a full disk to the one who writes.
constexpr std::array<Row, 13> kRows = {{{EACCES, EDS_ERR_FILE_PERMISSION_ERROR},
                                        {EPERM, EDS_ERR_FILE_PERMISSION_ERROR},
                                        {EROFS, EDS_ERR_FILE_PERMISSION_ERROR},
                                        {ETXTBSY, EDS_ERR_FILE_PERMISSION_ERROR},
                                        {ENOENT, EDS_ERR_FILE_NOT_FOUND},
                                        {ENOTDIR, EDS_ERR_FILE_NOT_FOUND},
                                        {EEXIST, EDS_ERR_FILE_ALREADY_EXISTS},
                                        {ENOSPC, EDS_ERR_FILE_DISK_FULL_ERROR},
                                        {EDQUOT, EDS_ERR_FILE_DISK_FULL_ERROR},
                                        {EFBIG, EDS_ERR_FILE_DISK_FULL_ERROR},
                                        {ENOMEM, EDS_ERR_MEM_ALLOC_FAILED},
                                        // What the camera handed over could not be read.
                                        {EFAULT, EDS_ERR_DEVICE_INTERNAL_ERROR},
                                        {EIO, EDS_ERR_FILE_IO_ERROR}}};

EdsError lookUp(int systemError, EdsError otherwise) {
    const auto* found = std::find_if(kRows.begin(), kRows.end(),
                                     [&](const Row& row) { return row.systemError == systemError; });
    return found == kRows.end() ? otherwise : found->error;
}

}  // namespace

EdsError openError(int systemError) {
    return lookUp(systemError, EDS_ERR_FILE_OPEN_ERROR);
}

EdsError writeError(int systemError) {
    return lookUp(systemError, EDS_ERR_FILE_WRITE_ERROR);
}

}  // namespace sim
