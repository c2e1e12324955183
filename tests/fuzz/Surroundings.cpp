#include "tests/fuzz/Surroundings.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>

#include "TarvoRemote/NikonRemote.h"

void NikonRemote_statusCallback(int32_t) {}

void NikonRemote_progressCallback(int32_t) {}

// Visible, because the libraries' own calls come here, too.
extern "C" __attribute__((visibility("default"))) int __wrap_nanosleep(const timespec*, timespec*) {
    return 0;
}

namespace {

struct Folder {
    Folder() {
        // The log would be most of what a run does.
        if (std::freopen("/dev/null", "w", stdout) == nullptr) std::abort();
        std::string pattern = (std::filesystem::temp_directory_path() / "tarvo-fuzz-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) std::abort();
        path = pattern;
        picture = path / "picture";
    }
    ~Folder() { std::filesystem::remove_all(path); }

    std::filesystem::path path;
    std::string picture;
};

const Folder& folder() {
    static const Folder theFolder;
    return theFolder;
}

}  // namespace

const std::string& picturePath() {
    return folder().picture;
}

void removePictures() {
    for (const auto& entry : std::filesystem::directory_iterator(folder().path)) {
        std::filesystem::remove(entry.path());
    }
}
