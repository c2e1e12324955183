// Calls before the library is started and after its end, on what is released, made up, or of another kind.
#include <algorithm>
#include <map>

#include "tests/EDSDK/fixture.h"

namespace test {
namespace {

EdsInt32 number;
EdsDataType type;
EdsUInt32 size;
EdsUInt64 length;
EdsVoid* pointer;
EdsBaseRef made;
EdsDeviceInfo device;
EdsPropertyDesc description;
EdsDirectoryItemInfo item;

using Ref = EdsBaseRef;

/** One call of every function that takes a reference. */
struct Function {
    const char* name;
    EdsError (*call)(Ref reference);
};

const Function kFunctions[] = {
    {"EdsGetChildCount", [](Ref r) { return EdsGetChildCount(r, &size); }},
    {"EdsGetChildAtIndex", [](Ref r) { return EdsGetChildAtIndex(r, 0, &made); }},
    {"EdsGetDeviceInfo", [](Ref r) { return EdsGetDeviceInfo(r, &device); }},
    {"EdsOpenSession", [](Ref r) { return EdsOpenSession(r); }},
    {"EdsCloseSession", [](Ref r) { return EdsCloseSession(r); }},
    {"EdsSendCommand", [](Ref r) { return EdsSendCommand(r, 0, 0); }},
    {"EdsSendStatusCommand", [](Ref r) { return EdsSendStatusCommand(r, 0, 0); }},
    {"EdsSetCapacity",
     [](Ref r) {
         return EdsSetCapacity(r, {1, 1, 1});
     }},
    {"EdsSetObjectEventHandler", [](Ref r) { return EdsSetObjectEventHandler(r, 0x200, nullptr, nullptr); }},
    {"EdsSetPropertyEventHandler",
     [](Ref r) { return EdsSetPropertyEventHandler(r, 0x100, nullptr, nullptr); }},
    {"EdsSetCameraStateEventHandler",
     [](Ref r) { return EdsSetCameraStateEventHandler(r, 0x300, nullptr, nullptr); }},
    {"EdsGetPropertySize", [](Ref r) { return EdsGetPropertySize(r, 0x406, 0, &type, &size); }},
    {"EdsGetPropertyData", [](Ref r) { return EdsGetPropertyData(r, 0x406, 0, 4, &number); }},
    {"EdsSetPropertyData", [](Ref r) { return EdsSetPropertyData(r, 0x406, 0, 4, &number); }},
    {"EdsGetPropertyDesc", [](Ref r) { return EdsGetPropertyDesc(r, 0x406, &description); }},
    {"EdsGetDirectoryItemInfo", [](Ref r) { return EdsGetDirectoryItemInfo(r, &item); }},
    {"EdsDownload", [](Ref r) { return EdsDownload(r, 1, r); }},
    {"EdsDownloadComplete", [](Ref r) { return EdsDownloadComplete(r); }},
    {"EdsDownloadCancel", [](Ref r) { return EdsDownloadCancel(r); }},
    {"EdsGetLength", [](Ref r) { return EdsGetLength(r, &length); }},
    {"EdsGetPointer", [](Ref r) { return EdsGetPointer(r, &pointer); }},
    {"EdsSetProgressCallback", [](Ref r) { return EdsSetProgressCallback(r, nullptr, 0, nullptr); }},
    {"EdsCreateEvfImageRef", [](Ref r) { return EdsCreateEvfImageRef(r, &made); }},
    {"EdsDownloadEvfImage", [](Ref r) { return EdsDownloadEvfImage(r, r); }},
};

/** References that were never given out. */
std::vector<Ref> forged() {
    std::vector<Ref> all = {nullptr};
    for (const intptr_t address : {intptr_t{1}, intptr_t{-1}, intptr_t{0x1000}, INTPTR_MAX, INTPTR_MIN,
                                   reinterpret_cast<intptr_t>(&number)}) {
        all.push_back(reinterpret_cast<Ref>(address));
    }
    return all;
}

class Misuse : public EdsTest {
protected:
    void SetUp() override {
        EdsTest::SetUp();
        allowMisuse();
    }
    static void expectInvalid(Ref reference, const char* what) {
        for (const Function& function : kFunctions) {
            EXPECT_EQ(function.call(reference), EDS_ERR_INVALID_HANDLE) << function.name << " on " << what;
        }
        EXPECT_EQ(EdsRetain(reference), 0xFFFFFFFF) << what;
        EXPECT_EQ(EdsRelease(reference), 0xFFFFFFFF) << what;
    }
    /** One object of every kind. */
    struct Objects {
        Ref list = nullptr;
        Ref camera = nullptr;
        Ref item = nullptr;
        Ref stream = nullptr;
        Ref image = nullptr;
        std::vector<Ref> all() const { return {list, stream, image, item, camera}; }
    };
    Objects makeAll() {
        Objects objects;
        objects.camera = session();
        EXPECT_EQ(EdsGetCameraList(&objects.list), EDS_ERR_OK);
        EXPECT_EQ(EdsCreateMemoryStream(0, &objects.stream), EDS_ERR_OK);
        EXPECT_EQ(EdsCreateEvfImageRef(objects.stream, &objects.image), EDS_ERR_OK);
        objects.item = shoot(objects.camera).at(0);
        return objects;
    }
};

TEST_F(Misuse, before_the_library_is_started) {
    lay(Json::array({Json{{"id", "canon-1"}, {"family", "canon"}}}));
    for (Ref reference : forged()) {
        expectInvalid(reference, "an unstarted library");
    }
    EXPECT_EQ(EdsGetCameraList(&made), EDS_ERR_INTERNAL_ERROR);
    EXPECT_EQ(EdsCreateMemoryStream(1, &made), EDS_ERR_INTERNAL_ERROR);
    EXPECT_EQ(EdsCreateFileStreamEx(folder.file("x").c_str(), 1, 2, &made), EDS_ERR_INTERNAL_ERROR);
    EXPECT_EQ(EdsGetEvent(), EDS_ERR_INTERNAL_ERROR);
    EXPECT_EQ(EdsTerminateSDK(), EDS_ERR_INTERNAL_ERROR);
}

TEST_F(Misuse, of_references_that_were_never_given_out) {
    start();
    const int before = library()["misuse"]["references"];
    for (Ref reference : forged()) {
        expectInvalid(reference, "a forged reference");
    }
    EXPECT_GT(library()["misuse"]["references"].get<int>(), before);
    EXPECT_EQ(EdsGetCameraList(nullptr), EDS_ERR_INVALID_POINTER);
    EXPECT_EQ(EdsCreateMemoryStream(1, nullptr), EDS_ERR_INVALID_POINTER);
}

TEST_F(Misuse, of_released_objects_of_every_kind) {
    const Objects objects = makeAll();
    for (Ref reference : objects.all()) {
        EXPECT_EQ(EdsRelease(reference), 0u);
        expectInvalid(reference, "a released object");
    }
}

TEST_F(Misuse, of_objects_of_another_kind) {
    const Objects o = makeAll();
    const std::map<std::string, std::vector<Ref>> fitting = {{"EdsGetChildCount", {o.list, o.camera}},
                                                             {"EdsGetChildAtIndex", {o.list, o.camera}},
                                                             {"EdsGetPropertySize", {o.camera, o.image}},
                                                             {"EdsGetPropertyData", {o.camera, o.image}},
                                                             {"EdsSetPropertyData", {o.camera, o.image}},
                                                             {"EdsGetPropertyDesc", {o.camera, o.image}},
                                                             {"EdsGetDirectoryItemInfo", {o.item}},
                                                             {"EdsDownloadComplete", {o.item}},
                                                             {"EdsDownloadCancel", {o.item}},
                                                             {"EdsGetLength", {o.stream}},
                                                             {"EdsGetPointer", {o.stream}},
                                                             {"EdsSetProgressCallback", {o.stream}},
                                                             {"EdsCreateEvfImageRef", {o.stream}},
                                                             {"EdsDownload", {}},
                                                             {"EdsDownloadEvfImage", {}}};
    for (const Function& function : kFunctions) {
        const auto row = fitting.find(function.name);
        const std::vector<Ref> fit = row == fitting.end() ? std::vector<Ref>{o.camera} : row->second;
        for (Ref reference : o.all()) {
            if (std::find(fit.begin(), fit.end(), reference) != fit.end()) continue;
            EXPECT_EQ(function.call(reference), EDS_ERR_INVALID_HANDLE) << function.name;
        }
    }
}

TEST_F(Misuse, after_the_end_of_the_library) {
    const Objects objects = makeAll();
    EXPECT_EQ(EdsTerminateSDK(), EDS_ERR_OK);
    for (Ref reference : objects.all()) {
        expectInvalid(reference, "an ended library");
    }
    EXPECT_EQ(EdsGetCameraList(&made), EDS_ERR_INTERNAL_ERROR);
    EXPECT_EQ(EdsGetEvent(), EDS_ERR_INTERNAL_ERROR);
}

}  // namespace
}  // namespace test
