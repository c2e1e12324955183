// Taking pictures: preparing, releasing the shutter, and what each step asks of the camera.
#include <gtest/gtest.h>

#include "tests/e2e/support/canon_fixture.h"

namespace e2e {
namespace {

using Names = std::vector<std::string>;

/** A body whose shutter is released by a command of its own, not by its button. */
Json commandCamera(const Json& more = Json::object()) {
    return canonCamera("canon-1", "Canon EOS 40D", more);
}

class CanonCapture : public CanonTest {
protected:
    static int64_t argument(const Json& call, const char* name) {
        return number(call["args"].value(name, Json()));
    }

    std::vector<Json> writes(int property) {
        std::vector<Json> found;
        for (const Json& call : lab().calls("EdsSetPropertyData")) {
            if (number(call["args"]["property"]) == property) found.push_back(call);
        }
        return found;
    }

    /** Command and parameter of the commands sent, in order. */
    std::vector<std::pair<int64_t, int64_t>> commands() {
        std::vector<std::pair<int64_t, int64_t>> found;
        for (const Json& call : lab().calls("EdsSendCommand")) {
            found.emplace_back(argument(call, "command"), argument(call, "param"));
        }
        return found;
    }
    using Commands = std::vector<std::pair<int64_t, int64_t>>;
};

TEST_F(CanonCapture, is_prepared_in_the_prescribed_order) {
    const int32_t handle = startSession();
    lab().clearTrace();
    EXPECT_EQ(canon().preCapture(handle, picturePath("a")), 0);
    EXPECT_EQ(lab().callNames(), (Names{"EdsSetCapacity", "EdsGetPropertyData", "EdsGetPropertyData"}));
    const Json trace = lab().trace();
    EXPECT_EQ(argument(trace[0], "clusters"), 0x7FFFFFFF);
    EXPECT_EQ(argument(trace[0], "bytesPerSector"), 4096);
    EXPECT_EQ(argument(trace[0], "reset"), 1);
    EXPECT_EQ(argument(trace[1], "property"), kImageQuality);
    EXPECT_EQ(argument(trace[2], "property"), kEvfMode);
    helper().waitForOut("CanonEds: FILE NAME : '" + picturePath("a") + "'\n");
}

struct Quality {
    int64_t value;
    int files;
};

class CanonQuality : public CanonTest, public ::testing::WithParamInterface<Quality> {};

TEST_P(CanonQuality, says_how_many_files_a_picture_has) {
    const int32_t handle =
        startSession(usualCamera({{"properties", property(kImageQuality, 9, GetParam().value)}}));
    EXPECT_EQ(canon().preCapture(handle, picturePath("a")), 0);
    std::array<char, 80> line{};
    std::snprintf(line.data(), line.size(), "CanonEds: read imagequality = 0x%X, error=0x0, imageCount=%d\n",
                  static_cast<unsigned>(GetParam().value), GetParam().files);
    helper().waitForOut(line.data());
}

INSTANTIATE_TEST_SUITE_P(Canon, CanonQuality,
                         ::testing::Values(Quality{kJpegQuality, 1}, Quality{kRawAndJpegQuality, 2},
                                           Quality{0x0064FF0F, 1}, Quality{0x00640020, 2},
                                           Quality{0x00640080, 2}, Quality{0x0064FF00, 1},
                                           Quality{0x00640100, 1}));

TEST_F(CanonCapture, expects_one_file_when_the_quality_cannot_be_read) {
    const int32_t handle =
        startSession(usualCamera({{"properties", property(kImageQuality, 9, kRawAndJpegQuality)}}));
    lab().fault("EdsGetPropertyData", 0x81, {{"property", kImageQuality}});
    EXPECT_EQ(canon().preCapture(handle, picturePath("a")), 0);
    helper().waitForOut("error=0x81, imageCount=1\n");
}

TEST_F(CanonCapture, announces_capacity_once_and_again_after_a_failure) {
    const int32_t handle = startSession();
    lab().clearTrace();
    const auto announced = [&] { return lab().calls("EdsSetCapacity").size(); };
    canon().preCapture(handle, picturePath("a"));
    EXPECT_EQ(announced(), 1u) << "opening the session does not count";
    canon().capture(handle, picturePath("a"));
    canon().preCapture(handle, picturePath("b"));
    canon().capture(handle, picturePath("b"));
    EXPECT_EQ(announced(), 1u);
    lab().fault("EdsSendCommand", 0x81);
    EXPECT_EQ(canon().capture(handle, picturePath("c")), -1);
    EXPECT_EQ(announced(), 1u);
    EXPECT_EQ(canon().capture(handle, picturePath("c")), 0);
    EXPECT_EQ(announced(), 2u);
    EXPECT_EQ(canon().capture(handle, picturePath("d")), 0);
    EXPECT_EQ(announced(), 2u);
}

TEST_F(CanonCapture, announces_capacity_once_even_when_the_camera_refuses_it) {
    const int32_t handle = startSession();
    lab().clearTrace();
    lab().fault("EdsSetCapacity", 0x81);
    EXPECT_EQ(canon().preCapture(handle, picturePath("a")), 0);
    EXPECT_EQ(canon().preCapture(handle, picturePath("a")), 0);
    EXPECT_EQ(lab().calls("EdsSetCapacity").size(), 1u);
}

TEST_F(CanonCapture, announces_capacity_once_even_when_a_path_is_refused) {
    const int32_t handle = startSession();
    lab().clearTrace();
    EXPECT_EQ(canon().capture(handle, std::string(1014, 'x')), -1);
    EXPECT_EQ(canon().capture(handle, picturePath("a")), 0);
    EXPECT_EQ(lab().calls("EdsSetCapacity").size(), 1u);
}

TEST_F(CanonCapture, announces_capacity_by_itself_without_being_prepared) {
    const int32_t handle = startSession();
    lab().clearTrace();
    EXPECT_EQ(canon().capture(handle, picturePath("a")), 0);
    EXPECT_EQ(lab().calls("EdsSetCapacity").size(), 1u);
}

TEST_F(CanonCapture, presses_and_lets_go_of_the_button) {
    const int32_t handle = startSession();
    lab().clearTrace();
    EXPECT_EQ(canon().capture(handle, picturePath("a")), 0);
    EXPECT_EQ(commands(), (Commands{{4, 0x10003}, {4, 0}}));
    helper().waitForOut("CanonEds: picture 0x0\n");
}

TEST_F(CanonCapture, does_not_let_go_of_a_button_that_it_could_not_press) {
    const int32_t handle = startSession();
    lab().clearTrace();
    lab().fault("EdsSendCommand", 0x81);
    EXPECT_EQ(canon().capture(handle, picturePath("a")), -1);
    EXPECT_EQ(commands(), (Commands{{4, 0x10003}}));
    helper().waitForOut("CanonEds: picture 0x81\n");
}

TEST_F(CanonCapture, answers_for_pressing_the_button_and_not_for_letting_go) {
    const int32_t handle = startSession();
    lab().fault("EdsSendCommand", 0x81, {{"skip", 1}});
    EXPECT_EQ(canon().capture(handle, picturePath("a")), 0);
    helper().waitForOut("CanonEds: picture 0x0\n");
}

TEST_F(CanonCapture, commands_a_picture_where_there_is_no_button) {
    const int32_t handle = startSession(commandCamera());
    lab().clearTrace();
    EXPECT_EQ(canon().capture(handle, picturePath("a")), 0);
    EXPECT_EQ(commands(), (Commands{{0, 0}}));
    lab().fault("EdsSendCommand", 0x81);
    EXPECT_EQ(canon().capture(handle, picturePath("a")), -1);
}

TEST_F(CanonCapture, presses_half_way_only_when_asked_and_only_by_button) {
    const int32_t handle = startSession();
    lab().clearTrace();
    EXPECT_EQ(canon().preCapture(handle, picturePath("a"), false), 0);
    EXPECT_EQ(commands(), Commands{});
    EXPECT_EQ(canon().preCapture(handle, picturePath("a"), true), 0);
    EXPECT_EQ(commands(), (Commands{{4, 0x10001}}));
    // That it fails is nobody's business.
    lab().fault("EdsSendCommand", 0x81);
    EXPECT_EQ(canon().preCapture(handle, picturePath("a"), true), 0);
}

TEST_F(CanonCapture, does_not_press_half_way_where_there_is_no_button) {
    const int32_t handle = startSession(commandCamera());
    lab().clearTrace();
    EXPECT_EQ(canon().preCapture(handle, picturePath("a"), true), 0);
    EXPECT_EQ(commands(), Commands{});
}

TEST_F(CanonCapture, takes_the_preview_back_in_live_view_and_restores_it_after_the_shot) {
    Json properties = property(kEvfDofPreview, 9, 0);
    properties.update(property(kEvfMode, 9, 0));
    const int32_t handle = startSession(usualCamera({{"properties", properties}}));
    ASSERT_EQ(canon().startLiveView(handle), 0);
    ASSERT_TRUE(canon().setSetting(handle, kEvfDofPreview, 1));
    lab().clearTrace();
    EXPECT_EQ(canon().preCapture(handle, picturePath("a")), 0);
    ASSERT_EQ(writes(kEvfDofPreview).size(), 1u);
    EXPECT_EQ(writes(kEvfDofPreview)[0]["args"]["data"], "00000000");
    EXPECT_EQ(canon().capture(handle, picturePath("a")), 0);
    ASSERT_EQ(writes(kEvfDofPreview).size(), 2u);
    EXPECT_EQ(writes(kEvfDofPreview)[1]["args"]["data"], "01000000");
    // Even when the shot fails.
    lab().fault("EdsSendCommand", 0x81);
    EXPECT_EQ(canon().capture(handle, picturePath("a")), -1);
    EXPECT_EQ(writes(kEvfDofPreview).size(), 3u);
}

TEST_F(CanonCapture, takes_back_no_preview_that_is_off_already) {
    const int32_t handle = startSession();
    ASSERT_EQ(canon().startLiveView(handle), 0);
    lab().clearTrace();
    EXPECT_EQ(canon().preCapture(handle, picturePath("a")), 0);
    EXPECT_EQ(canon().capture(handle, picturePath("a")), 0);
    EXPECT_TRUE(writes(kEvfDofPreview).empty());
}

TEST_F(CanonCapture, leaves_the_preview_alone_without_live_view) {
    const int32_t handle = startSession(usualCamera({{"properties", property(kEvfDofPreview, 9, 0)}}));
    ASSERT_TRUE(canon().setSetting(handle, kEvfDofPreview, 1));
    lab().clearTrace();
    EXPECT_EQ(canon().preCapture(handle, picturePath("a")), 0);
    EXPECT_EQ(canon().capture(handle, picturePath("a")), 0);
    EXPECT_TRUE(writes(kEvfDofPreview).empty());
}

TEST_F(CanonCapture, takes_a_path_of_1013_bytes_and_fetches_to_it) {
    // A folder in a folder until only a name is left to fill it up to the last byte.
    std::string path = pictures().path().string();
    while (path.size() < 1013 - 202) {
        path += "/" + std::string(100, 'd');
    }
    std::filesystem::create_directories(path);
    path += "/" + std::string(1013 - path.size() - 1, 'f');
    ASSERT_EQ(path.size(), 1013u);
    const int32_t handle = startSession(usualCamera({{"shots", shotOf({madeUpFile("IMG_0001.JPG", 777)})}}));
    const int32_t item = shoot(handle, path).at(0);
    EXPECT_EQ(canon().download(handle, item), 0);
    EXPECT_EQ(readFile(path + ".jpg").size(), 777u);
}

TEST_F(CanonCapture, refuses_a_path_of_1014_bytes) {
    const int32_t handle = startSession();
    const std::string path = picturePath(std::string(1014 - picturePath("").size(), 'f'));
    ASSERT_EQ(path.size(), 1014u);
    lab().clearTrace();
    EXPECT_EQ(canon().preCapture(handle, path, true), -1);
    // Refused after the camera has been set up, and before the button.
    EXPECT_EQ(lab().callNames(), (Names{"EdsSetCapacity", "EdsGetPropertyData", "EdsGetPropertyData"}));
    lab().clearTrace();
    EXPECT_EQ(canon().capture(handle, path), -1);
    EXPECT_EQ(lab().callNames(), Names{});
    EXPECT_EQ(helper().out().count("FILE NAME"), 0u);
}

TEST_F(CanonCapture, keeps_the_path_of_the_shot_over_that_of_the_preparation) {
    const int32_t handle = startSession();
    events();
    EXPECT_EQ(canon().preCapture(handle, picturePath("prepared")), 0);
    EXPECT_EQ(canon().capture(handle, picturePath("shot")), 0);
    const int32_t item = events().waitFor(kObjectEvent, kRequestTransfer).last();
    EXPECT_EQ(canon().download(handle, item), 0);
    EXPECT_EQ(pictures().names(), Names{"shot.jpg"});
}

TEST_F(CanonCapture, takes_any_bytes_in_a_path_for_what_they_are) {
    const int32_t handle = startSession();
    for (const std::string name :
         {"with blank", "100%s%n%d", "Bild-\xC3\xA4\xE2\x82\xAC", "dots.in.it", "quote'\"$()`"}) {
        SCOPED_TRACE(name);
        const int32_t item = shoot(handle, picturePath(name)).at(0);
        EXPECT_EQ(canon().download(handle, item), 0);
        EXPECT_FALSE(readFile(picturePath(name + ".jpg")).empty());
        helper().waitForOut("CanonEds: FILE NAME : '" + picturePath(name) + "'\n");
    }
}

TEST_F(CanonCapture, on_the_camera_s_own_button_is_offered_too) {
    const int32_t handle = startSession();
    events();
    EXPECT_EQ(canon().preCapture(handle, picturePath("own")), 0);
    lab().press("canon-1");
    const int32_t item = events().waitFor(kObjectEvent, kRequestTransfer).last();
    EXPECT_EQ(canon().download(handle, item), 0);
    EXPECT_FALSE(readFile(picturePath("own.jpg")).empty());
}

TEST_F(CanonCapture, keeps_the_camera_awake_on_request) {
    const int32_t handle = startSession();
    lab().clearTrace();
    canon().extendShutdownTimer(handle);
    EXPECT_EQ(commands(), (Commands{{1, 0}}));
    helper().waitForOut("CanonEds: kEdsCameraCommand_ExtendShutDownTimer 0x0\n");
    lab().fault("EdsSendCommand", 0x81);
    canon().extendShutdownTimer(handle);
    helper().waitForOut("CanonEds: kEdsCameraCommand_ExtendShutDownTimer 0x81\n");
}

}  // namespace
}  // namespace e2e
