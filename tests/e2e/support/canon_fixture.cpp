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

Json scenarioOf(const std::vector<Json>& devices) {
    return {{"devices", devices}};
}

void CanonTest::start(const Json& scenario) {
    HelperOptions options;
    options.scenario = scenario;
    start(options);
}

void CanonTest::start(const HelperOptions& options) {
    helper_ = std::make_unique<HelperProcess>(options);
    ASSERT_NE(helper_->port(), 0);
    lab_ = std::make_unique<LabClient>(helper_->labSocket());
    canon_ = std::make_unique<CanonCalls>(helper_->port());
}

int32_t CanonTest::startSession(const Json& camera) {
    start(scenarioOf({camera}));
    return HasFatalFailure() ? 0 : openFirst();
}

int32_t CanonTest::openFirst() {
    EXPECT_EQ(canon().initializeSdk(), 0);
    const std::vector<int32_t> cameras = canon().cameraList();
    EXPECT_FALSE(cameras.empty());
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

CallbackStream& CanonTest::events() {
    if (!events_) events_ = std::make_unique<CallbackStream>(*helper_);
    return *events_;
}

void CanonTest::expectServing() {
    CanonCalls other(helper().port());
    EXPECT_FALSE(other.isLiveViewZoom(0));
}

}  // namespace e2e
