// The tarvo command with the built helper and the simulated cameras.

#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <nlohmann/json.hpp>

#include "tests/host/CommandRunner.h"
#include "tests/host/SharedHelper.h"
#include "tests/host/TempFolder.h"

namespace {

using fake::CommandResult;
using fake::CommandRunner;
using fake::readFile;
using fake::runTarvo;
using fake::SharedHelper;
using nlohmann::json;

const std::filesystem::path kPhotos = TARVO_TEST_PHOTOS;

bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// json's braces make an object of one pair of braces around an object; lists are always written out.
json listOf(const json& element) {
    return json::array({element});
}

bool sameBytes(const std::filesystem::path& one, const std::filesystem::path& other) {
    const auto bytes = readFile(one);
    return !bytes.empty() && bytes == readFile(other);
}

json canon(const json& more = json::object()) {
    json device{{"id", "canon-1"}, {"family", "canon"}, {"model", "Canon EOS 5D Mark II"}};
    device.update(more);
    return device;
}

json quality(int value) {
    return {{"0x100", {{"type", 9}, {"value", value}, {"options", {0x00640013, 0x0013FF0F, 0x0064FF0F}}}}};
}

constexpr int kRawAndJpeg = 0x00640013;
constexpr int kJpeg = 0x0013FF0F;

class EndToEnd : public testing::Test {
protected:
    std::string scenario(const json& devices) {
        return folder_.write("scenario.json", json{{"devices", devices}}.dump());
    }
    json photo(const std::string& name, const std::string& file) const {
        return {{"name", name}, {"file", (kPhotos / file).string()}};
    }
    json pair() const {
        return json::array(
            {photo("IMG_3501.CR2", "pairs/IMG_3501.CR2"), photo("IMG_3501.JPG", "pairs/IMG_3501.JPG")});
    }
    size_t filesIn(const std::string& folder) const {
        size_t count = 0;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
            if (!entry.is_directory()) ++count;
        }
        return count;
    }
    fake::TempFolder folder_;
};

TEST_F(EndToEnd, BothFilesOfAPairAreTheCamerasByteForByte) {
    // Slow enough for progress to be seen: what comes at once may be there before its first report is read.
    const auto file = scenario(json::array({canon({{"properties", quality(kRawAndJpeg)},
                                                   {"shots", listOf(pair())},
                                                   {"transferBytesPerSecond", 300000}})}));
    const auto result = runTarvo({"--scenario", file, "shoot", "--path", folder_.file("pics/shot")});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(sameBytes(folder_.file("pics/shot0001.cr2"), kPhotos / "pairs/IMG_3501.CR2"));
    EXPECT_TRUE(sameBytes(folder_.file("pics/shot0001.jpg"), kPhotos / "pairs/IMG_3501.JPG"));
    EXPECT_TRUE(has(result.out, "shot0001.cr2  149800 bytes")) << result.out;
    EXPECT_TRUE(has(result.err, "shot0001    0 %")) << result.err;
    EXPECT_EQ(filesIn(folder_.file("pics")), 2U);
}

TEST_F(EndToEnd, ARelativePathIsMeantFromTheCommandsOwnFolder) {
    const auto file =
        scenario(json::array({canon({{"properties", quality(kRawAndJpeg)}, {"shots", listOf(pair())}})}));
    const auto result = runTarvo({"--scenario", file, "shoot", "--path", "here/x"}, folder_.path().string());
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(result.out.starts_with("here/x0001.cr2")) << result.out;
    EXPECT_TRUE(std::filesystem::exists(folder_.file("here/x0001.jpg")));
}

TEST_F(EndToEnd, ATimedSeriesIsNumberedAndKeepsItsMoments) {
    const auto file = scenario(json::array({canon({{"properties", quality(kJpeg)}})}));
    const auto begin = std::chrono::steady_clock::now();
    const auto result = runTarvo({"--scenario", file, "shoot", "--path", folder_.file("pics/"), "--in", "0.5",
                                  "--count", "3", "--interval", "0.5", "--start", "8"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1500))
        << "never before its moment";
    for (const char* name : {"frame0008.jpg", "frame0009.jpg", "frame0010.jpg"}) {
        EXPECT_TRUE(std::filesystem::exists(folder_.file("pics") + "/" + name)) << name;
    }
    const auto next = runTarvo({"--scenario", file, "shoot", "--path", folder_.file("pics/"), "--next"});
    EXPECT_EQ(next.status, 0) << next.err;
    EXPECT_TRUE(std::filesystem::exists(folder_.file("pics/frame0011.jpg")));
}

TEST_F(EndToEnd, TheQualityOptionDecidesTheFiles) {
    const auto file = scenario(json::array({canon({{"properties", quality(kJpeg)}})}));
    EXPECT_EQ(
        runTarvo({"--scenario", file, "shoot", "--path", folder_.file("a/"), "--quality", "raw+jpeg"}).status,
        0);
    EXPECT_EQ(filesIn(folder_.file("a")), 2U);
    EXPECT_EQ(
        runTarvo({"--scenario", file, "shoot", "--path", folder_.file("b/"), "--quality", "jpeg"}).status, 0);
    EXPECT_EQ(filesIn(folder_.file("b")), 1U);
    const auto wrong =
        runTarvo({"--scenario", file, "shoot", "--path", folder_.file("c/"), "--quality", "tiff"});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_TRUE(has(wrong.err, "tiff")) << wrong.err;
}

TEST_F(EndToEnd, AThumbnailCompanionIsNeitherStoredNorMissed) {
    for (const bool thumbnailFirst : {false, true}) {
        json shot = json::array(
            {photo("CRW_1602.CRW", "pairs/CRW_1602.CRW"), photo("CRW_1602.THM", "pairs/CRW_1602.THM")});
        if (thumbnailFirst) std::swap(shot[0], shot[1]);
        const json properties{{"0x100", {{"type", 9}, {"value", 0x240000}}}};
        const auto file = scenario(json::array({canon({{"model", "EOS DIGITAL REBEL"},
                                                       {"legacy", true},
                                                       {"properties", properties},
                                                       {"shots", listOf(shot)}})}));
        const auto path = folder_.file(thumbnailFirst ? "first" : "second");
        const auto result = runTarvo({"--scenario", file, "shoot", "--path", path + "/"});
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_TRUE(sameBytes(path + "/frame0001.crw", kPhotos / "pairs/CRW_1602.CRW"));
        EXPECT_EQ(filesIn(path), 1U);
    }
}

TEST_F(EndToEnd, AFailedDownloadIsToldAndTheOtherFileKept) {
    const auto file =
        scenario(json::array({canon({{"properties", quality(kRawAndJpeg)}, {"shots", listOf(pair())}})}));
    SharedHelper helper(file, folder_.file("lab"));
    // A download that is carried out in part would need a slow one; here it is refused, after the file was
    // made.
    EXPECT_EQ(helper.lab({R"({"cmd":"fault","call":"EdsDownload","result":42})"}).status, 0);
    const auto result = helper.run({"shoot", "--path", folder_.file("pics/")});
    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_TRUE(has(result.err, "EDS_ERR_FILE_DISK_FULL_ERROR")) << result.err;
    EXPECT_TRUE(has(result.err, "1 of 2 files stored")) << result.err;
    EXPECT_EQ(filesIn(folder_.file("pics")), 1U) << "no part of a file under a frame's name";
    EXPECT_TRUE(sameBytes(folder_.file("pics/frame0001.jpg"), kPhotos / "pairs/IMG_3501.JPG"));
    // The next shot finds everything in order.
    EXPECT_EQ(helper.run({"shoot", "--path", folder_.file("pics/"), "--next"}).status, 0);
}

TEST_F(EndToEnd, UnpluggingDuringATransferLeavesNoHalfPicture) {
    const auto file = scenario(json::array({canon({{"properties", quality(kRawAndJpeg)},
                                                   {"shots", listOf(pair())},
                                                   {"transferBytesPerSecond", 20000}})}));
    SharedHelper helper(file, folder_.file("lab"));
    CommandRunner shoot(helper.words({"shoot", "--path", folder_.file("pics/")}));
    ASSERT_TRUE(shoot.waitForErr("frame0001    0 %")) << shoot.err();
    EXPECT_EQ(helper.lab({"detach", "canon-1"}).status, 0);
    EXPECT_EQ(shoot.wait(), 1) << shoot.err();
    EXPECT_TRUE(has(shoot.err(), "was not transferred")) << shoot.err();
    EXPECT_EQ(filesIn(folder_.file("pics")), 0U);
}

TEST_F(EndToEnd, AShutterThatIsRefusedIsStatus1) {
    SharedHelper helper(scenario(json::array({canon({{"properties", quality(kJpeg)}})})),
                        folder_.file("lab"));
    EXPECT_EQ(helper.lab({R"({"cmd":"fault","call":"EdsSendCommand","result":36097})"}).status, 0);
    const auto result = helper.run({"shoot", "--path", folder_.file("pics/")});
    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_TRUE(has(result.err, "did not shoot")) << result.err;
}

TEST_F(EndToEnd, ACameraThatOffersNothingIsStatus6) {
    const auto file =
        scenario(json::array({canon({{"properties", quality(kJpeg)}, {"shots", listOf(json::array())}})}));
    const auto result =
        runTarvo({"--scenario", file, "shoot", "--path", folder_.file("pics/"), "--timeout", "0.2"});
    EXPECT_EQ(result.status, 6) << result.err;
    EXPECT_TRUE(has(result.err, "0 of 1 files")) << result.err;
}

TEST_F(EndToEnd, WhatIsTakenAtTheCameraBetweenTwoShotsIsStoredAsExtra) {
    SharedHelper helper(scenario(json::array({canon({{"properties", quality(kJpeg)}})})),
                        folder_.file("lab"));
    CommandRunner shoot(
        helper.words({"shoot", "--path", folder_.file("pics/"), "--count", "2", "--interval", "4"}));
    ASSERT_TRUE(shoot.waitForErr("frame0002 at")) << shoot.err();
    EXPECT_EQ(helper.lab({"press", "canon-1"}).status, 0);
    EXPECT_EQ(shoot.wait(), 0) << shoot.err();
    EXPECT_EQ(filesIn(folder_.file("pics")), 3U) << shoot.out();
    EXPECT_TRUE(std::filesystem::exists(folder_.file("pics/frame0002-extra.jpg"))) << shoot.out();
}

TEST_F(EndToEnd, NoCameraIsStatus4) {
    const auto none = scenario(json::array());
    for (const auto& command : std::vector<std::vector<std::string>>{{"cameras"},
                                                                     {"settings"},
                                                                     {"shoot", "--path", folder_.file("x")},
                                                                     {"watch"},
                                                                     {"live", "--single", "x"}}) {
        auto words = command;
        words.insert(words.begin(), {"--scenario", none});
        const auto result = runTarvo(words);
        EXPECT_EQ(result.status, 4) << command.front() << ": " << result.err;
        EXPECT_TRUE(has(result.err, "no camera is attached")) << result.err;
    }
    const auto one = scenario(json::array({canon()}));
    const auto other = runTarvo({"--scenario", one, "--camera", "7D", "settings"});
    EXPECT_EQ(other.status, 4);
    EXPECT_TRUE(has(other.err, "5D Mark II")) << "it says what there is: " << other.err;
}

TEST_F(EndToEnd, OfTwoCamerasTheHiddenOneIsMentioned) {
    const auto two =
        scenario(json::array({canon(), canon({{"id", "canon-2"}, {"model", "Canon EOS 550D"}})}));
    const auto result = runTarvo({"--scenario", two, "cameras", "--details"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(has(result.out, "Canon EOS 550D")) << result.out;
    EXPECT_TRUE(has(result.err, "2 cameras are attached, but only the last one can be reached"))
        << result.err;
}

TEST_F(EndToEnd, SettingsAreShownChangedAndReadBack) {
    SharedHelper helper(scenario(json::array({canon()})), folder_.file("lab"));
    const auto list = helper.run({"settings"});
    EXPECT_EQ(list.status, 0) << list.err;
    for (const char* name : {"iso", "tv", "av", "quality", "battery"})
        EXPECT_TRUE(has(list.out, name)) << name;

    const auto set = helper.run({"settings", "set", "iso=400", "tv=1/125"});
    EXPECT_EQ(set.status, 0) << set.err;
    EXPECT_EQ(set.out, "iso 400\ntv 1/125\n");
    EXPECT_EQ(helper.run({"settings", "get", "iso", "0x406"}).out, "iso 400\ntv 1/125\n");
    const auto options = helper.run({"settings", "options", "iso"});
    EXPECT_TRUE(has(options.out, "0x58  400")) << options.out;

    const auto wrong = helper.run({"settings", "set", "iso=123"});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_TRUE(has(wrong.err, "choose from") && has(wrong.err, "400")) << wrong.err;
    const auto notOffered = helper.run({"settings", "set", "iso=0x99"});
    EXPECT_EQ(notOffered.status, 2);
    EXPECT_TRUE(has(notOffered.err, "--any")) << notOffered.err;
    EXPECT_EQ(helper.run({"settings", "set", "--any", "iso=0x99"}).status, 0);
    EXPECT_EQ(helper.run({"settings", "get", "iso"}).out, "iso 0x99\n");
}

TEST_F(EndToEnd, ASettingThatTheCameraRefusesOrForgetsIsStatus1) {
    SharedHelper helper(scenario(json::array({canon()})), folder_.file("lab"));
    EXPECT_EQ(
        helper.lab({R"({"cmd":"fault","call":"EdsSetPropertyData","property":"0x402","result":129})"}).status,
        0);
    const auto refused = helper.run({"settings", "set", "iso=400"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(has(refused.err, "refuses")) << refused.err;
}

TEST_F(EndToEnd, LiveViewFramesAreCutToTheirOwnLength) {
    const std::vector<std::string> frames{(kPhotos / "liveview/canon_1056x704.jpg").string(),
                                          (kPhotos / "liveview/canon_960x640.jpg").string()};
    const auto file = scenario(json::array({canon({{"liveview", frames}})}));
    const auto result = runTarvo({"--scenario", file, "live", "--path", folder_.file("live/f"), "--single",
                                  folder_.file("now.jpg"), "--frames", "4"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(filesIn(folder_.file("live")), 4U);
    // The second frame comes in an array as long as the first one.
    EXPECT_TRUE(sameBytes(folder_.file("live/f0001.jpg"), frames[0]));
    EXPECT_TRUE(sameBytes(folder_.file("live/f0002.jpg"), frames[1]));
    EXPECT_TRUE(sameBytes(folder_.file("live/f0004.jpg"), frames[1]));
    EXPECT_TRUE(sameBytes(folder_.file("now.jpg"), frames[1]));
}

TEST_F(EndToEnd, LiveViewEndsOnCtrlCAndIsSwitchedOff) {
    SharedHelper helper(
        scenario(
            json::array({canon({{"liveview", listOf((kPhotos / "liveview/canon_960x640.jpg").string())}})})),
        folder_.file("lab"));
    CommandRunner live(helper.words({"live", "--path", folder_.file("live/f")}));
    ASSERT_TRUE(live.waitForOut("f0003.jpg")) << live.err();
    live.interrupt();
    EXPECT_EQ(live.wait(), 0) << live.err();
    EXPECT_EQ(helper.run({"settings", "get", "live-view-output"}).out, "live-view-output off\n");
}

TEST_F(EndToEnd, LiveViewInABasicModeSaysWhatToTurn) {
    const json properties{{"0x400", {{"type", 9}, {"value", 9}}}};
    const auto result = runTarvo({"--scenario", scenario(json::array({canon({{"properties", properties}})})),
                                  "live", "--single", folder_.file("n")});
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(has(result.err, "status 134") && has(result.err, "mode dial")) << result.err;
}

TEST_F(EndToEnd, WatchShowsEventsAsJsonAndStoresPictures) {
    SharedHelper helper(
        scenario(json::array({canon({{"properties", quality(kRawAndJpeg)}, {"shots", listOf(pair())}})})),
        folder_.file("lab"));
    CommandRunner watch(
        helper.words({"watch", "--json", "--no-progress", "--save", folder_.file("pics/p"), "--for", "120"}));
    ASSERT_TRUE(watch.waitForErr("watching 'Canon EOS 5D Mark II'")) << watch.err();
    EXPECT_EQ(helper.lab({"set", "canon-1", "0x402=96"}).status, 0);
    EXPECT_EQ(helper.lab({"press", "canon-1"}).status, 0);
    EXPECT_TRUE(watch.waitForErr("stored " + folder_.file("pics/p0001.jpg"))) << watch.err();
    watch.interrupt();
    EXPECT_EQ(watch.wait(), 0) << watch.err();
    bool sawSensitivity = false;
    int offers = 0;
    std::istringstream lines(watch.out());
    for (std::string line; std::getline(lines, line);) {
        const auto event = json::parse(line, nullptr, false);
        ASSERT_TRUE(event.is_object()) << line;
        if (event.value("name", "") == "iso" && event.value("event", 0) == 0x101) sawSensitivity = true;
        if (event.value("kind", "") == "object" && event.value("event", 0) == 0x208) ++offers;
    }
    EXPECT_TRUE(sawSensitivity) << watch.out();
    EXPECT_EQ(offers, 2) << watch.out();
    EXPECT_TRUE(sameBytes(folder_.file("pics/p0001.cr2"), kPhotos / "pairs/IMG_3501.CR2"));
}

TEST_F(EndToEnd, WatchThatWaitsForEventsInVainIsStatus6) {
    const auto result = runTarvo(
        {"--scenario", scenario(json::array({canon()})), "watch", "--count", "1000", "--for", "0.2"});
    EXPECT_EQ(result.status, 6) << result.err;
    EXPECT_TRUE(has(result.err, "of 1000 events")) << result.err;
}

TEST_F(EndToEnd, CommandsLeaveASharedHelperAsTheyFoundIt) {
    SharedHelper helper(scenario(json::array({canon({{"properties", quality(kJpeg)}})})),
                        folder_.file("lab"));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(helper.run({"shoot", "--path", folder_.file("pics/"), "--next"}).status, 0);
    }
    const auto state = helper.state();
    ASSERT_TRUE(state.is_object());
    const auto device = state.value("devices", json::array()).at(0);
    EXPECT_EQ(device.at("sessions"), 0);
    EXPECT_EQ(device.at("references").at("camera"), 0);
    EXPECT_EQ(device.at("references").at("directoryItem"), 0);
    EXPECT_EQ(device.at("shots"), 3);
    const auto trace = helper.lab({"trace", "--json", "--clear"});
    EXPECT_TRUE(has(trace.out, "EdsCloseSession")) << trace.out;
    EXPECT_TRUE(has(trace.out, "EdsTerminateSDK"));
    EXPECT_TRUE(has(helper.lab({"trace"}).err, "no calls yet"));
}

TEST_F(EndToEnd, TheLabsRefusalIsStatus1) {
    SharedHelper helper(scenario(json::array({canon()})), folder_.file("lab"));
    const auto result = helper.lab({"press", "no-such-camera"});
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(has(result.err, "the lab refuses")) << result.err;
}

TEST_F(EndToEnd, CtrlCEndsTheHelperInOrder) {
    SharedHelper helper(scenario(json::array({canon()})), folder_.file("lab"));
    helper.runner().interrupt();
    EXPECT_EQ(helper.runner().wait(), 0) << helper.runner().err();
    EXPECT_TRUE(has(helper.runner().err(), "Receive SHUTDOWN")) << helper.runner().err();
}

TEST_F(EndToEnd, AHelperThatDiesIsToldByItsSupervisor) {
    SharedHelper helper(scenario(json::array({canon()})), folder_.file("lab"));
    const auto err = helper.runner().err();
    const auto at = err.find("helper ");
    ASSERT_NE(at, std::string::npos);
    const auto line = err.substr(err.rfind("helper ", err.find(" runs with")));
    const pid_t pid = std::stoi(line.substr(7));
    ASSERT_GT(pid, 0);
    ::kill(pid, SIGKILL);
    EXPECT_EQ(helper.runner().wait(), 1);
    EXPECT_TRUE(has(helper.runner().err(), "ended by itself with status 137")) << helper.runner().err();
}

TEST_F(EndToEnd, CtrlCWhileWaitingForADeadlineIsStatus130) {
    CommandRunner shoot({"--scenario", scenario(json::array({canon({{"properties", quality(kJpeg)}})})),
                         "shoot", "--path", folder_.file("pics/"), "--in", "3600"});
    ASSERT_TRUE(shoot.waitForErr("frame0001 at")) << shoot.err();
    shoot.interrupt();
    EXPECT_EQ(shoot.wait(), 130) << shoot.err();
    EXPECT_EQ(filesIn(folder_.file("pics")), 0U);
}

TEST_F(EndToEnd, TheDemonstrationRuns) {
    const auto result = runTarvo({"demo", "--output", folder_.file("out")});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(sameBytes(folder_.file("out/pair/frame0001.cr2"), kPhotos / "pairs/IMG_3501.CR2"));
    EXPECT_TRUE(sameBytes(folder_.file("out/nikon/frame0001.nef"), kPhotos / "nikon/meta_d70.nef"));
    EXPECT_TRUE(
        sameBytes(folder_.file("out/nikon/frame0001.jpg"), kPhotos / "nikon/d5300_room_3000x2000.jpg"));
    EXPECT_TRUE(std::filesystem::exists(folder_.file("out/nikon/live0005.jpg")));
    EXPECT_TRUE(has(result.out, "byte for byte"));
}

}  // namespace
