/* video_fixture.h: a test with a helper of its own, its lab and one connection to the video module.
 *
 * Owns:   the helper, ended and judged when the test ends.
 */
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/e2e/support/callback_stream.h"
#include "tests/e2e/support/helper_process.h"
#include "tests/e2e/support/lab_client.h"
#include "tests/e2e/support/video_calls.h"

namespace e2e {

inline constexpr int kWebcamWidth = 64;
inline constexpr int kWebcamHeight = 48;
inline constexpr int64_t kWebcamPlace = 0x1A110000;
inline constexpr int64_t kPipeStalled = 0xE000404F;

/** A video device of the lab without controls: small pictures, many of them. `more` is laid over it. */
Json webcam(const Json& more = Json::object());
Json videoDevice(const std::string& id, const std::string& name, const Json& more = Json::object());
/** One entry of "controls". */
Json uvcControl(int unit, int selector, int size, int64_t min, int64_t max, int64_t current);
/** "uvc": an interface with these controls. */
Json uvcOf(const std::vector<Json>& controls, int64_t location = kWebcamPlace, int interface = 0);
/** A webcam with every control of the table, each from 0 to 100 but the switches; exposure at 50. */
Json webcamWithControls(const Json& more = Json::object());
Json videoScenario(const std::vector<Json>& devices);

/** The lab's pattern, written out a second time. */
uint32_t patternWord(int x, int y, uint32_t frame);
Words patternWords(int width, int height, uint32_t frame);
/** The words are one whole frame of the pattern: which one is read off the first word. */
::testing::AssertionResult isPattern(const Words& words, int width, int height);

class VideoTest : public ::testing::Test {
protected:
    void start(const Json& scenario = videoScenario({webcam()}));
    void start(const HelperOptions& options);
    /** Starts and selects the first camera. */
    int64_t startSelected(const Json& device = webcam());
    /** Asks until a frame has come. */
    Words awaitFrame(int64_t camera);
    /** Asks until a frame of the size has come. */
    Words awaitFrame(int64_t camera, int width, int height);

    HelperProcess& helper() { return *helper_; }
    /** Connects to the lab on first use. */
    LabClient& lab();
    VideoCalls& video() { return *video_; }
    /** Registers the callback socket on first use. */
    CallbackStream& events();
    /** The helper still serves: a new connection gets its answer. */
    void expectServing();

    /** The control requests on the bus, as "A1 82 0400 0100 4" and, for those that set, ": 10270000" behind.
     */
    std::vector<std::string> requests();

private:
    std::unique_ptr<HelperProcess> helper_;
    std::unique_ptr<LabClient> lab_;
    std::unique_ptr<VideoCalls> video_;
    std::unique_ptr<CallbackStream> events_;
};

}  // namespace e2e
