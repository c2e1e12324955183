// What a host gets of the objects that camera events are about.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "CanonEds/canon_internal.h"
#include "TarvoRemote/callback.h"
#include "shared/vask_mutex.h"
#include "tests/TarvoRemote/SocketPair.h"

namespace {

using handles::Kind;

/** A host that reads nothing: whoever tells it something is held up in the middle. */
void fill(const SocketPair& pair) {
    constexpr uint8_t kPiece[1024] = {};
    while (send(pair.socket(), kPiece, sizeof kPiece, MSG_DONTWAIT) > 0) {
    }
    while (send(pair.socket(), kPiece, 1, MSG_DONTWAIT) > 0) {
    }
}

/** Somebody is in the middle of telling the host something. */
bool isTelling() {
    if (pthread_mutex_trylock(getCallbackMutex()) != 0) return true;
    MUTEX_UNLOCK(getCallbackMutex());
    return false;
}

TEST(ObjectEvents, NameAnObjectThatNobodyWaitsForByANumberThatMeansNothingWhenItIsTold) {
    initTarvoRemote();
    const SocketPair pair;
    fill(pair);
    setCallbackSocket(pair.socket());
    auto* record = handles::create<CanonCamera>(Kind::CanonSession);
    ASSERT_NE(record, nullptr);
    int object = 0;
    std::atomic<bool> isTold = false;
    std::thread library([&] {
        constexpr EdsObjectEvent kItemCreated = 0x204;
        handleObjectEvent(kItemCreated, reinterpret_cast<EdsBaseRef>(&object), record);
        isTold = true;
    });
    while (!isTelling() && !isTold) {
        std::this_thread::yield();
    }
    EXPECT_FALSE(isTold);
    EXPECT_EQ(handles::liveCount(Kind::CanonDirectoryItem), 0U);
    while (!isTold) {
        pair.sent();
        std::this_thread::yield();
    }
    library.join();
    setCallbackSocket(0);
    handles::retire(Kind::CanonSession, record->handle());
}

}  // namespace
