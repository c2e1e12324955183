// Every command of every Nikon method, failing, coming late, and meeting a camera that vanishes; every poll
// refused; completions that come late.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/faults/nikon_matrix.h"

namespace e2e::faults {
namespace {

std::vector<NikonRow> allRows() {
    std::vector<NikonRow> rows;
    for (const auto& part : {nikonModuleRows(), nikonCameraRows(), nikonCaptureRows(), nikonLiveViewRows()}) {
        rows.insert(rows.end(), part.begin(), part.end());
    }
    return rows;
}

class NikonFaults : public ::testing::TestWithParam<NikonRow> {};

TEST_P(NikonFaults, are_answered_as_documented_and_leave_nothing_behind) {
    NikonMatrix(GetParam()).run();
}

INSTANTIATE_TEST_SUITE_P(Matrix, NikonFaults, ::testing::ValuesIn(allRows()),
                         [](const auto& row) { return row.param.name; });

TEST(NikonFaultMatrix, has_a_row_for_every_method) {
    const std::vector<NikonRow> rows = allRows();
    for (const NikonMethod& method : nikonMethods()) {
        EXPECT_TRUE(std::any_of(rows.begin(), rows.end(), [&](const NikonRow& row) {
            return row.method == method.id;
        })) << method.name;
    }
}

}  // namespace
}  // namespace e2e::faults
