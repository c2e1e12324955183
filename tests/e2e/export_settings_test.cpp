// Movie export settings: one request on a connection of its own, the dialog of the lab, two settings files.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/e2e/support/canon_fixture.h"

namespace e2e {
namespace {

constexpr const char* kSettingsHex = "0000001073657473000000010000000077696465";
const Bytes kSettings = {0, 0, 0, 16, 's', 'e', 't', 's', 0, 0, 0, 1, 0, 0, 0, 0, 'w', 'i', 'd', 'e'};

Message request(const std::string& settings, const std::string& second, const std::string& movie,
                int useSaved) {
    return Message().byte(30).byte(1).text(settings).text(second).text(movie).byte(useSaved);
}

Message reply(int32_t result) {
    return Message().byte(30).byte(1).int32(result);
}

class ExportSettings : public CanonTest {
protected:
    void startWith(const Json& dialog) {
        Json scenario = scenarioOf({usualCamera()});
        scenario["dialog"] = dialog;
        start(scenario);
        writeFile(movie(), {1, 2, 3});
    }

    std::string movie() const { return folder_.file("film.mov"); }
    std::string first() const { return folder_.file("first.settings"); }
    std::string second() const { return folder_.file("second.settings"); }

    RawClient ask(int useSaved = 0) { return ask(movie(), useSaved); }
    RawClient ask(const std::string& movie, int useSaved) {
        RawClient client(helper().port());
        client.send(request(first(), second(), movie, useSaved));
        return client;
    }
    void expectAnswer(RawClient& client, int32_t result) {
        EXPECT_EQ(hex(client.receiveUntilClosed()), hex(reply(result)));
    }
    /** Asks with the kept settings: the dialog begins with these, and was given no others. */
    void expectLoaded(const std::string& settings) {
        RawClient client = ask(1);
        expectAnswer(client, 0);
        ASSERT_EQ(lab().calls("SetSettings").size(), 1u);
        EXPECT_EQ(lab().calls("SetSettings").at(0)["args"]["settings"], settings);
    }
    /** The movie-export calls of the trace. */
    std::vector<std::string> toolboxCalls() { return lab().callNames({"EdsInitializeSDK"}); }
    size_t filesWritten() const { return folder_.names().size() - 1; }

    TempFolder folder_;
};

TEST_F(ExportSettings, find_the_movie_toolbox_entered_before_they_are_asked_for) {
    startWith({{"answer", "ok"}, {"settings", kSettingsHex}});
    EXPECT_EQ(lab().calls("EnterMovies").size(), 1u);
}

TEST_F(ExportSettings, saves_what_the_user_chose_to_both_files) {
    startWith({{"answer", "ok"}, {"settings", kSettingsHex}});
    RawClient client = ask();
    expectAnswer(client, 0);
    EXPECT_EQ(readFile(first()), kSettings);
    EXPECT_EQ(readFile(second()), kSettings);
    EXPECT_EQ(filesWritten(), 2u);
    expectServing();
}

TEST_F(ExportSettings, calls_the_toolbox_in_order_and_gives_all_back) {
    startWith({{"answer", "ok"}, {"settings", kSettingsHex}});
    writeFile(first(), {9, 8, 7});
    lab().clearTrace();
    RawClient client = ask(1);
    expectAnswer(client, 0);
    EXPECT_EQ(toolboxCalls(),
              (std::vector<std::string>{"EnterMovies", "OpenMovie", "OpenExporter", "SetSettings",
                                        "ExportDialog", "GetSettings", "DisposeMovie", "CloseExporter"}));
    EXPECT_EQ(lab().calls("OpenMovie").at(0)["args"]["path"], movie());
    EXPECT_EQ(lab().calls("SetSettings").at(0)["args"]["settings"], "090807");
    EXPECT_EQ(lab().calls("GetSettings").at(0)["args"]["settings"], kSettingsHex);
}

TEST_F(ExportSettings, logs_the_request_and_each_step) {
    startWith({{"answer", "cancel"}});
    const size_t from = helper().err().size();
    RawClient client = ask();
    expectAnswer(client, 0);
    const std::string log = helper().err().since(from);
    const std::string steps =
        "QuickTime: \n-------------------------------------\n"
        "QuickTime: QtAppEventHandler GOT MESSAGE\n"
        "QuickTime: getExportSettings(" +
        first() + ", " + second() + ", " + movie() +
        ")\n"
        "QuickTime: QTNewDataReferenceFromFSRef 0\n"
        "QuickTime: NewMovieFromDataRef 0\n";
    EXPECT_NE(log.find(steps), std::string::npos) << log;
}

TEST_F(ExportSettings, answers_a_cancelled_dialog_with_success_and_writes_nothing) {
    startWith({{"answer", "cancel"}, {"settings", kSettingsHex}});
    RawClient client = ask();
    expectAnswer(client, 0);
    EXPECT_EQ(filesWritten(), 0u);
    EXPECT_TRUE(lab().calls("GetSettings").empty());
}

TEST_F(ExportSettings, answers_a_failing_dialog_with_its_status_and_writes_nothing) {
    startWith({{"answer", "error"}, {"status", -5699}, {"settings", kSettingsHex}});
    RawClient client = ask();
    expectAnswer(client, -5699);
    EXPECT_EQ(filesWritten(), 0u);
}

TEST_F(ExportSettings, extends_the_status_from_sixteen_bits) {
    startWith({{"answer", "error"}, {"status", 0x1FFD5}});
    RawClient client = ask();
    expectAnswer(client, -43);
}

TEST_F(ExportSettings, writes_no_file_for_an_empty_container) {
    startWith({{"answer", "ok"}, {"settings", ""}});
    RawClient client = ask();
    expectAnswer(client, 0);
    EXPECT_EQ(filesWritten(), 0u);
}

TEST_F(ExportSettings, opens_with_the_exporters_defaults_when_neither_file_is_there) {
    startWith({{"answer", "ok"}, {"settings", kSettingsHex}});
    RawClient client = ask(1);
    expectAnswer(client, 0);
    EXPECT_TRUE(lab().calls("SetSettings").empty());
    EXPECT_EQ(lab().calls("ExportDialog").size(), 1u);
}

TEST_F(ExportSettings, loads_the_second_file_when_the_first_holds_nothing) {
    startWith({{"answer", "cancel"}});
    writeFile(first(), {});
    writeFile(second(), {4, 5});
    expectLoaded("0405");
}

TEST_F(ExportSettings, loads_the_second_file_when_the_first_is_not_there) {
    startWith({{"answer", "cancel"}});
    writeFile(second(), {4, 5});
    expectLoaded("0405");
}

TEST_F(ExportSettings, loads_the_first_file_of_two_and_no_other) {
    startWith({{"answer", "cancel"}});
    writeFile(first(), {1, 2, 3});
    writeFile(second(), {4, 5});
    expectLoaded("010203");
}

TEST_F(ExportSettings, loads_nothing_unless_asked_to) {
    startWith({{"answer", "cancel"}});
    writeFile(first(), {4, 5});
    RawClient client = ask(0);
    expectAnswer(client, 0);
    EXPECT_TRUE(lab().calls("SetSettings").empty());
}

TEST_F(ExportSettings, takes_any_flag_but_zero_for_yes) {
    startWith({{"answer", "cancel"}});
    writeFile(first(), {4, 5});
    RawClient client = ask(200);
    expectAnswer(client, 0);
    EXPECT_EQ(lab().calls("SetSettings").size(), 1u);
}

TEST_F(ExportSettings, shows_no_dialog_for_a_movie_that_is_not_there) {
    startWith({{"answer", "ok"}, {"settings", kSettingsHex}});
    RawClient client = ask(folder_.file("none.mov"), 0);
    expectAnswer(client, -43);
    EXPECT_TRUE(lab().calls("ExportDialog").empty());
    EXPECT_EQ(filesWritten(), 0u);
    helper().waitForErr("QuickTime: NewMovieFromDataRef -43\n");
}

TEST_F(ExportSettings, shows_no_dialog_for_what_is_no_movie) {
    startWith({{"answer", "ok"}});
    RawClient folder = ask(folder_.path().string(), 0);
    expectAnswer(folder, -2048);
    writeFile(folder_.file("empty.mov"), {});
    RawClient empty = ask(folder_.file("empty.mov"), 0);
    expectAnswer(empty, -2048);
    EXPECT_TRUE(lab().calls("ExportDialog").empty());
}

TEST_F(ExportSettings, refuses_an_empty_path_before_any_movie_is_opened) {
    startWith({{"answer", "ok"}});
    RawClient client = ask("", 0);
    expectAnswer(client, -50);
    helper().waitForErr("QuickTime: QTNewDataReferenceFromFSRef -50\n");
    EXPECT_TRUE(lab().calls("OpenMovie").empty());
}

TEST_F(ExportSettings, answers_success_for_a_path_that_is_no_text) {
    startWith({{"answer", "ok"}, {"settings", kSettingsHex}});
    RawClient client = ask("\xFF\xFE.mov", 0);
    expectAnswer(client, 0);
    helper().waitForOut("CanonEds: no sourcePathStringRef\n");
    EXPECT_TRUE(lab().calls("OpenMovie").empty());
    EXPECT_EQ(filesWritten(), 0u);
}

TEST_F(ExportSettings, answers_success_for_a_path_that_is_too_long_to_be_read) {
    startWith({{"answer", "ok"}});
    RawClient client(helper().port());
    // The text of a refused string is not read: what follows its length is the flag.
    client.send(Message().byte(30).byte(1).text(first()).text(second()).length(2049).byte(0));
    expectAnswer(client, 0);
    helper().waitForOut("CanonEds: no sourcePathStringRef\n");
}

struct Refusal {
    const char* call;
    int result;
};

class ExportSettingsRefusal : public ExportSettings, public ::testing::WithParamInterface<Refusal> {};

TEST_P(ExportSettingsRefusal, is_answered_and_everything_is_given_back) {
    startWith({{"answer", "ok"}, {"settings", kSettingsHex}});
    writeFile(first(), {4, 5});
    lab().fault(GetParam().call, GetParam().result);
    RawClient client = ask(1);
    expectAnswer(client, GetParam().result);
    EXPECT_EQ(readFile(first()), (Bytes{4, 5}));
    EXPECT_FALSE(std::filesystem::exists(second()));
    const bool hadMovie = std::string(GetParam().call) != "OpenMovie";
    EXPECT_EQ(lab().calls("DisposeMovie").size(), hadMovie ? 1u : 0u);
    lab().clearFaults();
    RawClient next = ask(1);
    expectAnswer(next, 0);
}

INSTANTIATE_TEST_SUITE_P(OfEachCall, ExportSettingsRefusal,
                         ::testing::Values(Refusal{"OpenMovie", -37}, Refusal{"OpenExporter", -3000},
                                           Refusal{"SetSettings", -2101}, Refusal{"ExportDialog", -128}),
                         [](const auto& row) { return std::string(row.param.call); });

TEST_F(ExportSettings, logs_an_exporter_that_cannot_be_opened) {
    startWith({{"answer", "ok"}});
    lab().fault("OpenExporter", -3000);
    RawClient client = ask();
    expectAnswer(client, -3000);
    helper().waitForErr("QuickTime: OpenADefaultComponent failed -3000\n");
}

TEST_F(ExportSettings, saves_nothing_when_the_settings_cannot_be_had) {
    startWith({{"answer", "ok"}, {"settings", kSettingsHex}});
    lab().fault("GetSettings", -2101);
    RawClient client = ask();
    expectAnswer(client, 0);
    EXPECT_EQ(filesWritten(), 0u);
}

TEST_F(ExportSettings, replaces_files_whole_and_keeps_their_permissions_and_links) {
    startWith({{"answer", "ok"}, {"settings", kSettingsHex}});
    writeFile(folder_.file("real.settings"), Bytes(5000, 1));
    ASSERT_EQ(symlink("real.settings", first().c_str()), 0);
    ASSERT_EQ(chmod(folder_.file("real.settings").c_str(), 0640), 0);
    RawClient client = ask();
    expectAnswer(client, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(first()));
    EXPECT_EQ(readFile(first()), kSettings);
    struct stat status {};
    ASSERT_EQ(stat(first().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777u, 0640u);
}

TEST_F(ExportSettings, leaves_a_file_as_it_was_when_saving_fails_and_saves_the_other) {
    HelperOptions options;
    options.scenario = scenarioOf({usualCamera()});
    options.scenario["dialog"] = {{"answer", "ok"}, {"settings", kSettingsHex}};
    options.limits[RLIMIT_FSIZE] = 10;  // smaller than the settings
    start(options);
    writeFile(movie(), {1});
    writeFile(first(), {1, 2, 3});
    RawClient client = ask();
    expectAnswer(client, 0);
    EXPECT_EQ(readFile(first()), (Bytes{1, 2, 3}));
    EXPECT_FALSE(std::filesystem::exists(second()));
    EXPECT_EQ(filesWritten(), 1u);
    helper().waitForErr("QuickTime: Settings not saved to " + first());
    helper().waitForErr("QuickTime: Settings not saved to " + second());
    expectServing();
}

TEST_F(ExportSettings, tells_of_a_folder_that_is_not_there_and_saves_the_other_file) {
    startWith({{"answer", "ok"}, {"settings", kSettingsHex}});
    const std::string nowhere = folder_.file("nowhere") + "/a.settings";
    RawClient client(helper().port());
    client.send(request(nowhere, second(), movie(), 0));
    expectAnswer(client, 0);
    helper().waitForErr("QuickTime: Settings not saved to " + nowhere + ": No such file or directory\n");
    EXPECT_EQ(readFile(second()), kSettings);
}

TEST_F(ExportSettings, leaves_any_other_method_unanswered_on_an_open_connection) {
    startWith({{"answer", "ok"}});
    RawClient client(helper().port());
    client.send(Message().byte(30).byte(2));
    client.expectSilence();
    expectServing();
    client.close();
    // The descriptor goes with the host, at the latest when the next request comes.
    RawClient next = ask();
    expectAnswer(next, 0);
}

TEST_F(ExportSettings, does_not_collect_descriptors_of_hosts_that_have_left) {
    startWith({{"answer", "cancel"}});
    RawClient warm = ask();
    expectAnswer(warm, 0);
    const size_t before = helper().descriptorCount();
    for (int i = 0; i < 50; ++i) {
        RawClient client(helper().port());
        client.send(Message().byte(30).byte(2));
        client.finishSending();
    }
    RawClient last = ask();
    expectAnswer(last, 0);
    RawClient another = ask();
    expectAnswer(another, 0);
    // The tasks of those who left may be on their way to the end still.
    EXPECT_TRUE(eventually([&] { return helper().descriptorCount() <= before + 5; }))
        << helper().descriptorCount() << " after " << before;
}

TEST_F(ExportSettings, answers_the_newer_of_two_requests_first_and_drops_the_second_answer) {
    startWith({{"answer", "ok"}, {"settings", kSettingsHex}, {"delayMs", 700}});
    RawClient older = ask();
    lab().waitForCalls("OpenExporter");
    RawClient newer = ask();
    expectAnswer(newer, 0);
    lab().waitForCalls("ExportDialog", 2);
    older.expectSilence();
    expectServing();
    // The number of the answered socket may be another connection's by now: nothing is written to it.
    RawClient third(helper().port());
    third.send(Message().byte(10).byte(19).int32(0));
    EXPECT_EQ(hex(third.receive(5)), "0a 13 0a 13 00");
    third.expectSilence();
}

TEST_F(ExportSettings, answers_a_newer_request_that_is_still_being_read_and_reads_it_to_its_end) {
    startWith({{"answer", "cancel"}, {"delayMs", 300}});
    RawClient older = ask();
    lab().waitForCalls("OpenExporter");
    RawClient newer(helper().port());
    newer.send(Message().byte(30).byte(1).text(first()));
    expectAnswer(newer, 0);
    // The rest of the request still counts; its answer finds nobody.
    newer.send(Message().text(second()).text(movie()).byte(0));
    lab().waitForCalls("CloseExporter", 2);
    RawClient next = ask();
    expectAnswer(next, 0);
}

TEST_F(ExportSettings, serves_other_connections_while_the_dialog_is_open) {
    startWith({{"answer", "ok"}, {"settings", kSettingsHex}, {"delayMs", 600}});
    RawClient client = ask();
    lab().waitForCalls("OpenExporter");
    for (int i = 0; i < 20; ++i)
        expectServing();
    EXPECT_TRUE(lab().calls("CloseExporter").empty());
    expectAnswer(client, 0);
}

TEST_F(ExportSettings, survives_a_host_that_leaves_before_the_answer) {
    startWith({{"answer", "ok"}, {"settings", kSettingsHex}, {"delayMs", 200}});
    {
        RawClient client = ask();
        lab().waitForCalls("OpenExporter");
        client.abort();
    }
    lab().waitForCalls("CloseExporter");
    EXPECT_EQ(readFile(first()), kSettings);
    RawClient next = ask();
    expectAnswer(next, 0);
}

}  // namespace
}  // namespace e2e
