// Pictures on their way, when something happens: called off, unplugged, no room, no file.
#include <sys/resource.h>

#include <csignal>
#include <filesystem>

#include "tests/EDSDK/reports.h"

namespace test {
namespace {

class TransferFailures : public TransferTest {};

TEST_F(TransferFailures, by_a_caller_who_calls_it_off_keep_the_picture) {
    EdsCameraRef reference = session(made(1000000));
    const auto items = shoot(reference);
    reports.cancelAt = 30;
    EXPECT_EQ(download(items.at(0), folder.file("out")), EDS_ERR_OPERATION_CANCELLED);
    EXPECT_LT(reports.percents.back(), 60u);
    EXPECT_LT(std::filesystem::file_size(folder.file("out")), 1000000u);
    EXPECT_EQ(EdsDownloadCancel(items[0]), EDS_ERR_OK);
    EXPECT_EQ(pictures(), (Pictures{{"IMG_0001.CR2", "kept"}}));
    reports.cancelAt = 1000;
    EXPECT_EQ(download(items[0], folder.file("out")), EDS_ERR_OK) << "it can be had all the same";
    EXPECT_EQ(std::filesystem::file_size(folder.file("out")), 1000000u);
    EXPECT_EQ(EdsDownloadComplete(items[0]), EDS_ERR_OK);
    release(items[0]);
    release(reference);
}

TEST_F(TransferFailures, by_a_pulled_cable_come_at_once) {
    EdsCameraRef reference = session(madeAtRate(1000000, 10000));  // a hundred seconds
    const auto items = shoot(reference);
    reports.then = [](EdsUInt32) { must({{"cmd", "detach"}, {"id", "canon-1"}}); };
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(download(items.at(0), folder.file("out")), EDS_ERR_COMM_DISCONNECTED);
    EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(50));
    EXPECT_EQ(pictures(), (Pictures{{"IMG_0001.CR2", "kept"}}));
    EXPECT_EQ(reports.percents.size(), 1u);
    release(items[0]);
    release(reference);
}

TEST_F(TransferFailures, by_a_pulled_cable_are_felt_while_waiting_for_it) {
    EdsCameraRef reference = session(madeAtRate(100000, 1));  // more than a day
    const auto items = shoot(reference);
    std::thread puller([] {
        EXPECT_TRUE(eventually(isUnderWay));
        must({{"cmd", "detach"}, {"id", "canon-1"}});
    });
    EXPECT_EQ(download(items.at(0), folder.file("out")), EDS_ERR_COMM_DISCONNECTED);
    puller.join();
    release(items[0]);
    release(reference);
}

TEST_F(TransferFailures, come_with_the_end_of_the_session) {
    EdsCameraRef reference = session(madeAtRate(100000, 1));
    const auto items = shoot(reference);
    std::thread closer([&] {
        EXPECT_TRUE(eventually(isUnderWay));
        EXPECT_EQ(EdsCloseSession(reference), EDS_ERR_OK);
    });
    EXPECT_EQ(download(items.at(0), folder.file("out")), EDS_ERR_SESSION_NOT_OPEN);
    closer.join();
    release(items[0]);
    release(reference);
}

TEST_F(TransferFailures, come_with_the_end_of_the_library) {
    EdsCameraRef reference = session(madeAtRate(100000, 1));
    allowMisuse();
    const auto items = shoot(reference);
    EdsStreamRef stream = fileStream(folder.file("out"));
    std::thread ender([&] {
        EXPECT_TRUE(eventually(isUnderWay));
        EXPECT_EQ(EdsTerminateSDK(), EDS_ERR_OK);
    });
    EXPECT_EQ(EdsDownload(items.at(0), 100000, stream), EDS_ERR_SESSION_NOT_OPEN);
    ender.join();
    EXPECT_EQ(EdsRelease(stream), 0xFFFFFFFF);
    EXPECT_NE(reference, nullptr);
}

TEST_F(TransferFailures, meet_a_second_transfer_of_the_same_picture) {
    EdsCameraRef reference = session(made(1000000));
    const auto items = shoot(reference);
    EdsStreamRef other = fileStream(folder.file("other"));
    EdsError second = EDS_ERR_OK;
    EdsError completed = EDS_ERR_OK;
    EdsError cancelled = EDS_ERR_OK;
    reports.then = [&](EdsUInt32 percent) {
        if (percent >= 100 || second != EDS_ERR_OK) return;
        second = EdsDownload(items[0], 1, other);
        completed = EdsDownloadComplete(items[0]);
        cancelled = EdsDownloadCancel(items[0]);
    };
    EXPECT_EQ(download(items.at(0), folder.file("out")), EDS_ERR_OK);
    EXPECT_EQ(second, EDS_ERR_DEVICE_BUSY);
    EXPECT_EQ(completed, EDS_ERR_DEVICE_BUSY);
    EXPECT_EQ(cancelled, EDS_ERR_DEVICE_BUSY);
    release(other);
    release(items[0]);
    release(reference);
}

TEST_F(TransferFailures, by_a_full_disk_are_told) {
    EdsCameraRef reference = session(made(100000));
    const auto items = shoot(reference);
    EdsStreamRef full = nullptr;
    ASSERT_EQ(
        EdsCreateFileStreamEx("/dev/full", kEdsFileCreateDisposition_OpenExisting, kEdsAccess_Write, &full),
        EDS_ERR_OK);
    EXPECT_EQ(EdsDownload(items.at(0), 100000, full), EDS_ERR_FILE_DISK_FULL_ERROR);
    release(full);
    EXPECT_EQ(EdsDownloadComplete(items[0]), EDS_ERR_OBJECT_NOTREADY);
    EXPECT_EQ(EdsDownloadCancel(items[0]), EDS_ERR_OK);
    EXPECT_EQ(pictures(), (Pictures{{"IMG_0001.CR2", "kept"}}));
    release(items[0]);
    release(reference);
}

TEST_F(TransferFailures, by_the_limit_for_files_are_a_full_disk_and_no_signal) {
    for (const char* name : {"IMG_0001.CR2", "IMG_0001.JPG"}) {
        EdsCameraRef reference = session(made(100000, name));
        const auto items = shoot(reference);
        rlimit before{};
        ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
        const rlimit small{40000, before.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
        const EdsError error = download(items.at(0), folder.file("out"));
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
        EXPECT_EQ(error, EDS_ERR_FILE_DISK_FULL_ERROR);
        EXPECT_LE(std::filesystem::file_size(folder.file("out")), 40000u);
        sigset_t signals;
        sigpending(&signals);
        EXPECT_EQ(sigismember(&signals, SIGXFSZ), 0);
        pthread_sigmask(SIG_SETMASK, nullptr, &signals);
        EXPECT_EQ(sigismember(&signals, SIGXFSZ), 0);
        release(items[0]);
        release(reference);
        EdsTerminateSDK();
    }
}

TEST_F(TransferFailures, by_a_file_that_went_away_are_the_camera_s) {
    const std::string photo = folder.write("photo.jpg", std::string(5000, 'x'));
    EdsCameraRef reference = session(Json::object(), {{"photos", {photo}}});
    const auto items = shoot(reference);
    std::filesystem::resize_file(photo, 100);
    EXPECT_EQ(download(items.at(0), folder.file("out")), EDS_ERR_DEVICE_INTERNAL_ERROR);
    std::filesystem::remove(photo);
    EXPECT_EQ(download(items[0], folder.file("out")), EDS_ERR_DEVICE_INTERNAL_ERROR);
    release(items[0]);
    release(reference);
}

TEST_F(TransferFailures, of_a_file_that_shrinks_meanwhile_are_the_camera_s) {
    const std::string photo = folder.write("photo.jpg", std::string(5000000, 'x'));
    EdsCameraRef reference = session(Json::object(), {{"photos", {photo}}});
    const auto items = shoot(reference);
    reports.then = [&](EdsUInt32) { std::filesystem::resize_file(photo, 100); };
    EXPECT_EQ(download(items.at(0), folder.file("out")), EDS_ERR_DEVICE_INTERNAL_ERROR);
    release(items[0]);
    release(reference);
}

TEST_F(TransferFailures, by_a_fault_move_no_byte) {
    EdsCameraRef reference = session(made(1000));
    const auto items = shoot(reference);
    must({{"cmd", "fault"}, {"call", "EdsDownload"}, {"result", "0xA1"}, {"device", "canon-1"}});
    EXPECT_EQ(download(items.at(0), folder.file("out")), 0xA1u);
    EXPECT_EQ(std::filesystem::file_size(folder.file("out")), 0u);
    EXPECT_TRUE(reports.percents.empty());
    EXPECT_EQ(callsOf("EdsDownload").at(0)["args"], (Json{{"size", 1000}}));
    EXPECT_EQ(callsOf("EdsDownload").at(0)["device"], "canon-1");
    release(items[0]);
    release(reference);
}

TEST_F(TransferFailures, of_a_late_call_see_the_camera_as_it_is_by_then) {
    EdsCameraRef reference = session(made(1000));
    const auto items = shoot(reference);
    must({{"cmd", "fault"}, {"call", "EdsDownload"}, {"delayMs", 200}});
    std::thread puller([] {
        EXPECT_TRUE(eventually([] {
            const Json answer = must({{"cmd", "trace"}});
            return !answer["underway"].empty() && answer["underway"][0]["call"] == "EdsDownload";
        }));
        must({{"cmd", "detach"}, {"id", "canon-1"}});
    });
    EXPECT_EQ(download(items.at(0), folder.file("out")), EDS_ERR_COMM_DISCONNECTED);
    puller.join();
    release(items[0]);
    release(reference);
}

}  // namespace
}  // namespace test
