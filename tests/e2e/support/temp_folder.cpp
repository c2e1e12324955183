#include "tests/e2e/support/temp_folder.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <random>

namespace e2e {

TempFolder::TempFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "tarvo-e2e-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) ADD_FAILURE() << "cannot make a folder like " << name;
    path_ = name;
}

TempFolder::~TempFolder() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
    EXPECT_FALSE(error) << "cannot remove " << path_ << ": " << error.message();
}

std::vector<std::string> TempFolder::names() const {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) {
        found.push_back(entry.path().filename().string());
    }
    std::sort(found.begin(), found.end());
    return found;
}

void writeFile(const std::string& path, const Bytes& content) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    file.close();
    EXPECT_TRUE(file) << "cannot write " << path;
}

Bytes readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << "cannot read " << path;
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

Bytes patternBytes(size_t count, uint32_t seed) {
    std::minstd_rand random(seed + 1);
    Bytes bytes(count);
    for (uint8_t& byte : bytes) {
        byte = static_cast<uint8_t>(random() >> 11);
    }
    return bytes;
}

}  // namespace e2e
