// What the client library and the command know about Nikon cameras.
#include <gtest/gtest.h>

#include <filesystem>

#include "host/client/NikonModules.h"
#include "host/client/NikonText.h"
#include "host/tarvo/NikonAccess.h"
#include "host/tarvo/NikonSettings.h"
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

TEST(NikonSettings, AreKnownByNameAndByNumber) {
    ASSERT_TRUE(tarvo::findNikonSetting("mode"));
    EXPECT_EQ(tarvo::findNikonSetting("Mode")->capability, 0x8111);
    EXPECT_STREQ(tarvo::findNikonSetting("0x8116")->name, "metering");
    EXPECT_STREQ(tarvo::findNikonSetting("0x8112")->name, "");
    EXPECT_EQ(tarvo::findNikonSetting("0x8112")->capability, 0x8112);
    EXPECT_FALSE(tarvo::findNikonSetting("iso"));
}

TEST(NikonSettings, TakeAValueByItsTextOrAsMuchOfItAsTellsItApart) {
    const std::vector<std::string> options{"JPEG Basic",      "JPEG Fine", "RAW",
                                           "RAW + JPEG Fine", " 0 deg",    "-3 deg"};
    EXPECT_EQ(tarvo::findNikonValue("jpeg fine", options), 1);
    EXPECT_EQ(tarvo::findNikonValue("raw", options), 2) << "the whole text comes before a beginning";
    EXPECT_EQ(tarvo::findNikonValue("raw+jpeg", options), 3);
    EXPECT_EQ(tarvo::findNikonValue("0 deg", options), 4);
    EXPECT_EQ(tarvo::findNikonValue("-3", options), 5);
    EXPECT_FALSE(tarvo::findNikonValue("jpeg", options)) << "two begin with it";
    EXPECT_FALSE(tarvo::findNikonValue("tiff", options));
    EXPECT_FALSE(tarvo::findNikonValue("", options));
}

TEST(NikonSettings, TakeAValueByItsPlaceWhereTextsAreTheSame) {
    const std::vector<std::string> options{"Undefined String", "Undefined String"};
    EXPECT_FALSE(tarvo::findNikonValue("Undefined String", options));
    EXPECT_EQ(tarvo::findNikonValue("#1", options), 1);
    EXPECT_FALSE(tarvo::findNikonValue("#2", options));
    EXPECT_FALSE(tarvo::findNikonValue("#", options));
    EXPECT_FALSE(tarvo::findNikonValue("#1x", options));
    EXPECT_FALSE(tarvo::findNikonValue("#-1", options));
}

TEST(NikonNames, TellTheFamily) {
    EXPECT_TRUE(tarvo::namesNikon("nikon"));
    EXPECT_TRUE(tarvo::namesNikon("Nikon D80 #1"));
    EXPECT_FALSE(tarvo::namesNikon("D80"));
    EXPECT_TRUE(tarvo::hasText("Nikon D80 #1", "d80 #1"));
    EXPECT_FALSE(tarvo::hasText("Nikon D80 #1", "D90"));
}

}  // namespace
