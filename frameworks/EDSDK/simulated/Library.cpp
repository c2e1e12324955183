#include "frameworks/EDSDK/simulated/Library.h"

#include <atomic>
#include <mutex>

#include "frameworks/EDSDK/simulated/Events.h"
#include "frameworks/EDSDK/simulated/Streams.h"
#include "lab/State.h"

namespace sim {

namespace {

using lab::canon::Outcome;

struct Library {
    std::mutex mutex;  // start and stop exclude each other
    std::atomic<bool> isStarted{false};
    std::atomic<uint64_t> deadReferences{0};  // calls on something that is no live object
    std::atomic<uint64_t> deadReleases{0};    // releases of such a thing
};

Library& library() {
    static auto* one = new Library;
    return *one;
}

/** The library's end of all cables. */
class Ear final : public lab::canon::Listener {
public:
    void raised(const lab::canon::BodyRef& body, lab::canon::Link link, lab::canon::Event event) override {
        try {
            noteEvent({body, link}, std::move(event));
        } catch (const std::bad_alloc&) {
            // The event is lost; the camera goes on.
        }
    }
};

class Teller final : public lab::StateSource {
public:
    std::string_view library() const override { return "EDSDK"; }

    void writeLibrary(lab::JsonText& out) override {
        const Counts counts = Objects::instance().counts();
        const Backlog events = backlog();
        out.key("initialised").boolean(isStarted());
        writeCounts(out, "objects", counts.objects, Kind::cameraList);
        writeCounts(out, "references", counts.references, Kind::cameraList);
        out.key("misuse").beginObject();
        out.key("releases").unsignedNumber(sim::library().deadReleases);
        out.key("references").unsignedNumber(sim::library().deadReferences);
        out.endObject();
        out.key("waitingEvents").unsignedNumber(events.waiting);
        out.key("droppedEvents").unsignedNumber(events.dropped);
    }

    void writeDevice(std::string_view device, lab::JsonText& out) override {
        const Counts counts = Objects::instance().countsOf(device);
        out.key("references").beginObject();
        for (const Kind kind : {Kind::camera, Kind::directoryItem}) {
            out.key(kindName(kind)).unsignedNumber(counts.references[static_cast<size_t>(kind)]);
        }
        out.endObject();
    }

private:
    static void writeCounts(lab::JsonText& out, std::string_view name,
                            const std::array<uint64_t, kKindCount>& counts, Kind first) {
        out.key(name).beginObject();
        for (size_t kind = static_cast<size_t>(first); kind < kKindCount; ++kind) {
            out.key(kindName(static_cast<Kind>(kind))).unsignedNumber(counts[kind]);
        }
        out.endObject();
    }
};

/** The lab knows of the library as soon as it is loaded: its state can be asked for before it is started. */
__attribute__((constructor)) void introduce() {
    static auto* teller = new Teller;
    static auto* ear = new Ear;
    lab::addStateSource(teller);
    lab::canon::Body::setListener(ear);
}

}  // namespace

EdsError startLibrary() {
    const std::lock_guard guard(library().mutex);
    if (library().isStarted) return EDS_ERR_INTERNAL_ERROR;
    if (const EdsError error = startEvents(); error != kOk) return error;
    Objects::instance().start();
    library().isStarted = true;
    return kOk;
}

EdsError stopLibrary() {
    const std::lock_guard guard(library().mutex);
    if (!library().isStarted.exchange(false)) return EDS_ERR_INTERNAL_ERROR;
    for (const std::shared_ptr<Object>& object : Objects::instance().stop()) {
        if (object->kind != Kind::camera) continue;
        const Attachment& at = static_cast<const Camera&>(*object).at;
        at.body->closeSession(at.link);
    }
    stopEvents();
    return kOk;
}

bool isStarted() {
    return library().isStarted;
}

EdsError notLive() {
    ++library().deadReferences;
    return EDS_ERR_INVALID_HANDLE;
}

EdsUInt32 releaseReference(EdsBaseRef reference) {
    std::shared_ptr<Object> last;
    const std::optional<EdsUInt32> count = Objects::instance().release(reference, last);
    if (last && last->kind == Kind::camera) {
        // Nobody could close the session any more.
        const Attachment& at = static_cast<const Camera&>(*last).at;
        at.body->closeSession(at.link);
    }
    return count.value_or(kNoReference);
}

EdsUInt32 releaseByCaller(EdsBaseRef reference) {
    const EdsUInt32 count = releaseReference(reference);
    // Nothing at all is given back often, after something could not be made; that hurts nobody.
    if (count == kNoReference && reference != nullptr) ++library().deadReleases;
    return count;
}

EdsError errorOf(Outcome outcome) {
    switch (outcome) {
        case Outcome::ok:
            return kOk;
        case Outcome::disconnected:
            return EDS_ERR_COMM_DISCONNECTED;
        case Outcome::noSession:
            return EDS_ERR_SESSION_NOT_OPEN;
        case Outcome::sessionOpen:
            return EDS_ERR_SESSION_ALREADY_OPEN;
        case Outcome::unavailable:
            return EDS_ERR_PROPERTIES_UNAVAILABLE;
        case Outcome::undescribed:
            return EDS_ERR_NOT_SUPPORTED;
        case Outcome::readOnly:
            return EDS_ERR_NOT_SUPPORTED;
        case Outcome::wrongLength:
            return EDS_ERR_INVALID_LENGTH;
        case Outcome::wrongValue:
            return EDS_ERR_DEVICE_INVALID_PARAMETER;
        case Outcome::unsupported:
            return EDS_ERR_NOT_SUPPORTED;
        case Outcome::busy:
            return EDS_ERR_DEVICE_BUSY;
        case Outcome::notReady:
            return EDS_ERR_OBJECT_NOTREADY;
        case Outcome::memoryFull:
            return EDS_ERR_DEVICE_MEMORY_FULL;
        case Outcome::noSuchPicture:
            return EDS_ERR_FILE_NOT_FOUND;
    }
    return EDS_ERR_INTERNAL_ERROR;
}

void nameDevice(lab::Call& call, const Camera* camera) {
    if (camera != nullptr) call.device(camera->at.body->id());
}

void nameDevice(lab::Call& call, const DirectoryItem* item) {
    if (item != nullptr) call.device(item->at.body->id());
}

void nameDevice(lab::Call& call, EvfImage* image) {
    if (image == nullptr) return;
    const std::lock_guard guard(image->mutex);
    if (!image->device.empty()) call.device(image->device);
}

EdsError handOut(std::shared_ptr<Object> object, EdsBaseRef* out) {
    EdsBaseRef reference = Objects::instance().add(std::move(object));
    if (reference == nullptr) return EDS_ERR_INTERNAL_ERROR;
    *out = reference;
    return kOk;
}

}  // namespace sim
