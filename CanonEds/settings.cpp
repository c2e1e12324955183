/* settings.cpp: the camera's properties, as hosts read and write them: 32-bit values by the library's ids. */
#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <iterator>
#include <thread>

#include "CanonEds/CanonEdsjnilib.h"
#include "CanonEds/canon_internal.h"

namespace {

// Image qualities of cameras that do not describe the property themselves.
constexpr jint digitalRebelImageQuality[] = {0x240000, 0x130000,  0x1130000, 0x2130000,
                                             0x120000, 0x1120000, 0x2120000};
constexpr jint legacyImageQuality[] = {0x240000,  0x240013,  0x240113,  0x240213,  0x240012, 0x240112,
                                       0x240212,  0x130000,  0x1130000, 0x2130000, 0x120000, 0x1120000,
                                       0x2120000, 0x2F000F,  0x2F001F,  0x2F051F,  0x2F061F, 0x2F021F,
                                       0x1F000F,  0x51F000F, 0x61F000F, 0x21F000F};

constexpr int kPolls = 200;
constexpr std::chrono::milliseconds kPollPause{10};

/** A property of the size that the library reported, seen as a 32-bit value.
 *
 * The size is the camera's word: it may be more than four bytes (texts, points), of which the value is the
 * beginning, or fewer.
 */
class SizedProperty {
public:
    SizedProperty(EdsCameraRef camera, EdsPropertyID id, EdsUInt32 size)
        : camera_(camera), id_(id), size_(size) {}

    EdsError read(int32_t* value) const {
        if (size_ > kLargest) return EDS_ERR_PROPERTIES_MISMATCH;
        std::array<uint8_t, kLargest> data{};
        const EdsError status = EdsGetPropertyData(camera_, id_, 0, size_, data.data());
        if (status == EDS_ERR_OK) std::memcpy(value, data.data(), sizeof *value);
        return status;
    }

    EdsError write(int32_t value) const {
        if (size_ > kLargest) return EDS_ERR_PROPERTIES_MISMATCH;
        std::array<uint8_t, kLargest> data{};
        std::memcpy(data.data(), &value, sizeof value);
        return EdsSetPropertyData(camera_, id_, 0, size_, data.data());
    }

private:
    static constexpr EdsUInt32 kLargest = 1024;
    EdsCameraRef camera_;
    EdsPropertyID id_;
    EdsUInt32 size_;
};

/** Waits until the camera reports the value; how that ends changes nothing. */
void awaitValue(const SizedProperty& property, EdsPropertyID id, int32_t wanted, int32_t current) {
    for (int i = 0; i < kPolls; ++i) {
        property.read(&current);
        if (current == wanted) return;
        // The percent sign stands alone, without the count: log filters know the line so.
        debug("SetProperty i=%%, id=0x%X, set to %d -> %d\n", id, wanted, current);
        std::this_thread::sleep_for(kPollPause);
    }
}

EdsError writeBoolean(const SizedProperty& property, int32_t value) {
    int32_t current = 0;
    const EdsError status = property.read(&current);
    if (status == EDS_ERR_OK) property.write(value);
    return status;
}

EdsError writeValue(const SizedProperty& property, EdsPropertyID id, int32_t value, int32_t current) {
    // The depth-of-field preview is written always: cameras forget it without reporting a change.
    if (value == current && id != kEdsPropID_Evf_DepthOfFieldPreview) return EDS_ERR_OK;
    const EdsError status = property.write(value);
    if (status != EDS_ERR_OK) {
        debug("Error setting property id=0x%X, error=0x%X\n", id, status);
        return status;
    }
    awaitValue(property, id, value, current);
    return EDS_ERR_OK;
}

/** With the user interface locked; false at the first failure. */
bool setLocked(CanonCamera& session, EdsPropertyID id, int32_t value) {
    EdsDataType type = kEdsDataType_Unknown;
    EdsUInt32 size = 0;
    EdsError status = EdsGetPropertySize(session.camera, id, 0, &type, &size);
    if (status != EDS_ERR_OK) {
        debug("ERROR GETTING SETTING 0x%X\n", id);
        return false;
    }
    debug("EdsGetPropertySize dataType=%d, dataSize=%d\n", static_cast<int>(type), static_cast<int>(size));
    const SizedProperty property(session.camera, id, size);
    if (type == kEdsDataType_Bool) return writeBoolean(property, value) == EDS_ERR_OK;

    int32_t current = 0;
    status = property.read(&current);
    debug("Property id=0x%X, was=%d, setting to %d\n", id, current, value);
    if (status != EDS_ERR_OK) {
        debug("Error getting property id=0x%X, error=0x%X\n", id, status);
        return false;
    }
    status = writeValue(property, id, value, current);
    if (id == kEdsPropID_Tv) session.pendingTv = value;
    if (id == kEdsPropID_Evf_DepthOfFieldPreview && status == EDS_ERR_OK) session.savedDofPreview = value;
    return status == EDS_ERR_OK;
}

bool isReadableAsInt(EdsDataType type, EdsPropertyID id) {
    return type == kEdsDataType_Int32 || type == kEdsDataType_UInt32 || type == kEdsDataType_Bool ||
           id == kEdsPropID_Evf_OutputDevice;
}

jint getLocked(const CanonCamera& session, EdsPropertyID id) {
    EdsDataType type = kEdsDataType_Unknown;
    EdsUInt32 size = 0;
    if (EdsGetPropertySize(session.camera, id, 0, &type, &size) != EDS_ERR_OK) return 0;
    if (!isReadableAsInt(type, id)) {
        debug("dataType 0x%X\n", type);
        return 0;
    }
    int32_t value = 0;
    if (SizedProperty(session.camera, id, size).read(&value) != EDS_ERR_OK) return 0;
    debug("Property 0x%X, value %d\n", id, value);
    return value;
}

jintArray newIntArray(JNIEnv* env, const jint* values, jsize count) {
    jintArray array = (*env)->NewIntArray(env, count);
    (*env)->SetIntArrayRegion(env, array, 0, count, values);
    return array;
}

jintArray optionsLocked(JNIEnv* env, const CanonCamera& session, EdsPropertyID id) {
    EdsPropertyDesc description{};
    if (EdsGetPropertyDesc(session.camera, id, &description) == EDS_ERR_OK) {
        const auto most = static_cast<EdsInt32>(std::size(description.propDesc));
        return newIntArray(env, description.propDesc, std::clamp(description.numElements, 0, most));
    }
    if (id != kEdsPropID_ImageQuality || !session.legacy) return nullptr;
    if (session.rebel300D) {
        return newIntArray(env, digitalRebelImageQuality,
                           static_cast<jsize>(std::size(digitalRebelImageQuality)));
    }
    return newIntArray(env, legacyImageQuality, static_cast<jsize>(std::size(legacyImageQuality)));
}

}  // namespace

jint Mac_GetSetting(JNIEnv*, jobject, jint handle, jint propertyId) {
    const CanonSession session = findConnectedSession(handle);
    if (!session) return 0;
    lockUI(*session);
    const jint value = getLocked(*session, static_cast<EdsPropertyID>(propertyId));
    unlockUI(*session);
    return value;
}

jboolean Mac_SetSetting(JNIEnv*, jobject, jint handle, jint propertyId, jint value) {
    const CanonSession session = findConnectedSession(handle);
    if (!session || lockUI(*session) != EDS_ERR_OK) return 0;
    const bool isSet = setLocked(*session, static_cast<EdsPropertyID>(propertyId), value);
    unlockUI(*session);
    return isSet ? 1 : 0;
}

jintArray Mac_GetSettingOptions(JNIEnv* env, jobject, jint handle, jint propertyId) {
    const CanonSession session = findConnectedSession(handle);
    if (!session) return nullptr;
    lockUI(*session);
    jintArray options = optionsLocked(env, *session, static_cast<EdsPropertyID>(propertyId));
    unlockUI(*session);
    return options != nullptr ? options : (*env)->NewIntArray(env, 0);
}
