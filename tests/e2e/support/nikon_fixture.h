/* nikon_fixture.h: a test with a helper of its own, its lab and one connection to the Nikon module.
 *
 * Owns:   the helper, ended and judged when the test ends; a folder for pictures.
 */
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "tests/e2e/support/callback_stream.h"
#include "tests/e2e/support/helper_process.h"
#include "tests/e2e/support/lab_client.h"
#include "tests/e2e/support/nikon_calls.h"
#include "tests/e2e/support/temp_folder.h"

namespace e2e {

// The module's numbers that the tests name.
inline constexpr int kAsyncCommand = 0;
inline constexpr int kOpenCommand = 1;
inline constexpr int kCloseCommand = 2;
inline constexpr int kCountCommand = 3;
inline constexpr int kListCommand = 4;
inline constexpr int kStartCommand = 5;
inline constexpr int kSetCommand = 6;
inline constexpr int kGetCommand = 7;
inline constexpr int kGetArrayCommand = 9;
inline constexpr int kEnumChildrenCommand = 13;

inline constexpr int kProgressProc = 2;
inline constexpr int kEventProc = 3;
inline constexpr int kDataProc = 4;
inline constexpr int kChildren = 7;
inline constexpr int kCapture = 17;
inline constexpr int kAcquire = 20;
inline constexpr int kBattery = 49;
inline constexpr int kModuleMode = 0x8101;
inline constexpr int kExposureMode = 0x8111;
inline constexpr int kReadBeforeCapture = 0x818F;
inline constexpr int kClearedBeforeBracketing = 0x81AF;
inline constexpr int kBracketing = 0x81B3;
inline constexpr int kDualImage = 0x81B5;
inline constexpr int kCameraType = 0x81D7;
inline constexpr int kSetOnSelection = 0x823C;
inline constexpr int kClearedOnSelection = 0x823D;
inline constexpr int kLiveViewState = 0x823E;
inline constexpr int kLiveViewFrame = 0x8247;
inline constexpr int kFocusAmount = 0x8248;
inline constexpr int kFocusDirection = 0x8249;
inline constexpr int kZoomPosition = 0x824A;

inline constexpr int kJpegType = 1;
inline constexpr int kTiffType = 2;
inline constexpr int kNefType = 4;
inline constexpr int kNdfType = 257;

/** The module in whose bundle the tests' cameras appear. */
inline constexpr int kModuleType = 8;

// Types of capabilities and what they allow, in the module's numbering.
inline constexpr int kProcessCap = 0;
inline constexpr int kBooleanCap = 1;
inline constexpr int kIntegerCap = 2;
inline constexpr int kUnsignedCap = 3;
inline constexpr int kPointCap = 5;
inline constexpr int kArrayCap = 11;
inline constexpr int kEnumCap = 12;
inline constexpr int kRangeCap = 13;

inline constexpr int kGettable = 2;
inline constexpr int kSettable = 4;
inline constexpr int kReadableList = 10;  // get, get array
inline constexpr int kSettableList = 14;  // and set

/** One entry of "capabilities". */
Json capability(int id, int type, int operations, const Json& more = Json::object());
Json unsignedCapability(int id, int64_t value, int operations = kGettable | kSettable);
/** An enumeration of numbers (array type 2). */
Json numbersCapability(int id, const std::vector<int64_t>& elements, int current = 0,
                       int operations = kSettableList);
/** An enumeration of packed texts (array type 7). */
Json textsCapability(int id, const std::vector<std::string>& elements, int current = 0);
/** A body that has these capabilities beside, or instead of, those that every body has. */
Json withCapabilities(const std::vector<Json>& capabilities, const Json& more = Json::object());

/** A Nikon body of the lab; `more` is laid over it. */
Json nikonCamera(const std::string& id, const Json& more = Json::object());
/** The body that most tests use. */
Json usualNikon(const Json& more = Json::object());
Json nikonScenario(const std::vector<Json>& devices, const Json& module = Json());
/** A body's "shots": one list of items for each release. */
Json nikonShots(std::initializer_list<std::vector<Json>> shots);
Json nikonItem(int dataType, int64_t bytes, const Json& more = Json::object());
Json nikonFile(int dataType, const std::string& path, const Json& more = Json::object());

/** A command of the trace; what a test does not name does not matter to it. */
struct MaidCommand {
    std::string object;
    int64_t command = 0;
    int64_t param = 0;
    int64_t dataType = 0;
    Json value;
    int64_t result = 0;
};

class NikonTest : public ::testing::Test {
protected:
    /** One usual camera, when no scenario is given. */
    void start(const Json& scenario = nikonScenario({usualNikon()}));
    void start(const HelperOptions& options);
    /** Loads the simulated module of the type; fails the test when it answers no handle. */
    int64_t startModule(int moduleType = kModuleType);
    /** Starts, loads the module and selects its first camera. */
    int64_t startCamera(const Json& camera = usualNikon());

    /** Where the simulated modules lie. */
    static std::string moduleDirectory();

    HelperProcess& helper() { return *helper_; }
    /** Connects to the lab on first use. */
    LabClient& lab();
    NikonCalls& nikon() { return *nikon_; }
    /** Registers the callback socket on first use. */
    CallbackStream& events();
    const TempFolder& pictures() const { return pictures_; }
    std::string picturePath(const std::string& name) const { return pictures_.file(name); }
    /** Of the last startCamera(). */
    int64_t module() const { return module_; }

    /** The commands in the lab's trace, polls left out. */
    std::vector<MaidCommand> commands();
    /** The same as texts "object command param", for comparisons of an order. */
    std::vector<std::string> commandTexts();

    /** The helper still serves: a new connection gets its answer. */
    void expectServing();

private:
    TempFolder pictures_;
    std::unique_ptr<HelperProcess> helper_;
    std::unique_ptr<LabClient> lab_;
    std::unique_ptr<NikonCalls> nikon_;
    std::unique_ptr<CallbackStream> events_;
    int64_t module_ = 0;
};

}  // namespace e2e
