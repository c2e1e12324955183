// The entry points when memory runs out: low memory for handles, and each single allocation in its turn.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/Nikon/OpenedModule.h"
#include "tests/Nikon/ScriptedModule.h"
#include "tests/QTKitCapture/AllocationCounter.h"

namespace nikon::test {
namespace {

using handles::Kind;

constexpr uint32_t kSetting = 0x8111;
constexpr uint32_t kFrame = 0x8247;
constexpr uint32_t kReadableList = kMaidOperationGet | kMaidOperationGetArray;

/** The module's own memory is not what runs out. */
int32_t sparedEntry(NkMAIDObject* object, uint32_t command, uint32_t param, uint32_t dataType, MaidParam data,
                    MaidCompletionProc completion, MaidRef ref) {
    const AllocationPause pause;
    return ScriptedModule::entry(object, command, param, dataType, data, completion, ref);
}

class ShortOfMemory : public ::testing::Test {
protected:
    ShortOfMemory() {
        scripted.extraSourceCaps = {
            describe(kSetting, kMaidCapEnum, kReadableList | kMaidOperationSet),
            describe(kFrame, kMaidCapArray, kReadableList),
        };
        scripted.answer(kMaidCommandCapGet, kSetting, [](const Command& command) {
            command.as<NkMAIDEnum>() = {kMaidArrayUnsigned, 2, 1, 0, 4, nullptr};
            return 0;
        });
        scripted.answer(kMaidCommandCapGetArray, kSetting, [](const Command& command) {
            const uint32_t values[] = {1, 0};
            std::copy_n(values, 2, static_cast<uint32_t*>(command.as<NkMAIDEnum>().data));
            return 0;
        });
        scripted.answer(kMaidCommandCapGet, kFrame, [](const Command& command) {
            command.as<NkMAIDArray>().elements = 1000;
            command.as<NkMAIDArray>().physicalBytes = 1;
            return 0;
        });
        scripted.answer(kMaidCommandCapGetArray, kFrame, [](const Command&) { return 0; });
    }

    /** Runs it again and again, each time with another one of its allocations failing, until none is left. */
    template <class Action, class Check>
    void atEveryAllocation(Action action, Check check) {
        testing::internal::CaptureStdout();
        const int last = findLast(action, check);
        const std::string log = testing::internal::GetCapturedStdout();
        if (HasFailure()) std::fputs(log.c_str(), stderr);
        EXPECT_GT(last, 2) << "it allocates nothing that could fail";
    }

    JNIEnv* const env = GetGlobalEnv();
    ScriptedModule scripted;

private:
    template <class Action, class Check>
    int findLast(Action action, Check check) {
        constexpr int kMost = 2000;
        for (int number = 1; number < kMost; ++number) {
            SCOPED_TRACE("allocation " + std::to_string(number));
            failAllocation(number);
            const auto result = action();
            const bool isFree = isFailureAhead();
            failAllocation(0);
            check(result, isFree);
            if (isFree || HasFailure()) return number;
        }
        ADD_FAILURE() << "it does not end";
        return kMost;
    }
};

TEST_F(ShortOfMemory, a_module_is_opened_or_says_why_not) {
    atEveryAllocation([&] { return openAsLoaded(sparedEntry); },
                      [&](jlong module, bool isFree) {
                          if (isFree) {
                              EXPECT_NE(module, 0);
                          }
                          if (module == 0) return;
                          EXPECT_EQ(NIKON(TerminateSDK)(env, env, module), 0);
                      });
    EXPECT_EQ(handles::liveCount(Kind::NikonModule), 0u);
}

TEST_F(ShortOfMemory, a_module_without_an_object_record_is_logged) {
    auto* record = handles::create<NikonModule>(Kind::NikonModule);
    ASSERT_NE(record, nullptr);
    record->root.entryPoint = sparedEntry;
    ASSERT_NE(lockOfLoadedModule(sparedEntry), nullptr);
    testing::internal::CaptureStdout();
    failAllocation(1);
    EXPECT_FALSE(openLoadedModule(*record));
    failAllocation(0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "NikonMaid: There is not enough memory.\n");
    EXPECT_TRUE(scripted.commands().empty());
    handles::retire(Kind::NikonModule, toAddress(toHandle(record)));
}

TEST_F(ShortOfMemory, a_camera_is_selected_or_not) {
    jlong module = 0;
    atEveryAllocation(
        [&] {
            {
                const AllocationPause pause;
                module = openAsLoaded(sparedEntry);
            }
            return NIKON(selectCameraAtIndex)(env, env, module, 0);
        },
        [&](jlong camera, bool isFree) {
            if (isFree) {
                EXPECT_NE(camera, 0);
            }
            NIKON(releaseCamera)(env, env, camera);
            EXPECT_EQ(NIKON(TerminateSDK)(env, env, module), 0);
        });
    EXPECT_EQ(handles::liveCount(Kind::NikonCamera), 0u);
}

TEST_F(ShortOfMemory, a_camera_is_released_all_the_same) {
    const jlong module = openAsLoaded(sparedEntry);
    jlong camera = 0;
    atEveryAllocation(
        [&] {
            {
                const AllocationPause pause;
                camera = NIKON(selectCameraAtIndex)(env, env, module, 0);
            }
            NIKON(releaseCamera)(env, env, camera);
            return 0;
        },
        [&](int, bool) { EXPECT_EQ(NIKON(getBatteryLevel)(env, env, camera), 0) << "released"; });
    EXPECT_EQ(NIKON(TerminateSDK)(env, env, module), 0);
}

TEST_F(ShortOfMemory, settings_and_frames_are_answered_whole_or_not_at_all) {
    const jlong module = openAsLoaded(sparedEntry);
    const jlong camera = NIKON(selectCameraAtIndex)(env, env, module, 0);
    ASSERT_NE(camera, 0);
    atEveryAllocation([&] { return NIKON(GetSetting)(env, env, camera, kSetting); },
                      [&](jint value, bool isFree) { EXPECT_TRUE(value == 1 || (!isFree && value == -1)); });
    atEveryAllocation([&] { return NIKON(GetSettingOptions)(env, env, camera, kSetting); },
                      [&](jobjectArray texts, bool isFree) {
                          if (isFree) {
                              ASSERT_NE(texts, nullptr);
                          }
                          if (texts != nullptr) {
                              EXPECT_EQ(texts->count, 2);
                          }
                          freeStringArray(texts);
                      });
    atEveryAllocation([&] { return NIKON(getLiveViewImage)(env, env, camera); },
                      [&](jbyteArray frame, bool isFree) {
                          if (isFree) {
                              ASSERT_NE(frame, nullptr);
                          }
                          if (frame != nullptr) {
                              EXPECT_EQ(frame->count, 1000 - 384);
                          }
                          freeByteArray(frame);
                      });
    NIKON(releaseCamera)(env, env, camera);
    EXPECT_EQ(NIKON(TerminateSDK)(env, env, module), 0);
}

/** All the room for handles that there is: what is mapped by nobody yet, and what is left of what is. */
class LowMemoryTaken {
public:
    LowMemoryTaken() {
        for (uintptr_t at = 0x20000000; at < 0x80000000; at += kStep) {
            void* wanted = reinterpret_cast<void*>(at);
            void* got = mmap(wanted, kStep, PROT_NONE, kFlags, -1, 0);
            if (got == wanted) regions_.push_back(got);
        }
        while (auto* record = handles::create<NikonModule>(Kind::NikonModule)) {
            records_.push_back(toAddress(toHandle(record)));
        }
    }
    ~LowMemoryTaken() {
        for (const intptr_t record : records_) {
            handles::retire(Kind::NikonModule, record);
        }
        for (void* region : regions_) {
            munmap(region, kStep);
        }
    }
    LowMemoryTaken(const LowMemoryTaken&) = delete;
    LowMemoryTaken& operator=(const LowMemoryTaken&) = delete;

private:
    static constexpr size_t kStep = 1 << 20;
    static constexpr int kFlags = MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED_NOREPLACE;

    std::vector<void*> regions_;
    std::vector<intptr_t> records_;
};

TEST_F(ShortOfMemory, a_module_handle_needs_low_memory) {
    const LowMemoryTaken taken;
    std::string directory = "/nowhere";
    testing::internal::CaptureStdout();
    EXPECT_EQ(NIKON(InitializeSDK)(env, env, directory.data(), 8), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "NikonMaid: There is not enough memory.\n");
}

}  // namespace
}  // namespace nikon::test
