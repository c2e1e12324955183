// What a live-view frame costs: one buffer for the module to fill, one array, one copy from the one to the
// other.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <set>

#include "tests/Nikon/OpenedModule.h"
#include "tests/Nikon/ScriptedModule.h"

namespace {

/** Only what is of a frame's size is looked at. */
constexpr size_t kLarge = 100'000;

bool isCounting = false;
std::multiset<size_t> copies;       // their sizes
std::multiset<size_t> allocations;  // their sizes
std::set<void*> live;

void* noteAllocation(void* memory, size_t size) {
    if (!isCounting || size < kLarge || memory == nullptr) return memory;
    isCounting = false;
    allocations.insert(size);
    live.insert(memory);
    isCounting = true;
    return memory;
}

void noteCopy(size_t size) {
    if (!isCounting || size < kLarge) return;
    isCounting = false;
    copies.insert(size);
    isCounting = true;
}

}  // namespace

// The linker sends the camera logic's own calls here, and those of libraries that are linked.
#pragma GCC visibility push(default)
extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* memory, size_t size);
void __real_free(void* memory);
void* __real_memcpy(void* to, const void* from, size_t size);
void* __real_memmove(void* to, const void* from, size_t size);
void* __wrap_malloc(size_t size);
void* __wrap_calloc(size_t count, size_t size);
void* __wrap_realloc(void* memory, size_t size);
void __wrap_free(void* memory);
void* __wrap_memcpy(void* to, const void* from, size_t size);
void* __wrap_memmove(void* to, const void* from, size_t size);

void* __wrap_malloc(size_t size) {
    return noteAllocation(__real_malloc(size), size);
}
void* __wrap_calloc(size_t count, size_t size) {
    return noteAllocation(__real_calloc(count, size), count * size);
}
void* __wrap_realloc(void* memory, size_t size) {
    return noteAllocation(__real_realloc(memory, size), size);
}
void __wrap_free(void* memory) {
    if (isCounting && memory != nullptr) {
        isCounting = false;
        live.erase(memory);
        isCounting = true;
    }
    __real_free(memory);
}
void* __wrap_memcpy(void* to, const void* from, size_t size) {
    noteCopy(size);
    return __real_memcpy(to, from, size);
}
void* __wrap_memmove(void* to, const void* from, size_t size) {
    noteCopy(size);
    return __real_memmove(to, from, size);
}
}
#pragma GCC visibility pop

namespace nikon::test {
namespace {

constexpr uint32_t kFrame = 0x8247;
constexpr uint32_t kHeaderBytes = 64;
constexpr uint32_t kFrameBytes = 200 * 1024 + kHeaderBytes;

TEST(FrameCopies, one_from_the_modules_buffer_into_the_array) {
    ScriptedModule scripted;
    scripted.extraSourceCaps = {describe(kFrame, kMaidCapArray, kMaidOperationGet | kMaidOperationGetArray)};
    scripted.answer(kMaidCommandCapGet, kFrame, [](const Command& command) {
        command.as<NkMAIDArray>().elements = kFrameBytes;
        command.as<NkMAIDArray>().physicalBytes = 1;
        return 0;
    });
    scripted.answer(kMaidCommandCapGetArray, kFrame, [](const Command& command) {
        // Written in place, as a module does: its own work is none of ours.
        auto* bytes = static_cast<uint8_t*>(command.as<NkMAIDArray>().data);
        for (uint32_t i = 0; i < kFrameBytes; ++i) {
            bytes[i] = static_cast<uint8_t>(i * 7 + i / 251);
        }
        bytes[kHeaderBytes] = 0xFF;
        bytes[kHeaderBytes + 1] = 0xD8;
        return 0;
    });
    JNIEnv* const env = GetGlobalEnv();
    const jlong module = openAsLoaded(ScriptedModule::entry);
    const jlong camera = NIKON(selectCameraAtIndex)(env, env, module, 0);
    ASSERT_NE(camera, 0);

    isCounting = true;
    const jbyteArray frame = NIKON(getLiveViewImage)(env, env, camera);
    isCounting = false;
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->count, 200 * 1024);
    EXPECT_EQ(copies, (std::multiset<size_t>{200 * 1024})) << "and the header is not copied with it";
    EXPECT_EQ(allocations.size(), 2u) << "what the module fills, and the array";
    EXPECT_EQ(live, std::set<void*>{frame->elements}) << "the module's buffer is gone at once";

    freeByteArray(frame);
    NIKON(releaseCamera)(env, env, camera);
    EXPECT_EQ(NIKON(TerminateSDK)(env, env, module), 0);
}

}  // namespace
}  // namespace nikon::test
