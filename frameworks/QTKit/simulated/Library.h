/* Library.h: the simulated capture framework as a whole: what lives in it, and the thread that tells of
 * errors.
 *
 * Thread: any. The lock is a leaf.
 * Owns:   nothing; objects are known here from their making to their end.
 */
#pragma once

#include <cstddef>
#include <functional>
#include <new>
#include <utility>
#include <vector>

#include "QTKit.h"

namespace capture {

class Session;

enum class Kind : size_t { device, input, output, session, frame };
inline constexpr size_t kKindCount = 5;

/** Counts the object that has it as a member. */
class Tally {
public:
    explicit Tally(Kind kind);
    ~Tally();
    Tally(const Tally&) = delete;
    Tally& operator=(const Tally&) = delete;

private:
    Kind kind_;
};

void registerSession(Session& session);
/** For the session's destructor: afterwards nobody comes to hold it any more. */
void forgetSession(Session& session);
std::vector<Ref<Session>> sessions();

/** Throws std::bad_alloc. */
void enqueue(std::function<void()> work);
/** Runs it soon, in the order of asking, on the framework's thread for notifications and without any lock.
 * When memory runs out it is lost: an error cannot be told then. */
template <typename Work>
void tellLater(Work work) {
    try {
        enqueue(std::function<void()>(std::move(work)));
    } catch (const std::bad_alloc&) {
    }
}
/** Posts the runtime error, from the calling thread. */
void postRuntimeError(QTCaptureSession& session, int64_t code);

}  // namespace capture
