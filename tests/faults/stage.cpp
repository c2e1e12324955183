#include "tests/faults/stage.h"

#include <utility>

namespace e2e::faults {

namespace {

/** An event that no camera raises by itself: what was raised before it has arrived before it. */
constexpr int32_t kMarkerProperty = 0x7E57;
constexpr int32_t kMarkerState = 0x3FE;
constexpr int32_t kPropertyChanged = 0x101;

}  // namespace

Stage::Stage(std::vector<Json> cameras)
    : cameras_(std::move(cameras)), pictures_(std::make_unique<TempFolder>()) {
    HelperOptions options;
    options.scenario = scenarioOf(cameras_);
    helper_ = std::make_unique<HelperProcess>(options);
    lab_ = std::make_unique<LabClient>(helper_->labSocket());
    canon_ = std::make_unique<CanonCalls>(helper_->port());
    events_ = std::make_unique<CallbackStream>(*helper_);
}

void Stage::rewind() {
    lab_->must({{"cmd", "reset"}, {"scenario", scenarioOf(cameras_)}});
    pictures_ = std::make_unique<TempFolder>();
    events_->collectUntilSilent(std::chrono::milliseconds(0));
    events_->forget();
    camera = 0;
    session = 0;
    isModern = cameras_.empty() || !cameras_.front().value("legacy", false);
    camerasHeld = 0;
    items.clear();
    frame.clear();
    pictureName = "frame";
}

void Stage::clear() {
    lab_->clearFaults();
    if (session == 0) return;
    if (lab_->device(cameraId).value("attached", false)) {
        for (const int32_t item : std::exchange(items, {})) {
            EXPECT_NE(canon_->download(session, item), -1);
        }
    }
    EXPECT_NE(canon_->closeSession(session), 130);
    session = 0;
    if (isModern) --camerasHeld;
}

void Stage::initialize() {
    if (std::exchange(isInitialized_, true)) return;
    EXPECT_EQ(canon_->initializeSdk(), 0);
}

void Stage::listCameras() {
    initialize();
    lab_->clearTrace();
    const std::vector<int32_t> listed = canon_->cameraList();
    EXPECT_EQ(listed.size(), cameras_.size());
    camera = listed.empty() ? 0 : listed[0];
    camerasHeld += static_cast<int64_t>(listed.size());
    const std::vector<Json> calls = lab_->calls("EdsGetCameraList");
    EXPECT_EQ(calls.size(), 1u);
    if (!calls.empty()) connectionThread = number(calls[0]["thread"]);
}

void Stage::openSession() {
    if (camera == 0) listCameras();
    session = canon_->openSession(camera);
    EXPECT_NE(session, 0);
    EXPECT_NE(session, 130);
}

void Stage::startLiveView() {
    EXPECT_EQ(canon_->startLiveView(session), 0);
}

void Stage::fetchFrame() {
    frame = canon_->call(13, Message().int32(session));
    EXPECT_GT(frame.size(), 4u) << "no frame";
}

void Stage::shoot(size_t files) {
    EXPECT_EQ(canon_->preCapture(session, picturePath()), 0);
    EXPECT_EQ(canon_->capture(session, picturePath()), 0);
    while (items.size() < files) {
        const Event offered = events_->waitFor(kObjectEvent, kRequestTransfer);
        if (offered.values.empty()) return;
        items.push_back(offered.last());
    }
}

void Stage::unplug() {
    lab_->detach(cameraId);
    events_->waitFor(kStateEvent, kShutdownEvent);
}

void Stage::settleEvents(bool viaProperties) {
    const int32_t number = ++markers_;
    Json marker = {{"cmd", "event"}, {"id", cameraId}, {"parameter", number}};
    if (viaProperties) {
        marker.update({{"kind", "property"}, {"event", kPropertyChanged}, {"property", kMarkerProperty}});
    } else {
        marker.update({{"kind", "state"}, {"event", kMarkerState}});
    }
    lab_->must(marker);
    events_->waitFor([&](const Event& event) { return event.last() == number && event.values.size() > 2; },
                     "marker");
}

bool Stage::hasSession() {
    return !cameras_.empty() && lab_->device(cameraId).value("sessions", 0) > 0;
}

size_t Stage::picturesOnCamera() {
    return cameras_.empty() ? 0 : lab_->device(cameraId).value("pictures", Json::array()).size();
}

size_t Stage::faultsLeft() {
    return lab_->must({{"cmd", "state"}}).value("faults", Json::array()).size();
}

}  // namespace e2e::faults
