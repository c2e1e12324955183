// The moment of a timed shot on a Nikon body: between the headers, and without holding the module.
#include <gtest/gtest.h>

#include "tests/e2e/support/clocks.h"
#include "tests/e2e/support/nikon_fixture.h"

namespace e2e {
namespace {

class NikonDeadline : public NikonTest {
protected:
    std::vector<Json> shutterCommands() {
        std::vector<Json> found;
        for (const Json& entry : lab().calls("MAIDEntryPoint")) {
            if (number(entry["args"]["command"]) == kStartCommand &&
                number(entry["args"]["param"]) == kCapture) {
                found.push_back(entry);
            }
        }
        return found;
    }

    int64_t ready() {
        const int64_t camera =
            startCamera(usualNikon({{"shots", nikonShots({{nikonItem(kJpegType, 1000)}})}}));
        lab().clearTrace();
        return camera;
    }
};

TEST_F(NikonDeadline, ahead_is_waited_for_between_the_headers) {
    const int64_t camera = ready();
    awayFromTheWrap(5 * kSecond);
    const int64_t deadline = wallClock() + 1200000;
    const int64_t deadlineOnTrace = onTraceClock(deadline);
    nikon().send(20, Message().int64(camera).text(picturePath("a")).int64(deadline));
    nikon().expectHeader(20);
    EXPECT_TRUE(lab().calls("MAIDEntryPoint").empty());
    nikon().expectHeader(20);
    EXPECT_EQ(nikon().receiveInt(), 0);
    const std::vector<Json> shutter = shutterCommands();
    ASSERT_EQ(shutter.size(), 1u);
    // A hair of slack for reading two clocks one after the other.
    EXPECT_GE(number(shutter[0]["us"]), deadlineOnTrace - 500);
    helper().waitForErr("Slept for interval = 1.");
}

TEST_F(NikonDeadline, in_the_past_is_not_waited_for) {
    const int64_t camera = ready();
    EXPECT_EQ(nikon().capture(camera, picturePath("a"), 0), 0);
    helper().waitForErr("Did not sleep, microTime=0, result=");
    EXPECT_EQ(helper().err().count("Slept"), 0u);
    EXPECT_EQ(pictures().names(), std::vector<std::string>{"a.jpg"});
}

TEST_F(NikonDeadline, is_waited_for_without_a_camera_too) {
    start();
    awayFromTheWrap(5 * kSecond);
    const int64_t deadline = wallClock() + 300000;
    EXPECT_EQ(nikon().capture(0, picturePath("a"), deadline), 0);
    EXPECT_GE(wallClock(), deadline);
}

TEST_F(NikonDeadline, holds_up_no_other_call_on_the_camera) {
    const int64_t camera = ready();
    awayFromTheWrap(8 * kSecond);
    const int64_t deadline = wallClock() + 4 * kSecond;
    nikon().send(20, Message().int64(camera).text(picturePath("a")).int64(deadline));
    nikon().expectHeader(20);
    NikonCalls other(helper().port());
    EXPECT_EQ(other.getSetting(camera, 0x7777), -1);
    EXPECT_FALSE(other.isLiveView(camera));
    EXPECT_TRUE(shutterCommands().empty());
    helper().stop();
    nikon().socket().expectClosed();
}

}  // namespace
}  // namespace e2e
