// What happens when the library is loaded.
#include <dirent.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "tests/lab/support.h"

namespace test {
namespace {

using Variables = std::map<std::string, std::string>;

/** The folders in /proc of the process's threads whose names begin like that. */
std::vector<std::string> threadsOf(pid_t pid, std::string_view prefix) {
    const std::string tasks = "/proc/" + std::to_string(pid) + "/task";
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(tasks.c_str()), closedir);
    std::vector<std::string> found;
    while (const dirent* entry = readdir(folder.get())) {
        const std::string thread = tasks + "/" + entry->d_name;
        if (readFile(thread + "/comm").starts_with(prefix)) found.push_back(thread);
    }
    return found;
}

/** How often a thread has given up the processor by itself. */
long switchesOf(const std::string& thread) {
    const std::string status = readFile(thread + "/status");
    constexpr std::string_view kName = "\nvoluntary_ctxt_switches:";
    return std::stol(status.substr(status.find(kName) + kName.size()));
}

TEST(Start, without_variables_begins_no_thread) {
    Idle idle(Variables{});
    ASSERT_TRUE(idle.waitForMain());
    EXPECT_TRUE(threadsOf(idle.pid(), "lab-").empty());
    EXPECT_EQ(idle.finish(), 0);
    EXPECT_EQ(idle.errors(), "");
}

TEST(Start, takes_empty_variables_for_none) {
    Idle idle({{"TARVO_LAB", ""}, {"TARVO_LAB_SOCKET", ""}});
    EXPECT_TRUE(idle.waitForMain());
}

TEST(Start, lets_an_idle_process_sleep) {
    const Folder folder;
    Idle idle({{"TARVO_LAB_SOCKET", folder.file("lab")}});
    ASSERT_TRUE(idle.waitForMain());
    {
        SocketClient client(folder.file("lab"));
        EXPECT_EQ(client.ask({{"cmd", "state"}})["ok"], true);
    }
    const std::vector<std::string> threads = threadsOf(idle.pid(), "lab-");
    ASSERT_EQ(threads.size(), 1u);
    // It still has to notice that the connection was dropped. Then it sleeps, for longer than anybody looks.
    EXPECT_TRUE(eventually([&] {
        const long before = switchesOf(threads[0]);
        const timespec aWhile{0, 300000000};
        nanosleep(&aWhile, nullptr);
        return switchesOf(threads[0]) == before;
    }));
}

TEST(Start, takes_the_scenario_of_the_environment) {
    const Folder folder;
    const std::string scenario = folder.write(
        "s.json",
        R"({"devices": [{"id": "mine", "family": "canon", "properties": {"0x406": {"value": 7}}}]})");
    Idle idle({{"TARVO_LAB", scenario}, {"TARVO_LAB_SOCKET", folder.file("lab")}});
    ASSERT_TRUE(idle.waitForMain());
    SocketClient client(folder.file("lab"));
    EXPECT_EQ(client.ask({{"cmd", "get"}, {"id", "mine"}, {"property", "0x406"}})["value"], 7);
    client.ask({{"cmd", "reset"}, {"scenario", Json::object()}});
    EXPECT_TRUE(client.ask({{"cmd", "state"}})["devices"].empty());
    client.ask({{"cmd", "reset"}});
    EXPECT_EQ(client.ask({{"cmd", "state"}})["devices"][0]["id"], "mine");
}

TEST(Start, with_a_bad_scenario_ends_with_one_line) {
    const Folder folder;
    struct Row {
        const char* content;
        const char* problem;
    };
    const Row rows[] = {
        {"{\"devices\": [\n  {\"id\" \"c\"}\n]}",
         "line 2, column 11: unexpected string literal; expected ':'"},
        {"{\"devices\": [{\"id\": \"c\", \"family\": \"canon\", \"shots\": 5}]}",
         "devices[0].shots: expected a list, found 5"},
        {"{\"photos\": [\"a\\nb\"]}", "photos[0]: cannot read "},
    };
    for (const Row& row : rows) {
        const std::string path = folder.write("s.json", row.content);
        Idle idle({{"TARVO_LAB", path}, {"TARVO_LAB_SOCKET", folder.file("lab")}});
        EXPECT_FALSE(idle.waitForMain());
        EXPECT_EQ(idle.finish(), 2);
        EXPECT_EQ(idle.errors().find("TARVO_LAB: " + path + ": " + row.problem), 0u) << idle.errors();
        EXPECT_EQ(std::count(idle.errors().begin(), idle.errors().end(), '\n'), 1);
    }
}

TEST(Start, with_no_scenario_at_the_path_ends_with_one_line) {
    Idle idle(Variables{{"TARVO_LAB", "/nowhere/s.json"}});
    EXPECT_EQ(idle.finish(), 2);
    EXPECT_EQ(idle.errors(), "TARVO_LAB: /nowhere/s.json: No such file or directory\n");
}

}  // namespace
}  // namespace test
