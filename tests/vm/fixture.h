/* fixture.h: a test in the virtual machine: the helper on the hardware set, cameras plugged into a real
 * kernel.
 *
 * Thread: one thread at a time.
 * Owns:   the helper, ended and judged when a program's tests end; cameras beyond the first.
 */
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/e2e/support/callback_stream.h"
#include "tests/e2e/support/helper_process.h"
#include "tests/e2e/support/lab_client.h"
#include "tests/e2e/support/video_calls.h"
#include "tests/vm/webcam_pictures.h"

namespace vm {

inline const std::string kCameraSocket = "/run/tarvo-camera.sock";
inline const std::string kCameraName = "Tarvo Test Camera";

using Lines = std::vector<std::string>;

/** What a command writes to standard output; a failure when it fails. */
std::string outputOf(const std::string& command);
void writeSystemFile(const std::string& path, const std::string& text);
/** The capture nodes that the kernel has, those for metadata left out: "/dev/video0", … */
Lines captureNodes();

/** Another program that has a device's frames, from its first frame on. */
class OtherProgram {
public:
    explicit OtherProgram(const std::string& node);
    ~OtherProgram();
    OtherProgram(const OtherProgram&) = delete;
    OtherProgram& operator=(const OtherProgram&) = delete;
};

/** The hand at a webcam made of software; commands as in camera/commands.py. */
class Webcam {
public:
    explicit Webcam(const std::string& socketPath = kCameraSocket) : commands_(socketPath) {}

    void command(const std::string& what) { commands_.must({{"cmd", what}}); }
    /** Back to how it was made: plugged, knobs at their defaults, an empty log. Waits for its node. */
    void reset();
    /** And waits until the kernel has seen it. */
    void unplug();
    void plug();
    int64_t knob(int unit, int selector);
    void turn(int unit, int selector, int64_t value);
    /** Refuses the next request of the kind, with the standard's error code. */
    void stall(int unit, int selector, int request, int times = 1, int error = 1);
    /** Class requests since the last reset or clear, as "21 01 0400 0100 4: 5a000000". */
    Lines requests();
    /** Those of them that set. */
    Lines sets();
    void clearRequests();
    bool isPlugged();
    uint32_t picturesTaken();

private:
    e2e::LabClient commands_;
};

/** A second webcam, a process of its own. */
class SecondWebcam {
public:
    SecondWebcam();
    ~SecondWebcam();
    SecondWebcam(const SecondWebcam&) = delete;
    SecondWebcam& operator=(const SecondWebcam&) = delete;

    static inline const std::string kName = "Other Camera";
    static inline const std::string kSocket = "/run/tarvo-camera-2.sock";
    Webcam& hand() { return *hand_; }

private:
    pid_t process_ = -1;
    std::unique_ptr<Webcam> hand_;
};

/** All tests of a program share one helper: to start it and GStreamer in it costs seconds in an emulated
 * machine. */
class HardwareTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { startHelper(); }
    static void TearDownTestSuite() { helper_.reset(); }
    void SetUp() override;
    /** Releases what the test has selected; then no node is open any more. */
    void TearDown() override;
    static void startHelper();

    /** Of the cameras listed, in order. */
    Lines names();
    bool isListed(const std::string& name);
    /** Selects the first camera of the name once it is listed; a failure and 0 when it is not. */
    int64_t select(const std::string& name);
    int64_t selectNumber(int32_t index);
    void release(int64_t camera);
    Size size(int64_t camera) { return {video().imageWidth(camera), video().imageHeight(camera)}; }
    /** Asks until a frame has come. */
    e2e::Words awaitFrame(int64_t camera);
    /** Asks for frames of the size until one has come. */
    e2e::Words awaitFrame(int64_t camera, Size size);

    static e2e::HelperProcess& helper() { return *helper_; }
    e2e::VideoCalls& video() { return *video_; }
    /** Registers the callback socket on first use. */
    e2e::CallbackStream& events();
    /** The message that a device is gone. */
    void expectLoss();
    void expectServing();
    /** The helper has no descriptor of a video node, or will soon have none: its streams end by themselves.
     */
    static void expectNoOpenNode();
    /** How often the helper has said so since the test began. */
    size_t said(const std::string& text) { return helper().err().count(text, said_before_); }

private:
    static inline std::unique_ptr<e2e::HelperProcess> helper_;
    std::unique_ptr<e2e::VideoCalls> video_;
    std::unique_ptr<e2e::CallbackStream> events_;
    std::vector<int64_t> selected_;
    size_t said_before_ = 0;
};

}  // namespace vm
