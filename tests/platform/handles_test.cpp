#include "platform/Handles.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <set>
#include <thread>
#include <vector>

namespace {

using handles::Kind;

std::atomic<int> destroyed = 0;

struct Record {
    int value = 0;
    ~Record() { ++destroyed; }
};

intptr_t handleOf(const Record* record) {
    return reinterpret_cast<intptr_t>(record);
}

/** What a stand-in names at the moment. */
void* objectOf(Kind kind, int32_t handle) {
    const auto standIn = handles::pin<handles::StandIn>(kind, handle);
    return standIn ? standIn->object : nullptr;
}

std::atomic<int> givenBack = 0;

void countGivenBack(void*) {
    ++givenBack;
}

class Handles : public testing::Test {
protected:
    void SetUp() override { destroyed = givenBack = 0; }
};

TEST_F(Handles, RecordsLieWhereAPositiveIntReaches) {
    Record* record = handles::create<Record>(Kind::CanonSession);
    ASSERT_NE(record, nullptr);
    EXPECT_GT(handleOf(record), 0);
    EXPECT_LE(handleOf(record), INT32_MAX);
    EXPECT_EQ(record->value, 0);
    EXPECT_TRUE(handles::retire(Kind::CanonSession, handleOf(record)));
    EXPECT_EQ(destroyed, 1);
}

TEST_F(Handles, NumbersThatNameNothingFindNothing) {
    Record* record = handles::create<Record>(Kind::CanonSession);
    const intptr_t handle = handleOf(record);
    for (const intptr_t forged :
         {intptr_t{0}, intptr_t{1}, intptr_t{-1}, handle + 1, handle + 64, handle - 64,
          static_cast<intptr_t>(INT32_MIN), static_cast<intptr_t>(INT32_MAX)}) {
        EXPECT_FALSE(handles::pin<Record>(Kind::CanonSession, forged)) << forged;
        EXPECT_FALSE(handles::retire(Kind::CanonSession, forged)) << forged;
        EXPECT_EQ(objectOf(Kind::CanonDirectoryItem, static_cast<int32_t>(forged)), nullptr) << forged;
    }
    handles::retire(Kind::CanonSession, handle);
}

TEST_F(Handles, AHandleOfAnotherKindFindsNothing) {
    Record* record = handles::create<Record>(Kind::CanonSession);
    const auto handle = static_cast<int32_t>(handleOf(record));
    EXPECT_FALSE(handles::pin<Record>(Kind::CanonCamera, handle));
    EXPECT_EQ(objectOf(Kind::CanonCamera, handle), nullptr);
    handles::retire(Kind::CanonSession, handle);
}

TEST_F(Handles, OfTwoThatCloseOneWins) {
    const intptr_t handle = handleOf(handles::create<Record>(Kind::CanonSession));
    EXPECT_TRUE(handles::retire(Kind::CanonSession, handle));
    EXPECT_FALSE(handles::retire(Kind::CanonSession, handle));
    EXPECT_EQ(destroyed, 1);
}

TEST_F(Handles, APinnedRecordOutlivesItsHandle) {
    const intptr_t handle = handleOf(handles::create<Record>(Kind::CanonSession));
    {
        const auto pin = handles::pin<Record>(Kind::CanonSession, handle);
        ASSERT_TRUE(pin);
        EXPECT_TRUE(handles::retire(Kind::CanonSession, handle));
        EXPECT_FALSE(handles::pin<Record>(Kind::CanonSession, handle));
        EXPECT_EQ(destroyed, 0);
        pin->value = 7;
    }
    EXPECT_EQ(destroyed, 1);
}

TEST_F(Handles, AStaleHandleDoesNotSoonNameANewRecord) {
    const intptr_t stale = handleOf(handles::create<Record>(Kind::CanonSession));
    handles::retire(Kind::CanonSession, stale);
    std::set<intptr_t> later;
    for (int i = 0; i < 500; ++i) {
        later.insert(handleOf(handles::create<Record>(Kind::CanonSession)));
    }
    EXPECT_EQ(later.count(stale), 0U);
    for (const intptr_t handle : later) {
        handles::retire(Kind::CanonSession, handle);
    }
}

TEST_F(Handles, AddressesAreUsedAgainInTheEnd) {
    std::set<intptr_t> seen;
    for (int i = 0; i < 20000; ++i) {
        const intptr_t handle = handleOf(handles::create<Record>(Kind::CanonSession));
        seen.insert(handle);
        handles::retire(Kind::CanonSession, handle);
    }
    EXPECT_LT(seen.size(), 5000U);
}

TEST_F(Handles, AnObjectKeepsItsIntUntilItsLastHolderGoes) {
    int object = 0;
    const int32_t first = handles::standFor(Kind::CanonCamera, &object);
    EXPECT_GT(first, 0);
    EXPECT_EQ(handles::standFor(Kind::CanonCamera, &object), first);
    EXPECT_EQ(handles::release(Kind::CanonCamera, first), &object);
    EXPECT_EQ(objectOf(Kind::CanonCamera, first), &object);
    EXPECT_EQ(handles::release(Kind::CanonCamera, first), &object);
    EXPECT_EQ(objectOf(Kind::CanonCamera, first), nullptr);
    EXPECT_EQ(handles::release(Kind::CanonCamera, first), nullptr);
    const int32_t second = handles::standFor(Kind::CanonCamera, &object);
    EXPECT_NE(second, first);
    handles::release(Kind::CanonCamera, second);
}

TEST_F(Handles, AnObjectGoesBackWhenTheLastCallThatUsesItEnds) {
    int object = 0;
    const int32_t handle = handles::standFor(Kind::CanonCamera, &object);
    auto first = handles::pin<handles::StandIn>(Kind::CanonCamera, handle);
    auto second = handles::pin<handles::StandIn>(Kind::CanonCamera, handle);
    EXPECT_TRUE(handles::release(Kind::CanonCamera, handle, countGivenBack));
    EXPECT_FALSE(handles::release(Kind::CanonCamera, handle, countGivenBack));
    EXPECT_EQ(objectOf(Kind::CanonCamera, handle), nullptr);
    first = {};
    EXPECT_EQ(givenBack, 0);
    EXPECT_EQ(second->object, &object);
    second = {};
    EXPECT_EQ(givenBack, 1);
}

TEST_F(Handles, AnObjectThatNobodyUsesGoesBackAtOnce) {
    int object = 0;
    const int32_t handle = handles::standFor(Kind::CanonCamera, &object);
    EXPECT_TRUE(handles::release(Kind::CanonCamera, handle, countGivenBack));
    EXPECT_EQ(givenBack, 1);
}

TEST_F(Handles, AHolderThatIsNotTheLastGivesBackItsOwnAtOnce) {
    int object = 0;
    const int32_t handle = handles::standFor(Kind::CanonCamera, &object);
    EXPECT_EQ(handles::standFor(Kind::CanonCamera, &object), handle);
    auto pin = handles::pin<handles::StandIn>(Kind::CanonCamera, handle);
    EXPECT_TRUE(handles::release(Kind::CanonCamera, handle, countGivenBack));
    EXPECT_EQ(givenBack, 1);
    EXPECT_TRUE(handles::release(Kind::CanonCamera, handle, countGivenBack));
    EXPECT_EQ(givenBack, 1);
    pin = {};
    EXPECT_EQ(givenBack, 2);
}

TEST_F(Handles, NoObjectHasNoInt) {
    EXPECT_EQ(handles::standFor(Kind::CanonDirectoryItem, nullptr), 0);
}

TEST_F(Handles, ManyThreadsMayTakeAndGiveAtOnce) {
    const size_t before = handles::liveCount(Kind::CanonSession);
    const intptr_t shared = handleOf(handles::create<Record>(Kind::CanonSession));
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([shared] {
            for (int round = 0; round < 2000; ++round) {
                const auto pin = handles::pin<Record>(Kind::CanonSession, shared);
                const intptr_t own = handleOf(handles::create<Record>(Kind::CanonSession));
                handles::retire(Kind::CanonSession, own);
                if (round == 1000) handles::retire(Kind::CanonSession, shared);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(handles::liveCount(Kind::CanonSession), before);
}

}  // namespace
