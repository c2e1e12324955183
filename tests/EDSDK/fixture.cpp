#include "tests/EDSDK/fixture.h"

#include <chrono>

#include "platform/Events.h"

namespace test {

namespace {

Heard& heardBy(EdsVoid* context) {
    return *static_cast<Heard*>(context);
}

EdsError onObject(EdsObjectEvent event, EdsBaseRef object, EdsVoid* context) {
    heardBy(context).objects.push_back({event, object});
    heardBy(context).threads.push_back(std::this_thread::get_id());
    return EDS_ERR_OK;
}

EdsError onProperty(EdsPropertyEvent event, EdsPropertyID property, EdsUInt32 parameter, EdsVoid* context) {
    heardBy(context).properties.push_back({event, property, parameter});
    heardBy(context).threads.push_back(std::this_thread::get_id());
    return EDS_ERR_OK;
}

EdsError onState(EdsStateEvent event, EdsUInt32 parameter, EdsVoid* context) {
    heardBy(context).states.push_back({event, parameter});
    heardBy(context).threads.push_back(std::this_thread::get_id());
    return EDS_ERR_OK;
}

bool handleOne(double timeout) {
    EventRef event = nullptr;
    if (ReceiveNextEvent(0, nullptr, timeout, true, &event) != noErr) return false;
    SendEventToEventTarget(event, GetEventDispatcherTarget());
    ReleaseEvent(event);
    return true;
}

}  // namespace

std::vector<EdsBaseRef> Heard::items(EdsObjectEvent event) const {
    std::vector<EdsBaseRef> found;
    for (const ObjectEvent& object : objects) {
        if (object.event == event) found.push_back(object.object);
    }
    return found;
}

void EdsTest::SetUp() {
    EdsTerminateSDK();  // a test that failed may have left it running
    misuseBefore_ = library()["misuse"];
}

void EdsTest::TearDown() {
    pump();
    must({{"cmd", "clearFaults"}});
    EdsTerminateSDK();
    if (mayMisuse_ || HasFailure()) return;
    EXPECT_EQ(library()["misuse"], misuseBefore_);
}

void EdsTest::start(const std::vector<Json>& cameras, const Json& scenario) {
    Json devices = Json::array();
    for (Json fields : cameras) {
        fields["family"] = "canon";
        if (!fields.contains("id")) fields["id"] = "canon-" + std::to_string(devices.size() + 1);
        devices.push_back(std::move(fields));
    }
    lay(devices, scenario);
    ASSERT_EQ(EdsInitializeSDK(), EDS_ERR_OK);
    clearTrace();
}

EdsCameraRef EdsTest::camera(EdsInt32 index) {
    EdsCameraListRef list = nullptr;
    EdsCameraRef reference = nullptr;
    EXPECT_EQ(EdsGetCameraList(&list), EDS_ERR_OK);
    EXPECT_EQ(EdsGetChildAtIndex(list, index, &reference), EDS_ERR_OK);
    EXPECT_EQ(EdsRelease(list), 0u);
    return reference;
}

void EdsTest::install(EdsCameraRef reference) {
    EXPECT_EQ(EdsSetObjectEventHandler(reference, kEdsObjectEvent_All, onObject, &heard), EDS_ERR_OK);
    EXPECT_EQ(EdsSetPropertyEventHandler(reference, kEdsPropertyEvent_All, onProperty, &heard), EDS_ERR_OK);
    EXPECT_EQ(EdsSetCameraStateEventHandler(reference, kEdsStateEvent_All, onState, &heard), EDS_ERR_OK);
}

void EdsTest::prepare(EdsCameraRef reference) {
    install(reference);
    ASSERT_EQ(EdsOpenSession(reference), EDS_ERR_OK);
    EXPECT_EQ(EdsSendStatusCommand(reference, kEdsCameraStatusCommand_UILock, 0), EDS_ERR_OK);
    EXPECT_EQ(set(reference, kEdsPropID_SaveTo, kEdsSaveTo_Host), EDS_ERR_OK);
    EXPECT_EQ(EdsSetCapacity(reference, {0x7FFFFFFF, 4096, 1}), EDS_ERR_OK);
    EXPECT_EQ(EdsSendStatusCommand(reference, kEdsCameraStatusCommand_UIUnLock, 0), EDS_ERR_OK);
}

EdsCameraRef EdsTest::session(const Json& fields, const Json& scenario) {
    start({fields}, scenario);
    EdsCameraRef reference = camera();
    prepare(reference);
    pump();
    heard = {};
    return reference;
}

EdsError EdsTest::set(EdsCameraRef reference, EdsPropertyID property, EdsInt32 value) {
    return EdsSetPropertyData(reference, property, 0, sizeof value, &value);
}

EdsInt32 EdsTest::get(EdsBaseRef object, EdsPropertyID property) {
    EdsInt32 value = -12345;
    EXPECT_EQ(EdsGetPropertyData(object, property, 0, sizeof value, &value), EDS_ERR_OK);
    return value;
}

EdsError EdsTest::take(EdsCameraRef reference) {
    return EdsSendCommand(reference, kEdsCameraCommand_TakePicture, 0);
}

std::vector<EdsDirectoryItemRef> EdsTest::shoot(EdsCameraRef reference, size_t files) {
    heard.objects.clear();
    EXPECT_EQ(take(reference), EDS_ERR_OK);
    EXPECT_TRUE(pumpUntil([&] { return heard.objects.size() >= files; }));
    return heard.items(kEdsObjectEvent_DirItemRequestTransfer);
}

EdsDirectoryItemInfo EdsTest::info(EdsDirectoryItemRef item) {
    EdsDirectoryItemInfo info{};
    EXPECT_EQ(EdsGetDirectoryItemInfo(item, &info), EDS_ERR_OK);
    return info;
}

EdsStreamRef EdsTest::fileStream(const std::string& path) {
    EdsStreamRef stream = nullptr;
    EXPECT_EQ(EdsCreateFileStreamEx(path.c_str(), kEdsFileCreateDisposition_CreateAlways,
                                    kEdsAccess_ReadWrite, &stream),
              EDS_ERR_OK);
    return stream;
}

void EdsTest::release(EdsBaseRef object) {
    EXPECT_NE(EdsRelease(object), 0xFFFFFFFFU);
}

void EdsTest::pump() {
    while (handleOne(0)) {
    }
}

bool EdsTest::pumpUntil(const std::function<bool()>& condition) {
    constexpr double kStep = 0.01;
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        handleOne(kStep);
    }
    return true;
}

Json EdsTest::library() {
    return must({{"cmd", "state"}})["libraries"]["EDSDK"];
}

int EdsTest::references(const char* kind) {
    return library()["references"][kind];
}

}  // namespace test
