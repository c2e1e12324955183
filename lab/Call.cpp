#include "lab/Call.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <new>
#include <thread>

#include "lab/Faults.h"
#include "lab/Trace.h"

namespace lab {

namespace {

std::atomic<bool> observed{false};

/** Asking the system for the thread's number costs a switch to the kernel; it never changes. */
pid_t threadId() {
    thread_local const pid_t id = gettid();
    return id;
}

void waitAs(const Verdict& verdict) {
    if (verdict.delayMs > 0) std::this_thread::sleep_for(std::chrono::milliseconds(verdict.delayMs));
}

}  // namespace

bool isObserved() {
    return observed.load(std::memory_order_relaxed);
}

void observe() {
    observed.store(true, std::memory_order_relaxed);
}

Call::Call(std::string_view name, std::string_view device) {
    if (!isObserved()) return;
    try {
        auto record = std::make_unique<CallRecord>();
        record->name = name;
        record->device = device;
        record->thread = threadId();
        Trace::instance().begin(*record);
        record_ = std::move(record);
    } catch (const std::bad_alloc&) {
        Trace::instance().countDropped();
    }
}

Call::~Call() {
    if (!record_) return;
    try {
        Trace::instance().end(*record_);
    } catch (const std::bad_alloc&) {
        Trace::instance().countDropped();
    }
}

/** An entry that memory does not suffice for is better lost than a call of the helper's. */
template <typename Work>
Call& Call::note(Work work) {
    if (!record_) return *this;
    try {
        work(*record_);
    } catch (const std::bad_alloc&) {
        Trace::instance().countDropped();
    }
    return *this;
}

Call& Call::device(std::string_view id) {
    return note([&](CallRecord& record) { record.device = id; });
}

Call& Call::number(std::string_view key, int64_t value) {
    return note([&](CallRecord& record) {
        record.args.key(key).number(value);
        record.numbers.emplace_back(key, value);
    });
}

Call& Call::match(std::string_view key, int64_t value) {
    return note([&](CallRecord& record) { record.numbers.emplace_back(key, value); });
}

Call& Call::flag(std::string_view key, bool value) {
    return note([&](CallRecord& record) { record.args.key(key).boolean(value); });
}

Call& Call::text(std::string_view key, std::string_view value) {
    return note([&](CallRecord& record) { record.args.key(key).text(value); });
}

Call& Call::bytes(std::string_view key, const void* data, size_t size) {
    return note([&](CallRecord& record) { record.args.key(key).hex(data, size); });
}

Call& Call::json(std::string_view key, std::string_view value) {
    return note([&](CallRecord& record) { record.args.key(key).raw(value); });
}

bool Call::refused() {
    if (!record_) return false;
    const Verdict verdict = Faults::instance().decide(*record_);
    waitAs(verdict);
    if (!verdict.result) return false;
    finish(*verdict.result);
    return true;
}

void Call::finish(int64_t result) {
    result_ = result;
    if (record_) record_->result = result;
}

std::optional<int64_t> faultAt(std::string_view name, std::string_view device) {
    if (!isObserved() || !Faults::instance().isAbout(name)) return std::nullopt;
    try {
        CallRecord record;
        record.name = name;
        record.device = device;
        record.thread = threadId();
        const Verdict verdict = Faults::instance().decide(record);
        if (!verdict.result && verdict.delayMs == 0) return std::nullopt;
        Trace::instance().begin(record);
        waitAs(verdict);
        record.result = verdict.result;
        Trace::instance().end(record);
        return verdict.result;
    } catch (const std::bad_alloc&) {
        Trace::instance().countDropped();
        return std::nullopt;
    }
}

}  // namespace lab
