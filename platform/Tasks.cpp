#include "platform/Tasks.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <memory>
#include <new>

namespace {

/* The stacks that callers ask for (2048, 4096 bytes) are from a time when a task did next to nothing on its
 * own stack. Here a task logs, runs GLib's loop and calls the camera libraries: after a session with a
 * picture and live view on the simulated ones 16 KiB of a task's stack were in use at the most (x86-64,
 * release build), the C library's thread-local data included. A vendor's library may want far more, so half a
 * mebibyte is given, which costs address space only: untouched pages take no memory. Sanitizers multiply the
 * frames. */
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr size_t stackFloor = size_t{2048} * 1024;
#else
constexpr size_t stackFloor = size_t{512} * 1024;
#endif

struct Start {
    TaskProc entry;
    void* parameter;
    MPTaskID number;
};

void nameThread(MPTaskID number) {
    std::array<char, 16> name{};  // the kernel keeps 15 characters
    std::snprintf(name.data(), name.size(), "task %llu", static_cast<unsigned long long>(number));
    pthread_setname_np(pthread_self(), name.data());
}

void* runTask(void* argument) {
    const std::unique_ptr<Start> owned(static_cast<Start*>(argument));
    const Start start = *owned;
    nameThread(start.number);
    start.entry(start.parameter);
    return nullptr;
}

size_t stackFor(size_t requested) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const auto least = static_cast<size_t>(std::max(sysconf(_SC_THREAD_STACK_MIN), 0L));
    const size_t size = std::max({requested, stackFloor, least});
    return (size + page - 1) / page * page;
}

class Attributes {
public:
    Attributes() { isReady_ = pthread_attr_init(&value_) == 0; }
    ~Attributes() {
        if (isReady_) {
            pthread_attr_destroy(&value_);
        }
    }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    bool set(size_t stackSize) {
        return isReady_ && pthread_attr_setdetachstate(&value_, PTHREAD_CREATE_DETACHED) == 0 &&
               pthread_attr_setstacksize(&value_, stackSize) == 0;
    }
    const pthread_attr_t* get() const { return &value_; }

private:
    pthread_attr_t value_{};
    bool isReady_ = false;
};

}  // namespace

OSStatus MPCreateTask(TaskProc entry, void* parameter, size_t stackSize, void* notifyQueue,
                      void* /*termination1*/, void* /*termination2*/, uint32_t options, MPTaskID* id) {
    if (entry == nullptr || notifyQueue != nullptr || options != 0) {
        return paramErr;
    }
    static std::atomic<MPTaskID> last{0};
    const MPTaskID number = ++last;
    std::unique_ptr<Start> start(new (std::nothrow) Start{entry, parameter, number});
    Attributes attributes;
    pthread_t thread{};
    if (start == nullptr || !attributes.set(stackFor(stackSize)) ||
        pthread_create(&thread, attributes.get(), runTask, start.get()) != 0) {
        return kMPInsufficientResourcesErr;
    }
    static_cast<void>(start.release());  // the new thread's now
    if (id != nullptr) {
        *id = number;
    }
    return noErr;
}
