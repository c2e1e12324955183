/* Tickets.h: numbers that stand for our own records towards a module.
 *
 * A module hands back whatever reference it was given, perhaps late, perhaps twice, perhaps after the record
 * has gone. An address could then mean freed memory or somebody else's record; a ticket means nothing any
 * more, and is never issued again.
 *
 * Thread: any; the lock is a leaf.
 * Owns:   what it was given, until it is taken out.
 * Errors: a null reference when there is no memory; it never finds anything.
 */
#pragma once

#include <cstdint>
#include <mutex>
#include <new>
#include <unordered_map>
#include <utility>

#include "MAID.h"

namespace nikon {

template <class Record>
class Tickets {
public:
    MaidRef issue(Record record) {
        const std::lock_guard guard(lock_);
        // Odd numbers: nobody who looks at one in a debugger takes it for an address.
        latest_ += 2;
        const auto reference = reinterpret_cast<MaidRef>(latest_);
        try {
            live_.insert_or_assign(reference, std::move(record));
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
        return reference;
    }

    /** A copy; an empty record when the reference means nothing. */
    Record find(MaidRef reference) const {
        const std::lock_guard guard(lock_);
        const auto found = live_.find(reference);
        return found == live_.end() ? Record{} : found->second;
    }

    /** The same, and from now on the reference means nothing. */
    Record take(MaidRef reference) {
        const std::lock_guard guard(lock_);
        const auto found = live_.find(reference);
        if (found == live_.end()) return Record{};
        Record record = std::move(found->second);
        live_.erase(found);
        return record;
    }

private:
    mutable std::mutex lock_;
    uintptr_t latest_ = 1;
    std::unordered_map<MaidRef, Record> live_;
};

}  // namespace nikon
