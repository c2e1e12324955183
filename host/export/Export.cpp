/* The export library: writes beside the output and puts the whole file in its place at the end. */
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>

#include "frameworks/QuickTime/gstreamer/Gst.h"
#include "host/export/ExportPipeline.h"

namespace tarvo {
namespace {

/** A file that is gone when its scope ends, unless it was put into its place. */
class Unfinished {
public:
    explicit Unfinished(const std::string& output)
        : output_(output), path_(output + ".part-" + std::to_string(getpid())) {}
    ~Unfinished() {
        unlink(path_.c_str());
        unlink((path_ + ".frames").c_str());
    }
    Unfinished(const Unfinished&) = delete;
    Unfinished& operator=(const Unfinished&) = delete;

    const std::string& path() const { return path_; }
    /** 0, or errno. */
    int create() const {
        const int file = open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0666);
        if (file < 0) return errno;
        close(file);
        return 0;
    }
    int finish() const {
        const int file = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
        const bool isSafe = file >= 0 && fsync(file) == 0;
        const int reason = isSafe ? 0 : errno;
        if (file >= 0) close(file);
        if (reason != 0) return reason;
        return rename(path_.c_str(), output_.c_str()) == 0 ? 0 : errno;
    }

private:
    const std::string output_;
    const std::string path_;
};

ExportResult notWritable(const std::string& path, int reason, std::string& problem) {
    problem = path + " cannot be written: " + std::strerror(reason);
    return ExportResult::notWritable;
}

ExportResult runExport(const ExportJob& job, const ExportWatch& watch, std::string& problem) {
    if (!movies::startGst()) {
        problem = "GStreamer does not start";
        return ExportResult::failed;
    }
    const Unfinished file(job.output);
    ExportPipeline pipeline(job, file.path());
    ExportResult result = pipeline.prepare(problem);
    if (result != ExportResult::done) return result;
    if (const int reason = file.create(); reason != 0) return notWritable(job.output, reason, problem);
    result = pipeline.run(watch, problem);
    if (result != ExportResult::done) return result;
    const int reason = file.finish();
    return reason == 0 ? ExportResult::done : notWritable(job.output, reason, problem);
}

}  // namespace
}  // namespace tarvo

extern "C" __attribute__((visibility("default"))) tarvo::ExportResult tarvoExport(
    const tarvo::ExportJob& job, const tarvo::ExportWatch& watch, std::string& problem) {
    try {
        return tarvo::runExport(job, watch, problem);
    } catch (const std::exception& error) {
        problem = error.what();
        return tarvo::ExportResult::failed;
    }
}
