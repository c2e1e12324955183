/* lab_client.h: the hand in the camera lab: looks at the cameras, changes them, reads the trace.
 *
 * Thread: one thread at a time.
 * Owns:   its connection to the lab's socket.
 * Errors: a lab that does not answer, or answers with an error, fails the test (command() leaves the
 *         judgement to the caller).
 * Follows: docs/camera-lab.md.
 */
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "tests/e2e/support/patience.h"

namespace e2e {

using Json = nlohmann::json;

class LabClient {
public:
    explicit LabClient(const std::string& socketPath);
    ~LabClient();
    LabClient(const LabClient&) = delete;
    LabClient& operator=(const LabClient&) = delete;

    /** The answer as it comes, {"ok":false,…} included. */
    Json command(const Json& request);
    /** The same for a command that must succeed. */
    Json must(const Json& request);

    Json trace();
    void clearTrace();
    /** The trace's entries of one function, oldest first. */
    std::vector<Json> calls(std::string_view function);
    /** Only the names of the functions called, in order; those in `leaveOut` are not told. */
    std::vector<std::string> callNames(const std::vector<std::string>& leaveOut = {});
    /** Until the function has been called so often; fails the test when it is not. */
    bool waitForCalls(std::string_view function, size_t times = 1);

    /** What the lab tells of one device; a failure when it knows none of that name. */
    Json device(std::string_view id);
    Json get(std::string_view id, int property);
    void set(std::string_view id, int property, const Json& value);
    void press(std::string_view id);
    void detach(std::string_view id);
    void attach(const Json& device);
    /** The next call of the function answers `result` without being carried out; `more` may add
     *  "skip", "times", "delayMs", "property", "device". */
    void fault(std::string_view function, int64_t result, Json more = Json::object());
    /** The next call of the function is carried out late. */
    void delay(std::string_view function, std::chrono::milliseconds delay, Json more = Json::object());
    void clearFaults();

private:
    int descriptor_ = -1;
    bool gone_ = false;
    std::string received_;
};

/** A number of the trace, which may be written as a number or as text like "0x406". */
int64_t number(const Json& value);

}  // namespace e2e
