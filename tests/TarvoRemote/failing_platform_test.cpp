// No memory, no sockets, no room in a socket's buffer: the linker sends the core's own calls to the functions
// below.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string>

#include "TarvoRemote/callback.h"
#include "TarvoRemote/jni_env.h"
#include "TarvoRemote/server.h"
#include "TarvoRemote/wire.h"
#include "tests/TarvoRemote/SocketPair.h"

namespace {

thread_local bool hasNoMemory = false;
thread_local bool hasNoSockets = false;
thread_local size_t mostBytesInOneSend = SIZE_MAX;

}  // namespace

extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
int __real_socket(int domain, int type, int protocol);
ssize_t __real_send(int socket, const void* bytes, size_t size, int flags);

// Visible, since a sanitizer's library is linked to them as well.
__attribute__((visibility("default"))) void* __wrap_malloc(size_t size);
__attribute__((visibility("default"))) void* __wrap_calloc(size_t count, size_t size);
__attribute__((visibility("default"))) int __wrap_socket(int domain, int type, int protocol);
__attribute__((visibility("default"))) ssize_t __wrap_send(int socket, const void* bytes, size_t size,
                                                           int flags);

void* __wrap_malloc(size_t size) {
    return hasNoMemory ? nullptr : __real_malloc(size);
}

void* __wrap_calloc(size_t count, size_t size) {
    return hasNoMemory ? nullptr : __real_calloc(count, size);
}

int __wrap_socket(int domain, int type, int protocol) {
    if (!hasNoSockets) return __real_socket(domain, type, protocol);
    errno = EMFILE;
    return -1;
}

ssize_t __wrap_send(int socket, const void* bytes, size_t size, int flags) {
    return __real_send(socket, bytes, std::min(size, mostBytesInOneSend), flags);
}
}

namespace {

/** What standard error gets while there is no memory for `call`. */
template <class Call>
std::string logWithoutMemory(Call call) {
    testing::internal::CaptureStderr();
    hasNoMemory = true;
    const bool hasResult = call() != nullptr;
    hasNoMemory = false;
    EXPECT_FALSE(hasResult);
    return testing::internal::GetCapturedStderr();
}

TEST(WithoutMemory, NoStringIsReadAndItsTextStaysUnread) {
    const SocketPair sockets;
    sockets.feed({3, 0, 0, 0, 'a', 'b', 'c'});
    EXPECT_EQ(logWithoutMemory([&] { return readString(sockets.socket()); }),
              "TarvoRemote: readString malloc(4) failed\n");
    EXPECT_EQ(sockets.unread(), (Bytes{'a', 'b', 'c'}));
}

TEST(WithoutMemory, NoStringIsMade) {
    JNIEnv* env = GetGlobalEnv();
    EXPECT_EQ(logWithoutMemory([env] { return (*env)->NewStringUTF(env, "abc"); }),
              "TarvoRemote: NewStringUTF malloc(4) failed\n");
}

TEST(WithoutMemory, NoArrayIsMadeAndEachIsToldByItsName) {
    JNIEnv* env = GetGlobalEnv();
    const std::string size = std::to_string(sizeof(ArrayRecord));
    EXPECT_EQ(logWithoutMemory([env] { return (*env)->NewIntArray(env, 2); }),
              "TarvoRemote: NewIntArray malloc(" + size + ") failed\n");
    EXPECT_EQ(logWithoutMemory([env] { return (*env)->NewByteArray(env, 2); }),
              "TarvoRemote: NewByteArray malloc(" + size + ") failed\n");
    EXPECT_EQ(logWithoutMemory([env] { return (*env)->NewObjectArray(env, 2, nullptr, nullptr); }),
              "TarvoRemote: NewObjectArray malloc(" + size + ") failed\n");
}

TEST(WithoutRoom, APartOfAMessageEndsTheStreamSoThatNothingIsTakenForItsRest) {
    const SocketPair sockets;
    std::signal(SIGPIPE, SIG_IGN);  // as the helper's main does
    initTarvoRemote();
    setCallbackSocket(sockets.socket());
    mostBytesInOneSend = 2;
    sendCallback(20, EVENT_STATE, {1});
    mostBytesInOneSend = SIZE_MAX;
    sendCallback(20, EVENT_STATE, {2});
    setCallbackSocket(0);
    EXPECT_EQ(sockets.sent(), (Bytes{20, 0x33, 0x22}));
    uint8_t next = 0;
    EXPECT_EQ(recv(sockets.peer(), &next, sizeof next, MSG_DONTWAIT), 0) << "the stream goes on";
}

TEST(WithoutSocketsDeathTest, TheServerEndsTheProcessWithTheReason) {
    const auto startWithoutSockets = [] {
        hasNoSockets = true;
        StartServer(nullptr);
    };
    EXPECT_EXIT(startWithoutSockets(), testing::ExitedWithCode(EXIT_FAILURE),
                "ERROR opening socket: Too many open files");
}

}  // namespace
