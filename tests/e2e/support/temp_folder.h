/* temp_folder.h: a folder of a test's own, gone when the test ends.
 *
 * Thread: any.
 * Owns:   the folder and all in it.
 * Errors: none made, none removed: a test failure.
 */
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "tests/e2e/support/wire_values.h"

namespace e2e {

class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::string file(std::string_view name) const { return (path_ / name).string(); }
    /** The names of the files in the folder, sorted. */
    std::vector<std::string> names() const;

private:
    std::filesystem::path path_;
};

void writeFile(const std::string& path, const Bytes& content);
/** The content; empty, and a failure, when the file cannot be read. */
Bytes readFile(const std::string& path);
/** Made-up content that differs from place to place, so that a shifted or repeated piece shows. */
Bytes patternBytes(size_t count, uint32_t seed);

}  // namespace e2e
