// What the tarvo command answers to input that is wrong, and that its help is there. No helper is needed.

#include <gtest/gtest.h>

#include "tests/host/CommandRunner.h"
#include "tests/host/FakeHelper.h"
#include "tests/host/TempFolder.h"

namespace {

using fake::runTarvo;

bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(Help, IsThereForEveryCommandWithExamples) {
    const std::vector<std::vector<std::string>> commands{
        {},        {"helper"}, {"cameras"}, {"settings"}, {"battery"}, {"bracketing"}, {"focus"},
        {"shoot"}, {"live"},   {"webcam"},  {"watch"},    {"lab"},     {"demo"}};
    for (auto words : commands) {
        words.push_back("--help");
        const auto result = runTarvo(words);
        EXPECT_EQ(result.status, 0) << words.front() << result.err;
        EXPECT_TRUE(has(result.out, "Usage:")) << words.front();
        EXPECT_TRUE(has(result.out, "Examples")) << words.front();
    }
    EXPECT_TRUE(has(runTarvo({"--help"}).out, "Exit status:"));
}

struct BadCase {
    std::vector<std::string> words;
    int status;
    const char* said;  // what the complaint must name
};

void expectComplaint(const BadCase& bad) {
    std::string line = "tarvo";
    for (const auto& word : bad.words)
        line += " " + word;
    SCOPED_TRACE(line);
    const auto result = runTarvo(bad.words);
    EXPECT_EQ(result.status, bad.status) << result.err;
    EXPECT_TRUE(has(result.err, bad.said)) << result.err;
    EXPECT_TRUE(has(result.err, "tarvo: ")) << result.err;
    EXPECT_TRUE(result.out.empty()) << "results only: " << result.out;
}

TEST(BadInput, OnTheCommandLineIsNamed) {
    const std::vector<BadCase> cases{
        {{}, 2, "subcommand"},
        {{"fly"}, 2, "fly"},
        {{"cameras", "--nonsense"}, 2, "--nonsense"},
        {{"--port", "0", "cameras"}, 2, "--port"},
        {{"--port", "99999", "cameras"}, 2, "99999"},
        {{"--port", "abc", "cameras"}, 2, "abc"},
        {{"--port", "54839", "--simulated", "cameras"}, 2, "--simulated"},
        {{"--helper", "/nonexistent/helper", "cameras"}, 2, "/nonexistent/helper"},
        {{"shoot", "--count", "0"}, 2, "--count"},
        {{"shoot", "--interval", "-1"}, 2, "--interval"},
        {{"shoot", "--in", "1", "--at", "10:00"}, 2, "--at"},
        {{"shoot", "--next", "--start", "4"}, 2, "--start"},
        {{"shoot", "--at", "25:00"}, 2, "25:00"},
        {{"shoot", "--at", "tomorrow"}, 2, "tomorrow"},
        {{"shoot", "--at", "@1000000"}, 2, "has passed"},
        {{"live"}, 2, "--path"},
        {{"live", "--path", "x", "--fps", "fast"}, 2, "fast"},
        {{"live", "--single", "x", "--position", "0.5", "0.5"}, 2, "--zoom"},
        {{"watch", "--save", "x", "--no-session"}, 2, "--save"},
        {{"settings", "get"}, 2, "NAME"},
        {{"settings", "get", "sharpness-of-mind"}, 2, "sharpness-of-mind"},
        {{"settings", "set", "iso"}, 2, "NAME=VALUE"},
        {{"settings", "set", "=5"}, 2, "NAME=VALUE"},
        {{"settings", "set", "iso="}, 2, "NAME=VALUE"},
        {{"settings", "set", "nothing=5"}, 2, "nothing"},
        {{"lab", "--lab-socket", "/nonexistent/s"}, 2, "COMMAND"},
        {{"lab", "--lab-socket", "/nonexistent/s", "{\"cmd\":"}, 2, "no JSON"},
        {{"lab", "--lab-socket", "/nonexistent/s", "[1]"}, 2, "one JSON object"},
        {{"lab", "--lab-socket", "/nonexistent/s", "set", "canon-1", "96"}, 2, "PROPERTY=VALUE"},
        {{"lab", "--lab-socket", "/nonexistent/s", "state"}, 3, "/nonexistent/s"},
        {{"lab", "state"}, 2, "--lab-socket"},
        {{"helper", "--lab-socket", "/tmp/x"}, 2, "--simulated"},
        {{"demo", "--port", "54839"}, 2, "--port"},
        {{"--scenario", "no-such-scenario", "cameras"}, 2, "no-such-scenario"},
    };
    for (const auto& bad : cases)
        expectComplaint(bad);
}

TEST(BadInput, InAScenarioIsToldWithLineAndColumn) {
    const fake::TempFolder folder;
    const auto file = folder.write("bad.json", "{\n  \"devices\": [\n    { \"id\": 1, }\n  ]\n}\n");
    const auto result = runTarvo({"--scenario", file, "cameras"});
    EXPECT_EQ(result.status, 2) << result.err;
    EXPECT_TRUE(has(result.err, "bad.json:3:")) << result.err;
    const auto list = folder.write("list.json", "[]");
    EXPECT_TRUE(has(runTarvo({"--scenario", list, "cameras"}).err, "one JSON object"));
}

TEST(CommandLine, RefusesNumbersThatAreNone) {
    const std::vector<std::vector<std::string>> commands{
        {"shoot", "--in", "nan"},
        {"shoot", "--interval", "inf"},
        {"live", "--single", "x.jpg", "--fps", "nan"},
        {"watch", "--for", "-nan"},
        {"webcam", "live", "--single", "x.png", "--for", "nan"}};
    for (const auto& words : commands) {
        const auto result = runTarvo(words);
        EXPECT_EQ(result.status, 2) << words[0] << words[1];
        EXPECT_TRUE(has(result.err, "is no number from ")) << result.err;
    }
}

TEST(NoHelper, AtThePortThatWasNamedIsStatus3) {
    uint16_t port = 0;
    {
        port = fake::FakeHelper([](fake::Peer&) {}).port();
    }
    const auto result = runTarvo({"--port", std::to_string(port), "cameras"});
    EXPECT_EQ(result.status, 3);
    EXPECT_TRUE(has(result.err, std::to_string(port))) << result.err;
    EXPECT_TRUE(has(result.err, "tarvo helper")) << "it says what to do: " << result.err;
}

TEST(NoHelper, ButSomethingElseAtThePortIsToldApart) {
    fake::FakeHelper stranger([](fake::Peer& peer) { peer.write({'S', 'S', 'H', '-', '2'}); });
    const auto result = runTarvo({"--port", std::to_string(stranger.port()), "cameras"});
    EXPECT_EQ(result.status, 3);
    EXPECT_TRUE(has(result.err, "does not answer like a helper")) << result.err;
}

TEST(NoHelper, ThatCanBeStartedIsStatus3) {
    const fake::TempFolder folder;
    const auto broken = folder.script("helper", "echo 'ERROR on binding' >&2; exit 1\n");
    const auto result = runTarvo({"--helper", broken, "cameras"});
    EXPECT_EQ(result.status, 3) << result.err;
    EXPECT_TRUE(has(result.err, "ERROR on binding")) << result.err;
}

TEST(Files, ThatExistAreNotOverwritten) {
    const fake::TempFolder folder;
    folder.write("frame0002.cr2", "precious");
    const auto result = runTarvo({"shoot", "--count", "3", "--path", folder.file("frame")});
    EXPECT_EQ(result.status, 5);
    EXPECT_TRUE(has(result.err, "frame0002.cr2")) << result.err;
    EXPECT_TRUE(has(result.err, "--force")) << result.err;
    EXPECT_EQ(fake::readFile(folder.file("frame0002.cr2")), "precious");
    const auto live = runTarvo({"live", "--path", folder.file("frame")});
    EXPECT_EQ(live.status, 5) << live.err;
}

TEST(Files, InAFolderThatCannotBeMadeAreStatus5) {
    const fake::TempFolder folder;
    folder.write("plain", "not a folder");
    const auto result = runTarvo({"shoot", "--path", folder.file("plain/sub/frame")});
    EXPECT_EQ(result.status, 5);
    EXPECT_TRUE(has(result.err, "plain/sub")) << result.err;
}

TEST(Files, UnderAPathThatTheHelperCannotTakeAreStatus2) {
    const fake::TempFolder folder;
    std::string path = folder.path().string();
    for (int i = 0; i < 5; ++i)
        path += "/" + std::string(200, 'd');
    const auto result = runTarvo({"shoot", "--path", path + "/frame"});
    EXPECT_EQ(result.status, 2) << result.err;
    EXPECT_TRUE(has(result.err, "1013")) << result.err;
}

}  // namespace
