// Every vendor call of every Canon method, failing, coming late, and meeting a camera that vanishes.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/faults/matrix.h"

namespace e2e::faults {
namespace {

std::vector<Row> allRows() {
    std::vector<Row> rows;
    for (const auto& part :
         {libraryRows(), sessionRows(), settingRows(), captureRows(), downloadRows(), liveViewRows()}) {
        rows.insert(rows.end(), part.begin(), part.end());
    }
    return rows;
}

class CanonFaults : public ::testing::TestWithParam<Row> {};

TEST_P(CanonFaults, are_answered_as_documented_and_leave_nothing_behind) {
    Matrix(GetParam()).run();
}

INSTANTIATE_TEST_SUITE_P(Matrix, CanonFaults, ::testing::ValuesIn(allRows()),
                         [](const auto& row) { return row.param.name; });

TEST(CanonFaultMatrix, has_a_row_for_every_method) {
    const std::vector<Row> rows = allRows();
    for (const CanonMethod& method : canonMethods()) {
        EXPECT_TRUE(std::any_of(rows.begin(), rows.end(), [&](const Row& row) {
            return row.method == method.id;
        })) << method.name;
    }
}

}  // namespace
}  // namespace e2e::faults
