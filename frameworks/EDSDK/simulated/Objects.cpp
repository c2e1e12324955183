#include "frameworks/EDSDK/simulated/Objects.h"

#include <algorithm>

#include "frameworks/EDSDK/simulated/Streams.h"

namespace sim {

namespace {

constexpr EdsUInt32 kMostReferences = 0xFFFFFFFE;
constexpr uintptr_t kStep = 16;
/** Where references begin. Beyond the low 32 bits on wide machines, as a vendor's addresses would be: whoever
 *  squeezes one into an int shall notice. */
constexpr uintptr_t kFirst =
    sizeof(uintptr_t) > 4 ? uintptr_t{0x5E} << (sizeof(uintptr_t) * 8 - 24) : 0x10000;

uintptr_t numberOf(EdsBaseRef reference) {
    return reinterpret_cast<uintptr_t>(reference);
}

EdsBaseRef referenceOf(uintptr_t number) {
    return reinterpret_cast<EdsBaseRef>(number);
}

const Attachment* attachmentOf(const Object& object) {
    switch (object.kind) {
        case Kind::camera:
            return &static_cast<const Camera&>(object).at;
        case Kind::directoryItem:
            return &static_cast<const DirectoryItem&>(object).at;
        default:
            return nullptr;
    }
}

}  // namespace

const char* kindName(Kind kind) {
    switch (kind) {
        case Kind::cameraList:
            return "cameraList";
        case Kind::camera:
            return "camera";
        case Kind::directoryItem:
            return "directoryItem";
        case Kind::stream:
            return "stream";
        case Kind::evfImage:
            return "evfImage";
        case Kind::none:
            break;
    }
    return "";
}

Objects::Objects() : last_(kFirst) {}

Objects& Objects::instance() {
    // Never destroyed: calls of other threads may be under way while the process exits.
    static auto* objects = new Objects;
    return *objects;
}

EdsBaseRef Objects::insert(std::shared_ptr<Object> object) {
    last_ += kStep;
    table_.emplace(last_, Entry{std::move(object), 1});
    return referenceOf(last_);
}

EdsBaseRef Objects::add(std::shared_ptr<Object> object) {
    const std::lock_guard guard(mutex_);
    return isStarted_ ? insert(std::move(object)) : nullptr;
}

Objects::Table::const_iterator Objects::findCamera(const Attachment& attachment) const {
    return std::find_if(table_.begin(), table_.end(), [&](const auto& row) {
        if (row.second.object->kind != Kind::camera) return false;
        const Attachment& other = static_cast<const Camera&>(*row.second.object).at;
        return other.body == attachment.body && other.link == attachment.link;
    });
}

EdsBaseRef Objects::addCamera(const Attachment& attachment) {
    const std::lock_guard guard(mutex_);
    if (!isStarted_) return nullptr;
    const auto known = findCamera(attachment);
    if (known == table_.end()) return insert(std::make_shared<Camera>(attachment));
    Entry& entry = table_.at(known->first);
    if (entry.count < kMostReferences) ++entry.count;
    return referenceOf(known->first);
}

std::shared_ptr<Object> Objects::find(EdsBaseRef reference) const {
    const std::lock_guard guard(mutex_);
    const auto found = table_.find(numberOf(reference));
    return found == table_.end() ? nullptr : found->second.object;
}

std::shared_ptr<Camera> Objects::cameraAt(const Attachment& attachment) const {
    const std::lock_guard guard(mutex_);
    const auto found = findCamera(attachment);
    return found == table_.end() ? nullptr : std::static_pointer_cast<Camera>(found->second.object);
}

std::optional<EdsUInt32> Objects::retain(EdsBaseRef reference) {
    const std::lock_guard guard(mutex_);
    const auto found = table_.find(numberOf(reference));
    if (found == table_.end()) return std::nullopt;
    if (found->second.count < kMostReferences) ++found->second.count;
    return found->second.count;
}

std::optional<EdsUInt32> Objects::release(EdsBaseRef reference, std::shared_ptr<Object>& last) {
    const std::lock_guard guard(mutex_);
    const auto found = table_.find(numberOf(reference));
    if (found == table_.end()) return std::nullopt;
    if (--found->second.count > 0) return found->second.count;
    last = std::move(found->second.object);
    table_.erase(found);
    return 0;
}

void Objects::start() {
    const std::lock_guard guard(mutex_);
    isStarted_ = true;
}

std::vector<std::shared_ptr<Object>> Objects::stop() {
    const std::lock_guard guard(mutex_);
    std::vector<std::shared_ptr<Object>> left;
    for (auto& [number, entry] : table_) {
        left.push_back(std::move(entry.object));
    }
    table_.clear();
    isStarted_ = false;
    return left;
}

Counts Objects::counts() const {
    const std::lock_guard guard(mutex_);
    Counts counts;
    for (const auto& [number, entry] : table_) {
        const auto kind = static_cast<size_t>(entry.object->kind);
        ++counts.objects[kind];
        counts.references[kind] += entry.count;
    }
    return counts;
}

Counts Objects::countsOf(std::string_view device) const {
    const std::lock_guard guard(mutex_);
    Counts counts;
    for (const auto& [number, entry] : table_) {
        const Attachment* attachment = attachmentOf(*entry.object);
        if (attachment == nullptr || attachment->body->id() != device) continue;
        const auto kind = static_cast<size_t>(entry.object->kind);
        ++counts.objects[kind];
        counts.references[kind] += entry.count;
    }
    return counts;
}

}  // namespace sim
