/* Live view's frames a second while the export-settings dialog is open on a screen, against the same helper
 * without one. The cameras are the lab's, the dialog is the real one. */
#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>

#include "benchmarks/CanonBench.h"
#include "tests/QuickTime/TestMovies.h"
#include "tests/UserInterface/Desktop.h"
#include "tests/e2e/support/raw_socket.h"

namespace {

/** The simulated set but for the libraries of the dialog. */
std::string mixedSetPath(const e2e::TempFolder& folder) {
    for (const auto& library : std::filesystem::directory_iterator(e2e::simulatedSetPath())) {
        const std::string name = library.path().filename().string();
        if (name == "libQuickTime.so" || name == "libUserInterface.so") continue;
        std::filesystem::create_symlink(std::filesystem::canonical(library.path()), folder.path() / name);
    }
    return folder.path().string();
}

void measure(benchmark::State& state, bool hasDialog) {
    if (!Desktop::isAvailable() || !isInstalled("xdotool")) {
        state.SkipWithError("Xvfb or xdotool is not installed");
        return;
    }
    const e2e::TempFolder libraries;
    const e2e::TempFolder files;
    const Desktop desktop;
    e2e::HelperOptions options = oneBody(e2e::Json{{"liveview", e2e::madeUpFrames({80000})}});
    options.environment = {{"DISPLAY", desktop.name()}, {"WAYLAND_DISPLAY", ""},
                           {"GDK_BACKEND", "x11"},      {"GSK_RENDERER", "cairo"},
                           {"GTK_A11Y", "none"},        {"LD_LIBRARY_PATH", mixedSetPath(libraries)}};
    e2e::HelperProcess helper(options);
    e2e::CanonCalls canon(helper.port());
    canon.initializeSdk();
    const int32_t session = canon.openSession(canon.cameraList().at(0));
    e2e::RawClient request;
    if (hasDialog) {
        const std::string movie = files.file("film.mov");
        makeMovie(movie);
        request.connect(helper.port());
        request.send(
            e2e::Message().byte(30).byte(1).text(files.file("a")).text(files.file("b")).text(movie).byte(0));
        EXPECT_TRUE(desktop.showsWindows("Export Settings: film.mov", 1));
    }
    canon.startLiveView(session);
    canon.liveViewFrame(session);
    for (auto _ : state) {
        benchmark::DoNotOptimize(canon.liveViewFrame(session));
    }
    state.SetItemsProcessed(state.iterations());
    if (hasDialog) {
        // It was open to the end.
        const auto windows = desktop.windows("Export Settings: film.mov");
        EXPECT_EQ(1u, windows.size());
        desktop.pressKeys(windows.at(0), "Escape");
        EXPECT_EQ(6u, request.receiveUntilClosed().size());
    }
    helper.stop();
}

void BM_live_view_dialog(benchmark::State& state) {
    measure(state, true);
}

void BM_live_view_dialog_baseline(benchmark::State& state) {
    measure(state, false);
}

BENCHMARK(BM_live_view_dialog)->UseRealTime()->Iterations(500);
BENCHMARK(BM_live_view_dialog_baseline)->UseRealTime()->Iterations(500);

}  // namespace
