#include <cstring>

#include "Nikon/CallBack.h"
#include "tests/Nikon/tree/Fixture.h"

/* Modules that complete late, twice or never, count wrongly, and change their minds. The sanitizers see what
 * the expectations do not. */
namespace {

using namespace nikon;

using MisbehaviourTest = TreeTest;

constexpr uint32_t kAll = kMaidOperationGet | kMaidOperationSet | kMaidOperationGetArray;

TEST_F(MisbehaviourTest, ACommandThatIsCompletedTwiceCountsOnce) {
    FakeCapability& number = module.root.can(50, kMaidCapUnsigned, kAll);
    module.completions = 2;
    for (const int polls : {0, 1, 3}) {
        module.completionPolls = polls;
        uint32_t value = 0;
        number.number = 5;
        EXPECT_TRUE(Command_CapGet(&root, 50, kMaidDataUnsignedPtr, reinterpret_cast<MaidParam>(&value)));
        EXPECT_EQ(value, 5U);
    }
}

TEST_F(MisbehaviourTest, ACompletionThatComesAfterItsCommandWasGivenUpFindsNothing) {
    module.root.can(50, kMaidCapUnsigned, kAll);
    module.completions = 0;
    module.answer = [](const FakeCall& call) {
        return call.command == kMaidCommandAsync ? std::optional<int32_t>(kMaidResultDeviceBusy)
                                                 : std::nullopt;
    };
    uint32_t value = 0;
    EXPECT_TRUE(Command_CapGet(&root, 50, kMaidDataUnsignedPtr, reinterpret_cast<MaidParam>(&value)))
        << "it was answered so";
    for (int i = 0; i < 3; ++i) {
        module.complete(module.calls.back(), 0);
    }
}

TEST_F(MisbehaviourTest, ACompletionOfAnotherCommandDoesNotEndThisOne) {
    module.root.can(50, kMaidCapUnsigned, kAll);
    module.completions = 0;
    module.answer = [](const FakeCall& call) {
        return call.command == kMaidCommandAsync ? std::optional<int32_t>(kMaidResultDeviceBusy)
                                                 : std::nullopt;
    };
    Command_CapSet(&root, 50, kMaidDataUnsigned, 1);
    const FakeCall late = module.calls.back();
    module.answer = nullptr;
    module.completions = 1;
    module.completionPolls = 10;
    module.polls = 0;
    module.atPolls = {[&] { module.complete(late, 0); }};
    EXPECT_TRUE(Command_CapSet(&root, 50, kMaidDataUnsigned, 2));
    EXPECT_EQ(module.polls, 10);
}

TEST_F(MisbehaviourTest, ACommandThatIsNeverCompletedIsGivenUpAfterItsCameraHasGone) {
    openWholeTree();
    fakeSource->can(17, kMaidCapProcess, kMaidOperationStart);
    quietly([&] { fakeSource->raise(kMaidEventCapChange, 0); });
    module.before = [&](const FakeCall& call) {
        if (call.command == kMaidCommandCapStart) module.completions = 0;
    };
    const struct {
        tagRefObj* object;
        uint32_t process;
    } cases[] = {{source(), 17}, {image(), kMaidCapabilityAcquire}};
    for (const auto& one : cases) {
        camera.active = 1;
        module.polls = 0;
        module.atPolls.assign(1000, nullptr);
        module.atPolls.push_back([&] { module.root.raise(kMaidEventRemoveChild, kSourceId); });
        quietly([&] { EXPECT_FALSE(IssueProcess(one.object, one.process)); });
        EXPECT_EQ(camera.active, 0);
        EXPECT_EQ(module.polls, 1001 + kPollsAfterRemoval);
    }
    EXPECT_EQ(sentStatuses, (std::vector<int32_t>{0, 0}));
}

TEST_F(MisbehaviourTest, ACommandThatIsCompletedAfterItsCameraHasGoneIsDone) {
    openWholeTree();
    fakeSource->can(17, kMaidCapProcess, kMaidOperationStart);
    quietly([&] { fakeSource->raise(kMaidEventCapChange, 0); });
    module.completionPolls = kPollsAfterRemoval;
    module.atPolls = {[&] { module.root.raise(kMaidEventRemoveChild, kSourceId); }};
    quietly([&] { EXPECT_TRUE(IssueProcess(source(), 17)); });
    EXPECT_EQ(camera.active, 0);
}

TEST_F(MisbehaviourTest, CompletionsForNobodyAreDropped) {
    int anything = 0;
    for (const MaidRef reference : {MaidRef{nullptr}, MaidRef{&anything}, reinterpret_cast<MaidRef>(1),
                                    reinterpret_cast<MaidRef>(~uintptr_t{0})}) {
        CompletionProc(nullptr, kMaidCommandCapStart, kMaidCapabilityAcquire, 0, 0, reference, 0);
    }
}

/* The module writes into what it was given with the command, long after the caller has gone. */
TEST_F(MisbehaviourTest, WhatIsWrittenLateStaysWithItsCommand) {
    module.root.can(50, kMaidCapUnsigned, kAll);
    module.root.can(51, kMaidCapArray, kAll).elements = std::vector<uint8_t>(4000);
    EnumCapabilities(&root, &root.capCount, &root.capInfo);
    int polls = 0;
    module.completions = 0;
    module.answer = [&](const FakeCall& call) -> std::optional<int32_t> {
        if (call.command == kMaidCommandAsync) return polls-- > 0 ? 0 : kMaidResultDeviceBusy;
        module.completions = call.command == kMaidCommandCapGetArray ? 0 : 1;
        return std::nullopt;
    };
    polls = 1;  // for the first of the two commands
    NkMAIDArray array{};
    EXPECT_FALSE(GetArrayCapability(&root, 51, &array)) << "it may still be written to";
    EXPECT_EQ(array.data, nullptr);
    std::memset(reinterpret_cast<NkMAIDArray*>(module.calls.back().data)->data, 0xFF, 4000);
    reinterpret_cast<NkMAIDArray*>(module.calls.back().data)->elements = 7;
    module.complete(module.calls.back(), 0);

    module.completions = 0;
    {
        uint32_t value = 0;
        polls = 0;
        Command_CapGet(&root, 50, kMaidDataUnsignedPtr, reinterpret_cast<MaidParam>(&value));
    }
    *reinterpret_cast<uint32_t*>(module.calls.back().data) = 9;
}

/* The number that stands for a missing module, from a module that is there and may still write. */
TEST_F(MisbehaviourTest, AResultThatIsOursAlreadyDoesNotPassForNoModule) {
    module.root.can(51, kMaidCapArray, kAll).elements = std::vector<uint8_t>(40);
    EnumCapabilities(&root, &root.capCount, &root.capInfo);
    module.completions = 0;
    module.answer = [](const FakeCall& call) -> std::optional<int32_t> {
        return call.command == kMaidCommandCapGetArray ? std::optional(kNoEntryPoint) : std::nullopt;
    };
    NkMAIDArray array{};
    ElementStorage storage = AllocateBytes(40);
    EXPECT_FALSE(
        Command_CapGetArray(&root, 51, kMaidDataArrayPtr, reinterpret_cast<MaidParam>(&array), &storage));
    EXPECT_EQ(storage, nullptr) << "the module may still write to it";
    std::memset(reinterpret_cast<NkMAIDArray*>(module.calls.back().data)->data, 0xFF, 40);
}

TEST_F(MisbehaviourTest, ACapabilityListThatIsWrittenLateStaysWithItsCommand) {
    module.root.can(50, kMaidCapUnsigned, kAll);
    module.completions = 0;
    module.answer = [&](const FakeCall& call) -> std::optional<int32_t> {
        if (call.command == kMaidCommandAsync) return kMaidResultDeviceBusy;
        return std::nullopt;
    };
    EXPECT_TRUE(EnumCapabilities(&root, &root.capCount, &root.capInfo)) << "it was answered so";
    EXPECT_EQ(root.capInfo, nullptr) << "but may still be written";
    EXPECT_EQ(root.capCount, 0U);
    std::memset(reinterpret_cast<void*>(module.calls.back().data), 0xFF, sizeof(NkMAIDCapInfo));
}

TEST_F(MisbehaviourTest, ManyCommandsThatAreNeverCompletedAreForgotten) {
    module.root.can(50, kMaidCapUnsigned, kAll);
    module.completions = 0;
    module.answer = [&](const FakeCall& call) -> std::optional<int32_t> {
        if (call.command == kMaidCommandAsync) return kMaidResultDeviceBusy;
        return std::nullopt;
    };
    for (int i = 0; i < 2000; ++i) {
        EXPECT_TRUE(Command_CapSet(&root, 50, kMaidDataUnsigned, 1));
    }
    for (const FakeCall& call : std::vector<FakeCall>(module.calls)) {
        module.complete(call, 0);
    }
}

class AnnouncedSizes : public TreeTest, public testing::WithParamInterface<std::pair<uint32_t, uint16_t>> {};

TEST_P(AnnouncedSizes, ThatCannotBeAreNotAskedFor) {
    const auto [elements, elementSize] = GetParam();
    module.root.can(51, kMaidCapArray, kAll);
    module.root.can(kMaidCapabilityChildren, kMaidCapEnum, kAll);
    EnumCapabilities(&root, &root.capCount, &root.capInfo);
    module.calls.clear();
    module.answer = [&](const FakeCall& call) -> std::optional<int32_t> {
        if (call.command != kMaidCommandCapGet) return std::nullopt;
        if (call.dataType == kMaidDataArrayPtr) {
            *reinterpret_cast<NkMAIDArray*>(call.data) = {kMaidArrayUnsigned, elements, 1,      1, 1,
                                                          elementSize,        8,        nullptr};
        } else {
            *reinterpret_cast<NkMAIDEnum*>(call.data) = {kMaidArrayUnsigned, elements, 0, 0,
                                                         elementSize,        nullptr};
        }
        return kMaidResultNoError;
    };
    NkMAIDArray array{};
    EXPECT_FALSE(GetArrayCapability(&root, 51, &array));
    EXPECT_EQ(array.data, nullptr);
    uint32_t id = 0;
    EXPECT_FALSE(SelectItem(&root, &id));
    for (const FakeCall& call : module.calls) {
        EXPECT_NE(call.command, static_cast<uint32_t>(kMaidCommandCapGetArray));
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, AnnouncedSizes,
                         testing::Values(std::pair(0xFFFFFFFFU, 0xFFFF), std::pair(0xFFFFFFFFU, 4),
                                         std::pair(0x40000001U, 4), std::pair(0x10001U, 0xFFFF),
                                         std::pair(5U, 0), std::pair(0xFFFFFFFFU, 0)));

TEST_F(MisbehaviourTest, AnArrayThatGrowsBetweenTheTwoReadsIsNotBelieved) {
    module.root.can(51, kMaidCapArray, kAll).elements = std::vector<uint8_t>(40);
    EnumCapabilities(&root, &root.capCount, &root.capInfo);
    for (const uint32_t elements : {11U, 1000000U, 0xFFFFFFFFU}) {
        module.before = [&](const FakeCall& call) {
            if (call.command != kMaidCommandCapGetArray) return;
            reinterpret_cast<NkMAIDArray*>(call.data)->elements = elements;
        };
        NkMAIDArray array{};
        EXPECT_FALSE(GetArrayCapability(&root, 51, &array));
        EXPECT_EQ(array.data, nullptr);
    }
}

TEST_F(MisbehaviourTest, AnArrayThatShrinksBetweenTheTwoReadsIsShorter) {
    module.root.can(51, kMaidCapArray, kAll).elements = std::vector<uint8_t>(40);
    EnumCapabilities(&root, &root.capCount, &root.capInfo);
    module.before = [&](const FakeCall& call) {
        if (call.command == kMaidCommandCapGetArray) reinterpret_cast<NkMAIDArray*>(call.data)->elements = 3;
    };
    NkMAIDArray array{};
    ASSERT_TRUE(GetArrayCapability(&root, 51, &array));
    EXPECT_EQ(array.elements, 3U);
    std::free(array.data);
}

TEST_F(MisbehaviourTest, StorageThatTheModuleExchangesIsStillOurs) {
    module.root.can(51, kMaidCapArray, kAll).elements = std::vector<uint8_t>(40, 6);
    EnumCapabilities(&root, &root.capCount, &root.capInfo);
    static uint8_t itsOwn[40];
    bool isReplaced = false;
    module.completionResult = [&](const FakeCall& call) -> std::optional<int32_t> {
        if (call.command != kMaidCommandCapGetArray) return std::nullopt;
        reinterpret_cast<NkMAIDArray*>(call.data)->data = itsOwn;
        isReplaced = true;
        return std::nullopt;
    };
    NkMAIDArray array{};
    ASSERT_TRUE(GetArrayCapability(&root, 51, &array));
    EXPECT_TRUE(isReplaced);
    ASSERT_NE(array.data, static_cast<void*>(itsOwn));
    EXPECT_EQ(static_cast<uint8_t*>(array.data)[39], 6);
    std::free(array.data);
}

TEST_F(MisbehaviourTest, CapabilitiesThatChangeWhileOneIsReadAreLookedUpAgain) {
    module.root.hasProcedure(kMaidCapabilityEventProc);
    module.root.can(50, kMaidCapUnsigned, kAll);
    EnumCapabilities(&root, &root.capCount, &root.capInfo);
    SetProc(&root);
    module.atPolls = {[&] {
        module.root.capabilities.pop_back();
        module.root.raise(kMaidEventCapChange, 0);
    }};
    quietly([&] { EXPECT_FALSE(SetUnsignedCapability(&root, 50, 4)) << "gone after it was read"; });
    EXPECT_EQ(module.calls.back().command, static_cast<uint32_t>(kMaidCommandGetCapInfo));
}

TEST_F(MisbehaviourTest, TheNewestCapabilityListStays) {
    module.root.hasProcedure(kMaidCapabilityEventProc);
    module.root.can(50, kMaidCapUnsigned, kAll);
    EnumCapabilities(&root, &root.capCount, &root.capInfo);
    SetProc(&root);
    // Between the answer to the outer question and its completion the list becomes another one.
    module.atPolls = {nullptr, [&] {
                          module.root.can(60, kMaidCapUnsigned, kAll);
                          module.root.raise(kMaidEventCapChange, 0);
                      }};
    quietly([&] { EXPECT_TRUE(EnumCapabilities(&root, &root.capCount, &root.capInfo)); });
    EXPECT_EQ(root.capCount, 3U);
    EXPECT_NE(GetCapInfo(&root, 60), nullptr);
}

TEST_F(MisbehaviourTest, ANewerCapabilityListThatDoesNotComeDoesNotCostTheOneThatDoes) {
    module.root.hasProcedure(kMaidCapabilityEventProc);
    module.root.can(50, kMaidCapUnsigned, kAll);
    EnumCapabilities(&root, &root.capCount, &root.capInfo);
    SetProc(&root);
    module.atPolls = {nullptr, [&] {
                          module.answer = [](const FakeCall& call) -> std::optional<int32_t> {
                              if (call.command != kMaidCommandGetCapInfo) return std::nullopt;
                              return kMaidResultHardwareError;
                          };
                          module.root.raise(kMaidEventCapChange, 0);
                      }};
    quietly([&] { EXPECT_TRUE(EnumCapabilities(&root, &root.capCount, &root.capInfo)); });
    EXPECT_EQ(root.capCount, 2U);
    EXPECT_NE(GetCapInfo(&root, 50), nullptr);
}

TEST_F(MisbehaviourTest, ARemovalThatIsReportedAgainWhileItHappensIsLeftToTheFirst) {
    openWholeTree();
    source()->cameraData = nullptr;
    module.before = [&](const FakeCall& call) {
        if (call.command == kMaidCommandAsync) fakeSource->raise(kMaidEventRemoveChild, kItemId);
    };
    quietly([&] { EXPECT_TRUE(RemoveChild(source(), kItemId)); });
    EXPECT_EQ(item(), nullptr);
    EXPECT_TRUE(module.complaints.empty());
}

TEST_F(MisbehaviourTest, TheRemovalOfWhatIsAboveOvertakesTheOneBelow) {
    openWholeTree();
    source()->cameraData = nullptr;
    module.atPolls = {[&] { fakeSource->raise(kMaidEventRemoveChild, kItemId); }};
    quietly([&] { EXPECT_TRUE(RemoveChild(item(), kImageId)); });
    EXPECT_EQ(item(), nullptr);
    EXPECT_FALSE(fakeImage->isOpen);
    EXPECT_FALSE(fakeItem->isOpen);
    EXPECT_TRUE(module.complaints.empty());
}

TEST_F(MisbehaviourTest, NothingIsOpenedUnderWhatIsBeingClosed) {
    openWholeTree();
    FakeObject& late = fakeSource->add(kMaidObjectItem, 99);
    module.before = [&](const FakeCall& call) {
        if (call.command == kMaidCommandAsync) fakeSource->raise(kMaidEventAddChild, 99);
    };
    quietly([&] { EXPECT_TRUE(Close_Module(&root)); });
    EXPECT_FALSE(late.isOpen);
    EXPECT_TRUE(module.complaints.empty());
}

TEST_F(MisbehaviourTest, AChildThatIsTakenAwayWhileItIsOpenedIsNotThere) {
    haveWholeTree();
    quietly([&] { AddChild(&root, kSourceId); });
    module.atPolls = {[&] { fakeSource->raise(kMaidEventRemoveChild, kItemId); }};
    quietly([&] { AddChild(source(), kItemId); });
    EXPECT_EQ(item(), nullptr);
    EXPECT_FALSE(fakeItem->isOpen);
    EXPECT_TRUE(module.complaints.empty());
}

TEST_F(MisbehaviourTest, AParentThatIsTakenAwayWhileAChildIsOpenedTakesItAlong) {
    haveWholeTree();
    quietly([&] { AddChild(&root, kSourceId); });
    module.before = [&](const FakeCall& call) {
        if (call.command == kMaidCommandOpen) module.root.raise(kMaidEventRemoveChild, kSourceId);
    };
    tagRefObj* const gone = source();
    quietly([&] { EXPECT_FALSE(AddChild(gone, kItemId)); });
    EXPECT_EQ(source(), nullptr);
    EXPECT_EQ(gone->childCount, 0U);
    EXPECT_FALSE(fakeItem->isOpen);
}

}  // namespace
