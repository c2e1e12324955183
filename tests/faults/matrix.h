/* matrix.h: runs one row of the fault matrix.
 *
 * First without a disturbance: the lab's trace tells every vendor call that the method makes on its
 * connection's thread, and they must be the row's, in its order, so that a call that is added to the method
 * has no place to hide. Then once for each of them failing, coming late, and meeting a camera that vanishes
 * while it is under way.
 *
 * After every case: the answer is the row's, the host was told of a lost picture and of no other, files are
 * whole or absent, no reference is left behind or given back twice, and the next call is served.
 *
 * Thread: one thread at a time.
 * Errors: every deviation fails the test, with the row, the case and the calls.
 */
#pragma once

#include <chrono>
#include <memory>

#include "tests/faults/row.h"

namespace e2e::faults {

enum class Mode { undisturbed, fails, late, vanishes };

class Matrix {
public:
    explicit Matrix(const Row& row) : row_(row) {}

    void run();

private:
    /** What one case does and needs to know. */
    struct Case {
        Mode mode = Mode::undisturbed;
        size_t step = 0;
        /** Which call of its name the step is, from 0. */
        int64_t occurrence = 0;
        const Step* disturbed = nullptr;
    };
    struct Traced {
        std::vector<VendorCall> calls;
        std::vector<Json> underway;
    };

    bool hasStandingFault(const std::string& name) const;
    void runCase(const Case& c);
    /** False when the camera went too late, and the case has to be run again with a longer delay. */
    bool attempt(const Case& c, std::chrono::milliseconds delay);
    void disturb(const Case& c, std::chrono::milliseconds delay);
    bool vanish(const Case& c, std::chrono::steady_clock::time_point end);
    std::optional<Json> findUnderway(const Case& c);
    Traced trace();

    bool learnsOfShutdown(const Case& c) const;
    void collectEvents(const Case& c);
    void judge(const Case& c, const Outcome& outcome);
    void judgeCalls(const Case& c, const Outcome& outcome);
    void judgePictures(const Outcome& outcome);
    void judgeFiles(bool isWhole);
    void judgeReferences(const Case& c, const References& before);
    void expectOthersServed();
    void judgeNextCall(const Case& c);
    void noteSession(const Case& c, const Outcome& outcome);
    int64_t refusedReleases(const Case& c, const std::string& kind) const;

    const Row& row_;
    std::unique_ptr<Stage> stage_;
    Bytes usual_;
    std::vector<std::string> filesBefore_;
    size_t picturesBefore_ = 0;
};

}  // namespace e2e::faults
