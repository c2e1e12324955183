// A picture file is whole or absent: unplugged cameras, full disks and closed folders lose no picture
// silently.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/e2e/support/canon_fixture.h"
#include "tests/e2e/support/small_disk.h"

namespace e2e {
namespace {

using Names = std::vector<std::string>;

constexpr int64_t kFileSize = 3000000;

Json pairCamera(const Json& more = Json::object()) {
    Json camera = usualCamera(
        {{"shots", shotOf({madeUpFile("IMG_0001.CR2", kFileSize), madeUpFile("IMG_0001.JPG", kFileSize)})},
         {"properties", property(kImageQuality, 9, kRawAndJpegQuality)}});
    camera.update(more);
    return camera;
}

class WholeFiles : public CanonTest {
protected:
    /** An error to the host on both ways: the answer, and a state event. */
    void expectLost(int32_t handle, int32_t item) {
        const int32_t status = canon().download(handle, item);
        EXPECT_NE(status, 0);
        EXPECT_NE(status, -1);
        const Event event = events().waitFor(kStateEvent, kCaptureErrorEvent);
        EXPECT_EQ(event.handle(), handle);
        EXPECT_EQ(helper().out().count("Download complete"), 0u);
    }

    /** The camera still lists the picture: it was never told that it had arrived. */
    void expectStillOnCamera() {
        const std::string state = lab().device("canon-1").dump();
        EXPECT_NE(state.find("IMG_0001"), std::string::npos) << state;
        EXPECT_TRUE(lab().calls("EdsDownloadComplete").empty());
    }
};

TEST_F(WholeFiles, are_left_by_no_download_from_a_camera_that_is_unplugged) {
    const int32_t handle = startSession(pairCamera({{"transferBytesPerSecond", kFileSize}}));
    const std::vector<int32_t> items = shoot(handle, picturePath("a"), 2);
    ASSERT_EQ(items.size(), 2u);
    lab().clearTrace();
    events().forget();
    canon().send(27, Message().int32(handle).int32(items[0]));
    // In the middle of the transfer: some of it is through, most is not.
    events().waitFor([](const Event& e) { return e.kind == kProgressEvent && e.what() > 0; }, "progress");
    lab().detach("canon-1");
    canon().expectHeader(27);
    canon().expectHeader(27);
    const int32_t status = canon().receiveInt();
    EXPECT_NE(status, 0);
    EXPECT_NE(status, -1);
    // Both are told; in which order, the camera and the transfer decide.
    events().waitFor(
        [&](const Event&) {
            bool shutdown = false;
            bool lost = false;
            for (const Event& event : events().seen()) {
                shutdown |= event.kind == kStateEvent && event.what() == kShutdownEvent;
                lost |= event.kind == kStateEvent && event.what() == kCaptureErrorEvent;
            }
            return shutdown && lost;
        },
        "shutdown and capture error");
    EXPECT_EQ(pictures().names(), Names{});
    EXPECT_TRUE(lab().calls("EdsDownloadComplete").empty());
    EXPECT_EQ(canon().download(handle, items[1]), -1) << "the session has ended";
    expectServing();
}

TEST_F(WholeFiles, are_fetched_again_after_the_camera_is_back) {
    const int32_t handle = startSession(pairCamera());
    shoot(handle, picturePath("a"), 2);
    lab().detach("canon-1");
    events().waitFor(kStateEvent, kShutdownEvent);
    canon().closeSession(handle);
    lab().must({{"cmd", "attach"}, {"id", "canon-1"}});
    const int32_t again = canon().openSession(canon().cameraList().at(0));
    const std::vector<int32_t> items = shoot(again, picturePath("b"), 2);
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(canon().download(again, items[0]), 0);
    EXPECT_EQ(canon().download(again, items[1]), 0);
    EXPECT_EQ(pictures().names(), (Names{"b.cr2", "b.jpg"}));
}

TEST_F(WholeFiles, are_not_half_written_to_a_full_disk) {
    HelperOptions options;
    options.scenario = scenarioOf({pairCamera()});
    // No file may grow beyond a third of the picture: the write in the middle of it fails.
    options.limits[RLIMIT_FSIZE] = kFileSize / 3;
    start(options);
    const int32_t handle = openFirst();
    const std::vector<int32_t> items = shoot(handle, picturePath("a"), 2);
    ASSERT_EQ(items.size(), 2u);
    lab().clearTrace();
    for (const int32_t item : items) {
        expectLost(handle, item);
    }
    EXPECT_EQ(pictures().names(), Names{});
    expectStillOnCamera();
    EXPECT_TRUE(helper().isRunning());
    expectServing();
}

TEST_F(WholeFiles, are_not_left_half_written_where_a_link_leads) {
    HelperOptions options;
    options.scenario = scenarioOf({pairCamera()});
    options.limits[RLIMIT_FSIZE] = kFileSize / 3;
    start(options);
    const TempFolder archive;
    std::filesystem::create_symlink(archive.file("raw"), picturePath("a.cr2"));
    const int32_t handle = openFirst();
    expectLost(handle, shoot(handle, picturePath("a"), 2).at(0));
    EXPECT_EQ(archive.names(), Names{});
}

TEST_F(WholeFiles, arrive_when_there_is_room_again) {
    HelperOptions options;
    options.scenario = scenarioOf(
        {usualCamera({{"shots", Json::array({Json::array({madeUpFile("IMG_0001.JPG", kFileSize)}),
                                             Json::array({madeUpFile("IMG_0002.JPG", 1000)})})}})});
    options.limits[RLIMIT_FSIZE] = kFileSize / 3;
    start(options);
    const int32_t handle = openFirst();
    expectLost(handle, shoot(handle, picturePath("a")).at(0));
    const int32_t item = shoot(handle, picturePath("b")).at(0);
    EXPECT_EQ(canon().download(handle, item), 0);
    EXPECT_EQ(pictures().names(), Names{"b.jpg"});
}

TEST_F(WholeFiles, need_a_folder_that_exists) {
    const int32_t handle = startSession(pairCamera());
    const std::vector<int32_t> items = shoot(handle, picturePath("none/such/a"), 2);
    ASSERT_EQ(items.size(), 2u);
    lab().clearTrace();
    for (const int32_t item : items) {
        expectLost(handle, item);
    }
    EXPECT_EQ(pictures().names(), Names{});
    expectStillOnCamera();
}

TEST_F(WholeFiles, are_not_written_over_a_folder) {
    std::filesystem::create_directory(picturePath("a.cr2"));
    const int32_t handle = startSession(pairCamera());
    const std::vector<int32_t> items = shoot(handle, picturePath("a"), 2);
    ASSERT_EQ(items.size(), 2u);
    expectLost(handle, items[0]);
    EXPECT_TRUE(std::filesystem::is_directory(picturePath("a.cr2")));
    EXPECT_EQ(canon().download(handle, items[1]), 0);
    EXPECT_EQ(pictures().names(), (Names{"a.cr2", "a.jpg"}));
}

TEST_F(WholeFiles, are_not_written_where_the_host_may_not_write) {
    // The superuser may write anywhere, so for it a file stands where a folder should be.
    std::string path = picturePath("closed/a");
    if (::geteuid() == 0) {
        writeFile(picturePath("closed"), {});
    } else {
        std::filesystem::create_directory(picturePath("closed"));
        ::chmod(picturePath("closed").c_str(), 0555);
    }
    const int32_t handle = startSession(pairCamera());
    const std::vector<int32_t> items = shoot(handle, path, 2);
    ASSERT_EQ(items.size(), 2u);
    lab().clearTrace();
    expectLost(handle, items[0]);
    expectStillOnCamera();
    ::chmod(picturePath("closed").c_str(), 0755);
}

TEST_F(WholeFiles, that_are_there_survive_a_failed_download_over_them) {
    // Whole or absent holds for the picture that is being written; the old one is given up when the new one
    // begins, and no mixture of the two may be left.
    const Bytes old = patternBytes(100, 1);
    writeFile(picturePath("a.cr2"), old);
    const int32_t handle = startSession(pairCamera());
    const std::vector<int32_t> items = shoot(handle, picturePath("a"), 2);
    ASSERT_EQ(items.size(), 2u);
    lab().fault("EdsDownload", 0xA8);
    expectLost(handle, items[0]);
    if (std::filesystem::exists(picturePath("a.cr2"))) {
        EXPECT_EQ(readFile(picturePath("a.cr2")), old);
    }
}

TEST_F(WholeFiles, of_a_pair_that_does_not_fit_are_one_whole_and_one_absent) {
    const SmallDisk disk(picturePath("disk"), kFileSize + kFileSize / 2);
    if (!disk.isMounted()) GTEST_SKIP() << "this system lets a test mount no disk of its own";
    const int32_t handle = startSession(pairCamera());
    const std::vector<int32_t> items = shoot(handle, picturePath("disk/a"), 2);
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(canon().download(handle, items[0]), 0);
    EXPECT_EQ(canon().download(handle, items[1]), 0x2A) << "the disk is full";
    EXPECT_EQ(events().waitFor(kStateEvent, kCaptureErrorEvent).handle(), handle);
    EXPECT_EQ(readFile(picturePath("disk/a.cr2")).size(), static_cast<size_t>(kFileSize));
    EXPECT_FALSE(std::filesystem::exists(picturePath("disk/a.jpg")));
    // With room again, the next pair comes whole.
    std::filesystem::remove(picturePath("disk/a.cr2"));
    const std::vector<int32_t> next = shoot(handle, picturePath("b"), 2);
    ASSERT_EQ(next.size(), 2u);
    EXPECT_EQ(canon().download(handle, next[0]), 0);
    EXPECT_EQ(canon().download(handle, next[1]), 0);
    EXPECT_EQ(readFile(picturePath("b.jpg")).size(), static_cast<size_t>(kFileSize));
}

TEST_F(WholeFiles, are_not_made_of_what_a_device_refused) {
    // A device that is always full stands in the picture's place; it is not ours to remove.
    std::filesystem::create_symlink("/dev/full", picturePath("a.cr2"));
    const int32_t handle = startSession(pairCamera());
    const std::vector<int32_t> items = shoot(handle, picturePath("a"), 2);
    ASSERT_EQ(items.size(), 2u);
    expectLost(handle, items[0]);
    EXPECT_TRUE(std::filesystem::is_symlink(picturePath("a.cr2")));
    EXPECT_EQ(canon().download(handle, items[1]), 0);
}

}  // namespace
}  // namespace e2e

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    e2e::enterOwnMounts();
    return RUN_ALL_TESTS();
}
