/* Objects.h: the library's objects, and the references that callers hold on them.
 *
 * A reference is a number in disguise, given out once and never again, and is looked up before it is used:
 * one that was released, made up, or belongs to an object of another kind finds nothing. Whoever found an
 * object keeps it alive for his call, whatever other threads release meanwhile.
 *
 * Thread: any. The table's lock is a leaf: nothing else is called while it is held.
 * Owns:   the table its objects, as long as callers hold references on them.
 */
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "EDSDK.h"
#include "lab/canon/Body.h"

namespace sim {

enum class Kind : size_t { none, cameraList, camera, directoryItem, stream, evfImage };
inline constexpr size_t kKindCount = 6;
const char* kindName(Kind kind);

struct Object {
    explicit Object(Kind objectKind) : kind(objectKind) {}
    virtual ~Object() = default;
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    const Kind kind;
};

/** A body as it was plugged in at one time. */
struct Attachment {
    lab::canon::BodyRef body;
    lab::canon::Link link = 0;
};

struct CameraList final : Object {
    static constexpr Kind kKind = Kind::cameraList;
    CameraList() : Object(kKind) {}
    std::vector<Attachment> cameras;  // never changed once the list is handed out
};

template <typename Function>
struct Handler {
    EdsUInt32 event = 0;  // which events, or all of the kind
    Function function = nullptr;
    EdsVoid* context = nullptr;
};

struct Camera final : Object {
    static constexpr Kind kKind = Kind::camera;
    explicit Camera(Attachment attachment) : Object(kKind), at(std::move(attachment)) {}
    const Attachment at;
    std::mutex mutex;  // a leaf; guards the handlers
    Handler<EdsObjectEventHandler> onObject;
    Handler<EdsPropertyEventHandler> onProperty;
    Handler<EdsStateEventHandler> onState;
};

struct DirectoryItem final : Object {
    static constexpr Kind kKind = Kind::directoryItem;
    DirectoryItem(Attachment attachment, lab::canon::PictureRef itemPicture)
        : Object(kKind), at(std::move(attachment)), picture(std::move(itemPicture)) {}
    const Attachment at;
    const lab::canon::PictureRef picture;
};

/** How many objects of each kind there are, and how many references on them. */
struct Counts {
    std::array<uint64_t, kKindCount> objects{};
    std::array<uint64_t, kKindCount> references{};
};

class Objects {
public:
    static Objects& instance();

    /** A first reference on a new object; null when the library is not started. */
    EdsBaseRef add(std::shared_ptr<Object> object);
    /** A further reference on the camera object that stands for the attachment, or the first on a new one. */
    EdsBaseRef addCamera(const Attachment& attachment);
    std::shared_ptr<Object> find(EdsBaseRef reference) const;
    template <typename Wanted>
    std::shared_ptr<Wanted> find(EdsBaseRef reference) const {
        std::shared_ptr<Object> object = find(reference);
        if (!object || object->kind != Wanted::kKind) return nullptr;
        return std::static_pointer_cast<Wanted>(std::move(object));
    }
    /** The camera object that stands for the attachment, if there is one. */
    std::shared_ptr<Camera> cameraAt(const Attachment& attachment) const;

    /** The count afterwards; nothing when the reference is none. `last` becomes the object when this was the
     *  last reference on it. */
    std::optional<EdsUInt32> retain(EdsBaseRef reference);
    std::optional<EdsUInt32> release(EdsBaseRef reference, std::shared_ptr<Object>& last);

    void start();
    /** From now on every reference is void; what they stood for is handed to the caller. */
    std::vector<std::shared_ptr<Object>> stop();

    Counts counts() const;
    /** References on the objects that belong to one body. */
    Counts countsOf(std::string_view device) const;

private:
    struct Entry {
        std::shared_ptr<Object> object;
        EdsUInt32 count;
    };
    using Table = std::map<uintptr_t, Entry>;

    EdsBaseRef insert(std::shared_ptr<Object> object);
    Table::const_iterator findCamera(const Attachment& attachment) const;

    mutable std::mutex mutex_;
    Table table_;  // guarded by mutex_, as below
    uintptr_t last_;
    bool isStarted_ = false;

    Objects();
};

}  // namespace sim
