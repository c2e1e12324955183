#include "platform/Bundles.h"

#include <dlfcn.h>
#include <plist/plist.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <mutex>
#include <vector>

namespace bundles {

namespace {

constexpr const char* kExecutableKey = "CFBundleExecutable";
/** Lists are a few kilobytes; whatever is larger is something else. */
constexpr std::streamoff kLongestList = 1 << 20;

struct Places {
    std::string list;
    std::string executables;
};

bool isFolder(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool isFile(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

Places placesIn(const std::string& bundle) {
    const std::string contents = bundle + "/Contents";
    if (isFolder(contents)) return {contents + "/Info.plist", contents + "/Linux/"};
    return {bundle + "/Info.plist", bundle + "/"};
}

/** Empty when it cannot be read. */
std::vector<char> readList(const std::string& path) {
    if (!isFile(path)) return {};
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    const std::streamoff size = file.tellg();
    if (size <= 0 || size > kLongestList) return {};
    std::vector<char> bytes(static_cast<size_t>(size));
    file.seekg(0);
    if (!file.read(bytes.data(), size)) return {};
    return bytes;
}

struct FreeList {
    void operator()(void* list) const { plist_free(list); }
};
using List = std::unique_ptr<void, FreeList>;

List parse(const std::vector<char>& bytes) {
    plist_t list = nullptr;
    const auto length = static_cast<uint32_t>(bytes.size());
    if (plist_is_binary(bytes.data(), length) != 0) {
        plist_from_bin(bytes.data(), length, &list);
    } else {
        plist_from_xml(bytes.data(), length, &list);
    }
    return List(list);
}

std::string textAt(const List& list, const char* key) {
    if (list == nullptr || plist_get_node_type(list.get()) != PLIST_DICT) return {};
    const plist_t node = plist_dict_get_item(list.get(), key);
    if (node == nullptr || plist_get_node_type(node) != PLIST_STRING) return {};
    char* text = nullptr;
    plist_get_string_val(node, &text);
    if (text == nullptr) return {};
    std::string copy = text;
    std::free(text);
    return copy;
}

/** One name of a file in a folder, not a way to some other folder. */
bool isPlainName(const std::string& name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

}  // namespace

std::unique_ptr<Bundle> Bundle::create(const std::string& path) {
    if (!isFolder(path)) return nullptr;
    return std::unique_ptr<Bundle>(new Bundle(path));
}

Bundle::~Bundle() {
    if (executable_ != nullptr) dlclose(executable_);
}

bool Bundle::loadExecutable() {
    if (executable_ != nullptr) return true;
    const Places places = placesIn(path_);
    const std::vector<char> bytes = readList(places.list);
    if (bytes.empty()) return false;
    const std::string name = textAt(parse(bytes), kExecutableKey);
    if (!isPlainName(name)) return false;
    executable_ = dlopen((places.executables + name).c_str(), RTLD_NOW | RTLD_LOCAL);
    return executable_ != nullptr;
}

void* Bundle::functionPointer(const char* name) const {
    return executable_ == nullptr ? nullptr : dlsym(executable_, name);
}

void keepLoaded(std::unique_ptr<Bundle> bundle) {
    // Never destroyed: unloading would run the module's own end under threads that may still be in it.
    static auto* const lock = new std::mutex;
    static auto* const kept = new std::vector<std::unique_ptr<Bundle>>;
    const std::lock_guard guard(*lock);
    kept->push_back(std::move(bundle));
}

bool loadLibrary(const std::string& path) {
    return dlopen(path.c_str(), RTLD_NOW) != nullptr;
}

}  // namespace bundles
