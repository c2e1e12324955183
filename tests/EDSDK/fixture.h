/* fixture.h: a test with the simulated camera library, started on the test's own thread, and a lab of its
 * own.
 *
 * Thread: the test's thread starts the library, so events come when it pumps its queue.
 * Owns:   the library, terminated when the test ends; by then no reference may have been misused, unless the
 *         test said that it would.
 */
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "EDSDK.h"
#include "tests/lab/support.h"

namespace test {

struct ObjectEvent {
    EdsObjectEvent event;
    EdsBaseRef object;
};
struct PropertyEvent {
    EdsPropertyEvent event;
    EdsPropertyID property;
    EdsUInt32 parameter;
};
struct StateEvent {
    EdsStateEvent event;
    EdsUInt32 parameter;
};

/** What the handlers of the cameras were called with. */
struct Heard {
    std::vector<ObjectEvent> objects;
    std::vector<PropertyEvent> properties;
    std::vector<StateEvent> states;
    std::vector<std::thread::id> threads;

    std::vector<EdsBaseRef> items(EdsObjectEvent event) const;
};

class EdsTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    /** Lays a world with these cameras, called canon-1 and so on, and starts the library. */
    void start(const std::vector<Json>& cameras = {Json::object()}, const Json& scenario = Json::object());
    /** The reference of a camera of the list; the test releases it. */
    static EdsCameraRef camera(EdsInt32 index = 0);
    /** A camera with its handlers installed, its session open and its pictures going to the host. */
    EdsCameraRef session(const Json& fields = Json::object(), const Json& scenario = Json::object());
    void prepare(EdsCameraRef camera);
    void install(EdsCameraRef camera);

    static EdsError set(EdsCameraRef camera, EdsPropertyID property, EdsInt32 value);
    static EdsInt32 get(EdsBaseRef object, EdsPropertyID property);
    static EdsError take(EdsCameraRef camera);
    /** Takes a picture and answers the items that it offers. */
    std::vector<EdsDirectoryItemRef> shoot(EdsCameraRef camera, size_t files = 1);
    static EdsDirectoryItemInfo info(EdsDirectoryItemRef item);
    static EdsStreamRef fileStream(const std::string& path);
    static void release(EdsBaseRef object);

    /** Handles all events that are waiting on this thread. */
    static void pump();
    /** Handles events until it is so; false when that takes too long. */
    static bool pumpUntil(const std::function<bool()>& condition);

    /** How many references of a kind there are. */
    static int references(const char* kind);
    static Json library();
    static void clearTrace() { must({{"cmd", "trace"}, {"clear", true}}); }
    /** The test gives such things back twice, or uses what is gone. */
    void allowMisuse() { mayMisuse_ = true; }

    Heard heard;
    const Folder folder;

private:
    bool mayMisuse_ = false;
    Json misuseBefore_;
};

}  // namespace test
