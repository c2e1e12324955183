#include "Nikon/CallBack.h"
#include "Nikon/SignsOfLife.h"
#include "tests/Nikon/tree/Fixture.h"

namespace {

using namespace nikon;

using EventsTest = TreeTest;

TEST_F(EventsTest, AnAddedSourceIsOpenedWithAllThatItAnnounces) {
    haveWholeTree();
    quietly([&] { module.root.raise(kMaidEventAddChild, kSourceId); });
    EXPECT_NE(image(), nullptr) << "the source announces its item, the item its image";
    EXPECT_TRUE(module.complaints.empty());
}

TEST_F(EventsTest, AnAddedImageIsOnlyOpened) {
    haveWholeTree();
    quietly([&] { ASSERT_TRUE(AddChild(&root, kSourceId) && AddChild(source(), kItemId)); });
    module.calls.clear();
    quietly([&] { fakeItem->raise(kMaidEventAddChild, kImageId); });
    ASSERT_NE(image(), nullptr);
    for (const FakeCall& call : module.calls) {
        EXPECT_NE(call.command, static_cast<uint32_t>(kMaidCommandEnumChildren));
    }
}

TEST_F(EventsTest, ChildrenOfADataObjectAreIgnored) {
    openWholeTree();
    fakeImage->add(kMaidObjectData, 5);
    EXPECT_EQ(logOf([&] {
                  fakeImage->raise(kMaidEventAddChild, 5);
                  fakeImage->raise(kMaidEventRemoveChild, 5);
              }),
              "");
    EXPECT_TRUE(module.calls.empty());
}

TEST_F(EventsTest, AChildThatIsOpenAlreadyIsNotOpenedAgain) {
    openWholeTree();
    quietly([&] {
        module.root.raise(kMaidEventAddChild, kSourceId);
        fakeSource->raise(kMaidEventAddChild, kItemId);
        fakeItem->raise(kMaidEventAddChild, kImageId);
    });
    EXPECT_TRUE(module.calls.empty());
    EXPECT_EQ(root.childCount, 1U);
}

TEST_F(EventsTest, AChildThatCannotBeOpenedIsNotAskedForItsChildren) {
    haveWholeTree();
    quietly([&] { module.root.raise(kMaidEventAddChild, 99); });
    EXPECT_EQ(module.trace(), (std::vector<std::string>{"open 99 on module 0"}));
}

TEST_F(EventsTest, RemovedChildrenGo) {
    openWholeTree();
    quietly([&] { fakeItem->raise(kMaidEventRemoveChild, kImageId); });
    EXPECT_EQ(image(), nullptr);
    quietly([&] { fakeSource->raise(kMaidEventRemoveChild, kItemId); });
    EXPECT_EQ(item(), nullptr);
    EXPECT_TRUE(sentStatuses.empty());
    quietly([&] { module.root.raise(kMaidEventRemoveChild, kSourceId); });
    EXPECT_NE(source(), nullptr) << "a camera's";
    EXPECT_EQ(sentStatuses, (std::vector<int32_t>{0}));
    source()->cameraData = nullptr;
    quietly([&] { module.root.raise(kMaidEventRemoveChild, kSourceId); });
    EXPECT_EQ(source(), nullptr);
    EXPECT_EQ(sentStatuses.size(), 1U);
}

TEST_F(EventsTest, ChangedCapabilitiesAreListedAnew) {
    openWholeTree();
    const struct {
        FakeObject* fake;
        tagRefObj* record;
        const char* log;
    } cases[] = {{&module.root, &root, ""},
                 {fakeSource, source(), ""},
                 {fakeItem, item(), ""},
                 {fakeImage, image(), "NikonMaid: The value of Capability(CapID=0x82) was changed.\n"}};
    for (const auto& one : cases) {
        const uint32_t before = one.record->capCount;
        one.fake->can(0x8200, kMaidCapUnsigned, kMaidOperationGet);
        EXPECT_EQ(logOf([&] { one.fake->raise(kMaidEventCapChange, 0x82); }), one.log);
        EXPECT_EQ(one.record->capCount, before + 1);
        EXPECT_NE(GetCapInfo(one.record, 0x8200), nullptr);
    }
}

TEST_F(EventsTest, ADataObjectsCapabilitiesThatCannotBeListedAreNotLogged) {
    openWholeTree();
    module.answer = [](const FakeCall& call) {
        return call.command == kMaidCommandGetCapCount ? std::optional<int32_t>(kMaidResultHardwareError)
                                                       : std::nullopt;
    };
    EXPECT_EQ(logOf([&] { fakeImage->raise(kMaidEventCapChange, 0x82); }), "");
    EXPECT_EQ(image()->capCount, 0U);
    EXPECT_EQ(image()->capInfo, nullptr);
}

TEST_F(EventsTest, ChangedValuesAreLogged) {
    openWholeTree();
    for (FakeObject* object : {&module.root, fakeSource, fakeItem, fakeImage}) {
        EXPECT_EQ(logOf([&] { object->raise(kMaidEventCapChangeValueOnly, 0x8111); }),
                  "NikonMaid: The value of Capability(CapID=0x8111) was changed.\n");
    }
    EXPECT_TRUE(module.calls.empty());
}

TEST_F(EventsTest, WarmUpAndOrphansAreIgnored) {
    openWholeTree();
    for (FakeObject* object : {&module.root, fakeSource, fakeItem, fakeImage}) {
        EXPECT_EQ(logOf([&] {
                      object->raise(kMaidEventWarmingUp, 1);
                      object->raise(kMaidEventWarmedUp, 1);
                  }),
                  "");
    }
    for (FakeObject* object : {&module.root, fakeSource, fakeItem}) {
        EXPECT_EQ(logOf([&] { object->raise(kMaidEventOrphanedChildren, 1); }), "");
    }
    EXPECT_EQ(logOf([&] { fakeImage->raise(kMaidEventOrphanedChildren, 1); }),
              "NikonMaid: Event_OrphanedChildren to Data object is not supported.\n");
    EXPECT_TRUE(module.calls.empty());
}

TEST_F(EventsTest, PreviewsAndUnknownEventsAreLogged) {
    openWholeTree();
    const auto module_ = referenceToProcedure(module.root);
    EXPECT_EQ(logOf([&] {
                  ModEventProc(module_, kMaidEventAddPreviewImage, 0x1F);
                  ModEventProc(module_, 0xABC, 0);
              }),
              "NikonMaid: Detected unknown Event to the Module object.\n"
              "NikonMaid: Detected unknown Event to the Module object.\n");
    EXPECT_EQ(logOf([&] {
                  fakeSource->raise(kMaidEventAddPreviewImage, 0x1F);
                  fakeSource->raise(0xABC, 0);
              }),
              "NikonMaid: Received AddPreviewImage - [0x0000001F] was preprared.\n"
              "NikonMaid: Detected unknown Event to the Source object [ABC].\n");
    EXPECT_EQ(logOf([&] {
                  fakeItem->raise(kMaidEventAddPreviewImage, 0x1F);
                  fakeItem->raise(0xABC, 0);
              }),
              "NikonMaid: Detected unknown Event to the Item object.\n"
              "NikonMaid: Detected unknown Event to the Item object.\n");
    EXPECT_EQ(logOf([&] {
                  fakeImage->raise(kMaidEventAddPreviewImage, 0x1F);
                  fakeImage->raise(0xABC, 0);
              }),
              "NikonMaid: Detected unknown Event to the Data object.\n"
              "NikonMaid: Detected unknown Event to the Data object.\n");
}

TEST_F(EventsTest, TheModulesEventsAreHandledAsASourcesInTheEnd) {
    openWholeTree();
    EXPECT_EQ(logOf([&] { module.root.raise(0xABC, 0); }),
              "NikonMaid: Detected unknown Event to the Source object [ABC].\n");
}

TEST_F(EventsTest, OfTheModuleItselfAddAndRemoveSources) {
    haveWholeTree();
    const MaidRef reference = referenceToProcedure(module.root);
    quietly([&] { ModEventProc(reference, kMaidEventAddChild, kSourceId); });
    EXPECT_NE(item(), nullptr);
    quietly([&] { ModEventProc(reference, kMaidEventRemoveChild, kSourceId); });
    EXPECT_EQ(source(), nullptr);
}

TEST_F(EventsTest, AreAnsweredWithWhatBecameOfThem) {
    haveWholeTree();
    FakeObject& module_ = module.root;
    quietly([&] {
        EXPECT_EQ(module_.raise(kMaidEventAddChild, 99), 0) << "there is none";
        EXPECT_EQ(module_.raise(kMaidEventAddChild, kSourceId), 1);
        EXPECT_EQ(module_.raise(kMaidEventAddChild, kSourceId), 1) << "open already";
        EXPECT_EQ(fakeItem->raise(kMaidEventRemoveChild, 99), 0);
        EXPECT_EQ(fakeItem->raise(kMaidEventRemoveChild, kImageId), 1);
        EXPECT_EQ(fakeItem->raise(kMaidEventAddChild, kImageId), 1);
        EXPECT_EQ(fakeImage->raise(kMaidEventAddChild, 1), 1) << "ignored";
        EXPECT_EQ(fakeImage->raise(kMaidEventRemoveChild, 1), 1) << "ignored";
        EXPECT_EQ(fakeSource->raise(kMaidEventCapChange, 0), 1);
        EXPECT_EQ(fakeSource->raise(kMaidEventCapChangeValueOnly, 0x8111), 1);
        EXPECT_EQ(fakeSource->raise(kMaidEventWarmedUp, 0), 1);
        EXPECT_EQ(fakeSource->raise(0xABC, 0), 1) << "logged, and that is all";
        EXPECT_EQ(SrcEventProc(nullptr, kMaidEventWarmedUp, 0), 0) << "no object";
    });
    module.answer = [](const FakeCall& call) -> std::optional<int32_t> {
        if (call.command == kMaidCommandAsync) return std::nullopt;
        return kMaidResultHardwareError;
    };
    quietly([&] {
        EXPECT_EQ(fakeSource->raise(kMaidEventCapChange, 0), 0);
        EXPECT_EQ(fakeItem->raise(kMaidEventRemoveChild, kImageId), 0) << "it does not close";
    });
}

TEST_F(EventsTest, AnAddedChildThatDoesNotTellItsOwnIsNoSuccess) {
    haveWholeTree();
    module.answer = [](const FakeCall& call) -> std::optional<int32_t> {
        if (call.command != kMaidCommandEnumChildren) return std::nullopt;
        return kMaidResultHardwareError;
    };
    quietly([&] { EXPECT_EQ(module.root.raise(kMaidEventAddChild, kSourceId), 0); });
    EXPECT_NE(source(), nullptr);
}

TEST_F(EventsTest, ForAnObjectThatHasGoneFindNothing) {
    openWholeTree();
    const MaidRef reference = referenceToProcedure(*fakeImage);
    quietly([&] { RemoveChild(source(), kItemId); });
    module.calls.clear();
    EXPECT_EQ(logOf([&] {
                  for (uint32_t event = 0; event < 8; ++event) {
                      ItmEventProc(reference, event, 1);
                      DatEventProc(reference, event, 1);
                      SrcEventProc(nullptr, event, 1);
                      ModEventProc(&root, event, 1);
                  }
                  ProgressProc(0, 0, reference, 1, 2);
              }),
              "");
    EXPECT_TRUE(module.calls.empty());
    EXPECT_TRUE(sentPercents.empty());
}

TEST_F(EventsTest, AndProgressAreSignsOfLife) {
    openWholeTree();
    const uint64_t before = signsOfLife();
    quietly([&] { fakeSource->raise(kMaidEventWarmingUp, 0); });
    EXPECT_GT(signsOfLife(), before);
    const uint64_t between = signsOfLife();
    fakeSource->progress(1, 2);
    EXPECT_GT(signsOfLife(), between);
    const uint64_t after = signsOfLife();
    quietly([&] { fakeSource->raise(kMaidEventCapChangeValueOnly, 0x8100); });
    EXPECT_EQ(signsOfLife(), after) << "the light has changed, that is all";
}

TEST_F(EventsTest, ProgressIsAPercentageOfOnePicture) {
    openWholeTree();
    for (const uint32_t done : {0U, 1U, 2U, 3U}) {
        fakeImage->progress(done, 3);
    }
    fakeImage->progress(5, 0);
    EXPECT_EQ(sentPercents, (std::vector<int32_t>{0, 33, 66, 100, 0}));
}

TEST_F(EventsTest, ProgressOfAPairIsOfBothPictures) {
    openWholeTree();
    camera.ulSingleDualImage = 1;
    fakeImage->progress(1, 2);
    fakeItem->progress(3, 3);
    camera.imagesTransferred = 1;
    fakeSource->progress(0, 0);
    fakeImage->progress(3, 3);
    EXPECT_EQ(sentPercents, (std::vector<int32_t>{25, 50, 50, 100}));
}

TEST_F(EventsTest, ProgressIsHalvedForAPairAlone) {
    openWholeTree();
    camera.imagesTransferred = 1;
    fakeImage->progress(1, 2);
    EXPECT_EQ(sentPercents, (std::vector<int32_t>{150}));
}

TEST_F(EventsTest, ProgressOfFilesOfGigabytesIsNoSmallNumber) {
    openWholeTree();
    fakeImage->progress(0xFFFFFFFE, 0xFFFFFFFF);
    fakeImage->progress(0xFFFFFFFF, 1);
    EXPECT_EQ(sentPercents, (std::vector<int32_t>{99, 100}));
}

TEST_F(EventsTest, ProgressWithoutACameraIsPlain) {
    openWholeTree();
    camera.ulSingleDualImage = 1;
    module.root.progress(1, 2);
    source()->cameraData = nullptr;
    fakeImage->progress(1, 2);
    EXPECT_EQ(sentPercents, (std::vector<int32_t>{50, 50}));
}

TEST_F(EventsTest, OnlyCommand17IsLoggedWhenItIsCompleted) {
    EXPECT_EQ(logOf([&] { CompletionProc(nullptr, 17, 0, 0, 0, nullptr, -116); }),
              "NikonMaid: Completed capture, result=FFFFFF8C\n");
    EXPECT_EQ(logOf([&] { CompletionProc(nullptr, 5, 17, 0, 0, nullptr, 0); }), "");
}

TEST_F(EventsTest, ThatRaiseThemselvesComeToAnEnd) {
    haveWholeTree();
    quietly([&] { AddChild(&root, kSourceId); });
    uint32_t nextId = 1000;
    // With every poll another item.
    module.before = [&](const FakeCall& call) {
        if (call.command != kMaidCommandAsync || nextId > 1500) return;
        FakeObject& added = fakeSource->add(kMaidObjectItem, ++nextId);
        added.hasProcedure(kMaidCapabilityEventProc);
        fakeSource->raise(kMaidEventAddChild, nextId);
    };
    quietly([&] { Command_Async(&root); });
    EXPECT_GE(source()->childCount, static_cast<uint32_t>(kDeepestEvent));
    quietly([&] { EXPECT_TRUE(Close_Module(&root)); });
}

}  // namespace
