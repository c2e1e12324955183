#include "lab/Trace.h"

#include <algorithm>
#include <chrono>

namespace lab {

int64_t monotonicUs() {
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

Trace& Trace::instance() {
    // Never destroyed: calls of other threads may still end while the process exits.
    static auto* trace = new Trace;
    return *trace;
}

void Trace::begin(CallRecord& record) {
    const std::lock_guard guard(mutex_);
    record.seq = ++lastSeq_;
    record.beganUs = monotonicUs();
    underway_.push_back(&record);
}

void Trace::end(CallRecord& record) {
    const std::lock_guard guard(mutex_);
    std::erase(underway_, &record);
    const std::string* name = &*names_.emplace(record.name).first;
    Entry entry{record.seq,         record.beganUs, record.thread, name, std::move(record.device),
                record.args.take(), record.result};
    // A call goes to the place of its beginning; long ones find younger calls there already.
    const auto place = std::upper_bound(entries_.begin(), entries_.end(), record.seq,
                                        [](uint64_t seq, const Entry& other) { return seq < other.seq; });
    entries_.insert(place, std::move(entry));
    if (entries_.size() > kMostEntries) {
        entries_.pop_front();
        ++dropped_;
    }
}

void Trace::countDropped() {
    const std::lock_guard guard(mutex_);
    ++dropped_;
}

void Trace::writeEntry(JsonText& out, const Entry& entry) {
    out.beginObject();
    out.key("seq").unsignedNumber(entry.seq);
    out.key("us").number(entry.beganUs);
    out.key("thread").number(entry.thread);
    out.key("device");
    entry.device.empty() ? out.null() : out.text(entry.device);
    out.key("call").text(*entry.name);
    out.key("args").raw("{" + entry.args + "}");
    out.key("result");
    entry.result ? out.number(*entry.result) : out.null();
    out.endObject();
}

void Trace::writeUnderway(JsonText& out, const CallRecord& record) {
    out.beginObject();
    out.key("seq").unsignedNumber(record.seq);
    out.key("us").number(record.beganUs);
    out.key("thread").number(record.thread);
    out.key("call").text(record.name);
    out.endObject();
}

void Trace::write(JsonText& out, bool clear) {
    using namespace std::chrono;
    const std::lock_guard guard(mutex_);
    out.key("trace").beginArray();
    for (const Entry& entry : entries_) {
        writeEntry(out, entry);
    }
    out.endArray();
    out.key("underway").beginArray();
    for (const CallRecord* record : underway_) {
        writeUnderway(out, *record);
    }
    out.endArray();
    out.key("dropped").unsignedNumber(dropped_);
    out.key("nowUs").number(monotonicUs());
    out.key("nowWallUs").number(duration_cast<microseconds>(system_clock::now().time_since_epoch()).count());
    if (clear) {
        entries_.clear();
        dropped_ = 0;
    }
}

}  // namespace lab
