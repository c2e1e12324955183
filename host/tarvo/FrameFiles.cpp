#include "host/tarvo/FrameFiles.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>

#include "host/client/Descriptor.h"
#include "host/client/protocol.h"

namespace tarvo {
namespace {

namespace fs = std::filesystem;

constexpr int kDigits = 4;

Error fileError(const fs::path& path, const std::string& what, int number) {
    return failed(Failure::files, path.string() + ": " + what + ": " + std::strerror(number));
}

// Answers 0 or an errno. Some file systems cannot rename without replacing; there a look beforehand has to
// do.
int renameFile(const fs::path& from, const fs::path& to, bool mayOverwrite) {
    if (mayOverwrite) return std::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL && errno != ENOSYS) return errno;
    if (::access(to.c_str(), F_OK) == 0) return EEXIST;
    return std::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

/** Answers 0 or an errno. */
int writeInto(const fs::path& path, int flags, std::span<const uint8_t> bytes) {
    Descriptor fd{::open(path.c_str(), flags | O_CLOEXEC, 0666)};
    if (!fd.isOpen()) return errno;
    while (!bytes.empty()) {
        const ssize_t done = ::write(fd.get(), bytes.data(), bytes.size());
        if (done < 0 && errno == EINTR) continue;
        if (done < 0) return errno;
        bytes = bytes.subspan(static_cast<size_t>(done));
    }
    return ::close(fd.release()) == 0 ? 0 : errno;
}

}  // namespace

FrameFiles::~FrameFiles() {
    if (arrival_.empty()) return;
    std::error_code ignored;
    fs::remove_all(arrival_, ignored);
}

Error FrameFiles::open(const std::string& path, bool mayOverwrite) {
    mayOverwrite_ = mayOverwrite;
    std::error_code problem;
    fs::path wanted = path;
    if (path.empty()) return failed(Failure::badArgument, "the path is empty");
    const bool isFolder = path.ends_with('/') || fs::is_directory(wanted, problem);
    prefix_ = isFolder ? "frame" : wanted.filename().string();
    shownFolder_ = isFolder ? wanted : wanted.parent_path();
    folder_ = fs::absolute(shownFolder_.empty() ? fs::path(".") : shownFolder_, problem).lexically_normal();
    fs::create_directories(folder_, problem);
    if (problem) return failed(Failure::files, folder_.string() + ": cannot be made: " + problem.message());

    std::string name = (folder_ / ".tarvo-arriving-XXXXXX").string();
    // As other folders are made here: the helper may run under another name.
    if (::mkdtemp(name.data()) == nullptr) return fileError(folder_, "cannot be written", errno);
    arrival_ = name;
    struct stat like {};
    if (::stat(folder_.c_str(), &like) == 0) (void)::chmod(arrival_.c_str(), like.st_mode & 0777);

    const size_t length = arrivalPath(1).size();
    if (length > kLongestPicturePath) {
        return failed(Failure::badArgument,
                      fmt::format("the path is too long: {} bytes, of which the helper takes {}", length,
                                  kLongestPicturePath));
    }
    return {};
}

std::string FrameFiles::nameOf(int number) const {
    return fmt::format("{}{:0{}}", prefix_, number, kDigits);
}

std::string FrameFiles::arrivalPath(int number) const {
    return (arrival_ / nameOf(number)).string();
}

fs::path FrameFiles::finalPath(int number, const std::string& extension) const {
    return shownFolder_ / (nameOf(number) + extension);
}

std::string FrameFiles::findTaken(int first, int count) const {
    std::string taken;
    int lowest = 0;
    std::error_code problem;
    for (const auto& entry : fs::directory_iterator(folder_, problem)) {
        const auto stem = entry.path().stem().string();
        if (!stem.starts_with(prefix_) || entry.is_directory(problem)) continue;
        int number = 0;
        const char* digits = stem.data() + prefix_.size();
        const auto parsed = std::from_chars(digits, stem.data() + stem.size(), number);
        if (parsed.ec != std::errc() || parsed.ptr != stem.data() + stem.size()) continue;
        if (number < first || number - first >= count || stem != nameOf(number)) continue;
        if (taken.empty() || number < lowest) {
            lowest = number;
            taken = (shownFolder_ / entry.path().filename()).string();
        }
    }
    return taken;
}

int FrameFiles::nextNumber() const {
    int highest = 0;
    std::error_code problem;
    for (const auto& entry : fs::directory_iterator(folder_, problem)) {
        const auto stem = entry.path().stem().string();
        if (!stem.starts_with(prefix_)) continue;
        int number = 0;
        const char* digits = stem.data() + prefix_.size();
        const auto parsed = std::from_chars(digits, stem.data() + stem.size(), number);
        const bool isFrame = parsed.ec == std::errc() && parsed.ptr != digits;
        if (isFrame) highest = std::max(highest, number);
    }
    return highest + 1;
}

std::vector<fs::path> FrameFiles::arrived() const {
    std::vector<fs::path> files;
    std::error_code problem;
    for (const auto& entry : fs::directory_iterator(arrival_, problem))
        files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

FrameFiles::Published FrameFiles::publish(int number, const std::string& suffix) {
    Published published;
    for (const auto& file : arrived()) {
        std::error_code problem;
        const auto size = fs::file_size(file, problem);
        if (problem || size == 0) {
            fs::remove(file, problem);
            published.error =
                failed(Failure::files, file.filename().string() + " arrived empty and was removed");
            continue;
        }
        const auto extension = file.extension().string();
        int status = EEXIST;
        // A second picture of the same kind gets a name of its own: nothing that the camera made is lost.
        for (int copy = 1; status == EEXIST && copy < 1000; ++copy) {
            const auto more = copy == 1 ? suffix : suffix + "-" + std::to_string(copy);
            const fs::path name = nameOf(number) + more + extension;
            status = renameFile(file, folder_ / name, mayOverwrite_ && !own_.contains(name));
            if (status != 0) continue;
            own_.insert(name);
            published.files.push_back(shownFolder_ / name);
        }
        if (status != 0) published.error = fileError(file.filename(), "cannot be given its name", status);
    }
    return published;
}

void FrameFiles::discard() {
    std::error_code ignored;
    for (const auto& file : arrived())
        fs::remove_all(file, ignored);
}

Error FrameFiles::writeAtomically(const fs::path& path, std::span<const uint8_t> bytes, bool mayOverwrite) {
    struct stat there {};
    if (::stat(path.c_str(), &there) == 0 && !S_ISREG(there.st_mode)) {
        const int status = writeInto(path, O_WRONLY, bytes);
        return status == 0 ? Error{} : fileError(path, "cannot be written", status);
    }
    const fs::path arriving = path.string() + fmt::format(".tarvo-arriving-{}", ::getpid());
    int status = writeInto(arriving, O_WRONLY | O_CREAT | O_TRUNC, bytes);
    if (status == 0) status = renameFile(arriving, path, mayOverwrite);
    if (status == 0) return {};
    ::unlink(arriving.c_str());
    return fileError(path, "cannot be written", status);
}

}  // namespace tarvo
