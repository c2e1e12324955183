// No memory and no sockets: the linker sends the core's own calls to the functions below.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "TarvoRemote/jni_env.h"
#include "TarvoRemote/server.h"
#include "TarvoRemote/wire.h"
#include "tests/TarvoRemote/SocketPair.h"

namespace {

thread_local bool hasNoMemory = false;
thread_local bool hasNoSockets = false;

}  // namespace

extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
int __real_socket(int domain, int type, int protocol);

// Visible, since a sanitizer's library is linked to them as well.
__attribute__((visibility("default"))) void* __wrap_malloc(size_t size);
__attribute__((visibility("default"))) void* __wrap_calloc(size_t count, size_t size);
__attribute__((visibility("default"))) int __wrap_socket(int domain, int type, int protocol);

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

TEST(WithoutSocketsDeathTest, TheServerEndsTheProcessWithTheReason) {
    const auto startWithoutSockets = [] {
        hasNoSockets = true;
        StartServer(nullptr);
    };
    EXPECT_EXIT(startWithoutSockets(), testing::ExitedWithCode(EXIT_FAILURE),
                "ERROR opening socket: Too many open files");
}

}  // namespace
