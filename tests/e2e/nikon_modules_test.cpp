// Module bundles where a user has put them, and with the libraries for real devices around them.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/e2e/support/nikon_fixture.h"

namespace e2e {
namespace {

namespace fs = std::filesystem;

class NikonModules : public NikonTest {
protected:
    /** The helper as users start it: with nothing that points to the simulated libraries. */
    void startOnHardwareSet(const Json& scenario) {
        HelperOptions options;
        options.scenario = scenario;
        options.environment["LD_LIBRARY_PATH"] = "";
        start(options);
        const std::string loaded = mappedFiles();
        EXPECT_EQ(loaded.find("/simulated/"), std::string::npos) << loaded;
        EXPECT_NE(loaded.find("/frameworks/libEDSDK.so"), std::string::npos) << loaded;
    }

    std::string mappedFiles() {
        std::ifstream maps("/proc/" + std::to_string(helper().pid()) + "/maps");
        std::stringstream text;
        text << maps.rdbuf();
        return text.str();
    }

    void expectPictureFrom(int64_t module, const std::string& name) {
        const int64_t camera = nikon().selectCamera(module, 0);
        ASSERT_NE(camera, 0);
        EXPECT_EQ(nikon().capture(camera, picturePath(name)), 0);
        EXPECT_EQ(readFile(picturePath(name + ".nef")).size(), 5000u);
        nikon().releaseCamera(camera);
    }

    static Json body(int type) {
        return nikonCamera("nikon-" + std::to_string(type),
                           {{"moduleType", type}, {"shots", nikonShots({{nikonItem(kNefType, 5000)}})}});
    }
};

TEST_F(NikonModules, of_all_sixteen_types_work_with_the_libraries_for_real_devices) {
    std::vector<Json> bodies;
    for (int type = 0; type < 16; ++type) {
        bodies.push_back(body(type));
    }
    startOnHardwareSet(nikonScenario(bodies));
    for (int type = 0; type < 16; ++type) {
        SCOPED_TRACE(type);
        const int64_t module = startModule(type);
        EXPECT_EQ(nikon().cameraCount(module), 1);
        expectPictureFrom(module, std::to_string(type));
        EXPECT_EQ(nikon().terminateSdk(module), 0);
    }
    EXPECT_EQ(pictures().names().size(), 16u);
}

TEST_F(NikonModules, have_an_information_list_and_code_that_is_bound_whole) {
    size_t count = 0;
    for (const auto& entry : fs::directory_iterator(moduleDirectory())) {
        const std::string name = entry.path().filename();
        if (!name.ends_with(" Module.bundle")) continue;
        ++count;
        const std::string code = name.substr(0, name.size() - std::string(".bundle").size());
        EXPECT_TRUE(fs::is_regular_file(entry.path() / "Contents/Info.plist")) << name;
        EXPECT_TRUE(fs::is_regular_file(entry.path() / "Contents/Linux" / code)) << name;
    }
    EXPECT_EQ(count, 16u);
    EXPECT_TRUE(fs::is_regular_file(moduleDirectory() + "/libNkPTPDriver.dylib"));
}

TEST_F(NikonModules, may_be_brought_along_in_a_folder_of_ones_own) {
    const TempFolder own;
    const std::string directory = own.file("my modules");
    const std::string bundle = directory + "/Type0001 Module.bundle";
    fs::create_directory(directory);
    fs::copy(moduleDirectory() + "/Type0001 Module.bundle", bundle, fs::copy_options::recursive);
    fs::copy(moduleDirectory() + "/libNkPTPDriver.dylib", directory + "/libNkPTPDriver.dylib");
    // What the module's code finds by its run path.
    for (const auto& entry : fs::directory_iterator(simulatedSetPath())) {
        const std::string name = entry.path().filename();
        const bool isNeeded = name.starts_with("libMAID.so") || name.starts_with("libTarvoLab.so");
        if (isNeeded) fs::copy(entry.path(), own.file(name), fs::copy_options::copy_symlinks);
    }
    startOnHardwareSet(nikonScenario({body(kModuleType)}));
    const int64_t module = nikon().initializeSdk(directory, kModuleType);
    ASSERT_NE(module, 0) << helper().out().text();
    EXPECT_NE(mappedFiles().find(bundle), std::string::npos);
    EXPECT_NE(mappedFiles().find(directory + "/libNkPTPDriver.dylib"), std::string::npos);
    expectPictureFrom(module, "own");
    // The rest is not there.
    EXPECT_EQ(nikon().initializeSdk(directory, kModuleType + 1), 0);
    helper().waitForOut("NikonMaid: Can't CFBundleCreate\nNikonMaid: Failed in loading " + directory +
                        "/Type0002 Module.bundle.\n");
}

TEST_F(NikonModules, that_lack_something_are_told_apart_by_their_log_lines) {
    const TempFolder own;
    const std::string contents = own.file("Type0001 Module.bundle/Contents");
    fs::create_directories(contents + "/Linux");
    start(nikonScenario({}));
    const auto expectLine = [&](const std::string& line) {
        const size_t from = helper().out().size();
        EXPECT_EQ(nikon().initializeSdk(own.path().string(), kModuleType), 0);
        helper().waitForOut("NikonMaid: " + line + "\nNikonMaid: Failed in loading " + own.path().string() +
                                "/Type0001 Module.bundle.\n",
                            1, from);
    };
    expectLine("Can't CFBundleLoadExecutable");
    std::ofstream(contents + "/Info.plist") << "<plist version=\"1.0\"><dict><key>CFBundleExecutable</key>"
                                               "<string>code</string></dict></plist>";
    expectLine("Can't CFBundleLoadExecutable");
    // A library, but no module.
    fs::copy(moduleDirectory() + "/libNkPTPDriver.dylib", contents + "/Linux/code");
    expectLine("Can't CFBundleGetFunctionPointerForName");
    fs::remove_all(own.file("Type0001 Module.bundle"));
    expectLine("Can't CFBundleCreate");
}

}  // namespace
}  // namespace e2e
