#include "frameworks/MAID/simulated/Processes.h"

#include <algorithm>
#include <chrono>

namespace maid {

namespace {

using Clock = std::chrono::steady_clock;
using lab::nikon::Body;
using lab::nikon::Outcome;

/** The completion comes when the exposure is over, and the items right after it. */
class Capture final : public Process {
public:
    explicit Capture(ObjectRef source)
        : source_(std::move(source)),
          due_(Clock::now() + std::chrono::milliseconds(source_->body->shutterLagMs())) {}

    std::optional<int32_t> work(bool isDue) override {
        if (!isThere(*source_)) return kMaidResultZombieObject;
        if (!isDue || Clock::now() < due_) return std::nullopt;
        return resultOf(source_->body->finishCapture(source_->link));
    }

    void cancel() override { source_->body->cancelCapture(source_->link); }

private:
    const ObjectRef source_;
    const Clock::time_point due_;
};

class Acquire final : public Process {
public:
    Acquire(ObjectRef image, std::unique_ptr<lab::ContentReader> reader)
        : image_(std::move(image)),
          reader_(std::move(reader)),
          total_(reader_->size()),
          blocks_(blockCount(image_->content->content.blocks, total_)),
          rate_(static_cast<uint64_t>(image_->body->transferBytesPerSecond())),
          began_(Clock::now()) {}

    std::optional<int32_t> work(bool /*isDue*/) override {
        while (block_ < blocks_) {
            if (!isThere(*image_)) return kMaidResultZombieObject;
            const uint64_t from = beginOf(block_);
            const uint64_t to = beginOf(block_ + 1);
            if (!hasArrived(to)) return std::nullopt;
            const int32_t answer = deliver(from, to - from);
            if (answer < 0) return answer;
            if (isCancelled_) return kMaidResultAborted;
            ++block_;
            if (block_ == blocks_) image_->body->itemAccepted(image_->content);
            reportProgress(to);
        }
        return kMaidResultNoError;
    }

    void cancel() override { isCancelled_ = true; }

private:
    static uint64_t blockCount(uint32_t wanted, uint64_t total) {
        constexpr uint64_t kUsualBlock = 65536;
        const uint64_t count = wanted > 0 ? wanted : (total + kUsualBlock - 1) / kUsualBlock;
        return std::clamp<uint64_t>(count, 1, std::max<uint64_t>(total, 1));
    }

    uint64_t beginOf(uint64_t block) const { return total_ * block / blocks_; }

    bool hasArrived(uint64_t bytes) const {
        if (rate_ == 0) return true;
        const std::chrono::duration<double> passed = Clock::now() - began_;
        return passed.count() * static_cast<double>(rate_) >= static_cast<double>(bytes);
    }

    int32_t deliver(uint64_t from, uint64_t length) {
        const auto procedure = image_->procedures.find(kMaidCapabilityDataProc);
        if (procedure == image_->procedures.end()) return kMaidResultNoDataProc;
        const NkMAIDCallback callback = procedure->second;
        buffer_.resize(length);
        if (!reader_->read(from, buffer_.data(), length)) return kMaidResultHardwareError;
        const lab::nikon::ShotItem& content = image_->content->content;
        NkMAIDFileInfo info{};
        info.base.type = content.flags;
        info.fileDataType = content.dataType;
        info.totalLength = static_cast<uint32_t>(total_);
        info.start = static_cast<uint32_t>(from);
        info.length = static_cast<uint32_t>(length);
        info.removeObject = content.isRemoved ? 1 : 0;
        return reinterpret_cast<MaidDataProc>(callback.proc)(callback.ref, &info, buffer_.data());
    }

    void reportProgress(uint64_t done) const {
        const auto procedure = image_->procedures.find(kMaidCapabilityProgressProc);
        if (procedure == image_->procedures.end()) return;
        const NkMAIDCallback callback = procedure->second;
        reinterpret_cast<MaidProgressProc>(callback.proc)(kMaidCommandCapStart, kMaidCapabilityAcquire,
                                                          callback.ref, static_cast<uint32_t>(done),
                                                          static_cast<uint32_t>(total_));
    }

    const ObjectRef image_;
    const std::unique_ptr<lab::ContentReader> reader_;
    const uint64_t total_;
    const uint64_t blocks_;
    const uint64_t rate_;
    const Clock::time_point began_;
    std::vector<uint8_t> buffer_;
    uint64_t block_ = 0;
    bool isCancelled_ = false;
};

}  // namespace

int32_t resultOf(Outcome outcome) {
    switch (outcome) {
        case Outcome::ok:
            return kMaidResultNoError;
        case Outcome::gone:
            return kMaidResultZombieObject;
        case Outcome::unsupported:
            return kMaidResultNotSupported;
        case Outcome::busy:
            return kMaidResultDeviceBusy;
        case Outcome::outOfBounds:
            return kMaidResultValueOutOfBounds;
        case Outcome::notReady:
            return kMaidResultUnexpectedError;
        case Outcome::unreadable:
            return kMaidResultHardwareError;
    }
    return kMaidResultUnexpectedError;
}

std::unique_ptr<Process> beginCapture(const ObjectRef& source, int32_t& refusal) {
    refusal = resultOf(source->body->beginCapture(source->link));
    if (refusal != kMaidResultNoError) return nullptr;
    return std::make_unique<Capture>(source);
}

std::unique_ptr<Process> beginAcquire(const ObjectRef& image, int32_t& refusal) {
    refusal = kMaidResultNoDataProc;
    if (!image->procedures.contains(kMaidCapabilityDataProc)) return nullptr;
    refusal = kMaidResultDeviceBusy;
    if (image->module->isWorkingOn(*image)) return nullptr;
    refusal = kMaidResultHardwareError;
    std::unique_ptr<lab::ContentReader> reader = image->content->content.content->open();
    // Lengths are 32-bit numbers in the interface.
    if (!reader || reader->size() > UINT32_MAX) return nullptr;
    refusal = kMaidResultNoError;
    return std::make_unique<Acquire>(image, std::move(reader));
}

}  // namespace maid
