#include "tests/faults/library_state.h"

#include <gtest/gtest.h>

namespace e2e::faults {

namespace {

Json librarySide(LabClient& lab) {
    const Json all = lab.must({{"cmd", "state"}});
    Json library = all.value("libraries", Json::object()).value("EDSDK", Json::object());
    EXPECT_TRUE(library.contains("references") && library.contains("misuse") &&
                library.contains("initialised"))
        << library.dump();
    return library;
}

}  // namespace

References heldReferences(LabClient& lab) {
    return librarySide(lab).value("references", References{});
}

int64_t misuse(LabClient& lab) {
    const Json counts = librarySide(lab).value("misuse", Json::object());
    EXPECT_TRUE(counts.contains("references") && counts.contains("releases")) << counts.dump();
    return counts.value("references", int64_t{0}) + counts.value("releases", int64_t{0});
}

bool isLibraryRunning(LabClient& lab) {
    return librarySide(lab).value("initialised", false);
}

}  // namespace e2e::faults
