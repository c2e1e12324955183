// The toolbox of the hardware set as its callers see it; no dialog is shown.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <cstring>
#include <filesystem>
#include <memory>
#include <thread>

#include "QuickTime.h"
#include "frameworks/QuickTime/atoms/ExportChoice.h"
#include "frameworks/QuickTime/gstreamer/Encoders.h"
#include "frameworks/QuickTime/gstreamer/Examine.h"
#include "frameworks/QuickTime/gstreamer/Gst.h"
#include "frameworks/QuickTime/gstreamer/MovieTables.h"
#include "tests/QuickTime/TestMovies.h"
#include "tests/e2e/support/temp_folder.h"

namespace {

using e2e::TempFolder;
using e2e::writeFile;

struct Disposer {
    void operator()(Movie movie) const { DisposeMovie(movie); }
    void operator()(QTDataReference reference) const { QTDisposeDataReference(reference); }
    void operator()(MovieExportComponent exporter) const { CloseComponent(exporter); }
    void operator()(QTAtomContainer container) const { QTDisposeAtomContainer(container); }
};
template <class Handle>
using Owned = std::unique_ptr<std::remove_pointer_t<Handle>, Disposer>;

/** Root may read every file; while this lives, the process is nobody instead. */
class OrdinaryUser {
public:
    OrdinaryUser() {
        if (user_ == 0) become(kNobody);
    }
    ~OrdinaryUser() {
        if (user_ == 0) become(user_);
    }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;

private:
    static constexpr uid_t kNobody = 65534;

    static void become(uid_t user) { EXPECT_EQ(0, setresuid(user, user, 0)) << strerror(errno); }

    const uid_t user_ = geteuid();
};

OSErr openMovie(const std::string& path, Owned<Movie>& out) {
    QTDataReference reference = nullptr;
    EXPECT_EQ(0, QTNewDataReferenceFromFullPath(path.c_str(), &reference));
    const Owned<QTDataReference> owned(reference);
    Movie movie = nullptr;
    const OSErr status = NewMovieFromDataRef(&movie, true, reference);
    EXPECT_EQ(status == 0, movie != nullptr);
    out.reset(movie);
    return status;
}

OSErr openingStatus(const std::string& path) {
    Owned<Movie> movie;
    return openMovie(path, movie);
}

Owned<MovieExportComponent> openExporter() {
    MovieExportComponent exporter = nullptr;
    EXPECT_EQ(0, OpenADefaultComponent(kQTMovieExportType, kQTMovieExportSubtype, &exporter));
    return Owned<MovieExportComponent>(exporter);
}

Owned<QTAtomContainer> containerOf(const atoms::Bytes& bytes) {
    QTAtomContainer container = nullptr;
    EXPECT_EQ(0, QTNewAtomContainerFromBytes(bytes.data(), bytes.size(), &container));
    return Owned<QTAtomContainer>(container);
}

atoms::Bytes settingsOf(MovieExportComponent exporter) {
    QTAtomContainer container = nullptr;
    EXPECT_EQ(0, MovieExportGetSettingsAsAtomContainer(exporter, &container));
    const Owned<QTAtomContainer> owned(container);
    size_t size = 0;
    const auto* const bytes = static_cast<const uint8_t*>(QTAtomContainerBytes(container, &size));
    return {bytes, bytes + size};
}

atoms::Bytes bytesOf(const atoms::ExportChoice& choice) {
    atoms::Container container;
    atoms::writeChoice(choice, container);
    return *atoms::serialise(container);
}

class Toolbox : public testing::Test {
protected:
    std::string path(const std::string& name) const { return folder_.file(name); }

    TempFolder folder_;
};

TEST_F(Toolbox, may_be_entered_often) {
    EXPECT_EQ(0, EnterMovies());
    EXPECT_EQ(0, EnterMovies());
}

TEST_F(Toolbox, opens_a_movie_and_knows_how_long_it_is) {
    makeMovie(path("film.mov"), {.frames = 50});
    Owned<Movie> movie;
    ASSERT_EQ(0, openMovie(path("film.mov"), movie));
    EXPECT_EQ(1200, GetMovieDuration(movie.get())) << "two seconds of 600 units";
    EXPECT_EQ(0, GetMovieDuration(nullptr));
}

TEST_F(Toolbox, opens_a_movie_of_sound_alone_and_one_whose_path_is_odd) {
    const std::string odd = path("a film %41 #1 ?\u00FC\".mov");
    makeMovie(path("sound.mov"), {.hasVideo = false});
    EXPECT_EQ(0, openingStatus(path("sound.mov")));
    std::filesystem::rename(path("sound.mov"), odd);
    EXPECT_EQ(0, openingStatus(odd));
}

TEST_F(Toolbox, tells_what_is_missing_from_what_is_no_movie) {
    EXPECT_EQ(kQTFileNotFound, openingStatus(path("none.mov")));
    EXPECT_EQ(kQTFileNotFound, openingStatus(path("none/film.mov")));
    EXPECT_EQ(kQTNotAMovie, openingStatus(folder_.path().string()));
    writeFile(path("empty.mov"), {});
    EXPECT_EQ(kQTNotAMovie, openingStatus(path("empty.mov")));
    writeFile(path("text.mov"), {'h', 'e', 'l', 'l', 'o', '\n'});
    EXPECT_EQ(kQTNotAMovie, openingStatus(path("text.mov")));
    makePicture(path("still.png"), 64, 48);
    EXPECT_EQ(kQTNotAMovie, openingStatus(path("still.png")));
}

TEST_F(Toolbox, does_not_wait_at_a_pipe) {
    ASSERT_EQ(0, mkfifo(path("pipe.mov").c_str(), 0600));
    EXPECT_EQ(kQTNotAMovie, openingStatus(path("pipe.mov")));
}

TEST_F(Toolbox, takes_a_truncated_movie_for_none) {
    makeMovie(path("film.mov"));
    e2e::Bytes bytes = e2e::readFile(path("film.mov"));
    EXPECT_EQ(movies::MovieTables::present, movies::lookForTables(path("film.mov").c_str()));
    bytes.resize(bytes.size() / 2);  // the tables are at the end
    writeFile(path("half.mov"), bytes);
    EXPECT_EQ(movies::MovieTables::cutOff, movies::lookForTables(path("half.mov").c_str()));
    EXPECT_EQ(kQTNotAMovie, openingStatus(path("half.mov")));
}

TEST_F(Toolbox, says_so_when_a_file_may_not_be_read) {
    writeFile(path("film.mov"), {1});
    ASSERT_EQ(0, chmod(path("film.mov").c_str(), 0));
    ASSERT_EQ(0, chmod(path("").c_str(), 0755));
    const OrdinaryUser user;
    EXPECT_EQ(kQTPermissionError, openingStatus(path("film.mov")));
}

TEST_F(Toolbox, leaves_the_way_numbers_are_printed_alone) {
    makeMovie(path("film.mov"));
    EXPECT_EQ(0, openingStatus(path("film.mov")));
    EXPECT_STREQ("C", setlocale(LC_ALL, nullptr));
}

TEST_F(Toolbox, refuses_what_is_nothing) {
    QTDataReference reference = nullptr;
    EXPECT_EQ(kQTParameterError, QTNewDataReferenceFromFullPath(nullptr, &reference));
    EXPECT_EQ(kQTParameterError, QTNewDataReferenceFromFullPath("", &reference));
    EXPECT_EQ(kQTParameterError, QTNewDataReferenceFromFullPath("film.mov", nullptr));
    Movie movie = nullptr;
    EXPECT_EQ(kQTParameterError, NewMovieFromDataRef(&movie, true, nullptr));
    MovieExportComponent exporter = nullptr;
    EXPECT_EQ(kQTNoExporter, OpenADefaultComponent(kQTMovieExportType, 1, &exporter));
    EXPECT_EQ(kQTNoExporter, OpenADefaultComponent(1, kQTMovieExportSubtype, &exporter));
    EXPECT_EQ(nullptr, exporter);
    bool isCancelled = false;
    EXPECT_EQ(kQTParameterError, MovieExportDoUserDialog(nullptr, nullptr, 0, 0, &isCancelled));
    EXPECT_EQ(kQTParameterError, MovieExportSetSettingsFromAtomContainer(openExporter().get(), nullptr));
    EXPECT_EQ(kQTParameterError, MovieExportGetSettingsAsAtomContainer(nullptr, nullptr));
    DisposeMovie(nullptr);
    CloseComponent(nullptr);
    QTDisposeAtomContainer(nullptr);
    QTDisposeDataReference(nullptr);
}

TEST_F(Toolbox, shows_dialogs_on_the_main_thread_only) {
    makeMovie(path("film.mov"));
    Owned<Movie> movie;
    ASSERT_EQ(0, openMovie(path("film.mov"), movie));
    const auto exporter = openExporter();
    OSErr status = 0;
    bool isCancelled = false;
    std::thread([&] {
        status = MovieExportDoUserDialog(exporter.get(), movie.get(), 0, 600, &isCancelled);
    }).join();
    EXPECT_EQ(kQTParameterError, status);
}

TEST_F(Toolbox, gives_settings_back_as_they_were_handed_in) {
    atoms::ExportChoice choice;
    choice.quality = 100;
    atoms::Container container;
    atoms::findOrAdd(container.root, atoms::typeOf("odd ")).data = {1, 2, 3};
    atoms::writeChoice(choice, container);
    const atoms::Bytes bytes = *atoms::serialise(container);
    const auto exporter = openExporter();
    EXPECT_EQ(0, MovieExportSetSettingsFromAtomContainer(exporter.get(), containerOf(bytes).get()));
    EXPECT_EQ(bytes, settingsOf(exporter.get()));
}

TEST_F(Toolbox, has_settings_before_anybody_chose_any) {
    EXPECT_EQ(bytesOf(atoms::ExportChoice{}), settingsOf(openExporter().get()));
}

TEST_F(Toolbox, makes_containers_only_of_what_is_one) {
    const atoms::Bytes bytes = bytesOf(atoms::ExportChoice{});
    QTAtomContainer container = nullptr;
    EXPECT_EQ(kQTBadContainer, QTNewAtomContainerFromBytes(bytes.data(), bytes.size() - 1, &container));
    EXPECT_EQ(kQTBadContainer, QTNewAtomContainerFromBytes(bytes.data(), 0, &container));
    EXPECT_EQ(kQTBadContainer, QTNewAtomContainerFromBytes(nullptr, 10, &container));
    EXPECT_EQ(nullptr, container);
    size_t size = 0;
    const auto made = containerOf(bytes);
    const auto* const lent = static_cast<const uint8_t*>(QTAtomContainerBytes(made.get(), &size));
    EXPECT_EQ(bytes, atoms::Bytes(lent, lent + size));
    EXPECT_EQ(nullptr, QTAtomContainerBytes(nullptr, &size));
    EXPECT_EQ(0u, size);
}

TEST_F(Toolbox, knows_the_facts_of_a_movie) {
    makeMovie(path("film.mov"), {.width = 320, .height = 176, .framesPerSecond = 30, .frames = 90});
    movies::MovieFacts facts;
    ASSERT_EQ(0, movies::examine(path("film.mov").c_str(), facts));
    EXPECT_TRUE(facts.hasVideo);
    EXPECT_EQ(320u, facts.width);
    EXPECT_EQ(176u, facts.height);
    EXPECT_NEAR(30, facts.frameRate, 0.001);
    EXPECT_NEAR(3, facts.seconds, 0.01);
    EXPECT_TRUE(facts.hasSound);
    EXPECT_EQ(44100u, facts.sampleRate);
    EXPECT_EQ(2u, facts.channels);
    EXPECT_EQ(2u, facts.trackCount);
    EXPECT_NE("", facts.videoCodec);
}

TEST_F(Toolbox, offers_what_the_packages_that_it_needs_can_encode) {
    ASSERT_TRUE(movies::startGst());
    const movies::Formats formats = movies::listFormats();
    for (const uint32_t codec : {atoms::kH264, atoms::kProRes422, atoms::kPhotoJpeg, atoms::kPng})
        EXPECT_NE(nullptr, movies::findVideo(formats, codec)) << atoms::typeText(codec);
    for (const uint32_t codec : {atoms::kAac, atoms::kPcmLittleEndian, atoms::kPcmBigEndian})
        EXPECT_NE(nullptr, movies::findSound(formats, codec)) << atoms::typeText(codec);
    EXPECT_EQ(nullptr, movies::findVideo(formats, atoms::typeOf("zzzz")));
}

}  // namespace
