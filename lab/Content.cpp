#include "lab/Content.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "lab/Jpeg.h"

namespace lab {

namespace {

class FileReader final : public ContentReader {
public:
    FileReader(int descriptor, uint64_t size) : descriptor_(descriptor), size_(size) {}
    ~FileReader() override {
        if (mapping_ != nullptr) munmap(mapping_, size_);
        close(descriptor_);
    }
    FileReader(const FileReader&) = delete;
    FileReader& operator=(const FileReader&) = delete;

    uint64_t size() const override { return size_; }

    bool read(uint64_t offset, uint8_t* out, size_t count) override {
        while (count > 0) {
            const ssize_t got = pread(descriptor_, out, count, static_cast<off_t>(offset));
            if (got < 0 && errno == EINTR) continue;
            if (got <= 0) return false;
            offset += static_cast<uint64_t>(got);
            out += got;
            count -= static_cast<size_t>(got);
        }
        return true;
    }

    const uint8_t* mapping(uint64_t offset, size_t count) override {
        if (offset > size_ || count > size_ - offset) return nullptr;
        if (mapping_ == nullptr && size_ > 0) {
            void* mapped = mmap(nullptr, size_, PROT_READ, MAP_SHARED, descriptor_, 0);
            if (mapped != MAP_FAILED) mapping_ = static_cast<uint8_t*>(mapped);
        }
        if (mapping_ == nullptr) return nullptr;
        askForPages(offset, count);
        return mapping_ + offset;
    }

private:
    /** All at once: taken one by one as they are touched, they cost a quarter of a picture's transfer. Those
     *  that cannot be had are missed by whoever touches them. */
    void askForPages(uint64_t offset, size_t count) {
        const uint64_t before = offset % static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
        madvise(mapping_ + (offset - before), count + before, MADV_POPULATE_READ);
    }

    int descriptor_;
    uint64_t size_;
    uint8_t* mapping_ = nullptr;
};

class FileContent final : public Content {
public:
    explicit FileContent(std::string path) : path_(std::move(path)) {}

    uint64_t size() const override {
        struct stat status {};
        return stat(path_.c_str(), &status) == 0 && S_ISREG(status.st_mode)
                   ? static_cast<uint64_t>(status.st_size)
                   : 0;
    }

    std::unique_ptr<ContentReader> open() const override {
        // Without blocking: a path that became a pipe must not hold the camera.
        const int descriptor = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
        if (descriptor < 0) return nullptr;
        struct stat status {};
        if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
            close(descriptor);
            return nullptr;
        }
        return std::make_unique<FileReader>(descriptor, static_cast<uint64_t>(status.st_size));
    }

private:
    std::string path_;
};

class BytesReader final : public ContentReader {
public:
    explicit BytesReader(std::vector<uint8_t> bytes) : bytes_(std::move(bytes)) {}
    uint64_t size() const override { return bytes_.size(); }
    bool read(uint64_t offset, uint8_t* out, size_t count) override {
        if (offset > bytes_.size() || count > bytes_.size() - offset) return false;
        if (count > 0) std::memcpy(out, bytes_.data() + offset, count);
        return true;
    }
    const uint8_t* mapping(uint64_t offset, size_t count) override {
        return offset > bytes_.size() || count > bytes_.size() - offset ? nullptr : bytes_.data() + offset;
    }

private:
    std::vector<uint8_t> bytes_;
};

class NoiseReader final : public ContentReader {
public:
    NoiseReader(uint64_t size, uint64_t seed) : size_(size), seed_(seed) {}
    uint64_t size() const override { return size_; }
    bool read(uint64_t offset, uint8_t* out, size_t count) override {
        if (offset > size_ || count > size_ - offset) return false;
        fillNoise(seed_, offset, out, count);
        return true;
    }
    const uint8_t* mapping(uint64_t /*offset*/, size_t /*count*/) override { return nullptr; }

private:
    uint64_t size_;
    uint64_t seed_;
};

class MadeUpContent final : public Content {
public:
    MadeUpContent(uint64_t size, uint64_t seed, bool isJpeg) : size_(size), seed_(seed), isJpeg_(isJpeg) {}
    uint64_t size() const override { return size_; }
    std::unique_ptr<ContentReader> open() const override {
        if (!isJpeg_) return std::make_unique<NoiseReader>(size_, seed_);
        return std::make_unique<BytesReader>(jpegOfSize(size_, static_cast<unsigned>(seed_ % 256), seed_));
    }

private:
    uint64_t size_;
    uint64_t seed_;
    bool isJpeg_;
};

class RampContent final : public Content {
public:
    RampContent(unsigned width, unsigned height, unsigned phase)
        : width_(width), height_(height), phase_(phase) {}
    uint64_t size() const override { return rampJpeg(width_, height_, phase_).size(); }
    std::unique_ptr<ContentReader> open() const override {
        return std::make_unique<BytesReader>(rampJpeg(width_, height_, phase_));
    }

private:
    unsigned width_;
    unsigned height_;
    unsigned phase_;
};

}  // namespace

ContentRef fileContent(std::string path) {
    return std::make_shared<FileContent>(std::move(path));
}

ContentRef madeUpContent(uint64_t size, uint64_t seed, bool isJpeg) {
    return std::make_shared<MadeUpContent>(size, seed, isJpeg);
}

ContentRef rampContent(unsigned width, unsigned height, unsigned phase) {
    return std::make_shared<RampContent>(width, height, phase);
}

}  // namespace lab
