#include "platform/Bundles.h"

#include <gtest/gtest.h>
#include <plist/plist.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

namespace fs = std::filesystem;

class BundlesTest : public testing::Test {
protected:
    BundlesTest() {
        std::string pattern = (fs::temp_directory_path() / "tarvo-bundles-XXXXXX").string();
        folder = mkdtemp(pattern.data());
        bundle = folder / "Some Module.bundle";
        fs::create_directories(bundle / "Contents/Linux");
    }
    ~BundlesTest() override { fs::remove_all(folder); }

    static void write(const fs::path& path, const std::string& bytes) {
        std::ofstream(path, std::ios::binary) << bytes;
    }

    static std::string xmlList(const std::string& executable) {
        return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
               "<key>CFBundleName</key><string>Some</string>"
               "<key>CFBundleExecutable</key><string>" +
               executable + "</string></dict></plist>\n";
    }

    static std::string binaryList(const char* executable) {
        const plist_t list = plist_new_dict();
        plist_dict_set_item(list, "CFBundleExecutable", plist_new_string(executable));
        char* bytes = nullptr;
        uint32_t length = 0;
        plist_to_bin(list, &bytes, &length);
        const std::string copy(bytes, length);
        plist_free(list);
        std::free(bytes);
        return copy;
    }

    void haveList(const std::string& bytes) const { write(bundle / "Contents/Info.plist", bytes); }
    void haveCode(const fs::path& name = "Some", const char* code = TARVO_TEST_BUNDLE_CODE) const {
        fs::copy_file(code, bundle / "Contents/Linux" / name);
    }

    bool loads() const {
        const auto found = bundles::Bundle::create(bundle);
        return found != nullptr && found->loadExecutable();
    }

    fs::path folder;
    fs::path bundle;
};

TEST_F(BundlesTest, GiveWhatTheirExecutableExports) {
    haveList(xmlList("Some"));
    haveCode();
    const auto found = bundles::Bundle::create(bundle);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->functionPointer("answer"), nullptr) << "not loaded yet";
    ASSERT_TRUE(found->loadExecutable());
    EXPECT_TRUE(found->loadExecutable()) << "again";
    auto* const answer = reinterpret_cast<int (*)()>(found->functionPointer("answer"));
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(answer(), 42);
    EXPECT_EQ(found->functionPointer("question"), nullptr);
}

TEST_F(BundlesTest, MayHaveABinaryList) {
    haveList(binaryList("Some"));
    haveCode();
    EXPECT_TRUE(loads());
}

TEST_F(BundlesTest, MayHaveAllAtTheTop) {
    fs::remove_all(bundle / "Contents");
    write(bundle / "Info.plist", xmlList("Some"));
    fs::copy_file(TARVO_TEST_BUNDLE_CODE, bundle / "Some");
    EXPECT_TRUE(loads());
}

TEST_F(BundlesTest, WithContentsHaveNothingElsewhere) {
    write(bundle / "Info.plist", xmlList("Some"));
    fs::copy_file(TARVO_TEST_BUNDLE_CODE, bundle / "Some");
    EXPECT_FALSE(loads());
}

TEST_F(BundlesTest, AreFolders) {
    EXPECT_EQ(bundles::Bundle::create(folder / "missing"), nullptr);
    EXPECT_EQ(bundles::Bundle::create(""), nullptr);
    write(folder / "file", "text");
    EXPECT_EQ(bundles::Bundle::create(folder / "file"), nullptr);
    EXPECT_NE(bundles::Bundle::create(folder), nullptr) << "any folder may be one";
}

TEST_F(BundlesTest, WithoutAUsableListHaveNoExecutable) {
    haveCode();
    EXPECT_FALSE(loads()) << "no list";
    const std::string lists[] = {
        "",
        "not a list",
        "bplist00",
        "bplist00" + std::string(40, '\xFF'),
        "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict>",
        "<plist version=\"1.0\"><string>Some</string></plist>",
        "<plist version=\"1.0\"><array><string>Some</string></array></plist>",
        "<plist version=\"1.0\"><dict></dict></plist>",
        "<plist version=\"1.0\"><dict><key>CFBundleExecutable</key><integer>3</integer></dict></plist>",
        "<plist version=\"1.0\"><dict><key>CFBundleExecutable</key><dict/></dict></plist>",
        xmlList("Some") + std::string(2 << 20, ' '),
    };
    for (const std::string& list : lists) {
        haveList(list);
        EXPECT_FALSE(loads()) << list.substr(0, 200);
    }
    fs::remove(bundle / "Contents/Info.plist");
    fs::create_directory(bundle / "Contents/Info.plist");
    EXPECT_FALSE(loads()) << "the list is a folder";
}

TEST_F(BundlesTest, DoNotLoadWhatLiesOutsideOfThem) {
    fs::copy_file(TARVO_TEST_BUNDLE_CODE, folder / "Outside");
    fs::create_directory(bundle / "Contents/Linux/Sub");
    fs::copy_file(TARVO_TEST_BUNDLE_CODE, bundle / "Contents/Linux/Sub/Inside");
    const std::string names[] = {"",           ".", "..", "../../../Outside", (folder / "Outside").string(),
                                 "Sub/Inside", "/"};
    for (const std::string& name : names) {
        haveList(xmlList(name));
        EXPECT_FALSE(loads()) << name;
        haveList(binaryList(name.c_str()));
        EXPECT_FALSE(loads()) << name;
    }
}

TEST_F(BundlesTest, WhoseCodeCannotBeLoadedSayNo) {
    haveList(xmlList("Some"));
    EXPECT_FALSE(loads()) << "missing";
    write(bundle / "Contents/Linux/Some", "no code");
    EXPECT_FALSE(loads()) << "no code";
    fs::remove(bundle / "Contents/Linux/Some");
    haveCode("Some", TARVO_TEST_BUNDLE_UNBOUND);
    EXPECT_FALSE(loads()) << "not all of it can be bound";
}

TEST_F(BundlesTest, UnloadTheirCodeUnlessTheyAreKept) {
    haveList(xmlList("Some"));
    haveCode();
    const char* const sign = "TARVO_TEST_BUNDLE";
    {
        auto found = bundles::Bundle::create(bundle);
        ASSERT_TRUE(found->loadExecutable());
        EXPECT_STREQ(getenv(sign), "loaded");
    }
    EXPECT_EQ(getenv(sign), nullptr);
    auto found = bundles::Bundle::create(bundle);
    ASSERT_TRUE(found->loadExecutable());
    bundles::keepLoaded(std::move(found));
    EXPECT_STREQ(getenv(sign), "loaded");
}

TEST_F(BundlesTest, LibrariesAreLoadedByTheirPath) {
    EXPECT_FALSE(bundles::loadLibrary(folder / "libMissing.so"));
    write(folder / "libBad.so", "no code");
    EXPECT_FALSE(bundles::loadLibrary(folder / "libBad.so"));
    EXPECT_TRUE(bundles::loadLibrary(TARVO_TEST_BUNDLE_CODE));
}

}  // namespace
