/* Handles.h: records whose address travels to the host, and the check of what comes back.
 *
 * The protocol carries addresses: 32-bit ints for Canon, 64-bit longs for the other families. Records that
 * are named by an int therefore live in low memory (below 2 GiB) on every machine, and a vendor's object,
 * which may live anywhere, is named by a small low record that stands for it.
 *
 * Nothing that arrives from the wire is used as an address before it was found here: a stale or forged
 * number finds nothing. Addresses that were given up are reused as late as possible, so that a stale handle
 * does not soon mean somebody else's record.
 *
 * Thread: any. The unit's lock is a leaf; destructors of records run outside it.
 * Owns:   the records. A record is destroyed when it has been retired and the last Pin on it is gone, so a
 *         call that is under way on one connection survives a close on another.
 * Errors: null pointers and zero handles; nothing is thrown.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

#include "platform/Export.h"

namespace handles {

enum class Kind : uint8_t {
    None,
    CanonSession,
    CanonCamera,
    CanonDirectoryItem,
    NikonModule,
    NikonCamera,
    VideoCamera,
};

/** Untyped operations; use the templates below. */
TARVO_PLATFORM_API void* allocate(Kind kind, size_t size, void (*destroy)(void*));
TARVO_PLATFORM_API void publish(void* record);
TARVO_PLATFORM_API void* pinAddress(Kind kind, intptr_t handle);
TARVO_PLATFORM_API void unpinAddress(void* record);

/** Keeps a record alive while a call uses it. Null when the handle named nothing. */
template <class Record>
class Pin {
public:
    Pin() = default;
    explicit Pin(Record* record) : record_(record) {}
    Pin(Pin&& other) noexcept : record_(std::exchange(other.record_, nullptr)) {}
    Pin& operator=(Pin&& other) noexcept {
        std::swap(record_, other.record_);
        return *this;
    }
    Pin(const Pin&) = delete;
    Pin& operator=(const Pin&) = delete;
    ~Pin() {
        if (record_ != nullptr) unpinAddress(record_);
    }

    explicit operator bool() const { return record_ != nullptr; }
    Record* operator->() const { return record_; }
    Record& operator*() const { return *record_; }
    Record* get() const { return record_; }

private:
    Record* record_ = nullptr;
};

/** A new, live record in low memory, made of the arguments; null when there is no room left. Its address is
 *  its handle. */
template <class Record, class... Arguments>
Record* create(Kind kind, Arguments&&... arguments) {
    void* memory =
        allocate(kind, sizeof(Record), [](void* record) { static_cast<Record*>(record)->~Record(); });
    if (memory == nullptr) return nullptr;
    Record* record = new (memory) Record(std::forward<Arguments>(arguments)...);
    publish(memory);  // only now may a number from the wire find it
    return record;
}

/** The live record of this kind that the handle names, or a null pin. */
template <class Record>
Pin<Record> pin(Kind kind, intptr_t handle) {
    return Pin<Record>(static_cast<Record*>(pinAddress(kind, handle)));
}

/** Ends a handle's life; false if it was not live (any more): of two that close, one wins. */
TARVO_PLATFORM_API bool retire(Kind kind, intptr_t handle);

/** What an int stands for: a vendor's object that lives elsewhere. Pin it to use the object in a call. */
struct StandIn {
    void* object = nullptr;
    void (*giveBack)(void*) = nullptr;  // set when the last holder has gone; called when the last pin has
};

/** The int that stands for a vendor's object; the same object keeps its int. Counts one more holder. */
TARVO_PLATFORM_API int32_t standFor(Kind kind, void* object);
/** One holder fewer; the last one ends the stand-in. Returns the object, or null if it was not live. For
 *  kinds that nobody pins: what becomes of the object is the caller's affair. */
TARVO_PLATFORM_API void* release(Kind kind, int32_t handle);
/** The same, and giveBack(object) gives the vendor's reference back: the last one when no call has the
 *  stand-in pinned any more, others at once. False, and nothing is given back, if it was not live. */
TARVO_PLATFORM_API bool release(Kind kind, int32_t handle, void (*giveBack)(void*));

/** How many handles of the kind are live. */
TARVO_PLATFORM_API size_t liveCount(Kind kind);

}  // namespace handles
