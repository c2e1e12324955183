/* settings.cpp: the camera's lists of values, by the position in them. */
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "Nikon/EnumStrings.h"
#include "Nikon/Enumeration.h"
#include "Nikon/NikonRecords.h"
#include "Nikon/Nikonjnilib.h"
#include "Nikon/nikon_internal.h"

using namespace nikon;

namespace {

uint32_t toCapability(jint capability) {
    return static_cast<uint32_t>(capability);
}

/** Calls use(text) for each text of a list, in order; the text's end mark is there. */
template <class Use>
void forEachText(const Enumeration& list, uint32_t capability, Use use) {
    char text[kEnumStringSize];
    for (size_t i = 0; i < list.count(sizeof(uint32_t)); ++i) {
        use(GetEnumString(capability, list.valueAt(i), text));
    }
}

/** The same for packed texts, which are counted in bytes, whatever is said of an element's size. The last one
 *  need not end in the list: there is a zero byte behind it. */
template <class Use>
void forEachPackedText(const Enumeration& list, Use use) {
    const auto all = list.bytes();
    const auto bytes = all.first(std::min<size_t>(all.size(), list.record().elements));
    for (size_t at = 0; at < bytes.size();) {
        const char* text = reinterpret_cast<const char*>(bytes.data()) + at;
        use(text);
        at += std::strlen(text) + 1;
    }
}

template <class Use>
void forEachOption(const Enumeration& list, uint32_t capability, Use use) {
    if (list.record().type == kMaidArrayPackedString) forEachPackedText(list, use);
    if (list.record().type == kMaidArrayUnsigned) forEachText(list, capability, use);
}

bool hasTexts(const NkMAIDEnum& record) {
    if (record.type == kMaidArrayPackedString) return true;
    // Numbers of another size than their type says cannot be told apart.
    return record.type == kMaidArrayUnsigned && record.physicalBytes == sizeof(uint32_t);
}

jobjectArray newStringArray(JNIEnv* env, size_t count) {
    const jstring initial = (*env)->NewStringUTF(env, "");
    const jclass elementClass = (*env)->FindClass(env, "java/lang/String");
    const jobjectArray array = (*env)->NewObjectArray(env, static_cast<jsize>(count), elementClass, initial);
    std::free(initial);  // the array starts with nulls and does not keep it
    return array;
}

jobjectArray textsOf(JNIEnv* env, const Enumeration& list, uint32_t capability) {
    if (!hasTexts(list.record())) {
        debug("Unsupported type!\n");
        return newStringArray(env, 0);
    }
    size_t count = 0;
    forEachOption(list, capability, [&](const char*) { ++count; });
    const jobjectArray array = newStringArray(env, count);
    if (array == nullptr) return nullptr;
    jsize index = 0;
    forEachOption(list, capability, [&](const char* text) {
        (*env)->SetObjectArrayElement(env, array, index++, (*env)->NewStringUTF(env, text));
    });
    return array;
}

}  // namespace

NIKON_ENTRY(jint, GetSetting, jlong camera, jint capability) {
    (void)env, (void)object;
    const CameraCall call(camera);
    if (!call) return 0;
    Enumeration list;
    if (call.source() == nullptr || !list.read(call.source(), toCapability(capability))) return -1;
    if (list.record().elements == 0) {
        debug("There is no element in this capability. Enter '0' to exit.\n>");
        return -1;
    }
    // A camera tells which value is current only together with the values.
    return list.fetchElements() ? static_cast<jint>(list.record().value) : -1;
}

NIKON_ENTRY(void, SetSetting, jlong camera, jint capability, jint index) {
    (void)env, (void)object;
    const CameraCall call(camera);
    Enumeration list;
    if (!call || call.source() == nullptr || !list.read(call.source(), toCapability(capability))) return;
    list.set(static_cast<uint32_t>(index));
}

NIKON_ENTRY(jobjectArray, GetSettingOptions, jlong camera, jint capability) {
    (void)object;
    const CameraCall call(camera);
    Enumeration list;
    if (!call || call.source() == nullptr || !list.read(call.source(), toCapability(capability))) {
        return nullptr;
    }
    if (list.record().elements == 0 || !list.fetchElements()) return nullptr;
    return textsOf(env, list, toCapability(capability));
}
