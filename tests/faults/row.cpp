#include "tests/faults/row.h"

#include <algorithm>
#include <ostream>

namespace e2e::faults {

namespace {

Check isExactly(const Bytes& expected) {
    return [expected](const Outcome& outcome) {
        return outcome.result == expected
                   ? std::string()
                   : "answered " + hex(outcome.result) + " instead of " + hex(expected);
    };
}

int32_t firstInt(const Outcome& outcome) {
    return outcome.result.size() < 4 ? 0 : int32At(outcome.result, 0);
}

std::string callsOf(const Outcome& outcome) {
    std::string text;
    for (const VendorCall& call : outcome.calls) {
        text += "\n  " + call.label;
    }
    return text;
}

Check statusOfCall(std::string label, bool mustFail) {
    return [label = std::move(label), mustFail](const Outcome& outcome) -> std::string {
        const auto found = std::find_if(outcome.calls.rbegin(), outcome.calls.rend(),
                                        [&](const VendorCall& call) { return call.label == label; });
        if (found == outcome.calls.rend()) return label + " was not called, but" + callsOf(outcome);
        const int64_t status = found->result.value_or(-1);
        if (mustFail && status == 0) return label + " succeeded";
        return isExactly(Message().int32(status))(outcome);
    };
}

/** Not a dump of an object, for a sequence that may be long. */
std::string sizeText(const Bytes& frame) {
    return std::to_string(frame.size()) + " bytes";
}

}  // namespace

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.name;
}

std::string usual(const Outcome& outcome) {
    return outcome.result == outcome.usual ? std::string() : isExactly(outcome.usual)(outcome);
}

Check value(int32_t number) {
    return isExactly(Message().int32(number));
}

Check boolean(bool value) {
    return isExactly(Message().byte(value ? 1 : 0));
}

std::string nothing(const Outcome& outcome) {
    return isExactly({})(outcome);
}

Check text(std::string_view value) {
    return isExactly(Message().text(value));
}

Check ints(const std::vector<int32_t>& values) {
    Message expected;
    expected.int32(static_cast<int32_t>(values.size()));
    for (const int32_t value : values) {
        expected.int32(value);
    }
    return isExactly(expected);
}

Check failureOf(std::string label) {
    return statusOfCall(std::move(label), true);
}

Check statusOf(std::string label) {
    return statusOfCall(std::move(label), false);
}

std::string handle(const Outcome& outcome) {
    const int32_t value = firstInt(outcome);
    if (outcome.result.size() != 4 || value == 0 || value == 130) {
        return "answered " + hex(outcome.result) + " instead of a handle";
    }
    return {};
}

Check references(size_t count, bool isFirstOne) {
    return [count, isFirstOne](const Outcome& outcome) -> std::string {
        std::vector<int32_t> listed = Reader(outcome.result).ints();
        bool isRight = listed.size() == count;
        for (size_t i = 0; i < listed.size(); ++i) {
            isRight = isRight && (listed[i] != 0) == (i == 0 && isFirstOne);
        }
        return isRight ? std::string() : "answered the list " + hex(outcome.result);
    };
}

Check newFrame(int32_t bytes) {
    return [bytes](const Outcome& outcome) -> std::string {
        const auto size = static_cast<size_t>(bytes) + 4;
        if (outcome.result.size() != size || firstInt(outcome) != bytes) {
            return "answered a frame of " + sizeText(outcome.result);
        }
        return outcome.result == outcome.previousFrame ? "answered the frame before" : "";
    };
}

std::string noFrame(const Outcome& outcome) {
    return outcome.result == Bytes(4, 0) ? "" : "answered a frame of " + sizeText(outcome.result);
}

std::string previousFrame(const Outcome& outcome) {
    if (outcome.previousFrame.empty()) return "there was no frame before";
    return outcome.result == outcome.previousFrame ? "" : "answered another frame than the one before";
}

Bytes cameraArgument(const Stage& stage) {
    return Message().int32(stage.camera);
}

Bytes sessionArgument(const Stage& stage) {
    return Message().int32(stage.session);
}

void withLibrary(Stage& stage) {
    stage.initialize();
}

void withCamera(Stage& stage) {
    stage.listCameras();
}

void withSession(Stage& stage) {
    stage.listCameras();
    stage.openSession();
}

std::vector<Json> modernBody(const Json& more) {
    return {usualCamera(more)};
}

std::vector<Json> takePictureBody(const Json& more) {
    return {canonCamera("canon-1", "Canon EOS 40D", more)};
}

std::vector<Json> legacyBody(const Json& more) {
    return {legacyCamera(more)};
}

}  // namespace e2e::faults
