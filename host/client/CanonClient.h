/* CanonClient.h: the helper's 24 Canon calls.
 *
 * Camera references (from getCameraList) and camera handles (from openSession) are opaque 32-bit numbers:
 * pass them on as they came, negative ones too. 0 is none. A handle lives until closeSession and must not be
 * used after it.
 *
 * Thread: one call at a time on one client. Events of the cameras arrive on another connection:
 *         CallbackStream.h.
 * Units:  limits in milliseconds; deadlines in microseconds of the wall clock (Deadline.h says when to send
 *         them); zoom positions as fractions of the full image.
 * Errors: Result.h for the connection. The camera's own outcome is the value: a status (0: done, see
 *         ErrorText.h), a bool, or an empty text or array.
 */
#pragma once

#include <string>
#include <vector>

#include "host/client/CallConnection.h"

namespace tarvo {

class CanonClient {
public:
    /** Borrows the connection. */
    explicit CanonClient(CallConnection& connection) : connection_(connection) {}

    /** For calls that only ask. Setting a value takes up to 2 s more, starting and ending the library up to
     * 10 s. */
    void setLimit(std::chrono::milliseconds limit) { limit_ = limit; }
    std::chrono::milliseconds limit() const { return limit_; }

    /** Starts the camera library. Answers 0 always; whether it works shows in the camera list. A helper whose
     * library was ended before answers at once, while the library is still starting: ask for the list again
     * for a second. */
    Result<int32_t> initializeSDK();
    /** Ends the camera library for every host of this helper. */
    Result<int32_t> terminateSDK();

    /** As the helper answers it; chooseCameras() in CameraList.h makes sense of more than one. Empty: none,
     * or the library has not been started. */
    Result<std::vector<int32_t>> getCameraList();
    Result<std::string> getCameraName(int32_t reference);
    /** 0: refused, 130: the reference was 0. Anything else is the handle. One session a camera: a second
     * attempt is refused, and all the same takes the camera's events away from the first. */
    Result<int32_t> openSession(int32_t reference);
    Result<int32_t> closeSession(int32_t handle);
    Result<std::string> getFirmwareVersion(int32_t handle);

    /** 0 also when the value cannot be read. */
    Result<int32_t> getSetting(int32_t handle, int32_t property);
    /** True: the camera took the write. Whether it shows the value must be read back. */
    Result<bool> setSetting(int32_t handle, int32_t property, int32_t value);
    /** Empty also when the camera does not tell. */
    Result<std::vector<int32_t>> getSettingOptions(int32_t handle, int32_t property);

    /** `path` is the absolute path of the picture without its extension. */
    Result<int32_t> preCapture(int32_t handle, const std::string& path, bool halfPress);
    /** The shutter is released at the deadline, when it is less than 5 s ahead, otherwise at once. */
    Result<int32_t> capture(int32_t handle, const std::string& path, int64_t deadlineMicroseconds);
    /** Stores one offered file. The item is used up, whatever the answer: it cannot be asked for again. The
     * limit counts from the newest progress event when the connection knows of them (setActivity). */
    Result<int32_t> download(int32_t handle, int32_t item, std::chrono::milliseconds limit);
    Error extendShutdownTimer(int32_t handle);

    Result<int32_t> startLiveView(int32_t handle);
    Result<int32_t> stopLiveView(int32_t handle);
    /** The newest frame, then left-over bytes of longer earlier frames: cut it with jpegLength() in Jpeg.h.
     * Empty: there is no live view, or no frame yet. */
    Result<std::vector<uint8_t>> getLiveViewImage(int32_t handle);
    Result<bool> isLiveViewZoom(int32_t handle);
    Error setLiveViewZoom(int32_t handle, bool zoom);
    Error setLiveViewZoomPosition(int32_t handle, float x, float y);
    Result<float> getLiveViewZoomPositionX(int32_t handle);
    Result<float> getLiveViewZoomPositionY(int32_t handle);
    /** -3 to -1: to far, 1 to 3: to near; the larger the number the wider the step. */
    Error driveFocus(int32_t handle, int32_t steps);
    Error idle();

private:
    CallConnection::Call describe(uint8_t method, const char* name) const;
    Error none(const CallConnection::Call& call, const Arguments& arguments);
    Result<int32_t> integer(const CallConnection::Call& call, const Arguments& arguments);
    Result<bool> boolean(const CallConnection::Call& call, const Arguments& arguments);
    Result<float> fraction(const CallConnection::Call& call, const Arguments& arguments);
    Result<std::string> text(const CallConnection::Call& call, const Arguments& arguments);
    Result<std::vector<int32_t>> integers(const CallConnection::Call& call, const Arguments& arguments);

    CallConnection& connection_;
    std::chrono::milliseconds limit_{30'000};
};

}  // namespace tarvo
