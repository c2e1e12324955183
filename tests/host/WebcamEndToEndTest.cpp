// The tarvo command's webcam part, with the built helper and the simulated webcams.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <thread>

#include "tests/host/CommandRunner.h"
#include "tests/host/PngReader.h"
#include "tests/host/SharedHelper.h"
#include "tests/host/TempFolder.h"

namespace {

using fake::CommandResult;
using fake::CommandRunner;
using fake::patternFrameOf;
using fake::Picture;
using fake::readFile;
using fake::readPng;
using fake::runTarvo;
using fake::SharedHelper;
using nlohmann::json;

const std::filesystem::path kPhotos = TARVO_TEST_PHOTOS;

bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

json control(int unit, int selector, int size, int max, int current) {
    return {{"unit", unit}, {"selector", selector}, {"size", size},
            {"min", 0},     {"max", max},           {"cur", current}};
}

json webcam(const json& more = json::object()) {
    json device{{"id", "webcam-1"}, {"family", "video"}, {"name", "Webcam"},
                {"width", 64},      {"height", 48},      {"fps", 100}};
    device.update(more);
    return device;
}

/** Every control but sharpness, from 0 to 1000; the automatics on. */
json withControls(bool hasVendorFocus = true, const json& more = json::object()) {
    json controls = json::array({control(1, 2, 1, 8, 8), control(1, 4, 4, 1000, 500), control(1, 8, 1, 1, 1),
                                 control(2, 11, 1, 1, 1), control(1, 6, 2, 1000, 0)});
    for (const int selector : {2, 3, 4, 7, 10})
        controls.push_back(control(2, selector, 2, 1000, 0));
    if (hasVendorFocus) controls.push_back(control(9, 3, 8, 1000, 0));
    json device = webcam(
        {{"uniqueId", "0x1a110000046d082d"}, {"uvc", {{"location", "0x1a110000"}, {"controls", controls}}}});
    device.update(more);
    return device;
}

json microphone() {
    return {{"id", "microphone"}, {"family", "video"}, {"name", "Microphone"}, {"media", {"sound"}}};
}

class WebcamEndToEnd : public testing::Test {
protected:
    std::string scenario(const json& devices) {
        return folder_.write("scenario.json", json{{"devices", devices}}.dump());
    }
    CommandResult run(const json& devices, std::vector<std::string> words) {
        words.insert(words.begin(), {"--scenario", scenario(devices)});
        return runTarvo(words);
    }
    std::string file(const std::string& name) const { return folder_.file(name); }
    /** Nothing but the scenario: neither a picture nor a part of one. */
    void expectNoFiles() const {
        for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
            const auto name = entry.path().filename().string();
            EXPECT_TRUE(name == "scenario.json" || name == "lab") << name;
        }
    }
    fake::TempFolder folder_;
};

/* ---- Which webcam ---- */

TEST_F(WebcamEndToEnd, ListsWebcamsBesideOtherCameras) {
    const json canon{{"id", "canon-1"}, {"family", "canon"}, {"model", "Canon EOS 5D Mark II"}};
    const auto result =
        run(json::array({canon, microphone(), webcam(), webcam({{"id", "webcam-2"}})}), {"cameras"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(has(result.out, "Canon EOS 5D Mark II  (reference")) << result.out;
    EXPECT_TRUE(has(result.out, "Webcam #0  (webcam)\nWebcam #1  (webcam)\n")) << result.out;
    EXPECT_FALSE(has(result.out, "Microphone")) << result.out;
    const auto details = run(json::array({webcam()}), {"cameras", "--details"});
    EXPECT_EQ(details.status, 0) << details.err;
    EXPECT_TRUE(has(details.err, "tarvo webcam get")) << details.err;
}

TEST_F(WebcamEndToEnd, SaysThatThereIsNoWebcam) {
    for (const auto& words : std::vector<std::vector<std::string>>{{"live", "--single", file("x.png")},
                                                                   {"still", "-o", file("x.png")},
                                                                   {"average", "-o", file("x.png")},
                                                                   {"get"},
                                                                   {"set", "gain=0.5"},
                                                                   {"focus", "--step", "1"}}) {
        auto all = words;
        all.insert(all.begin(), "webcam");
        const auto result = run(json::array({microphone()}), all);
        EXPECT_EQ(result.status, 4) << words.front() << result.err;
        EXPECT_TRUE(has(result.err, "no webcam is attached")) << result.err;
    }
    const auto other = run(json::array({webcam()}), {"webcam", "get", "--camera", "C920"});
    EXPECT_EQ(other.status, 4);
    EXPECT_TRUE(has(other.err, "no webcam has 'C920' in its name")) << other.err;
    expectNoFiles();
}

TEST_F(WebcamEndToEnd, AsksWhichOfSeveral) {
    const auto devices = json::array(
        {webcam(), webcam({{"id", "webcam-2"}, {"width", 80}}), webcam({{"id", "b"}, {"name", "Other"}})});
    const auto doubt = run(devices, {"webcam", "still", "-o", file("x.png"), "--camera", "WEB"});
    EXPECT_EQ(doubt.status, 2);
    EXPECT_TRUE(has(doubt.err, "'Webcam #0', 'Webcam #1'\n")) << doubt.err;
    expectNoFiles();
    const auto second = run(devices, {"webcam", "still", "-o", file("x.png"), "--camera", "#1"});
    EXPECT_EQ(second.status, 0) << second.err;
    EXPECT_EQ(readPng(file("x.png")).width, 80);
}

/* ---- Pictures ---- */

TEST_F(WebcamEndToEnd, AStillIsAFrameOfTheWebcam) {
    const auto result = run(json::array({webcam({{"bytesPerRow", 64 * 4 + 32}})}),
                            {"webcam", "still", "-o", file("still.png")});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(has(result.out, "still.png  64 x 48 pixels, ")) << result.out;
    const Picture picture = readPng(file("still.png"));
    EXPECT_EQ(picture.width, 64);
    EXPECT_EQ(picture.height, 48);
    EXPECT_GE(patternFrameOf(picture), 0);
}

TEST_F(WebcamEndToEnd, AStillHasTheSizeThatWasAskedFor) {
    const auto devices = json::array({webcam({{"sizes", {{64, 48}, {160, 120}}}})});
    const auto result = run(devices, {"webcam", "still", "-o", file("still.png"), "--size", "160x120"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(readPng(file("still.png")).width, 160);
    EXPECT_GE(patternFrameOf(readPng(file("still.png"))), 0);
    for (const char* size : {"160", "160x", "x120", "0x0", "-1x5", "160x120x3", "99999x1", "nan"}) {
        const auto wrong =
            run(devices, {"webcam", "still", "-o", file("no.png"), "--size=" + std::string(size)});
        EXPECT_EQ(wrong.status, 2) << size << wrong.err;
    }
    EXPECT_FALSE(std::filesystem::exists(file("no.png")));
}

TEST_F(WebcamEndToEnd, AStillNeedsAThousandPixels) {
    const auto result =
        run(json::array({webcam({{"width", 10}, {"height", 10}})}), {"webcam", "still", "-o", file("x.png")});
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(has(result.err, "1000 pixels at least; 'Webcam #0' delivers 10 x 10")) << result.err;
    expectNoFiles();
}

/** How far two pictures are apart, in steps of one colour, on average. */
double distance(const Picture& one, const Picture& other) {
    EXPECT_EQ(one.pixels.size(), other.pixels.size());
    double sum = 0;
    for (size_t i = 0; i < std::min(one.pixels.size(), other.pixels.size()); ++i) {
        for (const int shift : {0, 8, 16}) {
            const auto a = static_cast<int>(one.pixels[i] >> shift & 0xFF);
            const auto b = static_cast<int>(other.pixels[i] >> shift & 0xFF);
            sum += std::abs(a - b);
        }
    }
    return sum / (3.0 * static_cast<double>(one.pixels.size()));
}

TEST_F(WebcamEndToEnd, AnAverageHasLessNoiseThanAStill) {
    const json scene{
        {"frames", {(kPhotos / "liveview/canon_960x640.jpg").string()}}, {"width", 96}, {"height", 64}};
    auto noisy = scene;
    noisy["noise"] = 40;
    const auto clean = run(json::array({webcam(scene)}), {"webcam", "still", "-o", file("clean.png")});
    ASSERT_EQ(clean.status, 0) << clean.err;
    const auto still = run(json::array({webcam(noisy)}), {"webcam", "still", "-o", file("still.png")});
    ASSERT_EQ(still.status, 0) << still.err;
    const auto average = run(json::array({webcam(noisy)}), {"webcam", "average", "-o", file("average.png")});
    ASSERT_EQ(average.status, 0) << average.err;
    EXPECT_TRUE(has(average.err, "32 frames    0 %")) << average.err;
    EXPECT_TRUE(has(average.err, "32 frames  100 %")) << average.err;
    const double before = distance(readPng(file("still.png")), readPng(file("clean.png")));
    const double after = distance(readPng(file("average.png")), readPng(file("clean.png")));
    // Noise of the mean of 32 is a sixth; colours at their ends stray to one side alone.
    EXPECT_GT(before, 10);
    EXPECT_LT(after, before / 3);
}

TEST_F(WebcamEndToEnd, AnAverageIsOfTwoTo120Frames) {
    for (const char* frames : {"1", "0", "-3", "121", "nan"}) {
        const auto result =
            run(json::array({webcam()}), {"webcam", "average", "-o", file("x.png"), "--frames", frames});
        EXPECT_EQ(result.status, 2) << frames;
    }
    expectNoFiles();
}

TEST_F(WebcamEndToEnd, LiveFramesAreNumberedAndAllDifferent) {
    const auto result =
        run(json::array({webcam()}), {"webcam", "live", "--path", file("live/f"), "--frames", "5"});
    EXPECT_EQ(result.status, 0) << result.err;
    std::vector<int> numbers;
    for (int i = 1; i <= 5; ++i)
        numbers.push_back(patternFrameOf(readPng(file("live/f000" + std::to_string(i) + ".png"))));
    EXPECT_EQ(std::adjacent_find(numbers.begin(), numbers.end()), numbers.end());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(file("live")), {}), 5);
    const auto again =
        run(json::array({webcam()}), {"webcam", "live", "--path", file("live/f"), "--frames", "5"});
    EXPECT_EQ(again.status, 5);
    EXPECT_TRUE(has(again.err, "f0001.png exists")) << again.err;
}

TEST_F(WebcamEndToEnd, ASceneThatStandsStillStillGivesFrames) {
    const json scene{{"frames", {(kPhotos / "liveview/canon_960x640.jpg").string()}}};
    const auto result =
        run(json::array({webcam(scene)}), {"webcam", "live", "--path", file("live/f"), "--frames", "2"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(readFile(file("live/f0001.png")), readFile(file("live/f0002.png")));
}

TEST_F(WebcamEndToEnd, LiveEndsWhenItsTimeIsUp) {
    const auto result = run(json::array({webcam()}),
                            {"webcam", "live", "--single", file("now.png"), "--for", "0.5", "--fps", "20"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_GE(patternFrameOf(readPng(file("now.png"))), 0);
    const auto nowhere = run(json::array({webcam()}), {"webcam", "live"});
    EXPECT_EQ(nowhere.status, 2);
    EXPECT_TRUE(has(nowhere.err, "--path FOLDER/NAME, or --single FILE")) << nowhere.err;
}

/* ---- Files that cannot be written ---- */

TEST_F(WebcamEndToEnd, AFileThatExistsIsKept) {
    folder_.write("still.png", "mine");
    const auto kept = run(json::array({webcam()}), {"webcam", "still", "-o", file("still.png")});
    EXPECT_EQ(kept.status, 5);
    EXPECT_EQ(readFile(file("still.png")), "mine");
    const auto replaced =
        run(json::array({webcam()}), {"webcam", "still", "-o", file("still.png"), "--force"});
    EXPECT_EQ(replaced.status, 0) << replaced.err;
    EXPECT_GE(patternFrameOf(readPng(file("still.png"))), 0);
}

TEST_F(WebcamEndToEnd, AFullDiskIsTold) {
    for (const auto& words :
         std::vector<std::vector<std::string>>{{"still", "-o", "/dev/full"},
                                               {"average", "--frames", "2", "-o", "/dev/full"},
                                               {"live", "--single", "/dev/full"}}) {
        auto all = words;
        all.insert(all.begin(), "webcam");
        const auto result = run(json::array({webcam()}), all);
        EXPECT_EQ(result.status, 5) << words.front() << result.err;
        EXPECT_TRUE(has(result.err, "/dev/full: cannot be written: No space left on device")) << result.err;
    }
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
    const auto nowhere = run(json::array({webcam()}), {"webcam", "still", "-o", file("no/such/folder.png")});
    EXPECT_EQ(nowhere.status, 5) << nowhere.err;
}

/** While it exists, programs that are started cannot write files of more than a kilobyte. */
class SmallFiles {
public:
    SmallFiles() {
        ::getrlimit(RLIMIT_FSIZE, &before_);
        rlimit small = before_;
        small.rlim_cur = 1024;
        ::setrlimit(RLIMIT_FSIZE, &small);
    }
    SmallFiles(const SmallFiles&) = delete;
    SmallFiles& operator=(const SmallFiles&) = delete;
    ~SmallFiles() { ::setrlimit(RLIMIT_FSIZE, &before_); }

private:
    rlimit before_{};
};

TEST_F(WebcamEndToEnd, AFileThatMayNotGrowLeavesNothing) {
    const auto path = scenario(json::array({webcam({{"noise", 60}})}));
    folder_.write("now.png", "mine");
    std::vector<CommandResult> results;
    {
        const SmallFiles limit;
        results.push_back(runTarvo({"--scenario", path, "webcam", "still", "-o", file("still.png")}));
        results.push_back(
            runTarvo({"--scenario", path, "webcam", "live", "--path", file("f"), "--frames", "3"}));
        results.push_back(runTarvo({"--scenario", path, "webcam", "live", "--single", file("now.png")}));
    }
    for (const auto& result : results) {
        EXPECT_EQ(result.status, 5) << result.err;
        EXPECT_TRUE(has(result.err, "cannot be written: File too large")) << result.err;
    }
    EXPECT_EQ(readFile(file("now.png")), "mine");
    std::filesystem::remove(file("now.png"));
    expectNoFiles();
}

/* ---- Settings and focus ---- */

TEST_F(WebcamEndToEnd, ShowsAllSettingsWithTheirRanges) {
    const auto result = run(json::array({withControls()}), {"webcam", "get"});
    EXPECT_EQ(result.status, 0) << result.err;
    for (const char* line :
         {"auto-exposure        on       off or on", "exposure             0.100    0 to 1",
          "gain                 0.000    0 to 1", "sharpness            -        0 to 1"})
        EXPECT_TRUE(has(result.out, line)) << line << "\n" << result.out;
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 9);
    const auto some = run(json::array({withControls()}), {"webcam", "get", "gain", "auto-white-balance"});
    EXPECT_EQ(some.out,
              "gain                 0.000    0 to 1\n"
              "auto-white-balance   on       off or on    the webcam chooses the white balance\n");
}

TEST_F(WebcamEndToEnd, SetsWhatIsReadBack) {
    SharedHelper helper(scenario(json::array({withControls()})), file("lab"));
    const auto set = helper.run({"webcam", "set", "gain=0.25", "exposure=0.7", "auto-exposure=off",
                                 "auto-white-balance=off", "saturation=1"});
    EXPECT_EQ(set.status, 0) << set.err;
    EXPECT_EQ(set.out,
              "gain 0.250\nexposure 0.700\nauto-exposure off\nauto-white-balance off\nsaturation 1.000\n");
    const auto get = helper.run({"webcam", "get", "gain", "saturation", "auto-exposure"});
    EXPECT_TRUE(has(get.out, "gain                 0.250")) << get.out;
    EXPECT_TRUE(has(get.out, "saturation           1.000")) << get.out;
    EXPECT_TRUE(has(get.out, "auto-exposure        off")) << get.out;
}

TEST_F(WebcamEndToEnd, RefusesSettingsThatAreNone) {
    struct Case {
        const char* word;
        const char* text;
    };
    for (const auto& [word, text] :
         {Case{"zoom=0.5", "no setting 'zoom'; there are auto-exposure, exposure"},
          Case{"gain=1.5", "gain: '1.5' is no value of it; choose from 0 to 1"},
          Case{"gain=-0.1", "choose from 0 to 1"}, Case{"gain=nan", "choose from 0 to 1"},
          Case{"gain=inf", "choose from 0 to 1"}, Case{"gain=0.5x", "choose from 0 to 1"},
          Case{"auto-exposure=0.5", "choose from off or on"}, Case{"gain", "not of the form NAME=VALUE"},
          Case{"gain=", "not of the form NAME=VALUE"}}) {
        for (const auto& words : std::vector<std::vector<std::string>>{
                 {"set", "gain=0.9", word}, {"still", "-o", file("x.png"), "--set", word}}) {
            auto all = words;
            all.insert(all.begin(), "webcam");
            const auto result = run(json::array({withControls()}), all);
            EXPECT_EQ(result.status, 2) << word << result.err;
            EXPECT_TRUE(has(result.err, text)) << result.err;
            EXPECT_EQ(result.out, "") << "nothing was set";
        }
    }
    EXPECT_EQ(run(json::array({withControls()}), {"webcam", "get", "zoom"}).status, 2);
    expectNoFiles();
}

TEST_F(WebcamEndToEnd, TellsOfSettingsThatTheWebcamDoesNotTake) {
    const auto missing = run(json::array({withControls()}), {"webcam", "set", "sharpness=0.5"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_TRUE(has(missing.err, "'Webcam #0' has no sharpness")) << missing.err;
    const auto none = run(json::array({webcam()}), {"webcam", "set", "gain=0.5"});
    EXPECT_EQ(none.status, 1);
    EXPECT_TRUE(has(none.err, "has no controls that can be reached")) << none.err;
    EXPECT_EQ(run(json::array({webcam()}), {"webcam", "get"}).status, 1);
    EXPECT_EQ(run(json::array({webcam()}), {"webcam", "focus", "--step", "1"}).status, 1);

    SharedHelper helper(scenario(json::array({withControls()})), file("lab"));
    // Requests that set; those that read are carried out.
    helper.lab(
        {R"({"cmd":"fault","call":"ControlRequest","unit":2,"selector":4,"request":1,"result":1,"times":0})"});
    const auto refused = helper.run({"webcam", "set", "gain=0.5"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(has(refused.err, "gain: the webcam stays at 0.000 instead of 0.500")) << refused.err;
}

/** The current value of a control, as the lab tells it. */
int64_t current(const SharedHelper& helper, int unit, int selector) {
    const json command{{"cmd", "get"},
                       {"id", "webcam-1"},
                       {"property", std::to_string(unit) + ":" + std::to_string(selector)}};
    const auto result = helper.lab({command.dump()});
    EXPECT_EQ(result.status, 0) << result.err;
    const auto answer = json::parse(result.out, nullptr, false);
    return answer.is_object() ? answer.value("value", int64_t{-1}) : -1;
}

TEST_F(WebcamEndToEnd, FocusIsDrivenBySteps) {
    SharedHelper helper(scenario(json::array({withControls()})), file("lab"));
    const auto drive = [&](std::vector<std::string> words) {
        words.insert(words.begin(), {"webcam", "focus"});
        const auto result = helper.run(words);
        EXPECT_EQ(result.status, 0) << result.err;
        return current(helper, 9, 3);
    };
    EXPECT_NEAR(static_cast<double>(drive({"--step", "3"})), 200, 1);
    EXPECT_NEAR(static_cast<double>(drive({"--step", "2", "--times", "2"})), 300, 3);
    EXPECT_NEAR(static_cast<double>(drive({"--step", "-1"})), 296, 4);
    EXPECT_EQ(drive({"--to", "0"}), 0);
    EXPECT_EQ(drive({"--to", "1"}), 1000);
    EXPECT_NEAR(static_cast<double>(drive({"--to", "0.37"})), 370, 12);
    EXPECT_NEAR(static_cast<double>(drive({"--to", "0.8"})), 800, 12);
    EXPECT_EQ(current(helper, 1, 6), 0) << "the standard focus control is left alone";
}

TEST_F(WebcamEndToEnd, FocusFallsBackToTheStandardControl) {
    SharedHelper helper(scenario(json::array({withControls(false)})), file("lab"));
    const auto result = helper.run({"webcam", "focus", "--step", "3"});
    EXPECT_EQ(result.status, 0) << result.err;
    // The vendor's control cannot be read either, so this first step ends at the far end.
    EXPECT_EQ(current(helper, 1, 6), 1000);
    EXPECT_EQ(helper.run({"webcam", "focus", "--step", "-3"}).status, 0);
    EXPECT_NEAR(static_cast<double>(current(helper, 1, 6)), 800, 1);
}

TEST_F(WebcamEndToEnd, FocusRefusesWhatItCannotDo) {
    for (const auto& words : std::vector<std::vector<std::string>>{{},
                                                                   {"--step", "0"},
                                                                   {"--step", "4"},
                                                                   {"--to", "1.1"},
                                                                   {"--to", "nan"},
                                                                   {"--step", "1", "--to", "0.5"},
                                                                   {"--step", "1", "--times", "0"}}) {
        auto all = words;
        all.insert(all.begin(), {"webcam", "focus"});
        EXPECT_EQ(run(json::array({withControls()}), all).status, 2) << json(words).dump();
    }
}

TEST_F(WebcamEndToEnd, PicturesAreTakenWithTheSettingsThatTheyAreGiven) {
    const auto result = run(json::array({withControls()}), {"webcam", "still", "-o", file("x.png"), "--set",
                                                            "exposure=0.5", "gain=0.1", "--settle", "0.1"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(has(result.out, "exposure 0.500\ngain 0.100\n")) << result.out;
    EXPECT_GE(patternFrameOf(readPng(file("x.png"))), 0);
}

/* ---- Unplugged, and interrupted ---- */

TEST_F(WebcamEndToEnd, UnpluggedWhileLiveEndsWithWholeFiles) {
    SharedHelper helper(scenario(json::array({webcam(), webcam({{"id", "webcam-2"}, {"name", "Other"}})})),
                        file("lab"));
    CommandRunner live(helper.words({"webcam", "live", "--path", file("live/f"), "--camera", "webcam"}));
    ASSERT_TRUE(live.waitForOut("f0002.png")) << live.err();
    helper.lab({"detach", "webcam-2"});
    const auto seen = live.out();
    const auto lines = std::count(seen.begin(), seen.end(), '\n');
    ASSERT_TRUE(live.waitForOut("f00" + std::to_string(lines / 10 + 1) + "9.png"))
        << "another one's end is not its own";
    helper.lab({"detach", "webcam-1"});
    EXPECT_EQ(live.wait(), 1) << live.err();
    EXPECT_TRUE(has(live.err(), "tarvo: 'Webcam #0' was unplugged after ")) << live.err();
    for (const auto& entry : std::filesystem::directory_iterator(file("live"))) {
        EXPECT_EQ(entry.path().extension(), ".png");
        EXPECT_GE(patternFrameOf(readPng(entry.path().string())), 0);
    }
}

TEST_F(WebcamEndToEnd, UnpluggedDuringAnAverageLeavesNoFile) {
    SharedHelper helper(scenario(json::array({webcam({{"fps", 4}})})), file("lab"));
    CommandRunner average(helper.words({"webcam", "average", "--frames", "120", "-o", file("average.png")}));
    ASSERT_TRUE(average.waitForErr("120 frames    0 %")) << average.err();
    helper.lab({"detach", "webcam-1"});
    EXPECT_EQ(average.wait(), 1) << average.err();
    EXPECT_TRUE(has(average.err(), "tarvo: 'Webcam #0' was unplugged\n")) << average.err();
    expectNoFiles();
}

TEST_F(WebcamEndToEnd, CtrlCEndsAnAverageAtOnceAndReleasesTheWebcam) {
    SharedHelper helper(scenario(json::array({webcam({{"fps", 4}})})), file("lab"));
    CommandRunner average(helper.words({"webcam", "average", "--frames", "120", "-o", file("average.png")}));
    ASSERT_TRUE(average.waitForErr("120 frames    0 %")) << average.err();
    average.interrupt();
    EXPECT_EQ(average.wait(std::chrono::seconds(20)), 130) << average.err();
    expectNoFiles();
    EXPECT_TRUE(has(helper.lab({"trace"}).out, "QTCaptureSession.stopRunning"));
    const auto still = helper.run({"webcam", "still", "-o", file("still.png")});
    EXPECT_EQ(still.status, 0) << still.err;
}

TEST_F(WebcamEndToEnd, CtrlCEndsLiveWithAWholeFile) {
    CommandRunner live(
        {"--scenario", scenario(json::array({webcam()})), "webcam", "live", "--path", file("f")});
    ASSERT_TRUE(live.waitForOut("f0003.png")) << live.err();
    live.interrupt();
    EXPECT_EQ(live.wait(), 0) << "Ctrl-C is how live without an end ends: " << live.err();
    EXPECT_GE(patternFrameOf(readPng(file("f0003.png"))), 0);
    CommandRunner counted({"--scenario", file("scenario.json"), "webcam", "live", "--single", file("now.png"),
                           "--frames", "100000"});
    while (!std::filesystem::exists(file("now.png")))
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    counted.interrupt();
    EXPECT_EQ(counted.wait(), 130) << counted.err();
}

TEST_F(WebcamEndToEnd, WatchTellsThatTheWebcamWasUnplugged) {
    SharedHelper helper(scenario(json::array({webcam()})), file("lab"));
    CommandRunner watch(helper.words({"watch", "--count", "1", "--for", "60"}));
    ASSERT_TRUE(watch.waitForErr("watching 'Webcam #0'")) << watch.err();
    helper.lab({"detach", "webcam-1"});
    EXPECT_EQ(watch.wait(), 0) << watch.err();
    EXPECT_TRUE(has(watch.out(), "status    video webcam unplugged (1)")) << watch.out();
    EXPECT_EQ(helper.run({"watch", "--save", file("x"), "--for", "1"}).status, 4);
}

TEST_F(WebcamEndToEnd, EveryCommandHasExamples) {
    for (const char* name : {"live", "still", "average", "get", "set", "focus"}) {
        const auto result = runTarvo({"webcam", name, "--help"});
        EXPECT_EQ(result.status, 0);
        EXPECT_TRUE(has(result.out, "Examples:\n  tarvo webcam " + std::string(name))) << result.out;
    }
}

}  // namespace
