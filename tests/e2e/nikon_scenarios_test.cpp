// The scenarios that come with the program, as far as Nikon bodies are on the desk.
#include <gtest/gtest.h>

#include "tests/e2e/support/nikon_fixture.h"

namespace e2e {
namespace {

using Names = std::vector<std::string>;

class NikonScenarios : public NikonTest {
protected:
    void startNamed(const std::string& name) {
        HelperOptions options;
        options.environment["TARVO_LAB"] =
            std::string(TARVO_SOURCE_DIR) + "/share/scenarios/" + name + ".json";
        start(options);
    }

    void expectPicture(const std::string& name, std::string_view begin) {
        const Bytes bytes = readFile(picturePath(name));
        ASSERT_GT(bytes.size(), 1000u) << name;
        EXPECT_EQ(hex({bytes.begin(), bytes.begin() + 2}), begin) << name;
    }
};

constexpr std::string_view kJpegBegin = "ff d8";
constexpr std::string_view kNefBegin = "49 49";

TEST_F(NikonScenarios, nikon_pair_has_pairs_in_both_orders_and_headers_of_all_lengths) {
    startNamed("nikon-pair");
    const int64_t camera = nikon().selectCamera(startModule(7), 0);
    ASSERT_NE(camera, 0);
    const std::vector<std::string> qualities = nikon().settingOptions(camera, 0x8117);
    EXPECT_EQ(qualities.at(static_cast<size_t>(nikon().getSetting(camera, 0x8117))), "RAW + JPEG Fine");
    EXPECT_TRUE(nikon().setLiveView(camera, true));
    const Bytes first = nikon().liveViewImage(camera);
    ASSERT_GT(first.size(), 1000u);
    EXPECT_EQ(hex({first.begin(), first.begin() + 2}), kJpegBegin);
    EXPECT_EQ(nikon().liveViewImage(camera), first);
    EXPECT_EQ(nikon().liveViewImage(camera), first);
    for (const std::string name : {"a", "b"}) {
        EXPECT_EQ(nikon().capture(camera, picturePath(name)), 0);
        expectPicture(name + ".nef", kNefBegin);
        expectPicture(name + ".jpg", kJpegBegin);
    }
    const std::string log = helper().out().text();
    EXPECT_EQ(helper().out().count("NikonMaid: Waiting for second image.\n"), 2u) << log;
}

TEST_F(NikonScenarios, nikon_desk_has_several_bodies_on_two_modules) {
    startNamed("nikon-desk");
    const int64_t d200 = startModule(7);
    const int64_t d70 = startModule(4);
    EXPECT_EQ(nikon().cameraCount(d200), 2);
    EXPECT_EQ(nikon().cameraCount(d70), 1);
    EXPECT_EQ(nikon().cameraType(d200, 0), 7);
    EXPECT_EQ(nikon().cameraType(d200, 1), 8);
    EXPECT_EQ(nikon().cameraType(d70, 0), 4);
    EXPECT_EQ(nikon().capture(nikon().selectCamera(d200, 0), picturePath("left")), 0);
    EXPECT_EQ(nikon().capture(nikon().selectCamera(d200, 1), picturePath("right")), 0);
    EXPECT_EQ(nikon().capture(nikon().selectCamera(d70, 0), picturePath("old")), 0);
    EXPECT_EQ(pictures().names(), (Names{"left.jpg", "old.jpg", "old.nef", "right.nef"}));
    lab().must({{"cmd", "attach"}, {"id", "nikon-4"}});
    EXPECT_EQ(nikon().cameraCount(d200), 3);
    EXPECT_EQ(nikon().cameraType(d200, 2), 9);
}

TEST_F(NikonScenarios, nikon_busy_takes_its_time_and_no_second_release_meanwhile) {
    startNamed("nikon-busy");
    const int64_t camera = nikon().selectCamera(startModule(5), 0);
    ASSERT_NE(camera, 0);
    events();
    ASSERT_EQ(nikon().preCapture(camera, picturePath("a")), 0);
    lab().press("nikon-1");
    EXPECT_EQ(nikon().capture(camera, picturePath("a")), -3) << "it is exposing";
    EXPECT_TRUE(eventually([&] { return nikon().checkForImages(camera) == 1; }));
    expectPicture("a.jpg", kJpegBegin);
    events().collectUntilSilent();
    EXPECT_GT(events().progress().size(), 10u) << "one for each of many blocks";
    // And it gets hot.
    EXPECT_TRUE(nikon().setLiveView(camera, true));
    EXPECT_FALSE(nikon().liveViewImage(camera).empty());
    EXPECT_FALSE(nikon().liveViewImage(camera).empty());
    helper().waitForOut("NikonMaid: live view OVERHEAT!\n");
}

}  // namespace
}  // namespace e2e
