/* protocol.h: the numbers that a host and the helper agree on.
 *
 * Thread: constants only.
 * Units:  every value on the wire is little-endian. A float is its value x 1000000 in a signed 64-bit
 * integer; a string and an array are a 32-bit count and the elements. Deadlines are microseconds of the wall
 * clock.
 */
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarvo {

// The first byte of a connection, and of each call.
enum Module : uint8_t {
    kModuleCallback = 8,
    kModuleCanon = 10,
    kModuleNikon = 20,
    kModuleQuickTime = 30,
    kModuleVideo = 40,
    kModuleShutdown = 66,
};

enum CanonMethod : uint8_t {
    kCanonInitializeSDK = 1,
    kCanonGetCameraList = 2,
    kCanonGetCameraName = 5,
    kCanonDoOpenSession = 7,
    kCanonCloseSession = 8,
    kCanonDoStartLiveView = 9,
    kCanonDoStopLiveView = 10,
    kCanonDriveFocus = 11,
    kCanonGetFirmwareVersion = 12,
    kCanonDoGetLiveViewImageData = 13,
    kCanonGetLiveViewZoomPositionX = 14,
    kCanonGetLiveViewZoomPositionY = 15,
    kCanonGetSetting = 16,
    kCanonGetSettingOptions = 17,
    kCanonIdle = 18,
    kCanonIsLiveViewZoom = 19,
    kCanonSetLiveViewZoom = 20,
    kCanonSetLiveViewZoomPosition = 21,
    kCanonSetSetting = 22,
    kCanonTerminateSDK = 23,
    kCanonDoCaptureImage = 24,
    kCanonDoPreCaptureImage = 25,
    kCanonExtendShutdownTimer = 26,
    kCanonDownloadImage = 27,
};

enum NikonMethod : uint8_t {
    kNikonInitializeSDK = 1,
    kNikonTerminateSDK = 2,
    kNikonGetCameraCount = 3,
    kNikonGetCameraTypeAtIndex = 4,
    kNikonSelectCameraAtIndex = 5,
    kNikonGetSettingOptions = 6,
    kNikonGetSetting = 7,
    kNikonSetSetting = 8,
    kNikonGetBatteryLevel = 9,
    kNikonGetBracketing = 10,
    kNikonSetLiveView = 11,
    kNikonIsLiveView = 12,
    kNikonGetLiveViewImage = 13,
    kNikonDriveFocus = 14,
    kNikonSetLiveViewZoomPosition = 15,
    kNikonGetLiveViewZoomPositionX = 16,
    kNikonGetLiveViewZoomPositionY = 17,
    kNikonGetLiveViewZoomWidth = 18,
    kNikonGetLiveViewZoomHeight = 19,
    kNikonCaptureImage = 20,
    kNikonReleaseCamera = 21,
    kNikonPreCaptureImage = 22,
    kNikonCheckForImages = 23,
};

enum VideoMethod : uint8_t {
    kVideoInitialize = 1,
    kVideoTerminate = 2,
    kVideoGetCameraCount = 3,
    kVideoGetCameraName = 4,
    kVideoDoSelectCamera = 5,
    kVideoReleaseCamera = 6,
    kVideoSetImageDimensions = 7,
    kVideoGetImageWidth = 8,
    kVideoGetImageHeight = 9,
    kVideoGetImageData = 10,
    kVideoCaptureImage = 11,
    kVideoSetNoiseReduction = 12,
    kVideoSetUvcSetting = 13,
    kVideoGetUvcSetting = 14,
    kVideoDriveFocus = 15,
    kVideoHasUvcSettings = 16,
};

// Callback messages: module byte, marker, kind byte, then 32-bit ints; how many follows from module and kind.
constexpr int32_t kCallbackMarker = 0x112233;
enum EventKind : uint8_t { kEventObject = 1, kEventProperty = 2, kEventState = 3, kEventProgress = 4 };

constexpr int32_t kObjectEventRequestTransfer = 0x208;  // a file waits to be downloaded
constexpr int32_t kPropertyEventChanged = 0x101;
constexpr int32_t kPropertyEventOptionsChanged = 0x102;
constexpr int32_t kStateEventShutdown = 0x301;  // the camera is gone: its session answers nothing any more
constexpr int32_t kStateEventWillSoonShutDown = 0x303;
constexpr int32_t kStateEventCaptureError = 0x305;

// The one int of a Nikon camera's state event.
constexpr int32_t kNikonStatusCameraGone =
    0;                                     // unplugged or switched off; its handle has still to be released
constexpr int32_t kNikonStatusTooHot = 1;  // live view is about to end for heat

// The one int of the video module's state event: a webcam was unplugged, whichever it was.
constexpr int32_t kVideoStatusGone = 1;

// What a Nikon module answers as the type of a camera that is not there.
constexpr int32_t kNikonNoCameraType = 65535;

constexpr uint16_t kFirstPort = 54839;
constexpr uint16_t kLastPort = 54899;

// The helper refuses a longer string without taking its bytes from the socket, so sending one would leave
// both ends out of step.
constexpr size_t kLongestString = 2048;
// The longest path, without extension, under which a picture can be stored.
constexpr size_t kLongestPicturePath = 1013;

// A video still is of so many pixels at least, and an average of so many frames at most.
constexpr int32_t kFewestStillPixels = 1000;
constexpr int32_t kMostAveragedFrames = 120;

// The helper waits for a capture's deadline only when it is nearer than this.
constexpr int64_t kHelperWaitsMicroseconds = 5'000'000;

// Statuses of the helper's own, beside the camera library's.
constexpr int32_t kStatusOk = 0;
constexpr int32_t kStatusRefused = -1;
constexpr int32_t kStatusNoSession = 130;
constexpr int32_t kStatusLiveViewRefused = 134;
constexpr int32_t kStatusPathText = 1001;
constexpr int32_t kStatusPathAddress = 1002;

// What the Nikon capture calls answer; the sentences for them are in NikonText.h.
constexpr int32_t kNikonNoSource = -1;
constexpr int32_t kNikonPathTooLong = -2;
constexpr int32_t kNikonCaptureFailed = -3;
constexpr int32_t kNikonModuleFailed = -31;
constexpr int32_t kNikonNoImage = -4;  // from a look for pictures: the item cannot be opened
constexpr int32_t kNikonImageNotOpened = -5;
constexpr int32_t kNikonImageNotFound = -51;
constexpr int32_t kNikonTransferFailed = -60;

}  // namespace tarvo
