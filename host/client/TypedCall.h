/* TypedCall.h: a call whose result is one value.
 *
 * Thread: as CallConnection.h.
 * Errors: Result.h.
 */
#pragma once

#include <utility>

#include "host/client/CallConnection.h"

namespace tarvo {

/** Makes the call and takes its one result with `receive`, one of the functions in Wire.h. */
template <class T>
Result<T> makeTypedCall(CallConnection& connection, const CallConnection::Call& call,
                        const Arguments& arguments, Result<T> (*receive)(int, const Patience&)) {
    Result<T> result;
    result.error = connection.make(call, arguments, [&result, receive](int fd, const Patience& patience) {
        auto received = receive(fd, patience);
        result.value = std::move(received.value);
        return std::move(received.error);
    });
    return result;
}

}  // namespace tarvo
