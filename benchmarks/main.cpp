/* main.cpp: runs the benchmarks, and says on what machine. The checks of the tests' client count: a run in
 * which one of them failed measured something else, so it fails. */
#include <benchmark/benchmark.h>
#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

std::string processorModel() {
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);) {
        const size_t colon = line.find(": ");
        if (line.starts_with("model name") && colon != std::string::npos) return line.substr(colon + 2);
    }
    return "unknown processor";  // not all architectures name theirs there
}

std::string kernel() {
    utsname name{};
    return uname(&name) == 0 ? std::string(name.sysname) + ' ' + name.release + ' ' + name.machine
                             : "unknown";
}

/** Unless told otherwise, the helper of the build tree that this program lies in. */
void chooseHelper() {
    const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    setenv("TARVO_HELPER", (folder / "../bin/TarvoRemote").c_str(), 0);
}

}  // namespace

int main(int argc, char** argv) {
    chooseHelper();
    testing::InitGoogleTest(&argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return EXIT_FAILURE;
    benchmark::AddCustomContext("processor", processorModel());
    benchmark::AddCustomContext("kernel", kernel());
    benchmark::AddCustomContext("build_type", TARVO_BUILD_TYPE);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (!testing::UnitTest::GetInstance()->Failed()) return EXIT_SUCCESS;
    std::fputs("A check failed, so the figures of this run are none.\n", stderr);
    return EXIT_FAILURE;
}
