/* jni_env.h: the environment that stands in for a Java virtual machine.
 *
 * The camera logic is written as JNI entry points of the host's classes; here they run without a virtual
 * machine, against this table of fourteen operations. Java objects are plain heap records that the wire
 * functions send as they are. A virtual machine's own header must not be used beside this one: its table is
 * laid out otherwise.
 *
 * Thread: any; an object belongs to the one call that made it.
 * Owns:   whoever holds the pointer last owns the object: no counting, no collector. Strings are released
 *         with free(), arrays with the functions below.
 * Errors: null where there was no memory, with a line in the log.
 * Follows: the calling shape of the Java Native Interface, not its table.
 */
#pragma once

#include <cstdint>

#include "TarvoRemote/ArrayRecord.h"

using jint = int32_t;
using jlong = int64_t;
using jfloat = float;
using jsize = int32_t;
using jboolean = uint8_t;
using jobject = void*;
using jclass = void*;
using jstring = char*;  // heap, NUL-terminated; the camera libraries' UTF-8, never converted

// Types of their own, so that the dispatchers can choose writer and release by type.
struct IntArray : ArrayRecord {};
struct ByteArray : ArrayRecord {};
struct ObjectArray : ArrayRecord {};
using jintArray = IntArray*;
using jbyteArray = ByteArray*;
using jobjectArray = ObjectArray*;  // of strings, wherever one is returned

struct JNINativeInterface;
using JNIEnv = const JNINativeInterface*;

/** The order of the members is the interface. */
struct JNINativeInterface {
    /** The same object: nothing is copied. */
    jobject (*NewGlobalRef)(JNIEnv* env, jobject object);
    /** Frees the object itself; whoever else holds it must not use it any more. */
    void (*DeleteGlobalRef)(JNIEnv* env, jobject object);
    jstring (*NewStringUTF)(JNIEnv* env, const char* text);
    /** Both lengths count bytes; 0 for null. */
    jsize (*GetStringLength)(JNIEnv* env, jstring string);
    jsize (*GetStringUTFLength)(JNIEnv* env, jstring string);
    /** Copies up to length bytes and always terminates: the buffer holds length + 1. */
    void (*GetStringUTFRegion)(JNIEnv* env, jstring string, jsize start, jsize length, char* buffer);
    jbyteArray (*NewByteArray)(JNIEnv* env, jsize length);
    /** Both copy to the beginning of the array whatever the start; hosts have come to rely on it. */
    void (*SetByteArrayRegion)(JNIEnv* env, jbyteArray array, jsize start, jsize length, const void* source);
    jintArray (*NewIntArray)(JNIEnv* env, jsize length);
    void (*SetIntArrayRegion)(JNIEnv* env, jintArray array, jsize start, jsize length, const jint* source);
    /** Always null: there are no classes. */
    jclass (*FindClass)(JNIEnv* env, const char* name);
    /** All elements start null; class and initial element are ignored. */
    jobjectArray (*NewObjectArray)(JNIEnv* env, jsize length, jclass elementClass, jobject initial);
    /** Out of range: nothing happens. */
    void (*SetObjectArrayElement)(JNIEnv* env, jobjectArray array, jsize index, jobject value);
    /** Always 0: no exception is ever pending. */
    jboolean (*ExceptionCheck)(JNIEnv* env);
};

/** The one environment of the process. */
JNIEnv* GetGlobalEnv();

/** Each takes null and then does nothing. */
void freeStringArray(ArrayRecord* array);
void freeIntArray(ArrayRecord* array);
void freeByteArray(ArrayRecord* array);
