#include "tests/e2e/support/video_fixture.h"

#include <array>
#include <cstdio>

namespace e2e {

Json videoDevice(const std::string& id, const std::string& name, const Json& more) {
    Json device = {{"id", id},           {"family", "video"},     {"name", name},
                   {"media", {"video"}}, {"width", kWebcamWidth}, {"height", kWebcamHeight},
                   {"fps", 100},         {"frames", "pattern"}};
    device.update(more);
    return device;
}

Json webcam(const Json& more) {
    return videoDevice("video-1", "Webcam", more);
}

Json uvcControl(int unit, int selector, int size, int64_t min, int64_t max, int64_t current) {
    return {{"unit", unit}, {"selector", selector}, {"size", size},
            {"min", min},   {"max", max},           {"cur", current}};
}

Json uvcOf(const std::vector<Json>& controls, int64_t location, int interface) {
    std::array<char, 16> place{};
    std::snprintf(place.data(), place.size(), "0x%08x", static_cast<unsigned>(location));
    return {{"location", place.data()}, {"interface", interface}, {"controls", controls}};
}

Json webcamWithControls(const Json& more) {
    std::vector<Json> controls = {uvcControl(1, 2, 1, 1, 8, 8),    uvcControl(1, 4, 4, 0, 100, 50),
                                  uvcControl(1, 8, 1, 0, 1, 1),    uvcControl(2, 11, 1, 0, 1, 0),
                                  uvcControl(9, 3, 8, 0, 1000, 0), uvcControl(1, 6, 2, 0, 1000, 0)};
    for (const int selector : {2, 3, 4, 7, 8, 10}) {
        controls.push_back(uvcControl(2, selector, 2, 0, 100, 0));
    }
    Json device = webcam({{"uniqueId", "0x1a110000046d082d"}, {"uvc", uvcOf(controls)}});
    device.update(more);
    return device;
}

Json videoScenario(const std::vector<Json>& devices) {
    return {{"devices", devices}};
}

uint32_t patternWord(int x, int y, uint32_t frame) {
    const uint32_t blue = (static_cast<uint32_t>(x) + frame) & 0xFF;
    const uint32_t green = (static_cast<uint32_t>(y) + frame) & 0xFF;
    return 128U << 24 | (frame & 0xFF) << 16 | green << 8 | blue;
}

Words patternWords(int width, int height, uint32_t frame) {
    Words words;
    words.reserve(static_cast<size_t>(width) * static_cast<size_t>(height));
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            words.push_back(patternWord(x, y, frame));
        }
    }
    return words;
}

::testing::AssertionResult isPattern(const Words& words, int width, int height) {
    if (words.size() != static_cast<size_t>(width) * static_cast<size_t>(height)) {
        return ::testing::AssertionFailure() << words.size() << " words, not " << width << " x " << height;
    }
    const uint32_t frame = words[0] >> 16 & 0xFF;
    const Words expected = patternWords(width, height, frame);
    for (size_t i = 0; i < words.size(); ++i) {
        if (words[i] == expected[i]) continue;
        return ::testing::AssertionFailure() << "word " << i << " of frame " << frame << " is " << std::hex
                                             << words[i] << ", not " << expected[i];
    }
    return ::testing::AssertionSuccess();
}

void VideoTest::start(const Json& scenario) {
    HelperOptions options;
    options.scenario = scenario;
    start(options);
}

void VideoTest::start(const HelperOptions& options) {
    events_.reset();
    video_.reset();
    lab_.reset();
    helper_.reset();
    helper_ = std::make_unique<HelperProcess>(options);
    video_ = std::make_unique<VideoCalls>(helper_->port());
}

int64_t VideoTest::startSelected(const Json& device) {
    start(videoScenario({device}));
    const int64_t camera = HasFailure() ? 0 : video().selectCamera(0);
    EXPECT_NE(camera, 0);
    return camera;
}

Words VideoTest::awaitFrame(int64_t camera) {
    Words words;
    EXPECT_TRUE(eventually([&] { return !(words = video().imageData(camera)).empty(); })) << "no frame came";
    return words;
}

Words VideoTest::awaitFrame(int64_t camera, int width, int height) {
    Words words;
    EXPECT_TRUE(eventually([&] {
        words = video().imageData(camera);
        return video().imageWidth(camera) == width && video().imageHeight(camera) == height;
    })) << "no frame of "
        << width << " x " << height;
    return words;
}

LabClient& VideoTest::lab() {
    if (!lab_) lab_ = std::make_unique<LabClient>(helper_->labSocket());
    return *lab_;
}

CallbackStream& VideoTest::events() {
    if (!events_) events_ = std::make_unique<CallbackStream>(*helper_);
    return *events_;
}

void VideoTest::expectServing() {
    VideoCalls other(helper().port());
    EXPECT_EQ(other.initialize(), 0);
}

std::vector<std::string> VideoTest::requests() {
    std::vector<std::string> found;
    for (const Json& call : lab().calls("ControlRequest")) {
        const Json& args = call["args"];
        std::array<char, 64> text{};
        const auto value = [&](const char* name) { return static_cast<unsigned>(number(args[name])); };
        std::snprintf(text.data(), text.size(), "%02X %02X %04x %04x %u", value("requestType"),
                      value("request"), value("value"), value("index"), value("length"));
        const bool isSet = value("requestType") == 0x21;
        found.push_back(text.data() + (isSet ? ": " + args.value("data", "") : ""));
    }
    return found;
}

}  // namespace e2e
