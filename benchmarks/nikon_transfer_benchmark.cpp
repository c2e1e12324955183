/* A NEF of 25 MB, delivered in blocks of 64 KB, to a file, against writing the same buffer to one.
 *
 * The module is a stub that delivers all blocks when the transfer is started and completes it then: what is
 * measured is the helper's work on the blocks, not the polls of a slow camera.
 */
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <vector>

#include "Nikon/NikonRecords.h"
#include "Nikon/nikon_internal.h"
#include "benchmarks/Loopback.h"
#include "tests/Nikon/ScriptedModule.h"
#include "tests/e2e/support/temp_folder.h"

namespace {

using nikon::test::Command;
using nikon::test::ScriptedModule;

constexpr uint32_t kPictureSize = 25000000;
constexpr uint32_t kBlock = 65536;
constexpr int kPictures = 20;

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void BM_nikon_transfer_25MB(benchmark::State& state) {
    const std::vector<uint8_t> picture(kPictureSize, 7);
    const e2e::TempFolder folder;
    ScriptedModule scripted;
    scripted.completesAtOnce = true;
    nikon::NikonModule module;
    module.root.entryPoint = ScriptedModule::entry;
    require(nikon::openLoadedModule(module), "open");
    require(AddChild(&module.root, 1) && AddChild(module.root.children[0], 5), "item");
    nikon::tagRefObj* item = module.root.children[0]->children[0];
    require(AddChild(item, 1), "image");
    scripted.answer(kMaidCommandCapStart, kMaidCapabilityAcquire, [&](const Command& command) {
        return scripted.deliver(command.object, kMaidFileNef, picture, kBlock);
    });
    nikon::CameraData camera;
    std::strcpy(camera.imagePath, folder.file("picture").c_str());
    const std::string path = folder.file("picture.nef");
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        require(IssueAcquire(&camera, item->children[0]), "transfer");
        state.SetIterationTime(secondsSince(start));
        require(unlink(path.c_str()) == 0, "picture.nef");
    }
    nikon::Close_Module(&module.root);
    state.SetBytesProcessed(state.iterations() * kPictureSize);
}

void BM_nikon_transfer_25MB_baseline(benchmark::State& state) {
    const std::vector<uint8_t> picture(kPictureSize, 7);
    const e2e::TempFolder folder;
    const std::string path = folder.file("picture.nef");
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

BENCHMARK(BM_nikon_transfer_25MB_baseline)->UseManualTime()->Iterations(kPictures);
BENCHMARK(BM_nikon_transfer_25MB)->UseManualTime()->Iterations(kPictures);

}  // namespace
