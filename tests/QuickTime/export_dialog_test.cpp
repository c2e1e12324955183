// The dialog as a user meets it: the real helper, its real libraries, a screen, keys and clicks.
#include "tests/QuickTime/ExportDialogTest.h"

namespace e2e {
namespace {

TEST_F(ExportDialog, accepted_by_return_writes_two_identical_files) {
    startOnDesktop();
    RawClient client = ask();
    awaitDialog();
    EXPECT_FALSE(areFilesWritten());
    press("Return");
    expectAnswer(client, 0);
    EXPECT_EQ(ExportChoice{}, savedChoice());
    awaitNoDialog();
    expectServing();
}

TEST_F(ExportDialog, accepted_by_a_click_writes_two_identical_files) {
    startOnDesktop();
    RawClient client = ask();
    awaitDialog();
    desktop_->click(dialog(), -60, -35);
    expectAnswer(client, 0);
    EXPECT_EQ(ExportChoice{}, savedChoice());
}

TEST_F(ExportDialog, cancelled_by_escape_writes_nothing_and_answers_success) {
    startOnDesktop();
    RawClient client = ask();
    awaitDialog();
    press("Escape");
    expectAnswer(client, 0);
    EXPECT_FALSE(areFilesWritten());
    awaitNoDialog();
}

TEST_F(ExportDialog, cancelled_by_a_click_writes_nothing) {
    startOnDesktop();
    RawClient client = ask();
    awaitDialog();
    desktop_->click(dialog(), -150, -35);
    expectAnswer(client, 0);
    EXPECT_FALSE(areFilesWritten());
}

TEST_F(ExportDialog, cancelled_by_its_key_or_by_return_on_that_button_writes_nothing) {
    startOnDesktop();
    RawClient client = ask();
    awaitDialog();
    press("alt+a");
    expectAnswer(client, 0);
    awaitNoDialog();
    RawClient next = ask();
    awaitDialog();
    for (int back = 0; back < 2; ++back)
        press("shift+Tab");  // from the first control to OK, and on to Cancel
    press("Return");
    expectAnswer(next, 0);
    EXPECT_FALSE(areFilesWritten());
}

TEST_F(ExportDialog, closed_by_its_title_bar_is_cancelled) {
    startOnDesktop();
    RawClient client = ask();
    awaitDialog();
    desktop_->closeWindow(dialog());
    expectAnswer(client, 0);
    EXPECT_FALSE(areFilesWritten());
    awaitNoDialog();
}

TEST_F(ExportDialog, takes_every_choice_from_the_keyboard) {
    startOnDesktop();
    RawClient client = ask();
    awaitDialog();
    press("alt+k");  // key frame every
    press("ctrl+a");
    type("48");
    press("alt+d");  // data rate; its number gets the keys
    press("ctrl+a");
    type("5000");
    press("alt+s");  // no sound
    press("alt+p");  // not for streaming
    press("Return");
    expectAnswer(client, 0);
    ExportChoice expected;
    expected.keyFrameInterval = 48;
    expected.dataRate = 5000 * 125;
    expected.hasSound = false;
    expected.preparesForStreaming = false;
    EXPECT_EQ(expected, savedChoice());
}

TEST_F(ExportDialog, takes_a_codec_from_its_list) {
    startOnDesktop();
    RawClient client = ask();
    awaitDialog();
    press("alt+c");
    ASSERT_TRUE(desktop_->showsWindows(kList, 1)) << "the list that opens";
    press("Down");
    press("Return");  // this one is the list's
    ASSERT_TRUE(desktop_->showsWindows(kList, 0));
    EXPECT_EQ(1u, desktop_->windows(kTitle).size());
    press("Return");
    expectAnswer(client, 0);
    EXPECT_NE(ExportChoice{}.videoCodec, savedChoice().videoCodec);
}

TEST_F(ExportDialog, leaves_a_list_by_escape_without_being_cancelled) {
    startOnDesktop();
    RawClient client = ask();
    awaitDialog();
    press("alt+c");
    ASSERT_TRUE(desktop_->showsWindows(kList, 1));
    press("Escape");
    ASSERT_TRUE(desktop_->showsWindows(kList, 0));
    EXPECT_EQ(1u, desktop_->windows(kTitle).size());
    press("Return");
    expectAnswer(client, 0);
    EXPECT_TRUE(areFilesWritten());
}

TEST_F(ExportDialog, is_not_accepted_while_nothing_is_left_to_export) {
    startOnDesktop();
    RawClient client = ask();
    awaitDialog();
    press("alt+i");
    press("alt+s");
    press("Return");
    desktop_->click(dialog(), -60, -35);
    client.expectSilence();
    EXPECT_EQ(1u, desktop_->windows(kTitle).size());
    press("alt+s");
    press("Return");
    expectAnswer(client, 0);
    EXPECT_FALSE(savedChoice().hasVideo);
}

TEST_F(ExportDialog, comes_back_with_saved_settings_byte_by_byte) {
    const ExportChoice unusual{.hasVideo = true,
                               .videoCodec = atoms::kPhotoJpeg,
                               .quality = 333,
                               .dataRate = 123'000,
                               .frameRate = 23.5,
                               .keyFrameInterval = 17,
                               .width = 1000,
                               .height = 500,
                               .hasSound = false,
                               .soundCodec = atoms::kPcmBigEndian,
                               .sampleRate = 11025,
                               .channels = 6,
                               .soundDataRate = 111'000,
                               .preparesForStreaming = false};
    atoms::Container container;
    atoms::writeChoice(unusual, container);
    atoms::findOrAdd(container.root, atoms::typeOf("odd ")).data = {1, 2, 3};
    writeFile(first(), bytesOf(container));
    startOnDesktop();
    RawClient client = ask(true);
    awaitDialog();
    press("Return");
    expectAnswer(client, 0);
    EXPECT_EQ(unusual, savedChoice());
    EXPECT_EQ(hex(bytesOf(container)), hex(readFile(second())));
}

TEST_F(ExportDialog, falls_back_on_the_second_file_when_the_first_is_no_container) {
    ExportChoice saved;
    saved.keyFrameInterval = 99;
    Bytes truncated = bytesOf(saved);
    truncated.pop_back();
    writeFile(first(), truncated);
    writeFile(second(), bytesOf(saved));
    startOnDesktop();
    RawClient client = ask(true);
    awaitDialog();
    press("Return");
    expectAnswer(client, 0);
    EXPECT_EQ(saved, savedChoice());
}

TEST_F(ExportDialog, opens_with_its_defaults_when_neither_file_is_a_container) {
    writeFile(first(), {1, 2, 3});
    writeFile(second(), Bytes(4000, 0));
    startOnDesktop();
    RawClient client = ask(true);
    awaitDialog();
    press("Return");
    expectAnswer(client, 0);
    EXPECT_EQ(ExportChoice{}, savedChoice());
}

TEST_F(ExportDialog, offers_another_codec_for_one_that_cannot_be_encoded_here) {
    ExportChoice saved;
    saved.videoCodec = atoms::typeOf("zzzz");
    writeFile(first(), bytesOf(saved));
    startOnDesktop();
    RawClient client = ask(true);
    awaitDialog();
    press("Return");
    expectAnswer(client, 0);
    EXPECT_EQ(ExportChoice{}.videoCodec, savedChoice().videoCodec);
}

TEST_F(ExportDialog, is_not_shown_for_a_movie_that_cannot_be_opened) {
    startOnDesktop();
    RawClient missing = ask(folder_.file("none.mov"), false);
    expectAnswer(missing, kFileNotFound);
    writeFile(folder_.file("noise.mov"), patternBytes(5000, 7));
    RawClient noise = ask(folder_.file("noise.mov"), false);
    expectAnswer(noise, kNotAMovie);
    RawClient directory = ask(folder_.path().string(), false);
    expectAnswer(directory, kNotAMovie);
    EXPECT_EQ(0, dialogProcess()) << "a dialog was made";
    EXPECT_FALSE(areFilesWritten());
    expectServing();
}

TEST_F(ExportDialog, brings_its_libraries_in_only_when_it_is_asked_for) {
    startOnDesktop();
    expectServing();
    EXPECT_FALSE(hasLoaded("libgstreamer"));
    RawClient client = ask();
    awaitDialog();
    EXPECT_TRUE(hasLoaded("libgstreamer"));
    press("Escape");
    expectAnswer(client, 0);
}

TEST_F(ExportDialog, that_a_second_request_finds_open_answers_the_newer_socket) {
    startOnDesktop();
    RawClient older = ask();
    awaitDialog();
    RawClient newer = ask();
    newer.expectSilence();
    EXPECT_EQ(1u, desktop_->windows(kTitle).size()) << "one dialog at a time";
    const pid_t firstDialog = dialogProcess();
    press("Return");
    expectAnswer(newer, 0);
    EXPECT_TRUE(areFilesWritten());
    // The newer request has its dialog too, and no socket waits for its answer.
    ASSERT_TRUE(eventually([&] { return dialogProcess() != 0 && dialogProcess() != firstDialog; }));
    awaitDialog();
    press("Escape");
    awaitNoDialog();
    older.expectSilence();
    RawClient third = ask();
    awaitDialog();
    press("Escape");
    expectAnswer(third, 0);
}

TEST_F(ExportDialog, lets_the_helper_end_while_it_is_open) {
    startOnDesktop();
    RawClient client = ask();
    awaitDialog();
    helper().stop();
}

TEST_F(ExportDialog, answers_a_host_that_has_gone_without_harm) {
    startOnDesktop();
    {
        RawClient client = ask();
        awaitDialog();
        client.abort();
    }
    press("Return");
    awaitNoDialog();
    EXPECT_TRUE(eventually([&] { return std::filesystem::exists(second()); }));
    expectServing();
}

TEST_F(ExportDialog, without_a_display_is_answered_at_once_and_the_helper_lives_on) {
    startOn("", hardwareSetPath());
    for (int time = 0; time < 3; ++time) {
        RawClient client = ask();
        expectAnswer(client, kNoWindowSystem);
    }
    EXPECT_FALSE(areFilesWritten());
    expectServing();
}

TEST_F(ExportDialog, without_a_display_that_can_be_reached_is_answered_at_once) {
    startOn(":9999", hardwareSetPath());
    RawClient client = ask();
    expectAnswer(client, kNoWindowSystem);
    expectServing();
}

/** As on a machine that nobody has set up for a screen: GTK chooses by what the variables say. */
TEST_F(ExportDialog, without_a_display_of_either_kind_is_answered_at_once) {
    const std::map<std::string, std::string> screens[] = {
        {{"DISPLAY", ""}, {"WAYLAND_DISPLAY", ""}},
        {{"DISPLAY", ""}, {"WAYLAND_DISPLAY", "wayland-nowhere"}},
        {{"DISPLAY", ":9999"}, {"WAYLAND_DISPLAY", "wayland-nowhere"}},
        {{"DISPLAY", ""}, {"WAYLAND_DISPLAY", "wayland-nowhere"}, {"GDK_BACKEND", "wayland"}}};
    for (const auto& screen : screens) {
        SCOPED_TRACE(::testing::PrintToString(screen));
        startHelper(screen, hardwareSetPath());
        RawClient client = ask();
        expectAnswer(client, kNoWindowSystem);
        EXPECT_FALSE(areFilesWritten());
        expectServing();
    }
}

TEST_F(ExportDialogWithCameras, does_not_hold_up_their_live_view) {
    startOnDesktop(mixedSetPath());
    const int32_t camera = openFirst();
    ASSERT_NE(0, camera);
    RawClient client = ask();
    awaitDialog();
    canon().startLiveView(camera);
    for (int frame = 0; frame < 30; ++frame)
        EXPECT_FALSE(canon().liveViewFrame(camera).empty());
    canon().stopLiveView(camera);
    EXPECT_EQ(1u, desktop_->windows(kTitle).size());
    press("Escape");
    expectAnswer(client, 0);
}

}  // namespace
}  // namespace e2e
