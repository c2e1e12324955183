/* A picture of 25 MB from a camera without a speed limit to a file, against writing as many bytes to one. */
#include <benchmark/benchmark.h>
#include <fcntl.h>

#include <chrono>
#include <vector>

#include "benchmarks/CanonBench.h"
#include "benchmarks/Loopback.h"

namespace {

constexpr int64_t kPictureSize = 25000000;
constexpr int kPictures = 20;

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/** The simulated camera's card: a file, so that the camera's own work is little more than handing it over. */
void putOnCard(const std::string& path) {
    const std::vector<uint8_t> picture(kPictureSize, 7);
    const int file = open(path.c_str(), O_CREAT | O_TRUNC | O_RDWR, 0666);
    require(write(file, picture.data(), picture.size()) == kPictureSize, "write");
    close(file);
}

void BM_download_25MB(benchmark::State& state) {
    const e2e::TempFolder folder;
    putOnCard(folder.file("card"));
    CanonBench bench(e2e::Json{{"shots", e2e::shotOf({e2e::cardFile("IMG_0001.JPG", folder.file("card"))})}});
    const std::string path = folder.file("picture");
    for (auto _ : state) {
        bench.canon.preCapture(bench.session, path);
        bench.canon.capture(bench.session, path);
        const int32_t item = bench.events.waitFor(1, 0x208).last();
        const auto start = std::chrono::steady_clock::now();
        require(bench.canon.download(bench.session, item) == 0, "download");
        state.SetIterationTime(secondsSince(start));
        unlink((path + ".jpg").c_str());
    }
    state.SetBytesProcessed(state.iterations() * kPictureSize);
}

void BM_download_25MB_baseline(benchmark::State& state) {
    const std::vector<uint8_t> picture(kPictureSize, 7);
    const e2e::TempFolder folder;
    const std::string path = folder.file("picture.jpg");
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        const int file = open(path.c_str(), O_CREAT | O_TRUNC | O_RDWR, 0666);
        require(write(file, picture.data(), picture.size()) == kPictureSize, "write");
        close(file);
        state.SetIterationTime(secondsSince(start));
        unlink(path.c_str());
    }
    state.SetBytesProcessed(state.iterations() * kPictureSize);
}

BENCHMARK(BM_download_25MB_baseline)->UseManualTime()->Iterations(kPictures);
BENCHMARK(BM_download_25MB)->UseManualTime()->Iterations(kPictures);

}  // namespace
