/* MAID.h: the interface between a program and a loadable module that drives Nikon cameras.
 *
 * A module is a bundle that exports one function, "MAIDEntryPoint" (MaidEntryPoint below). Every request is a
 * numbered command on an object; objects form a tree: the module, its sources (cameras), their items
 * (pictures), and an item's data objects (the image, a thumbnail). Numbers and record layouts are the
 * vendor's.
 *
 * Thread: one thread at a time for a module and everything under it. The module works only while it is
 *         called: completions, progress, data and events are reported from inside a command, normally
 *         kMaidCommandAsync, on the calling thread. A callback may issue further commands.
 * Owns:   object records, capability buffers, enumeration and array storage belong to the caller. What a data
 *         or progress callback is shown belongs to the module and ends with the callback. A callback record
 *         is copied when it is set.
 * Units:  file lengths in bytes; a module fills numbers in the machine's own byte order.
 * Errors: MaidResult; 0 and 1 (pending) are successes, negative numbers are failures. The completion of an
 *         accepted or refused command that names one is called once, with the final result.
 */
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A parameter that is a value or an address, by the command's data type. */
typedef uintptr_t MaidParam;
/* The caller's own reference, handed back untouched. */
typedef void* MaidRef;

/* ---- Numbers --------------------------------------------------------------------------------------- */

/* The first word of an object record. */
enum { kMaidObjectModule = 1, kMaidObjectSource = 2, kMaidObjectItem = 3, kMaidObjectData = 4 };

enum {
    kMaidCommandAsync = 0, /* let the module work; reports are made from inside */
    kMaidCommandOpen = 1,  /* param: child id; data: object record (data type 17) */
    kMaidCommandClose = 2,
    kMaidCommandGetCapCount = 3, /* data: uint32_t (data type 6) */
    kMaidCommandGetCapInfo = 4,  /* param: how many; data: that many descriptions (data type 18) */
    kMaidCommandCapStart = 5,    /* param: capability */
    kMaidCommandCapSet = 6,      /* param: capability; data by its data type */
    kMaidCommandCapGet = 7,
    kMaidCommandCapGetDefault = 8,
    kMaidCommandCapGetArray = 9, /* data: the record that CapGet filled, with storage for the elements */
    kMaidCommandMark = 10,
    kMaidCommandAbortToMark = 11,
    kMaidCommandAbort = 12,
    kMaidCommandEnumChildren = 13, /* answered by add-child events */
    kMaidCommandGetParent = 14,
    kMaidCommandResetToDefault = 15
};

/* How `data` of a command is to be read: values themselves (0 to 3), or the address of a record. */
enum {
    kMaidDataNull = 0,
    kMaidDataBoolean = 1,
    kMaidDataInteger = 2,
    kMaidDataUnsigned = 3,
    kMaidDataBooleanPtr = 4,  /* uint8_t */
    kMaidDataIntegerPtr = 5,  /* int32_t */
    kMaidDataUnsignedPtr = 6, /* uint32_t */
    kMaidDataFloatPtr = 7,    /* double */
    kMaidDataPointPtr = 8,
    kMaidDataSizePtr = 9,
    kMaidDataRectPtr = 10,
    kMaidDataStringPtr = 11,
    kMaidDataDateTimePtr = 12,
    kMaidDataCallbackPtr = 13,
    kMaidDataRangePtr = 14,
    kMaidDataArrayPtr = 15,
    kMaidDataEnumPtr = 16,
    kMaidDataObjectPtr = 17,
    kMaidDataCapInfoPtr = 18,
    kMaidDataGenericPtr = 19
};

/* What a capability is; its description says. */
enum {
    kMaidCapProcess = 0,
    kMaidCapBoolean = 1,
    kMaidCapInteger = 2,
    kMaidCapUnsigned = 3,
    kMaidCapFloat = 4,
    kMaidCapPoint = 5,
    kMaidCapSize = 6,
    kMaidCapRect = 7,
    kMaidCapString = 8,
    kMaidCapDateTime = 9,
    kMaidCapCallback = 10,
    kMaidCapArray = 11,
    kMaidCapEnum = 12,
    kMaidCapRange = 13,
    kMaidCapGeneric = 14
};

/* Bits of a capability's operations. */
enum {
    kMaidOperationStart = 1,
    kMaidOperationGet = 2,
    kMaidOperationSet = 4,
    kMaidOperationGetArray = 8,
    kMaidOperationGetDefault = 16
};

/* Element types of enumerations and arrays. */
enum {
    kMaidArrayBoolean = 0,
    kMaidArrayInteger = 1,
    kMaidArrayUnsigned = 2,
    kMaidArrayFloat = 3,
    kMaidArrayPoint = 4,
    kMaidArraySize = 5,
    kMaidArrayRect = 6,
    kMaidArrayPackedString = 7, /* NUL-terminated texts in a row; the count is in bytes */
    kMaidArrayString = 8,
    kMaidArrayDateTime = 9
};

/* Capabilities that every module has in common. */
enum {
    kMaidCapabilityAsyncRate = 1,
    kMaidCapabilityProgressProc = 2,
    kMaidCapabilityEventProc = 3,
    kMaidCapabilityDataProc = 4,
    kMaidCapabilityUIRequestProc = 5,
    kMaidCapabilityIsAlive = 6,
    kMaidCapabilityChildren = 7, /* an enumeration of child ids */
    kMaidCapabilityCapture = 17,
    kMaidCapabilityAcquire = 20,
    kMaidCapabilityBatteryLevel = 49
};

/* What an event procedure is told. */
enum {
    kMaidEventAddChild = 0,    /* data: child id */
    kMaidEventRemoveChild = 1, /* data: child id */
    kMaidEventWarmingUp = 2,
    kMaidEventWarmedUp = 3,
    kMaidEventCapChange = 4, /* the list of capabilities is another one */
    kMaidEventOrphanedChildren = 5,
    kMaidEventCapChangeValueOnly = 6, /* data: capability */
    kMaidEventAddPreviewImage = 0x107
};

/* Bits of a data delivery's type. */
enum {
    kMaidDataObjectImage = 1,
    kMaidDataObjectSound = 2,
    kMaidDataObjectVideo = 4,
    kMaidDataObjectThumbnail = 8,
    kMaidDataObjectFile = 16
};

enum { kMaidFileJpeg = 1, kMaidFileTiff = 2, kMaidFileNef = 4, kMaidFileNdf = 257 };

enum {
    kMaidResultNoError = 0,
    kMaidResultPending = 1,
    kMaidResultOrphanedChildren = 2,
    kMaidResultNotSupported = -127,
    kMaidResultUnexpectedDataType = -126,
    kMaidResultValueOutOfBounds = -125,
    kMaidResultBufferSize = -124, /* of the capability enumeration: the list changed meanwhile */
    kMaidResultAborted = -123,
    kMaidResultNoMedia = -122,
    kMaidResultNoEventProc = -121,
    kMaidResultNoDataProc = -120,
    kMaidResultZombieObject = -119, /* the object, or what it stood for, is gone */
    kMaidResultOutOfMemory = -118,
    kMaidResultUnexpectedError = -117, /* a file could not be made, among others */
    kMaidResultHardwareError = -116,
    kMaidResultMissingComponent = -115,
    kMaidResultDeviceBusy = 257
};

/* ---- Records --------------------------------------------------------------------------------------- */

/* One opened object. The module fills type, id and moduleRef when it opens it; clientRef is the caller's. */
typedef struct tagNkMAIDObject {
    uint32_t type;
    uint32_t id;
    MaidRef clientRef;
    MaidRef moduleRef;
} NkMAIDObject;

typedef struct tagNkMAIDCapInfo {
    uint32_t id;
    uint32_t type;
    uint32_t visibility;
    uint32_t operations;
    char description[256]; /* text; not every module ends a full one with NUL */
} NkMAIDCapInfo;

/* Sets a procedure (data type 13). `proc` is one of the function types below, by the capability. */
typedef struct tagNkMAIDCallback {
    void (*proc)(void);
    MaidRef ref;
} NkMAIDCallback;

typedef struct tagNkMAIDPoint {
    int32_t x;
    int32_t y;
} NkMAIDPoint;

typedef struct tagNkMAIDSize {
    uint32_t width;
    uint32_t height;
} NkMAIDSize;

typedef struct tagNkMAIDRange {
    double value;
    double defaultValue;
    uint32_t valueIndex; /* meaningful when steps is not 0 */
    uint32_t defaultIndex;
    double lower;
    double upper;
    uint32_t steps; /* 0: any value between the bounds */
} NkMAIDRange;

typedef struct tagNkMAIDArray {
    uint32_t type; /* kMaidArray… */
    uint32_t elements;
    uint32_t dimensionSize1;
    uint32_t dimensionSize2;
    uint32_t dimensionSize3;
    uint16_t physicalBytes; /* of one element */
    uint16_t logicalBits;   /* of one element */
    void* data;
} NkMAIDArray;

typedef struct tagNkMAIDEnum {
    uint32_t type; /* kMaidArray… */
    uint32_t elements;
    uint32_t value;         /* index of the current value */
    uint32_t defaultValue;  /* index of the default */
    uint16_t physicalBytes; /* of one element */
    void* data;
} NkMAIDEnum;

/* The head of every data delivery; type holds bits kMaidDataObject…. */
typedef struct tagNkMAIDDataInfo {
    uint32_t type;
} NkMAIDDataInfo;

/* A delivery with kMaidDataObjectFile in its type: one block of a file. */
typedef struct tagNkMAIDFileInfo {
    NkMAIDDataInfo base;
    uint32_t fileDataType; /* kMaidFile… */
    uint32_t totalLength;
    uint32_t start;
    uint32_t length;       /* of this block */
    uint16_t diskFile;     /* not 0: the data names a file instead of holding it */
    uint16_t removeObject; /* not 0: the item should be removed once all is received */
} NkMAIDFileInfo;

/* ---- Functions ------------------------------------------------------------------------------------- */

/* The end of a command. `ref` is what was given with it. */
typedef void (*MaidCompletionProc)(NkMAIDObject* object, uint32_t command, uint32_t param, uint32_t dataType,
                                   MaidParam data, MaidRef ref, int32_t result);

/* Progress of a process on the object whose record `ref` was set with; total 0: not known. */
typedef void (*MaidProgressProc)(uint32_t command, uint32_t param, MaidRef ref, uint32_t done,
                                 uint32_t total);

/* An event of the object whose record `ref` was set with. The answer, 1 or 0, says whether the caller could
   follow; a module may leave it unread. */
typedef int32_t (*MaidEventProc)(MaidRef ref, uint32_t event, MaidParam data);

/* Takes one delivery; `data` holds what `info` describes. A negative answer ends the transfer. */
typedef int32_t (*MaidDataProc)(MaidRef ref, void* info, void* data);

/* "MAIDEntryPoint". `object` is null for opening the module itself. Answers a MaidResult. */
typedef int32_t (*MaidEntryPoint)(NkMAIDObject* object, uint32_t command, uint32_t param, uint32_t dataType,
                                  MaidParam data, MaidCompletionProc completion, MaidRef ref);

#ifdef __cplusplus
}

/* ---- Layouts, as modules are built for them --------------------------------------------------------- */

static_assert(sizeof(NkMAIDCapInfo) == 272 && offsetof(NkMAIDCapInfo, description) == 16);
static_assert(offsetof(NkMAIDObject, clientRef) == 8);
static_assert(sizeof(NkMAIDObject) == 8 + 2 * sizeof(void*));
static_assert(sizeof(NkMAIDCallback) == 2 * sizeof(void*));
static_assert(sizeof(NkMAIDPoint) == 8 && sizeof(NkMAIDSize) == 8);
static_assert(offsetof(NkMAIDRange, lower) == 24 && offsetof(NkMAIDRange, steps) == 40);
static_assert(sizeof(NkMAIDRange) == (alignof(NkMAIDRange) == 8 ? 48 : 44));
static_assert(offsetof(NkMAIDArray, physicalBytes) == 20 && offsetof(NkMAIDArray, logicalBits) == 22);
static_assert(offsetof(NkMAIDArray, data) == 24 && sizeof(NkMAIDArray) == 24 + sizeof(void*));
static_assert(offsetof(NkMAIDEnum, value) == 8 && offsetof(NkMAIDEnum, physicalBytes) == 16);
static_assert(offsetof(NkMAIDEnum, data) == (sizeof(void*) == 8 ? 24 : 20));
static_assert(sizeof(NkMAIDEnum) == (sizeof(void*) == 8 ? 32 : 24));
static_assert(sizeof(NkMAIDFileInfo) == 24 && offsetof(NkMAIDFileInfo, fileDataType) == 4);
static_assert(offsetof(NkMAIDFileInfo, totalLength) == 8 && offsetof(NkMAIDFileInfo, start) == 12);
static_assert(offsetof(NkMAIDFileInfo, length) == 16 && offsetof(NkMAIDFileInfo, removeObject) == 22);
#endif
