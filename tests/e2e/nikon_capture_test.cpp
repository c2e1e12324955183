// Captures: the shutter, the files that come of it, progress, and every way in which it can fail.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>

#include "tests/e2e/support/nikon_fixture.h"

namespace e2e {
namespace {

using Texts = std::vector<std::string>;
using Percents = std::vector<int32_t>;

constexpr int32_t kInactive = 0;
constexpr int kEventProcedure = 3;  // a capability
constexpr int kRemoveChild = 1;     // an event

class NikonCapture : public NikonTest {
protected:
    static Json bodyWithShot(const std::vector<Json>& items, const Json& more = Json::object()) {
        Json body = usualNikon(more);
        body["shots"] = nikonShots({items});
        return body;
    }

    /** A body whose pictures are these contents. */
    std::string card(const std::string& name, const Bytes& content) {
        writeFile(cards_.file(name), content);
        return cards_.file(name);
    }

    Texts files() const { return pictures().names(); }

    /** The object, by its ids from the module down, whose child was the last one to be opened. */
    std::string lastOpenedBelow() {
        constexpr int kOpenCommand = 1;
        std::string object;
        for (const MaidCommand& command : commands()) {
            if (command.command == kOpenCommand) object = command.object;
        }
        return object;
    }

    /** How often the log has the line, its prefix included. */
    size_t logged(const std::string& line) { return helper().out().count("NikonMaid: " + line); }

private:
    TempFolder cards_;
};

// ---- Files ----------------------------------------------------------------------------------------------

TEST_F(NikonCapture, writes_the_picture_to_the_hosts_path) {
    const Bytes content = patternBytes(123457, 1);
    const int64_t camera = startCamera(bodyWithShot({nikonFile(kJpegType, card("a", content))}));
    EXPECT_EQ(nikon().capture(camera, picturePath("frame")), 0);
    EXPECT_EQ(files(), Texts{"frame.jpg"});
    EXPECT_EQ(readFile(picturePath("frame.jpg")), content);
}

TEST_F(NikonCapture, chooses_the_extension_by_the_files_type) {
    struct Kind {
        int type;
        const char* extension;
    };
    constexpr Kind kKinds[] = {{1, ".jpg"}, {2, ".tif"}, {4, ".nef"},   {257, ".ndf"}, {3, ".dat"},
                               {0, ".dat"}, {5, ".dat"}, {256, ".dat"}, {258, ".dat"}};
    Json body = usualNikon();
    body["shots"] = Json::array();
    for (const Kind& kind : kKinds) {
        body["shots"].push_back({nikonItem(kind.type, 2000)});
    }
    const int64_t camera = startCamera(body);
    for (const Kind& kind : kKinds) {
        const std::string name = "type" + std::to_string(kind.type);
        ASSERT_EQ(nikon().capture(camera, picturePath(name)), 0);
        EXPECT_TRUE(std::filesystem::exists(picturePath(name + kind.extension))) << kind.type;
    }
    EXPECT_EQ(files().size(), std::size(kKinds));
}

TEST_F(NikonCapture, of_a_pair_writes_two_files_under_one_name) {
    const Bytes raw = patternBytes(90001, 2);
    const Bytes jpeg = patternBytes(30001, 3);
    for (const bool rawFirst : {true, false}) {
        const Json nef = nikonFile(kNefType, card("n", raw), {{"dual", 1}});
        const Json jpg = nikonFile(kJpegType, card("j", jpeg), {{"dual", 1}});
        const int64_t camera =
            startCamera(bodyWithShot(rawFirst ? std::vector{nef, jpg} : std::vector{jpg, nef}));
        const std::string name = rawFirst ? "raw" : "jpeg";
        EXPECT_EQ(nikon().capture(camera, picturePath(name)), 0);
        EXPECT_EQ(readFile(picturePath(name + ".nef")), raw);
        EXPECT_EQ(readFile(picturePath(name + ".jpg")), jpeg);
        EXPECT_EQ(logged("Waiting for second image.\n"), 1u);
    }
}

TEST_F(NikonCapture, of_several_blocks_writes_one_whole_file) {
    const Bytes content = patternBytes(100001, 4);
    const int64_t camera =
        startCamera(bodyWithShot({nikonFile(kNefType, card("n", content), {{"blocks", 3}})}));
    EXPECT_EQ(nikon().capture(camera, picturePath("frame")), 0);
    EXPECT_EQ(readFile(picturePath("frame.nef")), content);
}

TEST_F(NikonCapture, of_no_bytes_writes_an_empty_file) {
    const int64_t camera = startCamera(bodyWithShot({nikonItem(kNdfType, 0)}));
    EXPECT_EQ(nikon().capture(camera, picturePath("frame")), 0);
    EXPECT_EQ(files(), Texts{"frame.ndf"});
    EXPECT_TRUE(readFile(picturePath("frame.ndf")).empty());
    EXPECT_EQ(nikon().checkForImages(camera), 0) << "it has left the camera";
}

TEST_F(NikonCapture, overwrites_an_older_file_whole) {
    writeFile(picturePath("frame.jpg"), patternBytes(500000, 9));
    const Bytes content = patternBytes(1000, 5);
    const int64_t camera = startCamera(bodyWithShot({nikonFile(kJpegType, card("a", content))}));
    EXPECT_EQ(nikon().capture(camera, picturePath("frame")), 0);
    EXPECT_EQ(readFile(picturePath("frame.jpg")), content);
}

TEST_F(NikonCapture, may_be_repeated) {
    Json body = usualNikon();
    body["shots"] = nikonShots({{nikonItem(kJpegType, 1000)}, {nikonItem(kNefType, 2000)}});
    const int64_t camera = startCamera(body);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(nikon().capture(camera, picturePath(std::to_string(i))), 0);
    }
    EXPECT_EQ(files(), (Texts{"0.jpg", "1.nef", "2.jpg", "3.nef"}));
}

TEST_F(NikonCapture, logs_its_steps) {
    const int64_t camera = startCamera(bodyWithShot({nikonItem(kJpegType, 1000)}));
    const std::string path = picturePath("frame");
    ASSERT_EQ(nikon().capture(camera, path), 0);
    size_t at = 0;
    for (const std::string& line :
         {"Issue kNkMAIDCapability_Capture for " + path + "\n", "Waiting for image " + path + "\n",
          "Downloading for image " + path + ", imageCount=0, ulSingleDualImage=0\n",
          std::string("Item object is opened.\n"), std::string("Image object is opened.\n"),
          "IssueAcquire for image " + path + ", imageCount=0, ulSingleDualImage=0\n",
          "Finished for image " + path + ", imageCount=0, ulSingleDualImage=0\n"}) {
        const size_t found = helper().out().text().find("NikonMaid: " + line, at);
        // An item that is announced while it is looked for is open already.
        if (found == std::string::npos && line.ends_with("opened.\n")) continue;
        ASSERT_NE(found, std::string::npos) << line << helper().out().text();
        at = found;
    }
    EXPECT_EQ(helper().err().count("Issue kNk"), 0u) << "the other stream";
}

TEST_F(NikonCapture, commands_come_in_order) {
    const int64_t camera = startCamera(bodyWithShot({nikonItem(kJpegType, 1000)}));
    lab().clearTrace();
    ASSERT_EQ(nikon().capture(camera, picturePath("frame")), 0);
    Texts wanted;
    for (const MaidCommand& command : commands()) {
        const bool isItem = command.object.ends_with("/1") && command.object != "1";
        if (command.command == kStartCommand || command.param == kReadBeforeCapture) {
            wanted.push_back((isItem ? "image " : "source ") + std::to_string(command.command) + " " +
                             std::to_string(command.param));
        }
        if (isItem && (command.param == kDataProc || command.param == kDualImage) &&
            (command.command == kSetCommand || command.command == kGetCommand)) {
            wanted.push_back("image " + std::to_string(command.command) + " " +
                             std::to_string(command.param) + " " + std::to_string(command.dataType));
        }
    }
    EXPECT_EQ(wanted, (Texts{"source 7 33167", "source 5 17", "image 7 33205 6", "image 6 4 13", "image 5 20",
                             "image 6 4 0"}));
}

// ---- Progress -------------------------------------------------------------------------------------------

TEST_F(NikonCapture, progress_of_one_image_goes_from_0_to_100) {
    const int64_t camera = startCamera(bodyWithShot({nikonItem(kJpegType, 40000, {{"blocks", 4}})}));
    events();
    ASSERT_EQ(nikon().capture(camera, picturePath("frame")), 0);
    events().collectUntilSilent();
    const Percents percents = events().progress();
    ASSERT_GE(percents.size(), 3u);
    EXPECT_EQ(percents.front(), 0);
    EXPECT_EQ(percents.back(), 100);
    EXPECT_TRUE(std::is_sorted(percents.begin(), percents.end())) << ::testing::PrintToString(percents);
    EXPECT_GE(helper().err().count("Nikon: progressCallback 0\n"), 2u)
        << "at the capture and at the transfer";
    EXPECT_EQ(helper().err().count("Nikon: progressCallback 100\n"), 1u);
}

TEST_F(NikonCapture, progress_of_a_pair_goes_from_0_over_50_to_100) {
    const Json dual = {{"blocks", 4}, {"dual", 1}};
    const int64_t camera =
        startCamera(bodyWithShot({nikonItem(kNefType, 40000, dual), nikonItem(kJpegType, 40000, dual)}));
    events();
    ASSERT_EQ(nikon().capture(camera, picturePath("frame")), 0);
    events().collectUntilSilent();
    const Percents percents = events().progress();
    ASSERT_FALSE(percents.empty());
    EXPECT_EQ(percents.front(), 0);
    EXPECT_EQ(percents.back(), 100);
    EXPECT_TRUE(std::is_sorted(percents.begin(), percents.end())) << ::testing::PrintToString(percents);
    EXPECT_GE(std::count(percents.begin(), percents.end(), 50), 2)
        << "the end of one and the begin of the other";
}

TEST_F(NikonCapture, progress_after_a_pair_begins_at_0_again) {
    const Json dual = {{"dual", 1}};
    const int64_t camera =
        startCamera(bodyWithShot({nikonItem(kNefType, 400, dual), nikonItem(kJpegType, 400, dual)}));
    ASSERT_EQ(nikon().capture(camera, picturePath("a")), 0);
    events();
    ASSERT_EQ(nikon().capture(camera, picturePath("b")), 0);
    events().collectUntilSilent();
    const Percents percents = events().progress();
    ASSERT_FALSE(percents.empty());
    EXPECT_EQ(percents.front(), 0);
    EXPECT_TRUE(std::is_sorted(percents.begin(), percents.end())) << ::testing::PrintToString(percents);
}

TEST_F(NikonCapture, progress_is_logged_without_a_callback_socket) {
    const int64_t camera = startCamera(bodyWithShot({nikonItem(kJpegType, 1000)}));
    ASSERT_EQ(nikon().capture(camera, picturePath("frame")), 0);
    helper().waitForErr("Nikon: progressCallback 100\n");
}

TEST_F(NikonCapture, progress_travels_in_ten_bytes) {
    const Json dual = {{"dual", 1}};
    const int64_t camera =
        startCamera(bodyWithShot({nikonItem(kNefType, 40000, dual), nikonItem(kJpegType, 40000, dual)}));
    RawClient stream(helper().port());
    stream.send({8});
    helper().waitForErr("setCallbackSocket(");
    ASSERT_EQ(nikon().capture(camera, picturePath("frame")), 0);
    bool hasFifty = false;
    for (Bytes message = stream.receiveSome(1, kSilence); !message.empty();
         message = stream.receiveSome(1, kSilence)) {
        const Bytes rest = stream.receive(9);
        message.insert(message.end(), rest.begin(), rest.end());
        hasFifty = hasFifty || hex(message) == "14 33 22 11 00 04 32 00 00 00";
    }
    EXPECT_TRUE(hasFifty);
}

// ---- Paths ----------------------------------------------------------------------------------------------

TEST_F(NikonCapture, path_of_1014_bytes_or_more_is_too_long_and_leaves_the_one_before) {
    const int64_t camera = startCamera(bodyWithShot({nikonItem(kJpegType, 1000)}));
    ASSERT_EQ(nikon().preCapture(camera, picturePath("kept")), 0);
    for (const size_t length : {1014u, 1015u, 2048u}) {
        EXPECT_EQ(nikon().preCapture(camera, std::string(length, 'p')), -2);
        lab().clearTrace();
        EXPECT_EQ(nikon().capture(camera, std::string(length, 'p')), -2);
        EXPECT_EQ(commandTexts(), Texts{}) << "the shutter is not released";
    }
    lab().press("nikon-1");
    EXPECT_TRUE(eventually([&] { return nikon().checkForImages(camera) == 1; }));
    EXPECT_EQ(files(), Texts{"kept.jpg"});
}

TEST_F(NikonCapture, path_of_1013_bytes_is_taken) {
    const int64_t camera = startCamera(bodyWithShot({nikonItem(kNefType, 1000)}));
    std::string path = picturePath("");
    while (path.size() + 102 < 1013) {
        path += std::string(100, 'd') + "/";
        std::filesystem::create_directory(path);
    }
    path += std::string(1013 - path.size(), 'f');
    ASSERT_EQ(path.size(), 1013u);
    EXPECT_EQ(nikon().capture(camera, path), 0);
    EXPECT_TRUE(std::filesystem::exists(path + ".nef"));
}

TEST_F(NikonCapture, path_is_kept_until_the_next) {
    const int64_t camera = startCamera(bodyWithShot({nikonItem(kJpegType, 1000)}));
    ASSERT_EQ(nikon().capture(camera, picturePath("first")), 0);
    std::filesystem::remove(picturePath("first.jpg"));
    lab().press("nikon-1");
    EXPECT_TRUE(eventually([&] { return nikon().checkForImages(camera) == 1; }));
    EXPECT_EQ(files(), Texts{"first.jpg"});
}

// ---- Pictures that the photographer takes ----------------------------------------------------------------

TEST_F(NikonCapture, pictures_taken_on_the_camera_are_collected) {
    const Bytes content = patternBytes(7777, 6);
    const int64_t camera = startCamera(bodyWithShot({nikonFile(kJpegType, card("a", content))}));
    EXPECT_EQ(nikon().preCapture(camera, picturePath("mine")), 0);
    EXPECT_EQ(nikon().checkForImages(camera), 0);
    lab().press("nikon-1");
    EXPECT_TRUE(eventually([&] { return nikon().checkForImages(camera) == 1; }));
    EXPECT_EQ(readFile(picturePath("mine.jpg")), content);
    EXPECT_EQ(nikon().checkForImages(camera), 0);
}

TEST_F(NikonCapture, pair_taken_on_the_camera_counts_two) {
    const Json dual = {{"dual", 1}};
    const int64_t camera =
        startCamera(bodyWithShot({nikonItem(kNefType, 3000, dual), nikonItem(kJpegType, 2000, dual)}));
    EXPECT_EQ(nikon().preCapture(camera, picturePath("mine")), 0);
    lab().press("nikon-1");
    EXPECT_TRUE(eventually([&] { return nikon().checkForImages(camera) == 2; }));
    EXPECT_EQ(files(), (Texts{"mine.jpg", "mine.nef"}));
}

TEST_F(NikonCapture, more_than_one_further_image_counts_as_one) {
    const Json many = {{"dual", 7}};
    const int64_t camera =
        startCamera(bodyWithShot({nikonItem(kNefType, 3000, many), nikonItem(kJpegType, 2000, many)}));
    EXPECT_EQ(nikon().preCapture(camera, picturePath("mine")), 0);
    lab().press("nikon-1");
    EXPECT_TRUE(eventually([&] { return nikon().checkForImages(camera) == 2; }));
    EXPECT_EQ(
        logged("IssueAcquire for image " + picturePath("mine") + ", imageCount=0, ulSingleDualImage=1\n"),
        1u);
}

TEST_F(NikonCapture, pre_capture_releases_no_shutter) {
    const int64_t camera = startCamera(bodyWithShot({nikonItem(kJpegType, 1000)}));
    lab().clearTrace();
    EXPECT_EQ(nikon().preCapture(camera, picturePath("x")), 0);
    EXPECT_EQ(commandTexts(), Texts{}) << "polls only";
    EXPECT_EQ(lab().calls("MAIDEntryPoint").size(), 1u);
}

// ---- Results --------------------------------------------------------------------------------------------

TEST_F(NikonCapture, that_is_refused_is_minus_three) {
    const int64_t camera = startCamera(bodyWithShot({nikonItem(kJpegType, 1000)}));
    lab().fault("MAIDEntryPoint:5", -116, {{"capability", kCapture}});
    EXPECT_EQ(nikon().capture(camera, picturePath("frame")), -3);
    EXPECT_EQ(logged("IssueProcess Command_CapStart failed\n"), 1u);
    EXPECT_EQ(files(), Texts{});
}

TEST_F(NikonCapture, of_a_camera_that_has_no_shutter_is_minus_three) {
    const int64_t camera = startCamera(withCapabilities({{{"id", kCapture}, {"remove", true}}}));
    EXPECT_EQ(nikon().capture(camera, picturePath("frame")), -3);
    EXPECT_EQ(logged("IssueProcess GetCapInfo failed\n"), 1u);
}

TEST_F(NikonCapture, whose_module_does_not_work_afterwards_is_minus_thirty_one) {
    // The command completes inside the call, so that the next poll is the capture's own.
    const int64_t camera = startCamera(withCapabilities(
        {capability(kCapture, kProcessCap, 1, {{"completeAfter", 0}}),
         capability(kReadBeforeCapture, kUnsignedCap, kGettable, {{"value", 0}, {"completeAfter", 0}})}));
    lab().fault("MAIDEntryPoint:0", -116);
    EXPECT_EQ(nikon().capture(camera, picturePath("frame")), -31);
    lab().fault("MAIDEntryPoint:0", -116);
    EXPECT_EQ(nikon().preCapture(camera, picturePath("frame")), -31);
    EXPECT_EQ(nikon().preCapture(camera, picturePath("frame")), 0);
}

TEST_F(NikonCapture, without_an_image_is_minus_four) {
    const int64_t camera = startCamera(usualNikon({{"shots", nikonShots({{}})}}));
    EXPECT_EQ(nikon().capture(camera, picturePath("frame")), -4);
    EXPECT_EQ(logged("Image not available. Exiting.\n"), 1u);
    EXPECT_EQ(files(), Texts{});
}

TEST_F(NikonCapture, polls_for_its_image_51_times) {
    const int64_t camera = startCamera(usualNikon({{"shots", nikonShots({{}})}}));
    lab().clearTrace();
    EXPECT_EQ(nikon().capture(camera, picturePath("frame")), -4);
    const std::vector<MaidCommand> all = commands();
    EXPECT_EQ(
        std::count_if(all.begin(), all.end(),
                      [](const MaidCommand& c) { return c.command == kGetCommand && c.param == kChildren; }),
        51);
}

TEST_F(NikonCapture, leaves_the_camera_a_tenth_of_a_second_between_two_looks) {
    constexpr int64_t kPause = 100000;
    // When the list of pictures was asked for, and when for what is in it: an empty one is not asked.
    const auto looks = [this] {
        std::vector<int64_t> times;
        for (const Json& entry : lab().calls("MAIDEntryPoint")) {
            const int64_t command = number(entry["args"]["command"]);
            const bool isLook = command == kGetCommand || command == kGetArrayCommand;
            if (isLook && number(entry["args"]["param"]) == kChildren) times.push_back(number(entry["us"]));
        }
        return times;
    };
    const int64_t camera =
        startCamera(usualNikon({{"shots", nikonShots({{}, {nikonItem(kJpegType, 1000)}})}}));
    lab().clearTrace();
    EXPECT_EQ(nikon().capture(camera, picturePath("none")), -4);
    const std::vector<int64_t> inVain = looks();
    EXPECT_EQ(inVain.size(), 51u);
    for (size_t i = 1; i < inVain.size(); ++i) {
        EXPECT_GE(inVain[i] - inVain[i - 1], kPause) << "a sleep is never shorter";
    }
    // An item is looked for once more before it is taken.
    lab().press("nikon-1");
    EXPECT_TRUE(eventually([&] { return lab().clearTrace(), nikon().checkForImages(camera) == 1; }));
    const std::vector<int64_t> twice = looks();
    ASSERT_EQ(twice.size(), 4u);
    EXPECT_GE(twice[2] - twice[1], kPause) << "from the first list to the second look";
}

TEST_F(NikonCapture, does_not_read_a_value_that_the_camera_refuses) {
    const int64_t camera = startCamera(bodyWithShot({nikonItem(kJpegType, 1000)}));
    lab().fault("MAIDEntryPoint:7", -127, {{"capability", kReadBeforeCapture}});
    EXPECT_EQ(nikon().capture(camera, picturePath("frame")), 0);
    EXPECT_EQ(files(), Texts{"frame.jpg"});
}

TEST_F(NikonCapture, tries_again_after_a_failed_transfer) {
    const int64_t camera = startCamera(bodyWithShot({nikonItem(kJpegType, 1000)}));
    lab().fault("MAIDEntryPoint:5", -116, {{"capability", kAcquire}});
    EXPECT_EQ(nikon().capture(camera, picturePath("frame")), 0);
    EXPECT_EQ(files(), Texts{"frame.jpg"});
    EXPECT_EQ(logged("IssueAcquire for image"), 2u);
}

TEST_F(NikonCapture, image_check_whose_transfer_fails_is_minus_sixty) {
    const int64_t camera = startCamera(bodyWithShot({nikonItem(kJpegType, 1000)}));
    nikon().preCapture(camera, picturePath("frame"));
    lab().press("nikon-1");
    lab().fault("MAIDEntryPoint:5", -116, {{"capability", kAcquire}});
    int32_t result = 0;
    EXPECT_TRUE(eventually([&] { return (result = nikon().checkForImages(camera)) != 0; }));
    EXPECT_EQ(result, -60);
    EXPECT_EQ(files(), Texts{});
    EXPECT_EQ(nikon().checkForImages(camera), 1) << "the picture has stayed";
}

/** Faults the opening of an object until the check has told of it. */
TEST_F(NikonCapture, image_check_whose_objects_do_not_open_is_minus_four_or_minus_five) {
    const int64_t camera = startCamera(bodyWithShot({nikonItem(kJpegType, 1000)}));
    nikon().preCapture(camera, picturePath("frame"));
    lab().fault("MAIDEntryPoint:1", -117, {{"times", 0}});
    lab().press("nikon-1");
    int32_t result = 0;
    EXPECT_TRUE(eventually([&] { return (result = nikon().checkForImages(camera)) != 0; }));
    EXPECT_EQ(result, -4);
    EXPECT_GE(logged("Item object can't be opened.\n"), 1u);
    lab().clearFaults();
    // The item opens, and nothing below it.
    lab().fault("MAIDEntryPoint:1", -117, {{"times", 0}, {"skip", 1}});
    EXPECT_EQ(nikon().checkForImages(camera), -5);
    EXPECT_GE(logged("Image object can't be opened.\n"), 1u);
    lab().clearFaults();
    EXPECT_EQ(nikon().checkForImages(camera), 1);
}

TEST_F(NikonCapture, image_check_whose_image_goes_while_it_opens_is_minus_fifty_one) {
    const int64_t camera = startCamera(bodyWithShot({nikonItem(kJpegType, 1000)}));
    nikon().preCapture(camera, picturePath("frame"));
    // The item opens, and nothing below it.
    lab().fault("MAIDEntryPoint:1", -117, {{"times", 0}, {"skip", 1}});
    lab().press("nikon-1");
    ASSERT_TRUE(eventually([&] { return nikon().checkForImages(camera) == -5; }));
    lab().clearFaults();
    const std::string item = lastOpenedBelow();
    // The last command of an opening hands the event procedure over.
    lab().delay("MAIDEntryPoint:6", std::chrono::milliseconds(1000), {{"capability", kEventProcedure}});
    nikon().send(23, Message().int64(camera));
    nikon().expectHeader(23);
    ASSERT_TRUE(eventually([&] { return lab().must({{"cmd", "state"}})["faults"].empty(); }));
    lab().must(
        {{"cmd", "event"}, {"id", "nikon-1"}, {"object", item}, {"event", kRemoveChild}, {"parameter", 1}});
    nikon().expectHeader(23);
    EXPECT_EQ(nikon().receiveInt(), -51);
    EXPECT_EQ(files(), Texts{});
    EXPECT_EQ(nikon().checkForImages(camera), 1) << "the picture has stayed";
}

// ---- Cameras that go ------------------------------------------------------------------------------------

TEST_F(NikonCapture, of_a_camera_that_goes_meanwhile_is_zero) {
    const int64_t camera = startCamera(usualNikon({{"shots", nikonShots({{}})}}));
    nikon().send(20, Message().int64(camera).text(picturePath("frame")).int64(0));
    nikon().expectHeader(20);
    helper().waitForOut("NikonMaid: Waiting for image");
    lab().detach("nikon-1");
    nikon().expectHeader(20);
    EXPECT_EQ(nikon().receiveInt(), kInactive);
    EXPECT_EQ(nikon().batteryLevel(camera), 0);
    nikon().releaseCamera(camera);
}

TEST_F(NikonCapture, second_image_that_never_comes_is_not_waited_for_when_the_camera_goes) {
    const int64_t camera = startCamera(bodyWithShot({nikonItem(kNefType, 1000, {{"dual", 1}})}));
    nikon().send(20, Message().int64(camera).text(picturePath("frame")).int64(0));
    nikon().expectHeader(20);
    helper().waitForOut("NikonMaid: Waiting for second image.\n");
    lab().detach("nikon-1");
    nikon().expectHeader(20);
    EXPECT_EQ(nikon().receiveInt(), 0);
    EXPECT_EQ(files(), Texts{"frame.nef"});
}

TEST_F(NikonCapture, second_image_may_come_late) {
    const int64_t camera = startCamera(bodyWithShot({nikonItem(kNefType, 1000, {{"dual", 1}})}));
    nikon().send(20, Message().int64(camera).text(picturePath("frame")).int64(0));
    nikon().expectHeader(20);
    helper().waitForOut("NikonMaid: Waiting for second image.\n");
    std::filesystem::remove(picturePath("frame.nef"));
    lab().press("nikon-1");
    nikon().expectHeader(20);
    EXPECT_EQ(nikon().receiveInt(), 0);
    EXPECT_EQ(files(), Texts{"frame.nef"});
}

TEST_F(NikonCapture, waits_for_a_slow_camera) {
    const Bytes content = patternBytes(30000, 8);
    const int64_t camera =
        startCamera(bodyWithShot({nikonFile(kJpegType, card("a", content), {{"blocks", 10}})},
                                 {{"shutterLagMs", 300}, {"transferBytesPerSecond", 100000}}));
    EXPECT_EQ(nikon().capture(camera, picturePath("frame")), 0);
    EXPECT_EQ(readFile(picturePath("frame.jpg")), content);
}

}  // namespace
}  // namespace e2e
