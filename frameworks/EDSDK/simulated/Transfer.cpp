#include "frameworks/EDSDK/simulated/Transfer.h"

#include <algorithm>
#include <chrono>

#include "frameworks/EDSDK/simulated/Library.h"

namespace sim {

namespace {

using Clock = std::chrono::steady_clock;
using lab::canon::Body;

constexpr EdsUInt32 kAll = 100;

/** How many bytes go in one step. */
uint64_t stepBytes(uint64_t size, uint64_t bytesPerSecond) {
    constexpr uint64_t kLargest = 1048576;
    constexpr uint64_t kStepsPerSecond = 50;  // an unplugged cable is felt in the middle of a second
    constexpr uint64_t kSteps = 10;
    const uint64_t step =
        bytesPerSecond > 0 ? bytesPerSecond / kStepsPerSecond : (size + kSteps - 1) / kSteps;
    return std::clamp<uint64_t>(step, 1, kLargest);
}

/** One transfer, from the camera's permission to its end. */
class Run {
public:
    Run(const DirectoryItem& item, Stream& stream)
        : body_(*item.at.body),
          link_(item.at.link),
          picture_(item.picture),
          stream_(stream),
          reporter_(stream.progress()) {}

    EdsError operator()(uint64_t size) {
        uint64_t from = 0;
        EdsError error = errorOf(body_.beginTransfer(link_, picture_, from));
        if (error != kOk) return error;
        try {
            error = move(from, size);
        } catch (...) {
            body_.endTransfer(picture_, from);
            throw;
        }
        body_.endTransfer(picture_, error == kOk ? from + size : from);
        if (error == kOk) reporter_.finished();
        return error;
    }

private:
    EdsError move(uint64_t from, uint64_t size) {
        if (size > picture_->size - from) return EDS_ERR_INVALID_LENGTH;
        const std::unique_ptr<lab::ContentReader> content = picture_->content->open();
        if (!content || content->size() != picture_->size) return EDS_ERR_DEVICE_INTERNAL_ERROR;
        const auto rate = static_cast<uint64_t>(body_.transferBytesPerSecond());
        const uint64_t step = stepBytes(size, rate);
        const Clock::time_point began = Clock::now();
        for (uint64_t done = 0; done < size;) {
            const uint64_t count = std::min(step, size - done);
            EdsError error = arrive(began, done + count, rate);
            if (error == kOk) error = stream_.append(*content, from + done, count);
            if (error != kOk) return error;
            done += count;
            if (!reporter_.reached(done, size)) return EDS_ERR_OPERATION_CANCELLED;
        }
        return stream_.settle();
    }

    /** Waits until so many bytes can have come through the cable. */
    EdsError arrive(Clock::time_point began, uint64_t bytes, uint64_t rate) const {
        if (rate > 0) {
            const std::chrono::duration<double> needed(static_cast<double>(bytes) /
                                                       static_cast<double>(rate));
            const auto due = began + std::chrono::duration_cast<Clock::duration>(needed);
            if (const EdsError error = errorOf(body_.waitUntil(link_, due)); error != kOk) return error;
        }
        return errorOf(body_.checkPicture(link_, picture_));
    }

    Body& body_;
    const lab::canon::Link link_;
    const lab::canon::PictureRef& picture_;
    Stream& stream_;
    Reporter reporter_;
};

}  // namespace

bool Reporter::reached(uint64_t done, uint64_t total) {
    constexpr EdsUInt32 kBetweenReports = 10;  // percent
    constexpr std::chrono::milliseconds kMostSilence{100};
    if (progress_.option != kEdsProgressOption_Periodically || done >= total) return true;
    const auto percent =
        static_cast<EdsUInt32>(static_cast<double>(done) * kAll / static_cast<double>(total));
    const Clock::time_point now = Clock::now();
    const bool isDue =
        percent >= last_ + kBetweenReports || (percent > last_ && now - lastAt_ >= kMostSilence);
    if (!isDue) return true;
    lastAt_ = now;
    return tell(percent);
}

void Reporter::finished() {
    if (progress_.option != kEdsProgressOption_NoReport) tell(kAll);
}

bool Reporter::tell(EdsUInt32 percent) {
    last_ = percent;
    if (progress_.callback == nullptr) return true;
    EdsBool isCancelled = 0;
    progress_.callback(percent, progress_.context, &isCancelled);
    return isCancelled == 0;
}

EdsError transfer(const DirectoryItem& item, EdsUInt64 size, Stream& stream) {
    return Run(item, stream)(size);
}

}  // namespace sim
