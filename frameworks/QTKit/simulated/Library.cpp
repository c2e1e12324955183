#include "frameworks/QTKit/simulated/Library.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <deque>
#include <mutex>
#include <system_error>
#include <utility>

#include "frameworks/QTKit/simulated/Errors.h"
#include "frameworks/QTKit/simulated/Session.h"
#include "lab/State.h"
#include "lab/Threads.h"
#include "lab/video/Camera.h"

const NotificationName QTCaptureSessionRuntimeErrorNotification{"QTCaptureSessionRuntimeErrorNotification"};

namespace capture {

namespace {

using lab::video::CameraRef;
using lab::video::Link;

constexpr std::array<const char*, kKindCount> kKindNames = {"devices", "inputs", "outputs", "sessions",
                                                            "frames"};
std::array<std::atomic<int64_t>, kKindCount> living{};

/** Work that waits for the thread, which is there only while there is some: an idle framework wakes nobody.
 */
class Courier {
public:
    void add(std::function<void()> work) {
        const std::lock_guard guard(mutex_);
        waiting_.push_back(std::move(work));
        if (isRunning_) return;
        try {
            lab::startThread("capture-errors", [this] { run(); });
            isRunning_ = true;
        } catch (const std::system_error&) {
            // No thread to be had at the moment: the next error tries again and takes this one along.
        }
    }

private:
    void run() {
        std::unique_lock lock(mutex_);
        while (!waiting_.empty()) {
            std::function<void()> work = std::move(waiting_.front());
            waiting_.pop_front();
            lock.unlock();
            try {
                work();
            } catch (const std::bad_alloc&) {
                // An error that there is no memory to tell of is lost.
            }
            work = nullptr;  // outside of the lock, too: it may hold the last reference to a session
            lock.lock();
        }
        isRunning_ = false;
    }

    std::mutex mutex_;
    std::deque<std::function<void()>> waiting_;  // guarded by mutex_, as below
    bool isRunning_ = false;
};

struct Library {
    std::mutex mutex;
    std::vector<Session*> sessions;  // guarded by mutex
    Courier courier;
};

/** Never destroyed: its threads may be under way while the process exits. */
Library& library() {
    static auto* one = new Library;
    return *one;
}

void tellSessions(const CameraRef& camera, Link link, int64_t code, bool isGone) {
    for (const Ref<Session>& session : sessions()) {
        if (!session->streamsFrom(*camera, link)) continue;
        if (isGone) session->abandon();
        postRuntimeError(*session, code);
    }
}

/** The framework's end of all cables. */
class Ear final : public lab::video::Listener {
public:
    void wentAway(const CameraRef& camera, Link link) override {
        note(camera, link, QTErrorDeviceWasDisconnected, true);
    }
    void failed(const CameraRef& camera, Link link, int64_t code) override {
        note(camera, link, code, false);
    }

private:
    static void note(const CameraRef& camera, Link link, int64_t code, bool isGone) {
        tellLater([camera, link, code, isGone] { tellSessions(camera, link, code, isGone); });
    }
};

class Teller final : public lab::StateSource {
public:
    std::string_view library() const override { return "QTKit"; }
    void writeLibrary(lab::JsonText& out) override {
        out.key("objects").beginObject();
        for (size_t kind = 0; kind < kKindCount; ++kind) {
            out.key(kKindNames[kind]).number(living[kind]);
        }
        out.endObject();
    }
    void writeDevice(std::string_view /*device*/, lab::JsonText& /*out*/) override {}
};

__attribute__((constructor)) void introduce() {
    static auto* teller = new Teller;
    static auto* ear = new Ear;
    lab::addStateSource(teller);
    lab::video::Camera::setListener(ear);
}

}  // namespace

Tally::Tally(Kind kind) : kind_(kind) {
    ++living[static_cast<size_t>(kind)];
}

Tally::~Tally() {
    --living[static_cast<size_t>(kind_)];
}

void registerSession(Session& session) {
    const std::lock_guard guard(library().mutex);
    library().sessions.push_back(&session);
}

void forgetSession(Session& session) {
    const std::lock_guard guard(library().mutex);
    std::erase(library().sessions, &session);
}

std::vector<Ref<Session>> sessions() {
    std::vector<Ref<Session>> all;
    const std::lock_guard guard(library().mutex);
    for (Session* session : library().sessions) {
        if (session->retainIfAlive()) all.push_back(Ref<Session>::adopt(session));
    }
    return all;
}

void enqueue(std::function<void()> work) {
    library().courier.add(std::move(work));
}

void postRuntimeError(QTCaptureSession& session, int64_t code) {
    const Ref<NSError> error = makeError(code);
    const auto notification = Ref<NSNotification>::adopt(
        new NSNotification(QTCaptureSessionRuntimeErrorNotification, &session, error.get()));
    NSNotificationCenter::defaultCenter().postNotification(*notification);
}

}  // namespace capture
