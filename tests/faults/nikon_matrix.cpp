#include "tests/faults/nikon_matrix.h"

#include <algorithm>
#include <filesystem>
#include <set>

namespace e2e::faults {

namespace {

/** What commands are made to answer: the camera's hardware fails. */
constexpr int64_t kFailure = -116;
constexpr std::chrono::milliseconds kLate{20};
/** Long enough for a question to the lab; doubled until it is. */
constexpr std::chrono::milliseconds kFirstVanishDelay{40};
constexpr int kVanishAttempts = 7;
/** Polls beyond these are more of the same wait. */
constexpr size_t kMostPolls = 24;
constexpr int kTerminate = 2;
constexpr int kRelease = 21;

std::string faultName(int64_t command) {
    return "MAIDEntryPoint:" + std::to_string(command);
}

}  // namespace

std::string NikonMatrix::describe(const Case& c) {
    switch (c.mode) {
        case Mode::undisturbed:
            return "undisturbed";
        case Mode::fails:
            return c.step.label + " fails";
        case Mode::late:
            return c.step.label + " comes late";
        case Mode::vanishes:
            return c.step.label + " meets a vanishing camera";
        case Mode::pollFails:
            return "poll " + std::to_string(c.step.occurrence) + " fails";
        case Mode::slowCompletions:
            return "completions come late";
    }
    return "";
}

void NikonMatrix::run() {
    runCase({});
    if (::testing::Test::HasFailure()) return;
    std::set<std::string> met;
    for (const Step& step : std::vector(commands_)) {
        met.insert(step.label);
        for (const Mode mode : {Mode::fails, Mode::late, Mode::vanishes}) {
            runCase({mode, step});
            // What is wrong once is mostly wrong in all cases, and costs each of them its patience.
            if (::testing::Test::HasFailure()) return;
        }
    }
    for (const auto& [label, check] : row_.failing) {
        EXPECT_TRUE(met.contains(label)) << row_.name << " sends no " << label;
    }
    const size_t polls = std::min(polls_, kMostPolls);
    for (size_t i = 0; i < polls && !::testing::Test::HasFailure(); ++i) {
        runCase({Mode::pollFails, {"poll", kAsyncCommand, static_cast<int64_t>(i)}});
    }
    if (!::testing::Test::HasFailure()) runCase({Mode::slowCompletions, {}});
}

void NikonMatrix::runCase(const Case& c) {
    SCOPED_TRACE(row_.name + ": " + describe(c));
    std::chrono::milliseconds delay = c.mode == Mode::vanishes ? kFirstVanishDelay : kLate;
    for (int i = 0; i < kVanishAttempts; ++i, delay *= 2) {
        if (attempt(c, delay) || ::testing::Test::HasFailure()) return;
    }
    ADD_FAILURE() << "the camera never went in time";
}

bool NikonMatrix::attempt(const Case& c, std::chrono::milliseconds delay) {
    Json body = row_.body;
    if (c.mode == Mode::slowCompletions) body["completeAfter"] = 4;
    stage_ = std::make_unique<NikonStage>(body);
    if (::testing::Test::HasFailure()) return true;
    row_.prepare(*stage_);
    const Bytes arguments = row_.arguments(*stage_);
    stage_->lab().clearTrace();
    disturb(c, delay);

    stage_->nikon().send(row_.method, arguments);
    stage_->nikon().expectHeader(row_.method);
    if (c.mode == Mode::late) {
        NikonCalls other(stage_->helper().port());
        EXPECT_EQ(other.batteryLevel(0), 0);
    }
    const bool wentInTime = c.mode != Mode::vanishes || vanish(c);
    stage_->nikon().expectHeader(row_.method);
    const Bytes result = stage_->nikon().receiveResult(nikonMethod(row_.method));
    if (!wentInTime) return false;
    if (c.mode == Mode::undisturbed) {
        commands_ = steps(false);
        polls_ = steps(true).size();
    }
    judge(c, result);
    judgeFiles();
    endAndStartAnew(c, result);
    return true;
}

void NikonMatrix::disturb(const Case& c, std::chrono::milliseconds delay) {
    const std::string name = faultName(c.step.command);
    const Json which = {{"skip", c.step.occurrence}};
    if (c.mode == Mode::fails || c.mode == Mode::pollFails) {
        stage_->lab().fault(name, kFailure, which);
    } else if (c.mode == Mode::late || c.mode == Mode::vanishes) {
        stage_->lab().delay(name, delay, which);
    }
}

/** Takes the camera away while the delayed command is under way; false when it may have been over by then. */
bool NikonMatrix::vanish(const Case& c) {
    const bool isThere = eventually([&] {
        return isUnderway(c.step) ||
               !stage_->lab().command({{"cmd", "state"}}).value("faults", Json::array()).size();
    });
    EXPECT_TRUE(isThere) << "the command did not come";
    if (!isUnderway(c.step)) return false;
    stage_->lab().detach(stage_->id);
    return isUnderway(c.step);
}

bool NikonMatrix::isUnderway(const Step& step) {
    const Json answer = stage_->lab().must({{"cmd", "trace"}});
    const Json trace = answer.value("trace", Json::array());
    const auto finished = std::count_if(trace.begin(), trace.end(), [&](const Json& entry) {
        return e2e::number(entry["args"]["command"]) == step.command;
    });
    if (finished != step.occurrence) return false;
    const Json underway = answer.value("underway", Json::array());
    return std::any_of(underway.begin(), underway.end(), [&](const Json& entry) {
        return entry.contains("args") && entry["args"].contains("command")
                   ? e2e::number(entry["args"]["command"]) == step.command
                   : entry.value("call", "") == "MAIDEntryPoint";
    });
}

std::vector<NikonMatrix::Step> NikonMatrix::steps(bool polls) {
    std::vector<Step> made;
    std::map<int64_t, int64_t> seen;
    for (const Json& entry : stage_->lab().calls("MAIDEntryPoint")) {
        const int64_t command = e2e::number(entry["args"]["command"]);
        const int64_t occurrence = seen[command]++;
        if ((command == kAsyncCommand) == polls) made.push_back({nikonLabel(entry), command, occurrence});
    }
    return made;
}

void NikonMatrix::judge(const Case& c, const Bytes& result) {
    if (c.mode == Mode::undisturbed || c.mode == Mode::late || c.mode == Mode::slowCompletions) {
        EXPECT_EQ(row_.usual(result), "");
        return;
    }
    const auto failing = row_.failing.find(c.step.label);
    const NikonCheck& usual = failing == row_.failing.end() ? row_.usual : failing->second;
    if (c.mode == Mode::fails) {
        EXPECT_EQ(usual(result), "");
        return;
    }
    bool isRight = row_.usual(result).empty();
    for (const auto& [label, check] : row_.failing) {
        isRight = isRight || check(result).empty();
    }
    for (const NikonCheck& check : row_.broken) {
        isRight = isRight || check(result).empty();
    }
    EXPECT_TRUE(isRight) << "answered " << hex(result);
}

void NikonMatrix::judgeFiles() {
    for (const std::string& name : stage_->pictures().names()) {
        const auto expected = row_.files.find(name);
        ASSERT_NE(expected, row_.files.end()) << name;
        EXPECT_EQ(std::filesystem::file_size(stage_->pictures().file(name)), expected->second) << name;
    }
}

/** Whatever has happened, the camera can be released, the module closed, and another one loaded. */
void NikonMatrix::endAndStartAnew(const Case& c, const Bytes& result) {
    NikonStage& stage = *stage_;
    stage.lab().clearFaults();
    if (row_.method == 1) stage.module = Reader(result).int64();
    if (row_.method == 5) stage.camera = Reader(result).int64();
    if (row_.method == kRelease) stage.camera = 0;
    if (c.mode == Mode::vanishes) stage.lab().must({{"cmd", "attach"}, {"id", stage.id}});
    stage.nikon().releaseCamera(stage.camera);
    const bool isClosed = row_.method == kTerminate && result == Message().int32(0).bytes();
    EXPECT_EQ(stage.nikon().terminateSdk(isClosed ? 0 : stage.module), 0);
    stage.module = 0;
    stage.openModule();
    EXPECT_EQ(stage.nikon().cameraCount(stage.module), 1);
    const int64_t camera = stage.nikon().selectCamera(stage.module, 0);
    EXPECT_NE(camera, 0);
    EXPECT_TRUE(stage.nikon().setLiveView(camera, !stage.nikon().isLiveView(camera)));
}

}  // namespace e2e::faults
