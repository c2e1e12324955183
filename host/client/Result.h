/* Result.h: how the client library says that something went wrong.
 *
 * Thread: plain records.
 * Errors: no exception leaves the library. A function answers an Error (false: all is well) or a Result,
 * whose value means something only when ok(). The text is a whole sentence for people, without a line end.
 *         Statuses that a camera answers are values, not errors: see ErrorText.h.
 */
#pragma once

#include <string>
#include <utility>

namespace tarvo {

enum class Failure {
    none,
    badArgument,     // nothing was sent
    notReachable,    // nobody listens there, or a process could not be started
    connectionLost,  // the other end closed, or the network failed
    timeout,
    wrongAnswer,  // what came is not what the helper sends: the two ends no longer agree where a value starts
    interrupted,  // the caller's interrupt descriptor became readable
    files,        // a file or folder could not be read or written
};

struct [[nodiscard]] Error {
    Failure failure = Failure::none;
    std::string text;

    explicit operator bool() const { return failure != Failure::none; }
};

template <class T>
struct [[nodiscard]] Result {
    Error error;
    T value{};

    bool ok() const { return !error; }
};

inline Error failed(Failure failure, std::string text) {
    return {failure, std::move(text)};
}

}  // namespace tarvo
