#include "TarvoRemote/jni_env.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "TarvoRemote/wire.h"
#include "tests/TarvoRemote/SocketPair.h"

namespace {

class JniEnv : public testing::Test {
protected:
    JNIEnv* env = GetGlobalEnv();
};

TEST_F(JniEnv, IsOneForTheProcess) {
    EXPECT_EQ(env, GetGlobalEnv());
    EXPECT_EQ(sizeof(JNINativeInterface), 14 * sizeof(void*));
}

TEST_F(JniEnv, TableKeepsItsOrder) {
    EXPECT_EQ(offsetof(JNINativeInterface, NewStringUTF), 2 * sizeof(void*));
    EXPECT_EQ(offsetof(JNINativeInterface, GetStringUTFRegion), 5 * sizeof(void*));
    EXPECT_EQ(offsetof(JNINativeInterface, SetByteArrayRegion), 7 * sizeof(void*));
    EXPECT_EQ(offsetof(JNINativeInterface, NewIntArray), 8 * sizeof(void*));
    EXPECT_EQ(offsetof(JNINativeInterface, FindClass), 10 * sizeof(void*));
    EXPECT_EQ(offsetof(JNINativeInterface, ExceptionCheck), 13 * sizeof(void*));
}

TEST_F(JniEnv, StringRegionCopiesFromStartAndTerminates) {
    char text[] = "abcdef";
    char buffer[4] = {'#', '#', '#', '#'};
    (*env)->GetStringUTFRegion(env, text, 2, 3, buffer);
    EXPECT_STREQ(buffer, "cde");
    buffer[0] = '#';
    (*env)->GetStringUTFRegion(env, text, 2, 0, buffer);
    EXPECT_STREQ(buffer, "");
}

TEST_F(JniEnv, StringRegionStopsAtTheEndAndPads) {
    char text[] = "ab";
    char buffer[6] = {'#', '#', '#', '#', '#', '#'};
    (*env)->GetStringUTFRegion(env, text, 0, 5, buffer);
    EXPECT_EQ(std::memcmp(buffer, "ab\0\0\0\0", 6), 0);
}

TEST_F(JniEnv, StringLengthsCountBytes) {
    char text[] = "\xC3\xA4z";
    EXPECT_EQ((*env)->GetStringLength(env, text), 3);
    EXPECT_EQ((*env)->GetStringUTFLength(env, text), 3);
    EXPECT_EQ((*env)->GetStringLength(env, nullptr), 0);
    EXPECT_EQ((*env)->GetStringUTFLength(env, nullptr), 0);
}

TEST_F(JniEnv, NewStringIsACopyAndNullStaysNull) {
    const char text[] = "lens";
    jstring copy = (*env)->NewStringUTF(env, text);
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy, text);
    EXPECT_STREQ(copy, text);
    std::free(copy);
    EXPECT_EQ((*env)->NewStringUTF(env, nullptr), nullptr);
}

TEST_F(JniEnv, EmptyIntArrayIsARecordThatIsSentAsFourZeroBytes) {
    jintArray array = (*env)->NewIntArray(env, 0);
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(array->count, 0);
    const SocketPair pair;
    writeIntArray(pair.socket(), array);
    EXPECT_EQ(pair.sent(), Bytes({0, 0, 0, 0}));
    freeIntArray(array);
}

TEST_F(JniEnv, NewArraysAreZeroed) {
    jintArray ints = (*env)->NewIntArray(env, 3);
    jbyteArray bytes = (*env)->NewByteArray(env, 3);
    jobjectArray objects = (*env)->NewObjectArray(env, 3, nullptr, ints);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(static_cast<jint*>(ints->elements)[i], 0);
        EXPECT_EQ(static_cast<uint8_t*>(bytes->elements)[i], 0);
        EXPECT_EQ(static_cast<jobject*>(objects->elements)[i], nullptr);
    }
    freeIntArray(ints);
    freeByteArray(bytes);
    freeStringArray(objects);
}

TEST_F(JniEnv, IntRegionGoesToTheBeginningWhateverItsStart) {
    jintArray array = (*env)->NewIntArray(env, 8);
    const jint values[] = {11, 12};
    (*env)->SetIntArrayRegion(env, array, 5, 2, values);
    const auto* elements = static_cast<jint*>(array->elements);
    EXPECT_EQ(elements[0], 11);
    EXPECT_EQ(elements[1], 12);
    EXPECT_EQ(elements[5], 0);
    freeIntArray(array);
}

TEST_F(JniEnv, ByteRegionGoesToTheBeginningWhateverItsStart) {
    jbyteArray array = (*env)->NewByteArray(env, 4);
    (*env)->SetByteArrayRegion(env, array, 2, 2, "xy");
    EXPECT_EQ(std::memcmp(array->elements, "xy\0\0", 4), 0);
    freeByteArray(array);
}

TEST_F(JniEnv, RegionOfNoArrayIsIgnored) {
    const jint value = 1;
    (*env)->SetIntArrayRegion(env, nullptr, 0, 1, &value);
    IntArray withoutElements{{1, nullptr}};
    (*env)->SetIntArrayRegion(env, &withoutElements, 0, 1, &value);
    EXPECT_EQ(withoutElements.elements, nullptr);
}

TEST_F(JniEnv, ElementOutsideTheArrayChangesNothing) {
    jobjectArray array = (*env)->NewObjectArray(env, 2, nullptr, nullptr);
    char text[] = "x";
    (*env)->SetObjectArrayElement(env, array, -1, text);
    (*env)->SetObjectArrayElement(env, array, 2, text);
    auto* elements = static_cast<jobject*>(array->elements);
    EXPECT_EQ(elements[0], nullptr);
    EXPECT_EQ(elements[1], nullptr);
    (*env)->SetObjectArrayElement(env, array, 1, text);
    EXPECT_EQ(elements[1], text);
    elements[1] = nullptr;
    freeStringArray(array);
}

TEST_F(JniEnv, FailedElementsAreLoggedWithTheRequestedSize) {
    testing::internal::CaptureStderr();
    EXPECT_EQ((*env)->NewIntArray(env, -1), nullptr);
    EXPECT_EQ((*env)->NewByteArray(env, -3), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "TarvoRemote: NewIntArray malloc(-4) failed\nTarvoRemote: NewByteArray malloc(-3) failed\n");
}

TEST_F(JniEnv, FailedObjectArrayIsLoggedAsAnIntArray) {
    testing::internal::CaptureStderr();
    EXPECT_EQ((*env)->NewObjectArray(env, -1, nullptr, nullptr), nullptr);
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(log.find("TarvoRemote: NewIntArray malloc(-"), 0U) << log;
    EXPECT_NE(log.find(") failed\n"), std::string::npos) << log;
}

TEST_F(JniEnv, ReleaseFunctionsTakeNullAndRecordsWithoutElements) {
    freeStringArray(nullptr);
    freeIntArray(nullptr);
    freeByteArray(nullptr);
    auto* array = static_cast<ArrayRecord*>(std::malloc(sizeof(ArrayRecord)));
    *array = {7, nullptr};
    freeStringArray(array);  // the leak and address checkers tell whether this was right
    SUCCEED();
}

TEST_F(JniEnv, GlobalReferenceIsTheObjectItself) {
    jstring text = (*env)->NewStringUTF(env, "kept");
    EXPECT_EQ((*env)->NewGlobalRef(env, text), text);
    (*env)->DeleteGlobalRef(env, text);  // frees it: the leak checker tells otherwise
}

TEST_F(JniEnv, HasNoClassesAndNoExceptions) {
    EXPECT_EQ((*env)->FindClass(env, "java/lang/String"), nullptr);
    EXPECT_EQ((*env)->ExceptionCheck(env), 0);
}

}  // namespace
