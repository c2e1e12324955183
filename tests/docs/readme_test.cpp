// The program in README.md is run as it stands there.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/docs/Markdown.h"
#include "tests/e2e/support/helper_process.h"
#include "tests/e2e/support/temp_folder.h"

namespace docs {
namespace {

namespace fs = std::filesystem;

TEST(Readme, ExampleTakesAPicture) {
    const std::vector<Block> blocks = blocksOf(readPage("README.md"));
    const auto example = std::find_if(blocks.begin(), blocks.end(),
                                      [](const Block& block) { return block.language == "python"; });
    ASSERT_NE(example, blocks.end());

    // The build tree has the shape of the dist/ that the program names.
    const e2e::TempFolder folder;
    fs::create_directory_symlink(fs::canonical(e2e::helperPath()).parent_path().parent_path(),
                                 folder.path() / "dist");
    std::ofstream(folder.file("example.py")) << example->text();
    const std::string command = "cd '" + folder.path().string() + "' && python3 example.py >said 2>&1";
    const int status = std::system(command.c_str());

    const e2e::Bytes said = e2e::readFile(folder.file("said"));
    EXPECT_EQ(status, 0) << std::string(said.begin(), said.end());
    const e2e::Bytes picture = e2e::readFile(folder.file("frame0001.jpg"));
    ASSERT_GT(picture.size(), 4U);
    EXPECT_EQ(e2e::hex({picture.begin(), picture.begin() + 2}), "ff d8");
    EXPECT_EQ(e2e::hex({picture.end() - 2, picture.end()}), "ff d9");
}

}  // namespace
}  // namespace docs
