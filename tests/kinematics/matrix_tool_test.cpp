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

bool same(const AlgoMatrix &a, const AlgoMatrix &b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// Results are zero outside their size; empty operands give empty results.
TEST(MatrixTool, TransposeAndProductSizes) {
    EXPECT_TRUE(same(algo_matrix_tool_t(make(2, 3, {1, 2, 3, 4, 5, 6})), make(3, 2, {1, 4, 2, 5, 3, 6})));
    AlgoMatrix e = make(0, 3);
    e.data[0][0] = 7.0f;  // ignored: the result is all zero
    EXPECT_TRUE(same(algo_matrix_tool_t(e), make(3, 0)));
    const AlgoMatrix a = make(3, 2, {1, 2, 3, 4, 5, 6}), b = make(2, 4, {1, 0, 2, 1, 0, 1, 1, 2});
    EXPECT_TRUE(same(algo_matrix_tool_m(a, b), make(3, 4, {1, 2, 4, 5, 3, 4, 10, 11, 5, 6, 16, 17})));
    // Summed in double: 1e8 + 1 - 1e8 keeps the 1 (a float sum would lose it).
    const AlgoMatrix r = make(1, 3, {1e8f, 1.0f, -1e8f}), c = make(3, 1, {1, 1, 1});
    EXPECT_EQ(algo_matrix_tool_m(r, c).data[0][0], 1.0f);
}

// The permuted diagonal needs both row and column interchanges, undone.
TEST(MatrixTool, InverseIsExactOnPermutedDiagonalAndRoundTrips) {
    const AlgoMatrix x = algo_matrix_tool_inv(make(3, 3, {0, 0, 2, 4, 0, 0, 0, 8, 0}));
    const AlgoMatrix want = make(3, 3, {0, 0.25f, 0, 0, 0, 0.125f, 0.5f, 0, 0});
    for (int i = 0; i < 9; ++i) EXPECT_EQ(x.data[i / 3][i % 3], want.data[i / 3][i % 3]);  // -0 == 0
    const AlgoMatrix empty = make(0, 0, {});
    EXPECT_TRUE(same(algo_matrix_tool_inv(empty), empty));
    // Reciprocal and multipliers in double: exact here, where float steps miss the last bit.
    EXPECT_TRUE(same(algo_matrix_tool_inv(make(2, 2, {3, 1, 1, 1})), make(2, 2, {0.5f, -0.5f, -0.5f, 1.5f})));
    std::mt19937 rng(9);
    std::normal_distribution<float> g;
    for (int n = 1; n <= 9; ++n) {
        AlgoMatrix a = make(n, n);
        for (int i = 0; i < n * n; ++i) a.data[i / n][i % n] = g(rng) + (i % (n + 1) == 0 ? 3.0f : 0.0f);
        const AlgoMatrix ai = algo_matrix_tool_inv(a), p = algo_matrix_tool_m(a, ai);
        EXPECT_EQ(ai.rows, n);
        for (int i = 0; i < 81; ++i) {
            const int r = i / 9, c = i % 9;
            EXPECT_NEAR(p.data[r][c], r == c && r < n ? 1.0f : 0.0f, 2e-6f) << n;
            EXPECT_TRUE(ai.data[r][c] == 0.0f || (r < n && c < n));
        }
    }
    const AlgoMatrix singular = algo_matrix_tool_inv(make(2, 2, {1, 2, 2, 4}));
    EXPECT_FALSE(std::isfinite(singular.data[0][0]) && std::isfinite(singular.data[1][1]));
}

TEST(MatrixTool, RankOfTheThreeByThreeBlock) {
    AlgoMatrix tiny = make(3, 3, {5e-5f, -9e-5f, 0, 1e-5f, 0, 0, 0, 0, -9.9e-5f});
    EXPECT_EQ(algo_rank(&tiny), 0);
    EXPECT_TRUE(same(tiny, make(3, 3)));
    AlgoMatrix two = make(3, 3, {1, 2, 3, 2, 4, 6, 0, 1, 1}), first_col_zero = make(3, 3, {0, 1, 0, 0, 0, 1, 0, 0, 0});
    EXPECT_EQ(algo_rank(&two), 2);
    EXPECT_TRUE(two.data[0][0] == 2.0f && two.data[1][0] == 0.0f && two.data[2][0] == 0.0f);  // pivot up, reduced
    EXPECT_EQ(algo_rank(&first_col_zero), 2);
    AlgoMatrix big = make(5, 5);  // only the upper-left 3 x 3 block of a 5 x 5 record counts
    big.data[0][0] = big.data[1][1] = big.data[3][3] = big.data[4][4] = big.data[2][4] = 1;
    EXPECT_EQ(algo_rank(&big), 2);
    EXPECT_EQ(big.data[3][3], 1.0f);
}

TEST(MatrixTool, OversizedCountsAreClamped) {
    AlgoMatrix a = make(9, 9);
    for (int i = 0; i < 9; ++i) a.data[i][i] = 2.0f;
    a.rows = a.cols = 40;
    EXPECT_EQ(algo_matrix_tool_t(a).rows, 9);
    EXPECT_TRUE(algo_matrix_tool_m(a, a).data[8][8] == 4.0f && algo_matrix_tool_inv(a).data[8][8] == 0.5f);
}

}  // namespace
