#include <cstring>

#include "tests/Nikon/tree/Fixture.h"

namespace {

using namespace nikon;

constexpr uint32_t kAll = kMaidOperationGet | kMaidOperationSet | kMaidOperationGetArray;

class CapabilitiesTest : public TreeTest {
protected:
    /** The root's only capability, as the record knows it. */
    FakeCapability& have(uint32_t type, uint32_t operations = kAll) {
        module.root.capabilities.clear();
        FakeCapability& added = module.root.can(50, type, operations);
        EnumCapabilities(&root, &root.capCount, &root.capInfo);
        module.calls.clear();
        return added;
    }
};

TEST_F(CapabilitiesTest, AreFoundByTheirId) {
    have(kMaidCapBoolean, kMaidOperationGet);
    ASSERT_NE(GetCapInfo(&root, 50), nullptr);
    EXPECT_EQ(GetCapInfo(&root, 51), nullptr);
    EXPECT_EQ(GetCapInfo(nullptr, 50), nullptr);
    EXPECT_TRUE(CheckCapabilityOperation(&root, 50, kMaidOperationGet | kMaidOperationSet)) << "any of them";
    EXPECT_FALSE(CheckCapabilityOperation(&root, 50, kMaidOperationSet));
    EXPECT_FALSE(CheckCapabilityOperation(&root, 51, kMaidOperationGet));
    EXPECT_FALSE(CheckCapabilityOperation(nullptr, 50, kMaidOperationGet));
}

TEST_F(CapabilitiesTest, AnUnsignedOneIsReadThenSet) {
    FakeCapability& number = have(kMaidCapUnsigned);
    EXPECT_TRUE(SetUnsignedCapability(&root, 50, 4));
    EXPECT_EQ(number.number, 4U);
    EXPECT_EQ(module.trace(), (std::vector<std::string>{"get 50 on module 0", "set 50 on module 0"}));
    EXPECT_EQ(module.calls[0].dataType, static_cast<uint32_t>(kMaidDataUnsignedPtr));
    EXPECT_EQ(module.calls[1].dataType, static_cast<uint32_t>(kMaidDataUnsigned));
}

TEST_F(CapabilitiesTest, AnUnsignedOneThatHasTheValueIsNotSet) {
    have(kMaidCapUnsigned).number = 4;
    EXPECT_FALSE(SetUnsignedCapability(&root, 50, 4));
    EXPECT_EQ(module.trace(), (std::vector<std::string>{"get 50 on module 0"}));
}

TEST_F(CapabilitiesTest, AnUnsignedOneIsLeftAloneUnlessItMayBeReadAndSet) {
    have(kMaidCapUnsigned, kMaidOperationSet);
    EXPECT_FALSE(SetUnsignedCapability(&root, 50, 4));
    have(kMaidCapBoolean);
    EXPECT_FALSE(SetUnsignedCapability(&root, 50, 4)) << "another type";
    EXPECT_FALSE(SetUnsignedCapability(&root, 51, 4)) << "missing";
    EXPECT_TRUE(module.calls.empty());
    have(kMaidCapUnsigned, kMaidOperationGet);
    EXPECT_FALSE(SetUnsignedCapability(&root, 50, 4));
    EXPECT_EQ(module.trace(), (std::vector<std::string>{"get 50 on module 0"}));
}

TEST_F(CapabilitiesTest, AnUnsignedOneThatCannotBeReadIsNotSet) {
    have(kMaidCapUnsigned);
    module.answer = [](const FakeCall& call) {
        return call.command == kMaidCommandCapGet ? std::optional<int32_t>(kMaidResultHardwareError)
                                                  : std::nullopt;
    };
    EXPECT_FALSE(SetUnsignedCapability(&root, 50, 4));
    EXPECT_EQ(module.calls.size(), 1U);
}

TEST_F(CapabilitiesTest, ABooleanIsSetWhateverItWas) {
    FakeCapability& flag = have(kMaidCapBoolean);
    flag.number = 1;
    EXPECT_TRUE(SetBoolCapability(&root, 50, 1));
    EXPECT_TRUE(SetBoolCapability(&root, 50, 0));
    EXPECT_EQ(flag.number, 0U);
    EXPECT_EQ(module.calls.size(), 4U);
    EXPECT_EQ(module.calls[0].dataType, static_cast<uint32_t>(kMaidDataBooleanPtr));
    EXPECT_EQ(module.calls[1].dataType, static_cast<uint32_t>(kMaidDataBoolean));
}

TEST_F(CapabilitiesTest, ABooleanIsAskedForWithTheNewValueInItsPlace) {
    have(kMaidCapBoolean);
    std::vector<int> seen;
    module.before = [&](const FakeCall& call) {
        if (call.command == kMaidCommandCapGet) seen.push_back(*reinterpret_cast<uint8_t*>(call.data));
    };
    EXPECT_TRUE(SetBoolCapability(&root, 50, 1));
    EXPECT_TRUE(SetBoolCapability(&root, 50, 0));
    EXPECT_EQ(seen, (std::vector<int>{1, 0}));
}

TEST_F(CapabilitiesTest, ABooleanIsLeftAloneUnlessItMayBeReadAndSet) {
    have(kMaidCapBoolean, kMaidOperationSet);
    EXPECT_FALSE(SetBoolCapability(&root, 50, 1));
    have(kMaidCapUnsigned);
    EXPECT_FALSE(SetBoolCapability(&root, 50, 1));
    EXPECT_TRUE(module.calls.empty());
    have(kMaidCapBoolean, kMaidOperationGet);
    EXPECT_FALSE(SetBoolCapability(&root, 50, 1));
    EXPECT_EQ(module.calls.size(), 1U);
}

TEST_F(CapabilitiesTest, AnArrayIsReadWithItsElements) {
    FakeCapability& bytes = have(kMaidCapArray);
    bytes.elementSize = 1;
    bytes.elements = {1, 2, 3};
    NkMAIDArray array{};
    ASSERT_TRUE(GetArrayCapability(&root, 50, &array));
    const ElementStorage elements(static_cast<uint8_t*>(array.data));
    ASSERT_EQ(array.elements, 3U);
    EXPECT_EQ(std::memcmp(array.data, "\1\2\3", 4), 0) << "and a zero byte behind them";
    EXPECT_EQ(module.trace(), (std::vector<std::string>{"get 50 on module 0", "elements 50 on module 0"}));
    EXPECT_EQ(module.calls[1].dataType, static_cast<uint32_t>(kMaidDataArrayPtr));
}

TEST_F(CapabilitiesTest, AnArrayMustAllowItsElementsToBeRead) {
    have(kMaidCapArray, kMaidOperationGet);
    NkMAIDArray array{};
    EXPECT_FALSE(GetArrayCapability(&root, 50, &array));
    EXPECT_EQ(module.calls.size(), 1U);
    have(kMaidCapArray, kMaidOperationGetArray);
    EXPECT_FALSE(GetArrayCapability(&root, 50, &array));
    have(kMaidCapEnum);
    EXPECT_FALSE(GetArrayCapability(&root, 50, &array));
    EXPECT_TRUE(module.calls.empty());
    EXPECT_EQ(array.data, nullptr);
}

TEST_F(CapabilitiesTest, AnArrayWhoseElementsCannotBeReadLeavesNothing) {
    have(kMaidCapArray).elements = {1, 2, 3, 4};
    module.answer = [](const FakeCall& call) {
        return call.command == kMaidCommandCapGetArray ? std::optional<int32_t>(kMaidResultDeviceBusy)
                                                       : std::nullopt;
    };
    NkMAIDArray array{};
    EXPECT_FALSE(GetArrayCapability(&root, 50, &array));
    EXPECT_EQ(array.data, nullptr);
}

TEST_F(CapabilitiesTest, TheFirstChildIsSelected) {
    module.root.add(kMaidObjectSource, 11);
    module.root.add(kMaidObjectSource, 12);
    module.root.hasChildrenList();
    EnumCapabilities(&root, &root.capCount, &root.capInfo);
    uint32_t id = 0;
    EXPECT_TRUE(SelectItem(&root, &id));
    EXPECT_EQ(id, 11U);
    EXPECT_EQ(module.calls.back().dataType, static_cast<uint32_t>(kMaidDataEnumPtr));
}

TEST_F(CapabilitiesTest, NothingIsSelectedFromAnEmptyList) {
    module.root.hasChildrenList();
    EnumCapabilities(&root, &root.capCount, &root.capInfo);
    uint32_t id = 99;
    EXPECT_FALSE(SelectItem(&root, &id));
    EXPECT_EQ(id, 99U);
}

TEST_F(CapabilitiesTest, NothingIsSelectedFromAListOfOtherThings) {
    module.root.add(kMaidObjectSource, 11);
    module.root.hasChildrenList();
    module.root.capability(kMaidCapabilityChildren)->elementSize = 2;
    EnumCapabilities(&root, &root.capCount, &root.capInfo);
    uint32_t id = 99;
    EXPECT_FALSE(SelectItem(&root, &id));
    module.root.capability(kMaidCapabilityChildren)->info.type = kMaidCapArray;
    EnumCapabilities(&root, &root.capCount, &root.capInfo);
    EXPECT_FALSE(SelectItem(&root, &id));
    EXPECT_EQ(id, 99U);
}

TEST_F(CapabilitiesTest, AListThatEmptiesBetweenTheTwoReadsSelectsNothing) {
    module.root.add(kMaidObjectSource, 11);
    module.root.hasChildrenList();
    EnumCapabilities(&root, &root.capCount, &root.capInfo);
    module.before = [](const FakeCall& call) {
        if (call.command == kMaidCommandCapGetArray) reinterpret_cast<NkMAIDEnum*>(call.data)->elements = 0;
    };
    uint32_t id = 99;
    EXPECT_FALSE(SelectItem(&root, &id));
    EXPECT_EQ(id, 99U);
}

TEST_F(CapabilitiesTest, AListWhoseElementsCannotBeReadSelectsNothing) {
    module.root.add(kMaidObjectSource, 11);
    module.root.hasChildrenList();
    EnumCapabilities(&root, &root.capCount, &root.capInfo);
    module.answer = [](const FakeCall& call) {
        return call.command == kMaidCommandCapGetArray ? std::optional<int32_t>(kMaidResultDeviceBusy)
                                                       : std::nullopt;
    };
    uint32_t id = 99;
    EXPECT_FALSE(SelectItem(&root, &id));
}

TEST_F(CapabilitiesTest, TheListIsAskedForAgainWhileItChanges) {
    module.root.can(50, kMaidCapUnsigned, kAll);
    int refusals = 5;
    module.answer = [&](const FakeCall& call) {
        if (call.command == kMaidCommandAsync || refusals == 0) return std::optional<int32_t>();
        // The count is refused twice, the list three times.
        if (call.command == kMaidCommandGetCapCount && refusals <= 3) return std::optional<int32_t>();
        --refusals;
        return std::optional<int32_t>(kMaidResultBufferSize);
    };
    EXPECT_TRUE(EnumCapabilities(&root, &root.capCount, &root.capInfo));
    EXPECT_EQ(root.capCount, 1U);
    const std::string count = "count 0 on module 0";
    const std::string list = "describe 1 on module 0";
    EXPECT_EQ(module.trace(),
              (std::vector<std::string>{count, count, count, list, count, list, count, list, count, list}));
}

TEST_F(CapabilitiesTest, TheListIsGivenUpForAnyOtherResult) {
    for (const uint32_t refused : {kMaidCommandGetCapCount, kMaidCommandGetCapInfo}) {
        for (const int32_t result : {1, 2, -125, 257}) {
            module.answer = [&](const FakeCall& call) {
                return call.command == refused ? std::optional(result) : std::nullopt;
            };
            EXPECT_EQ(EnumCapabilities(&root, &root.capCount, &root.capInfo), result == 1) << result;
        }
    }
}

TEST_F(CapabilitiesTest, AnEmptyListIsAListToo) {
    module.root.capabilities.clear();
    EXPECT_TRUE(EnumCapabilities(&root, &root.capCount, &root.capInfo));
    EXPECT_EQ(root.capCount, 0U);
    EXPECT_EQ(module.trace().back(), "describe 0 on module 0");
}

TEST_F(CapabilitiesTest, AListWithoutMemoryIsNoFailure) {
    have(kMaidCapBoolean);
    for (const uint32_t count : {kMostCapabilities + 1, 0xFFFFFFFFU}) {
        module.answer = [&](const FakeCall& call) -> std::optional<int32_t> {
            if (call.command != kMaidCommandGetCapCount) return std::nullopt;
            *reinterpret_cast<uint32_t*>(call.data) = count;
            return kMaidResultNoError;
        };
        EXPECT_TRUE(EnumCapabilities(&root, &root.capCount, &root.capInfo));
        EXPECT_EQ(root.capInfo, nullptr);
        EXPECT_EQ(GetCapInfo(&root, 50), nullptr);
    }
}

TEST_F(CapabilitiesTest, AStartedProcessIsWaitedFor) {
    have(kMaidCapProcess);
    module.polls = 0;
    module.completionPolls = 1000;
    module.completionResult = [](const FakeCall&) { return kMaidResultHardwareError; };
    EXPECT_TRUE(IssueProcess(&root, 50)) << "its result does not count";
    EXPECT_EQ(module.polls, 1000);
}

TEST_F(CapabilitiesTest, AProcessThatCannotBeStartedSaysSo) {
    EXPECT_EQ(logOf([&] { EXPECT_FALSE(IssueProcess(&root, 50)); }),
              "NikonMaid: IssueProcess GetCapInfo failed\n");
    have(kMaidCapProcess);
    for (const int32_t result : {-1, 2, 257}) {
        module.answer = [&](const FakeCall& call) {
            return call.command == kMaidCommandCapStart ? std::optional(result) : std::nullopt;
        };
        const int polls = module.polls;
        EXPECT_EQ(logOf([&] { EXPECT_FALSE(IssueProcess(&root, 50)); }),
                  "NikonMaid: IssueProcess Command_CapStart failed\n");
        EXPECT_EQ(module.polls, polls) << "nothing to wait for";
    }
}

TEST_F(CapabilitiesTest, AProcessFailsWithTheModulesPolls) {
    have(kMaidCapProcess);
    module.answer = [](const FakeCall& call) {
        return call.command == kMaidCommandAsync ? std::optional<int32_t>(kMaidResultHardwareError)
                                                 : std::nullopt;
    };
    EXPECT_FALSE(IssueProcess(&root, 50));
}

TEST_F(CapabilitiesTest, AProcessNeedNotBeWaitedFor) {
    std::strcpy(have(kMaidCapProcess).info.description, "Auto focus");
    EnumCapabilities(&root, &root.capCount, &root.capInfo);
    module.calls.clear();
    const int polls = module.polls;
    EXPECT_EQ(logOf([&] { EXPECT_TRUE(IssueProcessSync(&root, 50)); }), "NikonMaid: [Auto focus]\n");
    EXPECT_EQ(module.polls, polls);
    EXPECT_EQ(module.calls[0].completion, nullptr);
    EXPECT_EQ(logOf([&] { EXPECT_FALSE(IssueProcessSync(&root, 51)); }), "");
}

TEST_F(CapabilitiesTest, ADescriptionWithoutAnEndMarkEndsWithItsField) {
    NkMAIDCapInfo& info = have(kMaidCapProcess).info;
    std::memset(info.description, 'x', sizeof info.description);
    FakeCapability& next = module.root.can(0x41414141, kMaidCapProcess, kAll);
    next.info.type = 0x42424242;
    EnumCapabilities(&root, &root.capCount, &root.capInfo);
    EXPECT_EQ(logOf([&] { IssueProcessSync(&root, 50); }), "NikonMaid: [" + std::string(256, 'x') + "]\n");
}

}  // namespace
