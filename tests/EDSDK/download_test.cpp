// Pictures on their way, when all goes well: content, progress, what stays on the camera.
#include <algorithm>
#include <filesystem>

#include "tests/EDSDK/reports.h"

namespace test {
namespace {

class Download : public TransferTest {};

TEST_F(Download, brings_the_file_byte_for_byte) {
    std::string photo(300000, ' ');
    for (size_t i = 0; i < photo.size(); ++i) {
        photo[i] = static_cast<char>(i * 7 + i / 251);
    }
    EdsCameraRef reference = session(Json::object(), {{"photos", {folder.write("photo.jpg", photo)}}});
    const auto items = shoot(reference);
    EXPECT_EQ(download(items.at(0), folder.file("out.jpg")), EDS_ERR_OK);
    EXPECT_EQ(readFile(folder.file("out.jpg")), photo);
    EXPECT_EQ(pictures(), (Pictures{{"IMG_0001.JPG", "waiting"}}));
    EXPECT_EQ(EdsDownloadComplete(items[0]), EDS_ERR_OK);
    EXPECT_EQ(pictures(), Pictures{});
    release(items[0]);
    release(reference);
}

TEST_F(Download, brings_made_up_files_that_are_always_the_same) {
    for (const char* name : {"IMG_0001.CR2", "IMG_0001.JPG"}) {
        std::string first;
        for (int i = 0; i < 2; ++i) {
            EdsCameraRef reference = session(made(123457, name));
            const auto items = shoot(reference);
            EXPECT_EQ(download(items.at(0), folder.file("out")), EDS_ERR_OK);
            const std::string content = readFile(folder.file("out"));
            EXPECT_EQ(content.size(), 123457u);
            if (i == 0) first = content;
            EXPECT_EQ(content, first);
            release(items[0]);
            release(reference);
            EdsTerminateSDK();
        }
    }
}

TEST_F(Download, reports_rising_percentages_and_all_at_the_end) {
    for (const size_t size : {5000U, 1000000U, 5000000U}) {
        reports.percents.clear();
        EdsCameraRef reference = session(made(size));
        const auto items = shoot(reference);
        EXPECT_EQ(download(items.at(0), folder.file("out")), EDS_ERR_OK);
        ASSERT_GE(reports.percents.size(), 5u);
        EXPECT_TRUE(std::is_sorted(reports.percents.begin(), reports.percents.end()));
        EXPECT_EQ(std::adjacent_find(reports.percents.begin(), reports.percents.end()),
                  reports.percents.end());
        EXPECT_LT(reports.percents.front(), 50u);
        EXPECT_EQ(reports.percents.back(), 100u);
        for (const std::thread::id thread : reports.threads) {
            EXPECT_EQ(thread, std::this_thread::get_id());
        }
        release(items[0]);
        release(reference);
        EdsTerminateSDK();
    }
}

TEST_F(Download, reports_as_it_was_asked_to) {
    EdsCameraRef reference = session(made(100000));
    const auto items = shoot(reference);
    EXPECT_EQ(download(items.at(0), folder.file("out"), kEdsProgressOption_NoReport), EDS_ERR_OK);
    EXPECT_TRUE(reports.percents.empty());
    EXPECT_EQ(EdsDownloadCancel(items[0]), EDS_ERR_OK);
    EXPECT_EQ(download(items[0], folder.file("out"), kEdsProgressOption_Done), EDS_ERR_OK);
    EXPECT_EQ(reports.percents, std::vector<EdsUInt32>{100});
    release(items[0]);
    release(reference);
}

TEST_F(Download, of_nothing_is_done_at_once) {
    EdsCameraRef reference = session(made(0));
    const auto items = shoot(reference);
    EXPECT_EQ(download(items.at(0), folder.file("out")), EDS_ERR_OK);
    EXPECT_EQ(reports.percents, std::vector<EdsUInt32>{100});
    EXPECT_EQ(EdsDownloadComplete(items[0]), EDS_ERR_OK);
    EXPECT_TRUE(std::filesystem::exists(folder.file("out")));
    release(items[0]);
    release(reference);
}

TEST_F(Download, comes_in_pieces_when_it_is_asked_for_in_pieces) {
    EdsCameraRef reference = session(made(1000));
    const auto items = shoot(reference);
    EdsStreamRef stream = fileStream(folder.file("pieces"));
    EXPECT_EQ(EdsDownload(items.at(0), 300, stream), EDS_ERR_OK);
    EXPECT_EQ(EdsDownloadComplete(items[0]), EDS_ERR_OBJECT_NOTREADY) << "the rest would be lost";
    EXPECT_EQ(EdsDownload(items[0], 701, stream), EDS_ERR_INVALID_LENGTH);
    EXPECT_EQ(EdsDownload(items[0], 700, stream), EDS_ERR_OK);
    EdsUInt64 length = 0;
    EXPECT_EQ(EdsGetLength(stream, &length), EDS_ERR_OK);
    EXPECT_EQ(length, 1000u);
    EXPECT_EQ(EdsDownloadComplete(items[0]), EDS_ERR_OK);
    EdsDirectoryItemInfo itemInfo{};
    EXPECT_EQ(EdsGetDirectoryItemInfo(items[0], &itemInfo), EDS_ERR_FILE_NOT_FOUND);
    EXPECT_EQ(EdsDownload(items[0], 1, stream), EDS_ERR_FILE_NOT_FOUND);
    EXPECT_EQ(EdsDownloadComplete(items[0]), EDS_ERR_FILE_NOT_FOUND);
    EXPECT_EQ(EdsDownloadCancel(items[0]), EDS_ERR_FILE_NOT_FOUND);
    release(stream);
    release(items[0]);
    release(reference);
}

TEST_F(Download, keeps_what_is_on_the_card) {
    EdsCameraRef reference = session(made(1000));
    set(reference, kEdsPropID_SaveTo, kEdsSaveTo_Camera);
    EXPECT_EQ(take(reference), EDS_ERR_OK);
    EXPECT_TRUE(pumpUntil([&] { return heard.objects.size() == 1; }));
    EdsBaseRef item = heard.objects.at(0).object;
    EXPECT_EQ(download(item, folder.file("out")), EDS_ERR_OK);
    EXPECT_EQ(EdsDownloadComplete(item), EDS_ERR_OK);
    EXPECT_EQ(pictures(), (Pictures{{"IMG_0001.CR2", "kept"}}));
    release(item);
    release(reference);
}

TEST_F(Download, takes_the_time_of_the_cable) {
    EdsCameraRef reference = session(madeAtRate(20000, 100000));
    const auto items = shoot(reference);
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(download(items.at(0), folder.file("out")), EDS_ERR_OK);
    EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(199));
    EXPECT_GE(reports.percents.size(), 5u);
    release(items[0]);
    release(reference);
}

TEST_F(Download, lets_settings_be_changed_meanwhile) {
    for (const bool isLegacy : {false, true}) {
        Json camera = made(1000000);
        camera["legacy"] = isLegacy;
        EdsCameraRef reference = session(camera);
        const auto items = shoot(reference);
        EdsError error = EDS_ERR_INTERNAL_ERROR;
        reports.then = [&](EdsUInt32 percent) {
            if (percent < 100) error = set(reference, kEdsPropID_Tv, 80);
        };
        EXPECT_EQ(download(items.at(0), folder.file("out")), EDS_ERR_OK);
        EXPECT_EQ(error, EDS_ERR_OK);
        release(items[0]);
        release(reference);
        EdsTerminateSDK();
    }
}

}  // namespace
}  // namespace test
