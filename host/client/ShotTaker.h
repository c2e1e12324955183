/* ShotTaker.h: a picture taken and all of its files stored, from pre-capture to the last download.
 *
 * A shot makes one file, or two when the image quality asks for RAW and JPEG; each is offered by an event of
 * its own and downloaded by a call of its own, under the path that the newest pre-capture or capture call
 * gave, plus the camera's extension in lower case. What this unit knows about it:
 *  - a download that fails uses its file up: the picture cannot be asked for again, only taken again;
 *  - a failed download announces itself also as a capture error on the callback stream, which is not the
 * camera's;
 *  - a .THM companion is answered with success and not stored, so success does not mean that there is a file;
 *  - the photographer may press the shutter at any time: what the camera offers beside the shot is stored as
 * well and told apart as extra;
 *  - a camera switches itself off while a host waits for the next shot, unless it is told now and then not
 * to.
 *
 * Thread: one caller, who is also the only one to take events from the stream.
 * Owns:   nothing; client and stream are borrowed.
 * Units:  deadlines in microseconds of the wall clock.
 * Errors: Result.h for connection, time and interruption; statuses of the camera in the outcome.
 */
#pragma once

#include <deque>
#include <functional>
#include <string>

#include "host/client/CallbackStream.h"
#include "host/client/CanonClient.h"

namespace tarvo {

struct ShotRequest {
    int32_t handle = 0;
    std::string path;  // absolute, without extension
    bool halfPress =
        false;  // focus-less half press beforehand, on bodies that know it: shortens the shutter lag
    int64_t deadline = 0;                          // 0: at once
    std::chrono::milliseconds offerLimit{60'000};  // for the camera to offer the next file
    std::chrono::milliseconds stallLimit{60'000};  // for a download without any progress
};

struct ShotOutcome {
    Error error;                   // the shot could not be finished; the statuses tell how far it came
    int32_t prepareStatus = 0;     // of the pre-capture
    int32_t captureStatus = 0;     // of the shutter
    bool isCameraGone = false;     // it was unplugged or switched off
    bool hasCaptureError = false;  // the camera reported that the shot failed
    int expectedFiles = 0;
    int storedFiles = 0;  // of the shot itself, without extra ones
    int failedFiles = 0;

    bool isComplete() const { return !error && storedFiles == expectedFiles && failedFiles == 0; }
};

class ShotTaker {
public:
    /** One file that was offered. Answers whether there is a new file where it should be: a status of 0 alone
     * does not tell. */
    struct Download {
        int32_t item = 0;
        int32_t status = 0;
        bool isExtra = false;
    };
    using OnDownload = std::function<bool(const Download& download)>;

    ShotTaker(CanonClient& client, CallbackStream& events, OnDownload onDownload)
        : client_(client), events_(events), onDownload_(std::move(onDownload)) {}

    /** Every wait ends with Failure::interrupted once this is readable; -1: none. */
    void setInterrupt(int fd) { interruptFd_ = fd; }

    ShotOutcome take(const ShotRequest& request);
    /** Stores what was offered since the last shot, without waiting for more. */
    Error collectExtra(const ShotRequest& request);

private:
    Error prepare(const ShotRequest& request, ShotOutcome& outcome);
    Error receiveFiles(const ShotRequest& request, ShotOutcome& outcome);
    Error download(const ShotRequest& request, int32_t item, bool isExtra, ShotOutcome& outcome);
    Error waitUntil(int64_t wallClock, int32_t handle);
    void drainEvents(int32_t handle);
    void note(const Event& event, int32_t handle);

    CanonClient& client_;
    CallbackStream& events_;
    OnDownload onDownload_;
    int interruptFd_ = -1;
    std::deque<int32_t> offered_;
    bool hasName_ = false;  // the helper has been given a path to store under
    bool isCameraGone_ = false;
    bool hasCaptureError_ = false;
    int ownErrors_ = 0;  // capture errors yet to come that are only failed downloads
};

}  // namespace tarvo
