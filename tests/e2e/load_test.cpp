// Many connections and many calls: none refused, nothing that grows, and no core burnt when descriptors run
// out.
#include <gtest/gtest.h>
#include <malloc.h>

#include <list>

#include "tests/e2e/support/canon_fixture.h"

namespace e2e {
namespace {

constexpr size_t kConnections = 1000;
// Under a sanitizer each call costs ten times as much and proves the same.
const int kCalls = kSanitized ? 5000 : 100000;

/** Room for our own ends of the connections. */
void raiseOwnDescriptorLimit() {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

class Load : public CanonTest {
protected:
    void SetUp() override {
        raiseOwnDescriptorLimit();
        rlimit limit{};
        ::getrlimit(RLIMIT_NOFILE, &limit);
        ASSERT_GT(limit.rlim_cur, kConnections + 50) << "this system gives a test too few descriptors";
    }

    /** What a desktop gives a process by default must do for a thousand connections. */
    static HelperOptions withDescriptors(rlim_t count) {
        HelperOptions options;
        options.scenario = scenarioOf({usualCamera()});
        options.limits[RLIMIT_NOFILE] = count;
        return options;
    }

    /** Connections with a call sent on each. */
    std::list<RawClient> openMany(size_t count) {
        std::list<RawClient> clients;
        for (size_t i = 0; i < count; ++i) {
            if (!clients.emplace_back().connect(helper().port())) break;
            clients.back().send({10, 19, 0, 0, 0, 0});
        }
        return clients;
    }

    /** Connections that have had an answer. Opened in groups that fit the system's queue of connections not
     *  yet taken: what does not fit is not refused, but tried again by the system after a whole second. */
    std::list<RawClient> openAnswered(size_t count) {
        std::list<RawClient> clients;
        while (clients.size() < count) {
            std::list<RawClient> group = openMany(std::min<size_t>(count - clients.size(), 40));
            expectAnswers(group);
            clients.splice(clients.end(), group);
            if (HasFailure()) break;
        }
        return clients;
    }

    static void expectAnswers(std::list<RawClient>& clients) {
        for (RawClient& client : clients) {
            ASSERT_EQ(hex(client.receive(5)), "0a 13 0a 13 00");
        }
    }
};

TEST_F(Load, of_a_thousand_connections_at_once_is_answered) {
    start(withDescriptors(1024));
    std::list<RawClient> clients = openAnswered(kConnections);
    ASSERT_EQ(clients.size(), kConnections);
    // All of them stay open and are served again, the first as well as the last.
    for (RawClient& client : clients) {
        client.send({10, 18});
    }
    for (RawClient& client : clients) {
        ASSERT_EQ(hex(client.receive(4)), "0a 12 0a 12");
    }
    EXPECT_GE(helper().descriptorCount(), kConnections);
    EXPECT_EQ(helper().err().count("ERROR"), 0u);
    clients.clear();
    EXPECT_TRUE(eventually([&] { return helper().descriptorCount() < 40; })) << helper().descriptorCount();
    EXPECT_TRUE(eventually([&] { return helper().threadCount() < 40; })) << helper().threadCount();
    expectServing();
}

TEST_F(Load, of_a_burst_of_connections_is_answered_to_the_last) {
    start();
    std::list<RawClient> clients = openMany(200);
    ASSERT_EQ(clients.size(), 200u);
    expectAnswers(clients);
}

TEST_F(Load, of_connections_that_come_and_go_takes_no_more_memory) {
    start();
    const auto round = [&] {
        std::list<RawClient> clients = openAnswered(kSanitized ? 50 : 300);
        clients.clear();
        EXPECT_TRUE(eventually([&] { return helper().threadCount() < 40; }));
    };
    round();
    round();
    const uint64_t before = helper().residentBytes();
    for (int i = 0; i < 8; ++i) {
        round();
    }
    ASSERT_GT(before, 0u);
    // A sanitizer keeps what was freed for a while, so its memory says nothing.
    if (!kSanitized) {
        EXPECT_LT(helper().residentBytes(), before + (2 << 20));
    }
}

TEST_F(Load, of_many_calls_on_one_connection_takes_no_more_memory) {
    const int32_t handle = startSession();
    // Texts read and written, with and without a session: what a call allocates besides its arrays.
    const Message round = Message()
                              .raw({10, 19})
                              .int32(handle)
                              .raw({10, 5})
                              .int32(12345)
                              .raw({10, 25})
                              .int32(0)
                              .text("/some/where/frame0001")
                              .byte(0)
                              .raw({10, 24})
                              .int32(0)
                              .text("/some/where/frame0001")
                              .int64(0);
    const Bytes answer = Message()
                             .raw({10, 19, 10, 19, 0})
                             .raw({10, 5, 10, 5, 0, 0, 0, 0})
                             .raw({10, 25, 10, 25, 130, 0, 0, 0})
                             .raw({10, 24, 10, 24, 130, 0, 0, 0});
    const Bytes offered = canon().call(17, Message().int32(handle).int32(kIso));
    EXPECT_GT(offered.size(), 4u);
    const auto serve = [&](int calls) {
        for (int done = 0; done < calls; done += 4) {
            canon().socket().send(round);
            ASSERT_EQ(canon().socket().receive(answer.size()), answer);
        }
        // And arrays. The lab keeps a trace of calls on the camera, so it is emptied; these are fewer.
        for (int done = 0; done < calls / 40; ++done) {
            ASSERT_EQ(canon().call(17, Message().int32(handle).int32(kIso)), offered);
        }
        lab().clearTrace();
    };
    constexpr int kParts = 10;
    serve(kCalls / kParts);
    serve(kCalls / kParts);
    const uint64_t before = helper().residentBytes();
    for (int part = 2; part < kParts; ++part) {
        serve(kCalls / kParts);
    }
    ASSERT_GT(before, 0u);
    // A sanitizer keeps what was freed for a while, so its memory says nothing.
    if (!kSanitized) {
        EXPECT_LT(helper().residentBytes(), before + (1 << 20));
    }
}

TEST_F(Load, of_sessions_and_pictures_takes_no_more_memory) {
    start(scenarioOf({usualCamera({{"shots", shotOf({madeUpFile("IMG_0001.JPG", 20000)})}})}));
    canon().initializeSdk();
    const auto rounds = [&](int count) {
        for (int i = 0; i < count; ++i) {
            const int32_t handle = canon().openSession(canon().cameraList().at(0));
            const int32_t item = shoot(handle, picturePath("a")).at(0);
            ASSERT_EQ(canon().download(handle, item), 0);
            ASSERT_EQ(canon().startLiveView(handle), 0);
            ASSERT_FALSE(canon().liveViewFrame(handle).empty());
            ASSERT_EQ(canon().closeSession(handle), 0);
            events().forget();
        }
        lab().clearTrace();
    };
    // Until each of the threads' heaps has had its turns with pictures and frames.
    rounds(kSanitized ? 20 : 150);
    const uint64_t before = helper().residentBytes();
    const size_t descriptors = helper().descriptorCount();
    rounds(kSanitized ? 20 : 150);
    EXPECT_EQ(helper().descriptorCount(), descriptors);
    // A sanitizer keeps what was freed for a while, so its memory says nothing.
    if (!kSanitized) {
        EXPECT_LT(helper().residentBytes(), before + (2 << 20));
    }
}

TEST_F(Load, beyond_the_descriptors_stops_no_server_and_burns_no_core) {
    start(withDescriptors(64));
    expectServing();
    std::list<RawClient> clients = openMany(90);
    ASSERT_EQ(clients.size(), 90u) << "the system queues what the helper cannot take yet";
    helper().waitForErr("TarvoRemote: ERROR on accept\n");
    // Two seconds without a descriptor to give: most of a core must be left alone.
    const auto before = helper().processorTime();
    std::this_thread::sleep_for(std::chrono::seconds(2));
    EXPECT_LT(helper().processorTime() - before, std::chrono::milliseconds(1000));
    EXPECT_TRUE(helper().isRunning());
    // Those that were taken are served meanwhile.
    EXPECT_FALSE(canon().isLiveViewZoom(0));
    EXPECT_EQ(hex(clients.front().receive(5)), "0a 13 0a 13 00");
    // As room comes back, those that had to wait get their answers.
    for (int i = 0; i < 60; ++i) {
        clients.pop_front();
    }
    expectAnswers(clients);
    clients.clear();
    expectServing();
    EXPECT_EQ(helper().err().count("Unknown module 0\n"), helper().err().count("ERROR on accept\n"))
        << "a failed connection still gets its task, which finds nothing to read";
}

TEST_F(Load, of_several_hosts_at_once_reaches_one_camera) {
    Json properties = property(kIso, 9, 0x48);
    const int32_t handle = startSession(usualCamera({{"properties", properties}}));
    constexpr size_t kHosts = 8;
    const Message ask = Message().byte(10).byte(16).int32(handle).int32(kIso);
    std::list<RawClient> hosts;
    for (size_t i = 0; i < kHosts; ++i) {
        hosts.emplace_back(helper().port());
    }
    for (int round = 0; round < (kSanitized ? 20 : 100); ++round) {
        for (RawClient& host : hosts) {
            host.send(ask);
        }
        for (RawClient& host : hosts) {
            ASSERT_EQ(hex(host.receive(8)), "0a 10 0a 10 48 00 00 00");
        }
    }
}

}  // namespace
}  // namespace e2e
