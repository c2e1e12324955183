/* Services.h: devices and interfaces as the system's registry knows them, and lists of them.
 *
 * Thread: any; an iterator belongs to one thread.
 * Owns:   an iterator the services that it has not handed out yet.
 */
#pragma once

#include <utility>
#include <vector>

#include "frameworks/USB/simulated/Bus.h"

namespace bus {

class Service final : public IOService {
public:
    Service(Attachment attachment, IOUserClientType clientType)
        : at(std::move(attachment)), type(clientType) {}

    const Attachment at;
    const IOUserClientType type;

private:
    ~Service() override = default;
    const Tally tally_{Kind::service};
};

class Iterator final : public IOIterator {
public:
    explicit Iterator(std::vector<Ref<Service>> services) : services_(std::move(services)) {}
    IOService* next() override;

private:
    ~Iterator() override = default;

    std::vector<Ref<Service>> services_;
    size_t next_ = 0;
    const Tally tally_{Kind::iterator};
};

}  // namespace bus
