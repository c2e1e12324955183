#include "tests/faults/matrix.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace e2e::faults {

namespace {

/** The failure that vendor calls are made to report: the camera is busy. */
constexpr int64_t kFailure = 0x81;
constexpr std::chrono::milliseconds kLate{20};
/** Long enough for two questions to the lab; doubled until it is. */
constexpr std::chrono::milliseconds kFirstVanishDelay{20};
constexpr int kVanishAttempts = 9;

constexpr int kOpenSession = 7;
constexpr int kCloseSession = 8;
constexpr int kDownload = 27;

std::string hexNumber(const Json& args, const char* key) {
    std::array<char, 24> text{};
    const int64_t value = args.contains(key) ? e2e::number(args[key]) : -1;
    std::snprintf(text.data(), text.size(), "0x%llx", static_cast<unsigned long long>(value));
    return text.data();
}

std::string labelOf(const std::string& name, const Json& args) {
    if (name == "EdsSetPropertyData") {
        return name + " " + hexNumber(args, "property") + "=" + args.value("data", "");
    }
    if (name.starts_with("EdsGetProperty")) return name + " " + hexNumber(args, "property");
    if (name == "EdsSendCommand")
        return name + " " + hexNumber(args, "command") + " " + hexNumber(args, "param");
    if (name == "EdsSendStatusCommand") return name + " " + hexNumber(args, "command");
    if (name == "EdsGetChildAtIndex") return name + " " + hexNumber(args, "index");
    if (name == "EdsRelease")
        return name + " " + (args["object"].is_string() ? args.value("object", "") : "nothing");
    if (name.ends_with("EventHandler"))
        return name + (args.value("context", false) ? "" : " without context");
    return name;
}

std::string nameOf(const std::string& label) {
    return label.substr(0, label.find(' '));
}

Labels labelsOf(const std::vector<VendorCall>& calls) {
    Labels labels;
    for (const VendorCall& call : calls) {
        labels.push_back(call.label);
    }
    return labels;
}

bool succeeded(const Outcome& outcome, const std::string& name) {
    return std::any_of(outcome.calls.begin(), outcome.calls.end(),
                       [&](const VendorCall& call) { return call.name == name && call.result == 0; });
}

const char* modeName(Mode mode) {
    switch (mode) {
        case Mode::undisturbed:
            return "undisturbed";
        case Mode::fails:
            return "fails";
        case Mode::late:
            return "comes late";
        case Mode::vanishes:
            return "meets a vanishing camera";
    }
    return "";
}

}  // namespace

void Matrix::run() {
    stage_ = std::make_unique<Stage>(row_.cameras);
    // Without a helper, or when it does not even work undisturbed, the rest tells nothing.
    if (!::testing::Test::HasFailure()) runCase({});
    if (::testing::Test::HasFailure()) return;
    std::map<std::string, int64_t> seen;
    for (size_t i = 0; i < row_.calls.size(); ++i) {
        const std::string name = nameOf(row_.calls[i].call);
        const int64_t occurrence = seen[name]++;
        // A call that fails in all cases cannot be disturbed any further.
        if (hasStandingFault(name)) continue;
        for (const Mode mode : {Mode::fails, Mode::late, Mode::vanishes}) {
            if (mode == Mode::vanishes && (row_.cameras.empty() || row_.isUnplugged)) continue;
            runCase({mode, i, occurrence, &row_.calls[i]});
            // What is wrong once is mostly wrong in all cases, and costs each of them its patience.
            if (::testing::Test::HasFailure()) return;
        }
    }
}

bool Matrix::hasStandingFault(const std::string& name) const {
    return std::any_of(row_.standing.begin(), row_.standing.end(),
                       [&](const Json& fault) { return fault.value("call", "") == name; });
}

void Matrix::runCase(const Case& c) {
    SCOPED_TRACE(row_.name + ": " + (c.disturbed != nullptr ? c.disturbed->call + " " : "") +
                 modeName(c.mode));
    if (c.mode != Mode::vanishes) {
        attempt(c, kLate);
        return;
    }
    std::chrono::milliseconds delay = kFirstVanishDelay;
    for (int i = 0; i < kVanishAttempts; ++i, delay *= 2) {
        if (attempt(c, delay)) return;
    }
    ADD_FAILURE() << "the camera never went in time";
}

bool Matrix::attempt(const Case& c, std::chrono::milliseconds delay) {
    if (row_.startsOver && c.mode != Mode::undisturbed) stage_ = std::make_unique<Stage>(row_.cameras);
    stage_->rewind();
    const References before = heldReferences(stage_->lab());
    row_.prepare(*stage_);
    if (stage_->session != 0 && stage_->hasSession()) stage_->settleEvents();
    for (const Json& fault : row_.standing) {
        stage_->lab().must(fault);
    }
    const Bytes arguments = row_.arguments(*stage_);
    stage_->events().forget();
    stage_->lab().clearTrace();
    filesBefore_ = stage_->pictures().names();
    picturesBefore_ = stage_->picturesOnCamera();
    disturb(c, delay);

    const auto sent = std::chrono::steady_clock::now();
    stage_->canon().send(row_.method, arguments);
    stage_->canon().expectHeader(row_.method);
    if (c.mode == Mode::late) expectOthersServed();
    const bool wentInTime = c.mode != Mode::vanishes || vanish(c, sent + delay);
    stage_->canon().expectHeader(row_.method);
    Outcome outcome;
    outcome.result = stage_->canon().receiveResult(canonMethod(row_.method));
    if (row_.startsOver) {
        EXPECT_TRUE(eventually([&] { return trace().calls.size() >= row_.calls.size(); }));
    }
    outcome.calls = trace().calls;
    outcome.previousFrame = stage_->frame;
    noteSession(c, outcome);
    if (wentInTime) {
        collectEvents(c);
        judge(c, outcome);
        judgeReferences(c, before);
        judgeNextCall(c);
    }
    stage_->clear();
    if (!wentInTime) return false;
    if (c.mode == Mode::undisturbed) usual_ = outcome.result;
    return true;
}

void Matrix::disturb(const Case& c, std::chrono::milliseconds delay) {
    if (c.mode == Mode::undisturbed) return;
    const std::string name = nameOf(c.disturbed->call);
    if (c.mode == Mode::fails) {
        stage_->lab().fault(name, kFailure, {{"skip", c.occurrence}});
    } else {
        stage_->lab().delay(name, delay, {{"skip", c.occurrence}});
    }
}

Matrix::Traced Matrix::trace() {
    const Json answer = stage_->lab().must({{"cmd", "trace"}});
    const auto isOurs = [&](const Json& entry) {
        return row_.startsOver || stage_->connectionThread < 0 ||
               e2e::number(entry["thread"]) == stage_->connectionThread;
    };
    Traced traced;
    for (const Json& entry : answer.value("trace", Json::array())) {
        if (!isOurs(entry)) continue;
        const std::string name = entry.value("call", "");
        VendorCall call{name, labelOf(name, entry["args"]), std::nullopt};
        if (entry["result"].is_number()) call.result = entry["result"].get<int64_t>();
        traced.calls.push_back(std::move(call));
    }
    for (const Json& entry : answer.value("underway", Json::array())) {
        if (isOurs(entry)) traced.underway.push_back(entry);
    }
    return traced;
}

/** The disturbed call, while it is under way: an earlier one of the same name is not meant. */
std::optional<Json> Matrix::findUnderway(const Case& c) {
    const std::string name = nameOf(c.disturbed->call);
    const Traced traced = trace();
    const auto finished = std::count_if(traced.calls.begin(), traced.calls.end(),
                                        [&](const VendorCall& call) { return call.name == name; });
    if (finished != c.occurrence) return std::nullopt;
    for (const Json& entry : traced.underway) {
        if (entry.value("call", "") == name) return entry;
    }
    return std::nullopt;
}

/** Takes the camera away while the call is under way and still waits, which it does at least until `end`;
 * false when it may have gone on by then. */
bool Matrix::vanish(const Case& c, std::chrono::steady_clock::time_point end) {
    bool isUnderway = false;
    const bool isThere = eventually([&] {
        isUnderway = findUnderway(c).has_value();
        return isUnderway || trace().calls.size() > c.step;
    });
    EXPECT_TRUE(isThere) << "the call did not come";
    if (!isUnderway) return false;
    stage_->lab().detach(stage_->cameraId);
    return std::chrono::steady_clock::now() < end;
}

/** Whether the session's state handler is installed when the camera goes. */
bool Matrix::learnsOfShutdown(const Case& c) const {
    if (row_.method == kCloseSession || stage_->session == 0) return false;
    if (row_.method != kOpenSession) return true;
    const auto* const installed = "EdsSetCameraStateEventHandler";
    for (size_t i = 0; i < c.step; ++i) {
        if (row_.calls[i].call == installed) return true;
    }
    return false;
}

/** What the camera and the helper had to tell comes before this. */
void Matrix::collectEvents(const Case& c) {
    if (c.mode == Mode::vanishes) {
        if (learnsOfShutdown(c)) stage_->events().waitFor(kStateEvent, kShutdownEvent);
    } else if (stage_->session != 0 && stage_->hasSession()) {
        const bool isDeaf = c.disturbed != nullptr && c.disturbed->call == "EdsSetCameraStateEventHandler" &&
                            c.mode == Mode::fails;
        stage_->settleEvents(isDeaf);
    }
    stage_->events().collectUntilSilent(std::chrono::milliseconds(0));
    for (const Event& event : stage_->events().seen()) {
        if (event.kind == kObjectEvent && event.what() == kRequestTransfer)
            stage_->items.push_back(event.last());
    }
}

/** Which session there is from now on, and who holds the camera. */
void Matrix::noteSession(const Case& c, const Outcome& outcome) {
    for (const VendorCall& call : outcome.calls) {
        if (call.name == "EdsGetChildAtIndex" && call.result == 0) ++stage_->camerasHeld;
    }
    if (row_.method == kOpenSession && handle(outcome).empty()) {
        stage_->session = Reader(outcome.result).int32();
        if (c.mode != Mode::undisturbed && c.mode != Mode::late && c.disturbed->keepsCamera)
            stage_->isModern = false;
    }
    if (row_.method == kCloseSession && stage_->session != 0) {
        stage_->session = 0;
        if (stage_->isModern) --stage_->camerasHeld;
    }
    if (row_.method == kDownload && !stage_->items.empty()) {
        stage_->items.erase(stage_->items.begin());
    }
}

void Matrix::judge(const Case& c, const Outcome& given) {
    Outcome outcome = given;
    outcome.usual = usual_;
    const Check* check = &row_.usual;
    if (c.mode == Mode::fails) check = &c.disturbed->fails;
    if (c.mode == Mode::vanishes) check = &c.disturbed->gone;
    EXPECT_EQ((*check)(outcome), "");
    judgeCalls(c, outcome);
    judgePictures(outcome);
    EXPECT_EQ(stage_->faultsLeft(), row_.standing.size()) << "the disturbance met no call";
}

void Matrix::judgeCalls(const Case& c, const Outcome& outcome) {
    Labels expected;
    for (const Step& step : row_.calls) {
        expected.push_back(step.call);
    }
    const Labels made = labelsOf(outcome.calls);
    if (c.mode == Mode::vanishes) {
        // What follows is the camera's absence, one call after the other; the answer tells of it.
        ASSERT_GT(made.size(), c.step);
        EXPECT_TRUE(std::equal(expected.begin(), expected.begin() + static_cast<std::ptrdiff_t>(c.step) + 1,
                               made.begin()));
        return;
    }
    if (c.mode == Mode::fails && c.disturbed->then) {
        expected.resize(c.step + 1);
        expected.insert(expected.end(), c.disturbed->then->begin(), c.disturbed->then->end());
    }
    EXPECT_EQ(made, expected);
    if (c.mode == Mode::fails && c.step < outcome.calls.size()) {
        EXPECT_EQ(outcome.calls[c.step].result, kFailure) << "another call failed";
    }
}

/** A lost picture is told on the callback socket, and only that; the camera forgets a picture only when it
 *  was told that it has arrived. */
void Matrix::judgePictures(const Outcome& outcome) {
    const auto& events = stage_->events().seen();
    const auto told = std::count_if(events.begin(), events.end(), [](const Event& event) {
        return event.kind == kStateEvent && event.what() == kCaptureErrorEvent;
    });
    const bool isLost = row_.method == kDownload && outcome.result != Message().int32(0).bytes();
    EXPECT_EQ(told, isLost ? 1 : 0) << "state events of a lost picture";
    judgeFiles(succeeded(outcome, "EdsDownload"));
    if (row_.method != kDownload) return;

    const std::vector<int32_t> progress = stage_->events().progress();
    const bool isEnd = row_.completesCapture && succeeded(outcome, "EdsDownload");
    EXPECT_EQ(std::count(progress.begin(), progress.end(), 100), isEnd ? 1 : 0) << "reports of 100 percent";
    const size_t fetched = succeeded(outcome, "EdsDownloadComplete") ? 1 : 0;
    EXPECT_EQ(stage_->picturesOnCamera(), picturesBefore_ - fetched) << "pictures left on the camera";
}

/** A new file is there when the transfer has succeeded, and it is whole; no other is. */
void Matrix::judgeFiles(bool isWhole) {
    std::vector<std::string> files = stage_->pictures().names();
    std::erase_if(files, [&](const std::string& name) {
        return std::find(filesBefore_.begin(), filesBefore_.end(), name) != filesBefore_.end();
    });
    EXPECT_EQ(files.size(), isWhole ? 1u : 0u) << "files in the folder";
    for (const std::string& name : files) {
        EXPECT_EQ(readFile(stage_->pictures().file(name)).size(), static_cast<size_t>(kPictureBytes)) << name;
    }
}

int64_t Matrix::refusedReleases(const Case& c, const std::string& kind) const {
    return c.mode == Mode::fails && c.disturbed->call == "EdsRelease " + kind ? 1 : 0;
}

void Matrix::judgeReferences(const Case& c, const References& before) {
    const auto left = [&] {
        References after = heldReferences(stage_->lab());
        for (auto& [kind, count] : after) {
            count -= before.contains(kind) ? before.at(kind) : 0;
        }
        return after;
    };
    References expected = {
        {"camera", stage_->camerasHeld + refusedReleases(c, "camera")},
        {"cameraList", refusedReleases(c, "cameraList")},
        {"directoryItem", static_cast<int64_t>(stage_->items.size()) + refusedReleases(c, "directoryItem")},
        {"evfImage", refusedReleases(c, "evfImage")},
        {"stream", refusedReleases(c, "stream")}};
    const bool isRunning = isLibraryRunning(stage_->lab());
    EXPECT_TRUE(isRunning || row_.startsOver) << "the library has ended";
    for (auto& [kind, count] : expected) {
        if (!isRunning) count = 0;
    }
    EXPECT_EQ(left(), expected) << "references left behind";
    EXPECT_EQ(misuse(stage_->lab()), 0) << "calls on references that are none";
}

/** A call that takes its time holds up nobody else. */
void Matrix::expectOthersServed() {
    EXPECT_FALSE(CanonCalls(stage_->helper().port()).isLiveViewZoom(0));
}

/** The connection goes on, and so do the others. */
void Matrix::judgeNextCall(const Case& c) {
    EXPECT_FALSE(stage_->canon().isLiveViewZoom(0));
    CanonCalls other(stage_->helper().port());
    const bool isOpen = c.mode != Mode::vanishes && stage_->session != 0 && stage_->hasSession();
    const int32_t expected =
        isOpen ? static_cast<int32_t>(e2e::number(stage_->lab().get(stage_->cameraId, kAv))) : 0;
    stage_->lab().clearTrace();
    EXPECT_EQ(stage_->canon().getSetting(stage_->session, kAv), expected);
    if (c.mode == Mode::vanishes && learnsOfShutdown(c)) {
        EXPECT_EQ(labelsOf(trace().calls), Labels{}) << "the session has ended";
    }
    EXPECT_EQ(other.getSetting(stage_->session, kAv), expected);
}

}  // namespace e2e::faults
