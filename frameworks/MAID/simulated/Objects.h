/* Objects.h: the open objects of the modules, and where they are found.
 *
 * An object is known by the address of its caller's record and a token in it, so that a record which was
 * never opened, or was closed, is told from a live one without being trusted.
 *
 * Thread: the registry: any; it has one lock, which is taken last and held for looking and noting only. An
 *         Object's fields belong to whoever holds its module's lock, unless they say otherwise.
 * Owns:   the registry its objects until they are closed; the records are the caller's.
 */
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "MAID.h"
#include "lab/nikon/Body.h"

namespace maid {

class Module;

enum class Kind : uint32_t {
    module = kMaidObjectModule,
    source = kMaidObjectSource,
    item = kMaidObjectItem,
    data = kMaidObjectData
};
inline constexpr size_t kKindCount = 5;  // kinds count from 1

struct Object;
using ObjectRef = std::shared_ptr<Object>;

struct Object {
    // The same from the opening on.
    NkMAIDObject* record = nullptr;
    MaidRef token = nullptr;
    Kind kind = Kind::module;
    uint32_t id = 0;
    std::string path;  // ids from the module down, "1/5"
    std::shared_ptr<Module> module;
    ObjectRef parent;             // null: the module object
    lab::nikon::BodyRef body;     // null: the module object
    lab::nikon::Link link = 0;    // of the body
    lab::nikon::ItemRef content;  // of items and what is below

    bool isOpen = true;
    lab::nikon::Table table;  // of all but sources, whose body keeps it
    std::map<uint32_t, NkMAIDCallback> procedures;
    std::optional<uint64_t> countedVersion;  // of the capability list, when it was counted
};

/** Says whether what the object stands for is still there. */
bool isThere(const Object& object);

/** An event on its way to an object. */
struct Posted {
    ObjectRef object;
    uint32_t event = 0;
    uint64_t parameter = 0;
    bool isNews = true;
};

struct Counts {
    std::array<uint64_t, kKindCount> open{};
};

class Registry {
public:
    static Registry& instance();

    /** Opens the object: fills its record. False when the record is in use already. */
    bool add(const ObjectRef& object);
    /** The live object of a record of this module type; null when there is none. */
    ObjectRef find(NkMAIDObject* record, uint32_t moduleType);
    void remove(const Object& object);
    /** Those that are open under this one. */
    std::vector<ObjectRef> childrenOf(const Object& parent);

    /** Notes an event for every open object that it is for; false when there is none. */
    bool post(const lab::nikon::Body& body, lab::nikon::Link link, const lab::nikon::Event& event);
    /** The events that were noted for a module since. */
    std::vector<Posted> takePosted(const Module& module);

    /** Of one device; empty: of all. */
    Counts counts(std::string_view device);
    uint64_t waitingEvents();

    /** A caller used something that is no live object. */
    void countMisuse();
    uint64_t misuses();

private:
    std::mutex mutex_;
    std::map<NkMAIDObject*, ObjectRef> objects_;  // guarded by mutex_, as all below
    uintptr_t lastToken_ = 0;
    std::vector<Posted> posted_;
    uint64_t misuses_ = 0;
};

}  // namespace maid
