/* Toolkit.h: what libQTKit.so and its GStreamer plug-in agree on.
 *
 * GStreamer and what it finds at its start cost a tenth of a second and many megabytes. The helper announces
 * its port long before, and may never be asked for a webcam, so they come in with the plug-in, when somebody
 * first asks for devices. It is also the line between what is decided here (who may stream, what is delivered
 * when, how long a silence may last) and what GStreamer does.
 *
 * Thread: any. A listener is called on threads of the toolkit, without any lock of the toolkit's.
 * Owns:   shared pointers, as written.
 * Errors: failures; code 0 is none. Making streams throws std::bad_alloc and std::system_error.
 */
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "QTKit.h"

namespace capture {

/** Why something cannot be done; `code` as in Errors.h. */
struct Failure {
    int64_t code = 0;
    std::string reason = {};  // in the words of whoever noticed; may be empty

    explicit operator bool() const { return code != 0; }
};

struct FrameSize {
    uint32_t width = 0;
    uint32_t height = 0;

    bool operator==(const FrameSize&) const = default;
};

/** Who takes what a stream brings. */
class StreamListener {
public:
    virtual ~StreamListener() = default;

    /** The newest frame. Returns soon. */
    virtual void frameArrived(Ref<CVImageBuffer> frame) = 0;
    /** It cannot go on. At most once. */
    virtual void streamFailed(const Failure& failure) = 0;
    /** Once, and nothing after it: the device is free again. */
    virtual void streamEnded() = 0;
};

/** A stream under way. It ends by itself after a failure, otherwise when it is stopped; streamEnded() tells.
 */
class Source {
public:
    virtual ~Source() = default;

    /** Asks for its end, and does not wait for it: a driver whose device was pulled out may take its time. */
    virtual void stop() = 0;
};

/** Lasts as long as a device is kept for this process. */
class Reservation {
public:
    virtual ~Reservation() = default;
};

/** A video device that is plugged in, or was when it was listed. */
class Camera {
public:
    virtual ~Camera() = default;

    virtual const std::string& name() const = 0;
    virtual const std::string& uniqueId() const = 0;
    /** `isStreamingHere`: this process has a stream of it under way, so that it is in use says nothing. */
    virtual Failure reserve(bool isStreamingHere, std::unique_ptr<Reservation>& out) = 0;
    /** Frames of that size, or of the device's own. Returns at once. */
    virtual std::shared_ptr<Source> start(std::optional<FrameSize> size,
                                          std::shared_ptr<StreamListener> listener) = 0;
};

using CameraRef = std::shared_ptr<Camera>;

struct Toolkit {
    /// What is plugged in, each device once, in a stable order; the same device is the same camera while it
    /// stays. False when that cannot be told.
    bool (*list)(std::vector<CameraRef>& out);
};

/** Loads the plug-in at the first call; null when that fails. */
const Toolkit* toolkit();

}  // namespace capture

/** The plug-in's only symbol. Null when GStreamer cannot start. */
extern "C" QTKIT_EXPORT const capture::Toolkit* tarvoCaptureToolkit();
constexpr const char* kCaptureToolkitSymbol = "tarvoCaptureToolkit";
