#include "frameworks/MAID/simulated/CallArgs.h"

#include <charconv>
#include <cmath>
#include <string>

namespace maid {

namespace {

template <typename Record>
const Record& dataOf(const Command& command) {
    return *reinterpret_cast<const Record*>(command.data);
}

bool namesCapability(uint32_t command) {
    return command >= kMaidCommandCapStart && command <= kMaidCommandCapGetArray;
}

bool isRead(uint32_t command) {
    return command == kMaidCommandGetCapCount || command == kMaidCommandCapGet ||
           command == kMaidCommandCapGetDefault || command == kMaidCommandCapGetArray;
}

std::string realText(double value) {
    if (!std::isfinite(value)) return "null";
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    return {text, end};
}

void notePoint(lab::Call& call, const NkMAIDPoint& point) {
    call.json("value", "[" + std::to_string(point.x) + "," + std::to_string(point.y) + "]");
}

void noteValue(lab::Call& call, const Command& command) {
    const bool isAddress = command.dataType > kMaidDataUnsigned;
    if (isAddress && command.data == 0) {
        call.null("value");
        return;
    }
    switch (command.dataType) {
        case kMaidDataBoolean:
            call.number("value", static_cast<uint8_t>(command.data));
            return;
        case kMaidDataInteger:
            call.number("value", static_cast<int32_t>(static_cast<uint32_t>(command.data)));
            return;
        case kMaidDataUnsigned:
            call.number("value", static_cast<uint32_t>(command.data));
            return;
        case kMaidDataBooleanPtr:
            call.number("value", dataOf<uint8_t>(command));
            return;
        case kMaidDataIntegerPtr:
            call.number("value", dataOf<int32_t>(command));
            return;
        case kMaidDataUnsignedPtr:
            call.number("value", dataOf<uint32_t>(command));
            return;
        case kMaidDataPointPtr:
            notePoint(call, dataOf<NkMAIDPoint>(command));
            return;
        case kMaidDataRangePtr:
            call.json("value", realText(dataOf<NkMAIDRange>(command).value));
            return;
        case kMaidDataEnumPtr:
            call.number("value", dataOf<NkMAIDEnum>(command).value);
            return;
        default:
            return;
    }
}

}  // namespace

void noteCommand(lab::Call& call, const Object* object, const Command& command) {
    if (!lab::isObserved()) return;
    if (object != nullptr && object->body) call.device(object->body->id());
    if (object != nullptr || command.object == nullptr) {
        call.text("object", object == nullptr ? "" : object->path);
    } else {
        call.null("object");  // nothing that lives
    }
    call.number("command", command.number).number("param", command.param);
    call.number("dataType", command.dataType).flag("completion", command.completion != nullptr);
    if (namesCapability(command.number)) call.match("capability", command.param);
    if (command.number == kMaidCommandCapSet) noteValue(call, command);
}

void noteOutcome(lab::Call& call, const Command& command, int32_t result) {
    if (!lab::isObserved() || result != kMaidResultNoError) return;
    if (isRead(command.number)) noteValue(call, command);
}

}  // namespace maid
