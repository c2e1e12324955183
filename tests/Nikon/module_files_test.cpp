// Where a module lies under the host's directory, and directories that leave no room for its name.
#include <gtest/gtest.h>

#include <string>

#include "Nikon/ModuleFiles.h"

namespace nikon {
namespace {

TEST(ModuleFiles, have_a_bundle_for_each_type) {
    const char* const expected[] = {
        "/D1 Module.bundle",       "/D2 Module.bundle",       "/D40 Module.bundle",
        "/D50 Module.bundle",      "/D70 Module.bundle",      "/D80 Module.bundle",
        "/D100 Module.bundle",     "/D200 Module.bundle",     "/Type0001 Module.bundle",
        "/Type0002 Module.bundle", "/Type0003 Module.bundle", "/Type0004 Module.bundle",
        "/Type0005 Module.bundle", "/Type0006 Module.bundle", "/Type0007 Module.bundle",
        "/Type0008 Module.bundle",
    };
    for (int32_t type = 0; type < 16; ++type) {
        ModuleFiles files;
        ASSERT_TRUE(findModuleFiles("/modules", type, &files));
        EXPECT_EQ(std::string(files.bundle), std::string("/modules") + expected[type]);
        EXPECT_STREQ(files.driver, "/modules/libNkPTPDriver.dylib");
    }
}

TEST(ModuleFiles, of_an_unknown_type_are_the_directory_itself) {
    for (const int32_t type : {-1, 16, 17, 255, INT32_MIN, INT32_MAX}) {
        ModuleFiles files;
        ASSERT_TRUE(findModuleFiles("/modules/Mine.bundle", type, &files));
        EXPECT_STREQ(files.bundle, "/modules/Mine.bundle");
        EXPECT_STREQ(files.driver, "/modules/Mine.bundle/libNkPTPDriver.dylib");
    }
}

TEST(ModuleFiles, take_the_directory_as_it_stands) {
    ModuleFiles files;
    ASSERT_TRUE(findModuleFiles("", 0, &files));
    EXPECT_STREQ(files.bundle, "/D1 Module.bundle");
    ASSERT_TRUE(findModuleFiles("modules/", 8, &files));
    EXPECT_STREQ(files.bundle, "modules//Type0001 Module.bundle");
    ASSERT_TRUE(findModuleFiles("%s%n", 8, &files));
    EXPECT_STREQ(files.bundle, "%s%n/Type0001 Module.bundle");
}

TEST(ModuleFiles, fill_their_buffers_and_no_more) {
    const size_t longest = kModulePathSize - 1;
    for (const auto& [type, name] : {std::pair{8, std::string("/Type0001 Module.bundle")},
                                     std::pair{99, std::string("/libNkPTPDriver.dylib")}}) {
        const std::string fits(longest - name.size(), 'd');
        ModuleFiles files;
        EXPECT_TRUE(findModuleFiles(fits.c_str(), type, &files));
        EXPECT_EQ(std::string(type == 8 ? files.bundle : files.driver), fits + name);
        EXPECT_FALSE(findModuleFiles((fits + 'd').c_str(), type, &files));
        EXPECT_EQ(std::string(files.bundle), fits + 'd');
        EXPECT_STREQ(files.driver, "");
    }
}

TEST(ModuleFiles, of_a_directory_that_does_not_fit_by_itself_keep_its_beginning) {
    ModuleFiles files;
    EXPECT_FALSE(findModuleFiles(std::string(2048, 'x').c_str(), 8, &files));
    EXPECT_EQ(std::string(files.bundle), std::string(kModulePathSize - 1, 'x'));
    EXPECT_FALSE(findModuleFiles(nullptr, 8, &files));
    EXPECT_STREQ(files.bundle, "");
}

}  // namespace
}  // namespace nikon
