// The entry points on a module that does what no camera of the lab does.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "tests/Nikon/OpenedModule.h"
#include "tests/Nikon/ScriptedModule.h"
#include "tests/e2e/support/temp_folder.h"

namespace nikon::test {
namespace {

constexpr uint32_t kSetting = 0x8111;
constexpr uint32_t kFrame = 0x8247;
constexpr uint32_t kReadableList = kMaidOperationGet | kMaidOperationGetArray;

/** The result of an entry point that answers strings. */
std::vector<std::string> take(jobjectArray array) {
    std::vector<std::string> texts;
    for (jsize i = 0; array != nullptr && i < array->count; ++i) {
        texts.emplace_back(static_cast<char**>(array->elements)[i]);
    }
    freeStringArray(array);
    return texts;
}

class MisbehavingModules : public ::testing::Test {
protected:
    ~MisbehavingModules() override {
        for (const jlong handle : cameras_) {
            NIKON(releaseCamera)(env, env, handle);
        }
        if (module == 0) return;
        EXPECT_EQ(NIKON(TerminateSDK)(env, env, module), 0);
    }

    void open() {
        module = openAsLoaded(ScriptedModule::entry);
        ASSERT_NE(module, 0);
    }

    jlong select() {
        if (module == 0) open();
        const jlong handle = NIKON(selectCameraAtIndex)(env, env, module, 0);
        EXPECT_NE(handle, 0);
        cameras_.push_back(handle);
        return handle;
    }

    CameraData& record(jlong handle) { return *reinterpret_cast<CameraData*>(handle); }

    /** A list as the module announces it, and as it hands it out. */
    void offerList(uint32_t type, uint32_t elements, uint16_t size, const std::string& content,
                   uint32_t elementsLater) {
        scripted.extraSourceCaps.push_back(describe(kSetting, kMaidCapEnum, kReadableList));
        scripted.answer(kMaidCommandCapGet, kSetting, [=](const Command& command) {
            auto& list = command.as<NkMAIDEnum>();
            list.type = type;
            list.elements = elements;
            list.value = 1;
            list.physicalBytes = size;
            return 0;
        });
        scripted.answer(kMaidCommandCapGetArray, kSetting, [=](const Command& command) {
            auto& list = command.as<NkMAIDEnum>();
            std::copy(content.begin(), content.end(), static_cast<char*>(list.data));
            list.elements = elementsLater;
            return 0;
        });
    }

    void offerFrame(uint32_t elements, uint16_t size, uint32_t elementsLater) {
        scripted.extraSourceCaps.push_back(describe(kFrame, kMaidCapArray, kReadableList));
        scripted.answer(kMaidCommandCapGet, kFrame, [=](const Command& command) {
            command.as<NkMAIDArray>().elements = elements;
            command.as<NkMAIDArray>().physicalBytes = size;
            return 0;
        });
        scripted.answer(kMaidCommandCapGetArray, kFrame, [=](const Command& command) {
            command.as<NkMAIDArray>().elements = elementsLater;
            return 0;
        });
    }

    jbyteArray frame(jlong handle) { return NIKON(getLiveViewImage)(env, env, handle); }

    JNIEnv* const env = GetGlobalEnv();
    ScriptedModule scripted;
    jlong module = 0;

private:
    std::vector<jlong> cameras_;
};

// ---- Lists ----------------------------------------------------------------------------------------------

TEST_F(MisbehavingModules, packed_texts_without_a_last_end_mark_are_read_to_their_end) {
    offerList(kMaidArrayPackedString, 7, 1, std::string("one\0two", 7), 7);
    EXPECT_EQ(take(NIKON(GetSettingOptions)(env, env, select(), kSetting)),
              (std::vector<std::string>{"one", "two"}));
}

TEST_F(MisbehavingModules, packed_texts_that_are_all_end_marks_are_empty_texts) {
    offerList(kMaidArrayPackedString, 3, 1, std::string(3, '\0'), 3);
    EXPECT_EQ(take(NIKON(GetSettingOptions)(env, env, select(), kSetting)),
              (std::vector<std::string>{"", "", ""}));
}

TEST_F(MisbehavingModules, packed_texts_are_counted_in_bytes_whatever_size_an_element_is_said_to_have) {
    offerList(kMaidArrayPackedString, 8, 2, std::string("one\0two\0", 8), 8);
    EXPECT_EQ(take(NIKON(GetSettingOptions)(env, env, select(), kSetting)),
              (std::vector<std::string>{"one", "two"}));
}

TEST_F(MisbehavingModules, list_that_grows_between_the_reads_ends_where_it_was_allocated) {
    offerList(kMaidArrayUnsigned, 2, 4, std::string(8, '\0'), 1000000);
    EXPECT_EQ(take(NIKON(GetSettingOptions)(env, env, select(), kSetting)),
              (std::vector<std::string>{"Program", "Program"}));
}

TEST_F(MisbehavingModules, list_that_shrinks_between_the_reads_is_as_long_as_it_is_then) {
    offerList(kMaidArrayUnsigned, 3, 4, std::string(12, '\0'), 1);
    EXPECT_EQ(take(NIKON(GetSettingOptions)(env, env, select(), kSetting)),
              std::vector<std::string>{"Program"});
}

TEST_F(MisbehavingModules, setting_is_the_one_that_is_told_together_with_the_values) {
    offerList(kMaidArrayUnsigned, 3, 4, std::string(12, '\0'), 3);
    scripted.answer(kMaidCommandCapGetArray, kSetting, [](const Command& command) {
        command.as<NkMAIDEnum>().value = 2;
        return 0;
    });
    EXPECT_EQ(NIKON(GetSetting)(env, env, select(), kSetting), 2);
}

TEST_F(MisbehavingModules, list_whose_size_overflows_is_not_fetched) {
    offerList(kMaidArrayUnsigned, 0xFFFFFFFF, 0xFFFF, "", 0);
    const jlong camera = select();
    EXPECT_EQ(NIKON(GetSettingOptions)(env, env, camera, kSetting), nullptr);
    EXPECT_EQ(NIKON(GetSetting)(env, env, camera, kSetting), -1);
    EXPECT_EQ(scripted.count(kMaidCommandCapGetArray, kSetting), 0u);
}

TEST_F(MisbehavingModules, list_of_numbers_of_another_size_has_no_texts) {
    offerList(kMaidArrayUnsigned, 5, 1, "\1\2\3\4\5", 5);
    const jobjectArray options = NIKON(GetSettingOptions)(env, env, select(), kSetting);
    ASSERT_NE(options, nullptr);
    EXPECT_EQ(options->count, 0);
    freeStringArray(options);
}

TEST_F(MisbehavingModules, list_of_elements_without_a_size_is_not_fetched) {
    offerList(kMaidArrayUnsigned, 5, 0, "", 5);
    const jlong camera = select();
    EXPECT_EQ(NIKON(GetSettingOptions)(env, env, camera, kSetting), nullptr);
    EXPECT_EQ(NIKON(GetSetting)(env, env, camera, kSetting), -1);
}

TEST_F(MisbehavingModules, camera_list_of_another_element_size_has_no_cameras) {
    open();
    scripted.answer(kMaidCommandCapGet, kMaidCapabilityChildren, [](const Command& command) {
        command.as<NkMAIDEnum>().elements = 2;
        command.as<NkMAIDEnum>().physicalBytes = 2;
        return 0;
    });
    EXPECT_EQ(NIKON(getCameraCount)(env, env, module), 2);
    EXPECT_EQ(NIKON(getCameraTypeAtIndex)(env, env, module, 0), 65535);
    EXPECT_EQ(NIKON(selectCameraAtIndex)(env, env, module, 0), 0);
}

// ---- Frames ---------------------------------------------------------------------------------------------

TEST_F(MisbehavingModules, frame_that_is_announced_longer_later_is_none) {
    offerFrame(600, 1, 4000000000);
    EXPECT_EQ(frame(select()), nullptr);
}

TEST_F(MisbehavingModules, frame_that_is_announced_shorter_later_is_as_long_as_it_is_then) {
    offerFrame(6000, 1, 600);
    const jbyteArray array = frame(select());
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(array->count, 600 - 384);
    freeByteArray(array);
}

TEST_F(MisbehavingModules, frame_whose_size_overflows_is_none) {
    offerFrame(0xFFFFFFFF, 0xFFFF, 0xFFFFFFFF);
    EXPECT_EQ(frame(select()), nullptr);
}

TEST_F(MisbehavingModules, frame_without_bytes_is_none) {
    offerFrame(0, 1, 0);
    EXPECT_EQ(frame(select()), nullptr);
}

// ---- Cameras --------------------------------------------------------------------------------------------

TEST_F(MisbehavingModules, camera_without_a_source_answers_minus_one) {
    const jlong camera = select();
    tagRefObj* source = std::exchange(record(camera).source, nullptr);
    std::string path = "/nowhere/x";
    EXPECT_EQ(NIKON(CaptureImage)(env, env, camera, path.data()), -1);
    EXPECT_EQ(NIKON(preCaptureImage)(env, env, camera, path.data()), -1);
    EXPECT_EQ(NIKON(getBatteryLevel)(env, env, camera), -1);
    EXPECT_EQ(NIKON(GetSetting)(env, env, camera, kSetting), -1);
    EXPECT_EQ(NIKON(checkForImages)(env, env, camera), 0);
    EXPECT_EQ(NIKON(getBracketing)(env, env, camera), 0);
    EXPECT_EQ(NIKON(SetLiveView)(env, env, camera, 1), 0);
    EXPECT_EQ(NIKON(IsLiveView)(env, env, camera), 0);
    EXPECT_EQ(NIKON(GetSettingOptions)(env, env, camera, kSetting), nullptr);
    EXPECT_EQ(frame(camera), nullptr);
    NIKON(SetSetting)(env, env, camera, kSetting, 1);
    NIKON(SetLiveViewZoomPosition)(env, env, camera, 1, 1);
    NIKON(driveFocus)(env, env, camera, 1);
    record(camera).source = source;
}

TEST_F(MisbehavingModules, camera_taken_away_while_it_is_asked_its_type_is_not_selected) {
    open();
    scripted.answer(kMaidCommandCapGet, 0x81D7, [&](const Command&) -> std::optional<int32_t> {
        scripted.polls.push_back([&] { scripted.raise("", kMaidEventRemoveChild, 1); });
        return std::nullopt;
    });
    EXPECT_EQ(NIKON(selectCameraAtIndex)(env, env, module, 0), 0);
    EXPECT_FALSE(scripted.isOpen("1"));
}

TEST_F(MisbehavingModules, camera_taken_away_while_it_is_selected_is_inactive) {
    scripted.extraSourceCaps.push_back(
        describe(0x823D, kMaidCapUnsigned, kMaidOperationGet | kMaidOperationSet));
    open();
    scripted.answer(kMaidCommandCapGet, 0x823D, [&](const Command&) -> std::optional<int32_t> {
        scripted.polls.push_back([&] { scripted.raise("", kMaidEventRemoveChild, 1); });
        return std::nullopt;
    });
    const jlong camera = select();
    EXPECT_EQ(record(camera).active, 0);
    EXPECT_NE(record(camera).source, nullptr) << "until it is released";
}

TEST_F(MisbehavingModules, source_that_does_not_close_is_given_up_by_all_its_cameras) {
    const jlong first = select();
    const jlong second = select();
    EXPECT_EQ(record(first).source, record(second).source);
    const auto refuses = std::make_shared<bool>(true);
    scripted.answer(kMaidCommandClose, 0, [refuses](const Command&) -> std::optional<int32_t> {
        if (!*refuses) return std::nullopt;
        return kMaidResultUnexpectedError;
    });
    tagRefObj* source = record(first).source;
    NIKON(releaseCamera)(env, env, second);
    EXPECT_EQ(source->cameraData, nullptr);
    EXPECT_EQ(record(first).source, nullptr);
    EXPECT_EQ(record(first).active, 0);
    *refuses = false;
    // The module takes it away on its own: nothing may look at the record that was left.
    scripted.polls.push_back([&] { scripted.raise("", kMaidEventRemoveChild, 1); });
    EXPECT_EQ(NIKON(getCameraCount)(env, env, module), 1);
    EXPECT_EQ(NIKON(getBatteryLevel)(env, env, first), 0);
}

TEST_F(MisbehavingModules, module_closed_under_its_cameras_leaves_them_inactive) {
    const jlong first = select();
    const jlong second = select();
    EXPECT_EQ(NIKON(TerminateSDK)(env, env, std::exchange(module, 0)), 0);
    for (const jlong camera : {first, second}) {
        EXPECT_EQ(record(camera).active, 0);
        EXPECT_EQ(record(camera).source, nullptr);
        EXPECT_EQ(NIKON(GetSetting)(env, env, camera, kSetting), 0);
    }
    EXPECT_FALSE(scripted.isOpen(""));
}

// ---- Pictures -------------------------------------------------------------------------------------------

class MisbehavingTransfers : public MisbehavingModules {
protected:
    jlong withItem() {
        const jlong camera = select();
        scripted.children["1"] = {5};
        std::string path = pictures.file("a");
        EXPECT_EQ(NIKON(preCaptureImage)(env, env, camera, path.data()), 0);
        return camera;
    }

    /** The picture comes when it is asked for. */
    void deliverOnAcquire(uint32_t fileType) {
        scripted.answer(kMaidCommandCapStart, kMaidCapabilityAcquire,
                        [this, fileType](const Command& command) {
                            EXPECT_EQ(scripted.deliver(command.object, fileType, {1, 2, 3}), 0);
                            scripted.children["1"].erase(scripted.children["1"].begin());
                            return 0;
                        });
    }

    jint check(jlong camera) { return NIKON(checkForImages)(env, env, camera); }

    e2e::TempFolder pictures;
};

TEST_F(MisbehavingTransfers, bring_a_picture_when_the_module_behaves) {
    const jlong camera = withItem();
    deliverOnAcquire(kMaidFileJpeg);
    EXPECT_EQ(check(camera), 1);
    EXPECT_EQ(e2e::readFile(pictures.file("a.jpg")), (e2e::Bytes{1, 2, 3}));
    EXPECT_EQ(check(camera), 0);
}

TEST_F(MisbehavingTransfers, objects_that_no_event_has_announced_are_opened_and_said_so) {
    const jlong camera = withItem();
    deliverOnAcquire(kMaidFileJpeg);
    testing::internal::CaptureStdout();
    EXPECT_EQ(check(camera), 1);
    const std::string log = testing::internal::GetCapturedStdout();
    const std::string image = "image " + pictures.file("a") + ", imageCount=0, ulSingleDualImage=0\n";
    size_t at = 0;
    for (const std::string& line :
         {"Downloading for " + image, std::string("IN ADD CHILD 0x"), std::string("Item object is opened.\n"),
          std::string("IN ADD CHILD 0x"), std::string("Image object is opened.\n"),
          "IssueAcquire for " + image, "Finished for " + image}) {
        const size_t found = log.find("NikonMaid: " + line, at);
        ASSERT_NE(found, std::string::npos) << line << "in\n" << log;
        at = found + line.size();
    }
}

TEST_F(MisbehavingTransfers, item_that_goes_before_the_second_look_is_none) {
    const jlong camera = withItem();
    scripted.answer(kMaidCommandCapGetArray, kMaidCapabilityChildren,
                    [&](const Command&) -> std::optional<int32_t> {
                        scripted.polls.push_back([&] { scripted.children["1"].clear(); });
                        return std::nullopt;
                    });
    EXPECT_EQ(check(camera), 0);
    EXPECT_FALSE(scripted.isOpen("1/5"));
}

TEST_F(MisbehavingTransfers, item_that_cannot_be_opened_is_minus_four) {
    const jlong camera = withItem();
    scripted.answer(kMaidCommandOpen, 5, [](const Command&) { return kMaidResultUnexpectedError; });
    EXPECT_EQ(check(camera), -4);
}

TEST_F(MisbehavingTransfers, image_that_cannot_be_opened_is_minus_five) {
    const jlong camera = withItem();
    scripted.answer(kMaidCommandOpen, 1, [](const Command& command) -> std::optional<int32_t> {
        if (command.object != "1/5") return std::nullopt;
        return kMaidResultUnexpectedError;
    });
    EXPECT_EQ(check(camera), -5);
}

TEST_F(MisbehavingTransfers, image_that_goes_while_it_is_opened_is_minus_fifty_one) {
    const jlong camera = withItem();
    // The last command of an opening installs the event procedure.
    scripted.answer(
        kMaidCommandCapSet, kMaidCapabilityEventProc, [&](const Command& command) -> std::optional<int32_t> {
            if (command.object == "1/5/1" && command.dataType == kMaidDataCallbackPtr) {
                scripted.polls.push_back([&] { scripted.raise("1/5", kMaidEventRemoveChild, 1); });
            }
            return std::nullopt;
        });
    EXPECT_EQ(check(camera), -51);
}

TEST_F(MisbehavingTransfers, item_that_goes_while_its_image_is_transferred_leaves_nothing_dangling) {
    const jlong camera = withItem();
    scripted.answer(kMaidCommandCapStart, kMaidCapabilityAcquire, [&](const Command&) {
        scripted.polls.push_back([&] { scripted.raise("1", kMaidEventRemoveChild, 5); });
        return 0;
    });
    check(camera);
    EXPECT_FALSE(scripted.isOpen("1/5"));
    EXPECT_TRUE(pictures.names().empty());
    EXPECT_EQ(NIKON(IsLiveView)(env, env, camera), 0) << "it still answers";
}

TEST_F(MisbehavingTransfers, transfer_that_is_refused_is_minus_sixty) {
    const jlong camera = withItem();
    scripted.answer(kMaidCommandCapStart, kMaidCapabilityAcquire,
                    [](const Command&) { return kMaidResultHardwareError; });
    EXPECT_EQ(check(camera), -60);
    EXPECT_EQ(record(camera).acquiring, 0);
}

TEST_F(MisbehavingTransfers, second_picture_is_waited_for_while_the_module_completes_at_once) {
    // Only polls of the wait itself let such a module announce anything.
    const jlong camera = withItem();
    scripted.completesAtOnce = true;
    scripted.numbers[{"1/5/1", 0x81B5}] = 1;
    deliverOnAcquire(kMaidFileNef);
    scripted.polls.push_back([&] { deliverOnAcquire(kMaidFileJpeg); });
    scripted.polls.push_back([&] { scripted.children["1"] = {6}; });
    EXPECT_EQ(check(camera), 2);
    EXPECT_EQ(pictures.names(), (std::vector<std::string>{"a.jpg", "a.nef"}));
}

TEST_F(MisbehavingTransfers, second_picture_is_not_waited_for_when_the_module_stops_working) {
    const jlong camera = withItem();
    scripted.completesAtOnce = true;
    scripted.numbers[{"1/5/1", 0x81B5}] = 1;
    deliverOnAcquire(kMaidFileNef);
    scripted.polls.push_back([&] { scripted.pollResult = kMaidResultHardwareError; });
    EXPECT_EQ(check(camera), 1) << "the first one is safe";
    scripted.pollResult = 0;
}

TEST_F(MisbehavingTransfers, second_picture_that_never_comes_is_given_up) {
    const jlong camera = withItem();
    scripted.numbers[{"1/5/1", 0x81B5}] = 1;
    deliverOnAcquire(kMaidFileNef);
    EXPECT_EQ(check(camera), 1);
}

}  // namespace
}  // namespace nikon::test
