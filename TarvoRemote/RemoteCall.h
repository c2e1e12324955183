/* RemoteCall.h: the frame that all remote calls share, written once.
 *
 * A call is the module byte, the method id and the arguments; its answer is the start header (module,
 * method) before the call runs, the result header (the same two bytes) after it, and the result. serve()
 * derives readers, writer and releases from an entry point's signature, so that a method is one row of a
 * dispatcher's table.
 *
 * Thread: the connection task.
 * Owns:   strings read as arguments, and objects that the entry point returned, until the answer is written.
 */
#pragma once

#include <algorithm>
#include <cstdlib>
#include <span>
#include <tuple>
#include <type_traits>
#include <utility>

#include "TarvoRemote/jni_env.h"
#include "TarvoRemote/wire.h"

struct RemoteCall {
    int socket;
    uint8_t module;
    uint8_t method;
    JNIEnv* env;

    /** Start header before the call, result header after it. */
    void writeHeader() const {
        writeByte(socket, module);
        writeByte(socket, method);
    }
};

namespace remote_call {

template <class Value>
Value read(int socket) {
    if constexpr (std::is_same_v<Value, jint>) return readInt(socket);
    if constexpr (std::is_same_v<Value, jlong>) return readLong(socket);
    if constexpr (std::is_same_v<Value, jfloat>) return readFloat(socket);
    if constexpr (std::is_same_v<Value, jboolean>) return readByte(socket);
    if constexpr (std::is_same_v<Value, jstring>) return readString(socket);
}

inline void write(int socket, jint value) {
    writeInt(socket, value);
}
inline void write(int socket, jlong value) {
    writeLong(socket, value);
}
inline void write(int socket, jfloat value) {
    writeFloat(socket, value);
}
inline void write(int socket, jboolean value) {
    writeByte(socket, value != 0 ? 1 : 0);
}
inline void write(int socket, jstring value) {
    writeString(socket, value);
}
inline void write(int socket, jintArray value) {
    writeIntArray(socket, value);
}
inline void write(int socket, jbyteArray value) {
    writeByteArray(socket, value);
}
inline void write(int socket, jobjectArray value) {
    writeStringArray(socket, value);
}

/** Numbers have nothing to release. */
template <class Number>
void release(Number) {
    static_assert(std::is_arithmetic_v<Number>);
}
inline void release(jstring value) {
    std::free(value);
}
inline void release(jintArray value) {
    freeIntArray(value);
}
inline void release(jbyteArray value) {
    freeByteArray(value);
}
inline void release(jobjectArray value) {
    freeStringArray(value);
}

template <class EntryPoint>
struct Signature;

template <class Result_, class... Arguments_>
struct Signature<Result_ (*)(JNIEnv*, jobject, Arguments_...)> {
    using Result = Result_;
    using Arguments = std::tuple<Arguments_...>;

    static Arguments readArguments([[maybe_unused]] int socket) {
        return Arguments{read<Arguments_>(socket)...};  // braces: in this order
    }
};

/** The object argument is the environment itself; nothing looks into it. */
template <auto entryPoint, class Arguments>
auto run(const RemoteCall& call, const Arguments& arguments) {
    return std::apply([&](auto... argument) { return entryPoint(call.env, call.env, argument...); },
                      arguments);
}

template <class Arguments>
void releaseAll(const Arguments& arguments) {
    std::apply([](auto... argument) { (release(argument), ...); }, arguments);
}

/** Serves a call of the entry point. */
template <auto entryPoint>
void serve(const RemoteCall& call) {
    using Shape = Signature<decltype(entryPoint)>;
    const auto arguments = Shape::readArguments(call.socket);
    call.writeHeader();
    if constexpr (std::is_void_v<typename Shape::Result>) {
        run<entryPoint>(call, arguments);
        call.writeHeader();
    } else {
        const auto result = run<entryPoint>(call, arguments);
        call.writeHeader();
        write(call.socket, result);
        release(result);
    }
    releaseAll(arguments);
}

/** A row of a module's table. */
struct Method {
    uint8_t id;
    void (*serveCall)(const RemoteCall& call);
};

/** Serves the call whose method id comes next. False, and nothing is written, for an id without a row. */
inline bool serveNext(int socket, uint8_t module, std::span<const Method> methods, uint8_t* id) {
    JNIEnv* env = GetGlobalEnv();
    *id = readByte(socket);
    const auto method =
        std::find_if(methods.begin(), methods.end(), [id](const Method& row) { return row.id == *id; });
    if (method == methods.end()) return false;
    method->serveCall({.socket = socket, .module = module, .method = *id, .env = env});
    return true;
}

}  // namespace remote_call
