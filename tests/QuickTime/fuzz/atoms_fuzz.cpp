/* Any bytes as a settings file: what is accepted must come out as it went in, and must bear a choice being
 * written into it. */
#include <cstdio>
#include <cstdlib>

#include "frameworks/QuickTime/atoms/ExportChoice.h"

namespace {

void require(bool isTrue, const char* what) {
    if (isTrue) return;
    std::fprintf(stderr, "violated: %s\n", what);
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::span<const uint8_t> bytes(data, size);
    atoms::Container container;
    if (!atoms::parse(bytes, container)) return 0;
    const auto written = atoms::serialise(container);
    require(written && std::equal(written->begin(), written->end(), bytes.begin(), bytes.end()),
            "what is read is written back byte by byte");

    atoms::ExportChoice choice;
    atoms::readChoice(container, choice);
    atoms::writeChoice(choice, container);
    const auto chosen = atoms::serialise(container);
    if (!chosen) return 0;  // it was as wide or as long as may be, before the choice came on top
    atoms::Container again;
    require(atoms::parse(*chosen, again) && again == container,
            "a choice leaves a container that can be read");
    atoms::ExportChoice same;
    atoms::readChoice(again, same);
    require(same == choice, "a choice is read as it was written");
    return 0;
}
