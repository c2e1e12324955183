// The tables of the client library for Nikon cameras.
#include <gtest/gtest.h>

#include <filesystem>

#include "host/client/NikonModules.h"
#include "host/client/NikonText.h"
#include "tests/host/TempFolder.h"

namespace {

std::vector<int32_t> typesIn(const std::string& folder) {
    std::vector<int32_t> types;
    for (const auto& module : tarvo::findNikonModules(folder))
        types.push_back(module.type);
    return types;
}

TEST(NikonModules, AreSixteenWithTheirTypesInOrder) {
    const auto modules = tarvo::nikonModules();
    ASSERT_EQ(modules.size(), 16U);
    for (size_t i = 0; i < modules.size(); ++i)
        EXPECT_EQ(modules[i].type, static_cast<int32_t>(i));
    EXPECT_STREQ(modules[5].name, "D80");
    EXPECT_STREQ(modules[8].name, "Type0001");
}

TEST(NikonModules, AreFoundByTheFoldersOfTheirBundles) {
    const fake::TempFolder folder;
    const std::filesystem::path path = folder.path();
    EXPECT_TRUE(typesIn(path.string()).empty());
    std::filesystem::create_directory(path / "D200 Module.bundle");
    std::filesystem::create_directory(path / "Type0008 Module.bundle");
    std::filesystem::create_directory(path / "D300 Module.bundle");  // no type has this name
    folder.write("D40 Module.bundle", "a file is no bundle");
    EXPECT_EQ(typesIn(path.string()), (std::vector<int32_t>{7, 15}));
    EXPECT_TRUE(typesIn((path / "nowhere").string()).empty());
}

TEST(NikonText, TellsWhatToDoAboutEachResult) {
    EXPECT_EQ(tarvo::nikonCaptureResults().size(), 5U);
    EXPECT_EQ(tarvo::nikonCheckResults().size(), 4U);
    for (const auto& text : tarvo::nikonCaptureResults()) {
        EXPECT_STRNE(text.advice, "") << text.result;
        EXPECT_NE(tarvo::nikonCaptureSentence(text.result).find(text.advice), std::string::npos);
    }
    EXPECT_TRUE(
        tarvo::nikonCheckSentence(-60).starts_with("result -60: the picture was not transferred whole"));
}

TEST(NikonText, KeepsTheTwoMeaningsOfTheSameNumberApart) {
    EXPECT_NE(tarvo::nikonCaptureSentence(-4), tarvo::nikonCheckSentence(-4));
    EXPECT_TRUE(tarvo::nikonCaptureSentence(-77).starts_with("result -77: a number that is not known here"));
}

}  // namespace
