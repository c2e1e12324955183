#include <cstring>
#include <fstream>

#include "Nikon/CallBack.h"
#include "Nikon/SignsOfLife.h"
#include "tests/Nikon/tree/Pictures.h"

namespace {

using namespace nikon;

using TransferTest = PicturesTest;
using Names = std::vector<std::string>;

TEST_F(TransferTest, APictureInBlocksArrivesWhole) {
    const auto bytes = picture(200'000);
    deliverAtPolls(bytes, 30'000);
    EXPECT_TRUE(acquire());
    EXPECT_EQ(contentOf(".nef"), bytes);
    EXPECT_EQ(files(), (Names{"frame.nef"}));
    EXPECT_EQ(answers, std::vector<int32_t>(7, 0));
    EXPECT_EQ(camera.acquiring, 0);
    EXPECT_EQ(camera.removeItem, 0);
}

TEST_F(TransferTest, TheCommandsGoOutInOrder) {
    deliverAtPolls(picture(10), 10);
    EXPECT_TRUE(acquire());
    EXPECT_EQ(module.trace(),
              (std::vector<std::string>{"set 4 on data 1", "start 20 on data 1", "set 4 on data 1"}));
    EXPECT_EQ(module.calls[0].dataType, static_cast<uint32_t>(kMaidDataCallbackPtr));
    EXPECT_EQ(module.calls[2].dataType, static_cast<uint32_t>(kMaidDataNull));
    EXPECT_EQ(module.calls[1].completion, CompletionProc);
}

TEST_F(TransferTest, TheFileIsThereAfterItsLastBlockAndNotBefore) {
    const auto bytes = picture(30);
    module.atPolls = {nullptr};
    for (uint32_t start = 0; start < 30; start += 10) {
        module.atPolls.push_back([&, start] {
            EXPECT_FALSE(std::filesystem::exists(pathOf(".nef")));
            deliver(head(30, start, 10), bytes.data() + start);
        });
    }
    module.atPolls.push_back([&] {
        EXPECT_EQ(contentOf(".nef"), bytes);
        module.complete(module.calls.back(), 0);
    });
    module.before = [&](const FakeCall& call) {
        module.completionPolls = call.command == kMaidCommandCapStart ? 1000 : 1;
    };
    EXPECT_TRUE(acquire());
}

TEST_F(TransferTest, TheExtensionGoesByTheFileType) {
    const struct {
        uint32_t type;
        const char* extension;
    } cases[] = {{1, ".jpg"}, {2, ".tif"}, {4, ".nef"},         {257, ".ndf"},
                 {3, ".dat"}, {0, ".dat"}, {0xFFFFFFFF, ".dat"}};
    for (const auto& one : cases) {
        const auto bytes = picture(100 + one.type % 100);
        deliverAtPolls(bytes, 64, one.type);
        EXPECT_TRUE(acquire());
        EXPECT_EQ(contentOf(one.extension), bytes) << one.type;
    }
    EXPECT_EQ(files(), (Names{"frame.dat", "frame.jpg", "frame.ndf", "frame.nef", "frame.tif"}));
}

TEST_F(TransferTest, BlocksOfAllSizesAddUp) {
    const auto bytes = picture(500'001);
    for (const uint32_t blockSize : {1'000U, 65'535U, 65'536U, 65'537U, 500'000U, 500'001U}) {
        deliverAtPolls(bytes, blockSize);
        EXPECT_TRUE(acquire());
        EXPECT_EQ(contentOf(".nef"), bytes) << blockSize;
    }
}

TEST_F(TransferTest, BlocksOfMixedSizesKeepTheirOrder) {
    const auto bytes = picture(300'000);
    module.atPolls = {nullptr};
    uint32_t start = 0;
    for (const uint32_t length : {10U, 70'000U, 0U, 65'500U, 20U, 64'000U, 100'470U}) {
        module.atPolls.push_back(
            [&, start, length] { deliver(head(300'000, start, length), bytes.data() + start); });
        start += length;
    }
    ASSERT_EQ(start, 300'000U);
    module.completionPolls = 1;
    module.before = [&](const FakeCall& call) {
        module.completionPolls = call.command == kMaidCommandCapStart ? 8 : 1;
    };
    EXPECT_TRUE(acquire());
    EXPECT_EQ(contentOf(".nef"), bytes);
}

TEST_F(TransferTest, TheLastBlockSaysWhetherTheItemIsToBeRemoved) {
    const uint32_t file = kMaidDataObjectFile;
    const struct {
        uint32_t type;
        uint16_t removeObject;
        int removeItem;
    } cases[] = {{file | kMaidDataObjectImage, 1, 1},
                 {file | kMaidDataObjectImage, 0x100, 1},
                 {file | kMaidDataObjectImage, 0, 0},
                 {file | kMaidDataObjectThumbnail, 1, 0}};
    for (const auto& one : cases) {
        camera.removeItem = 0;
        module.atPolls = {nullptr, [&] {
                              NkMAIDFileInfo info = head(4, 0, 4);
                              info.base.type = one.type;
                              info.removeObject = one.removeObject;
                              deliver(info, "abcd");
                          }};
        EXPECT_TRUE(acquire());
        EXPECT_EQ(camera.removeItem, one.removeItem);
    }
}

TEST_F(TransferTest, APictureOfNoBytesIsAnEmptyFile) {
    for (const void* data : {static_cast<const void*>("abcd"), static_cast<const void*>(nullptr)}) {
        std::ofstream(pathOf(".nef")) << "older";
        camera.removeItem = 0;
        module.atPolls = {nullptr, [&] {
                              NkMAIDFileInfo info = head(0, 0, 0);
                              info.removeObject = 1;
                              EXPECT_EQ(deliver(info, data), 0);
                          }};
        EXPECT_TRUE(acquire());
        EXPECT_EQ(files(), (Names{"frame.nef"}));
        EXPECT_TRUE(contentOf(".nef").empty());
        EXPECT_EQ(camera.removeItem, 1);
    }
}

TEST_F(TransferTest, AnOlderFileIsReplaced) {
    std::ofstream(pathOf(".nef")) << "something longer that was here before";
    deliverAtPolls(picture(10), 10);
    EXPECT_TRUE(acquire());
    EXPECT_EQ(contentOf(".nef"), picture(10));
    EXPECT_EQ(files(), (Names{"frame.nef"}));
}

TEST_F(TransferTest, DeliveriesThatAreNoFilesAreTakenAndDropped) {
    module.atPolls = {nullptr, [&] {
                          NkMAIDDataInfo info{kMaidDataObjectImage};  // shorter than a file's
                          const FakeCapability* taker = fakeImage->capability(kMaidCapabilityDataProc);
                          EXPECT_EQ(DataProc(taker->procedure.ref, &info, nullptr), 0);
                          EXPECT_EQ(camera.acquiring, 0);
                      }};
    EXPECT_TRUE(acquire());
    EXPECT_TRUE(files().empty());
}

TEST_F(TransferTest, OnePictureMayFollowAnotherInOneTransfer) {
    module.atPolls = {nullptr, [&] {
                          deliver(head(4, 0, 4, kMaidFileNef), "abcd");
                          deliver(head(6, 0, 3, kMaidFileJpeg), "efg");
                          deliver(head(6, 3, 3, kMaidFileJpeg), "hij");
                      }};
    EXPECT_TRUE(acquire());
    EXPECT_EQ(files(), (Names{"frame.jpg", "frame.nef"}));
}

TEST_F(TransferTest, BlocksAreSignsOfLife) {
    const uint64_t before = signsOfLife();
    deliverAtPolls(picture(10), 10);
    EXPECT_TRUE(acquire());
    EXPECT_GT(signsOfLife(), before);
}

/* What keeps a picture from being whole leaves nothing at its path, fails the transfer, and leaves the
 * picture on the camera. */
class BrokenTransfer : public PicturesTest {
protected:
    void expectNothingButFailure() {
        EXPECT_FALSE(acquire());
        EXPECT_TRUE(files().empty()) << files().front();
        EXPECT_EQ(camera.removeItem, 0);
    }

    static NkMAIDFileInfo removing(NkMAIDFileInfo info) {
        info.removeObject = 1;
        return info;
    }
};

TEST_F(BrokenTransfer, TheFolderIsMissing) {
    std::strcpy(camera.imagePath, (folder / "missing" / "frame").c_str());
    module.atPolls = {nullptr, [&] { EXPECT_EQ(deliver(removing(head(4, 0, 4)), "abcd"), -117); }};
    expectNothingButFailure();
    EXPECT_EQ(camera.acquiring, 1) << "not over, as far as the module's blocks go";
}

TEST_F(BrokenTransfer, TheDiskIsFull) {
    // Its name ends with the extension that the file will have.
    std::filesystem::create_symlink("/dev/full", pathOf(".nef"));
    module.atPolls = {nullptr, [&] { EXPECT_EQ(deliver(removing(head(4, 0, 4)), "abcd"), -117); }};
    EXPECT_FALSE(acquire());
    EXPECT_EQ(files(), (Names{"frame.nef"})) << "the link";
    EXPECT_EQ(camera.removeItem, 0);
}

TEST_F(BrokenTransfer, ThePathIsAFolder) {
    std::filesystem::create_directory(pathOf(".nef"));
    module.atPolls = {nullptr, [&] { EXPECT_EQ(deliver(removing(head(4, 0, 4)), "abcd"), -117); }};
    EXPECT_FALSE(acquire());
    EXPECT_TRUE(std::filesystem::is_directory(pathOf(".nef")));
}

TEST_F(BrokenTransfer, AnOlderFileStays) {
    std::ofstream(pathOf(".nef")) << "older";
    module.atPolls = {nullptr, [&] { deliver(head(100, 0, 4), "abcd"); }};
    EXPECT_FALSE(acquire());
    const auto content = contentOf(".nef");
    EXPECT_EQ(std::string(content.begin(), content.end()), "older");
    EXPECT_EQ(files(), (Names{"frame.nef"}));
}

TEST_F(BrokenTransfer, TheLastBlocksAreMissing) {
    module.atPolls = {nullptr,
                      [&] { EXPECT_EQ(deliver(removing(head(100, 0, 99)), picture(99).data()), 0); }};
    expectNothingButFailure();
}

TEST_F(BrokenTransfer, ABlockIsLongerThanWhatIsLeft) {
    module.atPolls = {nullptr, [&] {
                          EXPECT_EQ(deliver(head(100, 0, 60), picture(60).data()), 0);
                          EXPECT_EQ(deliver(removing(head(100, 60, 41)), picture(41).data()), -117);
                          EXPECT_EQ(deliver(removing(head(100, 60, 40)), picture(40).data()), -117)
                              << "too late";
                      }};
    expectNothingButFailure();
}

TEST_F(BrokenTransfer, ABlockIsLongerThanThePicture) {
    module.atPolls = {nullptr, [&] { EXPECT_EQ(deliver(removing(head(4, 0, 0xFFFFFFFF)), "abcd"), -117); }};
    expectNothingButFailure();
}

TEST_F(BrokenTransfer, TheLengthChangesUnderway) {
    module.atPolls = {nullptr, [&] {
                          EXPECT_EQ(deliver(head(8, 0, 4), "abcd"), 0);
                          EXPECT_EQ(deliver(removing(head(6, 4, 2)), "ef"), -117);
                      }};
    expectNothingButFailure();
}

TEST_F(BrokenTransfer, ABlockHasNoData) {
    module.atPolls = {nullptr, [&] { EXPECT_EQ(deliver(removing(head(4, 0, 4)), nullptr), -117); }};
    expectNothingButFailure();
}

TEST_F(BrokenTransfer, TheDataIsThePathOfAFileOfTheModules) {
    module.atPolls = {nullptr, [&] {
                          NkMAIDFileInfo info = removing(head(4, 0, 4));
                          info.diskFile = 1;
                          EXPECT_EQ(deliver(info, "abcd"), -117);
                      }};
    expectNothingButFailure();
}

TEST_F(BrokenTransfer, NothingIsSaidAboutABlock) {
    module.atPolls = {nullptr, [&] {
                          const FakeCapability* taker = fakeImage->capability(kMaidCapabilityDataProc);
                          EXPECT_EQ(DataProc(taker->procedure.ref, nullptr, nullptr), -117);
                      }};
    EXPECT_TRUE(acquire()) << "it announced no file";
    EXPECT_TRUE(files().empty());
}

TEST_F(BrokenTransfer, FourGigabytesAreAnnouncedAndDoNotCome) {
    module.atPolls = {nullptr, [&] { EXPECT_EQ(deliver(removing(head(0xFFFFFFFF, 0, 4)), "abcd"), 0); }};
    expectNothingButFailure();
}

TEST_F(BrokenTransfer, TheCompletionReportsAFailure) {
    module.atPolls = {nullptr, [&] { EXPECT_EQ(deliver(head(100, 0, 4), "abcd"), 0); }};
    module.completionResult = [](const FakeCall& call) {
        return call.command == kMaidCommandCapStart ? std::optional<int32_t>(kMaidResultHardwareError)
                                                    : std::nullopt;
    };
    expectNothingButFailure();
    EXPECT_EQ(module.trace().back(), "set 4 on data 1") << "cleared all the same";
}

TEST_F(BrokenTransfer, AWholePictureWhoseTransferFailedInTheEndIsNoSuccess) {
    module.atPolls = {nullptr, [&] { EXPECT_EQ(deliver(head(4, 0, 4), "abcd"), 0); }};
    module.completionResult = [](const FakeCall& call) {
        return call.command == kMaidCommandCapStart ? std::optional<int32_t>(kMaidResultHardwareError)
                                                    : std::nullopt;
    };
    EXPECT_FALSE(acquire());
}

TEST_F(BrokenTransfer, TheModuleDoesNotLetItselfBePolled) {
    module.answer = [](const FakeCall& call) {
        return call.command == kMaidCommandAsync ? std::optional<int32_t>(kMaidResultDeviceBusy)
                                                 : std::nullopt;
    };
    expectNothingButFailure();
}

TEST_F(BrokenTransfer, TheTransferIsNotStarted) {
    for (const int32_t result : {-1, 2, 257}) {
        module.calls.clear();
        module.answer = [&](const FakeCall& call) {
            return call.command == kMaidCommandCapStart ? std::optional(result) : std::nullopt;
        };
        expectNothingButFailure();
        EXPECT_EQ(module.calls.size(), 2U);
    }
}

TEST_F(BrokenTransfer, TheModuleTakesNoDataProcedure) {
    fakeImage->capability(kMaidCapabilityDataProc)->info.operations = kMaidOperationGet;
    quietly([&] { fakeImage->raise(kMaidEventCapChange, 0); });
    module.calls.clear();
    expectNothingButFailure();
    EXPECT_TRUE(module.calls.empty());
}

TEST_F(BrokenTransfer, BlocksAfterItsEndFindNothing) {
    MaidRef late = nullptr;
    module.atPolls = {nullptr, [&] { late = fakeImage->capability(kMaidCapabilityDataProc)->procedure.ref; }};
    EXPECT_TRUE(acquire());
    ASSERT_NE(late, nullptr);
    NkMAIDFileInfo info = head(4, 0, 4);
    char data[] = "abcd";
    EXPECT_EQ(DataProc(late, &info, data), -120);
    EXPECT_EQ(DataProc(nullptr, &info, data), -120);
    EXPECT_EQ(DataProc(&camera, &info, data), -120);
    EXPECT_TRUE(files().empty());
}

TEST_F(BrokenTransfer, BlocksAfterItsCompletionFindNothing) {
    module.atPolls = {nullptr, [&] {
                          module.complete(module.calls.back(), 0);
                          EXPECT_EQ(deliver(head(4, 0, 4), "abcd"), -120);
                      }};
    EXPECT_TRUE(acquire()) << "a transfer without a file";
    EXPECT_TRUE(files().empty());
}

TEST_F(BrokenTransfer, TheObjectIsTakenAwayUnderway) {
    module.atPolls = {nullptr, [&] { deliver(head(8, 0, 4), "abcd"); },
                      [&] { fakeItem->raise(kMaidEventRemoveChild, kImageId); }};
    module.before = [&](const FakeCall& call) {
        module.completionPolls = call.command == kMaidCommandCapStart ? 1000 : 1;
    };
    expectNothingButFailure();
}

TEST_F(TransferTest, AnObjectThatIsTakenAwayOnceAllIsReceivedIsNoFailure) {
    module.atPolls = {nullptr, [&] {
                          deliver(head(4, 0, 4), "abcd");
                          module.complete(module.calls.back(), 0);
                          fakeSource->raise(kMaidEventRemoveChild, kItemId);
                      }};
    EXPECT_TRUE(acquire());
    EXPECT_EQ(files(), (Names{"frame.nef"}));
    EXPECT_EQ(item(), nullptr);
}

}  // namespace
