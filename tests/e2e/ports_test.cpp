// The port: the first free one from 54839 on, on the loopback address alone, and again after a restart.
//
// The numbers are fixed, so these tests want a network of their own: where the system lets a process make
// one, main() does. Elsewhere they run in the common one, and one after the other.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>
#include <list>
#include <set>

#include "tests/e2e/support/canon_fixture.h"

namespace e2e {
namespace {

constexpr int kFirstPort = 54839;
constexpr int kLastPort = 54899;

/** A listener of ours that keeps a port from the helper. */
class TakenPort {
public:
    explicit TakenPort(int port) : descriptor_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const int on = 1;
        ::setsockopt(descriptor_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        isOurs_ = ::bind(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
                  ::listen(descriptor_, 1) == 0;
    }
    ~TakenPort() { ::close(descriptor_); }
    TakenPort(const TakenPort&) = delete;
    TakenPort& operator=(const TakenPort&) = delete;

    bool isOurs() const { return isOurs_; }

private:
    int descriptor_;
    bool isOurs_ = false;
};

class Ports : public CanonTest {
protected:
    /** Ours or another's: nobody else can have it now. */
    void take(int from, int to) {
        for (int port = from; port <= to; ++port) {
            taken_.emplace_back(port);
        }
    }
    void giveBack() { taken_.clear(); }

private:
    std::list<TakenPort> taken_;
};

TEST_F(Ports, first_is_54839_or_the_first_that_is_free) {
    int expected = kFirstPort;
    while (expected < kLastPort && !TakenPort(expected).isOurs()) {
        ++expected;
    }
    start();
    EXPECT_EQ(helper().port(), expected);
}

TEST_F(Ports, next_is_tried_when_one_is_taken) {
    take(kFirstPort, kFirstPort);
    start();
    EXPECT_GE(helper().port(), kFirstPort + 1);
    if (TakenPort(kFirstPort + 1).isOurs()) ADD_FAILURE() << kFirstPort + 1 << " was free";
    EXPECT_EQ(helper().err().count("TarvoRemote: PORT=" + std::to_string(helper().port()) + "\n"), 1u);
    expectServing();
}

TEST_F(Ports, last_to_be_tried_is_54899) {
    take(kFirstPort, kLastPort - 1);
    start();
    EXPECT_EQ(helper().port(), kLastPort);
    expectServing();
}

TEST_F(Ports, that_are_all_taken_end_the_helper_with_a_reason) {
    take(kFirstPort, kLastPort);
    HelperOptions options;
    options.waitForPort = false;
    HelperProcess helper(options);
    helper.expectExitStatus(1);
    EXPECT_EQ(helper.waitForExit(), 1);
    helper.waitForErr("ERROR on binding: Address already in use\n");
    EXPECT_EQ(helper.err().count("PORT="), 0u);
}

TEST_F(Ports, are_taken_by_each_of_several_helpers) {
    HelperOptions options;
    HelperProcess one(options);
    HelperProcess two(options);
    HelperProcess three(options);
    EXPECT_NE(one.port(), 0);
    EXPECT_LT(one.port(), two.port());
    EXPECT_LT(two.port(), three.port());
}

TEST_F(Ports, are_not_shared_by_helpers_that_start_at_the_same_moment) {
    HelperOptions options;
    options.waitForPort = false;
    for (int round = 0; round < 5; ++round) {
        std::list<HelperProcess> helpers;
        for (int i = 0; i < 6; ++i) {
            helpers.emplace_back(options);
        }
        std::set<int> ports;
        for (HelperProcess& helper : helpers) {
            helper.awaitPort();
            ports.insert(helper.port());
            // Its own: what is said to this port is heard by this helper.
            RawClient client(helper.port());
            client.send({77});
            EXPECT_TRUE(helper.waitForErr("Unknown module 77\n"));
        }
        EXPECT_EQ(ports.size(), helpers.size());
    }
}

TEST_F(Ports, are_free_for_the_next_helper_at_once) {
    int port = 0;
    {
        HelperProcess first(HelperOptions{});
        port = first.port();
        // A connection that the helper itself has closed lingers on its port.
        RawClient client(port);
        client.send({99});
        client.expectClosed();
    }
    HelperProcess second(HelperOptions{});
    EXPECT_EQ(second.port(), port);
}

TEST_F(Ports, are_open_on_the_loopback_address_alone) {
    start();
    // Every address of 127/8 leads to this machine; only one of them has the helper behind it.
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(helper().port()));
    for (const auto& [text, answers] : {std::pair{"127.0.0.1", true}, std::pair{"127.0.0.2", false}}) {
        address.sin_addr.s_addr = ::inet_addr(text);
        const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
                  answers)
            << text;
        ::close(descriptor);
    }
}

void writeLine(const char* path, const std::string& line) {
    std::ofstream(path) << line;
}

/** A loopback of our own, if the system allows it. */
void enterOwnNetwork() {
    const uid_t user = ::geteuid();
    const gid_t group = ::getegid();
    if (::unshare(CLONE_NEWNET) != 0) {
        if (::unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) return;
        writeLine("/proc/self/setgroups", "deny");
        writeLine("/proc/self/uid_map", std::to_string(user) + " " + std::to_string(user) + " 1");
        writeLine("/proc/self/gid_map", std::to_string(group) + " " + std::to_string(group) + " 1");
    }
    const int descriptor = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    std::string("lo").copy(request.ifr_name, IFNAMSIZ - 1);
    request.ifr_flags = IFF_UP | IFF_RUNNING;
    ::ioctl(descriptor, SIOCSIFFLAGS, &request);
    ::close(descriptor);
}

}  // namespace
}  // namespace e2e

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    e2e::enterOwnNetwork();
    return RUN_ALL_TESTS();
}
