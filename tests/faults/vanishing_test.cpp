// Cameras, listeners and the library itself that go at any moment, with calls under way on several
// connections: nothing crashes, nothing hangs, nothing is left behind. Made for the address and thread
// sanitizers.
#include <gtest/gtest.h>

#include <random>
#include <thread>

#include "tests/e2e/support/canon_fixture.h"
#include "tests/e2e/support/crowd.h"
#include "tests/faults/library_state.h"

namespace e2e::faults {
namespace {

constexpr unsigned kSeed = 19780419;
constexpr int64_t kFileBytes = 200000;

Json busyCamera() {
    return usualCamera(
        {{"shots", shotOf({madeUpFile("IMG_0001.CR2", kFileBytes), madeUpFile("IMG_0001.JPG", kFileBytes)})},
         {"properties", property(kImageQuality, 9, kRawAndJpegQuality)},
         {"liveview", madeUpFrames({30000, 20000})}});
}

using CanonCrowd = Crowd<CanonCalls, int32_t>;

void fetchFrames(CanonCalls& canon, int32_t session, int) {
    canon.startLiveView(session);
    canon.liveViewFrame(session);
    canon.setLiveViewZoom(session, true);
    canon.liveViewFrame(session);
    canon.isLiveViewZoom(session);
    canon.stopLiveView(session);
}

void changeSettings(CanonCalls& canon, int32_t session, int turn) {
    canon.setSetting(session, kIso, turn % 2 == 0 ? 0x50 : 0x58);
    canon.getSetting(session, kIso);
    canon.settingOptions(session, kTv);
    canon.firmwareVersion(session);
    canon.extendShutdownTimer(session);
    canon.idle();
}

void listCameras(CanonCalls& canon, int32_t, int) {
    for (const int32_t reference : canon.cameraList()) {
        canon.cameraName(reference);
    }
}

class CanonVanishing : public CanonTest {
protected:
    /** A session on the camera, as soon as the library runs and lists it. */
    int32_t open() {
        int32_t handle = 0;
        EXPECT_TRUE(eventually([&] {
            const std::vector<int32_t> cameras = canon().cameraList();
            if (cameras.empty() || cameras[0] == 0) return false;
            handle = canon().openSession(cameras[0]);
            return handle != 0 && handle != 130;
        }));
        return handle;
    }

    /** Takes pictures and fetches them until the camera is gone. */
    void shootUntilGone(CallbackStream& listener, int32_t handle, int round) {
        CanonCalls own(helper().port());
        const std::string path = picturePath("round" + std::to_string(round));
        for (;;) {
            own.preCapture(handle, path);
            own.capture(handle, path);
            for (int fetched = 0; fetched < 2;) {
                const std::optional<Event> event = listener.next();
                ASSERT_TRUE(event) << "neither a picture nor the camera's end";
                if (event->kind == kStateEvent && event->what() == kShutdownEvent) return;
                if (event->kind != kObjectEvent || event->what() != kRequestTransfer) continue;
                own.download(handle, event->last());
                ++fetched;
            }
        }
    }

    size_t callsMade() { return lab().trace().size(); }

    void expectNothingLeft() {
        const References held = heldReferences(lab());
        for (const char* kind : {"stream", "evfImage", "cameraList"}) {
            EXPECT_EQ(held.at(kind), 0) << kind;
        }
    }
};

TEST_F(CanonVanishing, of_a_busy_camera_at_any_moment_ends_its_calls) {
    std::minstd_rand random(kSeed);
    start(scenarioOf({busyCamera()}));
    ASSERT_EQ(canon().initializeSdk(), 0);
    CallbackStream& listener = events();
    for (int round = 0; round < 15; ++round) {
        SCOPED_TRACE(round);
        const int32_t handle = open();
        lab().clearTrace();
        const size_t moment = random() % 200;
        {
            CanonCrowd crowd(helper().port(), handle);
            crowd.add(fetchFrames);
            crowd.add(changeSettings);
            crowd.add(listCameras);
            std::thread shooting([&] { shootUntilGone(listener, handle, round); });
            EXPECT_TRUE(eventually([&] { return callsMade() >= moment; }));
            lab().detach("canon-1");
            shooting.join();
            crowd.disperse();
        }
        // Gone for good: the handle names a session without a camera.
        EXPECT_EQ(canon().startLiveView(handle), 130);
        EXPECT_NE(canon().closeSession(handle), 130);
        expectNothingLeft();
        EXPECT_EQ(misuse(lab()), 0);
        lab().must({{"cmd", "attach"}, {"id", "canon-1"}});
    }
    // What is in the folder is whole.
    for (const std::string& name : pictures().names()) {
        EXPECT_EQ(readFile(picturePath(name)).size(), static_cast<size_t>(kFileBytes)) << name;
    }
}

TEST_F(CanonVanishing, of_the_library_during_calls_leaves_a_helper_that_starts_over) {
    std::minstd_rand random(kSeed);
    start(scenarioOf({busyCamera()}));
    for (int round = 0; round < 8; ++round) {
        SCOPED_TRACE(round);
        ASSERT_EQ(canon().initializeSdk(), 0);
        const int32_t handle = open();
        lab().clearTrace();
        const size_t moment = random() % 150;
        {
            CanonCrowd crowd(helper().port(), handle);
            crowd.add(fetchFrames);
            crowd.add(changeSettings);
            crowd.add(listCameras);
            EXPECT_TRUE(eventually([&] { return callsMade() >= moment; }));
            EXPECT_EQ(canon().terminateSdk(), 0);
            EXPECT_TRUE(eventually([&] { return !isLibraryRunning(lab()); }));
            crowd.disperse();
        }
        EXPECT_NE(canon().closeSession(handle), 130);
        expectServing();
    }
}

TEST_F(CanonVanishing, of_the_listener_during_events_loses_events_and_nothing_else) {
    std::minstd_rand random(kSeed);
    const Json camera = usualCamera({{"shots", shotOf({madeUpFile("IMG_0001.JPG", kFileBytes)})},
                                     {"transferBytesPerSecond", 10 * kFileBytes}});
    const int32_t handle = startSession(camera);
    for (int round = 0; round < 15; ++round) {
        SCOPED_TRACE(round);
        const std::string name = "picture" + std::to_string(round);
        auto listener = std::make_unique<CallbackStream>(helper());
        ASSERT_EQ(canon().preCapture(handle, picturePath(name)), 0);
        ASSERT_EQ(canon().capture(handle, picturePath(name)), 0);
        const int32_t item = listener->waitFor(kObjectEvent, kRequestTransfer).last();
        canon().send(27, Message().int32(handle).int32(item));
        const auto enough = static_cast<size_t>(random() % 4);
        while (listener->progress().size() < enough) {
            ASSERT_TRUE(listener->next());
        }
        // Events of the library's thread come in between those of the transfer.
        lab().set("canon-1", kIso, round % 2 == 0 ? 0x50 : 0x58);
        round % 3 == 0 ? listener->socket().close() : listener->socket().abort();
        lab().set("canon-1", kAv, round % 2 == 0 ? 0x30 : 0x38);
        canon().expectHeader(27);
        canon().expectHeader(27);
        EXPECT_EQ(canon().receiveInt(), 0);
        EXPECT_EQ(readFile(picturePath(name + ".jpg")).size(), static_cast<size_t>(kFileBytes));
    }
    expectNothingLeft();
    EXPECT_EQ(misuse(lab()), 0);
    // The next one that listens hears again.
    CallbackStream listener(helper());
    lab().set("canon-1", kIso, 0x60);
    listener.waitFor([](const Event& event) { return event.kind == kPropertyEvent; }, "change of a property");
}

TEST_F(CanonVanishing, of_a_listener_that_never_reads_holds_up_no_call) {
    const int32_t handle = startSession();
    RawClient deaf(helper().port());
    deaf.send(Message().byte(8));
    ASSERT_TRUE(helper().waitForErr("setCallbackSocket("));
    // More than any socket's buffers take.
    for (int i = 0; i < 20000; ++i) {
        lab().must(
            {{"cmd", "event"}, {"id", "canon-1"}, {"kind", "state"}, {"event", 0x3FE}, {"parameter", i}});
    }
    EXPECT_EQ(canon().getSetting(handle, kIso), number(lab().get("canon-1", kIso)));
    expectServing();
}

}  // namespace
}  // namespace e2e::faults
