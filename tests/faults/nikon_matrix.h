/* nikon_matrix.h: runs one row of the Nikon fault matrix.
 *
 * First without a disturbance: the lab's trace tells every command that the method sends, polls apart. Then
 * once for each of them failing, coming late, and meeting a camera that goes while it is under way; once for
 * each poll refused; and once with completions that come late.
 *
 * After every case: the answer is one of the row's, files are whole or absent, other connections are served,
 * the camera is released, the module closed and loaded again.
 *
 * Thread: one thread at a time.
 * Errors: every deviation fails the test, with the row and the case.
 */
#pragma once

#include <memory>
#include <optional>

#include "tests/faults/nikon_row.h"

namespace e2e::faults {

class NikonMatrix {
public:
    explicit NikonMatrix(const NikonRow& row) : row_(row) {}

    void run();

private:
    enum class Mode { undisturbed, fails, late, vanishes, pollFails, slowCompletions };

    struct Step {
        std::string label;
        int64_t command = 0;
        /** Which of its command the step is, from 0. */
        int64_t occurrence = 0;
    };
    struct Case {
        Mode mode = Mode::undisturbed;
        Step step;
    };

    static std::string describe(const Case& c);
    void runCase(const Case& c);
    /** False when the camera went too late, and the case has to be run again with a longer delay. */
    bool attempt(const Case& c, std::chrono::milliseconds delay);
    void disturb(const Case& c, std::chrono::milliseconds delay);
    bool vanish(const Case& c);
    bool isUnderway(const Step& step);
    std::vector<Step> steps(bool polls);
    void judge(const Case& c, const Bytes& result);
    void judgeFiles();
    void endAndStartAnew(const Case& c, const Bytes& result);

    const NikonRow& row_;
    std::unique_ptr<NikonStage> stage_;
    std::vector<Step> commands_;
    size_t polls_ = 0;
};

}  // namespace e2e::faults
