/* Faults.h: what shall go wrong, and at which call.
 *
 * Thread: any.
 * Units:  milliseconds.
 */
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "lab/JsonText.h"

namespace lab {

struct CallRecord;

struct Fault {
    std::string call;
    std::string device;                                    // empty: any
    std::vector<std::pair<std::string, int64_t>> matches;  // arguments that the call must have
    std::optional<int64_t> result;                         // none: the call is carried out, late
    int64_t skip = 0;
    int64_t times = 1;  // 0: until cleared
    int64_t delayMs = 0;
    uint64_t applied = 0;
};

/** "MAIDEntryPoint:7" names the call and the command in one; false when no number stands behind the colon. */
bool splitCommand(Fault& fault);

/** What a fault does to one call. */
struct Verdict {
    std::optional<int64_t> result;
    int64_t delayMs = 0;
};

class Faults {
public:
    static Faults& instance();

    void add(Fault fault);
    void clear();
    /** Whether any fault names the call. */
    bool isAbout(std::string_view call);
    /** The faults see a call in the order in which they were set: each one that matches either skips it or is
     *  due; the first that is due acts and those behind it never learn of the call. */
    Verdict decide(const CallRecord& record);
    /** Adds "faults": those that stand, with how often each has acted. */
    void write(JsonText& out);

private:
    std::mutex mutex_;
    std::vector<Fault> faults_;  // guarded by mutex_
};

/** The arguments that a fault may name. */
inline constexpr std::string_view kMatchKeys[] = {"property", "capability", "unit", "selector",
                                                  "request",  "command",    "param"};

}  // namespace lab
