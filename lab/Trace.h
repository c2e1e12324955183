/* Trace.h: the record of the calls that the helper made on the simulated libraries.
 *
 * Thread: any.
 * Owns:   its entries, at most kMostEntries of them: the oldest make room, and are counted.
 * Units:  microseconds of the monotonic clock.
 */
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "lab/Export.h"
#include "lab/JsonText.h"

namespace lab {

/** A call from its beginning to its end. */
struct CallRecord {
    uint64_t seq = 0;
    int64_t beganUs = 0;
    pid_t thread = 0;
    std::string device;  // empty: none
    std::string name;
    JsonText args;
    std::vector<std::pair<std::string, int64_t>> numbers;  // what faults match on
    std::optional<int64_t> result;
};

class Trace {
public:
    static constexpr size_t kMostEntries = 65536;

    static Trace& instance();

    /** Gives the call its number and time, in one step, so that the two never disagree. */
    void begin(CallRecord& record);
    /** Takes the call into the trace. */
    void end(CallRecord& record);
    void countDropped();

    /** Adds "trace", "dropped", "underway", "nowUs" and "nowWallUs" to the object that is being written. */
    void write(JsonText& out, bool clear);

private:
    struct Entry {
        uint64_t seq;
        int64_t beganUs;
        pid_t thread;
        const std::string* name;
        std::string device;
        std::string args;
        std::optional<int64_t> result;
    };

    static void writeEntry(JsonText& out, const Entry& entry);
    static void writeUnderway(JsonText& out, const CallRecord& record);

    std::mutex mutex_;
    uint64_t lastSeq_ = 0;                      // guarded by mutex_, as all below
    std::deque<Entry> entries_;                 // in the order of seq
    std::set<std::string, std::less<>> names_;  // entries point into it: nodes stay where they are
    std::vector<const CallRecord*> underway_;
    uint64_t dropped_ = 0;
};

/** Microseconds of the monotonic clock. */
LAB_EXPORT int64_t monotonicUs();

}  // namespace lab
