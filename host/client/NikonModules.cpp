#include "host/client/NikonModules.h"

#include <array>
#include <filesystem>

namespace tarvo {
namespace {

constexpr auto kModules = std::to_array<NikonModule>({
    {0, "D1"},
    {1, "D2"},
    {2, "D40"},
    {3, "D50"},
    {4, "D70"},
    {5, "D80"},
    {6, "D100"},
    {7, "D200"},
    {8, "Type0001"},
    {9, "Type0002"},
    {10, "Type0003"},
    {11, "Type0004"},
    {12, "Type0005"},
    {13, "Type0006"},
    {14, "Type0007"},
    {15, "Type0008"},
});

}  // namespace

std::span<const NikonModule> nikonModules() {
    return kModules;
}

std::vector<NikonModule> findNikonModules(const std::string& directory) {
    std::vector<NikonModule> found;
    for (const auto& module : kModules) {
        const auto bundle = std::filesystem::path(directory) / (std::string(module.name) + " Module.bundle");
        std::error_code ignored;
        if (std::filesystem::is_directory(bundle, ignored)) found.push_back(module);
    }
    return found;
}

}  // namespace tarvo
