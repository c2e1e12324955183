// A picture file is whole or absent: full disks, closed folders and unplugged cameras lose no picture.
#include <gtest/gtest.h>

#include "tests/e2e/support/nikon_fixture.h"
#include "tests/e2e/support/small_disk.h"

namespace e2e {
namespace {

using Names = std::vector<std::string>;

constexpr int64_t kFileSize = 3000000;

class NikonWholeFiles : public NikonTest {
protected:
    static Json body(const Json& more = Json::object()) {
        Json camera =
            usualNikon({{"shots", nikonShots({{nikonItem(kNefType, kFileSize, {{"blocks", 8}})}})}});
        camera.update(more);
        return camera;
    }

    /** The camera has a picture of its own accord, and the host's path for it is set. */
    void press(int64_t camera, const std::string& path) {
        ASSERT_EQ(nikon().preCapture(camera, path), 0);
        lab().press("nikon-1");
    }

    /** The first answer of the image check that is not "nothing yet". */
    int32_t check(int64_t camera) {
        int32_t result = 0;
        EXPECT_TRUE(eventually([&] { return (result = nikon().checkForImages(camera)) != 0; }));
        return result;
    }

    int64_t startLimited(rlim_t most) {
        HelperOptions options;
        options.scenario = nikonScenario({body()});
        options.limits[RLIMIT_FSIZE] = most;
        start(options);
        return nikon().selectCamera(startModule(), 0);
    }
};

TEST_F(NikonWholeFiles, are_not_half_written_to_a_full_disk) {
    const int64_t camera = startLimited(kFileSize / 3);
    press(camera, picturePath("a"));
    EXPECT_EQ(check(camera), -60);
    EXPECT_EQ(pictures().names(), Names{});
    // The picture stays: the check meets it again.
    EXPECT_EQ(check(camera), -60);
    EXPECT_EQ(pictures().names(), Names{});
    EXPECT_TRUE(helper().isRunning());
    expectServing();
}

TEST_F(NikonWholeFiles, of_a_capture_onto_a_full_disk_are_missing) {
    const int64_t camera = startLimited(kFileSize / 3);
    EXPECT_EQ(nikon().capture(camera, picturePath("a")), -4);
    EXPECT_EQ(pictures().names(), Names{});
}

TEST_F(NikonWholeFiles, need_a_folder_that_exists) {
    const int64_t camera = startCamera(body());
    press(camera, picturePath("none/such/a"));
    EXPECT_EQ(check(camera), -60);
    EXPECT_EQ(pictures().names(), Names{});
    // With the folder there, the picture comes after all.
    std::filesystem::create_directories(picturePath("none/such"));
    EXPECT_EQ(check(camera), 1);
    EXPECT_EQ(readFile(picturePath("none/such/a.nef")).size(), static_cast<size_t>(kFileSize));
}

TEST_F(NikonWholeFiles, are_not_written_over_a_folder) {
    std::filesystem::create_directory(picturePath("a.nef"));
    const int64_t camera = startCamera(body());
    press(camera, picturePath("a"));
    EXPECT_EQ(check(camera), -60);
    EXPECT_TRUE(std::filesystem::is_directory(picturePath("a.nef")));
    std::filesystem::remove(picturePath("a.nef"));
    EXPECT_EQ(check(camera), 1);
}

TEST_F(NikonWholeFiles, are_not_made_of_what_a_device_refused) {
    std::filesystem::create_symlink("/dev/full", picturePath("a.nef"));
    const int64_t camera = startCamera(body());
    press(camera, picturePath("a"));
    EXPECT_EQ(check(camera), -60);
    EXPECT_TRUE(std::filesystem::is_symlink(picturePath("a.nef")));
}

TEST_F(NikonWholeFiles, of_a_camera_that_goes_in_the_middle_are_absent) {
    const int64_t camera = startCamera(body({{"transferBytesPerSecond", kFileSize}}));
    events();
    press(camera, picturePath("a"));
    nikon().send(23, Message().int64(camera));
    nikon().expectHeader(23);
    events().waitFor([](const Event& e) { return e.kind == kProgressEvent && e.last() > 0; }, "progress");
    lab().detach("nikon-1");
    nikon().expectHeader(23);
    EXPECT_NE(nikon().receiveInt(), 1);
    EXPECT_EQ(pictures().names(), Names{});
    nikon().releaseCamera(camera);
    expectServing();
}

TEST_F(NikonWholeFiles, that_the_module_wants_to_keep_stay_in_the_camera) {
    const int64_t camera =
        startCamera(usualNikon({{"shots", nikonShots({{nikonItem(kJpegType, 1000, {{"remove", false}})}})}}));
    press(camera, picturePath("a"));
    EXPECT_EQ(check(camera), 1);
    std::filesystem::remove(picturePath("a.jpg"));
    EXPECT_EQ(check(camera), 1) << "once more";
    EXPECT_EQ(pictures().names(), Names{"a.jpg"});
}

TEST_F(NikonWholeFiles, of_a_pair_that_does_not_fit_are_one_whole_and_one_absent) {
    const SmallDisk disk(picturePath("disk"), kFileSize + kFileSize / 2);
    if (!disk.isMounted()) GTEST_SKIP() << "this system lets a test mount no disk of its own";
    const Json dual = {{"dual", 1}};
    const int64_t camera = startCamera(usualNikon(
        {{"shots",
          nikonShots({{nikonItem(kNefType, kFileSize, dual), nikonItem(kJpegType, kFileSize, dual)}})}}));
    press(camera, picturePath("disk/a"));
    EXPECT_EQ(check(camera), -60);
    EXPECT_EQ(readFile(picturePath("disk/a.nef")).size(), static_cast<size_t>(kFileSize));
    EXPECT_FALSE(std::filesystem::exists(picturePath("disk/a.jpg")));
    // With room again, the second one comes.
    std::filesystem::remove(picturePath("disk/a.nef"));
    nikon().send(23, Message().int64(camera));
    EXPECT_TRUE(eventually([&] { return std::filesystem::exists(picturePath("disk/a.jpg")); }));
    EXPECT_EQ(readFile(picturePath("disk/a.jpg")).size(), static_cast<size_t>(kFileSize));
    // It says that it is one of two, so another one is waited for.
    lab().detach("nikon-1");
    nikon().expectHeader(23);
    nikon().expectHeader(23);
    EXPECT_EQ(nikon().receiveInt(), 1);
}

}  // namespace
}  // namespace e2e

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    e2e::enterOwnMounts();
    return RUN_ALL_TESTS();
}
