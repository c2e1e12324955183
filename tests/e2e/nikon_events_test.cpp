// What a module raises by itself, and what the log says of it: events of every kind on every kind of object,
// objects that come and go, and objects that do not open or close.
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

#include "tests/e2e/support/nikon_fixture.h"

namespace e2e {
namespace {

using Texts = std::vector<std::string>;

constexpr int kAddChild = 0;
constexpr int kRemoveChild = 1;
constexpr int kWarmingUp = 2;
constexpr int kWarmedUp = 3;
constexpr int kCapabilitiesChanged = 4;
constexpr int kOrphanedChildren = 5;
constexpr int kValueChanged = 6;
constexpr int kPreviewAdded = 0x107;
constexpr int kUnknown = 0xABC;

const std::string kValueLine = "NikonMaid: The value of Capability(CapID=0x81AF) was changed.\n";
const std::string kAddLine = "NikonMaid: IN ADD CHILD ";
const std::string kRemoveLine = "NikonMaid: IN REMOVE CHILD ";
const std::string kNotOpenedLines =
    "NikonMaid: Command_Open 0xFFFFFF8B\nNikonMaid: Failed in Opening an object.\n";

class NikonEvents : public NikonTest {
protected:
    /** A camera with a picture on it, all of its objects open. */
    void startWithPicture() {
        const Json kept = nikonItem(kJpegType, 1000, {{"remove", false}});
        camera_ = startCamera(usualNikon({{"shots", nikonShots({{kept}})}}));
        ASSERT_EQ(nikon().capture(camera_, picturePath("a")), 0);
        for (const MaidCommand& command : commands()) {
            if (command.object.size() > image_.size()) image_ = command.object;
        }
        ASSERT_EQ(std::count(image_.begin(), image_.end(), '/'), 2) << image_;
        item_ = image_.substr(0, image_.rfind('/'));
    }

    /** What is logged of one event; the module raises it when it is polled next. */
    std::string logOf(const std::string& object, int event, int parameter) {
        const size_t from = helper().out().size();
        lab().must({{"cmd", "event"},
                    {"id", "nikon-1"},
                    {"object", object},
                    {"event", event},
                    {"parameter", parameter}});
        poll();
        return helper().out().since(from);
    }

    void poll() { nikon().batteryLevel(camera_); }

    /** The lines without the addresses in them, each of which there has to be. */
    static std::string withoutAddresses(const std::string& log) {
        return std::regex_replace(log, std::regex("0x[0-9a-f]{5,}\n"), "ADDRESS\n");
    }

    int64_t camera_ = 0;
    std::string image_;
    std::string item_;
};

TEST_F(NikonEvents, of_changed_values_are_told_for_every_kind_of_object) {
    startWithPicture();
    for (const std::string& object : {std::string(), std::string("1"), item_, image_}) {
        EXPECT_EQ(logOf(object, kValueChanged, kClearedBeforeBracketing), kValueLine) << "object " << object;
    }
    EXPECT_EQ(helper().err().count("was changed"), 0u) << "the other stream";
}

TEST_F(NikonEvents, of_previews_and_unknown_ones_are_told_by_the_kind_of_object) {
    startWithPicture();
    const std::string source = "NikonMaid: Detected unknown Event to the Source object [ABC].\n";
    const std::string preview = "NikonMaid: Received AddPreviewImage - [0x0000001F] was preprared.\n";
    const std::string item = "NikonMaid: Detected unknown Event to the Item object.\n";
    const std::string data = "NikonMaid: Detected unknown Event to the Data object.\n";
    // The module's own procedure is replaced by that of sources.
    for (const std::string object : {"", "1"}) {
        EXPECT_EQ(logOf(object, kPreviewAdded, 0x1F), preview);
        EXPECT_EQ(logOf(object, kUnknown, 5), source);
    }
    for (const int event : {kPreviewAdded, kUnknown}) {
        EXPECT_EQ(logOf(item_, event, 0x1F), item);
        EXPECT_EQ(logOf(image_, event, 0x1F), data);
    }
}

TEST_F(NikonEvents, that_mean_nothing_are_ignored) {
    startWithPicture();
    lab().clearTrace();
    for (const std::string& object : {std::string(), std::string("1"), item_, image_}) {
        EXPECT_EQ(logOf(object, kWarmingUp, 1), "");
        EXPECT_EQ(logOf(object, kWarmedUp, 1), "");
        if (object == image_) continue;
        EXPECT_EQ(logOf(object, kOrphanedChildren, 1), "");
    }
    EXPECT_EQ(logOf(image_, kOrphanedChildren, 1),
              "NikonMaid: Event_OrphanedChildren to Data object is not supported.\n");
    EXPECT_EQ(logOf(image_, kAddChild, 7), "");
    EXPECT_EQ(logOf(image_, kRemoveChild, 7), "");
    for (const std::string& text : commandTexts()) {
        EXPECT_EQ(text, "1 7 0x31") << "the polls' own";
    }
}

TEST_F(NikonEvents, of_changed_capabilities_have_them_listed_anew) {
    startWithPicture();
    for (const std::string& object : {std::string(), std::string("1"), item_, image_}) {
        SCOPED_TRACE("object " + object);
        lab().clearTrace();
        EXPECT_EQ(logOf(object, kCapabilitiesChanged, kClearedBeforeBracketing),
                  object == image_ ? kValueLine : "");
        Texts listing;
        for (const MaidCommand& command : commands()) {
            if (command.object == object && command.command != kGetCommand) {
                listing.push_back(std::to_string(command.command));
            }
        }
        EXPECT_EQ(listing, (Texts{"3", "4"}));
    }
}

TEST_F(NikonEvents, of_a_new_picture_open_it_and_its_image) {
    camera_ = startCamera();
    const size_t from = helper().out().size();
    lab().clearTrace();
    lab().press("nikon-1");
    EXPECT_TRUE(eventually([&] { return poll(), helper().out().count(kAddLine, from) == 2; }));
    EXPECT_EQ(withoutAddresses(helper().out().since(from)), kAddLine + "ADDRESS\n" + kAddLine + "ADDRESS\n");
    Texts steps;
    for (const MaidCommand& command : commands()) {
        const bool opens = command.command == kOpenCommand || command.command == kEnumChildrenCommand;
        if (opens) steps.push_back(command.object + " " + std::to_string(command.command));
    }
    // The item is opened under the source and asked for its images; the image is only opened.
    ASSERT_EQ(steps.size(), 3u) << ::testing::PrintToString(steps);
    EXPECT_EQ(steps[0], "1 1");
    EXPECT_TRUE(steps[1].starts_with("1/") && steps[1].ends_with(" 13")) << steps[1];
    EXPECT_TRUE(steps[2].starts_with("1/") && steps[2].ends_with(" 1")) << steps[2];
}

TEST_F(NikonEvents, of_a_camera_that_goes_are_told_once_and_leave_it_open) {
    startWithPicture();
    events();
    lab().clearTrace();
    const size_t from = helper().out().size();
    lab().detach("nikon-1");
    EXPECT_TRUE(eventually([&] { return nikon().batteryLevel(camera_) == 0; }));
    EXPECT_EQ(withoutAddresses(helper().out().since(from)), kRemoveLine + "ADDRESS\n");
    // Asked again and again, it says nothing more.
    for (int i = 0; i < 5; ++i) {
        nikon().cameraCount(module());
        poll();
    }
    events().collectUntilSilent();
    EXPECT_EQ(std::count_if(events().seen().begin(), events().seen().end(),
                            [](const Event& event) { return event.kind == kStateEvent; }),
              1);
    EXPECT_EQ(describe(events().seen().back()), "kind 3: 0");
    const auto isClosing = [](const MaidCommand& command) { return command.command == kCloseCommand; };
    std::vector<MaidCommand> made = commands();
    EXPECT_EQ(std::count_if(made.begin(), made.end(), isClosing), 0);
    // The host's release is what closes it, from the image up.
    nikon().releaseCamera(camera_);
    made = commands();
    Texts closed;
    for (const MaidCommand& command : made) {
        if (isClosing(command)) closed.push_back(command.object);
    }
    EXPECT_EQ(closed, (Texts{image_, item_, "1"}));
}

TEST_F(NikonEvents, of_objects_that_do_not_open_are_told) {
    start(nikonScenario({}));
    const int64_t module = startModule();
    lab().fault("MAIDEntryPoint:1", -117, {{"times", 0}});
    lab().attach(usualNikon());
    const size_t from = helper().out().size();
    EXPECT_EQ(nikon().cameraType(module, 0), 0);
    // Once when the module announces it, once when the host asks for it.
    EXPECT_EQ(helper().out().since(from),
              kNotOpenedLines + kNotOpenedLines + "NikonMaid: Source object can't be opened.\n");
    lab().clearFaults();
    const size_t again = helper().out().size();
    EXPECT_EQ(nikon().cameraType(module, 0), kModuleType + 1);
    EXPECT_EQ(withoutAddresses(helper().out().since(again)),
              kAddLine + "ADDRESS\nNikonMaid: Source object is opened.\n");
}

TEST_F(NikonEvents, that_were_missed_are_made_up_for_by_the_image_check) {
    camera_ = startCamera();
    ASSERT_EQ(nikon().preCapture(camera_, picturePath("a")), 0);
    // The item does not open when it is announced, nor does what is below it later.
    lab().fault("MAIDEntryPoint:1", -117, {{"times", 0}});
    lab().press("nikon-1");
    int32_t result = 0;
    EXPECT_TRUE(eventually([&] { return (result = nikon().checkForImages(camera_)) != 0; }));
    EXPECT_EQ(result, -4);
    lab().clearFaults();
    lab().fault("MAIDEntryPoint:1", -117, {{"times", 0}, {"skip", 1}});
    size_t from = helper().out().size();
    EXPECT_EQ(nikon().checkForImages(camera_), -5);
    EXPECT_EQ(helper().out().count("NikonMaid: Item object is opened.\n", from), 1u);
    EXPECT_EQ(helper().out().count("NikonMaid: Image object is opened.\n", from), 0u);
    lab().clearFaults();
    from = helper().out().size();
    EXPECT_EQ(nikon().checkForImages(camera_), 1);
    EXPECT_EQ(helper().out().count("NikonMaid: Item object is opened.\n", from), 0u) << "it is open";
    EXPECT_EQ(helper().out().count("NikonMaid: Image object is opened.\n", from), 1u);
}

TEST_F(NikonEvents, of_objects_that_do_not_close_are_told) {
    startCamera();
    lab().fault("MAIDEntryPoint:2", -117);
    const size_t from = helper().out().size();
    EXPECT_EQ(nikon().terminateSdk(module()), 1);
    EXPECT_EQ(helper().out().since(from), "NikonMaid: Command_Close 0xFFFFFF8B\n");
    EXPECT_EQ(nikon().terminateSdk(module()), 0);
}

}  // namespace
}  // namespace e2e
