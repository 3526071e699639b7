// The 9 x 9 matrix toolbox: transpose, product, inverse and 3 x 3 rank.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <initializer_list>
#include <random>

#include "kinematics/matrix_tool.h"

namespace {

AlgoMatrix make(int rows, int cols, std::initializer_list<float> values = {}) {
    AlgoMatrix a;
    std::memset(&a, 0, sizeof a);
    a.rows = rows;
    a.cols = cols;
    const float *v = values.begin();
    for (int i = 0; i < rows && values.size(); ++i)
        for (int j = 0; j < cols; ++j) a.data[i][j] = *v++;
    return a;
}

bool zero_outside(const AlgoMatrix &a) {
    for (int i = 0; i < 9; ++i)
        for (int j = 0; j < 9; ++j)
            if ((i >= a.rows || j >= a.cols) && a.data[i][j] != 0.0f) return false;
    return true;
}

}  // namespace

TEST(MatrixTool, TransposeSizes) {
    const AlgoMatrix t = algo_matrix_tool_t(make(2, 3, {1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(t.rows, 3);
    EXPECT_EQ(t.cols, 2);
    EXPECT_EQ(t.data[2][1], 6.0f);
    EXPECT_TRUE(zero_outside(t));
    AlgoMatrix e = make(0, 3);
    e.data[0][0] = 7.0f;  // ignored: the result is all zero
    const AlgoMatrix te = algo_matrix_tool_t(e);
    EXPECT_EQ(te.rows, 3);
    EXPECT_EQ(te.cols, 0);
    EXPECT_EQ(te.data[0][0], 0.0f);
}

TEST(MatrixTool, ProductSizesAndDoubleAccumulation) {
    AlgoMatrix a = make(3, 2, {1, 2, 3, 4, 5, 6});
    const AlgoMatrix b = make(2, 4, {1, 0, 2, 1, 0, 1, 1, 2});
    const AlgoMatrix p = algo_matrix_tool_m(a, b);
    EXPECT_EQ(p.rows, 3);
    EXPECT_EQ(p.cols, 4);
    EXPECT_EQ(p.data[2][3], 17.0f);
    EXPECT_TRUE(zero_outside(p));
    // Summed in double: 1e8 + 1 - 1e8 keeps the 1 (a float sum would lose it).
    const AlgoMatrix r = make(1, 3, {1e8f, 1.0f, -1e8f}), c = make(3, 1, {1, 1, 1});
    EXPECT_EQ(algo_matrix_tool_m(r, c).data[0][0], 1.0f);
}

TEST(MatrixTool, InversePermutedDiagonalIsExact) {
    const AlgoMatrix a = make(3, 3, {0, 0, 2, 4, 0, 0, 0, 8, 0});
    const AlgoMatrix x = algo_matrix_tool_inv(a);
    const AlgoMatrix want = make(3, 3, {0, 0.25f, 0, 0, 0, 0.125f, 0.5f, 0, 0});
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_EQ(x.data[i][j], want.data[i][j]);
    const AlgoMatrix empty = make(0, 0, {});
    const AlgoMatrix same = algo_matrix_tool_inv(empty);
    EXPECT_EQ(std::memcmp(&same, &empty, sizeof empty), 0);
}

TEST(MatrixTool, InverseRoundTrip) {
    std::mt19937 rng(9);
    std::normal_distribution<float> g;
    for (int n = 1; n <= 9; ++n) {
        AlgoMatrix a = make(n, n);
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j) a.data[i][j] = g(rng) + (i == j ? 3.0f : 0.0f);
        const AlgoMatrix x = algo_matrix_tool_inv(a);
        const AlgoMatrix p = algo_matrix_tool_m(a, x);
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j) EXPECT_NEAR(p.data[i][j], i == j ? 1.0f : 0.0f, 2e-6f) << n;
        EXPECT_TRUE(zero_outside(x));
    }
    const AlgoMatrix singular = algo_matrix_tool_inv(make(2, 2, {1, 2, 2, 4}));
    EXPECT_FALSE(std::isfinite(singular.data[0][0]) && std::isfinite(singular.data[1][1]));
}

TEST(MatrixTool, RankOfTheThreeByThreeBlock) {
    AlgoMatrix tiny = make(3, 3, {5e-5f, -9e-5f, 0, 1e-5f, 0, 0, 0, 0, -9.9e-5f});
    EXPECT_EQ(algo_rank(&tiny), 0);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_EQ(tiny.data[i][j], 0.0f);

    AlgoMatrix two = make(3, 3, {1, 2, 3, 2, 4, 6, 0, 1, 1});
    EXPECT_EQ(algo_rank(&two), 2);
    EXPECT_EQ(two.data[0][0], 2.0f);  // largest pivot swapped up, rows below reduced
    EXPECT_EQ(two.data[1][0], 0.0f);
    EXPECT_EQ(two.data[2][0], 0.0f);

    AlgoMatrix first_col_zero = make(3, 3, {0, 1, 0, 0, 0, 1, 0, 0, 0});
    EXPECT_EQ(algo_rank(&first_col_zero), 2);

    // Only the upper-left 3 x 3 block of a 5 x 5 record counts.
    AlgoMatrix big = make(5, 5);
    big.data[0][0] = 1;
    big.data[1][1] = 1;
    big.data[3][3] = 1;
    big.data[4][4] = 1;
    big.data[2][4] = 1;
    EXPECT_EQ(algo_rank(&big), 2);
    EXPECT_EQ(big.data[3][3], 1.0f);
}

TEST(MatrixTool, OversizedCountsAreClamped) {
    AlgoMatrix a = make(9, 9);
    for (int i = 0; i < 9; ++i) a.data[i][i] = 2.0f;
    a.rows = a.cols = 40;
    const AlgoMatrix t = algo_matrix_tool_t(a), p = algo_matrix_tool_m(a, a), x = algo_matrix_tool_inv(a);
    EXPECT_EQ(t.rows, 9);
    EXPECT_EQ(p.data[8][8], 4.0f);
    EXPECT_EQ(x.data[8][8], 0.5f);
}
