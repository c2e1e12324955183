#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "Nikon/Function.h"

namespace {

namespace fs = std::filesystem;
using namespace nikon;

class LoadingTest : public testing::Test {
protected:
    LoadingTest() {
        std::string pattern = (fs::temp_directory_path() / "tarvo-modules-XXXXXX").string();
        folder = mkdtemp(pattern.data());
        bundle = folder / "Type0001 Module.bundle";
        driver = folder / "libNkPTPDriver.dylib";
        fs::create_directories(bundle / "Contents/Linux");
        std::ofstream(bundle / "Contents/Info.plist")
            << "<plist version=\"1.0\"><dict><key>CFBundleExecutable</key>"
               "<string>Type0001 Module</string></dict></plist>";
    }
    ~LoadingTest() override { fs::remove_all(folder); }

    void haveCode(const char* code) const { fs::copy_file(code, bundle / "Contents/Linux/Type0001 Module"); }

    int load(const std::string& path) {
        testing::internal::CaptureStdout();
        const int result = Load_Module(&root, driver.c_str(), path.c_str());
        log = testing::internal::GetCapturedStdout();
        return result;
    }
    int load() { return load(bundle); }

    fs::path folder;
    fs::path bundle;
    fs::path driver;
    std::string log;
    tagRefObj root{};
};

TEST_F(LoadingTest, StoresTheEntryPoint) {
    haveCode(TARVO_TEST_MODULE);
    EXPECT_EQ(load(), 0) << "a missing driver is no failure";
    EXPECT_EQ(log, "");
    ASSERT_NE(root.entryPoint, nullptr);
    EXPECT_EQ(CallMAIDEntryPoint(&root, 0, 0, 0, 0, nullptr, nullptr), 1002);
}

TEST_F(LoadingTest, OpensTheDriverFirst) {
    unsetenv("TARVO_TEST_DRIVER");
    haveCode(TARVO_TEST_MODULE);
    fs::copy_file(TARVO_TEST_DRIVER, driver);
    EXPECT_EQ(load(), 0);
    EXPECT_EQ(CallMAIDEntryPoint(&root, 0, 0, 0, 0, nullptr, nullptr), 1001);
    unsetenv("TARVO_TEST_DRIVER");
}

TEST_F(LoadingTest, KeepsTheModuleForTheLifeOfTheProcess) {
    haveCode(TARVO_TEST_MODULE);
    EXPECT_EQ(load(), 0);
    const MaidEntryPoint first = root.entryPoint;
    EXPECT_EQ(load(), 0);
    EXPECT_EQ(root.entryPoint, first);
}

TEST_F(LoadingTest, APathThatIsNoTextIsToldApart) {
    EXPECT_EQ(load(""), -10);
    const fs::path foreign = folder / "M\xC3\xBCller.bundle";
    fs::copy(bundle, foreign, fs::copy_options::recursive);
    EXPECT_EQ(load(foreign), -10);
    EXPECT_EQ(log, "");
    EXPECT_EQ(root.entryPoint, nullptr);
}

TEST_F(LoadingTest, AMissingBundleIsToldApart) {
    EXPECT_EQ(load(folder / "Type0002 Module.bundle"), -11);
    EXPECT_EQ(log, "NikonMaid: Can't CFBundleCreate\n");
    std::ofstream(folder / "file") << "text";
    EXPECT_EQ(load(folder / "file"), -11);
    EXPECT_EQ(root.entryPoint, nullptr);
}

TEST_F(LoadingTest, AnExecutableThatCannotBeLoadedIsToldApart) {
    EXPECT_EQ(load(), -12);
    EXPECT_EQ(log, "NikonMaid: Can't CFBundleLoadExecutable\n");
    std::ofstream(bundle / "Contents/Linux/Type0001 Module") << "no code";
    EXPECT_EQ(load(), -12);
    EXPECT_EQ(load(folder), -12) << "a folder that is no bundle";
    EXPECT_EQ(log, "NikonMaid: Can't CFBundleLoadExecutable\n");
    EXPECT_EQ(root.entryPoint, nullptr);
}

TEST_F(LoadingTest, AnExecutableWithoutTheEntryPointIsToldApart) {
    haveCode(TARVO_TEST_DRIVER);
    EXPECT_EQ(load(), -13);
    EXPECT_EQ(log, "NikonMaid: Can't CFBundleGetFunctionPointerForName\n");
    EXPECT_EQ(root.entryPoint, nullptr);
}

}  // namespace
