#include <cinttypes>
#include <cstdio>

#include "Nikon/CallBack.h"
#include "tests/Nikon/tree/Fixture.h"

namespace {

using namespace nikon;

using ObjectsTest = TreeTest;

std::string withAddress(const char* text, const void* object) {
    char line[128];
    std::snprintf(line, sizeof line, "NikonMaid: %s %p\n", text, object);
    return line;
}

template <class Procedure>
bool isProcedure(const FakeObject& object, uint32_t capability, Procedure procedure) {
    const FakeCapability* found = const_cast<FakeObject&>(object).capability(capability);
    return found != nullptr && found->procedure.proc == reinterpret_cast<void (*)()>(procedure);
}

TEST_F(ObjectsTest, ANewRecordIsClearButForItsEntryPoint) {
    tagRefObj record;
    record.entryPoint = FakeModule::entryPoint;
    record.id = 3;
    record.childCount = 9;
    record.capCount = 9;
    record.parent = &root;
    InitRefObj(&record);
    EXPECT_EQ(record.entryPoint, FakeModule::entryPoint);
    EXPECT_EQ(record.id, 0x8000);
    EXPECT_EQ(record.childCount, 0U);
    EXPECT_EQ(record.capCount, 0U);
    EXPECT_EQ(record.parent, nullptr);
    EXPECT_EQ(record.object, nullptr);
}

TEST_F(ObjectsTest, AChildIsOpenedDescribedAndListenedTo) {
    haveWholeTree();
    root.inheritedRef = 77;
    const std::string log = logOf([&] { EXPECT_TRUE(AddChild(&root, kSourceId)); });
    ASSERT_NE(source(), nullptr);
    EXPECT_EQ(log, withAddress("IN ADD CHILD", source()));
    EXPECT_EQ(source()->parent, &root);
    EXPECT_EQ(source()->entryPoint, root.entryPoint);
    EXPECT_EQ(source()->inheritedRef, 77U);
    EXPECT_EQ(source()->object->clientRef, source());
    EXPECT_EQ(source()->object->type, static_cast<uint32_t>(kMaidObjectSource));
    EXPECT_EQ(source()->capCount, 3U);
    EXPECT_EQ(module.trace(),
              (std::vector<std::string>{"open 7 on module 0", "count 0 on source 7", "describe 3 on source 7",
                                        "set 2 on source 7", "set 3 on source 7"}));
    EXPECT_EQ(GetRefChildPtr_Index(&root, 0), source());
    EXPECT_EQ(GetRefChildPtr_Index(&root, 1), nullptr);
    EXPECT_EQ(GetRefChildPtr_Index(nullptr, 0), nullptr);
    EXPECT_EQ(GetRefChildPtr_ID(&root, 8), nullptr);
}

TEST_F(ObjectsTest, AChildThatCannotBeOpenedLeavesNothing) {
    EXPECT_EQ(logOf([&] { EXPECT_FALSE(AddChild(&root, 5)); }),
              "NikonMaid: Command_Open 0xFFFFFF83\nNikonMaid: Failed in Opening an object.\n");
    EXPECT_EQ(root.childCount, 0U);
    EXPECT_EQ(root.children, nullptr);
    EXPECT_FALSE(AddChild(nullptr, 5));
}

TEST_F(ObjectsTest, AChildThatRefusesItsProceduresIsOpenedAllTheSame) {
    haveWholeTree();
    module.answer = [](const FakeCall& call) {
        return call.command == kMaidCommandCapSet ? std::optional<int32_t>(kMaidResultHardwareError)
                                                  : std::nullopt;
    };
    EXPECT_TRUE(AddChild(&root, kSourceId));
    EXPECT_NE(GetRefChildPtr_ID(&root, kSourceId), nullptr);
}

TEST_F(ObjectsTest, AChildThatDoesNotTellWhatItCanIsOpenedAllTheSame) {
    haveWholeTree();
    module.answer = [](const FakeCall& call) {
        return call.command == kMaidCommandGetCapCount ? std::optional<int32_t>(kMaidResultHardwareError)
                                                       : std::nullopt;
    };
    EXPECT_TRUE(AddChild(&root, kSourceId));
    EXPECT_NE(GetRefChildPtr_ID(&root, kSourceId), nullptr);
}

TEST_F(ObjectsTest, MoreChildrenThanThereIsRoomForAreRefused) {
    root.childCount = kMostChildren;  // without the array, which is not looked at
    EXPECT_EQ(logOf([&] { EXPECT_FALSE(AddChild(&root, 5)); }), "NikonMaid: There is not enough memory\n");
    root.childCount = 0;
    EXPECT_TRUE(module.calls.empty());
}

TEST_F(ObjectsTest, ATreeDoesNotGrowDeeperThanItCanBeFollowed) {
    FakeObject* parent = &module.root;
    tagRefObj* record = &root;
    uint32_t level = 1;  // the root's
    for (; record != nullptr && level < 100; ++level) {
        parent = &parent->add(kMaidObjectItem, 1);
        quietly([&] { AddChild(record, 1); });
        record = GetRefChildPtr_ID(record, 1);
    }
    EXPECT_EQ(level, kDeepestLevel + 2);
}

TEST_F(ObjectsTest, TheModulesEventProcedureIsSetTwice) {
    std::vector<void (*)()> set;
    haveWholeTree();
    module.before = [&](const FakeCall& call) {
        if (call.command == kMaidCommandCapSet && call.parameter == kMaidCapabilityEventProc) {
            set.push_back(reinterpret_cast<NkMAIDCallback*>(call.data)->proc);
        }
    };
    EXPECT_TRUE(SetProc(&root));
    EXPECT_EQ(set, (std::vector<void (*)()>{reinterpret_cast<void (*)()>(ModEventProc),
                                            reinterpret_cast<void (*)()>(SrcEventProc)}));
    EXPECT_TRUE(isProcedure(module.root, kMaidCapabilityProgressProc, ProgressProc));
    EXPECT_TRUE(isProcedure(module.root, kMaidCapabilityEventProc, SrcEventProc));
}

TEST_F(ObjectsTest, EachKindHasItsOwnEventProcedure) {
    openWholeTree();
    EXPECT_TRUE(isProcedure(*fakeSource, kMaidCapabilityEventProc, SrcEventProc));
    EXPECT_TRUE(isProcedure(*fakeItem, kMaidCapabilityEventProc, ItmEventProc));
    EXPECT_TRUE(isProcedure(*fakeImage, kMaidCapabilityEventProc, DatEventProc));
    for (const FakeObject* object : {fakeSource, fakeItem, fakeImage}) {
        EXPECT_TRUE(isProcedure(*object, kMaidCapabilityProgressProc, ProgressProc));
    }
}

TEST_F(ObjectsTest, AnObjectThatTakesNoProceduresNeedsNone) {
    EXPECT_TRUE(SetProc(&root));
    EXPECT_TRUE(ResetProc(&root));
    EXPECT_TRUE(module.calls.empty());
}

TEST_F(ObjectsTest, AnObjectOfAnotherKindGetsNoEventProcedure) {
    haveWholeTree();
    root.object->type = 5;
    EXPECT_TRUE(SetProc(&root));
    EXPECT_EQ(module.trace(), (std::vector<std::string>{"set 2 on module 0"}));
}

class FailedProcedures : public TreeTest, public testing::WithParamInterface<int> {};

TEST_P(FailedProcedures, AreReportedAndEndTheSetting) {
    haveWholeTree();
    int sets = 0;
    module.answer = [&](const FakeCall& call) {
        const bool fails = call.command == kMaidCommandCapSet && sets++ == GetParam();
        return fails ? std::optional<int32_t>(kMaidResultHardwareError) : std::nullopt;
    };
    EXPECT_FALSE(SetProc(&root));
    EXPECT_EQ(sets, GetParam() + 1);
    sets = 0;
    EXPECT_FALSE(ResetProc(&root));
    EXPECT_EQ(sets, GetParam() + 1);
}

INSTANTIATE_TEST_SUITE_P(EachOfTheThree, FailedProcedures, testing::Range(0, 3));

TEST_F(ObjectsTest, ProceduresAreClearedWithoutData) {
    haveWholeTree();
    EXPECT_TRUE(ResetProc(&root));
    EXPECT_EQ(module.trace(),
              (std::vector<std::string>{"set 2 on module 0", "set 3 on module 0", "set 5 on module 0"}));
    for (const FakeCall& call : module.calls) {
        EXPECT_EQ(call.dataType, static_cast<uint32_t>(kMaidDataNull));
        EXPECT_EQ(call.data, 0U);
    }
}

TEST_F(ObjectsTest, AChildIsRemovedWithAllBelowIt) {
    openWholeTree();
    source()->cameraData = nullptr;
    EXPECT_TRUE(RemoveChild(&root, kSourceId));
    EXPECT_EQ(root.childCount, 0U);
    EXPECT_EQ(root.children, nullptr);
    EXPECT_EQ(module.trace(),
              (std::vector<std::string>{"set 2 on data 1", "set 3 on data 1", "close 0 on data 1",
                                        "set 2 on item 21", "set 3 on item 21", "close 0 on item 21",
                                        "set 2 on source 7", "set 3 on source 7", "close 0 on source 7"}));
    EXPECT_TRUE(module.complaints.empty());
    EXPECT_FALSE(RemoveChild(&root, kSourceId));
    EXPECT_FALSE(RemoveChild(nullptr, kSourceId));
    EXPECT_TRUE(sentStatuses.empty());
}

TEST_F(ObjectsTest, TheOthersKeepTheirOrder) {
    haveWholeTree();
    for (const uint32_t id : {1U, 2U, 3U}) {
        module.root.add(kMaidObjectSource, id);
        quietly([&] { AddChild(&root, static_cast<int32_t>(id)); });
    }
    EXPECT_TRUE(RemoveChild(&root, 2));
    ASSERT_EQ(root.childCount, 2U);
    EXPECT_EQ(GetRefChildPtr_Index(&root, 0)->id, 1);
    EXPECT_EQ(GetRefChildPtr_Index(&root, 1)->id, 3);
}

TEST_F(ObjectsTest, TheSourceOfASelectedCameraStaysAndTheHostIsTold) {
    openWholeTree();
    tagRefObj* const selected = source();
    const std::string log = logOf([&] { EXPECT_TRUE(RemoveChild(&root, kSourceId)); });
    EXPECT_EQ(log, withAddress("IN REMOVE CHILD", selected));
    EXPECT_EQ(source(), selected);
    EXPECT_EQ(item()->parent, selected);
    EXPECT_EQ(camera.active, 0);
    EXPECT_EQ(sentStatuses, (std::vector<int32_t>{0}));
    EXPECT_TRUE(module.calls.empty());
}

TEST_F(ObjectsTest, TheCameraIsInactiveBeforeTheHostIsToldThatItHasGone) {
    openWholeTree();
    camera.active = 1;
    uint16_t activeThen = 1;
    atStatus = [&] { activeThen = camera.active; };
    EXPECT_TRUE(RemoveChild(&root, kSourceId));
    EXPECT_EQ(sentStatuses.size(), 1U);
    EXPECT_EQ(activeThen, 0);
}

TEST_F(ObjectsTest, AChildThatCannotBeClosedStays) {
    openWholeTree();
    source()->cameraData = nullptr;
    for (const uint32_t refused : {kMaidCommandCapSet, kMaidCommandClose}) {
        module.answer = [&](const FakeCall& call) {
            const bool fails = call.command == refused && call.object == fakeSource;
            return fails ? std::optional<int32_t>(kMaidResultHardwareError) : std::nullopt;
        };
        quietly([&] { EXPECT_FALSE(RemoveChild(&root, kSourceId)); });
        ASSERT_NE(source(), nullptr);
        EXPECT_NE(source()->entryPoint, nullptr);
    }
    module.answer = nullptr;
    quietly([&] { EXPECT_TRUE(RemoveChild(&root, kSourceId)) << "later"; });
}

TEST_F(ObjectsTest, AChildBelowThatCannotBeClosedEndsTheRemoval) {
    openWholeTree();
    source()->cameraData = nullptr;
    module.answer = [&](const FakeCall& call) {
        const bool fails = call.command == kMaidCommandClose && call.object == fakeImage;
        return fails ? std::optional<int32_t>(kMaidResultHardwareError) : std::nullopt;
    };
    EXPECT_EQ(logOf([&] { EXPECT_FALSE(RemoveChild(&root, kSourceId)); }),
              "NikonMaid: Command_Close 0xFFFFFF8C\n");
    EXPECT_NE(image(), nullptr);
}

TEST_F(ObjectsTest, ARemovedRecordCanStillBeAskedUntilTheScopeEnds) {
    openWholeTree();
    tagRefObj* const gone = image();
    quietly([&] { EXPECT_TRUE(RemoveChild(source(), kItemId)); });
    EXPECT_EQ(gone->entryPoint, nullptr);
    EXPECT_EQ(gone->parent, nullptr);
    uint32_t id = 0;
    EXPECT_FALSE(SelectItem(gone, &id));
    EXPECT_FALSE(Command_Async(gone));
    EXPECT_FALSE(AddChild(gone, 3));
    EXPECT_FALSE(SetProc(gone));
    EXPECT_TRUE(module.complaints.empty());
}

TEST_F(ObjectsTest, ClosingGoesFromTheBottomUp) {
    openWholeTree();
    EXPECT_TRUE(Close_Module(&root));
    EXPECT_EQ(
        module.trace(),
        (std::vector<std::string>{
            "set 2 on data 1", "set 3 on data 1", "close 0 on data 1", "set 2 on item 21", "set 3 on item 21",
            "close 0 on item 21", "set 2 on source 7", "set 3 on source 7", "close 0 on source 7",
            "set 2 on module 0", "set 3 on module 0", "set 5 on module 0", "close 0 on module 0"}));
    EXPECT_EQ(root.object, nullptr);
    EXPECT_EQ(root.children, nullptr);
    EXPECT_EQ(root.childCount, 0U);
    EXPECT_EQ(root.capInfo, nullptr);
    EXPECT_EQ(root.capCount, 0U);
    EXPECT_EQ(camera.source, nullptr) << "nobody is left with a record that has gone";
    EXPECT_TRUE(Close_Module(&root)) << "closed already";
}

TEST_F(ObjectsTest, ClosingGoesThreeLevelsDeep) {
    openWholeTree();
    fakeImage->add(kMaidObjectData, 5);
    quietly([&] { AddChild(image(), 5); });
    module.calls.clear();
    EXPECT_TRUE(Close_Module(&root));
    for (const FakeCall& call : module.calls) {
        EXPECT_NE(call.object->id, 5U);
    }
}

class FailedClosing : public TreeTest, public testing::WithParamInterface<int> {};

TEST_P(FailedClosing, EndsAtOnceAndCanBeTriedAgain) {
    openWholeTree();
    int count = 0;
    module.answer = [&](const FakeCall& call) {
        const bool fails = call.command != kMaidCommandAsync && count++ == GetParam();
        return fails ? std::optional<int32_t>(kMaidResultHardwareError) : std::nullopt;
    };
    quietly([&] { EXPECT_FALSE(Close_Module(&root)); });
    EXPECT_EQ(count, GetParam() + 1);
    EXPECT_NE(root.object, nullptr);
    module.answer = nullptr;
    quietly([&] { EXPECT_TRUE(Close_Module(&root)); });
    EXPECT_TRUE(module.complaints.empty());
}

INSTANTIATE_TEST_SUITE_P(EachCommand, FailedClosing, testing::Range(0, 13));

}  // namespace
