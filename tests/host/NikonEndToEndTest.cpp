// The tarvo command with the built helper and the simulated Nikon modules.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>

#include "tests/host/CommandRunner.h"
#include "tests/host/TempFolder.h"

namespace {

using fake::CommandResult;
using fake::CommandRunner;
using fake::readFile;
using fake::runTarvo;
using nlohmann::json;

constexpr int kNef = 4;
constexpr int kJpeg = 1;

bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

json body(const std::string& id, int moduleType) {
    return {{"id", id}, {"family", "nikon"}, {"moduleType", moduleType}, {"cameraType", 20 + moduleType}};
}

json item(int dataType, int bytes, int dual) {
    return {{"dataType", dataType}, {"bytes", bytes}, {"dual", dual}, {"blocks", 3}};
}

json withPairs(json device) {
    device["shots"] = json::array({json::array({item(kNef, 60000, 1), item(kJpeg, 20000, 1)})});
    return device;
}

json canon() {
    return {{"id", "canon-1"}, {"family", "canon"}, {"model", "Canon EOS 5D Mark II"}};
}

class NikonEndToEnd : public testing::Test {
protected:
    /** The command with these devices attached. */
    CommandResult run(const json& devices, std::vector<std::string> words) {
        const auto scenario = folder_.write("scenario.json", json{{"devices", devices}}.dump());
        words.insert(words.begin(), {"--scenario", scenario});
        return runTarvo(words);
    }
    CommandResult runNikon(std::vector<std::string> words) {
        words.insert(words.begin(), {"--camera", "nikon"});
        return run(json::array({canon(), withPairs(body("nikon-1", 5))}), words);
    }
    fake::TempFolder folder_;
};

TEST_F(NikonEndToEnd, ListsTheBodiesOfAllSixteenModules) {
    json devices = json::array({canon()});
    for (int type = 0; type < 16; ++type)
        devices.push_back(body("nikon-" + std::to_string(type), type));
    devices.push_back(body("nikon-second", 5));
    const auto result = run(devices, {"cameras"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(has(result.out, "Canon EOS 5D Mark II")) << result.out;
    for (const char* name : {"D1", "D2", "D40", "D50", "D70", "D80", "D100", "D200", "Type0001", "Type0008"})
        EXPECT_TRUE(has(result.out, "Nikon " + std::string(name) + " #0  ")) << name << ":\n" << result.out;
    EXPECT_TRUE(has(result.out, "Nikon D80 #1  (module type 5, camera type 25)")) << result.out;
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 18) << result.out;
}

TEST_F(NikonEndToEnd, TakesTheCameraThatTheNameMeans) {
    const auto devices = json::array({canon(), body("a", 5), body("b", 7)});
    const auto canonFirst = run(devices, {"cameras", "--details"});
    EXPECT_TRUE(has(canonFirst.err, "Canon EOS 5D Mark II:")) << canonFirst.err;
    const auto other = run(devices, {"--camera", "d200", "cameras", "--details"});
    EXPECT_TRUE(has(other.err, "Nikon D200 #0:")) << other.err;
    EXPECT_TRUE(has(other.out, "battery 100")) << other.out;
    EXPECT_FALSE(has(other.out, "D80")) << other.out;
    const auto none = run(devices, {"--camera", "D40", "battery"});
    EXPECT_EQ(none.status, 4);
    EXPECT_TRUE(has(none.err, "there is 'Canon EOS 5D Mark II'")) << none.err;
}

TEST_F(NikonEndToEnd, SaysWhereModulesAreMissing) {
    const auto result =
        run(json::array({body("a", 5)}), {"--nikon-modules", folder_.path().string(), "cameras"});
    EXPECT_EQ(result.status, 2) << result.err;
    EXPECT_TRUE(has(result.err, "there is no module bundle in")) << result.err;
}

TEST_F(NikonEndToEnd, ListsAndSetsChoicesByTheirTexts) {
    const auto list = runNikon({"settings"});
    EXPECT_EQ(list.status, 0) << list.err;
    EXPECT_TRUE(has(list.out, "mode                     Program")) << list.out;
    EXPECT_TRUE(has(list.out, "picture-control          Standard")) << list.out;
    const auto set = runNikon({"settings", "set", "mode=aperture", "metering=#2", "0x8116=Center"});
    EXPECT_EQ(set.status, 0) << set.err;
    EXPECT_EQ(set.out, "mode Aperture\nmetering Spot\nmetering CenterWeighted\n");
    const auto options = runNikon({"settings", "options", "focus-mode"});
    EXPECT_EQ(options.out, "#0  MF\n#1  AFs\n#2  AFc\n");
}

TEST_F(NikonEndToEnd, TellsAboutValuesThatAreNone) {
    const auto wrong = runNikon({"settings", "set", "mode=Sports"});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_TRUE(has(wrong.err, "choose from 'Program', 'Aperture'")) << wrong.err;
    const auto canonName = runNikon({"settings", "get", "iso"});
    EXPECT_EQ(canonName.status, 2);
    EXPECT_TRUE(has(canonName.err, "no setting 'iso' of a Nikon camera")) << canonName.err;
    const auto noChoice = runNikon({"settings", "get", "0x31"});
    EXPECT_EQ(noChoice.status, 1);
    EXPECT_TRUE(has(noChoice.err, "does not offer a choice")) << noChoice.err;
}

TEST_F(NikonEndToEnd, StoresAPairAtItsDeadline) {
    const auto result = runNikon({"shoot", "--path", folder_.file("frame"), "--in", "1.5", "--count", "2"});
    EXPECT_EQ(result.status, 0) << result.err;
    for (const char* number : {"0001", "0002"}) {
        EXPECT_EQ(readFile(folder_.file("frame" + std::string(number) + ".nef")).size(), 60000U);
        EXPECT_EQ(readFile(folder_.file("frame" + std::string(number) + ".jpg")).size(), 20000U);
    }
    EXPECT_TRUE(has(result.err, "frame0002  100 %")) << result.err;
    EXPECT_FALSE(std::filesystem::exists(folder_.file("frame0003.jpg")));
}

TEST_F(NikonEndToEnd, GivesUpOnAPictureThatNeverComes) {
    auto slow = body("nikon-1", 5);
    slow["shots"] = json::array({json::array()});
    const auto result =
        run(json::array({slow}), {"shoot", "--path", folder_.file("frame"), "--timeout", "1"});
    EXPECT_EQ(result.status, 6) << result.err;
    EXPECT_TRUE(has(result.err, "frame0001: no picture came from the camera in 1 s")) << result.err;
}

TEST_F(NikonEndToEnd, SavesLiveViewAndSwitchesItOffAgain) {
    const auto result = runNikon({"live", "--path", folder_.file("live"), "--frames", "3"});
    EXPECT_EQ(result.status, 0) << result.err;
    for (const char* name : {"live0001.jpg", "live0002.jpg", "live0003.jpg"})
        EXPECT_TRUE(readFile(folder_.file(name)).starts_with("\xFF\xD8")) << name;
    const auto zoomed = runNikon(
        {"live", "--single", folder_.file("z.jpg"), "--frames", "1", "--zoom", "--position", "0.25", "0.5"});
    EXPECT_EQ(zoomed.status, 0) << zoomed.err;
    EXPECT_TRUE(has(zoomed.err, "enlarged: ")) << zoomed.err;
}

TEST_F(NikonEndToEnd, AnswersSmallQuestionsAndDrivesTheLens) {
    EXPECT_EQ(runNikon({"battery"}).out, "100\n");
    EXPECT_EQ(runNikon({"bracketing"}).out, "off\n");
    EXPECT_EQ(runNikon({"focus", "--steps", "-20"}).status, 0);
    EXPECT_EQ(runNikon({"focus", "--steps", "0"}).status, 2);
    const auto canonOnly = run(json::array({canon()}), {"bracketing"});
    EXPECT_EQ(canonOnly.status, 2);
    EXPECT_TRUE(has(canonOnly.err, "only Nikon cameras")) << canonOnly.err;
}

// A helper that serves several commands, with its lab.
class SharedNikon : public NikonEndToEnd {
protected:
    void start(const json& device) {
        socket_ = folder_.file("lab");
        const auto scenario = folder_.write("scenario.json", json{{"devices", json::array({device})}}.dump());
        runner_ = std::make_unique<CommandRunner>(
            std::vector<std::string>{"helper", "--scenario", scenario, "--lab-socket", socket_});
        ASSERT_TRUE(runner_->waitForErr("Ctrl-C ends it")) << runner_->err();
        ASSERT_TRUE(runner_->waitForOut("\n"));
        const auto out = runner_->out();
        port_ = out.substr(5, out.find('\n') - 5);
    }
    std::vector<std::string> words(std::vector<std::string> more) const {
        more.insert(more.begin(), {"--port", port_, "--lab-socket", socket_, "--camera", "nikon"});
        return more;
    }
    std::string lab(const std::vector<std::string>& more) const {
        std::vector<std::string> all{"lab", "--lab-socket", socket_};
        all.insert(all.end(), more.begin(), more.end());
        return runTarvo(all).out;
    }
    std::unique_ptr<CommandRunner> runner_;
    std::string socket_;
    std::string port_;
};

TEST_F(SharedNikon, WatchShowsThatTheCameraHasGone) {
    start(body("nikon-1", 5));
    CommandRunner watch(words({"watch", "--count", "1", "--for", "60"}));
    ASSERT_TRUE(watch.waitForErr("watching 'Nikon D80 #0'")) << watch.err();
    lab({"detach", "nikon-1"});
    EXPECT_EQ(watch.wait(), 0) << watch.err();
    EXPECT_TRUE(has(watch.out(), "status    nikon camera gone (0)")) << watch.out();
}

TEST_F(SharedNikon, WatchStoresWhatIsTakenAtTheCamera) {
    start(withPairs(body("nikon-1", 5)));
    CommandRunner watch(words({"watch", "--no-progress", "--save", folder_.file("taken")}));
    ASSERT_TRUE(watch.waitForErr("watching 'Nikon D80 #0'")) << watch.err();
    lab({"press", "nikon-1"});
    EXPECT_TRUE(watch.waitForErr("taken0001.nef")) << watch.err();
    watch.interrupt();
    EXPECT_EQ(watch.wait(), 0) << watch.err();
    EXPECT_EQ(readFile(folder_.file("taken0001.nef")).size(), 60000U);
    EXPECT_EQ(readFile(folder_.file("taken0001.jpg")).size(), 20000U);
}

TEST_F(SharedNikon, CtrlCReleasesTheCameraAndEndsTheModule) {
    start(withPairs(body("nikon-1", 5)));
    CommandRunner shoot(
        words({"shoot", "--path", folder_.file("frame"), "--count", "100", "--interval", "60"}));
    ASSERT_TRUE(shoot.waitForErr("frame0002 at")) << shoot.err();
    shoot.interrupt();
    EXPECT_EQ(shoot.wait(), 130) << shoot.err();
    EXPECT_TRUE(runner_->waitForErr("In release camera")) << "the helper's log goes to its standard error";
    // The last command to the module is the one that closes the module object itself.
    const auto trace = json::parse(lab({R"({"cmd":"trace"})"}), nullptr, false);
    ASSERT_TRUE(trace.is_object()) << lab({R"({"cmd":"trace"})"});
    json last;
    for (const auto& entry : trace.value("trace", json::array())) {
        if (entry.value("call", "") == "MAIDEntryPoint") last = entry;
    }
    EXPECT_EQ(last["args"].value("object", "none"), "") << last.dump();
    EXPECT_EQ(last["args"].value("command", -1), 2) << last.dump();
    EXPECT_EQ(last.value("result", -1), 0) << last.dump();
}

TEST_F(SharedNikon, WhatWaitsOnTheCameraIsStoredApart) {
    start(withPairs(body("nikon-1", 5)));
    lab({"press", "nikon-1"});
    const auto shot = runTarvo(words({"shoot", "--path", folder_.file("frame")}));
    EXPECT_EQ(shot.status, 0) << shot.err;
    EXPECT_TRUE(std::filesystem::exists(folder_.file("frame0001.nef"))) << shot.out;
    EXPECT_TRUE(std::filesystem::exists(folder_.file("frame0001-extra.nef"))) << shot.out;
}

}  // namespace
