#include "host/client/Wire.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/host/FakeHelper.h"

namespace {

using fake::Bytes;
using tarvo::Arguments;
using tarvo::Failure;

TEST(Arguments, AreLittleEndian) {
    EXPECT_EQ(Arguments().addByte(0xAB).bytes(), (Bytes{0xAB}));
    EXPECT_EQ(Arguments().addInt(0x01020304).bytes(), (Bytes{4, 3, 2, 1}));
    EXPECT_EQ(Arguments().addInt(-2).bytes(), (Bytes{0xFE, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(Arguments().addLong(0x0102030405060708).bytes(), (Bytes{8, 7, 6, 5, 4, 3, 2, 1}));
    EXPECT_EQ(Arguments().addLong(-1).bytes(), Bytes(8, 0xFF));
}

TEST(Arguments, SendAFloatAsMillionthsCutTowardZero) {
    EXPECT_EQ(Arguments().addFloat(1.5F).bytes(), fake::longBytes(1500000));
    EXPECT_EQ(Arguments().addFloat(0.7F).bytes(), fake::longBytes(700000));
    EXPECT_EQ(Arguments().addFloat(-0.25F).bytes(), fake::longBytes(-250000));
    EXPECT_EQ(Arguments().addFloat(-0.0000004F).bytes(), fake::longBytes(0));
}

TEST(Arguments, RefuseAFloatThatNoIntegerHolds) {
    for (const float value : {std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity(),
                              std::nanf(""), 1e30F, -1e30F}) {
        Arguments arguments;
        arguments.addFloat(value);
        EXPECT_EQ(arguments.error().failure, Failure::badArgument) << value;
        EXPECT_TRUE(arguments.bytes().empty());
    }
}

TEST(Arguments, SendATextWithItsLengthAndNoTerminator) {
    EXPECT_EQ(Arguments().addString("abc").bytes(), (Bytes{3, 0, 0, 0, 'a', 'b', 'c'}));
    EXPECT_EQ(Arguments().addString("").bytes(), (Bytes{0, 0, 0, 0}));
    EXPECT_EQ(Arguments().addString(std::string(2048, 'x')).bytes().size(), 2052U);
}

TEST(Arguments, RefuseATextThatTheHelperWouldRefuse) {
    Arguments tooLong;
    tooLong.addString(std::string(2049, 'x')).addInt(1);
    EXPECT_EQ(tooLong.error().failure, Failure::badArgument);
    EXPECT_TRUE(tooLong.bytes().empty()) << "nothing is added after an error";
    Arguments withNul;
    withNul.addString(std::string("a\0b", 3));
    EXPECT_EQ(withNul.error().failure, Failure::badArgument);
}

// A socket that yields these bytes and then the end.
class Received {
public:
    explicit Received(Bytes bytes)
        : helper_([kept = std::move(bytes)](fake::Peer& peer) { peer.write(kept); }) {
        auto connected = tarvo::connectLoopback(helper_.port(), tarvo::Patience{});
        EXPECT_TRUE(connected.ok()) << connected.error.text;
        socket_ = std::move(connected.value);
    }
    int fd() const { return socket_.get(); }

private:
    fake::FakeHelper helper_;
    tarvo::Descriptor socket_;
};

TEST(Receive, TakesEveryKindOfValue) {
    const Received from(fake::join({{200},
                                    fake::intBytes(-5),
                                    fake::longBytes(int64_t{1} << 40),
                                    fake::longBytes(250000),
                                    fake::textBytes("Canon"),
                                    fake::textBytes(""),
                                    fake::intBytes(2),
                                    fake::intBytes(7),
                                    fake::intBytes(-8),
                                    fake::intBytes(3),
                                    Bytes{9, 8, 7},
                                    fake::intBytes(2),
                                    fake::textBytes("a"),
                                    fake::textBytes("")}));
    const tarvo::Patience patience;
    EXPECT_EQ(tarvo::receiveByte(from.fd(), patience).value, 200);
    EXPECT_EQ(tarvo::receiveInt(from.fd(), patience).value, -5);
    EXPECT_EQ(tarvo::receiveLong(from.fd(), patience).value, int64_t{1} << 40);
    EXPECT_EQ(tarvo::receiveFloat(from.fd(), patience).value, 0.25F);
    EXPECT_EQ(tarvo::receiveString(from.fd(), patience).value, "Canon");
    EXPECT_EQ(tarvo::receiveString(from.fd(), patience).value, "");
    EXPECT_EQ(tarvo::receiveInts(from.fd(), patience).value, (std::vector<int32_t>{7, -8}));
    EXPECT_EQ(tarvo::receiveBytes(from.fd(), patience).value, (Bytes{9, 8, 7}));
    EXPECT_EQ(tarvo::receiveStrings(from.fd(), patience).value, (std::vector<std::string>{"a", ""}));
    EXPECT_EQ(tarvo::receiveByte(from.fd(), patience).error.failure, Failure::connectionLost);
}

TEST(Receive, RefusesACountThatCannotBe) {
    for (const int64_t count : {int64_t{-1}, int64_t{0x7FFFFFFF}}) {
        const tarvo::Patience patience;
        EXPECT_EQ(tarvo::receiveString(Received(fake::intBytes(count)).fd(), patience).error.failure,
                  Failure::wrongAnswer);
        EXPECT_EQ(tarvo::receiveInts(Received(fake::intBytes(count)).fd(), patience).error.failure,
                  Failure::wrongAnswer);
        EXPECT_EQ(tarvo::receiveBytes(Received(fake::intBytes(count)).fd(), patience).error.failure,
                  Failure::wrongAnswer);
        EXPECT_EQ(tarvo::receiveStrings(Received(fake::intBytes(count)).fd(), patience).error.failure,
                  Failure::wrongAnswer);
    }
}

TEST(Receive, SaysHowFarItCame) {
    const Received from(Bytes{1, 2, 3});
    const auto value = tarvo::receiveInt(from.fd(), tarvo::Patience{});
    EXPECT_EQ(value.error.failure, Failure::connectionLost);
    EXPECT_NE(value.error.text.find("3 of 4 bytes"), std::string::npos) << value.error.text;
}

TEST(Connect, ToAPortWhereNobodyListensNamesThePort) {
    uint16_t port = 0;
    {
        port = fake::FakeHelper([](fake::Peer&) {}).port();
    }
    const auto connected = tarvo::connectLoopback(port, tarvo::Patience{});
    EXPECT_EQ(connected.error.failure, Failure::notReachable);
    EXPECT_NE(connected.error.text.find(std::to_string(port)), std::string::npos);
}

TEST(Connect, ToAUnixPathThatIsTooLongSaysSo) {
    const auto connected = tarvo::connectUnix(std::string(200, 'p'), tarvo::Patience{});
    EXPECT_EQ(connected.error.failure, Failure::badArgument);
    EXPECT_NE(connected.error.text.find("200 bytes"), std::string::npos);
}

}  // namespace
