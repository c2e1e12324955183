/* canon_fixture.h: a test with a helper of its own, its lab and one connection to the Canon module.
 *
 * Owns:   the helper, ended and judged when the test ends; a folder for pictures.
 */
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tests/e2e/support/callback_stream.h"
#include "tests/e2e/support/canon_calls.h"
#include "tests/e2e/support/helper_process.h"
#include "tests/e2e/support/lab_client.h"
#include "tests/e2e/support/temp_folder.h"

namespace e2e {

// Properties and values that the tests name, in the vendor's numbering.
inline constexpr int kFirmware = 0x7;
inline constexpr int kSaveTo = 0xB;
inline constexpr int kImageQuality = 0x100;
inline constexpr int kAeMode = 0x400;
inline constexpr int kDriveMode = 0x401;
inline constexpr int kIso = 0x402;
inline constexpr int kAv = 0x405;
inline constexpr int kTv = 0x406;
inline constexpr int kEvfOutputDevice = 0x500;
inline constexpr int kEvfMode = 0x501;
inline constexpr int kEvfDofPreview = 0x504;
inline constexpr int kEvfZoom = 0x507;
inline constexpr int kEvfZoomPosition = 0x508;

inline constexpr int32_t kJpegQuality = 0x0013FF0F;
inline constexpr int32_t kRawAndJpegQuality = 0x00640013;

inline constexpr int32_t kRequestTransfer = 0x208;
inline constexpr int32_t kShutdownEvent = 0x301;
inline constexpr int32_t kCaptureErrorEvent = 0x305;

/** A Canon body of the lab; `more` is laid over it. */
Json canonCamera(const std::string& id, const std::string& model, const Json& more = Json::object());
/** The body that most tests use: no legacy protocol, shutter by its button. */
Json usualCamera(const Json& more = Json::object());
/** A body of the legacy protocol. */
Json legacyCamera(const Json& more = Json::object());
/** { "0x406": { "type": …, "value": … } }, to be merged into a camera's "properties". */
Json property(int id, int type, const Json& value, const Json& options = Json());
Json scenarioOf(const std::vector<Json>& devices);
/** A file of a shot: content of the lab's making, or that of a file of ours. */
Json madeUpFile(const std::string& name, int64_t bytes);
Json cardFile(const std::string& name, const std::string& path);
/** A camera's "shots": every release yields these files. */
Json shotOf(const std::vector<Json>& files);
/** A camera's "liveview": frames of these sizes, or these files, in turn. */
Json madeUpFrames(const std::vector<int64_t>& sizes);
Json framesFrom(const std::vector<std::string>& paths);

class CanonTest : public ::testing::Test {
protected:
    /** One usual camera, when no scenario is given. */
    void start(const Json& scenario = scenarioOf({usualCamera()}));
    void start(const HelperOptions& options);
    /** Starts, initialises the library and opens a session on the first camera. */
    int32_t startSession(const Json& camera = usualCamera());
    /** The same, once the camera has announced what opening changes in it. Its events are past when a later
     * one is: that of an object, which is logged after it was sent, others before. */
    int32_t startQuietSession(const Json& camera = usualCamera());
    /** Initialises the library and opens a session on the first camera of the list. */
    int32_t openFirst();
    /** Takes one picture and answers the items that the camera offers, in its order. */
    std::vector<int32_t> shoot(int32_t handle, const std::string& path, size_t files = 1);

    HelperProcess& helper() { return *helper_; }
    /** Connects to the lab on first use. */
    LabClient& lab();
    CanonCalls& canon() { return *canon_; }
    /** Registers the callback socket on first use. */
    CallbackStream& events();
    const TempFolder& pictures() const { return pictures_; }
    std::string picturePath(const std::string& name) const { return pictures_.file(name); }

    /** The helper still serves: a new connection gets its answer. */
    void expectServing();

private:
    TempFolder pictures_;
    std::unique_ptr<HelperProcess> helper_;
    std::unique_ptr<LabClient> lab_;
    std::unique_ptr<CanonCalls> canon_;
    std::unique_ptr<CallbackStream> events_;
};

}  // namespace e2e
