/* VideoClient.h: the helper's 16 video calls, for webcams and other video devices.
 *
 * A host counts the devices that have video, selects one by its index and gets a camera handle, an opaque
 * 64-bit number, 0 is none. A selected camera runs and delivers frames. The handle lives in the helper, not
 * in the connection: it serves any connection and stays when this one ends, so every one must be given to
 * releaseCamera, that of an unplugged device too. Selecting leaves a webcam in manual focus, and the first
 * control that answers, as a rule the exposure, at a tenth of its range.
 *
 * What webcams report by themselves comes on the callback stream (CallbackStream.h): a StatusEvent of
 * kModuleVideo when one was unplugged, and ProgressEvents of an average.
 *
 * Thread: one call at a time on one client; clients on connections of their own may use one camera together,
 *         and releasing it there ends a captureImage that is under way.
 * Units:  settings are fractions of the webcam's range, 0 to 1; sizes in pixels.
 * Errors: Result.h for the connection. What the camera makes of a call is the value: 0, false or no pixels.
 */
#pragma once

#include <string>
#include <vector>

#include "host/client/CallConnection.h"

namespace tarvo {

/** Alpha, red, green and blue from the high byte down, row after row. */
struct VideoFrame {
    int32_t width = 0;
    int32_t height = 0;
    std::vector<uint32_t> pixels;  // width x height, or empty: no frame

    bool isEmpty() const { return pixels.empty(); }
    bool operator==(const VideoFrame&) const = default;
};

class VideoClient {
public:
    /** Borrows the connection. */
    explicit VideoClient(CallConnection& connection) : connection_(connection) {}

    /** For calls that only ask; selecting a camera and capturing take more. */
    void setLimit(std::chrono::milliseconds limit) { limit_ = limit; }

    Result<int32_t> initialize();
    Error terminate();
    Result<int32_t> getCameraCount();
    /** Empty for a name that is not ASCII, and for an index without a camera. */
    Result<std::string> getCameraName(int32_t index);
    /** A camera handle; 0: no camera at this index, or it cannot be opened. */
    Result<int64_t> selectCamera(int32_t index);
    Error releaseCamera(int64_t camera);

    /** Frames of the size come some time after. */
    Error setImageDimensions(int64_t camera, int32_t width, int32_t height);
    /** The size of the frame that was fetched last. */
    Result<int32_t> getImageWidth(int64_t camera);
    Result<int32_t> getImageHeight(int64_t camera);
    /** The newest frame's pixels; empty: none has come yet. */
    Result<std::vector<uint32_t>> getImageData(int64_t camera);
    /** One frame that comes after the call (frames 1), or the mean of so many, at most kMostAveragedFrames.
     * Only the size of the frame that was fetched last can be asked for, and kFewestStillPixels at least.
     * Empty: another size, fewer pixels, no frame, or the camera was released meanwhile. */
    Result<std::vector<uint32_t>> captureImage(int64_t camera, int32_t frames, int32_t width, int32_t height);
    Error setNoiseReduction(int64_t camera, bool isOn);

    /** What a setting's number means differs between the two: docs/protocol.md. */
    Error setUvcSetting(int64_t camera, int32_t setting, float value);
    /** Below kNoReading for a control that the webcam does not have. */
    Result<float> getUvcSetting(int64_t camera, int32_t setting);
    /** By a small step, a larger one (amount 2) or a wide one (3), or less than 0 in the other direction. */
    Error driveFocus(int64_t camera, int32_t amount);
    Result<bool> hasUvcSettings(int64_t camera);

    /** Three calls: pixels with their size. Empty: none yet, or somebody else fetched one of another size. */
    Result<VideoFrame> fetchFrame(int64_t camera);
    /** captureImage with its answer made a frame of that size, or an empty one. */
    Result<VideoFrame> captureFrame(int64_t camera, int32_t frames, int32_t width, int32_t height);

    /** A number that is none travels as the least 64-bit integer, a millionth of which lies below this. */
    static constexpr float kNoReading = -9e12F;

private:
    CallConnection::Call describe(uint8_t method, const char* name) const;
    Error none(const CallConnection::Call& call, const Arguments& arguments);
    Result<int32_t> integer(const CallConnection::Call& call, const Arguments& arguments);
    Result<std::vector<uint32_t>> words(const CallConnection::Call& call, const Arguments& arguments);

    CallConnection& connection_;
    std::chrono::milliseconds limit_{30'000};
};

}  // namespace tarvo
