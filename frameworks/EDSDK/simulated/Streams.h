/* Streams.h: where the library puts what comes from a camera: a file, or memory that grows.
 *
 * Thread: any; each stream guards itself, so that a caller who looks at one while it fills finds a whole
 *         number of steps in it. Progress callbacks are called without any lock held.
 * Owns:   a file stream its descriptor, a memory stream its bytes. A pointer into memory lasts until more is
 *         written or the stream goes.
 * Errors: the vendor's numbers; a write that the system did in part only is carried on, and one that it
 *         refuses is told at once.
 */
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "EDSDK.h"
#include "frameworks/EDSDK/simulated/Objects.h"
#include "lab/Content.h"

namespace sim {

/** Whom to tell how far a transfer is. */
struct Progress {
    EdsProgressCallback callback = nullptr;
    EdsProgressOption option = kEdsProgressOption_NoReport;
    EdsVoid* context = nullptr;
};

class Stream : public Object {
public:
    static constexpr Kind kKind = Kind::stream;
    Stream() : Object(kKind) {}

    /** Appends `count` bytes of the content, from `offset` on. */
    virtual EdsError append(lab::ContentReader& content, uint64_t offset, uint64_t count) = 0;
    /** Makes it empty, to be filled from the beginning again. */
    virtual EdsError rewind() = 0;
    /** All that was appended has arrived where it belongs, or the reason why not. */
    virtual EdsError settle() = 0;
    virtual EdsError length(EdsUInt64& out) = 0;
    /** EDS_ERR_NOT_SUPPORTED for streams that have no memory of their own. */
    virtual EdsError pointer(EdsVoid*& out) = 0;

    void setProgress(Progress progress);
    Progress progress() const;

protected:
    mutable std::mutex mutex_;  // a leaf; guards all that a stream has

private:
    Progress progress_;
};

/** Opens or makes a file by the rules of the disposition. */
EdsError openFileStream(const char* path, EdsFileCreateDisposition disposition, EdsAccess access,
                        std::shared_ptr<Stream>& out);
std::shared_ptr<Stream> makeMemoryStream(EdsUInt64 bufferSize);

/** A frame of the live view: a stream with the picture in it, and what the camera said about it. */
struct EvfImage final : Object {
    static constexpr Kind kKind = Kind::evfImage;
    explicit EvfImage(std::shared_ptr<Stream> imageStream) : Object(kKind), stream(std::move(imageStream)) {}
    const std::shared_ptr<Stream> stream;
    std::mutex mutex;  // a leaf; guards what follows
    std::string device;
    std::map<uint32_t, lab::canon::Value> values;  // empty until a frame has arrived
};

}  // namespace sim
