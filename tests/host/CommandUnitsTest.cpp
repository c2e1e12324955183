// The units of the tarvo command that need no process: values of properties, moments, files of frames.

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <ctime>

#include "host/tarvo/FrameFiles.h"
#include "host/tarvo/Properties.h"
#include "host/tarvo/TimeText.h"
#include "tests/host/TempFolder.h"

namespace {

using tarvo::parseValue;
using tarvo::valueText;

constexpr int32_t kTv = 0x406;
constexpr int32_t kAv = 0x405;
constexpr int32_t kIso = 0x402;
constexpr int32_t kCompensation = 0x407;
constexpr int32_t kQuality = 0x100;
constexpr int32_t kTemperature = 0x107;

TEST(Properties, ShowValuesAsPeopleReadThem) {
    EXPECT_EQ(valueText(kTv, 0x70), "1/125");
    EXPECT_EQ(valueText(kTv, 0x0C), "bulb");
    EXPECT_EQ(valueText(kAv, 0x30), "f/5.6");
    EXPECT_EQ(valueText(kIso, 0x60), "800");
    EXPECT_EQ(valueText(kCompensation, 0), "0");
    EXPECT_EQ(valueText(kCompensation, 0x03), "+1/3");
    EXPECT_EQ(valueText(kCompensation, 0x0D), "+1 2/3");
    EXPECT_EQ(valueText(kCompensation, 0xFC), "-1/2");
    EXPECT_EQ(valueText(kCompensation, 0xF0), "-2");
    EXPECT_EQ(valueText(kTemperature, 5200), "5200");
    EXPECT_EQ(valueText(kTv, 0x99), "0x99") << "a code without a text is shown as it is";
    EXPECT_EQ(valueText(0x7777, -3), "-3");
}

TEST(Properties, ReadAnImageQualityFieldByField) {
    EXPECT_EQ(valueText(kQuality, 0x0013FF0F), "Large Fine JPEG");
    EXPECT_EQ(valueText(kQuality, 0x0212FF0F), "Small Normal JPEG");
    EXPECT_EQ(valueText(kQuality, 0x0064FF0F), "RAW");
    EXPECT_EQ(valueText(kQuality, 0x00640013), "RAW + Large Fine JPEG");
    EXPECT_EQ(valueText(kQuality, 0x00240213), "RAW + Small Fine JPEG") << "the older codes too";
    EXPECT_EQ(valueText(kQuality, 0x01130000), "Medium Fine JPEG");
    EXPECT_EQ(valueText(kQuality, 0), "0x00000000");
}

TEST(Properties, TakeWhatPeopleWrite) {
    const std::vector<int32_t> none;
    EXPECT_EQ(parseValue(kTv, "1/125", none), 0x70);
    EXPECT_EQ(parseValue(kTv, "2.5\"", none), 0x2D);
    EXPECT_EQ(parseValue(kTv, "2.5", none), 0x2D);
    EXPECT_EQ(parseValue(kTv, "2.5s", none), 0x2D);
    EXPECT_EQ(parseValue(kTv, "BULB", none), 0x0C);
    EXPECT_EQ(parseValue(kAv, "5.6", none), 0x30);
    EXPECT_EQ(parseValue(kAv, "f5.6", none), 0x30);
    EXPECT_EQ(parseValue(kAv, "F/5.6", none), 0x30);
    EXPECT_EQ(parseValue(kIso, "400", none), 0x58);
    EXPECT_EQ(parseValue(kIso, "0x58", none), 0x58);
    EXPECT_EQ(parseValue(kCompensation, "-1 1/3", none), 0xF5);
    EXPECT_EQ(parseValue(kCompensation, "1", none), 0x08);
    EXPECT_EQ(parseValue(kTemperature, "5200", none), 5200);
    EXPECT_EQ(parseValue(0x7777, "-3", none), -3);
    EXPECT_EQ(parseValue(0x7777, "0xFFFFFFFF", none), -1);
}

TEST(Properties, DoNotTakeACodeForAValueByAccident) {
    const std::vector<int32_t> none;
    EXPECT_FALSE(parseValue(kIso, "96", none)) << "96 is the code of ISO 800";
    EXPECT_FALSE(parseValue(kTv, "1/123", none));
    EXPECT_FALSE(parseValue(kTemperature, "warm", none));
    EXPECT_FALSE(parseValue(kTemperature, "5200K", none));
    EXPECT_FALSE(parseValue(kTemperature, "", none));
    EXPECT_FALSE(parseValue(0x7777, "0x1FFFFFFFF", none));
}

TEST(Properties, ChooseTheFirstQualityOfTheWantedKind) {
    const std::vector<int32_t> options{0x0064FF0F, 0x00640013, 0x00640012, 0x0013FF0F, 0x0012FF0F};
    EXPECT_EQ(parseValue(kQuality, "raw", options), 0x0064FF0F);
    EXPECT_EQ(parseValue(kQuality, "raw+jpeg", options), 0x00640013);
    EXPECT_EQ(parseValue(kQuality, "RAW + Large Normal JPEG", options), 0x00640012);
    EXPECT_EQ(parseValue(kQuality, "jpeg", options), 0x0013FF0F);
    EXPECT_FALSE(parseValue(kQuality, "png", options));
}

TEST(Properties, AreFoundByNameAndNumber) {
    EXPECT_EQ(tarvo::findProperty("tv")->id, kTv);
    EXPECT_STREQ(tarvo::findProperty("0x406")->name, "tv");
    EXPECT_EQ(tarvo::findProperty("0x7777")->id, 0x7777);
    EXPECT_FALSE(tarvo::findProperty("tv2"));
    EXPECT_FALSE(tarvo::findProperty(""));
    EXPECT_FALSE(tarvo::findProperty("0x"));
}

int64_t moment(int year, int month, int day, int hour, int minute, double second) {
    std::tm fields{};
    fields.tm_year = year - 1900;
    fields.tm_mon = month - 1;
    fields.tm_mday = day;
    fields.tm_hour = hour;
    fields.tm_min = minute;
    fields.tm_isdst = -1;
    return static_cast<int64_t>(std::mktime(&fields)) * 1'000'000 + static_cast<int64_t>(second * 1e6);
}

TEST(Moment, IsReadInEveryForm) {
    const int64_t now = moment(2026, 11, 21, 12, 0, 0);
    EXPECT_EQ(tarvo::parseMoment("18:30:15.25", now), moment(2026, 11, 21, 18, 30, 15.25));
    EXPECT_EQ(tarvo::parseMoment("18:30", now), moment(2026, 11, 21, 18, 30, 0));
    EXPECT_EQ(tarvo::parseMoment("2027-01-02T03:04:05", now), moment(2027, 1, 2, 3, 4, 5));
    EXPECT_EQ(tarvo::parseMoment("2027-01-02 03:04", now), moment(2027, 1, 2, 3, 4, 0));
    EXPECT_EQ(tarvo::parseMoment("@1000.000001", now), 1'000'000'001);
    EXPECT_EQ(tarvo::timeOfDay(moment(2026, 11, 21, 18, 30, 15.25)), "18:30:15.250");
}

TEST(Moment, ThatIsNoneIsRefused) {
    const int64_t now = moment(2026, 11, 21, 12, 0, 0);
    for (const char* text :
         {"", "18", "18:60", "24:00", "18:30:60", "18:30:15,5", "-1:00", "18:30x", "@", "@-1", "@nan",
          "2026-02-31T10:00", "2026-13-01T10:00", "2026-1-1T10:00", "26-01-01T10:00", "T10:00"}) {
        EXPECT_FALSE(tarvo::parseMoment(text, now)) << text;
    }
}

class FrameFilesTest : public testing::Test {
protected:
    void arrive(const tarvo::FrameFiles& files, int number, const std::string& extension,
                const std::string& text) {
        std::ofstream(files.arrivalPath(number) + extension) << text;
    }
    std::string content(const std::string& name) { return fake::readFile(folder_.path() / name); }
    size_t count() const {
        size_t number = 0;
        for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder_.path()))
            ++number;
        return number;
    }
    fake::TempFolder folder_;
};

TEST_F(FrameFilesTest, GetTheirNamesOnceTheyAreWhole) {
    {
        tarvo::FrameFiles files;
        ASSERT_FALSE(files.open(folder_.file("sub/pic"), false));
        EXPECT_EQ(files.nameOf(7), "pic0007");
        EXPECT_EQ(files.nameOf(12345), "pic12345");
        arrive(files, 1, ".cr2", "raw");
        arrive(files, 1, ".jpg", "jpeg");
        EXPECT_FALSE(std::filesystem::exists(folder_.file("sub/pic0001.cr2")));
        const auto published = files.publish(1);
        EXPECT_FALSE(published.error) << published.error.text;
        EXPECT_EQ(published.files.size(), 2U);
        EXPECT_EQ(content("sub/pic0001.cr2"), "raw");
        EXPECT_EQ(content("sub/pic0001.jpg"), "jpeg");
        EXPECT_TRUE(files.publish(1).files.empty());
        arrive(files, 2, ".jpg", "half");
    }
    EXPECT_FALSE(std::filesystem::exists(folder_.file("sub/pic0002.jpg")));
    size_t entries = 0;
    for ([[maybe_unused]] const auto& e : std::filesystem::directory_iterator(folder_.file("sub")))
        ++entries;
    EXPECT_EQ(entries, 2U) << "nothing else stays behind";
}

TEST_F(FrameFilesTest, NeverReplaceAPictureUnlessAsked) {
    folder_.write("frame0001.jpg", "old");
    tarvo::FrameFiles careful;
    ASSERT_FALSE(careful.open(folder_.path().string(), false));
    arrive(careful, 1, ".jpg", "new");
    EXPECT_EQ(careful.publish(1).files.at(0).filename(), "frame0001-2.jpg");
    EXPECT_EQ(content("frame0001.jpg"), "old");

    tarvo::FrameFiles forced;
    ASSERT_FALSE(forced.open(folder_.path().string(), true));
    arrive(forced, 1, ".jpg", "newer");
    EXPECT_EQ(forced.publish(1).files.at(0).filename(), "frame0001.jpg");
    EXPECT_EQ(content("frame0001.jpg"), "newer");
    arrive(forced, 1, ".jpg", "second of this run");
    EXPECT_EQ(forced.publish(1).files.at(0).filename(), "frame0001-2.jpg")
        << "what this run made is never replaced"
        << " by itself";
    EXPECT_EQ(content("frame0001.jpg"), "newer");
}

TEST_F(FrameFilesTest, TellAnEmptyPicture) {
    tarvo::FrameFiles files;
    ASSERT_FALSE(files.open(folder_.file("frame"), false));
    arrive(files, 1, ".jpg", "");
    const auto published = files.publish(1);
    EXPECT_EQ(published.error.failure, tarvo::Failure::files);
    EXPECT_TRUE(published.files.empty());
    EXPECT_FALSE(std::filesystem::exists(folder_.file("frame0001.jpg")));
}

TEST_F(FrameFilesTest, FindWhatIsTakenAndTheNextNumber) {
    folder_.write("frame0003.jpg", "x");
    folder_.write("frame0005-extra.jpg", "x");
    folder_.write("frame.txt", "x");
    folder_.write("frames0009.jpg", "x");
    tarvo::FrameFiles files;
    ASSERT_FALSE(files.open(folder_.path().string() + "/", false));
    EXPECT_EQ(files.findTaken(1, 2), "");
    EXPECT_TRUE(files.findTaken(1, 3).ends_with("frame0003.jpg")) << files.findTaken(1, 3);
    EXPECT_EQ(files.findTaken(4, 100), "");
    EXPECT_EQ(files.nextNumber(), 6) << "an extra picture takes its number too";
}

TEST_F(FrameFilesTest, RewriteOneFileWhole) {
    const auto path = folder_.path() / "now.jpg";
    const std::vector<uint8_t> first{1, 2, 3};
    const std::vector<uint8_t> second{4};
    EXPECT_FALSE(tarvo::FrameFiles::writeAtomically(path, first, true));
    EXPECT_FALSE(tarvo::FrameFiles::writeAtomically(path, second, true));
    EXPECT_EQ(fake::readFile(path), "\x04");
    EXPECT_EQ(tarvo::FrameFiles::writeAtomically(path, first, false).failure, tarvo::Failure::files);
    EXPECT_EQ(fake::readFile(path), "\x04");
    EXPECT_EQ(count(), 1U) << "no half-written file stays behind";
    const auto error = tarvo::FrameFiles::writeAtomically("/nonexistent/now.jpg", first, true);
    EXPECT_EQ(error.failure, tarvo::Failure::files);
    EXPECT_NE(error.text.find("/nonexistent/now.jpg"), std::string::npos);
}

}  // namespace
