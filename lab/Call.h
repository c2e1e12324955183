/* Call.h: one call that the helper makes on a simulated library.
 *
 * Every entry point of a simulated library opens one of these first, adds its arguments, asks whether a fault
 * stands in its way, does its work and gives its result:
 *
 *     lab::Call call("EnterMovies");
 *     if (call.refused()) return call.answer<OSErr>();
 *     return call.done<OSErr>(noErr);
 *
 * The entry appears in the trace when the call ends, in the place of its beginning. While no control socket
 * was asked for, nobody could read the trace or set a fault, and all of this costs one load.
 *
 * Thread: any; a Call belongs to the thread that made it. refused() blocks for as long as a fault's delay
 *         says.
 * Owns:   nothing of the caller's; names, texts and bytes are copied.
 * Errors: none; when memory runs out the entry is counted as dropped.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "lab/Export.h"

namespace lab {

struct CallRecord;

class LAB_EXPORT Call {
public:
    /** `device` is the id of the lab's device that the call is about; empty when it is about none. */
    explicit Call(std::string_view name, std::string_view device = {});
    ~Call();
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    /** For calls that learn only later which device they are about. */
    Call& device(std::string_view id);

    /** Arguments, in the order in which they shall be shown. Numbers are also what faults match on. */
    Call& number(std::string_view key, int64_t value);
    Call& flag(std::string_view key, bool value);
    /** What faults may match on beside the arguments that are shown. */
    Call& match(std::string_view key, int64_t value);
    Call& text(std::string_view key, std::string_view value);
    Call& bytes(std::string_view key, const void* data, size_t size);
    /** Nothing: the argument was missing. */
    Call& null(std::string_view key) { return json(key, "null"); }
    /** A value that is JSON already: "[1,2]". */
    Call& json(std::string_view key, std::string_view value);

    /** Waits for as long as the next matching fault says; true: the call must not be carried out but answer
     *  answer<>(). Ask once, after the arguments that a fault may match on have been given. */
    [[nodiscard]] bool refused();

    /** What the fault says the call answers. */
    template <typename Result>
    Result answer() const {
        return static_cast<Result>(result_);
    }

    /** Gives the call its result and hands it on. A call that answers nothing never gives one. */
    template <typename Result>
    Result done(Result result) {
        finish(static_cast<int64_t>(result));
        return result;
    }

private:
    template <typename Work>
    Call& note(Work work);
    void finish(int64_t result);

    std::unique_ptr<CallRecord> record_;  // null while nobody could read it
    int64_t result_ = 0;
};

/** For calls that are too many, or too small, to be shown: they appear in the trace when a fault takes effect
 *  on them, and only then. Waits for as long as it says; its result, if the call must not be carried out. */
LAB_EXPORT std::optional<int64_t> faultAt(std::string_view name, std::string_view device = {});

/** Says whether calls are recorded. */
LAB_EXPORT bool isObserved();
/** From now on calls are recorded and faults take effect; there is no way back. */
LAB_EXPORT void observe();

}  // namespace lab
