#include "host/tarvo/Console.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <mutex>

namespace tarvo::console {
namespace {

constexpr int kBarWidth = 40;
constexpr int kPlainStep = 25;  // percent between two lines where there is no terminal

std::mutex gMutex;  // guards the streams and what follows
std::string gLabel;
int gShown = -1;
bool gHasBar = false;

void endBar() {
    if (gHasBar) std::fputs("\n", stderr);
    gHasBar = false;
}

void printTo(std::FILE* stream, std::string_view text) {
    endBar();
    std::fwrite(text.data(), 1, text.size(), stream);
    std::fputc('\n', stream);
    std::fflush(stream);
}

}  // namespace

bool isTerminal() {
    return ::isatty(STDERR_FILENO) == 1;
}

void printResult(std::string_view line) {
    const std::lock_guard lock(gMutex);
    printTo(stdout, line);
}

void printNote(std::string_view line) {
    const std::lock_guard lock(gMutex);
    printTo(stderr, line);
}

void printComplaint(std::string_view line) {
    const std::lock_guard lock(gMutex);
    printTo(stderr, "tarvo: " + std::string(line));
}

void showProgress(const std::string& label, int percent) {
    const std::lock_guard lock(gMutex);
    percent = std::clamp(percent, 0, 100);
    if (label != gLabel) {
        gLabel = label;
        gShown = -1;
    }
    if (percent <= gShown) return;
    if (isTerminal()) {
        const auto filled = static_cast<size_t>(percent * kBarWidth / 100);
        const std::string bar = std::string(filled, '#') + std::string(kBarWidth - filled, ' ');
        fmt::print(stderr, "\r{}  [{}] {:3} %", label, bar, percent);
        std::fflush(stderr);
        gHasBar = true;
    } else if (gShown < 0 || percent == 100 || percent / kPlainStep > gShown / kPlainStep) {
        printTo(stderr, fmt::format("{}  {:3} %", label, percent));
    } else {
        return;  // not shown, so the next step is counted from the line before
    }
    gShown = percent;
}

void endProgress() {
    const std::lock_guard lock(gMutex);
    endBar();
    gLabel.clear();
    gShown = -1;
}

}  // namespace tarvo::console
