#include "platform/WholeFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>

namespace {

namespace fs = std::filesystem;

class WholeFileTest : public testing::Test {
protected:
    WholeFileTest() {
        std::string pattern = (fs::temp_directory_path() / "tarvo-files-XXXXXX").string();
        folder = mkdtemp(pattern.data());
        path = folder / "picture.nef";
    }
    ~WholeFileTest() override { fs::remove_all(folder); }

    std::string content() const {
        std::ifstream written(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(written), std::istreambuf_iterator<char>()};
    }

    /** What has a name in the folder. */
    size_t fileCount() const {
        return static_cast<size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
    }

    mode_t permissions() const {
        struct stat status {};
        stat(path.c_str(), &status);
        return status.st_mode & 07777;
    }

    fs::path folder;
    fs::path path;
    WholeFile file;
};

TEST_F(WholeFileTest, AppearsWhenItIsKept) {
    ASSERT_TRUE(file.open(path));
    EXPECT_TRUE(file.write("whole", 5));
    EXPECT_FALSE(fs::exists(path));
    EXPECT_TRUE(file.write(" picture", 8));
    EXPECT_TRUE(file.keep());
    EXPECT_EQ(content(), "whole picture");
    EXPECT_EQ(fileCount(), 1U);
    EXPECT_FALSE(file.isOpen());
    EXPECT_FALSE(file.keep()) << "once";
}

TEST_F(WholeFileTest, IsForcedToTheMediumWhereThereIsOne) {
    EXPECT_FALSE(file.forceToMedium()) << "not open";
    ASSERT_TRUE(file.open(path));
    EXPECT_TRUE(file.write("whole", 5));
    EXPECT_TRUE(file.forceToMedium());
    EXPECT_TRUE(file.keep());
    EXPECT_EQ(content(), "whole");
    ASSERT_TRUE(file.open("/dev/null"));
    EXPECT_TRUE(file.forceToMedium());
}

TEST_F(WholeFileTest, HasRoomInAdvanceWhereTheFileSystemGivesIt) {
    constexpr off_t kRoom = 1 << 20;
    const int probe = open((folder / "probe").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
    const bool isGiven = fallocate(probe, FALLOC_FL_KEEP_SIZE, 0, kRoom) == 0;
    close(probe);
    ASSERT_TRUE(file.open(path));
    file.reserve(kRoom);
    EXPECT_TRUE(file.write("whole", 5));
    EXPECT_TRUE(file.keep());
    EXPECT_EQ(content(), "whole");
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_blocks * 512 >= kRoom, isGiven);
}

TEST_F(WholeFileTest, MayBeAskedForRoomThatNobodyHas) {
    file.reserve(1);
    ASSERT_TRUE(file.open(path));
    errno = 0;
    file.reserve(0);
    file.reserve(std::numeric_limits<uint64_t>::max());
    EXPECT_EQ(errno, 0);
    EXPECT_TRUE(file.write("whole", 5));
    EXPECT_TRUE(file.keep());
    EXPECT_EQ(content(), "whole");
    ASSERT_TRUE(file.open("/dev/null"));
    errno = 0;
    file.reserve(1);
    EXPECT_EQ(errno, 0);
}

TEST_F(WholeFileTest, GivenUpLeavesNothing) {
    ASSERT_TRUE(file.open(path));
    EXPECT_TRUE(file.write("piece", 5));
    file.discard();
    EXPECT_EQ(fileCount(), 0U);
    {
        WholeFile other;
        ASSERT_TRUE(other.open(path));
        EXPECT_TRUE(other.write("piece", 5));
    }
    EXPECT_EQ(fileCount(), 0U);
}

TEST_F(WholeFileTest, TakesThePlaceAndThePermissionsOfAnOlderOne) {
    std::ofstream(path) << "older and longer than the new one";
    chmod(path.c_str(), 0640);
    ASSERT_TRUE(file.open(path));
    EXPECT_TRUE(file.write("new", 3));
    EXPECT_EQ(content(), "older and longer than the new one");
    EXPECT_TRUE(file.keep());
    EXPECT_EQ(content(), "new");
    EXPECT_EQ(permissions(), 0640U);
    EXPECT_EQ(fileCount(), 1U);
}

TEST_F(WholeFileTest, GetsThePermissionsOfAnyNewFile) {
    const mode_t mask = umask(027);
    ASSERT_TRUE(file.open(path) && file.keep());
    umask(mask);
    EXPECT_EQ(permissions(), 0640U);
}

TEST_F(WholeFileTest, FollowsLinks) {
    fs::create_directory(folder / "elsewhere");
    std::ofstream(folder / "elsewhere/file") << "older";
    fs::create_symlink("elsewhere/file", path);
    ASSERT_TRUE(file.open(path) && file.write("new", 3) && file.keep());
    EXPECT_TRUE(fs::is_symlink(path));
    EXPECT_EQ(content(), "new");
}

TEST_F(WholeFileTest, AppearsWhereALinkLeadsToNothingYet) {
    fs::create_directory(folder / "sub");
    fs::create_symlink("sub/second", folder / "first");
    fs::create_symlink("picture", folder / "sub" / "second");
    ASSERT_TRUE(file.open(folder / "first"));
    EXPECT_TRUE(file.write("new", 3));
    EXPECT_TRUE(file.keep());
    EXPECT_TRUE(fs::is_symlink(folder / "first"));
    EXPECT_TRUE(fs::is_symlink(folder / "sub" / "second"));
    path = folder / "sub" / "picture";
    EXPECT_EQ(content(), "new");
    const fs::path elsewhere = folder / "elsewhere";
    fs::create_symlink(elsewhere, folder / "absolute");
    ASSERT_TRUE(file.open(folder / "absolute"));
    EXPECT_TRUE(file.keep());
    EXPECT_TRUE(fs::is_symlink(folder / "absolute"));
    EXPECT_TRUE(fs::is_regular_file(elsewhere));
}

TEST_F(WholeFileTest, CannotLieWhereLinksLeadRound) {
    fs::create_symlink("picture.nef", path);
    EXPECT_FALSE(file.open(path));
    EXPECT_EQ(errno, ELOOP);
    EXPECT_TRUE(fs::is_symlink(path));
}

/** For a process of its own, which ends with 0 if the action holds. Nothing is protected from root. */
template <class Action>
[[noreturn]] void asNobody(Action action) {
    constexpr uid_t kNobody = 65534;
    const bool isOrdinary = geteuid() != 0 || setuid(kNobody) == 0;
    _exit(isOrdinary && action() ? 0 : 1);
}

TEST_F(WholeFileTest, OfAProtectedFolderIsWrittenIntoIfItMayBe) {
    std::ofstream(path) << "older and longer";
    chmod(path.c_str(), 0666);
    chmod(folder.c_str(), 0555);
    EXPECT_EXIT(asNobody([&] {
                    WholeFile other;
                    return other.open(path) && other.write("new", 3) && other.keep() && !other.isOpen();
                }),
                testing::ExitedWithCode(0), "");
    EXPECT_EQ(content(), "new");
    EXPECT_EXIT(asNobody([&] {
                    WholeFile untouched;
                    return untouched.open(path);
                }),
                testing::ExitedWithCode(0), "");
    EXPECT_EQ(content(), "new") << "nothing was written";
    EXPECT_EXIT(asNobody([&] {
                    WholeFile piece;
                    return piece.open(path) && piece.write("piece", 5) && (piece.discard(), true);
                }),
                testing::ExitedWithCode(0), "");
    EXPECT_EQ(content(), "");
    EXPECT_EXIT(asNobody([&] { return !WholeFile().open(folder / "another") && errno == EACCES; }),
                testing::ExitedWithCode(0), "");
    chmod(folder.c_str(), 0777);
}

TEST_F(WholeFileTest, MayHaveTheLongestName) {
    path = folder / std::string(255, 'n');
    ASSERT_TRUE(file.open(path) && file.write("new", 3) && file.keep());
    EXPECT_EQ(content(), "new");
}

TEST_F(WholeFileTest, MayLieInTheCurrentFolder) {
    const fs::path before = fs::current_path();
    fs::current_path(folder);
    EXPECT_TRUE(file.open("picture.nef") && file.write("new", 3) && file.keep());
    fs::current_path(before);
    EXPECT_EQ(content(), "new");
}

TEST_F(WholeFileTest, CannotLieWhereNoFileCan) {
    EXPECT_FALSE(file.open(folder / "missing/file"));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(file.open(folder)) << "a folder";
    EXPECT_FALSE(file.open(""));
    EXPECT_FALSE(file.open(folder / std::string(256, 'n')) && file.keep());
    EXPECT_EQ(fileCount(), 0U);
}

TEST_F(WholeFileTest, DoesNotReplaceWhatMayNotBeWritten) {
    std::ofstream(path) << "older";
    chmod(path.c_str(), 0444);
    chmod(folder.c_str(), 0777);
    EXPECT_EXIT(asNobody([&] { return !WholeFile().open(path) && errno == EACCES; }),
                testing::ExitedWithCode(0), "");
    EXPECT_EQ(content(), "older");
}

TEST_F(WholeFileTest, ThatCannotTakeItsPlaceLeavesNothing) {
    ASSERT_TRUE(file.open(path) && file.write("new", 3));
    fs::create_directory(path);
    EXPECT_FALSE(file.keep());
    fs::remove(path);
    EXPECT_EQ(fileCount(), 0U);
}

TEST_F(WholeFileTest, ADeviceIsWrittenInto) {
    ASSERT_TRUE(file.open("/dev/null"));
    EXPECT_TRUE(file.write("anything", 8));
    EXPECT_TRUE(file.keep());
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
    ASSERT_TRUE(file.open("/dev/full"));
    EXPECT_FALSE(file.write("anything", 8));
    EXPECT_EQ(errno, ENOSPC);
}

TEST_F(WholeFileTest, APipeThatNobodyReadsHoldsNobodyUp) {
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_FALSE(file.open(path));
    EXPECT_EQ(errno, ENXIO);
}

}  // namespace
