// Fetching pictures: the file, its name, its progress, and every way in which it may fail.
#include <gtest/gtest.h>

#include "tests/e2e/support/canon_fixture.h"

namespace e2e {
namespace {

using Names = std::vector<std::string>;

/** A body that yields one shot of these files, again and again. */
Json cameraWith(const std::vector<Json>& shot, const Json& more = Json::object()) {
    Json camera = usualCamera({{"shots", shotOf(shot)}});
    if (shot.size() > 1) camera["properties"] = property(kImageQuality, 9, kRawAndJpegQuality);
    camera.update(more);
    return camera;
}

class CanonDownload : public CanonTest {
protected:
    /** Calls of the library during the download, without the reads and writes of its progress. */
    Names calls() { return lab().callNames({"EdsSetPropertyData", "EdsGetPropertyData"}); }

    std::vector<int32_t> offered(size_t files) {
        std::vector<int32_t> items;
        while (items.size() < files) {
            const Event event = events().waitFor(kObjectEvent, kRequestTransfer);
            if (event.values.empty()) break;
            items.push_back(event.last());
        }
        return items;
    }

    /** What a pair's progress says at the ends of its files, whatever it says in between. */
    static std::vector<int32_t> ends(const std::vector<int32_t>& progress) {
        std::vector<int32_t> found;
        for (const int32_t percent : progress) {
            const bool isEnd = percent % 50 == 0 || percent % 50 == 49;
            if (isEnd && (found.empty() || found.back() != percent)) found.push_back(percent);
        }
        return found;
    }

    /** The host hears that the picture was lost. */
    void expectCaptureError(int32_t handle) {
        const Event event = events().waitFor(kStateEvent, kCaptureErrorEvent);
        EXPECT_EQ(event.handle(), handle);
        EXPECT_EQ(event.last(), 0);
        helper().waitForOut("CanonEds: handleStateEvent inEvent 0x305, inParam 0x0\n");
    }
};

TEST_F(CanonDownload, goes_through_the_library_in_the_prescribed_order) {
    const int32_t handle = startSession(cameraWith({madeUpFile("IMG_0001.JPG", 4000)}));
    const int32_t item = shoot(handle, picturePath("a")).at(0);
    lab().clearTrace();
    const size_t from = helper().out().size();
    EXPECT_EQ(canon().download(handle, item), 0);
    EXPECT_EQ(calls(), (Names{"EdsGetDirectoryItemInfo", "EdsCreateFileStreamEx", "EdsSetProgressCallback",
                              "EdsDownload", "EdsDownloadComplete", "EdsRelease", "EdsRelease"}));
    const Json trace = lab().trace();
    EXPECT_EQ(trace[1]["args"]["path"], picturePath("a.jpg"));
    EXPECT_EQ(number(trace[1]["args"]["disposition"]), 1);
    EXPECT_EQ(number(trace[1]["args"]["access"]), 2);
    EXPECT_EQ(number(trace[2]["args"]["option"]), 2);
    EXPECT_EQ(number(trace[3]["args"]["size"]), 4000);
    EXPECT_EQ(trace[5]["args"]["object"], "stream");
    EXPECT_EQ(trace[6]["args"]["object"], "directoryItem");
    const std::string log = helper().out().since(from);
    for (const std::string& line :
         {std::string("CanonEds: ProgressFunc 0\n"),
          std::string("CanonEds: directoryItemInfo: IMG_0001.JPG\n"),
          "CanonEds: FILE: " + picturePath("a") + "\n", "CanonEds: FILE: " + picturePath("a.jpg") + "\n",
          std::string("CanonEds: ProgressFunc 100\n"), std::string("CanonEds: Download complete\n")}) {
        EXPECT_NE(log.find(line), std::string::npos) << line << "in\n" << log;
    }
}

TEST_F(CanonDownload, of_a_timed_pair_brings_both_files_byte_for_byte) {
    const TempFolder card;
    const Bytes raw = patternBytes(3000017, 1);
    const Bytes jpeg = patternBytes(700001, 2);
    writeFile(card.file("raw"), raw);
    writeFile(card.file("jpeg"), jpeg);
    const int32_t handle = startSession(cameraWith(
        {cardFile("IMG_0042.CR2", card.file("raw")), cardFile("IMG_0042.JPG", card.file("jpeg"))}));
    const std::string path = picturePath("frame0001");
    events();
    EXPECT_EQ(canon().preCapture(handle, path, true), 0);
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    EXPECT_EQ(canon().capture(handle, path, now.tv_sec * 1000000 + now.tv_nsec / 1000 + 300000), 0);
    for (int i = 0; i < 2; ++i) {
        const Event offered = events().waitFor(kObjectEvent, kRequestTransfer);
        EXPECT_EQ(offered.handle(), handle);
        EXPECT_EQ(canon().download(handle, offered.last()), 0);
    }
    EXPECT_EQ(pictures().names(), (Names{"frame0001.cr2", "frame0001.jpg"}));
    EXPECT_EQ(readFile(path + ".cr2"), raw);
    EXPECT_EQ(readFile(path + ".jpg"), jpeg);
    events().waitFor(kProgressEvent, 100);
}

TEST_F(CanonDownload, of_one_file_reports_progress_up_to_100_once) {
    const int32_t handle = startSession(cameraWith({madeUpFile("IMG_0001.JPG", 3000000)}));
    const int32_t item = shoot(handle, picturePath("a")).at(0);
    events().forget();
    EXPECT_EQ(canon().download(handle, item), 0);
    events().waitFor(kProgressEvent, 100);
    events().collectUntilSilent();
    const std::vector<int32_t> progress = events().progress();
    EXPECT_EQ(progress.front(), 0);
    EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end()));
    EXPECT_EQ(std::count(progress.begin(), progress.end(), 100), 1);
    EXPECT_GT(progress.size(), 3u) << "the camera reports between start and end";
    // What is told to the host is logged first, by its own prefix.
    for (const int32_t percent : progress) {
        EXPECT_TRUE(helper().waitForErr("Canon: progressCallback " + std::to_string(percent) + "\n"));
    }
    EXPECT_EQ(helper().err().count("progressCallback "), progress.size());
}

TEST_F(CanonDownload, of_a_pair_reports_one_progress_over_both) {
    const int32_t handle =
        startSession(cameraWith({madeUpFile("IMG_0001.CR2", 3000000), madeUpFile("IMG_0001.JPG", 2000000)}));
    const std::vector<int32_t> items = shoot(handle, picturePath("a"), 2);
    ASSERT_EQ(items.size(), 2u);
    events().forget();
    EXPECT_EQ(canon().download(handle, items[0]), 0);
    events().collectUntilSilent();
    const std::vector<int32_t> first = events().progress();
    ASSERT_FALSE(first.empty());
    EXPECT_EQ(first.front(), 0);
    EXPECT_TRUE(std::is_sorted(first.begin(), first.end()));
    EXPECT_GE(first.back(), 49);
    EXPECT_LE(first.back(), 50);
    events().forget();
    EXPECT_EQ(canon().download(handle, items[1]), 0);
    events().waitFor(kProgressEvent, 100);
    events().collectUntilSilent();
    const std::vector<int32_t> second = events().progress();
    EXPECT_EQ(second.front(), 50);
    EXPECT_TRUE(std::is_sorted(second.begin(), second.end()));
    EXPECT_EQ(std::count(second.begin(), second.end(), 100), 1);
    EXPECT_EQ(second.back(), 100);
}

TEST_F(CanonDownload, of_every_shot_begins_to_count_anew) {
    const std::vector<int32_t> wholePair = {0, 49, 50, 99, 100};
    const int32_t handle =
        startSession(cameraWith({madeUpFile("IMG_0001.CR2", 10), madeUpFile("IMG_0001.JPG", 10)}));
    const auto fetch = [&](const std::vector<int32_t>& items) {
        events().forget();
        for (const int32_t item : items) {
            EXPECT_EQ(canon().download(handle, item), 0);
        }
        events().collectUntilSilent();
        return ends(events().progress());
    };
    EXPECT_EQ(fetch(shoot(handle, picturePath("a"), 2)), wholePair);
    // Released without being prepared once more: the files are still two.
    EXPECT_EQ(canon().capture(handle, picturePath("b")), 0);
    EXPECT_EQ(fetch(offered(2)), wholePair);
    // Prepared, and released by hand.
    EXPECT_EQ(canon().preCapture(handle, picturePath("c")), 0);
    lab().press("canon-1");
    EXPECT_EQ(fetch(offered(2)), wholePair);
}

TEST_F(CanonDownload, of_a_file_more_than_expected_still_comes_to_its_end) {
    // The quality promises one file, the camera offers two: 100 comes with the first.
    const int32_t handle =
        startSession(cameraWith({madeUpFile("IMG_0001.CR2", 5000), madeUpFile("IMG_0001.JPG", 5000)},
                                {{"properties", property(kImageQuality, 9, kJpegQuality)}}));
    const std::vector<int32_t> items = shoot(handle, picturePath("a"), 2);
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(canon().download(handle, items[0]), 0);
    events().collectUntilSilent();
    events().forget();
    EXPECT_EQ(canon().download(handle, items[1]), 0);
    EXPECT_EQ(pictures().names(), (Names{"a.cr2", "a.jpg"}));
    // The end of the transfer is told, and no end of the shot once more.
    events().collectUntilSilent();
    const std::vector<int32_t> progress = events().progress();
    EXPECT_EQ(std::count(progress.begin(), progress.end(), 100), 1);
}

struct CameraName {
    const char* onCard;
    const char* extension;
};

class CanonExtension : public CanonTest, public ::testing::WithParamInterface<CameraName> {};

TEST_P(CanonExtension, is_the_camera_s_in_lower_case) {
    const int32_t handle = startSession(cameraWith({madeUpFile(GetParam().onCard, 100)}));
    const int32_t item = shoot(handle, picturePath("frame")).at(0);
    EXPECT_EQ(canon().download(handle, item), 0);
    EXPECT_EQ(pictures().names(), Names{std::string("frame") + GetParam().extension});
}

INSTANTIATE_TEST_SUITE_P(
    Canon, CanonExtension,
    ::testing::Values(CameraName{"IMG_0001.JPG", ".jpg"}, CameraName{"IMG_0001.CR2", ".cr2"},
                      CameraName{"IMG_0001.Crw", ".crw"}, CameraName{"IMG_0001.thm", ".thm"},
                      CameraName{"IMG_0001.Thm", ".thm"}, CameraName{"MVI_0001.MOV", ".mov"},
                      CameraName{"IMG.JPEG", "jpeg"}, CameraName{"a.JP", "a.jp"}));

TEST_F(CanonDownload, of_a_thumbnail_file_fetches_nothing_and_is_a_success) {
    const int32_t handle = startSession(cameraWith({madeUpFile("MVI_0001.THM", 5000)}));
    const int32_t item = shoot(handle, picturePath("a")).at(0);
    lab().clearTrace();
    const size_t from = helper().out().size();
    EXPECT_EQ(canon().download(handle, item), 0);
    EXPECT_EQ(calls(), (Names{"EdsGetDirectoryItemInfo", "EdsDownloadCancel", "EdsRelease"}));
    EXPECT_EQ(pictures().names(), Names{});
    helper().waitForOut("CanonEds: Ignoring .THM file\nCanonEds: Download complete\n", 1, from);
    events().collectUntilSilent();
    EXPECT_EQ(events().progress(), std::vector<int32_t>{0});
    EXPECT_EQ(canon().download(handle, item), -1);
}

TEST_F(CanonDownload, of_a_thumbnail_file_does_not_count) {
    const int32_t handle =
        startSession(cameraWith({madeUpFile("MVI_0001.THM", 5000), madeUpFile("IMG_0001.JPG", 5000)}));
    const std::vector<int32_t> items = shoot(handle, picturePath("a"), 2);
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(canon().download(handle, items[0]), 0);
    events().collectUntilSilent();
    events().forget();
    EXPECT_EQ(canon().download(handle, items[1]), 0);
    events().collectUntilSilent();
    // The picture is the first of the two that are expected.
    const std::vector<int32_t> progress = events().progress();
    EXPECT_EQ(progress.front(), 0);
    EXPECT_LE(progress.back(), 50);
}

TEST_F(CanonDownload, replaces_a_file_that_is_there) {
    const Bytes content = patternBytes(5000, 9);
    const TempFolder card;
    writeFile(card.file("x"), content);
    const int32_t handle = startSession(cameraWith({cardFile("IMG_0001.JPG", card.file("x"))}));
    writeFile(picturePath("a.jpg"), patternBytes(9000, 1));
    const int32_t item = shoot(handle, picturePath("a")).at(0);
    EXPECT_EQ(canon().download(handle, item), 0);
    EXPECT_EQ(readFile(picturePath("a.jpg")), content);
}

TEST_F(CanonDownload, of_an_empty_file_makes_an_empty_file) {
    const int32_t handle = startSession(cameraWith({madeUpFile("IMG_0001.JPG", 0)}));
    const int32_t item = shoot(handle, picturePath("a")).at(0);
    EXPECT_EQ(canon().download(handle, item), 0);
    EXPECT_EQ(readFile(picturePath("a.jpg")).size(), 0u);
}

// ---- failures ---------------------------------------------------------------------------------------------

TEST_F(CanonDownload, of_an_item_that_cannot_be_read_is_told) {
    const int32_t handle = startSession(cameraWith({madeUpFile("IMG_0001.JPG", 4000)}));
    const int32_t item = shoot(handle, picturePath("a")).at(0);
    lab().clearTrace();
    lab().fault("EdsGetDirectoryItemInfo", 0x81);
    EXPECT_EQ(canon().download(handle, item), 0x81);
    EXPECT_EQ(calls(), (Names{"EdsGetDirectoryItemInfo", "EdsRelease"}));
    helper().waitForOut("CanonEds: Error get directory item info 0x81\nCanonEds: Download error 0x81\n");
    expectCaptureError(handle);
    EXPECT_EQ(canon().download(handle, item), -1);
}

struct Failure {
    const char* function;
    Names calls;
};

class CanonDownloadFailure : public CanonDownload, public ::testing::WithParamInterface<Failure> {};

TEST_P(CanonDownloadFailure, is_answered_told_and_leaves_no_file) {
    const int32_t handle = startSession(cameraWith({madeUpFile("IMG_0001.JPG", 4000)}));
    const int32_t item = shoot(handle, picturePath("a")).at(0);
    lab().clearTrace();
    lab().fault(GetParam().function, 0xA8);
    EXPECT_EQ(canon().download(handle, item), 0xA8);
    EXPECT_EQ(calls(), GetParam().calls);
    helper().waitForOut("CanonEds: Download error 0xA8\n");
    EXPECT_EQ(helper().out().count("Download complete"), 0u);
    expectCaptureError(handle);
    // What is there is whole; what is not whole is not there.
    if (std::filesystem::exists(picturePath("a.jpg"))) {
        EXPECT_EQ(readFile(picturePath("a.jpg")).size(), 4000u);
    }
    // The next picture comes as ever.
    const int32_t next = shoot(handle, picturePath("b")).at(0);
    EXPECT_EQ(canon().download(handle, next), 0);
    EXPECT_EQ(readFile(picturePath("b.jpg")).size(), 4000u);
}

INSTANTIATE_TEST_SUITE_P(
    Canon, CanonDownloadFailure,
    ::testing::Values(Failure{"EdsCreateFileStreamEx",
                              {"EdsGetDirectoryItemInfo", "EdsCreateFileStreamEx", "EdsDownloadCancel",
                               "EdsRelease"}},
                      Failure{"EdsSetProgressCallback",
                              {"EdsGetDirectoryItemInfo", "EdsCreateFileStreamEx", "EdsSetProgressCallback",
                               "EdsDownloadCancel", "EdsRelease", "EdsRelease"}},
                      Failure{"EdsDownload",
                              {"EdsGetDirectoryItemInfo", "EdsCreateFileStreamEx", "EdsSetProgressCallback",
                               "EdsDownload", "EdsDownloadCancel", "EdsRelease", "EdsRelease"}},
                      Failure{"EdsDownloadComplete",
                              {"EdsGetDirectoryItemInfo", "EdsCreateFileStreamEx", "EdsSetProgressCallback",
                               "EdsDownload", "EdsDownloadComplete", "EdsRelease", "EdsRelease"}}),
    [](const auto& row) { return std::string(row.param.function); });

TEST_F(CanonDownload, that_only_its_completion_spoils_is_told_to_have_come_to_its_end) {
    const int32_t handle = startSession(cameraWith({madeUpFile("IMG_0001.JPG", 0)}));
    const int32_t item = shoot(handle, picturePath("a")).at(0);
    events().forget();
    lab().fault("EdsDownloadComplete", 0xA8);
    EXPECT_EQ(canon().download(handle, item), 0xA8);
    expectCaptureError(handle);
    // The file is here whole, and the host hears so before it hears of the failure.
    EXPECT_EQ(events().progress().back(), 100);
}

TEST_F(CanonDownload, to_a_path_that_is_no_text_is_refused) {
    const int32_t handle = startSession(cameraWith({madeUpFile("IMG_0001.JPG", 4000)}));
    const int32_t item = shoot(handle, picturePath("bad-\xFF\xFE-bytes")).at(0);
    lab().clearTrace();
    EXPECT_EQ(canon().download(handle, item), 1001);
    EXPECT_EQ(calls(), (Names{"EdsGetDirectoryItemInfo", "EdsRelease"}));
    helper().waitForOut("CanonEds: Could not create filePath\nCanonEds: Download error 0x3E9\n");
    expectCaptureError(handle);
    EXPECT_EQ(canon().download(handle, item), -1);
}

TEST_F(CanonDownload, to_a_path_that_is_no_text_does_not_count) {
    const int32_t handle =
        startSession(cameraWith({madeUpFile("IMG_0001.CR2", 10), madeUpFile("IMG_0001.JPG", 10)}));
    const std::vector<int32_t> items = shoot(handle, picturePath("bad-\xFF"), 2);
    ASSERT_EQ(items.size(), 2u);
    events().forget();
    for (const int32_t item : items) {
        EXPECT_EQ(canon().download(handle, item), 1001);
    }
    events().collectUntilSilent();
    EXPECT_EQ(events().progress(), (std::vector<int32_t>{0, 0}));
}

TEST_F(CanonDownload, of_the_second_file_ends_at_100_although_the_first_was_lost) {
    const int32_t handle =
        startSession(cameraWith({madeUpFile("IMG_0001.CR2", 4000), madeUpFile("IMG_0001.JPG", 4000)}));
    const std::vector<int32_t> items = shoot(handle, picturePath("a"), 2);
    ASSERT_EQ(items.size(), 2u);
    lab().fault("EdsDownload", 0xA8);
    EXPECT_EQ(canon().download(handle, items[0]), 0xA8);
    expectCaptureError(handle);
    EXPECT_EQ(canon().download(handle, items[1]), 0);
    events().waitFor(kProgressEvent, 100);
    EXPECT_EQ(pictures().names(), Names{"a.jpg"});
}

TEST_F(CanonDownload, that_fails_before_its_stream_does_not_count) {
    const int32_t handle =
        startSession(cameraWith({madeUpFile("IMG_0001.CR2", 4000), madeUpFile("IMG_0001.JPG", 4000)}));
    const std::vector<int32_t> items = shoot(handle, picturePath("a"), 2);
    ASSERT_EQ(items.size(), 2u);
    lab().fault("EdsGetDirectoryItemInfo", 0x81);
    EXPECT_EQ(canon().download(handle, items[0]), 0x81);
    events().forget();
    EXPECT_EQ(canon().download(handle, items[1]), 0);
    events().collectUntilSilent();
    // The helper still waits for another file, so the end is not told.
    const std::vector<int32_t> progress = events().progress();
    EXPECT_EQ(progress.front(), 0);
    EXPECT_LE(progress.back(), 50);
}

TEST_F(CanonDownload, of_the_next_picture_works_when_nobody_was_told_of_the_last) {
    const int32_t handle = startSession(cameraWith({madeUpFile("IMG_0001.JPG", 4000)}));
    EXPECT_EQ(canon().preCapture(handle, picturePath("a")), 0);
    EXPECT_EQ(canon().capture(handle, picturePath("a")), 0);
    helper().waitForOut("CanonEds: In handleObjectEvent 0x208\n");
    EXPECT_EQ(canon().download(handle, shoot(handle, picturePath("b")).at(0)), 0);
    EXPECT_EQ(pictures().names(), Names{"b.jpg"});
}

TEST_F(CanonDownload, logs_its_progress_when_nobody_listens) {
    const int32_t handle = startSession(cameraWith({madeUpFile("IMG_0001.JPG", 4000)}));
    int32_t item = 0;
    {
        // Replaced by a connection that the helper then loses: the events have nowhere to go.
        CallbackStream listener(helper());
        EXPECT_EQ(canon().preCapture(handle, picturePath("a")), 0);
        EXPECT_EQ(canon().capture(handle, picturePath("a")), 0);
        item = listener.waitFor(kObjectEvent, kRequestTransfer).last();
    }
    EXPECT_EQ(canon().download(handle, item), 0);
    EXPECT_GE(helper().err().count("Canon: progressCallback 0\n"), 1u);
    EXPECT_EQ(helper().err().count("Canon: progressCallback 100\n"), 1u);
}

}  // namespace
}  // namespace e2e
