#include "lab/Faults.h"

#include <algorithm>

#include "lab/Fields.h"
#include "lab/Trace.h"

namespace lab {

namespace {

/** Both names of the function stand for the one that there is. */
std::string_view canonicalName(std::string_view name) {
    return name == "EdsCreateFileStream" ? "EdsCreateFileStreamEx" : name;
}

bool hasNumber(const CallRecord& record, std::string_view key, int64_t value) {
    return std::any_of(record.numbers.begin(), record.numbers.end(),
                       [&](const auto& number) { return number.first == key && number.second == value; });
}

bool matches(const Fault& fault, const CallRecord& record) {
    if (fault.call != canonicalName(record.name)) return false;
    if (!fault.device.empty() && fault.device != record.device) return false;
    return std::all_of(fault.matches.begin(), fault.matches.end(),
                       [&](const auto& wanted) { return hasNumber(record, wanted.first, wanted.second); });
}

}  // namespace

bool splitCommand(Fault& fault) {
    const size_t colon = fault.call.find(':');
    if (colon == std::string::npos) return true;
    int64_t command = 0;
    if (!keyNumber(std::string_view(fault.call).substr(colon + 1), command)) return false;
    fault.matches.emplace_back("command", command);
    fault.call.resize(colon);
    return true;
}

Faults& Faults::instance() {
    static auto* faults = new Faults;
    return *faults;
}

void Faults::add(Fault fault) {
    fault.call = canonicalName(fault.call);
    const std::lock_guard guard(mutex_);
    faults_.push_back(std::move(fault));
}

void Faults::clear() {
    const std::lock_guard guard(mutex_);
    faults_.clear();
}

bool Faults::isAbout(std::string_view call) {
    const std::lock_guard guard(mutex_);
    return std::any_of(faults_.begin(), faults_.end(),
                       [&](const Fault& fault) { return fault.call == call; });
}

Verdict Faults::decide(const CallRecord& record) {
    const std::lock_guard guard(mutex_);
    for (auto fault = faults_.begin(); fault != faults_.end(); ++fault) {
        if (!matches(*fault, record)) continue;
        if (fault->skip > 0) {
            --fault->skip;
            continue;
        }
        ++fault->applied;
        Verdict verdict{fault->result, fault->delayMs};
        if (fault->times > 0 && --fault->times == 0) faults_.erase(fault);
        return verdict;
    }
    return {};
}

void Faults::write(JsonText& out) {
    const std::lock_guard guard(mutex_);
    out.key("faults").beginArray();
    for (const Fault& fault : faults_) {
        out.beginObject();
        out.key("call").text(fault.call);
        if (!fault.device.empty()) out.key("device").text(fault.device);
        for (const auto& [key, value] : fault.matches) {
            out.key(key).number(value);
        }
        if (fault.result) out.key("result").number(*fault.result);
        out.key("skip").number(fault.skip).key("times").number(fault.times);
        out.key("delayMs").number(fault.delayMs).key("applied").unsignedNumber(fault.applied);
        out.endObject();
    }
    out.endArray();
}

}  // namespace lab
