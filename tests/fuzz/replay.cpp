/* Runs a fuzz target over files and folders of files: a corpus, or an input that once did harm. */
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size);

namespace {

namespace fs = std::filesystem;

void run(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    std::fprintf(stderr, "%s\n", path.filename().c_str());
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

int runAll(const fs::path& path) {
    if (fs::is_regular_file(path)) {
        run(path);
        return 1;
    }
    int count = 0;
    for (const auto& entry : fs::directory_iterator(path)) {
        run(entry.path());
        ++count;
    }
    return count;
}

}  // namespace

int main(int argc, char** argv) {
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        count += runAll(argv[i]);
    }
    std::fprintf(stderr, "%d inputs\n", count);
    return count > 0 ? 0 : 2;  // a corpus that has gone missing is no pass
}
