#include "frameworks/QuickTime/gstreamer/MovieTables.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "frameworks/QuickTime/atoms/Atoms.h"

namespace movies {
namespace {

constexpr uint64_t kHeaderSize = 8;       // size and type, four bytes each
constexpr uint64_t kLongHeaderSize = 16;  // and a size of eight bytes behind them
constexpr uint32_t kSizeIsLong = 1;
constexpr uint32_t kReachesToEnd = 0;
/// A movie has a handful of atoms at its top, a fragmented one two for each fragment.
constexpr int kMostAtoms = 100'000;

struct Atom {
    uint32_t type;
    uint64_t size;
};

class File {
public:
    explicit File(const char* path) : descriptor_(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}
    ~File() {
        if (descriptor_ >= 0) close(descriptor_);
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    /** 0 for what has no size. */
    uint64_t size() const {
        struct stat status {};
        return fstat(descriptor_, &status) == 0 && status.st_size > 0 ? static_cast<uint64_t>(status.st_size)
                                                                      : 0;
    }
    size_t read(uint64_t offset, std::span<uint8_t> out) const {
        size_t done = 0;
        while (done < out.size()) {
            const ssize_t count =
                pread(descriptor_, out.data() + done, out.size() - done, static_cast<off_t>(offset + done));
            if (count < 0 && errno == EINTR) continue;
            if (count <= 0) break;
            done += static_cast<size_t>(count);
        }
        return done;
    }

private:
    int descriptor_;
};

/** Nothing when the file ends inside the header, or when the size is less than the header's own. */
std::optional<Atom> readAtom(const File& file, uint64_t offset, uint64_t end) {
    std::array<uint8_t, kLongHeaderSize> header{};
    const size_t count = file.read(offset, header);
    if (count < kHeaderSize) return {};
    const auto number = [&](size_t at) { return *atoms::readNumber(header, at, 4); };
    const Atom atom{.type = number(4), .size = number(0)};
    if (atom.size == kReachesToEnd) return Atom{atom.type, end - offset};
    if (atom.size != kSizeIsLong) return atom.size >= kHeaderSize ? std::optional(atom) : std::nullopt;
    if (count < kLongHeaderSize) return {};
    const uint64_t size = (uint64_t{number(8)} << 32) | number(12);
    return size >= kLongHeaderSize ? std::optional(Atom{atom.type, size}) : std::nullopt;
}

/** What a movie file may begin with; media data come first in files without a file type. */
bool mayBegin(uint32_t type) {
    using atoms::typeOf;
    return type == typeOf("ftyp") || type == typeOf("mdat") || type == typeOf("wide") ||
           type == typeOf("free") || type == typeOf("skip") || type == typeOf("moov");
}

}  // namespace

MovieTables lookForTables(const char* path) {
    const File file(path);
    const uint64_t end = file.size();
    uint64_t offset = 0;
    for (int i = 0; i < kMostAtoms; ++i) {
        if (offset > 0 && end - offset < kHeaderSize) return MovieTables::cutOff;
        const auto atom = readAtom(file, offset, end);
        if (!atom || (offset == 0 && !mayBegin(atom->type))) return MovieTables::notOfThisKind;
        if (atom->type == atoms::typeOf("moov")) return MovieTables::present;
        if (atom->size > end - offset) return MovieTables::cutOff;
        offset += atom->size;
    }
    return MovieTables::notOfThisKind;
}

}  // namespace movies
