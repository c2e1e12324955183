#include "host/client/HelperProcess.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <future>

#include "host/client/HelperFinder.h"
#include "host/client/LabClient.h"
#include "host/client/Socket.h"
#include "tests/host/FakeHelper.h"
#include "tests/host/TempFolder.h"

namespace {

using namespace std::chrono_literals;
using tarvo::Failure;
using tarvo::HelperProcess;
using tarvo::HelperSetup;

constexpr auto kPatient = 30s;

HelperSetup setupOf(const std::string& executable) {
    HelperSetup setup;
    setup.executable = executable;
    return setup;
}

TEST(HelperProcess, FindsThePortWhereverItIsSaid) {
    const fake::TempFolder folder;
    for (const char* stream : {"", " >&2"}) {
        const auto script = folder.script(
            "helper", "echo banner; printf 'TarvoRemote: Starting server\\nTarvoRemote: PORT=54867\\n'" +
                          std::string(stream) + "; read x\nexec sleep 60\n");
        HelperProcess helper;
        ASSERT_FALSE(helper.start(setupOf(script)));
        const auto port = helper.waitForPort(kPatient);
        EXPECT_EQ(port.value, 54867) << port.error.text;
    }
}

TEST(HelperProcess, TellsTheLastWordsOfOneThatEndsEarly) {
    const fake::TempFolder folder;
    const auto script =
        folder.script("helper", "echo 'ERROR on binding: Address already in use' >&2; exit 1\n");
    HelperProcess helper;
    ASSERT_FALSE(helper.start(setupOf(script)));
    const auto port = helper.waitForPort(kPatient);
    EXPECT_EQ(port.error.failure, Failure::notReachable);
    EXPECT_NE(port.error.text.find("status 1"), std::string::npos) << port.error.text;
    EXPECT_NE(port.error.text.find("ERROR on binding"), std::string::npos) << port.error.text;
}

TEST(HelperProcess, GivesUpOnOneThatNeverSaysItsPort) {
    const fake::TempFolder folder;
    HelperProcess helper;
    ASSERT_FALSE(helper.start(setupOf(folder.script("helper", "exec sleep 60\n"))));
    EXPECT_EQ(helper.waitForPort(50ms).error.failure, Failure::timeout);
}

TEST(HelperProcess, SaysWhyItCannotBeStarted) {
    HelperProcess missing;
    const auto error = missing.start(setupOf("/nonexistent/helper"));
    EXPECT_EQ(error.failure, Failure::notReachable);
    EXPECT_NE(error.text.find("/nonexistent/helper"), std::string::npos);
    EXPECT_NE(error.text.find("No such file"), std::string::npos) << error.text;
    EXPECT_FALSE(missing.running());

    const fake::TempFolder folder;
    HelperProcess notExecutable;
    EXPECT_NE(notExecutable.start(setupOf(folder.write("plain", "x"))).text.find("Permission denied"),
              std::string::npos);
}

TEST(HelperProcess, DrainsBothStreamsWhateverComes) {
    const fake::TempFolder folder;
    // Far more than a pipe holds, on each stream; a line without end on one of them.
    const auto script =
        folder.script("helper",
                      "i=0\n"
                      "while [ $i -lt 3000 ]; do\n"
                      "  echo \"out $i 0123456789012345678901234567890123456789012345678901\"\n"
                      "  echo \"err $i 0123456789012345678901234567890123456789012345678901\" >&2\n"
                      "  i=$((i+1))\n"
                      "done\n"
                      "printf 'half a line'\n");
    std::atomic<int> outLines{0}, errLines{0}, others{0};
    auto setup = setupOf(script);
    setup.onLine = [&](std::string_view line) {
        (line.starts_with("out ") ? outLines : line.starts_with("err ") ? errLines : others)++;
    };
    {
        HelperProcess helper;
        ASSERT_FALSE(helper.start(setup));
        ASSERT_TRUE(helper.waitForEnd(kPatient));
        EXPECT_EQ(helper.exitStatus(), 0);
        // The last words are drained before an early end is told.
        EXPECT_EQ(helper.waitForPort(kPatient).error.failure, Failure::notReachable);
        EXPECT_LE(helper.lastLines().size(), 200U) << "what is kept is bounded";
    }
    EXPECT_EQ(outLines, 3000);
    EXPECT_EQ(errLines, 3000);
    EXPECT_EQ(others, 1);
}

TEST(HelperProcess, WaitsForALineOfItsLog) {
    const fake::TempFolder folder;
    HelperProcess helper;
    ASSERT_FALSE(
        helper.start(setupOf(folder.script("helper", "echo early\nsleep 0.1\necho 'x: late one' >&2\n"))));
    EXPECT_FALSE(helper.waitForLog("late", kPatient));
    EXPECT_FALSE(helper.waitForLog("early", kPatient)) << "what was logged before counts too";
    EXPECT_EQ(helper.waitForLog("never", kPatient).failure, Failure::connectionLost) << "it has ended";
}

TEST(HelperProcess, PassesTheEnvironmentOn) {
    const fake::TempFolder folder;
    auto setup =
        setupOf(folder.script("helper", "echo \"lab=$TARVO_LAB\"; echo \"libs=$LD_LIBRARY_PATH\"\n"));
    setup.libraryFolder = "/some/simulated";
    setup.environment = {{"TARVO_LAB", "/some/scenario.json"}};
    HelperProcess helper;
    ASSERT_FALSE(helper.start(setup));
    EXPECT_EQ(helper.waitForPort(kPatient).error.failure, Failure::notReachable);
    const auto lines = helper.lastLines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0], "lab=/some/scenario.json");
    EXPECT_TRUE(lines[1].starts_with("libs=/some/simulated")) << lines[1];
}

TEST(HelperProcess, IsEndedByForceWhenItDoesNotListen) {
    const fake::TempFolder folder;
    HelperProcess helper;
    ASSERT_FALSE(helper.start(
        setupOf(folder.script("helper", "trap '' TERM\necho ready\nwhile :; do sleep 1; done\n"))));
    const auto error = helper.shutDown(200ms);
    EXPECT_TRUE(error);
    EXPECT_NE(error.text.find("ended by a signal"), std::string::npos) << error.text;
    EXPECT_FALSE(helper.running());
    EXPECT_GE(helper.exitStatus().value_or(0), 128);
}

TEST(HelperProcess, IsGoneWithItsObject) {
    const fake::TempFolder folder;
    pid_t pid = 0;
    {
        HelperProcess helper;
        ASSERT_FALSE(helper.start(setupOf(folder.script("helper", "exec sleep 60\n"))));
        pid = helper.pid();
        EXPECT_EQ(::kill(pid, 0), 0);
    }
    EXPECT_EQ(::kill(pid, 0), -1);
}

TEST(Shutdown, SendsItsModuleAndOneMoreByteAndWaitsForTheEnd) {
    std::promise<fake::Bytes> asked;
    fake::FakeHelper helper([&](fake::Peer& peer) { asked.set_value(peer.read(2)); });
    EXPECT_FALSE(tarvo::requestShutdown(helper.port(), kPatient));
    const fake::Bytes bytes = asked.get_future().get();
    ASSERT_EQ(bytes.size(), 2U);
    EXPECT_EQ(bytes[0], 66);
}

TEST(Shutdown, TellsThatTheHelperStays) {
    fake::FakeHelper helper([](fake::Peer& peer) { peer.waitForClose(); });
    EXPECT_EQ(tarvo::requestShutdown(helper.port(), 50ms).failure, Failure::timeout);
}

TEST(Probe, KnowsAHelperByItsAnswer) {
    fake::FakeHelper helper([](fake::Peer& peer) {
        if (peer.read(6) == fake::Bytes{10, 19, 0, 0, 0, 0}) peer.write({10, 19, 10, 19, 0});
    });
    EXPECT_FALSE(tarvo::probeHelper(helper.port(), kPatient));
    fake::FakeHelper stranger([](fake::Peer& peer) { peer.write({'H', 'T', 'T', 'P', '/', '1'}); });
    const auto error = tarvo::probeHelper(stranger.port(), kPatient);
    EXPECT_EQ(error.failure, Failure::notReachable);
    EXPECT_NE(error.text.find("does not answer like a helper"), std::string::npos) << error.text;
    fake::FakeHelper silent([](fake::Peer& peer) { peer.waitForClose(); });
    EXPECT_EQ(tarvo::probeHelper(silent.port(), 50ms).failure, Failure::notReachable);
}

TEST(LabClient, SaysThatNobodyListens) {
    const fake::TempFolder folder;
    tarvo::LabClient lab;
    const auto error = lab.open(folder.file("none.sock"), kPatient);
    EXPECT_EQ(error.failure, Failure::notReachable);
    EXPECT_NE(error.text.find("none.sock"), std::string::npos) << error.text;
    EXPECT_EQ(lab.command("{}", kPatient).error.failure, Failure::connectionLost);
}

}  // namespace
