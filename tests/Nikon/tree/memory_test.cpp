// The layer of objects and commands when memory runs out: each single allocation, in its turn.
#include <cstring>

#include "Nikon/CallBack.h"
#include "Nikon/TransferRecord.h"
#include "tests/Nikon/tree/Pictures.h"
#include "tests/QTKitCapture/AllocationCounter.h"

namespace {

using namespace nikon;

/** The fake's own memory is not what runs out. */
int32_t sparedEntryPoint(NkMAIDObject* object, uint32_t command, uint32_t parameter, uint32_t dataType,
                         MaidParam data, MaidCompletionProc completion, MaidRef reference) {
    const AllocationPause pause;
    return FakeModule::entryPoint(object, command, parameter, dataType, data, completion, reference);
}

class ShortOfMemory : public PicturesTest {
protected:
    ShortOfMemory() {
        for (tagRefObj* record : {&root, source(), item(), image()}) {
            record->entryPoint = sparedEntryPoint;
        }
    }

    /** Runs it again and again, each time with another one of its allocations failing, until none is left. */
    template <class Action, class Check>
    void atEveryAllocation(Action action, Check check) {
        for (int number = 1; number < 1000; ++number) {
            SCOPED_TRACE("allocation " + std::to_string(number));
            failAllocation(number);
            const auto result = action();
            const bool isFree = isFailureAhead();
            failAllocation(0);
            check(result, isFree);
            if (HasFailure()) return;
            if (!isFree) continue;
            EXPECT_GT(number, 2) << "it allocates nothing that could fail";
            return;
        }
        FAIL() << "it does not end";
    }

    int32_t take(const NkMAIDFileInfo& info, const void* data) {
        NkMAIDFileInfo copy = info;
        return DataProc(reference, &copy, const_cast<void*>(data));
    }

    MaidRef reference = nullptr;
};

TEST_F(ShortOfMemory, APictureIsRefusedAndSaidSo) {
    TransferPtr transfer = std::make_shared<Transfer>(&camera);
    reference = openTransfer(transfer);
    const std::string log = logOf([&] {
        failAllocation(1);
        EXPECT_EQ(take(head(8, 0, 4), "abcd"), -118);
        failAllocation(0);
    });
    EXPECT_EQ(log, "NikonMaid: There is not enough memory.") << "without an end of the line";
    EXPECT_EQ(camera.acquiring, 0);
    camera.acquiring = 1;
    EXPECT_EQ(take(head(8, 4, 4), "efgh"), -118) << "the rest of it";
    EXPECT_EQ(camera.acquiring, 0);
    EXPECT_FALSE(transfer->isWhole());
    EXPECT_TRUE(files().empty());
    EXPECT_EQ(camera.removeItem, 0);
    endTransfer(reference);
}

TEST_F(ShortOfMemory, APictureIsWholeOrAbsent) {
    quietly([&] {
        atEveryAllocation(
            [&] {
                TransferPtr transfer;
                {
                    const AllocationPause pause;
                    transfer = std::make_shared<Transfer>(&camera);
                    reference = openTransfer(transfer);
                }
                NkMAIDFileInfo info = head(8, 0, 8);
                info.removeObject = 1;
                const int32_t answer = take(info, "abcdefgh");
                const AllocationPause pause;
                endTransfer(reference);
                return answer;
            },
            [&](int32_t answer, bool isFree) {
                if (isFree) {
                    EXPECT_EQ(answer, 0);
                }
                if (answer != 0) {
                    EXPECT_TRUE(answer == -118 || answer == -117) << answer;
                }
                EXPECT_EQ(files().size(), answer == 0 ? 1U : 0U);
                EXPECT_EQ(camera.removeItem, answer == 0 ? 1 : 0);
                camera.removeItem = 0;
                std::filesystem::remove(pathOf(".nef"));
            });
    });
}

TEST_F(ShortOfMemory, ATransferEndsAndLeavesThePictureWhereItIs) {
    const auto bytes = picture(100);
    quietly([&] {
        atEveryAllocation(
            [&] {
                {
                    const AllocationPause pause;
                    deliverAtPolls(bytes, 100);
                }
                return acquire();
            },
            [&](bool isDone, bool isFree) {
                EXPECT_TRUE(!isFree || isDone);
                if (isDone) {
                    EXPECT_EQ(contentOf(".nef"), bytes);
                }
                std::filesystem::remove(pathOf(".nef"));
                module.atPolls.clear();
            });
    });
}

TEST_F(ShortOfMemory, AnObjectIsNotOpenedAndSaidSo) {
    fakeSource->add(kMaidObjectItem, 22).hasProcedure(kMaidCapabilityEventProc);
    std::string log;
    const auto open = [&] {
        {
            const AllocationPause pause;
            testing::internal::CaptureStdout();
        }
        const bool isOpen = AddChild(source(), 22);
        const AllocationPause pause;
        log = testing::internal::GetCapturedStdout();
        return isOpen;
    };
    atEveryAllocation(open, [&](bool isOpen, bool isFree) {
        EXPECT_EQ(fakeSource->child(22)->isOpen, isOpen);
        EXPECT_EQ(GetRefChildPtr_ID(source(), 22) != nullptr, isOpen);
        EXPECT_TRUE(!isFree || isOpen);
        if (!isOpen) {
            EXPECT_EQ(log, "NikonMaid: There is not enough memory\n");
        }
        if (isOpen) quietly([&] { RemoveChild(source(), 22); });
        fakeSource->child(22)->isOpen = false;
    });
    EXPECT_EQ(source()->childCount, 1U) << "the one that was there";
}

TEST_F(ShortOfMemory, AnObjectIsClosedOrStays) {
    fakeSource->add(kMaidObjectItem, 22).add(kMaidObjectData, 1);
    const auto remove = [&] {
        {
            const AllocationPause pause;
            if (GetRefChildPtr_ID(source(), 22) == nullptr) AddChild(source(), 22);
            tagRefObj* opened = GetRefChildPtr_ID(source(), 22);
            if (GetRefChildPtr_ID(opened, 1) == nullptr) AddChild(opened, 1);
        }
        return RemoveChild(source(), 22);
    };
    quietly([&] {
        atEveryAllocation(remove, [&](bool isRemoved, bool isFree) {
            EXPECT_TRUE(!isFree || isRemoved);
            EXPECT_EQ(GetRefChildPtr_ID(source(), 22) == nullptr, isRemoved);
        });
    });
}

TEST_F(ShortOfMemory, AnArrayIsReadWholeOrNotAtAll) {
    fakeSource->can(0x8247, kMaidCapArray, kMaidOperationGet | kMaidOperationGetArray).elements.resize(400);
    quietly([&] { fakeSource->raise(kMaidEventCapChange, 0); });
    NkMAIDArray array{};
    atEveryAllocation([&] { return GetArrayCapability(source(), 0x8247, &array); },
                      [&](bool isRead, bool isFree) {
                          EXPECT_TRUE(!isFree || isRead);
                          EXPECT_EQ(array.data != nullptr, isRead);
                          std::free(array.data);
                          array = {};
                      });
}

TEST_F(ShortOfMemory, CommandsFailWithoutALeak) {
    fakeSource->can(0x8100, kMaidCapUnsigned, kMaidOperationGet | kMaidOperationSet);
    quietly([&] { fakeSource->raise(kMaidEventCapChange, 0); });
    uint32_t wanted = 0;
    atEveryAllocation([&] { return SetUnsignedCapability(source(), 0x8100, ++wanted); },
                      [&](bool isSet, bool isFree) {
                          EXPECT_TRUE(!isFree || isSet);
                          EXPECT_EQ(fakeSource->capability(0x8100)->number == wanted, isSet);
                      });
    uint32_t id = 0;
    atEveryAllocation([&] { return SelectItem(source(), &id); },
                      [&](bool isFound, bool isFree) {
                          EXPECT_TRUE(!isFree || isFound);
                          EXPECT_EQ(id, isFound ? kItemId : 0U);
                          id = 0;
                      });
}

}  // namespace
