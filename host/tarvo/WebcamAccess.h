/* WebcamAccess.h: from a helper to a webcam (or another video device) that is selected and delivers frames.
 *
 * A webcam is named by its name and its place in the helper's list, "Webcam #0": two of one make have the
 * same name. Each step prints its own complaint and answers the exit status that the command should end with
 * (kExitOk: go on). The webcam is released at the end, by Ctrl-C too: one that is left selected would go on
 * running in the helper. For the same reason calls are let finish.
 *
 * Thread: main.
 */
#pragma once

#include <string>
#include <vector>

#include "host/client/VideoClient.h"
#include "host/tarvo/CameraAccess.h"
#include "host/tarvo/Options.h"

namespace tarvo {

struct FoundWebcam {
    int32_t index = 0;
    std::string device;  // the name that the device tells
    std::string name;    // with its place
};

/** A webcam of a helper that somebody else has found. */
class WebcamSession {
public:
    WebcamSession() = default;
    WebcamSession(const WebcamSession&) = delete;
    WebcamSession& operator=(const WebcamSession&) = delete;
    ~WebcamSession() { end(); }

    int connect(uint16_t port);
    /** The webcams whose names have the wanted text in them; the rest are counted in `others`. */
    int find(const std::string& wanted, std::vector<FoundWebcam>& found, size_t* others = nullptr);
    /** The one that the wanted text means; kExitNoCamera, and without a complaint, when it means none. */
    int select(const std::string& wanted);
    /** Releases it. */
    void end();
    /** Releases it on a connection of its own while a call runs on this one, which ends that call. */
    void cutShort();

    VideoClient& client() { return client_; }
    int64_t camera() const { return camera_; }
    const std::string& name() const { return chosen_.name; }
    /** No fewer webcams of its name are attached than when it was selected. Asked on a connection of its own,
     * so while a call runs, too. */
    bool isStillListed() const;

private:
    uint16_t port_ = 0;
    CallConnection connection_;
    VideoClient client_{connection_};
    FoundWebcam chosen_;
    size_t namesakes_ = 0;
    int64_t camera_ = 0;
};

/** Helper, events and webcam, for the commands that are about webcams alone. */
class WebcamAccess {
public:
    /** Opens the webcam that --camera means; there must be no doubt which. */
    int open(const CommonOptions& options);

    WebcamSession& webcam() { return webcam_; }
    CallbackStream& events() { return events_; }

private:
    HelperAccess helper_;
    CallbackStream events_;
    WebcamSession webcam_;
};

}  // namespace tarvo
