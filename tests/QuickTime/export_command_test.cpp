// tarvo export and tarvo export-settings as a shell runs them. What is exported is looked at by a program
// that shares nothing with the one that made it.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "frameworks/QuickTime/atoms/ExportChoice.h"
#include "tests/QuickTime/TestMovies.h"
#include "tests/UserInterface/ChildProcess.h"
#include "tests/e2e/support/patience.h"
#include "tests/e2e/support/temp_folder.h"
#include "tests/host/CommandRunner.h"

namespace {

using atoms::ExportChoice;
using e2e::TempFolder;
using e2e::writeFile;
using fake::CommandResult;
using fake::CommandRunner;
using fake::runTarvo;
using nlohmann::json;

/** What ffprobe says of the file's streams, by their kind. */
class Probe {
public:
    explicit Probe(const std::string& path) {
        const std::string command =
            "ffprobe -v error -count_frames -show_streams -show_format -of json '" + path + "'";
        std::string text;
        FILE* const pipe = popen(command.c_str(), "r");
        std::array<char, 4096> piece{};
        for (size_t count = 0; (count = fread(piece.data(), 1, piece.size(), pipe)) > 0;)
            text.append(piece.data(), count);
        EXPECT_EQ(0, pclose(pipe)) << "ffprobe refuses " << path;
        answer_ = json::parse(text, nullptr, false);
    }
    json stream(const std::string& kind) const {
        for (const json& stream : answer_.value("streams", json::array())) {
            if (stream.value("codec_type", "") == kind) return stream;
        }
        return json::object();
    }
    bool has(const std::string& kind) const { return !stream(kind).empty(); }
    double seconds() const { return std::stod(answer_["format"].value("duration", "0")); }

private:
    json answer_;
};

/** The numbers of the frames that stand for themselves. */
std::vector<size_t> keyFramesOf(const std::string& path) {
    const std::string command =
        "ffprobe -v error -select_streams v -show_entries frame=key_frame -of csv=p=0 '" + path + "'";
    std::vector<size_t> keys;
    FILE* const pipe = popen(command.c_str(), "r");
    std::array<char, 100> line{};
    // Some frames have a second line, for what goes with them.
    for (size_t frame = 0; fgets(line.data(), static_cast<int>(line.size()), pipe) != nullptr;) {
        if (line[0] == '1') keys.push_back(frame);
        if (line[0] == '1' || line[0] == '0') ++frame;
    }
    EXPECT_EQ(0, pclose(pipe));
    return keys;
}

class Export : public testing::Test {
protected:
    void SetUp() override {
        if (!isInstalled("ffprobe")) GTEST_SKIP() << "ffprobe is not installed";
    }

    std::string path(const std::string& name) const { return folder_.file(name); }
    std::string film(const TestMovie& movie = {}) const {
        makeMovie(path("film.mov"), movie);
        return path("film.mov");
    }
    std::string settings(const ExportChoice& choice) const {
        atoms::Container container;
        atoms::writeChoice(choice, container);
        writeFile(path("film.settings"), *atoms::serialise(container));
        return path("film.settings");
    }
    std::string output() const { return path("out.mov"); }
    CommandResult exportBy(const std::string& source, const ExportChoice& choice,
                           const std::vector<std::string>& more = {}) const {
        std::vector<std::string> words{"export", source, "--settings", settings(choice), "-o", output()};
        words.insert(words.end(), more.begin(), more.end());
        return runTarvo(words);
    }
    /** Neither the output nor what it was to become. */
    bool isNothingLeft() const {
        for (const std::string& name : folder_.names()) {
            if (name.starts_with("out.mov")) return false;
        }
        return true;
    }

    TempFolder folder_;
};

TEST_F(Export, makes_h264_and_aac_by_the_usual_settings) {
    const auto result = exportBy(film(), {});
    ASSERT_EQ(0, result.status) << result.err;
    EXPECT_NE(std::string::npos, result.err.find("100 %")) << "the bar ends";
    const Probe probe(output());
    EXPECT_EQ("h264", probe.stream("video").value("codec_name", ""));
    EXPECT_EQ("avc1", probe.stream("video").value("codec_tag_string", ""));
    EXPECT_EQ(320, probe.stream("video").value("width", 0));
    EXPECT_EQ(240, probe.stream("video").value("height", 0));
    EXPECT_EQ("25/1", probe.stream("video").value("r_frame_rate", ""));
    EXPECT_EQ("25", probe.stream("video").value("nb_read_frames", ""));
    EXPECT_EQ("aac", probe.stream("audio").value("codec_name", ""));
    EXPECT_EQ("44100", probe.stream("audio").value("sample_rate", ""));
    EXPECT_EQ(2, probe.stream("audio").value("channels", 0));
    EXPECT_NEAR(1, probe.seconds(), 0.1);
}

TEST_F(Export, takes_codec_size_and_rates_from_the_settings) {
    const auto result = exportBy(film({.frames = 50}), {.videoCodec = atoms::kProRes422,
                                                        .frameRate = 12.5,
                                                        .width = 200,
                                                        .height = 200,
                                                        .soundCodec = atoms::kPcmLittleEndian,
                                                        .sampleRate = 48000,
                                                        .channels = 1});
    ASSERT_EQ(0, result.status) << result.err;
    const Probe probe(output());
    EXPECT_EQ("apcn", probe.stream("video").value("codec_tag_string", ""));
    EXPECT_EQ(200, probe.stream("video").value("width", 0));
    EXPECT_EQ(200, probe.stream("video").value("height", 0));
    EXPECT_EQ("25/2", probe.stream("video").value("r_frame_rate", ""));
    EXPECT_EQ("sowt", probe.stream("audio").value("codec_tag_string", ""));
    EXPECT_EQ("48000", probe.stream("audio").value("sample_rate", ""));
    EXPECT_EQ(1, probe.stream("audio").value("channels", 0));
    EXPECT_NEAR(2, probe.seconds(), 0.1);
}

struct CodecRow {
    uint32_t codec;
    const char* tag;
};

TEST_F(Export, makes_each_video_codec_that_it_needs_packages_for) {
    film();
    for (const CodecRow& row :
         {CodecRow{atoms::kH264, "avc1"}, CodecRow{atoms::kPhotoJpeg, "jpeg"}, CodecRow{atoms::kPng, "png "},
          CodecRow{atoms::kProRes422, "apcn"}, CodecRow{atoms::kUncompressedVideo, "2vuy"}}) {
        SCOPED_TRACE(row.tag);
        const auto result =
            exportBy(path("film.mov"), {.videoCodec = row.codec, .hasSound = false}, {"--force"});
        ASSERT_EQ(0, result.status) << result.err;
        const Probe probe(output());
        EXPECT_EQ(row.tag, probe.stream("video").value("codec_tag_string", ""));
        EXPECT_EQ("25", probe.stream("video").value("nb_read_frames", ""));
        EXPECT_FALSE(probe.has("audio"));
    }
}

TEST_F(Export, makes_each_sound_codec) {
    film();
    for (const CodecRow& row :
         {CodecRow{atoms::kAac, "mp4a"}, CodecRow{atoms::kPcmBigEndian, "twos"},
          CodecRow{atoms::kAlac, "alac"}, CodecRow{atoms::kALaw, "alaw"}, CodecRow{atoms::kMuLaw, "ulaw"}}) {
        SCOPED_TRACE(row.tag);
        const auto result =
            exportBy(path("film.mov"), {.hasVideo = false, .soundCodec = row.codec}, {"--force"});
        ASSERT_EQ(0, result.status) << result.err;
        const Probe probe(output());
        EXPECT_EQ(row.tag, probe.stream("audio").value("codec_tag_string", ""));
        EXPECT_NEAR(1, probe.seconds(), 0.1);
        EXPECT_FALSE(probe.has("video"));
    }
}

TEST_F(Export, keeps_to_a_data_rate) {
    film({.frames = 100, .hasSound = false, .pattern = "snow"});
    for (const uint32_t rate : {100'000u, 300'000u}) {
        ASSERT_EQ(0, exportBy(path("film.mov"), {.dataRate = rate}, {"--force"}).status);
        const double bits = std::stod(Probe(output()).stream("video").value("bit_rate", "0"));
        EXPECT_NEAR(rate * 8.0, bits, rate * 8.0 * 0.25);
    }
}

TEST_F(Export, spends_more_on_a_better_quality) {
    film({.hasSound = false});
    for (const uint32_t codec : {atoms::kH264, atoms::kPhotoJpeg}) {
        uintmax_t last = 0;
        for (const uint32_t quality : {atoms::kLeastQuality, atoms::kNormalQuality, atoms::kBestQuality}) {
            const ExportChoice choice{.videoCodec = codec, .quality = quality};
            ASSERT_EQ(0, exportBy(path("film.mov"), choice, {"--force"}).status);
            EXPECT_GT(std::filesystem::file_size(output()), last) << atoms::typeText(codec) << quality;
            last = std::filesystem::file_size(output());
        }
    }
}

TEST_F(Export, sets_key_frames_as_often_as_asked) {
    film({.frames = 40, .hasSound = false});
    ASSERT_EQ(0, exportBy(path("film.mov"), {.keyFrameInterval = 8}).status);
    const std::vector<size_t> keys = keyFramesOf(output());
    ASSERT_GE(keys.size(), 5u);
    for (size_t i = 1; i < keys.size(); ++i)
        EXPECT_LE(keys[i] - keys[i - 1], 8u);
}

TEST_F(Export, puts_the_tables_in_front_for_streaming_only) {
    film();
    const auto tablesLeadFrames = [this] {
        const e2e::Bytes bytes = e2e::readFile(output());
        const std::string text(bytes.begin(), bytes.end());
        return text.find("moov") < text.find("mdat");
    };
    ASSERT_EQ(0, exportBy(path("film.mov"), {.preparesForStreaming = true}).status);
    EXPECT_TRUE(tablesLeadFrames());
    ASSERT_EQ(0, exportBy(path("film.mov"), {.preparesForStreaming = false}, {"--force"}).status);
    EXPECT_FALSE(tablesLeadFrames());
}

TEST_F(Export, makes_a_movie_of_numbered_pictures) {
    for (const int number : {1, 2, 3, 5})
        makePicture(path("frame_000" + std::to_string(number) + ".jpg"), 161, 121, number);
    const auto result = exportBy(path("frame_0001.jpg"), {}, {"--fps", "10"});
    ASSERT_EQ(0, result.status) << result.err;
    EXPECT_NE(std::string::npos, result.err.find("in between: 1"));
    const Probe probe(output());
    EXPECT_EQ("4", probe.stream("video").value("nb_read_frames", ""));
    EXPECT_EQ("10/1", probe.stream("video").value("r_frame_rate", ""));
    EXPECT_EQ(160, probe.stream("video").value("width", 0)) << "H.264 has even sides only";
    EXPECT_EQ(120, probe.stream("video").value("height", 0));
    EXPECT_NEAR(0.4, probe.seconds(), 0.01);
}

TEST_F(Export, plays_pictures_at_the_rate_of_the_settings_when_they_have_one) {
    for (int number = 0; number < 6; ++number)
        makePicture(path("p" + std::to_string(number) + ".png"), 64, 48, number);
    const auto result =
        exportBy(path("p%d.png"), {.videoCodec = atoms::kPng, .frameRate = 30}, {"--fps", "10"});
    ASSERT_EQ(0, result.status) << result.err;
    EXPECT_EQ("6", Probe(output()).stream("video").value("nb_read_frames", ""));
    EXPECT_NEAR(0.2, Probe(output()).seconds(), 0.01);
}

TEST_F(Export, refuses_what_it_cannot_do_and_leaves_nothing_behind) {
    film();
    writeFile(path("noise.mov"), e2e::patternBytes(4000, 3));
    EXPECT_EQ(2, exportBy(path("noise.mov"), {}).status);
    EXPECT_EQ(2, exportBy(path("none.mov"), {}).status);
    EXPECT_EQ(2, exportBy(path("none_0001.jpg"), {}).status);
    EXPECT_EQ(2, exportBy(path("film.mov"), {.hasVideo = false, .hasSound = false}).status);
    const auto unknown = exportBy(path("film.mov"), {.videoCodec = atoms::typeOf("zzzz")});
    EXPECT_EQ(1, unknown.status);
    EXPECT_NE(std::string::npos, unknown.err.find("'zzzz'")) << unknown.err;
    EXPECT_TRUE(isNothingLeft());
    writeFile(path("film.settings"), {1, 2, 3});
    EXPECT_EQ(
        2,
        runTarvo({"export", path("film.mov"), "--settings", path("film.settings"), "-o", output()}).status);
    const std::string nowhere = path("nowhere") + "/out.mov";
    EXPECT_EQ(5, runTarvo({"export", path("film.mov"), "--settings", settings({}), "-o", nowhere}).status);
}

TEST_F(Export, leaves_nothing_of_pictures_that_break_off) {
    makePicture(path("p1.png"), 64, 48);
    writeFile(path("p2.png"), {});
    const auto result = exportBy(path("p1.png"), {});
    EXPECT_EQ(1, result.status);
    EXPECT_NE(std::string::npos, result.err.find("p2.png")) << result.err;
    EXPECT_TRUE(isNothingLeft());
}

TEST_F(Export, replaces_a_movie_only_when_told_so) {
    film();
    writeFile(output(), {1, 2, 3});
    EXPECT_EQ(5, exportBy(path("film.mov"), {}).status);
    EXPECT_EQ((e2e::Bytes{1, 2, 3}), e2e::readFile(output()));
    EXPECT_EQ(0, exportBy(path("film.mov"), {}, {"--force"}).status);
    EXPECT_TRUE(Probe(output()).has("video"));
}

TEST_F(Export, leaves_no_half_file_when_it_is_interrupted) {
    // Long enough that nobody is done before the interruption comes.
    film({.width = 640, .height = 480, .frames = 300, .hasSound = false, .pattern = "snow"});
    writeFile(output(), {1, 2, 3});
    CommandRunner command(
        {"export", path("film.mov"), "--settings", settings({}), "-o", output(), "--force"});
    const auto hasPart = [this] {
        for (const std::string& name : folder_.names()) {
            if (name.starts_with("out.mov.part")) return true;
        }
        return false;
    };
    ASSERT_TRUE(e2e::eventually(hasPart));
    command.interrupt();
    EXPECT_EQ(130, command.wait()) << command.err();
    EXPECT_FALSE(hasPart());
    EXPECT_EQ((e2e::Bytes{1, 2, 3}), e2e::readFile(output())) << "what was there is still there";
}

class ExportSettingsCommand : public testing::Test {
protected:
    std::string path(const std::string& name) const { return folder_.file(name); }
    CommandResult ask(const std::string& dialog, const std::vector<std::string>& more = {}) {
        writeFile(path("film.mov"), {1});
        const std::string scenario = "{\"devices\": [], \"dialog\": " + dialog + "}";
        writeFile(path("lab.json"), e2e::Bytes(scenario.begin(), scenario.end()));
        std::vector<std::string> words{"export-settings",  path("film.mov"), "--settings",
                                       path("a.settings"), "--scenario",     path("lab.json")};
        words.insert(words.end(), more.begin(), more.end());
        return runTarvo(words);
    }

    TempFolder folder_;
};

TEST_F(ExportSettingsCommand, tells_where_the_settings_are_saved) {
    const auto result = ask(R"({"answer": "ok", "settings": "0102"})", {"--second", path("b.settings")});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_NE(std::string::npos, result.err.find("Saved: ")) << result.err;
    EXPECT_EQ((e2e::Bytes{1, 2}), e2e::readFile(path("a.settings")));
    EXPECT_EQ((e2e::Bytes{1, 2}), e2e::readFile(path("b.settings")));
}

TEST_F(ExportSettingsCommand, tells_that_the_dialog_was_cancelled) {
    const auto result = ask(R"({"answer": "cancel", "settings": "0102"})");
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_NE(std::string::npos, result.err.find("Cancelled")) << result.err;
    EXPECT_FALSE(std::filesystem::exists(path("a.settings")));
}

TEST_F(ExportSettingsCommand, tells_why_there_was_no_dialog) {
    const auto result = ask(R"({"answer": "error", "status": -5699})");
    EXPECT_EQ(1, result.status);
    EXPECT_NE(std::string::npos, result.err.find("no display")) << result.err;
    const auto missing = runTarvo({"export-settings", path("none.mov"), "--settings", path("a.settings"),
                                   "--scenario", path("lab.json")});
    EXPECT_EQ(2, missing.status);
    EXPECT_NE(std::string::npos, missing.err.find("no such movie")) << missing.err;
}

TEST_F(ExportSettingsCommand, is_interrupted_while_the_dialog_is_open) {
    writeFile(path("film.mov"), {1});
    const std::string scenario = R"({"devices": [], "dialog": {"answer": "cancel", "delayMs": 3000}})";
    writeFile(path("lab.json"), e2e::Bytes(scenario.begin(), scenario.end()));
    CommandRunner command({"export-settings", path("film.mov"), "--settings", path("a.settings"),
                           "--scenario", path("lab.json"), "--verbose"});
    ASSERT_TRUE(command.waitForErr("NewMovieFromDataRef 0"));
    command.interrupt();
    EXPECT_EQ(130, command.wait()) << command.err();
}

TEST_F(ExportSettingsCommand, shows_the_settings_that_the_studio_hands_out) {
    writeFile(path("film.mov"), {1});
    const auto asked =
        runTarvo({"export-settings", path("film.mov"), "--settings", path("a.settings"), "--simulated"});
    ASSERT_EQ(0, asked.status) << asked.err;
    const auto shown = runTarvo({"export-settings", "--show", path("a.settings")});
    EXPECT_EQ(0, shown.status) << shown.err;
    EXPECT_TRUE(shown.out.starts_with("sean\n  envi  picture: on\n")) << shown.out;
    EXPECT_NE(std::string::npos, shown.out.find("codec 'avc1'")) << shown.out;
}

TEST_F(ExportSettingsCommand, names_what_is_wrong_with_its_input) {
    EXPECT_EQ(2, runTarvo({"export-settings"}).status);
    EXPECT_EQ(2, runTarvo({"export-settings", "film.mov"}).status);
    EXPECT_EQ(2, runTarvo({"export-settings", "--show", path("none")}).status);
    EXPECT_EQ(2, runTarvo({"export-settings", "film.mov", "--show", path("none")}).status);
    for (const char* const command : {"export-settings", "export"}) {
        const auto help = runTarvo({command, "--help"});
        EXPECT_EQ(0, help.status);
        EXPECT_NE(std::string::npos, help.out.find("Examples")) << help.out;
    }
}

}  // namespace
