#include "TarvoRemote/callback.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <thread>
#include <vector>

#include "TarvoRemote/CanonRemote.h"
#include "tests/TarvoRemote/SocketPair.h"

namespace {

class Callback : public testing::Test {
protected:
    void SetUp() override {
        std::signal(SIGPIPE, SIG_IGN);  // as the helper's main does
        initTarvoRemote();
    }
    void TearDown() override { setCallbackSocket(0); }
    SocketPair pair;
};

TEST_F(Callback, MessageIsModuleMarkerKindAndPayload) {
    setCallbackSocket(pair.socket());
    sendCallback(20, EVENT_PROGRESS, {50});
    EXPECT_EQ(pair.sent(), Bytes({0x14, 0x33, 0x22, 0x11, 0x00, 0x04, 0x32, 0, 0, 0}));
}

TEST_F(Callback, NothingIsSentWithoutARegisteredSocket) {
    sendCallback(40, EVENT_STATE, {1});
    setCallbackSocket(pair.socket());
    EXPECT_EQ(pair.sent(), Bytes{});
}

TEST_F(Callback, NewerSocketReplacesTheOlder) {
    const SocketPair newer;
    setCallbackSocket(pair.socket());
    setCallbackSocket(newer.socket());
    sendCallback(40, EVENT_STATE, {1});
    EXPECT_EQ(pair.sent(), Bytes{});
    EXPECT_EQ(newer.sent().size(), 10U);
}

TEST_F(Callback, CanonMessagesHaveTheirKindsAndLengths) {
    setCallbackSocket(pair.socket());
    CanonRemote_handleObjectEvent(1, 0x208, 2);
    EXPECT_EQ(pair.sent(), Bytes({10, 0x33, 0x22, 0x11, 0, 1, 1, 0, 0, 0, 8, 2, 0, 0, 2, 0, 0, 0}));
    CanonRemote_handlePropertyEvent(1, 0x101, 0x406, 0);
    EXPECT_EQ(pair.sent(),
              Bytes({10, 0x33, 0x22, 0x11, 0, 2, 1, 0, 0, 0, 1, 1, 0, 0, 6, 4, 0, 0, 0, 0, 0, 0}));
    CanonRemote_handleStateEvent(1, 0x301, 0);
    EXPECT_EQ(pair.sent(), Bytes({10, 0x33, 0x22, 0x11, 0, 3, 1, 0, 0, 0, 1, 3, 0, 0, 0, 0, 0, 0}));
    testing::internal::CaptureStderr();
    CanonRemote_progressCallback(1, 50);
    EXPECT_EQ(pair.sent(), Bytes({10, 0x33, 0x22, 0x11, 0, 4, 1, 0, 0, 0, 50, 0, 0, 0}));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Canon: progressCallback 50\n");
}

TEST_F(Callback, ProgressIsLoggedEvenWhenItIsDropped) {
    testing::internal::CaptureStderr();
    CanonRemote_progressCallback(1, 50);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Canon: progressCallback 50\n");
    EXPECT_EQ(pair.sent(), Bytes{});
}

TEST_F(Callback, RegisteredSocketIsGivenSomeSecondsAndNotMore) {
    setCallbackSocket(pair.socket());
    timeval patience{};
    socklen_t size = sizeof patience;
    ASSERT_EQ(getsockopt(pair.socket(), SOL_SOCKET, SO_SNDTIMEO, &patience, &size), 0);
    EXPECT_EQ(patience.tv_sec, kCallbackPatience);
}

TEST_F(Callback, HostThatNeverReadsDoesNotHoldCamerasForEver) {
    setCallbackSocket(pair.socket());
    const timeval soon = {.tv_sec = 0, .tv_usec = 20000};
    setsockopt(pair.socket(), SOL_SOCKET, SO_SNDTIMEO, &soon, sizeof soon);
    uint8_t probe = 0;
    // Ends only when the buffers are full and the stream has been ended.
    while (send(pair.socket(), &probe, 0, MSG_NOSIGNAL) == 0) {
        sendCallback(40, EVENT_STATE, {1});
    }
    EXPECT_EQ(errno, EPIPE);
    // What arrived are whole messages up to the one that found no room.
    size_t received = 0;
    uint8_t buffer[4096];
    for (ssize_t count = 1; count > 0; received += static_cast<size_t>(count)) {
        count = recv(pair.peer(), buffer, sizeof buffer, 0);
        ASSERT_GE(count, 0);
    }
    EXPECT_GT(received, 10U);
}

std::atomic<int> interruptions{0};

/** What a process is told by when it is stopped and continued, as far as a send that waits sees it. */
void interrupt(std::thread& thread, const std::atomic<bool>& hasEnded) {
    struct sigaction heeded {};
    heeded.sa_handler = [](int) { ++interruptions; };
    sigaction(SIGUSR1, &heeded, nullptr);
    for (interruptions = 0; interruptions < 100 && !hasEnded;) {
        pthread_kill(thread.native_handle(), SIGUSR1);
        std::this_thread::yield();
    }
    std::signal(SIGUSR1, SIG_DFL);
}

bool isTelling() {
    if (pthread_mutex_trylock(getCallbackMutex()) != 0) return true;
    pthread_mutex_unlock(getCallbackMutex());
    return false;
}

TEST_F(Callback, MessageThatWaitsForRoomOutlivesAnInterruption) {
    setCallbackSocket(pair.socket());
    const uint8_t filling[1024] = {};
    for (const size_t size : {sizeof filling, size_t{1}}) {
        while (send(pair.socket(), filling, size, MSG_DONTWAIT) > 0) {
        }
    }
    std::atomic<bool> isTold{false};
    std::thread sender([&] {
        sendCallback(20, EVENT_STATE, {1});
        isTold = true;
    });
    while (!isTelling() && !isTold) {
        std::this_thread::yield();
    }
    interrupt(sender, isTold);
    Bytes all;
    for (bool wasTold = false; !wasTold;) {
        wasTold = isTold;
        const Bytes next = pair.sent();
        all.insert(all.end(), next.begin(), next.end());
        if (!next.empty()) wasTold = false;
    }
    sender.join();
    const Bytes message = {20, 0x33, 0x22, 0x11, 0, EVENT_STATE, 1, 0, 0, 0};
    ASSERT_GE(all.size(), message.size());
    EXPECT_EQ(Bytes(all.end() - static_cast<std::ptrdiff_t>(message.size()), all.end()), message);
    sendCallback(20, EVENT_STATE, {1});
    EXPECT_EQ(pair.sent(), message) << "the stream goes on";
}

TEST_F(Callback, MessagesOfSeveralSendersAreNeverMixed) {
    setCallbackSocket(pair.socket());
    constexpr int kSenders = 4;
    constexpr int kMessages = 200;
    std::vector<std::thread> senders;
    for (int sender = 0; sender < kSenders; ++sender) {
        senders.emplace_back([sender] {
            for (int i = 0; i < kMessages; ++i) {
                sendCallback(20, EVENT_STATE, {sender * 0x01010101});
            }
        });
    }
    int mixed = 0;
    for (int i = 0; i < kSenders * kMessages; ++i) {
        uint8_t message[10];
        ASSERT_EQ(recv(pair.peer(), message, sizeof message, MSG_WAITALL), 10);
        const bool isWhole = message[0] == 20 && message[1] == 0x33 && message[5] == EVENT_STATE &&
                             message[6] < kSenders && message[7] == message[6] && message[9] == message[6];
        mixed += isWhole ? 0 : 1;
    }
    for (std::thread& sender : senders) {
        sender.join();
    }
    EXPECT_EQ(mixed, 0);
}

}  // namespace
