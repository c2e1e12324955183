/* stage.h: a helper with its cameras, brought to the point where a call can be disturbed.
 *
 * One stage serves many cases: rewind() puts the cameras back to what the scenario says, the preparations
 * below lead from there to where the case begins, and clear() takes down what a case has left standing.
 *
 * Thread: one thread at a time.
 * Owns:   the helper, its connections, a folder for pictures.
 * Errors: what does not work as it should fails the test.
 */
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/e2e/support/canon_fixture.h"
#include "tests/faults/library_state.h"

namespace e2e::faults {

/** Every picture of every camera is of this size. */
inline constexpr int64_t kPictureBytes = 30000;

class Stage {
public:
    explicit Stage(std::vector<Json> cameras);

    HelperProcess& helper() { return *helper_; }
    LabClient& lab() { return *lab_; }
    CanonCalls& canon() { return *canon_; }
    CallbackStream& events() { return *events_; }

    /** Cameras as new, no faults, an empty folder; the library stays as it is. */
    void rewind();
    /** Ends the session, if one is open, after fetching what the camera still offers. */
    void clear();

    // Preparations, each resting on those before it.
    void initialize();
    void listCameras();
    void openSession();
    void startLiveView();
    void fetchFrame();
    void shoot(size_t files = 1);
    /** The camera goes, and the helper has heard of it. */
    void unplug();

    /** Everything that the camera has reported so far is in events().seen(). */
    void settleEvents(bool viaProperties = false);
    /** What the camera keeps: pictures that are not fetched, or that nobody has confirmed. */
    size_t picturesOnCamera();
    /** The lab's camera has a session open. */
    bool hasSession();
    /** How many faults are still waiting for their call. */
    size_t faultsLeft();

    /** The host's path for pictures, without an extension. */
    std::string picturePath() const { return pictures_->file(pictureName); }
    const TempFolder& pictures() const { return *pictures_; }

    int32_t camera = 0;             // the reference of the last list's first entry
    int32_t session = 0;            // the handle; 0: no session
    bool isModern = true;           // a session that is closed gives its camera back
    int64_t camerasHeld = 0;        // references that lists have handed out and nobody gave back
    std::vector<int32_t> items;     // offered and not yet fetched
    Bytes frame;                    // the last frame, as the reply carried it
    int64_t connectionThread = -1;  // in the lab's trace; -1: not known
    std::string pictureName;
    const std::string cameraId = "canon-1";

private:
    std::vector<Json> cameras_;
    bool isInitialized_ = false;
    int32_t markers_ = 0;
    std::unique_ptr<TempFolder> pictures_;
    std::unique_ptr<HelperProcess> helper_;
    std::unique_ptr<LabClient> lab_;
    std::unique_ptr<CanonCalls> canon_;
    std::unique_ptr<CallbackStream> events_;
};

}  // namespace e2e::faults
