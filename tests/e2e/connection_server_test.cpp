// Connections: what the first byte opens, what the bytes between calls do, and what the helper says of it.
#include <gtest/gtest.h>

#include <array>
#include <set>

#include "tests/e2e/support/canon_fixture.h"

namespace e2e {
namespace {

enum class Opens { calls, callback, exportSettings, shutdown, nothing };

struct ModuleByte {
    int byte;
    Opens opens;
    /** What is logged when the byte stands between two calls; null: it starts a call. */
    const char* betweenCalls;
};

constexpr const char* kSkipped = "handleCameraMessage recv %d\n";

// The bytes that mean something; every other one opens nothing and is skipped between calls.
constexpr std::array<ModuleByte, 6> kModuleBytes = {{
    {8, Opens::callback, kSkipped},
    {10, Opens::calls, nullptr},
    {20, Opens::calls, nullptr},
    {30, Opens::exportSettings, kSkipped},
    {40, Opens::calls, nullptr},
    {66, Opens::shutdown, kSkipped},
}};

ModuleByte moduleByte(int byte) {
    for (const ModuleByte& row : kModuleBytes) {
        if (row.byte == byte) return row;
    }
    return {byte, Opens::nothing, kSkipped};
}

std::string format(const char* text, int value) {
    std::array<char, 128> line{};
    // The formats are this file's own, one %d each.
    std::string pattern = text;
    const size_t at = pattern.find("%d");
    std::snprintf(line.data(), line.size(), "%d", value);
    return pattern.replace(at, 2, line.data());
}

class ConnectionServer : public CanonTest {
protected:
    RawClient connection() { return RawClient(helper().port()); }

    /** The socket number in "Server Thread CREATED, socket N, module M". */
    int socketOfThread(int module) {
        const std::string tail = ", module " + std::to_string(module) + "\n";
        helper().waitForErr(tail);
        const std::string text = helper().err().text();
        static constexpr std::string_view kHead = "Server Thread CREATED, socket ";
        const size_t at = text.rfind(kHead, text.find(tail));
        return at == std::string::npos ? -1 : std::atoi(text.c_str() + at + kHead.size());
    }
};

TEST_F(ConnectionServer, greets_and_announces_its_port_on_standard_error) {
    start();
    EXPECT_GE(helper().port(), 54839);
    EXPECT_LE(helper().port(), 54899);
    const std::string dashes = "TarvoRemote: -----------------------------------------------------------\n";
    const std::string greeting =
        dashes + "TarvoRemote:   Tarvo Helper \n" + dashes +
        "TarvoRemote: Starting server\nTarvoRemote: PORT=" + std::to_string(helper().port()) + "\n";
    EXPECT_EQ(helper().err().text().substr(0, greeting.size()), greeting);
    EXPECT_EQ(helper().out().text(), "");
}

TEST_F(ConnectionServer, tells_of_every_connection_that_it_takes) {
    start();
    canon().isLiveViewZoom(0);
    helper().waitForErr("Created thread with 2048 byte stack.\n");
    const int socket = socketOfThread(10);
    EXPECT_GT(socket, 2);
    EXPECT_EQ(
        helper().err().count("Server Thread CREATED, socket " + std::to_string(socket) + ", module 10\n"),
        1u);
    RawClient second = connection();
    second.send(Message().byte(99));
    helper().waitForErr("Created thread with 2048 byte stack.\n", 2);
    helper().waitForErr("Unknown module 99\n");
    // Two threads write these lines, so prefixes may run together; each line has one all the same.
    const std::string text = helper().err().text();
    EXPECT_EQ(helper().err().count("TarvoRemote: "),
              static_cast<size_t>(std::count(text.begin(), text.end(), '\n')));
}

TEST_F(ConnectionServer, closes_a_connection_that_opens_with_an_unknown_module) {
    start();
    size_t tried = 0;
    for (int byte = 0; byte <= 255; ++byte) {
        if (moduleByte(byte).opens != Opens::nothing) continue;
        ++tried;
        RawClient client = connection();
        client.send(Message().byte(byte));
        client.expectClosed();
        helper().waitForErr("Unknown module " + std::to_string(byte) + "\n");
    }
    EXPECT_EQ(tried, 250u);
    EXPECT_EQ(helper().err().count("Unknown module "), 250u);
}

TEST_F(ConnectionServer, takes_a_connection_that_closes_at_once_for_module_0) {
    start();
    RawClient client = connection();
    client.finishSending();
    client.expectClosed();
    helper().waitForErr("Unknown module 0\n");
    socketOfThread(0);
    expectServing();
}

TEST_F(ConnectionServer, skips_what_is_no_module_between_calls) {
    start();
    EXPECT_FALSE(canon().isLiveViewZoom(0));
    helper().waitForErr(
        "Created thread with 2048 byte stack.\n");  // the connection's own, said by another thread
    for (int byte = 0; byte <= 255; ++byte) {
        const ModuleByte row = moduleByte(byte);
        if (row.betweenCalls == nullptr) continue;
        SCOPED_TRACE(byte);
        const size_t from = helper().err().size();
        canon().socket().send(Message().byte(byte).byte(10).byte(19).int32(0));
        EXPECT_EQ(hex(canon().socket().receive(5)), "0a 13 0a 13 00");
        EXPECT_EQ(helper().err().since(from), "TarvoRemote: " + format(row.betweenCalls, byte));
    }
    canon().socket().expectSilence();
}

TEST_F(ConnectionServer, treats_the_byte_after_a_stray_one_as_a_module) {
    start();
    canon().isLiveViewZoom(0);
    canon().socket().send(
        Message().byte(7).byte(7).byte(10).byte(18).byte(7).byte(10).byte(11).int32(0).int32(0));
    EXPECT_EQ(hex(canon().socket().receive(8)), "0a 12 0a 12 0a 0b 0a 0b");
    EXPECT_EQ(helper().err().count("TarvoRemote: handleCameraMessage recv 7\n"), 3u);
}

TEST_F(ConnectionServer, answers_an_unknown_method_with_nothing) {
    start();
    std::set<int> known;
    for (const CanonMethod& method : canonMethods()) {
        known.insert(method.id);
    }
    size_t unknown = 0;
    for (int id = 0; id <= 255; ++id) {
        if (known.contains(id)) continue;
        ++unknown;
        SCOPED_TRACE(id);
        canon().socket().send(Message().byte(10).byte(id).byte(10).byte(19).int32(0));
        EXPECT_EQ(hex(canon().socket().receive(5)), "0a 13 0a 13 00");
        EXPECT_EQ(helper().err().count("Canon: ERROR: handleCanonMessage, unknown methodId " +
                                       std::to_string(id) + "\n"),
                  1u);
    }
    EXPECT_EQ(unknown, 232u);
    canon().socket().expectSilence();
}

TEST_F(ConnectionServer, takes_the_arguments_of_an_unknown_method_for_modules) {
    start();
    // 5, 0 and 9 are skipped; the 10 among them starts a call.
    canon().socket().send(Message().byte(10).byte(3).byte(5).byte(0).byte(9).byte(10).byte(19).int32(0));
    EXPECT_EQ(hex(canon().socket().receive(5)), "0a 13 0a 13 00");
    for (const int skipped : {5, 0, 9}) {
        EXPECT_EQ(helper().err().count(format("TarvoRemote: handleCameraMessage recv %d\n", skipped)), 1u);
    }
    canon().socket().expectSilence();
}

TEST_F(ConnectionServer, ends_the_loop_when_the_host_closes_between_calls) {
    start();
    canon().isLiveViewZoom(0);
    canon().socket().finishSending();
    canon().socket().expectClosed();
    helper().waitForErr("TarvoRemote: handleCameraMessage, exiting loop on result 0\n");
}

TEST_F(ConnectionServer, ends_the_loop_when_the_connection_is_reset) {
    start();
    canon().isLiveViewZoom(0);
    canon().socket().abort();
    helper().waitForErr("TarvoRemote: handleCameraMessage, exiting loop on result -1\n");
    expectServing();
}

TEST_F(ConnectionServer, gives_back_the_socket_and_the_thread_of_an_ended_connection) {
    start();
    expectServing();
    helper().waitForErr("exiting loop on result");
    size_t descriptors = 0;
    size_t threads = 0;
    ASSERT_TRUE(eventually([&] {
        // Steady: the same twice in a row.
        const bool same = descriptors == helper().descriptorCount() && threads == helper().threadCount();
        descriptors = helper().descriptorCount();
        threads = helper().threadCount();
        return same;
    }));
    for (int i = 0; i < 100; ++i) {
        RawClient client = connection();
        client.send(Message().byte(i % 2 == 0 ? 10 : 7).byte(18));
        if (i % 2 == 0) client.receive(4);
    }
    EXPECT_TRUE(eventually([&] {
        return helper().descriptorCount() <= descriptors && helper().threadCount() <= threads;
    })) << helper().descriptorCount()
        << " descriptors, " << helper().threadCount() << " threads; before " << descriptors << " and "
        << threads;
}

TEST_F(ConnectionServer, sends_the_values_of_a_reply_at_once_and_does_not_gather_them) {
    // A socket that fills its packets sends the first value, and the others once that one is acknowledged,
    // which a host that waits for the rest puts off by 40 ms. It is seen by the pieces: five of a byte each,
    // or two.
    start();
    constexpr size_t kCalls = 200;
    constexpr size_t kValues = 5;
    const size_t before = canon().socket().segmentsReceived();
    for (size_t i = 0; i < kCalls; ++i) {
        ASSERT_FALSE(canon().isLiveViewZoom(0));
    }
    const size_t pieces = canon().socket().segmentsReceived() - before;
    EXPECT_GT(pieces, kCalls * (kValues - 1)) << "values were kept back";
    // One that the kernel sends again, for want of an answer on a busy machine, counts twice.
    EXPECT_LT(pieces, kCalls * (kValues + 1));
}

TEST_F(ConnectionServer, shuts_down_on_request_without_a_reply) {
    start();
    RawClient client = connection();
    client.send(Message().byte(66));
    helper().waitForErr("Connection opened\n");
    client.expectSilence();
    EXPECT_TRUE(helper().isRunning()) << "the request is two bytes long";
    client.send(Message().byte(0));
    client.expectClosed();
    EXPECT_EQ(helper().waitForExit(), 0);
    helper().waitForErr("TarvoRemote: Receive SHUTDOWN\n");
}

TEST_F(ConnectionServer, shuts_down_whatever_the_second_byte_is) {
    start();
    RawClient client = connection();
    client.send(Message().byte(66).byte(255));
    EXPECT_EQ(helper().waitForExit(), 0);
    helper().waitForErr("Connection opened\n");
    helper().waitForErr("Receive SHUTDOWN\n");
}

TEST_F(ConnectionServer, shuts_down_when_the_host_closes_instead_of_the_second_byte) {
    start();
    RawClient client = connection();
    client.send(Message().byte(66));
    client.close();
    EXPECT_EQ(helper().waitForExit(), 0);
    helper().waitForErr("TarvoRemote: Receive SHUTDOWN\n");
}

TEST_F(ConnectionServer, shuts_down_in_the_middle_of_a_call_and_with_a_session_open) {
    const int32_t handle = startSession();
    lab().delay("EdsGetPropertySize", std::chrono::seconds(20));
    canon().send(16, Message().int32(handle).int32(kIso));
    // From here on the call runs, and the camera takes its time.
    canon().expectHeader(16);
    RawClient client = connection();
    client.send(Message().byte(66).byte(0));
    EXPECT_EQ(helper().waitForExit(), 0);
    canon().socket().expectClosed();
}

}  // namespace
}  // namespace e2e
