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

size_t threadsOf(pid_t pid) {
    const std::string path = "/proc/" + std::to_string(pid) + "/task";
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(path.c_str()), closedir);
    size_t count = 0;
    while (const dirent* entry = readdir(folder.get())) {
        count += entry->d_name[0] == '.' ? 0 : 1;
    }
    return count;
}

/** How often all threads of the process have given up the processor by themselves. */
long switchesOf(pid_t pid) {
    const std::string tasks = "/proc/" + std::to_string(pid) + "/task";
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(tasks.c_str()), closedir);
    long all = 0;
    while (const dirent* entry = readdir(folder.get())) {
        if (entry->d_name[0] == '.') continue;
        const std::string status = readFile(tasks + "/" + entry->d_name + "/status");
        constexpr std::string_view kName = "\nvoluntary_ctxt_switches:";
        all += std::stol(status.substr(status.find(kName) + kName.size()));
    }
    return all;
}

TEST(Start, without_variables_begins_no_thread) {
    Idle idle(Variables{});
    ASSERT_TRUE(idle.waitForMain());
    EXPECT_EQ(threadsOf(idle.pid()), 1u);
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
    EXPECT_EQ(threadsOf(idle.pid()), 2u);
    long before = -1;
    // First it comes to rest: the dropped connection still has to be noticed.
    ASSERT_TRUE(eventually([&] {
        const long last = std::exchange(before, switchesOf(idle.pid()));
        return last == before;
    }));
    const timespec aWhile{0, 300000000};
    nanosleep(&aWhile, nullptr);
    EXPECT_EQ(switchesOf(idle.pid()), before);
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
