/* NikonClient.h: the helper's 23 Nikon calls.
 *
 * A host names a folder of module bundles and the type of the one that knows its camera (NikonModules.h),
 * gets a module handle, counts cameras, selects one by its index and gets a camera handle. Handles are opaque
 * 64-bit numbers, 0 is none. Both live in the helper, not in the connection: they serve any connection, and
 * they stay when this one ends. So every module handle must be given to terminateSDK and every camera handle
 * to releaseCamera, cameras first, the gone ones too.
 *
 * The helper starts a module once more with each initializeSDK, and two running modules answer for the same
 * bodies. Start one once, and end it before you start it again.
 *
 * Thread: one call at a time on one client, and one connection at a time on one module: the module is not
 *         made for two callers.
 * Units:  limits in milliseconds; deadlines in microseconds of the wall clock (Deadline.h says when to send
 *         them); zoom positions in pixels of the live-view picture.
 * Errors: Result.h for the connection. What the camera makes of a call is the value: a number (NikonText.h
 *         tells what those of capture mean), a bool, or an empty array.
 */
#pragma once

#include <string>
#include <vector>

#include "host/client/CallConnection.h"

namespace tarvo {

class NikonClient {
public:
    /** Borrows the connection. */
    explicit NikonClient(CallConnection& connection) : connection_(connection) {}

    /** For calls that only ask. Starting a module, selecting a camera, driving the lens and capture take
     * more. */
    void setLimit(std::chrono::milliseconds limit) { limit_ = limit; }
    std::chrono::milliseconds limit() const { return limit_; }

    /** A module handle; 0: the bundle cannot be loaded or does not start, the helper's log tells why. */
    Result<int64_t> initializeSDK(const std::string& directory, int32_t moduleType);
    /** 0: ended (or the handle was 0), 1: an object could not be closed. Then the handle stays good for
     * another try, and so do those of cameras that are still open. */
    Result<int32_t> terminateSDK(int64_t module);
    /** 0 also for a handle that is none. */
    Result<int32_t> getCameraCount(int64_t module);
    /** kNikonNoCameraType: no camera at this index; 0: it cannot be opened. */
    Result<int32_t> getCameraTypeAtIndex(int64_t module, int32_t index);
    /** A camera handle; 0: no camera at this index, or it cannot be opened. Selecting a camera twice gives
     * two handles, and only the second one hears that the camera has gone. */
    Result<int64_t> selectCameraAtIndex(int64_t module, int32_t index);
    Error releaseCamera(int64_t camera);

    /** The texts of the values that a capability can have now; empty when it is no choice. */
    Result<std::vector<std::string>> getSettingOptions(int64_t camera, int32_t capability);
    /** The place of the current value among the options; -1: no choice, or it cannot be read. */
    Result<int32_t> getSetting(int64_t camera, int32_t capability);
    /** Whether the camera took it must be read back. */
    Error setSetting(int64_t camera, int32_t capability, int32_t index);
    /** Percent; -1: the camera does not tell. 0 also for a camera that has gone. */
    Result<int32_t> getBatteryLevel(int64_t camera);
    /** Asking ends the variation of the camera's bracketing. */
    Result<bool> getBracketing(int64_t camera);

    /** True: switched. False also when it was so already. */
    Result<bool> setLiveView(int64_t camera, bool isOn);
    Result<bool> isLiveView(int64_t camera);
    /** One JPEG picture; empty: no live view. */
    Result<std::vector<uint8_t>> getLiveViewImage(int64_t camera);
    /** Returns when the lens rests, or after 100 frames. Less than 0 in the other direction. */
    Error driveFocus(int64_t camera, int32_t steps);
    /** These five work with the newest frame that was fetched. */
    Error setLiveViewZoomPosition(int64_t camera, int32_t x, int32_t y);
    Result<int32_t> getLiveViewZoomPositionX(int64_t camera);
    Result<int32_t> getLiveViewZoomPositionY(int64_t camera);
    Result<int32_t> getLiveViewZoomWidth(int64_t camera);
    Result<int32_t> getLiveViewZoomHeight(int64_t camera);

    /** Releases the shutter at the deadline, when it is less than 5 s ahead, otherwise at once, and answers
     * when all files of the shot are stored under `path` (absolute) plus an extension by their kind. The
     * limit counts from the newest progress event when the connection knows of them (setActivity). */
    Result<int32_t> capture(int64_t camera, const std::string& path, int64_t deadlineMicroseconds,
                            std::chrono::milliseconds limit);
    /** Only says where pictures go that are taken otherwise; checkForImages fetches them. */
    Result<int32_t> preCapture(int64_t camera, const std::string& path);
    /** The number of files that were stored, 1 or 2; 0: nothing waits. The limit is as for capture. */
    Result<int32_t> checkForImages(int64_t camera, std::chrono::milliseconds limit);

private:
    CallConnection::Call describe(uint8_t method, const char* name) const;
    Error none(const CallConnection::Call& call, const Arguments& arguments);
    Result<int32_t> integer(const CallConnection::Call& call, const Arguments& arguments);
    Result<int64_t> handle(const CallConnection::Call& call, const Arguments& arguments);
    Result<bool> boolean(const CallConnection::Call& call, const Arguments& arguments);

    CallConnection& connection_;
    std::chrono::milliseconds limit_{30'000};
};

}  // namespace tarvo
