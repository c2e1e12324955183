// Streams on files and in memory.
#include <sys/fsuid.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "tests/EDSDK/fixture.h"

namespace test {
namespace {

class Streams : public EdsTest {
protected:
    static EdsError open(const std::string& path, EdsFileCreateDisposition disposition, EdsAccess access) {
        EdsStreamRef stream = nullptr;
        const EdsError error = EdsCreateFileStreamEx(path.c_str(), disposition, access, &stream);
        EXPECT_EQ(stream != nullptr, error == EDS_ERR_OK);
        if (error == EDS_ERR_OK) release(stream);
        return error;
    }
};

TEST_F(Streams, on_files_follow_their_disposition) {
    start({});
    const std::string there = folder.file("there");
    const std::string missing = folder.file("missing");
    struct Row {
        EdsFileCreateDisposition disposition;
        EdsError onMissing;
        EdsError onThere;
        uintmax_t sizeAfter;
    };
    const Row rows[] = {
        {kEdsFileCreateDisposition_CreateNew, EDS_ERR_OK, EDS_ERR_FILE_ALREADY_EXISTS, 3},
        {kEdsFileCreateDisposition_CreateAlways, EDS_ERR_OK, EDS_ERR_OK, 0},
        {kEdsFileCreateDisposition_OpenExisting, EDS_ERR_FILE_NOT_FOUND, EDS_ERR_OK, 3},
        {kEdsFileCreateDisposition_OpenAlways, EDS_ERR_OK, EDS_ERR_OK, 3},
        {kEdsFileCreateDisposition_TruncateExisting, EDS_ERR_FILE_NOT_FOUND, EDS_ERR_OK, 0},
    };
    for (const EdsAccess access : {kEdsAccess_Read, kEdsAccess_Write, kEdsAccess_ReadWrite}) {
        for (const Row& row : rows) {
            std::filesystem::remove(missing);
            folder.write("there", "abc");
            EXPECT_EQ(open(missing, row.disposition, access), row.onMissing) << row.disposition;
            EXPECT_EQ(open(there, row.disposition, access), row.onThere) << row.disposition;
            EXPECT_EQ(std::filesystem::file_size(there), row.sizeAfter) << row.disposition;
        }
    }
}

TEST_F(Streams, on_files_say_why_they_cannot_be) {
    start({});
    const EdsFileCreateDisposition always = kEdsFileCreateDisposition_CreateAlways;
    EXPECT_EQ(open(folder.file("none/file"), always, kEdsAccess_Write), EDS_ERR_FILE_NOT_FOUND);
    folder.write("file", "");
    EXPECT_EQ(open(folder.file("file/below"), always, kEdsAccess_Write), EDS_ERR_FILE_NOT_FOUND);
    EXPECT_EQ(open(folder.path(), always, kEdsAccess_Write), EDS_ERR_FILE_OPEN_ERROR);
    EXPECT_EQ(open("", always, kEdsAccess_Write), EDS_ERR_FILE_NOT_FOUND);
    EXPECT_EQ(open(folder.file(std::string(300, 'x')), always, kEdsAccess_Write), EDS_ERR_FILE_OPEN_ERROR);
    EXPECT_EQ(open(folder.file("x"), 99, kEdsAccess_Write), EDS_ERR_INVALID_PARAMETER);
    EXPECT_EQ(open(folder.file("x"), always, 99), EDS_ERR_INVALID_PARAMETER);
    EdsStreamRef stream = nullptr;
    EXPECT_EQ(EdsCreateFileStreamEx(nullptr, always, kEdsAccess_Write, &stream), EDS_ERR_INVALID_POINTER);
    EXPECT_EQ(EdsCreateFileStreamEx(folder.file("x").c_str(), always, kEdsAccess_Write, nullptr),
              EDS_ERR_INVALID_POINTER);
    EXPECT_FALSE(std::filesystem::exists(folder.file("x")));
}

/** The rights of somebody who owns nothing here, for this thread; the superuser may write anywhere. */
class NobodysRights {
public:
    NobodysRights() { setfsuid(65534); }
    ~NobodysRights() { setfsuid(geteuid()); }
    NobodysRights(const NobodysRights&) = delete;
    NobodysRights& operator=(const NobodysRights&) = delete;
};

TEST_F(Streams, on_files_are_refused_where_one_may_not_write) {
    start({});
    folder.write("file", "abc");
    std::filesystem::permissions(folder.file("file"), std::filesystem::perms::owner_read);
    const NobodysRights rights;
    EXPECT_EQ(open(folder.file("file"), kEdsFileCreateDisposition_CreateAlways, kEdsAccess_Write),
              EDS_ERR_FILE_PERMISSION_ERROR);
}

TEST_F(Streams, on_files_have_length_but_no_address) {
    start({});
    folder.write("file", "12345");
    EdsStreamRef stream = nullptr;
    ASSERT_EQ(EdsCreateFileStreamEx(folder.file("file").c_str(), kEdsFileCreateDisposition_OpenExisting,
                                    kEdsAccess_Read, &stream),
              EDS_ERR_OK);
    EdsUInt64 length = 0;
    EdsVoid* pointer = nullptr;
    EXPECT_EQ(EdsGetLength(stream, &length), EDS_ERR_OK);
    EXPECT_EQ(length, 5u);
    EXPECT_EQ(EdsGetLength(stream, nullptr), EDS_ERR_INVALID_POINTER);
    EXPECT_EQ(EdsGetPointer(stream, &pointer), EDS_ERR_NOT_SUPPORTED);
    EXPECT_EQ(EdsSetProgressCallback(stream, nullptr, 3, nullptr), EDS_ERR_INVALID_PARAMETER);
    release(stream);
}

TEST_F(Streams, that_may_only_be_read_take_no_picture) {
    EdsCameraRef reference = session();
    const auto items = shoot(reference);
    folder.write("file", "12345");
    EdsStreamRef stream = nullptr;
    ASSERT_EQ(EdsCreateFileStreamEx(folder.file("file").c_str(), kEdsFileCreateDisposition_OpenExisting,
                                    kEdsAccess_Read, &stream),
              EDS_ERR_OK);
    EXPECT_EQ(EdsDownload(items.at(0), info(items[0]).size, stream), EDS_ERR_FILE_WRITE_ERROR);
    release(stream);
    EXPECT_EQ(readFile(folder.file("file")), "12345");
    release(items[0]);
    release(reference);
}

TEST_F(Streams, in_memory_hold_what_was_downloaded) {
    EdsCameraRef reference = session(Json::object(), {{"photos", {folder.write("a.jpg", "picture")}}});
    const auto items = shoot(reference);
    for (const EdsUInt64 begin : {0U, 3U, 1000U}) {
        EdsStreamRef stream = nullptr;
        ASSERT_EQ(EdsCreateMemoryStream(begin, &stream), EDS_ERR_OK);
        EdsVoid* pointer = nullptr;
        EdsUInt64 length = 99;
        EXPECT_EQ(EdsGetLength(stream, &length), EDS_ERR_OK);
        EXPECT_EQ(length, 0u);
        EXPECT_EQ(EdsGetPointer(stream, &pointer), EDS_ERR_OK);
        EXPECT_NE(pointer, nullptr);
        EXPECT_EQ(EdsDownload(items.at(0), 7, stream), EDS_ERR_OK);
        EXPECT_EQ(EdsGetLength(stream, &length), EDS_ERR_OK);
        ASSERT_EQ(length, 7u);
        EXPECT_EQ(EdsGetPointer(stream, &pointer), EDS_ERR_OK);
        EXPECT_EQ(std::memcmp(pointer, "picture", 7), 0);
        release(stream);
        EXPECT_EQ(EdsDownloadCancel(items[0]), EDS_ERR_OK);
    }
    release(items[0]);
    release(reference);
}

TEST_F(Streams, in_memory_of_any_size_cost_nothing_before_they_are_filled) {
    start({});
    EdsStreamRef stream = nullptr;
    EXPECT_EQ(EdsCreateMemoryStream(UINT64_MAX, &stream), EDS_ERR_OK);
    release(stream);
}

TEST_F(Streams, stand_in_the_trace_with_their_path) {
    start({});
    const std::string path = folder.file("höhe \"1\".jpg");
    release(fileStream(path));
    EXPECT_EQ(callsOf("EdsCreateFileStreamEx").at(0)["args"],
              (Json{{"path", path}, {"disposition", 1}, {"access", 2}}));
    must({{"cmd", "fault"}, {"call", "EdsCreateFileStream"}, {"result", 1}});
    EdsStreamRef stream = nullptr;
    EXPECT_EQ(EdsCreateFileStreamEx(folder.file("other").c_str(), 1, 2, &stream), 1u);
    EXPECT_FALSE(std::filesystem::exists(folder.file("other")));
}

}  // namespace
}  // namespace test
