// Many threads at once, also while cameras come and go and the library ends.
#include <atomic>

#include "tests/EDSDK/fixture.h"

namespace test {
namespace {

class Threads : public EdsTest {
protected:
    /** Runs the work on so many threads and waits for all of them. */
    static void together(int count, const std::function<void(int)>& work) {
        std::vector<std::thread> threads;
        for (int i = 0; i < count; ++i) {
            threads.emplace_back(work, i);
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
    static void useFrames(EdsCameraRef camera) {
        EdsStreamRef stream = nullptr;
        EdsEvfImageRef image = nullptr;
        if (EdsCreateMemoryStream(0, &stream) != EDS_ERR_OK) return;
        if (EdsCreateEvfImageRef(stream, &image) == EDS_ERR_OK) {
            EdsDownloadEvfImage(camera, image);
            EdsRelease(image);
        }
        EdsRelease(stream);
    }
    /** One of everything, whatever it is answered. */
    static void useEverything(EdsCameraRef camera, const std::string& path) {
        EdsInt32 value = 0;
        EdsDataType type = 0;
        EdsUInt32 size = 0;
        EdsPropertyDesc description{};
        EdsDeviceInfo info{};
        EdsStreamRef stream = nullptr;
        EdsGetDeviceInfo(camera, &info);
        EdsOpenSession(camera);
        EdsGetPropertySize(camera, 0x406, 0, &type, &size);
        EdsGetPropertyData(camera, 0x406, 0, 4, &value);
        ++value;
        EdsSetPropertyData(camera, 0x406, 0, 4, &value);
        EdsGetPropertyDesc(camera, 0x406, &description);
        EdsSetCapacity(camera, {0x7FFFFFFF, 4096, 1});
        EdsSendCommand(camera, 0, 0);
        EdsGetEvent();
        useFrames(camera);
        if (EdsCreateFileStreamEx(path.c_str(), 1, 2, &stream) == EDS_ERR_OK) EdsRelease(stream);
        EdsCloseSession(camera);
    }
};

TEST_F(Threads, use_one_camera_while_it_is_plugged_and_pulled) {
    start();
    allowMisuse();
    EdsCameraRef first = camera();
    std::atomic<bool> isOver{false};
    std::thread hand([&] {
        while (!isOver) {
            must({{"cmd", "detach"}, {"id", "canon-1"}});
            must({{"cmd", "attach"}, {"id", "canon-1"}});
            must({{"cmd", "state"}});
        }
    });
    together(4, [&](int index) {
        for (int i = 0; i < 100; ++i) {
            EdsCameraListRef list = nullptr;
            EdsCameraRef reference = nullptr;
            EXPECT_EQ(EdsGetCameraList(&list), EDS_ERR_OK);
            if (EdsGetChildAtIndex(list, 0, &reference) == EDS_ERR_OK) {
                useEverything(reference, folder.file(std::to_string(index)));
                EdsRelease(reference);
            }
            EdsRelease(list);
        }
    });
    isOver = true;
    hand.join();
    release(first);
    pump();
    for (const char* kind : {"cameraList", "camera", "directoryItem", "stream", "evfImage"}) {
        EXPECT_EQ(references(kind), 0) << kind;
    }
}

TEST_F(Threads, start_and_end_the_library_while_others_use_it) {
    start();
    allowMisuse();
    std::atomic<bool> isOver{false};
    std::thread starter([&] {
        for (int i = 0; i < 100; ++i) {
            EdsTerminateSDK();
            EdsInitializeSDK();
        }
        isOver = true;
    });
    together(3, [&](int index) {
        while (!isOver) {
            EdsCameraListRef list = nullptr;
            EdsCameraRef reference = nullptr;
            EdsGetCameraList(&list);
            EdsGetChildAtIndex(list, 0, &reference);
            useEverything(reference, folder.file(std::to_string(index)));
            EdsRelease(reference);
            EdsRelease(list);
        }
    });
    starter.join();
}

TEST_F(Threads, release_the_same_reference_only_so_often) {
    start();
    allowMisuse();
    for (int round = 0; round < 50; ++round) {
        EdsCameraRef reference = camera();
        for (int i = 0; i < 3; ++i) {
            EdsRetain(reference);
        }
        std::atomic<int> accepted{0};
        together(8, [&](int) {
            if (EdsRelease(reference) != 0xFFFFFFFF) ++accepted;
        });
        ASSERT_EQ(accepted, 4);
    }
}

TEST_F(Threads, download_from_two_cameras_at_the_same_time) {
    const auto cameraWith = [](size_t bytesPerSecond) {
        const Json file = {{"name", "A.CR2"}, {"bytes", 100000}};
        return Json{{"shots", Json::array({Json::array({file})})},
                    {"transferBytesPerSecond", bytesPerSecond}};
    };
    start({cameraWith(1000), cameraWith(0)});
    const std::vector<EdsCameraRef> cameras = {camera(0), camera(1)};
    std::vector<EdsDirectoryItemRef> items;
    for (EdsCameraRef reference : cameras) {
        prepare(reference);
        pump();
        items.push_back(shoot(reference).at(0));
    }
    std::thread slowly([&] {
        EdsStreamRef stream = fileStream(folder.file("slow"));
        EXPECT_EQ(EdsDownload(items[0], 100000, stream), EDS_ERR_COMM_DISCONNECTED);
        release(stream);
    });
    const auto isUnderWay = [] { return deviceState("canon-1")["pictures"][0]["state"] == "transferring"; };
    EXPECT_TRUE(eventually(isUnderWay));
    // The slow one would take a hundred seconds; the other does not wait for it, and neither do settings.
    EdsStreamRef stream = fileStream(folder.file("quick"));
    EXPECT_EQ(EdsDownload(items[1], 100000, stream), EDS_ERR_OK);
    release(stream);
    EXPECT_EQ(set(cameras[0], 0x406, 80), EDS_ERR_OK);
    EXPECT_TRUE(isUnderWay());
    must({{"cmd", "detach"}, {"id", "canon-1"}});
    slowly.join();
    for (EdsBaseRef reference : {items[0], items[1], cameras[0], cameras[1]}) {
        release(reference);
    }
}

}  // namespace
}  // namespace test
