/* QTKit.h: capture of video: devices, sessions, and the frames that they deliver.
 *
 * The names are the platform's. Where the platform names a call by keywords, the C++ name joins them by
 * underscores in their order, and the parameters keep that order.
 *
 * Thread: any, unless a call says otherwise. Frames reach the delegate on a thread of the framework, one
 *         frame at a time for an output; runtime errors are posted to NSNotificationCenter::defaultCenter()
 *         from a thread of the framework. Neither is called while the framework holds a lock of its own, so
 *         a delegate may call back, and may wait for a lock that somebody holds who is inside a call of this
 *         interface.
 * Owns:   objects are reference-counted (platform/Object.h). create… hands the caller a reference; everything
 *         else that is answered is lent: lists and their entries until the thread's innermost CallScope ends,
 *         the rest as long as the object that answered it.
 * Units:  pixels, bytes; sizes in attributes are doubles, as the platform has them.
 * Errors: false or null; a call with an NSError slot fills it, lent like a list. Device loss while a session
 *         runs is told as a runtime error of code QTErrorDeviceWasDisconnected.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Notifications.h"
#include "platform/Object.h"

#define QTKIT_EXPORT __attribute__((visibility("default")))

/* ---- Numbers and names ------------------------------------------------------------------------------- */

/** What a device or connection carries. Muxed: video and sound in one stream. */
enum class QTMediaType { Video, Muxed, Sound };

/** Four characters "BGRA": bytes blue, green, red, alpha of each pixel, in this order on every machine. */
inline constexpr uint32_t kCVPixelFormatType_32BGRA = 0x42475241;

/** The runtime error code of a device that was pulled out or fell silent. */
inline constexpr int64_t QTErrorDeviceWasDisconnected = 1203;

/** A running session failed; the notification's object is the session, its error tells why. */
QTKIT_EXPORT extern const NotificationName QTCaptureSessionRuntimeErrorNotification;

/** The result of locking a frame's memory: 0, or the reason it can't be read. */
using CVReturn = int32_t;
inline constexpr CVReturn kCVReturnSuccess = 0;

/* ---- Frames ------------------------------------------------------------------------------------------- */

/** One picture in memory. Immutable: a delivered frame keeps its pixels as long as somebody keeps it. */
class QTKIT_EXPORT CVImageBuffer : public NSObject {
public:
    /** The address below is valid from a successful lock to its unlock. Locks nest; any thread may lock. */
    virtual CVReturn lockBaseAddress() = 0;
    virtual void unlockBaseAddress() = 0;

    virtual const void* baseAddress() const = 0;
    virtual size_t width() const = 0;
    virtual size_t height() const = 0;
    /** From one row's start to the next one's; width × 4 or more. */
    virtual size_t bytesPerRow() const = 0;
    /** All bytes from the base address on. */
    virtual size_t dataSize() const = 0;

protected:
    ~CVImageBuffer() override = default;
};

/* ---- Devices ------------------------------------------------------------------------------------------ */

class QTCaptureDevice;

/** The framework's list may hold empty entries. */
using QTCaptureDeviceList = std::vector<Ref<QTCaptureDevice>>;

/** A camera or microphone. The same physical device is the same object as long as somebody keeps it. */
class QTKIT_EXPORT QTCaptureDevice : public NSObject {
public:
    /** All devices, in a stable order; null when the framework can't tell. Lent. */
    static const QTCaptureDeviceList* inputDevices();

    /** UTF-8; lent with the device. */
    virtual const std::string& localizedDisplayName() const = 0;
    /** UTF-8. A USB webcam's begins with its location: "0x" and eight hexadecimal digits. */
    virtual const std::string& uniqueID() const = 0;
    virtual bool hasMediaType(QTMediaType type) const = 0;

    /** Reserves the device for this process. `error` must be given and is set only when there was one. */
    virtual bool open(NSError** error) = 0;
    virtual bool isOpen() const = 0;
    virtual void close() = 0;

protected:
    ~QTCaptureDevice() override = default;
};

/* ---- From device to session ---------------------------------------------------------------------------- */

class QTKIT_EXPORT QTCaptureConnection : public NSObject {
public:
    virtual QTMediaType mediaType() const = 0;
    virtual void setEnabled(bool isEnabled) = 0;
    virtual bool isEnabled() const = 0;

protected:
    ~QTCaptureConnection() override = default;
};

class QTKIT_EXPORT QTCaptureDeviceInput : public NSObject {
public:
    /** Keeps the device. Null when there is no memory. */
    static QTCaptureDeviceInput* createWithDevice(QTCaptureDevice& device);

    virtual QTCaptureDevice& device() const = 0;
    /** Lent with the input. */
    virtual const std::vector<Ref<QTCaptureConnection>>& connections() const = 0;

protected:
    ~QTCaptureDeviceInput() override = default;
};

/* ---- Output -------------------------------------------------------------------------------------------- */

/** What the frames shall be. Without a size the device's own is delivered. */
struct PixelBufferAttributes {
    std::optional<double> width;
    std::optional<double> height;
    uint32_t pixelFormat = kCVPixelFormatType_32BGRA;
};

class QTCaptureDecompressedVideoOutput;

/** Who takes the frames. */
class QTKIT_EXPORT QTCaptureDecompressedVideoOutputDelegate {
public:
    /** The frame is lent for the call; retain it to keep it. `sampleBuffer` is the framework's own and may be
     * null. */
    virtual void captureOutput_didOutputVideoFrame_withSampleBuffer_fromConnection(
        QTCaptureDecompressedVideoOutput* captureOutput, CVImageBuffer* videoFrame, void* sampleBuffer,
        QTCaptureConnection* connection) = 0;

    /** The delegate as a counted object: the output holds a reference on it while it calls it. */
    virtual NSObject& delegateObject() = 0;

protected:
    ~QTCaptureDecompressedVideoOutputDelegate() = default;
};

class QTKIT_EXPORT QTCaptureDecompressedVideoOutput : public NSObject {
public:
    static QTCaptureDecompressedVideoOutput* create();

    /** Takes effect when the session starts next. */
    virtual void setPixelBufferAttributes(const PixelBufferAttributes& attributes) = 0;
    /** Not retained between calls; null takes it away. The session must not be running, or the delegate's
     * owner must hold a reference until it has stopped. */
    virtual void setDelegate(QTCaptureDecompressedVideoOutputDelegate* delegate) = 0;

protected:
    ~QTCaptureDecompressedVideoOutput() override = default;
};

/* ---- Session ------------------------------------------------------------------------------------------- */

/** Frames flow from its inputs to its outputs while it runs. Its end stops it and closes nothing. */
class QTKIT_EXPORT QTCaptureSession : public NSObject {
public:
    static QTCaptureSession* create();

    /** The session keeps what is added. How many it takes is the implementation's affair, at least one of
     * each; it says so by the error. */
    virtual bool addInput_error(QTCaptureDeviceInput& input, NSError** error) = 0;
    virtual bool addOutput_error(QTCaptureDecompressedVideoOutput& output, NSError** error) = 0;

    /** Returns at once; the first frame comes when the device has one. Failures are told by notification. */
    virtual void startRunning() = 0;
    /** When it returns no further delivery begins. One that is under way may still end, on the reference that
     * the output holds; it is not waited for, since its delegate may be waiting for the caller. isRunning()
     * may stay true for a while, but never until a delivery ends. */
    virtual void stopRunning() = 0;
    virtual bool isRunning() const = 0;

protected:
    ~QTCaptureSession() override = default;
};
