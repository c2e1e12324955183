/* What the helper costs when it starts and while it does nothing. */
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "benchmarks/Loopback.h"
#include "tests/e2e/support/helper_process.h"

namespace {

using Clock = std::chrono::steady_clock;

/** Starts the helper; its log comes through the pipe's reading end. */
pid_t spawn(const std::string& program, const char* libraries, int* log) {
    int ends[2];
    require(pipe2(ends, O_CLOEXEC) == 0, "pipe");
    const pid_t child = fork();
    require(child >= 0, "fork");
    if (child == 0) {
        dup2(ends[1], STDERR_FILENO);
        dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
        if (libraries != nullptr) setenv("LD_LIBRARY_PATH", libraries, 1);
        execl(program.c_str(), program.c_str(), nullptr);
        _exit(127);
    }
    close(ends[1]);
    *log = ends[0];
    return child;
}

void waitForPort(int log) {
    std::string text;
    char piece[512];
    while (text.find("PORT=") == std::string::npos) {
        const ssize_t count = read(log, piece, sizeof piece);
        require(count > 0, ("the helper's log, which ends with \"" + text + "\"").c_str());
        text.append(piece, static_cast<size_t>(count));
    }
}

void starts(benchmark::State& state, const char* libraries) {
    const std::string program = e2e::helperPath();
    for (auto _ : state) {
        int log = -1;
        const auto start = Clock::now();
        const pid_t child = spawn(program, libraries, &log);
        waitForPort(log);
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        close(log);
    }
}

void BM_start_to_port_hardware_set(benchmark::State& state) {
    starts(state, nullptr);
}

void BM_start_to_port_simulated_set(benchmark::State& state) {
    starts(state, e2e::simulatedSetPath().c_str());
}

/** How often the process's threads were put on a core, by the kernel's count. */
int64_t contextSwitches(pid_t process) {
    int64_t total = 0;
    const std::string tasks = "/proc/" + std::to_string(process) + "/task";
    for (const auto& task : std::filesystem::directory_iterator(tasks)) {
        std::ifstream status(task.path() / "status");
        for (std::string line; std::getline(status, line);) {
            if (line.find("ctxt_switches:") == std::string::npos) continue;
            total += std::stoll(line.substr(line.find(':') + 1));
        }
    }
    return total;
}

void BM_idle_wakeups_in_10_s(benchmark::State& state) {
    const e2e::HelperProcess helper({});
    std::this_thread::sleep_for(std::chrono::seconds(1));
    for (auto _ : state) {
        const int64_t before = contextSwitches(helper.pid());
        std::this_thread::sleep_for(std::chrono::seconds(10));
        state.counters["wakeups"] = static_cast<double>(contextSwitches(helper.pid()) - before);
    }
}

double residentKiB(const e2e::HelperProcess& helper) {
    return static_cast<double>(helper.residentBytes()) / 1024.0;
}

void memory(benchmark::State& state, const e2e::HelperOptions& options) {
    constexpr uint8_t kCall[] = {10, 19, 0, 0, 0, 0};
    for (auto _ : state) {
        const e2e::HelperProcess helper(options);
        state.counters["idle_KiB"] = residentKiB(helper);
        std::vector<int> sockets;
        for (int i = 0; i < 100; ++i) {
            sockets.push_back(connectTo(helper.port()));
            send(sockets.back(), kCall, sizeof kCall, 0);
            uint8_t answer[5];
            receiveAll(sockets.back(), answer, sizeof answer);
        }
        state.counters["with_100_connections_KiB"] = residentKiB(helper);
        for (const int socket : sockets) {
            close(socket);
        }
    }
}

void BM_memory_hardware_set(benchmark::State& state) {
    e2e::HelperOptions options;
    options.environment["LD_LIBRARY_PATH"] = "";
    memory(state, options);
}

void BM_memory_simulated_set(benchmark::State& state) {
    memory(state, {});
}

BENCHMARK(BM_start_to_port_hardware_set)->UseManualTime()->Iterations(50);
BENCHMARK(BM_start_to_port_simulated_set)->UseManualTime()->Iterations(50);
BENCHMARK(BM_idle_wakeups_in_10_s)->UseRealTime()->Iterations(1);
BENCHMARK(BM_memory_hardware_set)->UseRealTime()->Iterations(1);
BENCHMARK(BM_memory_simulated_set)->UseRealTime()->Iterations(1);

}  // namespace
