#include "TarvoRemote/wire.h"

#include <gtest/gtest.h>
#include <sys/ioctl.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <thread>

#include "TarvoRemote/jni_env.h"
#include "tests/TarvoRemote/SocketPair.h"

namespace {

class Wire : public testing::Test {
protected:
    SocketPair pair;
};

std::string takeString(char* text) {
    std::string copy = text == nullptr ? "(null)" : text;
    std::free(text);
    return copy;
}

TEST_F(Wire, EmptyAndNullStringsGoOutAsFourZeroBytes) {
    writeString(pair.socket(), "");
    EXPECT_EQ(pair.sent(), Bytes({0, 0, 0, 0}));
    writeString(pair.socket(), nullptr);
    EXPECT_EQ(pair.sent(), Bytes({0, 0, 0, 0}));
}

TEST_F(Wire, StringCarriesItsLengthAndNoTerminator) {
    writeString(pair.socket(), "abc");
    EXPECT_EQ(pair.sent(), Bytes({3, 0, 0, 0, 'a', 'b', 'c'}));
}

TEST_F(Wire, IntegersAreLittleEndian) {
    EXPECT_EQ(writeInt(pair.socket(), 0x01020304), 4);
    EXPECT_EQ(pair.sent(), Bytes({4, 3, 2, 1}));
    EXPECT_EQ(writeLong(pair.socket(), 0x0102030405060708), 8);
    EXPECT_EQ(pair.sent(), Bytes({8, 7, 6, 5, 4, 3, 2, 1}));
    EXPECT_EQ(writeByte(pair.socket(), 0xFE), 1);
    EXPECT_EQ(pair.sent(), Bytes({0xFE}));
    writeInt(pair.socket(), -2);
    EXPECT_EQ(pair.sent(), Bytes({0xFE, 0xFF, 0xFF, 0xFF}));
}

TEST_F(Wire, ReadersTakeBackWhatWritersSend) {
    pair.feed({4, 3, 2, 1, 8, 7, 6, 5, 4, 3, 2, 1, 0xC8});
    EXPECT_EQ(readInt(pair.socket()), 0x01020304);
    EXPECT_EQ(readLong(pair.socket()), 0x0102030405060708);
    EXPECT_EQ(readByte(pair.socket()), 0xC8);
}

TEST_F(Wire, IntArrayIsCountAndInts) {
    jint values[] = {1, 2};
    const ArrayRecord array = {2, values};
    writeIntArray(pair.socket(), &array);
    EXPECT_EQ(pair.sent(), Bytes({2, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0}));
}

TEST_F(Wire, NullArraysGoOutAsFourZeroBytes) {
    for (auto* write : {writeIntArray, writeByteArray, writeStringArray}) {
        write(pair.socket(), nullptr);
        EXPECT_EQ(pair.sent(), Bytes({0, 0, 0, 0}));
    }
}

TEST_F(Wire, EmptyArraysSendTheCountOnly) {
    const ArrayRecord empty = {0, nullptr};
    for (auto* write : {writeIntArray, writeByteArray, writeStringArray}) {
        write(pair.socket(), &empty);
        EXPECT_EQ(pair.sent(), Bytes({0, 0, 0, 0}));
    }
}

TEST_F(Wire, NegativeCountSendsNoElements) {
    const ArrayRecord broken = {-1, nullptr};
    for (auto* write : {writeIntArray, writeByteArray, writeStringArray}) {
        write(pair.socket(), &broken);
        EXPECT_EQ(pair.sent(), Bytes({0xFF, 0xFF, 0xFF, 0xFF}));
    }
}

TEST_F(Wire, StringArraySendsNullElementsAsEmptyStrings) {
    char text[] = "x";
    void* elements[] = {text, nullptr};
    const ArrayRecord array = {2, elements};
    writeStringArray(pair.socket(), &array);
    EXPECT_EQ(pair.sent(), Bytes({2, 0, 0, 0, 1, 0, 0, 0, 'x', 0, 0, 0, 0}));
}

TEST_F(Wire, FloatTravelsAsMillionths) {
    writeFloat(pair.socket(), 1.5F);
    EXPECT_EQ(pair.sent(), Bytes({0x60, 0xE3, 0x16, 0, 0, 0, 0, 0}));  // 1500000
    writeFloat(pair.socket(), -0.0000004F);
    EXPECT_EQ(pair.sent(), Bytes(8, 0));
    writeFloat(pair.socket(), -1.0F);
    EXPECT_EQ(pair.sent(), Bytes({0xC0, 0xBD, 0xF0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));
    pair.feed({0x90, 0xD0, 3, 0, 0, 0, 0, 0});  // 250000
    EXPECT_FLOAT_EQ(readFloat(pair.socket()), 0.25F);
}

TEST_F(Wire, FloatIsScaledInSinglePrecision) {
    // In double precision the nearest float to 0.7, a little less, would be cut to 699999.
    writeFloat(pair.socket(), 0.7F);
    EXPECT_EQ(pair.sent(), Bytes({0x60, 0xAE, 0x0A, 0, 0, 0, 0, 0}));  // 700000
    // One more than a float of that size can tell.
    pair.feed({0x01, 0, 0, 1, 0, 0, 0, 0});  // 16777217
    EXPECT_EQ(readFloat(pair.socket()), 16.777216F);
}

TEST_F(Wire, FloatThatNoIntegerHoldsIsSentAsTheLeastInteger) {
    const Bytes least = {0, 0, 0, 0, 0, 0, 0, 0x80};
    for (const float value : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::infinity(), 1e30F}) {
        writeFloat(pair.socket(), value);
        EXPECT_EQ(pair.sent(), least) << value;
    }
}

TEST_F(Wire, LongestStringIsRead) {
    Bytes bytes = {0x00, 0x08, 0, 0};  // 2048
    bytes.insert(bytes.end(), 2048, 'y');
    pair.feed(bytes);
    EXPECT_EQ(takeString(readString(pair.socket())), std::string(2048, 'y'));
}

TEST_F(Wire, OverlongStringIsRefusedAfterItsLength) {
    pair.feed({0x01, 0x08, 0, 0, 'a', 'b'});  // 2049
    testing::internal::CaptureStderr();
    EXPECT_EQ(readString(pair.socket()), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "TarvoRemote: readString 2049 > MAX_STRING\n");
    EXPECT_EQ(pair.unread(), Bytes({'a', 'b'}));
}

TEST_F(Wire, NegativeStringLengthIsRefusedLikeAnOverlongOne) {
    pair.feed({0xFF, 0xFF, 0xFF, 0xFF, 'a'});
    testing::internal::CaptureStderr();
    EXPECT_EQ(readString(pair.socket()), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "TarvoRemote: readString -1 > MAX_STRING\n");
    EXPECT_EQ(pair.unread(), Bytes({'a'}));
}

TEST_F(Wire, EmptyStringIsReadAsEmptyNotNull) {
    pair.feed({0, 0, 0, 0});
    char* text = readString(pair.socket());
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text, "");
    std::free(text);
}

TEST_F(Wire, ShortReadLeavesAShorterString) {
    pair.feed({5, 0, 0, 0, 'a', 'b'});
    pair.closePeer();
    EXPECT_EQ(takeString(readString(pair.socket())), "ab");
}

TEST_F(Wire, ClosedPeerReadsAsZero) {
    pair.closePeer();
    EXPECT_EQ(readInt(pair.socket()), 0);
    EXPECT_EQ(readByte(pair.socket()), 0);
    EXPECT_EQ(readLong(pair.socket()), 0);
    EXPECT_FLOAT_EQ(readFloat(pair.socket()), 0.0F);
}

TEST_F(Wire, ValueCutShortKeepsTheBytesThatArrived) {
    pair.feed({7, 1});
    pair.closePeer();
    EXPECT_EQ(readInt(pair.socket()), 0x0107);
}

std::atomic<bool> wasInterrupted = false;

/** Interrupts the thread, which must be about to read what has not arrived. */
void interruptReader(std::thread& reader, int socket) {
    int unread = 1;
    while (ioctl(socket, FIONREAD, &unread) == 0 && unread > 0) {
        std::this_thread::yield();
    }
    struct sigaction action {};
    action.sa_handler = [](int) { wasInterrupted = true; };  // no SA_RESTART: the receive comes back
    struct sigaction before {};
    sigaction(SIGUSR1, &action, &before);
    wasInterrupted = false;
    pthread_kill(reader.native_handle(), SIGUSR1);
    while (!wasInterrupted) {
        std::this_thread::yield();
    }
    sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(Wire, ValueWhoseReadingIsInterruptedIsReadToItsEnd) {
    int32_t value = 0;
    pair.feed({1, 2});
    std::thread reader([&] { value = readInt(pair.socket()); });
    interruptReader(reader, pair.socket());
    pair.feed({3, 4});
    reader.join();
    EXPECT_EQ(value, 0x04030201);
}

TEST_F(Wire, StringWhoseReadingIsInterruptedIsReadToItsEnd) {
    char* text = nullptr;
    pair.feed({4, 0, 0, 0, 'a', 'b'});
    std::thread reader([&] { text = readString(pair.socket()); });
    interruptReader(reader, pair.socket());
    pair.feed({'c', 'd'});
    reader.join();
    EXPECT_STREQ(text, "abcd");
    std::free(text);
}

}  // namespace
