// Live-view frames: where the picture begins, the countdown, and the end of it.
#include <algorithm>

#include "tests/MAID/caller.h"

namespace test {
namespace {

class MaidLiveView : public MaidTest {
protected:
    const std::string photo = programFolder() + "/../../share/tarvo/photos/nikon/meta_d1x_200x130.jpg";

    Opened* showing(const Json& body) {
        start({body});
        Opened* opened = source();
        EXPECT_EQ(setUnsigned(opened, 0x823E, 1), 0);
        return opened;
    }

    /** Asks for a frame's size only. */
    int32_t askForFrame(Opened* body) {
        NkMAIDArray array{};
        return run(body, kMaidCommandCapGet, 0x8247, kMaidDataArrayPtr, reinterpret_cast<MaidParam>(&array));
    }
};

TEST_F(MaidLiveView, frames_have_their_picture_behind_all_three_lengths_of_header) {
    Json frames = Json::array();
    for (const int at : {64, 128, 384}) {
        frames.push_back({{"header", "0280"}, {"length", 1500}, {"jpegAt", at}});
    }
    Opened* body = showing({{"liveview", frames}});
    for (const size_t at : {64u, 128u, 384u}) {
        const std::string bytes = frame(body);
        EXPECT_EQ(bytes.size(), 1500u);
        EXPECT_EQ(wordAt(bytes, 0), 0x280u);
        for (const size_t other : {64u, 128u, 384u}) {
            EXPECT_EQ(bytes.substr(other, 2) == "\xFF\xD8", other == at) << at << ", " << other;
        }
        EXPECT_EQ(bytes.substr(bytes.size() - 2), "\xFF\xD9") << "a whole picture";
    }
}

TEST_F(MaidLiveView, pictures_stand_behind_the_cameras_own_header_at_the_same_three) {
    const std::string picture = readFile(photo);
    Json frames = Json::array();
    for (const int at : {64, 128, 384}) {
        frames.push_back({{"jpeg", photo}, {"jpegAt", at}, {"countdown", at}});
    }
    Opened* body = showing({{"liveview", frames}});
    for (const unsigned at : {64u, 128u, 384u}) {
        const std::string bytes = frame(body);
        EXPECT_EQ(bytes.substr(at), picture);
        EXPECT_EQ(wordAt(bytes, 0), 200u);
        EXPECT_EQ(wordAt(bytes, 2), 130u);
        EXPECT_EQ(wordAt(bytes, 38), at) << "the countdown stands still";
    }
}

TEST_F(MaidLiveView, frames_of_other_places_are_refused) {
    start();
    Json device = {{"id", "nikon-9"}, {"family", "nikon"}};
    device["liveview"] = Json::array({{{"jpeg", photo}, {"jpegAt", 100}}});
    const std::string problem = refused({{"cmd", "attach"}, {"device", device}});
    EXPECT_NE(problem.find("expected 64, 128 or 384, found 100"), std::string::npos) << problem;
}

TEST_F(MaidLiveView, ends_by_itself_when_the_camera_is_too_hot) {
    Opened* body = showing({{"liveViewSeconds", 1}});
    ASSERT_EQ(askForFrame(body), 0);
    EXPECT_TRUE(eventually([&] { return askForFrame(body) != 0; }));
    EXPECT_EQ(getUnsigned(body, 0x823E), 0u) << "off";
    poll(body);
    EXPECT_TRUE(std::any_of(body->events.begin(), body->events.end(), [](const HeardEvent& event) {
        return event.event == kMaidEventCapChangeValueOnly && event.parameter == 0x823E;
    })) << "and told so";
    // It can be switched on again.
    EXPECT_EQ(setUnsigned(body, 0x823E, 1), 0);
    EXPECT_EQ(askForFrame(body), 0);
}

TEST_F(MaidLiveView, counts_down_to_its_end) {
    Opened* body = showing({{"liveViewSeconds", 40}});
    const unsigned first = wordAt(frame(body), 38);
    EXPECT_LE(first, 40u);
    EXPECT_GT(first, 0u);
    EXPECT_TRUE(eventually([&] { return wordAt(frame(body), 38) < first; }));
    // Off and on again, it has all the time again.
    EXPECT_EQ(setUnsigned(body, 0x823E, 0), 0);
    EXPECT_NE(askForFrame(body), 0);
    EXPECT_TRUE(
        eventually([&] { return setUnsigned(body, 0x823E, 1) == 0 && wordAt(frame(body), 38) >= first; }));
}

}  // namespace
}  // namespace test
