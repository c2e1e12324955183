/* devices.cpp: the list of cameras, their selection and their release. */
#include <algorithm>
#include <cstdio>
#include <mutex>
#include <new>
#include <string>

#include "QTKitCapture/src/QTKitCapture.h"
#include "QTKitCapture/src/qtkit_internal.h"
#include "platform/CallScope.h"
#include "platform/PlatformLog.h"

using qtkit::debug;

namespace {

// It delivers what it likes unless told otherwise, and its controls are not on USB.
constexpr const char kBuiltInName[] = "Built-in iSight";
constexpr double kBuiltInWidth = 640.0;
constexpr double kBuiltInHeight = 480.0;

/** A name as the log and the host get it: ASCII, or nothing. */
const char* asciiText(const std::string& name) {
    const bool isAscii =
        std::all_of(name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    return isAscii ? name.c_str() : nullptr;
}

bool hasVideo(const QTCaptureDevice& device) {
    return device.hasMediaType(QTMediaType::Video) || device.hasMediaType(QTMediaType::Muxed);
}

/** The device with the number, null if there is none. The list is the framework's until the scope ends. */
QTCaptureDevice* findDevice(jint index) {
    const QTCaptureDeviceList* devices = QTCaptureDevice::inputDevices();
    if (devices == nullptr) return nullptr;
    jint number = 0;
    for (const Ref<QTCaptureDevice>& device : *devices) {
        if (!device || !hasVideo(*device)) continue;
        if (number == index) return device.get();
        ++number;
    }
    return nullptr;
}

bool isBuiltIn(const QTCaptureDevice& device) {
    return device.localizedDisplayName() == kBuiltInName;
}

/** Devices that a failed selection has left open: hosts try again, and release what they get then. A device
 *  that nobody holds would close by itself. */
struct LeftOpen {
    std::mutex mutex;
    QTCaptureDeviceList devices;  // guarded by mutex
};

LeftOpen& leftOpen() {
    static auto* const left = new LeftOpen;  // never destroyed, like what it holds
    return *left;
}

void leaveOpen(QTCaptureDevice& device) {
    LeftOpen& left = leftOpen();
    const std::lock_guard guard(left.mutex);
    const auto isIt = [&](const Ref<QTCaptureDevice>& other) { return other.get() == &device; };
    try {
        if (std::none_of(left.devices.begin(), left.devices.end(), isIt)) {
            left.devices.push_back(Ref<QTCaptureDevice>::share(&device));
        }
    } catch (const std::bad_alloc&) {
        return;  // it closes
    }
}

void closeDevice(QTCaptureDevice& device) {
    if (device.isOpen()) device.close();
    LeftOpen& left = leftOpen();
    const std::lock_guard guard(left.mutex);
    std::erase_if(left.devices, [&](const Ref<QTCaptureDevice>& other) { return other.get() == &device; });
}

/** An open that succeeds with an error is told by the log alone. */
bool openDevice(QTCaptureDevice& device) {
    NSError* error = nullptr;
    if (!device.open(&error)) return false;
    if (error == nullptr) return true;
    NSLog("error %s", error->description().c_str());
    leaveOpen(device);
    return false;
}

/** Sound is never captured, not from devices that mix it into the video either. */
void enableConnections(const QTCaptureDeviceInput& input) {
    for (const Ref<QTCaptureConnection>& connection : input.connections()) {
        connection->setEnabled(connection->mediaType() != QTMediaType::Sound);
    }
}

bool addInput(QTKitCaptureCamera& camera, QTCaptureDevice& device) {
    camera.mCaptureDeviceInput =
        Ref<QTCaptureDeviceInput>::adopt(QTCaptureDeviceInput::createWithDevice(device));
    if (!camera.mCaptureDeviceInput) return false;
    enableConnections(*camera.mCaptureDeviceInput);
    NSError* error = nullptr;
    return camera.mCaptureSession->addInput_error(*camera.mCaptureDeviceInput, &error);
}

bool addOutput(QTKitCaptureCamera& camera, const QTCaptureDevice& device) {
    camera.mCaptureDecompressedVideoOutput =
        Ref<QTCaptureDecompressedVideoOutput>::adopt(QTCaptureDecompressedVideoOutput::create());
    const bool isSight = isBuiltIn(device);
    debug("isight %d\n", isSight ? 1 : 0);
    if (!camera.mCaptureDecompressedVideoOutput) return false;
    PixelBufferAttributes attributes;
    if (isSight) {
        attributes.width = kBuiltInWidth;
        attributes.height = kBuiltInHeight;
    }
    camera.mCaptureDecompressedVideoOutput->setPixelBufferAttributes(attributes);
    camera.mCaptureDecompressedVideoOutput->setDelegate(&camera);
    NSError* error = nullptr;
    return camera.mCaptureSession->addOutput_error(*camera.mCaptureDecompressedVideoOutput, &error);
}

/** Session, input and output; false, with a line in the log, when the framework refuses one of them. */
bool buildSession(QTKitCaptureCamera& camera, QTCaptureDevice& device) {
    camera.mCaptureSession = Ref<QTCaptureSession>::adopt(QTCaptureSession::create());
    NSNotificationCenter::defaultCenter().addObserver(camera, QTCaptureSessionRuntimeErrorNotification);
    if (!camera.mCaptureSession || !addInput(camera, device)) {
        debug("Failed addInput\n");
        return false;
    }
    if (!addOutput(camera, device)) {
        debug("Failed addOutput\n");
        return false;
    }
    return true;
}

/** 0 for an id that tells no place; no device is found there then. */
uint32_t locationOf(const QTCaptureDevice& device) {
    unsigned location = 0;
    std::sscanf(device.uniqueID().c_str(), "0x%8x", &location);
    return location;
}

/** Leaves the camera in manual focus, where the brief automatic run has brought it. */
void attachControls(QTKitCaptureCamera& camera, const QTCaptureDevice& device) {
    const Ref<UVCCameraControl> uvc = UVCCameraControl::initWithLocationID(locationOf(device));
    if (!uvc || !uvc->hasInterface()) return;
    uvc->setAutoFocus(true);
    uvc->setAutoFocus(false);
    const std::lock_guard guard(camera.mutex);
    camera.mUvc = uvc;
    camera.stayForever();
}

/** Ends what the framework has given. Later calls on the camera find it released. */
struct Remains {
    Ref<UVCCameraControl> uvc;
    Ref<QTCaptureSession> session;
    Ref<QTCaptureDeviceInput> input;
    Ref<QTCaptureDecompressedVideoOutput> output;
    Ref<CVImageBuffer> frame;
};

Remains takeRemains(QTKitCaptureCamera& camera) {
    const std::lock_guard guard(camera.mutex);
    camera.isReleased = true;
    return {std::move(camera.mUvc), std::move(camera.mCaptureSession), std::move(camera.mCaptureDeviceInput),
            std::move(camera.mCaptureDecompressedVideoOutput), std::move(camera.mCurrentImageBuffer)};
}

void closeSession(Remains& remains) {
    if (!remains.session) return;
    remains.session->stopRunning();
    if (remains.output) remains.output->setDelegate(nullptr);
    if (remains.input) {
        QTCaptureDevice& device = remains.input->device();
        debug("Closing QTCaptureDevice %p\n", static_cast<void*>(&device));
        closeDevice(device);
    }
    remains.session = {};
}

/** For a camera that the host never gets. */
void dismantle(QTKitCaptureCamera& camera) {
    NSNotificationCenter::defaultCenter().removeObserver(camera);
    Remains remains = takeRemains(camera);
    closeSession(remains);
}

void freePixels(QTKitCaptureCamera& camera) {
    const std::lock_guard guard(camera.fetchMutex);
    camera.pixels.clear();
}

}  // namespace

QTKIT_ENTRY(jint, Initialize) {
    (void)env, (void)object;
    return 0;
}

QTKIT_ENTRY(void, Terminate) {
    (void)env, (void)object;
}

QTKIT_ENTRY(jint, GetCameraCount) {
    (void)env, (void)object;
    const CallScope scope;
    const QTCaptureDeviceList* devices = QTCaptureDevice::inputDevices();
    if (devices == nullptr) return 0;
    jint count = 0;
    for (const Ref<QTCaptureDevice>& device : *devices) {
        if (!device) continue;
        const bool isCamera = hasVideo(*device);
        const char* name = asciiText(device->localizedDisplayName());
        debug("Display Name = %s, video=%d\n", name == nullptr ? "(null)" : name, isCamera ? 1 : 0);
        count += isCamera ? 1 : 0;
    }
    return count;
}

QTKIT_ENTRY(jstring, GetCameraName, jint index) {
    (void)object;
    const CallScope scope;
    const QTCaptureDevice* device = findDevice(index);
    return device == nullptr ? nullptr : (*env)->NewStringUTF(env, asciiText(device->localizedDisplayName()));
}

QTKIT_ENTRY(jlong, DoSelectCamera, jint index) {
    const CallScope scope;
    QTCaptureDevice* device = findDevice(index);
    if (device == nullptr || !openDevice(*device)) return 0;
    const auto camera = Ref<QTKitCaptureCamera>::adopt(new (std::nothrow) QTKitCaptureCamera);
    if (!camera) return 0;
    camera->jThis = (*env)->NewGlobalRef(env, object);
    if (!buildSession(*camera, *device)) {
        leaveOpen(*device);
        return 0;  // the camera unregisters itself when it goes
    }
    camera->mCaptureSession->startRunning();
    if (!isBuiltIn(*device)) attachControls(*camera, *device);
    const jlong handle = publishCamera(camera);
    if (handle == 0) dismantle(*camera);
    return handle;
}

QTKIT_ENTRY(void, ReleaseCamera, jlong handle) {
    (void)env, (void)object;
    const CallScope scope;
    const Ref<QTKitCaptureCamera> camera = retireCamera(handle);
    if (!camera) return;
    debug("Releasing camera %p\n", reinterpret_cast<void*>(handle));
    NSNotificationCenter::defaultCenter().removeObserver(*camera);
    Remains remains = takeRemains(*camera);
    remains.uvc = {};
    debug("Releasing camera cameraData->mCaptureSession %p\n", static_cast<void*>(remains.session.get()));
    closeSession(remains);
    debug("Releasing camera cameraData->dataBuffer %p\n",
          static_cast<void*>(camera->pixels.current().words()));
    freePixels(*camera);
    camera->jThis = nullptr;
}

QTKIT_ENTRY(void, SetNoiseReduction, jlong handle, jboolean flag) {
    (void)env, (void)object, (void)handle, (void)flag;
}
