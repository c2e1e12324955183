#include "Nikon/CallBack.h"
#include "tests/Nikon/tree/Fixture.h"

namespace {

using namespace nikon;

using CommandsTest = TreeTest;

TEST_F(CommandsTest, WithoutAnEntryPointAnswerMinus1000) {
    tagRefObj nothing;
    EXPECT_EQ(CallMAIDEntryPoint(&nothing, kMaidCommandCapGet, 1, 0, 0, nullptr, nullptr), -1000);
    EXPECT_FALSE(Command_Async(&nothing));
    EXPECT_FALSE(Command_Abort(&nothing, nullptr, nullptr));
    EXPECT_FALSE(Command_CapStart(&nothing, 1, nullptr, nullptr));
    EXPECT_FALSE(EnumChildrten(&nothing));
    uint32_t value = 0;
    EXPECT_FALSE(Command_CapGet(&nothing, 1, kMaidDataUnsignedPtr, reinterpret_cast<MaidParam>(&value)));
    EXPECT_FALSE(EnumCapabilities(&nothing, &nothing.capCount, &nothing.capInfo));
}

TEST_F(CommandsTest, TheIdleLoopWithoutAnEntryPointEndsAfterOnePause) {
    tagRefObj nothing;
    const uint32_t counter = 0;
    EXPECT_FALSE(IdleLoop(&nothing, &counter, 1));
    EXPECT_EQ(pauses, (std::vector<int64_t>{10000}));
}

TEST_F(CommandsTest, TheIdleLoopIssuesNothingWhenTheCounterIsThereAlready) {
    const uint32_t counter = 3;
    EXPECT_TRUE(IdleLoop(&root, &counter, 3));
    EXPECT_EQ(module.polls, 0);
    EXPECT_TRUE(pauses.empty());
}

TEST_F(CommandsTest, TheIdleLoopPollsUntilTheCounterIsThere) {
    uint32_t counter = 0;
    module.before = [&](const FakeCall&) { ++counter; };
    EXPECT_TRUE(IdleLoop(&root, &counter, 4));
    EXPECT_EQ(pauses, (std::vector<int64_t>{10000, 10000, 10000, 10000}));
}

TEST_F(CommandsTest, AModuleThatAnswersPendingLetsItselfBePolled) {
    uint32_t counter = 0;
    module.answer = [&](const FakeCall&) { return ++counter, kMaidResultPending; };
    EXPECT_TRUE(IdleLoop(&root, &counter, 2));
}

class RefusedPolls : public TreeTest, public testing::WithParamInterface<int32_t> {};

TEST_P(RefusedPolls, EndTheIdleLoop) {
    const uint32_t counter = 0;
    module.answer = [&](const FakeCall&) { return GetParam(); };
    EXPECT_FALSE(IdleLoop(&root, &counter, 1));
    EXPECT_FALSE(Command_Async(&root));
    EXPECT_EQ(pauses.size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Results, RefusedPolls,
                         testing::Values(kMaidResultOrphanedChildren, kMaidResultDeviceBusy,
                                         kMaidResultNotSupported, kMaidResultZombieObject, INT32_MIN));

TEST_F(CommandsTest, AreDoneOnlyWithResult0) {
    for (const int32_t result : {0, 1, 2, -1, 257}) {
        module.answer = [&](const FakeCall& call) {
            return call.command == kMaidCommandAsync ? std::nullopt : std::optional(result);
        };
        const bool isDone = result == kMaidResultNoError;
        EXPECT_EQ(Command_CapSet(&root, 1, kMaidDataUnsigned, 5), isDone) << result;
        EXPECT_EQ(EnumChildrten(&root), isDone) << result;
        EXPECT_EQ(Command_Abort(&root, nullptr, nullptr), isDone) << result;
        EXPECT_EQ(Command_CapStart(&root, 1, nullptr, nullptr), result == 0 || result == 1) << result;
    }
}

TEST_F(CommandsTest, SayWhyAnObjectCannotBeOpenedOrClosed) {
    module.answer = [](const FakeCall&) { return kMaidResultZombieObject; };
    NkMAIDObject record{};
    EXPECT_EQ(logOf([&] { EXPECT_FALSE(Command_Open(&root, &record, 3)); }),
              "NikonMaid: Command_Open 0xFFFFFF89\n");
    EXPECT_EQ(logOf([&] { EXPECT_FALSE(Command_Close(&root)); }), "NikonMaid: Command_Close 0xFFFFFF89\n");
    EXPECT_EQ(module.calls[0].dataType, static_cast<uint32_t>(kMaidDataObjectPtr));
    EXPECT_EQ(module.calls[0].completion, nullptr);
    EXPECT_EQ(module.polls, 0);
}

TEST_F(CommandsTest, GoOutWithTheirNumbers) {
    FakeCapability& number = module.root.can(50, kMaidCapUnsigned, kMaidOperationGet);
    number.number = 5;
    uint32_t value = 0;
    const auto data = reinterpret_cast<MaidParam>(&value);
    EXPECT_TRUE(Command_CapGet(&root, 50, kMaidDataUnsignedPtr, data));
    EXPECT_EQ(value, 5U);
    EXPECT_TRUE(Command_CapGetDefault(&root, 50, kMaidDataUnsignedPtr, data));
    EXPECT_TRUE(Command_CapSet(&root, 50, kMaidDataUnsigned, 9));
    EXPECT_EQ(number.number, 9U);
    EXPECT_TRUE(Command_Abort(&root, nullptr, nullptr));
    EXPECT_EQ(module.trace(), (std::vector<std::string>{"get 50 on module 0", "default 50 on module 0",
                                                        "set 50 on module 0", "abort 0 on module 0"}));
    EXPECT_EQ(module.calls[0].completion, CompletionProc);
}

TEST_F(CommandsTest, WaitForTheirCompletion) {
    module.root.can(50, kMaidCapUnsigned, kMaidOperationGet);
    module.completionPolls = 500;
    EXPECT_TRUE(Command_CapSet(&root, 50, kMaidDataUnsigned, 9));
    EXPECT_EQ(module.polls, 500);
}

TEST_F(CommandsTest, AreNotPolledForWhenTheyAreCompletedAtOnce) {
    module.root.can(50, kMaidCapUnsigned, kMaidOperationGet);
    module.completionPolls = 0;
    EXPECT_TRUE(Command_CapSet(&root, 50, kMaidDataUnsigned, 9));
    EXPECT_EQ(module.polls, 0);
}

TEST_F(CommandsTest, ThatWereRefusedAreWaitedForUntilTheirCompletion) {
    module.completionPolls = 30;
    EXPECT_FALSE(Command_CapSet(&root, 50, kMaidDataUnsigned, 9)) << "no such capability";
    EXPECT_EQ(module.polls, 30);
}

TEST_F(CommandsTest, ThatWereRefusedAndAreNeverCompletedAreGivenUp) {
    module.completions = 0;
    EXPECT_FALSE(Command_CapSet(&root, 50, kMaidDataUnsigned, 9));
    EXPECT_EQ(module.polls, kPollsAfterRefusal);
}

TEST_F(CommandsTest, ThatWereAcceptedAreWaitedForMuchLongerThanRefusedOnes) {
    module.root.can(50, kMaidCapUnsigned, kMaidOperationGet);
    module.completionPolls = 100 * kPollsAfterRefusal;
    EXPECT_TRUE(Command_CapSet(&root, 50, kMaidDataUnsigned, 9));
}

}  // namespace
