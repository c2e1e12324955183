#include "tests/e2e/support/canon_fixture.h"

#include <array>
#include <cstdio>

namespace e2e {

Json canonCamera(const std::string& id, const std::string& model, const Json& more) {
    Json camera = {{"id", id}, {"family", "canon"}, {"model", model}};
    camera.update(more);
    return camera;
}

Json usualCamera(const Json& more) {
    return canonCamera("canon-1", "Canon EOS 5D Mark II", more);
}

Json legacyCamera(const Json& more) {
    Json camera = canonCamera("canon-1", "Canon EOS 20D", {{"legacy", true}});
    camera.update(more);
    return camera;
}

Json property(int id, int type, const Json& value, const Json& options) {
    std::array<char, 16> name{};
    std::snprintf(name.data(), name.size(), "0x%x", static_cast<unsigned>(id));
    Json entry = {{"type", type}, {"value", value}};
    if (!options.is_null()) entry["options"] = options;
    return {{name.data(), entry}};
}

Json madeUpFile(const std::string& name, int64_t bytes) {
    return {{"name", name}, {"bytes", bytes}};
}

Json cardFile(const std::string& name, const std::string& path) {
    return {{"name", name}, {"file", path}};
}

Json shotOf(const std::vector<Json>& files) {
    Json shot = Json::array();
    for (const Json& file : files) {
        shot.push_back(file);
    }
    Json shots = Json::array();
    shots.push_back(shot);
    return shots;
}

Json madeUpFrames(const std::vector<int64_t>& sizes) {
    Json frames = Json::array();
    for (const int64_t size : sizes) {
        frames.push_back({{"bytes", size}});
    }
    return frames;
}

Json framesFrom(const std::vector<std::string>& paths) {
    return paths;
}

Json scenarioOf(const std::vector<Json>& devices) {
    return {{"devices", devices}};
}

void CanonTest::start(const Json& scenario) {
    HelperOptions options;
    options.scenario = scenario;
    start(options);
}

void CanonTest::start(const HelperOptions& options) {
    events_.reset();
    canon_.reset();
    lab_.reset();
    helper_.reset();
    helper_ = std::make_unique<HelperProcess>(options);
    canon_ = std::make_unique<CanonCalls>(helper_->port());
}

int32_t CanonTest::startSession(const Json& camera) {
    start(scenarioOf({camera}));
    return HasFailure() ? 0 : openFirst();
}

int32_t CanonTest::startQuietSession(const Json& camera) {
    const int32_t handle = startSession(camera);
    lab().must({{"cmd", "event"}, {"id", "canon-1"}, {"kind", "object"}, {"event", 0x20A}});
    helper().waitForOut("In handleObjectEvent 0x20A\n");
    return handle;
}

int32_t CanonTest::openFirst() {
    EXPECT_EQ(canon().initializeSdk(), 0);
    // Every start but the first is answered before the library is up.
    std::vector<int32_t> cameras;
    EXPECT_TRUE(eventually([&] { return !(cameras = canon().cameraList()).empty(); }));
    if (cameras.empty()) return 0;
    const int32_t handle = canon().openSession(cameras[0]);
    EXPECT_NE(handle, 0);
    EXPECT_NE(handle, 130);
    return handle;
}

std::vector<int32_t> CanonTest::shoot(int32_t handle, const std::string& path, size_t files) {
    events();
    EXPECT_EQ(canon().preCapture(handle, path), 0);
    EXPECT_EQ(canon().capture(handle, path), 0);
    std::vector<int32_t> items;
    while (items.size() < files) {
        const Event offered = events().waitFor(kObjectEvent, kRequestTransfer);
        if (offered.values.empty()) break;
        EXPECT_EQ(offered.handle(), handle);
        items.push_back(offered.last());
    }
    return items;
}

LabClient& CanonTest::lab() {
    if (!lab_) lab_ = std::make_unique<LabClient>(helper_->labSocket());
    return *lab_;
}

CallbackStream& CanonTest::events() {
    if (!events_) events_ = std::make_unique<CallbackStream>(*helper_);
    return *events_;
}

void CanonTest::expectServing() {
    CanonCalls other(helper().port());
    EXPECT_FALSE(other.isLiveViewZoom(0));
}

}  // namespace e2e
