// The control socket: connections, lines in pieces, lines too long, leftovers of earlier processes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "lab/ControlSocket.h"
#include "tests/lab/support.h"

namespace test {
namespace {

using Variables = std::map<std::string, std::string>;

class Socket : public ::testing::Test {
protected:
    std::string path() const { return folder_.file("lab"); }
    /** A process whose lab listens. */
    std::unique_ptr<Idle> listening() const {
        auto idle = std::make_unique<Idle>(Variables{{"TARVO_LAB_SOCKET", path()}});
        EXPECT_TRUE(idle->waitForMain());
        return idle;
    }
    const Folder& folder() const { return folder_; }

private:
    Folder folder_;
};

TEST_F(Socket, answers_before_main_begins) {
    const auto idle = listening();
    SocketClient client(path());
    ASSERT_TRUE(client.isConnected());
    const Json answer = client.ask({{"cmd", "trace"}});
    EXPECT_EQ(answer["trace"].at(0)["call"], "LabIdle") << "calls are recorded from the start on";
    EXPECT_EQ(answer["trace"].at(0)["thread"], idle->pid());
}

TEST_F(Socket, puts_lines_together_and_takes_them_apart) {
    const auto idle = listening();
    SocketClient client(path());
    const std::string line = R"({"cmd":"get","id":"canon-1","property":"0x406"})";
    for (const char byte : line) {
        client.send(std::string_view(&byte, 1));
    }
    client.send("\r\n");
    EXPECT_EQ(client.line(), R"({"ok":true,"value":96})");
    client.send(line + "\n" + line + "\n" + line);
    EXPECT_EQ(client.line(), R"({"ok":true,"value":96})");
    EXPECT_EQ(client.line(), R"({"ok":true,"value":96})");
    client.send("\n");
    EXPECT_EQ(client.line(), R"({"ok":true,"value":96})");
}

TEST_F(Socket, answers_every_line_and_so_an_empty_one) {
    const auto idle = listening();
    SocketClient client(path());
    for (const char* line : {"\n", "\r\n", " \n"}) {
        client.send(line);
        EXPECT_NE(client.line().find(R"("ok":false)"), std::string::npos);
    }
    EXPECT_EQ(client.ask({{"cmd", "clearFaults"}})["ok"], true);
}

TEST_F(Socket, serves_several_connections) {
    const auto idle = listening();
    SocketClient first(path());
    SocketClient second(path());
    first.send(R"({"cmd":"set","id":"canon-1",)");
    EXPECT_EQ(second.ask({{"cmd", "get"}, {"id", "canon-1"}, {"property", "0x406"}})["value"], 96);
    first.send("\"property\":\"0x406\",\"value\":80}\n");
    EXPECT_EQ(first.line(), R"({"ok":true})");
    EXPECT_EQ(second.ask({{"cmd", "get"}, {"id", "canon-1"}, {"property", "0x406"}})["value"], 80);
}

TEST_F(Socket, turns_nobody_away_when_many_come_at_once) {
    const auto idle = listening();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path().copy(address.sun_path, sizeof address.sun_path - 1);
    std::vector<int> clients;
    for (int i = 0; i < 400; ++i) {
        clients.push_back(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        // Does not wait for a place in the queue, as clients in languages with time limits do not.
        ASSERT_EQ(connect(clients.back(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0)
            << i;
    }
    for (const int client : clients) {
        close(client);
    }
    SocketClient client(path());
    EXPECT_EQ(client.ask({{"cmd", "clearFaults"}})["ok"], true);
}

TEST_F(Socket, forgets_a_connection_that_drops_in_the_middle_of_a_line) {
    const auto idle = listening();
    {
        SocketClient dropped(path());
        dropped.send(R"({"cmd":"detach","id":"canon-1"})");
    }
    SocketClient other(path());
    const Json answer = other.ask({{"cmd", "state"}});
    for (const Json& device : answer["devices"]) {
        EXPECT_EQ(device["attached"], true);
    }
}

TEST_F(Socket, does_what_was_asked_by_one_that_does_not_wait) {
    const auto idle = listening();
    {
        SocketClient dropped(path());
        dropped.send("{\"cmd\":\"detach\",\"id\":\"canon-1\"}\n");
    }
    SocketClient other(path());
    EXPECT_TRUE(eventually([&] { return other.ask({{"cmd", "state"}})["devices"][0]["attached"] == false; }));
}

TEST_F(Socket, refuses_lines_that_are_too_long_and_goes_on) {
    const auto idle = listening();
    const std::string problem = "{\"ok\":false,\"error\":\"the line is longer than 1048576 bytes\"}";
    for (const size_t size : {lab::kMostLineBytes + 1, 3 * lab::kMostLineBytes}) {
        SocketClient client(path());
        client.send(std::string(size, ' ') + "\n");
        EXPECT_EQ(client.line(), problem);
        EXPECT_EQ(client.ask({{"cmd", "clearFaults"}})["ok"], true);
    }
    SocketClient client(path());
    client.send(std::string(lab::kMostLineBytes - 21, ' ') + "{\"cmd\":\"clearFaults\"}\n");
    EXPECT_EQ(client.line(), "{\"ok\":true}");
}

TEST_F(Socket, lets_nobody_wait_for_one_that_does_not_fetch_its_answers) {
    const auto idle = listening();
    SocketClient lazy(path());
    std::string lines;
    for (int i = 0; i < 2000; ++i) {
        lines += "{\"cmd\":\"state\"}\n";
    }
    lazy.send(lines.substr(0, 16000));
    SocketClient other(path());
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(other.ask({{"cmd", "state"}})["ok"], true);
    }
    for (int i = 0; i < 1000; ++i) {
        ASSERT_FALSE(lazy.line().empty()) << i;
    }
}

TEST_F(Socket, is_for_the_owner_alone_and_goes_at_the_exit) {
    const auto idle = listening();
    struct stat status {};
    ASSERT_EQ(stat(path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    EXPECT_EQ(idle->finish(), 0);
    EXPECT_NE(stat(path().c_str(), &status), 0);
}

TEST_F(Socket, replaces_what_a_killed_process_left_behind) {
    {
        const auto killed = listening();
        killed->kill(SIGKILL);
        EXPECT_EQ(killed->finish(), -SIGKILL);
    }
    ASSERT_EQ(access(path().c_str(), F_OK), 0);
    const auto idle = listening();
    EXPECT_TRUE(SocketClient(path()).isConnected());
}

TEST_F(Socket, takes_nothing_from_a_living_process) {
    const auto first = listening();
    Idle second(Variables{{"TARVO_LAB_SOCKET", path()}});
    EXPECT_FALSE(second.waitForMain());
    EXPECT_EQ(second.finish(), 2);
    EXPECT_EQ(second.errors(), "TARVO_LAB_SOCKET: " + path() + ": somebody listens there already\n");
    EXPECT_EQ(SocketClient(path()).ask({{"cmd", "clearFaults"}})["ok"], true);
}

TEST_F(Socket, waits_for_no_process_that_accepts_nobody) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path().copy(address.sun_path, sizeof address.sun_path - 1);
    const auto* const plain = reinterpret_cast<const sockaddr*>(&address);
    const auto open = [] { return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0); };
    const int listener = open();
    ASSERT_EQ(bind(listener, plain, sizeof address), 0);
    ASSERT_EQ(listen(listener, 0), 0);
    const int waiting = open();
    ASSERT_EQ(connect(waiting, plain, sizeof address), 0) << "nobody else fits in now";
    Idle idle(Variables{{"TARVO_LAB_SOCKET", path()}});
    EXPECT_EQ(idle.finish(), 2);
    EXPECT_EQ(idle.errors(), "TARVO_LAB_SOCKET: " + path() + ": somebody listens there already\n");
    close(waiting);
    close(listener);
}

TEST_F(Socket, removes_no_file_that_is_something_else) {
    folder().write("lab", "precious");
    Idle idle(Variables{{"TARVO_LAB_SOCKET", path()}});
    EXPECT_EQ(idle.finish(), 2);
    EXPECT_EQ(idle.errors(), "TARVO_LAB_SOCKET: " + path() + ": something that is no socket stands there\n");
    EXPECT_EQ(readFile(path()), "precious");
}

TEST_F(Socket, that_cannot_be_made_ends_the_process_with_a_reason) {
    Idle missing(Variables{{"TARVO_LAB_SOCKET", folder().file("none/lab")}});
    EXPECT_EQ(missing.finish(), 2);
    EXPECT_EQ(missing.errors(),
              "TARVO_LAB_SOCKET: " + folder().file("none/lab") + ": No such file or directory\n");
    Idle tooLong(Variables{{"TARVO_LAB_SOCKET", folder().file(std::string(200, 'x'))}});
    EXPECT_EQ(tooLong.finish(), 2);
    EXPECT_NE(tooLong.errors().find("a socket's path has at most 107 bytes\n"), std::string::npos);
}

}  // namespace
}  // namespace test
