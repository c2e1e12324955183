#include "tests/vm/fixture.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>

namespace vm {

using e2e::eventually;
using e2e::Json;

std::string outputOf(const std::string& command) {
    FILE* const pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr) {
        ADD_FAILURE() << "cannot run " << command;
        return {};
    }
    std::string text;
    std::array<char, 4096> piece;
    while (const size_t got = std::fread(piece.data(), 1, piece.size(), pipe)) {
        text.append(piece.data(), got);
    }
    EXPECT_EQ(::pclose(pipe), 0) << command;
    return text;
}

OtherProgram::OtherProgram(const std::string& node) {
    const std::string log = "/run/streaming.log";
    outputOf("v4l2-ctl -d " + node + " --stream-mmap >" + log + " 2>&1 & echo $! >/run/streaming.pid");
    // It writes a mark for each frame.
    EXPECT_TRUE(eventually([&] { return outputOf("cat " + log).find('<') != std::string::npos; }))
        << "no frame for another program either: " << outputOf("cat " + log);
}

OtherProgram::~OtherProgram() {
    outputOf("kill $(cat /run/streaming.pid)");
}

void writeSystemFile(const std::string& path, const std::string& text) {
    std::ofstream file(path);
    file << text << std::flush;
    EXPECT_TRUE(file.good()) << path;
}

namespace {

std::string firstLine(const std::filesystem::path& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

}  // namespace

Lines captureNodes() {
    Lines nodes;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/sys/class/video4linux", error)) {
        // A webcam's first node has its pictures; the others have what goes with them.
        const std::filesystem::path node = "/dev" / entry.path().filename();
        if (firstLine(entry.path() / "index") == "0" && std::filesystem::exists(node)) {
            nodes.push_back(node);
        }
    }
    return nodes;
}

/* ---- Webcams ------------------------------------------------------------------------------------------- */

/** The driver remembers what knobs were turned to: only a device that is new to it starts afresh. */
void Webcam::reset() {
    unplug();
    command("reset");
    EXPECT_TRUE(eventually([] { return !captureNodes().empty(); })) << "no driver takes the webcam";
    clearRequests();
}

void Webcam::unplug() {
    if (!isPlugged()) return;
    const size_t before = captureNodes().size();
    command("unplug");
    EXPECT_TRUE(eventually([&] { return captureNodes().size() < before; })) << "its node stays";
}

void Webcam::plug() {
    const size_t before = captureNodes().size();
    command("plug");
    EXPECT_TRUE(eventually([&] { return captureNodes().size() > before; })) << "no driver takes the webcam";
}

int64_t Webcam::knob(int unit, int selector) {
    const Json answer = commands_.must({{"cmd", "get"}, {"unit", unit}, {"selector", selector}});
    return answer.value("value", int64_t{-1});
}

void Webcam::turn(int unit, int selector, int64_t value) {
    commands_.must({{"cmd", "set"}, {"unit", unit}, {"selector", selector}, {"value", value}});
}

void Webcam::stall(int unit, int selector, int request, int times, int error) {
    commands_.must({{"cmd", "stall"},
                    {"unit", unit},
                    {"selector", selector},
                    {"request", request},
                    {"times", times},
                    {"error", error}});
}

Lines Webcam::requests() {
    return commands_.must({{"cmd", "requests"}}).value("requests", Lines{});
}

Lines Webcam::sets() {
    Lines found;
    for (const std::string& line : requests()) {
        if (line.starts_with("21 01 ")) found.push_back(line);
    }
    return found;
}

void Webcam::clearRequests() {
    commands_.must({{"cmd", "requests"}, {"clear", true}});
}

bool Webcam::isPlugged() {
    return commands_.must({{"cmd", "state"}}).value("plugged", false);
}

uint32_t Webcam::picturesTaken() {
    return commands_.must({{"cmd", "state"}}).value("pictures", 0U);
}

SecondWebcam::SecondWebcam() {
    const size_t before = captureNodes().size();
    const std::string camera = TARVO_CAMERA;
    process_ = ::fork();
    if (process_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        ::execl("/usr/bin/python3", "python3", camera.c_str(), "--name", kName.c_str(), "--serial", "0002",
                "--socket", kSocket.c_str(), nullptr);
        ::_exit(127);
    }
    EXPECT_TRUE(eventually([&] { return captureNodes().size() > before; })) << "no second webcam";
    hand_ = std::make_unique<Webcam>(kSocket);
}

SecondWebcam::~SecondWebcam() {
    if (process_ <= 0) return;
    const size_t before = captureNodes().size();
    ::kill(process_, SIGTERM);
    ::waitpid(process_, nullptr, 0);
    EXPECT_TRUE(eventually([&] { return captureNodes().size() < before; })) << "the second webcam stays";
}

/* ---- The helper ---------------------------------------------------------------------------------------- */

namespace {

/** The video nodes of which a process has descriptors, once for each. */
Lines openNodesOf(pid_t process) {
    namespace fs = std::filesystem;
    std::error_code gone;  // meanwhile
    Lines open;
    for (const auto& entry : fs::directory_iterator("/proc/" + std::to_string(process) + "/fd", gone)) {
        const std::string target = fs::read_symlink(entry.path(), gone).string();
        if (target.starts_with("/dev/video")) open.push_back(target);
    }
    return open;
}

}  // namespace

void HardwareTest::startHelper() {
    helper_.reset();
    e2e::HelperOptions options;
    options.isSimulated = false;
    helper_ = std::make_unique<e2e::HelperProcess>(options);
}

void HardwareTest::SetUp() {
    ASSERT_TRUE(helper().isRunning()) << "an earlier test has ended it";
    video_ = std::make_unique<e2e::VideoCalls>(helper().port());
    said_before_ = helper().err().size();
}

void HardwareTest::TearDown() {
    if (!helper().isRunning()) return;
    const std::vector<int64_t> left = selected_;
    for (const int64_t camera : left) {
        release(camera);
    }
    expectNoOpenNode();
}

void HardwareTest::expectNoOpenNode() {
    Lines open;
    EXPECT_TRUE(eventually([&] { return (open = openNodesOf(helper().pid())).empty(); }))
        << "still open: " << ::testing::PrintToString(open);
}

Lines HardwareTest::names() {
    Lines found;
    const int32_t count = video().cameraCount();
    for (int32_t i = 0; i < count; ++i) {
        found.push_back(video().cameraName(i));
    }
    return found;
}

bool HardwareTest::isListed(const std::string& name) {
    const Lines all = names();
    return std::find(all.begin(), all.end(), name) != all.end();
}

int64_t HardwareTest::select(const std::string& name) {
    EXPECT_TRUE(eventually([&] { return isListed(name); })) << "no camera is called " << name;
    const Lines all = names();
    const auto index = std::find(all.begin(), all.end(), name) - all.begin();
    const int64_t camera = selectNumber(static_cast<int32_t>(index));
    EXPECT_NE(camera, 0) << name;
    return camera;
}

int64_t HardwareTest::selectNumber(int32_t index) {
    const int64_t camera = video().selectCamera(index);
    if (camera != 0) selected_.push_back(camera);
    return camera;
}

void HardwareTest::release(int64_t camera) {
    std::erase(selected_, camera);
    video().releaseCamera(camera);
}

e2e::Words HardwareTest::awaitFrame(int64_t camera) {
    e2e::Words words;
    EXPECT_TRUE(eventually([&] { return !(words = video().imageData(camera)).empty(); })) << "no frame came";
    return words;
}

e2e::Words HardwareTest::awaitFrame(int64_t camera, Size wanted) {
    video().setImageDimensions(camera, wanted.width, wanted.height);
    e2e::Words words;
    EXPECT_TRUE(eventually([&] {
        words = video().imageData(camera);
        return !words.empty() && size(camera) == wanted;
    })) << "no frame of "
        << wanted.width << " x " << wanted.height << ", but of " << size(camera).width << " x "
        << size(camera).height;
    return words;
}

e2e::CallbackStream& HardwareTest::events() {
    if (!events_) events_ = std::make_unique<e2e::CallbackStream>(*helper_);
    return *events_;
}

void HardwareTest::expectLoss() {
    const e2e::Event loss = events().waitFor(
        [](const e2e::Event& event) { return event.kind == e2e::kStateEvent; }, "status event");
    EXPECT_EQ(loss.module, 40);
    EXPECT_EQ(loss.values, std::vector<int32_t>{1});
}

void HardwareTest::expectServing() {
    e2e::VideoCalls other(helper().port());
    EXPECT_EQ(other.initialize(), 0);
}

}  // namespace vm
