#include "TarvoRemote/jni_env.h"

#include <cstdlib>
#include <cstring>

#include "TarvoRemote/modules.h"
#include "TarvoRemote/rdebug.h"

namespace {

jobject NewGlobalRef(JNIEnv*, jobject object) {
    return object;
}

void DeleteGlobalRef(JNIEnv*, jobject object) {
    std::free(object);
}

jstring NewStringUTF(JNIEnv*, const char* text) {
    if (text == nullptr) return nullptr;
    const size_t size = std::strlen(text) + 1;
    auto* copy = static_cast<char*>(std::malloc(size));
    if (copy == nullptr) {
        rdebug(MODULE_CORE, "NewStringUTF malloc(%d) failed\n", static_cast<int>(size));
        return nullptr;
    }
    std::memcpy(copy, text, size);
    return copy;
}

jsize GetStringLength(JNIEnv*, jstring string) {
    return string == nullptr ? 0 : static_cast<jsize>(std::strlen(string));
}

void GetStringUTFRegion(JNIEnv*, jstring string, jsize start, jsize length, char* buffer) {
    std::strncpy(buffer, string + start, static_cast<size_t>(length));
    buffer[length] = '\0';
}

/** calloc() of the elements; null for a negative length, which no allocator may see as a size. */
void* newElements(jsize length, size_t elementSize) {
    if (length < 0) return nullptr;
    return std::calloc(static_cast<size_t>(length) + 1, elementSize);  // + 1: never null for an empty array
}

template <class Array>
Array* newArray(jsize length, size_t elementSize, const char* recordMessage, const char* elementsMessage) {
    auto* array = static_cast<Array*>(std::malloc(sizeof(Array)));
    if (array == nullptr) {
        rdebug(MODULE_CORE, recordMessage, static_cast<int>(sizeof(Array)));
        return nullptr;
    }
    array->count = length;
    array->elements = newElements(length, elementSize);
    if (array->elements == nullptr) {
        rdebug(MODULE_CORE, elementsMessage, static_cast<int>(length * static_cast<int64_t>(elementSize)));
        std::free(array);
        return nullptr;
    }
    return array;
}

jbyteArray NewByteArray(JNIEnv*, jsize length) {
    return newArray<ByteArray>(length, 1, "NewByteArray malloc(%d) failed\n",
                               "NewByteArray malloc(%d) failed\n");
}

jintArray NewIntArray(JNIEnv*, jsize length) {
    return newArray<IntArray>(length, sizeof(jint), "NewIntArray malloc(%d) failed\n",
                              "NewIntArray malloc(%d) failed\n");
}

jobjectArray NewObjectArray(JNIEnv*, jsize length, jclass, jobject) {
    // The second message names the int array; whoever searches logs knows it so.
    return newArray<ObjectArray>(length, sizeof(jobject), "NewObjectArray malloc(%d) failed\n",
                                 "NewIntArray malloc(%d) failed\n");
}

void setRegion(ArrayRecord* array, size_t size, const void* source) {
    if (array == nullptr || array->elements == nullptr || size == 0) return;
    std::memcpy(array->elements, source, size);
}

void SetByteArrayRegion(JNIEnv*, jbyteArray array, jsize, jsize length, const void* source) {
    setRegion(array, static_cast<size_t>(length), source);
}

void SetIntArrayRegion(JNIEnv*, jintArray array, jsize, jsize length, const jint* source) {
    setRegion(array, static_cast<size_t>(length) * sizeof(jint), source);
}

jclass FindClass(JNIEnv*, const char*) {
    return nullptr;
}

void SetObjectArrayElement(JNIEnv*, jobjectArray array, jsize index, jobject value) {
    if (index < 0 || index >= array->count) return;
    static_cast<jobject*>(array->elements)[index] = value;
}

jboolean ExceptionCheck(JNIEnv*) {
    return 0;
}

constexpr JNINativeInterface globalJavaNativeInterface = {
    .NewGlobalRef = NewGlobalRef,
    .DeleteGlobalRef = DeleteGlobalRef,
    .NewStringUTF = NewStringUTF,
    .GetStringLength = GetStringLength,
    .GetStringUTFLength = GetStringLength,
    .GetStringUTFRegion = GetStringUTFRegion,
    .NewByteArray = NewByteArray,
    .SetByteArrayRegion = SetByteArrayRegion,
    .NewIntArray = NewIntArray,
    .SetIntArrayRegion = SetIntArrayRegion,
    .FindClass = FindClass,
    .NewObjectArray = NewObjectArray,
    .SetObjectArrayElement = SetObjectArrayElement,
    .ExceptionCheck = ExceptionCheck,
};

JNIEnv global_env = &globalJavaNativeInterface;

}  // namespace

JNIEnv* GetGlobalEnv() {
    return &global_env;
}

void freeStringArray(ArrayRecord* array) {
    if (array == nullptr) return;
    if (array->elements != nullptr) {
        for (int32_t i = 0; i < array->count; ++i) {
            std::free(static_cast<void**>(array->elements)[i]);
        }
    }
    freeIntArray(array);
}

void freeIntArray(ArrayRecord* array) {
    if (array == nullptr) return;
    std::free(array->elements);
    std::free(array);
}

void freeByteArray(ArrayRecord* array) {
    freeIntArray(array);
}
