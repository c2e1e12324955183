/* EDSDK.h: the C interface of Canon's camera library, as this system calls it.
 *
 * Function names, numbers and record layouts are the vendor's, so that a libEDSDK.so of the vendor with
 * the same interface can take the place of ours. Sizes of files and streams are 64 bits wide, as in every
 * edition of the library that runs on Linux.
 *
 * Thread: the library is initialised on a thread with an event queue (platform/Events.h); camera events are
 *         delivered through that queue, on that thread. All other calls may come from any thread.
 * Owns:   every reference that a call hands out belongs to the caller until EdsRelease. A name returned in
 *         a record is the record's. Streams and images keep their own storage; pointers into it
 *         (EdsGetPointer) last as long as the stream.
 * Errors: EDS_ERR_OK (0) or an error of the vendor's numbering; outputs are untouched on failure. Calls
 *         before initialisation, on closed sessions and on released objects answer an error.
 * Follows: Picture Transfer Protocol (ISO 15740) for what a session, an object and a property are.
 */
#pragma once

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define EDS_EXPORT __attribute__((visibility("default")))
#else
#define EDS_EXPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Plain types ------------------------------------------------------------------------------------ */

typedef int32_t EdsBool;
typedef char EdsChar;
typedef int32_t EdsInt32;
typedef uint32_t EdsUInt32;
typedef int64_t EdsInt64;
typedef uint64_t EdsUInt64;
typedef void EdsVoid;

typedef EdsUInt32 EdsError;
typedef EdsUInt32 EdsPropertyID;
typedef EdsUInt32 EdsCameraCommand;
typedef EdsUInt32 EdsCameraStatusCommand;
typedef EdsUInt32 EdsObjectEvent;
typedef EdsUInt32 EdsPropertyEvent;
typedef EdsUInt32 EdsStateEvent;

/* References: opaque, counted objects. */
typedef struct EdsObject_* EdsBaseRef;
typedef EdsBaseRef EdsCameraListRef;
typedef EdsBaseRef EdsCameraRef;
typedef EdsBaseRef EdsDirectoryItemRef;
typedef EdsBaseRef EdsStreamRef;
typedef EdsStreamRef EdsEvfImageRef;

enum { EDS_MAX_NAME = 256 };

/* ---- Error numbers ---------------------------------------------------------------------------------- */

enum {
    EDS_ERR_OK = 0x00000000,
    EDS_ERR_UNIMPLEMENTED = 0x00000001,
    EDS_ERR_INTERNAL_ERROR = 0x00000002,
    EDS_ERR_MEM_ALLOC_FAILED = 0x00000003,
    EDS_ERR_OPERATION_CANCELLED = 0x00000005,
    EDS_ERR_NOT_SUPPORTED = 0x00000007,
    EDS_ERR_FILE_IO_ERROR = 0x00000020,
    EDS_ERR_FILE_NOT_FOUND = 0x00000022,
    EDS_ERR_FILE_OPEN_ERROR = 0x00000023,
    EDS_ERR_FILE_WRITE_ERROR = 0x00000028,
    EDS_ERR_FILE_PERMISSION_ERROR = 0x00000029,
    EDS_ERR_FILE_DISK_FULL_ERROR = 0x0000002A,
    EDS_ERR_FILE_ALREADY_EXISTS = 0x0000002B,
    EDS_ERR_PROPERTIES_UNAVAILABLE = 0x00000050,
    EDS_ERR_PROPERTIES_MISMATCH = 0x00000051,
    EDS_ERR_INVALID_PARAMETER = 0x00000060,
    EDS_ERR_INVALID_HANDLE = 0x00000061,
    EDS_ERR_INVALID_POINTER = 0x00000062,
    EDS_ERR_INVALID_INDEX = 0x00000063,
    EDS_ERR_INVALID_LENGTH = 0x00000064,
    EDS_ERR_DEVICE_NOT_FOUND = 0x00000080,
    EDS_ERR_DEVICE_BUSY = 0x00000081,
    EDS_ERR_DEVICE_INVALID = 0x00000082,
    EDS_ERR_DEVICE_MEMORY_FULL = 0x00000084,
    EDS_ERR_DEVICE_INTERNAL_ERROR = 0x00000085,
    EDS_ERR_DEVICE_INVALID_PARAMETER = 0x00000086,
    EDS_ERR_STREAM_IO_ERROR = 0x000000A0,
    EDS_ERR_STREAM_NOT_OPEN = 0x000000A1,
    EDS_ERR_STREAM_WRITE_ERROR = 0x000000A8,
    EDS_ERR_COMM_PORT_IS_IN_USE = 0x000000C0,
    EDS_ERR_COMM_DISCONNECTED = 0x000000C1,
    EDS_ERR_SESSION_NOT_OPEN = 0x00002003,
    EDS_ERR_SESSION_ALREADY_OPEN = 0x0000201E,
    EDS_ERR_OBJECT_NOTREADY = 0x0000A102
};

/* ---- Properties ------------------------------------------------------------------------------------- */

typedef EdsUInt32 EdsDataType;
enum {
    kEdsDataType_Unknown = 0,
    kEdsDataType_Bool = 1,
    kEdsDataType_String = 2,
    kEdsDataType_Int8 = 3,
    kEdsDataType_Int16 = 4,
    kEdsDataType_UInt8 = 6,
    kEdsDataType_UInt16 = 7,
    kEdsDataType_Int32 = 8,
    kEdsDataType_UInt32 = 9,
    kEdsDataType_Int64 = 10,
    kEdsDataType_UInt64 = 11,
    kEdsDataType_Float = 12,
    kEdsDataType_Double = 13,
    kEdsDataType_ByteBlock = 14,
    kEdsDataType_Rational = 20,
    kEdsDataType_Point = 21,
    kEdsDataType_Rect = 22,
    kEdsDataType_Time = 23
};

enum {
    kEdsPropID_ProductName = 0x00000002,
    kEdsPropID_OwnerName = 0x00000004,
    kEdsPropID_FirmwareVersion = 0x00000007,
    kEdsPropID_BatteryLevel = 0x00000008,
    kEdsPropID_SaveTo = 0x0000000B,
    kEdsPropID_BodyIDEx = 0x00000015,
    kEdsPropID_ImageQuality = 0x00000100,
    kEdsPropID_WhiteBalance = 0x00000106,
    kEdsPropID_ColorTemperature = 0x00000107,
    kEdsPropID_PictureStyle = 0x00000114,
    kEdsPropID_AEMode = 0x00000400,
    kEdsPropID_DriveMode = 0x00000401,
    kEdsPropID_ISOSpeed = 0x00000402,
    kEdsPropID_MeteringMode = 0x00000403,
    kEdsPropID_AFMode = 0x00000404,
    kEdsPropID_Av = 0x00000405,
    kEdsPropID_Tv = 0x00000406,
    kEdsPropID_ExposureCompensation = 0x00000407,
    kEdsPropID_AvailableShots = 0x0000040A,
    kEdsPropID_LensName = 0x0000040D,
    kEdsPropID_Evf_OutputDevice = 0x00000500,
    kEdsPropID_Evf_Mode = 0x00000501,
    kEdsPropID_Evf_WhiteBalance = 0x00000502,
    kEdsPropID_Evf_DepthOfFieldPreview = 0x00000504,
    kEdsPropID_Evf_Zoom = 0x00000507,
    kEdsPropID_Evf_ZoomPosition = 0x00000508,
    kEdsPropID_Evf_AFMode = 0x0000050E,
    kEdsPropID_Evf_CoordinateSystem = 0x00000540
};

enum { kEdsSaveTo_Camera = 1, kEdsSaveTo_Host = 2, kEdsSaveTo_Both = 3 };
enum { kEdsEvfOutputDevice_TFT = 1, kEdsEvfOutputDevice_PC = 2 };
enum { kEdsEvfZoom_Fit = 1, kEdsEvfZoom_x5 = 5, kEdsEvfZoom_x10 = 10 };

/* ---- Commands --------------------------------------------------------------------------------------- */

enum {
    kEdsCameraCommand_TakePicture = 0x00000000,
    kEdsCameraCommand_ExtendShutDownTimer = 0x00000001,
    kEdsCameraCommand_PressShutterButton = 0x00000004,
    kEdsCameraCommand_DoEvfAf = 0x00000102,
    kEdsCameraCommand_DriveLensEvf = 0x00000103
};

enum {
    kEdsCameraCommand_ShutterButton_OFF = 0x00000000,
    kEdsCameraCommand_ShutterButton_Halfway = 0x00000001,
    kEdsCameraCommand_ShutterButton_Completely = 0x00000003,
    kEdsCameraCommand_ShutterButton_Halfway_NonAF = 0x00010001,
    kEdsCameraCommand_ShutterButton_Completely_NonAF = 0x00010003
};

typedef EdsUInt32 EdsEvfDriveLens;
enum {
    kEdsEvfDriveLens_Near1 = 0x00000001,
    kEdsEvfDriveLens_Near2 = 0x00000002,
    kEdsEvfDriveLens_Near3 = 0x00000003,
    kEdsEvfDriveLens_Far1 = 0x00008001,
    kEdsEvfDriveLens_Far2 = 0x00008002,
    kEdsEvfDriveLens_Far3 = 0x00008003
};

enum { kEdsCameraStatusCommand_UILock = 0x00000000, kEdsCameraStatusCommand_UIUnLock = 0x00000001 };

/* ---- Events ----------------------------------------------------------------------------------------- */

enum {
    kEdsPropertyEvent_All = 0x00000100,
    kEdsPropertyEvent_PropertyChanged = 0x00000101,
    kEdsPropertyEvent_PropertyDescChanged = 0x00000102
};

enum {
    kEdsObjectEvent_All = 0x00000200,
    kEdsObjectEvent_DirItemCreated = 0x00000204,
    kEdsObjectEvent_DirItemRemoved = 0x00000205,
    kEdsObjectEvent_DirItemRequestTransfer = 0x00000208
};

enum {
    kEdsStateEvent_All = 0x00000300,
    kEdsStateEvent_Shutdown = 0x00000301,
    kEdsStateEvent_JobStatusChanged = 0x00000302,
    kEdsStateEvent_WillSoonShutDown = 0x00000303,
    kEdsStateEvent_ShutDownTimerUpdate = 0x00000304,
    kEdsStateEvent_CaptureError = 0x00000305,
    kEdsStateEvent_InternalError = 0x00000306
};

/* ---- Streams and transfers -------------------------------------------------------------------------- */

typedef EdsUInt32 EdsFileCreateDisposition;
enum {
    kEdsFileCreateDisposition_CreateNew = 0,
    kEdsFileCreateDisposition_CreateAlways = 1,
    kEdsFileCreateDisposition_OpenExisting = 2,
    kEdsFileCreateDisposition_OpenAlways = 3,
    kEdsFileCreateDisposition_TruncateExisting = 4
};

typedef EdsUInt32 EdsAccess;
enum { kEdsAccess_Read = 0, kEdsAccess_Write = 1, kEdsAccess_ReadWrite = 2 };

typedef EdsUInt32 EdsProgressOption;
enum { kEdsProgressOption_NoReport = 0, kEdsProgressOption_Done = 1, kEdsProgressOption_Periodically = 2 };

/* ---- Records (the vendor's layout; checked below) ---------------------------------------------------- */

typedef struct {
    EdsInt32 x;
    EdsInt32 y;
} EdsPoint;

typedef struct {
    EdsChar szPortName[EDS_MAX_NAME];
    EdsChar szDeviceDescription[EDS_MAX_NAME];
    EdsUInt32 deviceSubType; /* 0: the camera speaks the legacy protocol */
    EdsUInt32 reserved;
} EdsDeviceInfo;

typedef struct {
    EdsInt32 numberOfFreeClusters;
    EdsInt32 bytesPerSector;
    EdsBool reset;
} EdsCapacity;

typedef struct {
    EdsInt32 form;
    EdsInt32 access;
    EdsInt32 numElements; /* how many entries of propDesc count, at most 128 */
    EdsInt32 propDesc[128];
} EdsPropertyDesc;

typedef struct {
    EdsUInt64 size; /* bytes */
    EdsBool isFolder;
    EdsUInt32 groupID; /* the same for the files of one shot */
    EdsUInt32 option;
    EdsChar szFileName[EDS_MAX_NAME];
    EdsUInt32 format;
    EdsUInt32 dateTime;
} EdsDirectoryItemInfo;

/* ---- Callbacks -------------------------------------------------------------------------------------- */

/** Percent done, 0 to 100; *cancel set to non-zero stops the transfer. Runs on the thread that transfers. */
typedef EdsError (*EdsProgressCallback)(EdsUInt32 percent, EdsVoid* context, EdsBool* cancel);
/** The object comes with a reference that the handler must release. */
typedef EdsError (*EdsObjectEventHandler)(EdsObjectEvent event, EdsBaseRef object, EdsVoid* context);
typedef EdsError (*EdsPropertyEventHandler)(EdsPropertyEvent event, EdsPropertyID property,
                                            EdsUInt32 parameter, EdsVoid* context);
typedef EdsError (*EdsStateEventHandler)(EdsStateEvent event, EdsUInt32 parameter, EdsVoid* context);

/* ---- Library ---------------------------------------------------------------------------------------- */

/** Starts the library; camera events will arrive on the calling thread's event queue. */
EDS_EXPORT EdsError EdsInitializeSDK(void);
/** Ends the library; every reference becomes invalid. */
EDS_EXPORT EdsError EdsTerminateSDK(void);
/** Delivers one pending event on the calling thread, if there is one. */
EDS_EXPORT EdsError EdsGetEvent(void);

/* ---- References ------------------------------------------------------------------------------------- */

/** Both answer the count after the call; 0xFFFFFFFF for something that is not a live reference. */
EDS_EXPORT EdsUInt32 EdsRetain(EdsBaseRef object);
EDS_EXPORT EdsUInt32 EdsRelease(EdsBaseRef object);
EDS_EXPORT EdsError EdsGetChildCount(EdsBaseRef parent, EdsUInt32* count);
EDS_EXPORT EdsError EdsGetChildAtIndex(EdsBaseRef parent, EdsInt32 index, EdsBaseRef* child);

/* ---- Cameras ---------------------------------------------------------------------------------------- */

EDS_EXPORT EdsError EdsGetCameraList(EdsCameraListRef* list);
EDS_EXPORT EdsError EdsGetDeviceInfo(EdsCameraRef camera, EdsDeviceInfo* info);
EDS_EXPORT EdsError EdsOpenSession(EdsCameraRef camera);
EDS_EXPORT EdsError EdsCloseSession(EdsCameraRef camera);
EDS_EXPORT EdsError EdsSendCommand(EdsCameraRef camera, EdsCameraCommand command, EdsInt32 parameter);
EDS_EXPORT EdsError EdsSendStatusCommand(EdsCameraRef camera, EdsCameraStatusCommand command,
                                         EdsInt32 parameter);
EDS_EXPORT EdsError EdsSetCapacity(EdsCameraRef camera, EdsCapacity capacity);
/** A null context is allowed; a null handler takes the handler away. One handler of each kind a camera. */
EDS_EXPORT EdsError EdsSetObjectEventHandler(EdsCameraRef camera, EdsObjectEvent event,
                                             EdsObjectEventHandler handler, EdsVoid* context);
EDS_EXPORT EdsError EdsSetPropertyEventHandler(EdsCameraRef camera, EdsPropertyEvent event,
                                               EdsPropertyEventHandler handler, EdsVoid* context);
EDS_EXPORT EdsError EdsSetCameraStateEventHandler(EdsCameraRef camera, EdsStateEvent event,
                                                  EdsStateEventHandler handler, EdsVoid* context);

/* ---- Properties: of a camera, or of a live-view image -------------------------------------------------- */

EDS_EXPORT EdsError EdsGetPropertySize(EdsBaseRef object, EdsPropertyID property, EdsInt32 parameter,
                                       EdsDataType* type, EdsUInt32* size);
EDS_EXPORT EdsError EdsGetPropertyData(EdsBaseRef object, EdsPropertyID property, EdsInt32 parameter,
                                       EdsUInt32 size, EdsVoid* data);
EDS_EXPORT EdsError EdsSetPropertyData(EdsBaseRef object, EdsPropertyID property, EdsInt32 parameter,
                                       EdsUInt32 size, const EdsVoid* data);
EDS_EXPORT EdsError EdsGetPropertyDesc(EdsBaseRef object, EdsPropertyID property,
                                       EdsPropertyDesc* description);

/* ---- Files on the camera ---------------------------------------------------------------------------- */

EDS_EXPORT EdsError EdsGetDirectoryItemInfo(EdsDirectoryItemRef item, EdsDirectoryItemInfo* info);
EDS_EXPORT EdsError EdsDownload(EdsDirectoryItemRef item, EdsUInt64 size, EdsStreamRef stream);
/** Tells the camera that the file has arrived whole; only then may it forget the picture. */
EDS_EXPORT EdsError EdsDownloadComplete(EdsDirectoryItemRef item);
EDS_EXPORT EdsError EdsDownloadCancel(EdsDirectoryItemRef item);

/* ---- Streams ---------------------------------------------------------------------------------------- */

/** A stream on a file; the path is UTF-8. */
EDS_EXPORT EdsError EdsCreateFileStreamEx(const EdsChar* path, EdsFileCreateDisposition disposition,
                                          EdsAccess access, EdsStreamRef* stream);
/** A stream in memory that grows as needed; bufferSize is where it starts. */
EDS_EXPORT EdsError EdsCreateMemoryStream(EdsUInt64 bufferSize, EdsStreamRef* stream);
EDS_EXPORT EdsError EdsGetLength(EdsStreamRef stream, EdsUInt64* length);
EDS_EXPORT EdsError EdsGetPointer(EdsStreamRef stream, EdsVoid** pointer);
EDS_EXPORT EdsError EdsSetProgressCallback(EdsBaseRef stream, EdsProgressCallback callback,
                                           EdsProgressOption option, EdsVoid* context);

/* ---- Live view -------------------------------------------------------------------------------------- */

EDS_EXPORT EdsError EdsCreateEvfImageRef(EdsStreamRef stream, EdsEvfImageRef* image);
EDS_EXPORT EdsError EdsDownloadEvfImage(EdsCameraRef camera, EdsEvfImageRef image);

#ifdef __cplusplus
}

static_assert(sizeof(EdsPoint) == 8);
static_assert(sizeof(EdsDeviceInfo) == 520);
static_assert(sizeof(EdsCapacity) == 12);
static_assert(sizeof(EdsPropertyDesc) == 524);
static_assert(offsetof(EdsDirectoryItemInfo, szFileName) == 20);
static_assert(offsetof(EdsDirectoryItemInfo, format) == 276);
#endif
