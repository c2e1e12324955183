#include "platform/Handles.h"

#include <sys/mman.h>

#include <deque>
#include <map>
#include <mutex>
#include <new>
#include <unordered_map>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace handles {
namespace {

constexpr uintptr_t kLowestAddress = 0x20000000;
constexpr uintptr_t kLowLimit = 0x7FF00000;  // below 2 GiB, so that an int holds it and stays positive
constexpr size_t kChunkSize = 1 << 20;
constexpr size_t kAlignment = 64;
// So many retired slots of a size wait before the oldest is used again.
constexpr size_t kQuarantine = 1024;

struct Entry {
    Kind kind = Kind::None;
    bool isLive = true;
    uint32_t pins = 0;
    uint32_t holders = 0;  // stand-ins only
    size_t size = 0;
    void (*destroy)(void*) = nullptr;
};

void* mapAt(uintptr_t address, size_t size) {
#ifndef MAP_FIXED_NOREPLACE
#define MAP_FIXED_NOREPLACE 0
#endif
    void* wanted = reinterpret_cast<void*>(address);
    void* got = mmap(wanted, size, PROT_READ | PROT_WRITE,
                     MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED_NOREPLACE, -1, 0);
    if (got == MAP_FAILED) return nullptr;
    if (got == wanted) {
#if defined(__SANITIZE_ADDRESS__)
        // What records lead to is no leak; the sanitizer looks into the allocator's memory only.
        __lsan_register_root_region(got, size);
#endif
        return got;
    }
    munmap(got, size);  // a kernel that takes the address for a hint only
    return nullptr;
}

/** Slots of low memory, by size. Chunks are never given back: a helper has few records. */
class LowMemory {
public:
    void* take(size_t size) {
        size = rounded(size);
        std::deque<void*>& retired = retired_[size];
        if (retired.size() > kQuarantine) return reuseOldest(retired);
        if (void* fresh = takeFresh(size)) return fresh;
        return retired.empty() ? nullptr : reuseOldest(retired);
    }

    void give(void* slot, size_t size) { retired_[rounded(size)].push_back(slot); }

private:
    static size_t rounded(size_t size) { return (size + kAlignment - 1) / kAlignment * kAlignment; }

    static void* reuseOldest(std::deque<void*>& retired) {
        void* slot = retired.front();
        retired.pop_front();
        return slot;
    }

    void* takeFresh(size_t size) {
        if (size > kChunkSize) return nullptr;
        if (chunkEnd_ - chunkNext_ < size && !addChunk()) return nullptr;
        void* slot = reinterpret_cast<void*>(chunkNext_);
        chunkNext_ += size;
        return slot;
    }

    bool addChunk() {
        for (; searchFrom_ + kChunkSize <= kLowLimit; searchFrom_ += kChunkSize) {
            if (mapAt(searchFrom_, kChunkSize) == nullptr) continue;
            chunkNext_ = searchFrom_;
            chunkEnd_ = searchFrom_ + kChunkSize;
            searchFrom_ += kChunkSize;
            return true;
        }
        return false;
    }

    std::map<size_t, std::deque<void*>> retired_;
    uintptr_t searchFrom_ = kLowestAddress;
    uintptr_t chunkNext_ = 0;
    uintptr_t chunkEnd_ = 0;
};

struct Registry {
    std::mutex lock;  // leaf
    LowMemory memory;
    std::unordered_map<intptr_t, Entry> entries;
    std::map<std::pair<Kind, void*>, int32_t> standIns;

    Entry* findLive(Kind kind, intptr_t handle) {
        const auto found = entries.find(handle);
        if (found == entries.end() || !found->second.isLive || found->second.kind != kind) return nullptr;
        return &found->second;
    }

    void* add(const Entry& entry) {
        try {
            void* slot = memory.take(entry.size);
            if (slot != nullptr) entries[reinterpret_cast<intptr_t>(slot)] = entry;
            return slot;
        } catch (const std::bad_alloc&) {
            return nullptr;  // a slot that was taken is not used again
        }
    }

    void forget(intptr_t handle) {
        const size_t size = entries[handle].size;
        entries.erase(handle);
        try {
            memory.give(reinterpret_cast<void*>(handle), size);
        } catch (const std::bad_alloc&) {
            return;  // it is not used again
        }
    }
};

Registry& registry() {
    // Never destroyed: connection tasks may still hold pins while the process exits. In memory that is there
    // before anybody can run out of it.
    alignas(Registry) static std::byte memory[sizeof(Registry)];
    static auto* const theRegistry = new (memory) Registry;
    return *theRegistry;
}

/** Destroys a record that is neither live nor pinned. The entry stays until then, so its slot is ours. */
void destroyRecord(intptr_t handle, void (*destroy)(void*)) {
    if (destroy != nullptr) destroy(reinterpret_cast<void*>(handle));
    const std::lock_guard guard(registry().lock);
    registry().forget(handle);
}

void endStandIn(void* record) {
    const auto* standIn = static_cast<const StandIn*>(record);
    if (standIn->giveBack != nullptr) standIn->giveBack(standIn->object);
}

/** What was left of a stand-in when a holder let go of it. */
struct Leaving {
    void* object = nullptr;  // null: it was not live
    uint32_t holders = 0;
    bool isPinned = false;
};

/** The last holder ends the stand-in and leaves word what to do with the object. */
Leaving dropHolder(Kind kind, int32_t handle, void (*giveBack)(void*)) {
    const std::lock_guard guard(registry().lock);
    Entry* entry = registry().findLive(kind, handle);
    if (entry == nullptr) return {};
    auto* standIn = reinterpret_cast<StandIn*>(static_cast<intptr_t>(handle));
    const Leaving left = {standIn->object, --entry->holders, entry->pins > 0};
    if (left.holders > 0) return left;
    registry().standIns.erase({kind, standIn->object});
    entry->isLive = false;
    standIn->giveBack = giveBack;
    return left;
}

}  // namespace

void* allocate(Kind kind, size_t size, void (*destroy)(void*)) {
    const std::lock_guard guard(registry().lock);
    return registry().add({.kind = kind, .isLive = false, .size = size, .destroy = destroy});
}

void publish(void* record) {
    const std::lock_guard guard(registry().lock);
    registry().entries[reinterpret_cast<intptr_t>(record)].isLive = true;
}

void* pinAddress(Kind kind, intptr_t handle) {
    const std::lock_guard guard(registry().lock);
    Entry* entry = registry().findLive(kind, handle);
    if (entry == nullptr) return nullptr;
    ++entry->pins;
    return reinterpret_cast<void*>(handle);
}

void unpinAddress(void* record) {
    const auto handle = reinterpret_cast<intptr_t>(record);
    void (*destroy)(void*) = nullptr;
    {
        const std::lock_guard guard(registry().lock);
        Entry& entry = registry().entries[handle];
        --entry.pins;
        if (entry.isLive || entry.pins > 0) return;
        destroy = entry.destroy;
    }
    destroyRecord(handle, destroy);
}

bool retire(Kind kind, intptr_t handle) {
    void (*destroy)(void*) = nullptr;
    {
        const std::lock_guard guard(registry().lock);
        Entry* entry = registry().findLive(kind, handle);
        if (entry == nullptr) return false;
        entry->isLive = false;
        if (entry->pins > 0) return true;
        destroy = entry->destroy;
    }
    destroyRecord(handle, destroy);
    return true;
}

int32_t standFor(Kind kind, void* object) {
    if (object == nullptr) return 0;
    const std::lock_guard guard(registry().lock);
    Registry& all = registry();
    const auto known = all.standIns.find({kind, object});
    if (known != all.standIns.end()) {
        ++all.entries[known->second].holders;
        return known->second;
    }
    void* slot = all.add({.kind = kind, .holders = 1, .size = sizeof(StandIn), .destroy = endStandIn});
    if (slot == nullptr) return 0;
    new (slot) StandIn{.object = object};
    const auto handle = static_cast<int32_t>(reinterpret_cast<intptr_t>(slot));
    try {
        all.standIns[{kind, object}] = handle;
    } catch (const std::bad_alloc&) {
        all.forget(handle);
        return 0;
    }
    return handle;
}

void* release(Kind kind, int32_t handle) {
    const Leaving left = dropHolder(kind, handle, nullptr);
    if (left.object != nullptr && left.holders == 0 && !left.isPinned) destroyRecord(handle, endStandIn);
    return left.object;
}

bool release(Kind kind, int32_t handle, void (*giveBack)(void*)) {
    const Leaving left = dropHolder(kind, handle, giveBack);
    if (left.object == nullptr) return false;
    if (left.holders > 0) {
        giveBack(left.object);
    } else if (!left.isPinned) {
        destroyRecord(handle, endStandIn);
    }
    return true;
}

size_t liveCount(Kind kind) {
    const std::lock_guard guard(registry().lock);
    size_t count = 0;
    for (const auto& [handle, entry] : registry().entries) {
        if (entry.kind == kind && entry.isLive) ++count;
    }
    return count;
}

}  // namespace handles
