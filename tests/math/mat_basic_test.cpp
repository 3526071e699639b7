// Element, vector and arithmetic operations of `mat`, its inverse, merge_sort,
// printing, conversions, and the size/index clamping rules.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <initializer_list>
#include <random>
#include <vector>

#include "math/tova_matrix.h"

namespace {

mat make(int rows, int cols, std::initializer_list<float> values) {
    mat m = mat_init(rows, cols);
    mat_set_value(&m, values.begin());
    return m;
}

mat random_mat(std::mt19937 &rng, int rows, int cols) {
    std::normal_distribution<float> g(0.0f, 1.0f);
    mat m = mat_init(rows, cols);
    for (int i = 0; i < rows; ++i)
        for (int j = 0; j < cols; ++j) m.data[i][j] = g(rng);
    return m;
}

bool equal(const mat &a, const mat &b) { return mat_is_equal(&a, &b) == 1; }

TEST(MatEdge, SizeMismatchReductionsAndDiag) {
    const mat A32 = mat_init(3, 2), I3 = mat_eye(3, 3), zero = mat_zeros(3, 3);
    const mat P = mat_mult(&A32, &I3);
    EXPECT_TRUE(P.rows == 0 && P.cols == 3);
    const mat A = make(3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9}), B = make(3, 2, {1, 1, 1, 1, 1, 1});
    EXPECT_TRUE(equal(mat_sub(&A, &B), zero) && equal(mat_add(&A, &B), zero));

    const mat v = make(3, 1, {1, 2, 9}), one = make(1, 1, {5}), empty = mat_init(0, 0);
    EXPECT_EQ(vec_normInf(&v), 2.0f);  // the last element is not examined
    EXPECT_EQ(vec_normInf(&one), 0.0f);
    EXPECT_TRUE(mat_find_abs_min(&empty) == 1e10f && mat_find_abs_max(&empty) == 0.0f);
    const mat M = make(2, 3, {-7, 2, 3, 0.5f, -1, 4}), v34 = make(2, 1, {3, 4});
    EXPECT_TRUE(mat_find_abs_max(&M) == 7.0f && mat_find_abs_min(&M) == 0.5f && mat_trace(&M) == -8.0f);
    EXPECT_TRUE(vec_norm2(&v34) == 5.0f && vec_dot(&v34, &v34) == 25.0f);

    mat S = make(2, 2, {1, 2, 2, 1});
    EXPECT_EQ(mat_is_hermitian(&M), -1);
    EXPECT_EQ(mat_is_hermitian(&S), 1);
    EXPECT_EQ(mat_is_hermitian(&empty), 1);
    S.data[1][1] = NAN;
    EXPECT_EQ(mat_is_hermitian(&S), 0);

    const mat d1 = mat_diag(&one), col = make(3, 1, {1, 2, 3}), row = make(1, 3, {1, 2, 3});
    const mat D = make(3, 3, {1, 0, 0, 0, 2, 0, 0, 0, 3});
    EXPECT_TRUE(d1.rows == 0 && d1.cols == 0);
    EXPECT_TRUE(equal(mat_diag(&col), D) && equal(mat_diag(&row), D) && equal(mat_diag(&D), col));

    mat T = mat_eye(4, 4);  // mat_homogen_trans_inv is a copy, not an inverse
    T.data[0][3] = 1.5f;
    T.data[1][0] = 0.25f;
    EXPECT_TRUE(equal(mat_homogen_trans_inv(&T), T));

    const mat A12 = make(1, 2, {1, 2});
    testing::internal::CaptureStdout();
    mat_print(&A12);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Mat = \n\t1.000000,\t2.000000,\t\n");
}

TEST(MatEdge, MultAccumulatesInFloatInOrder) {
    const mat a = make(1, 3, {1e8f, 1.0f, -1e8f}), b = make(3, 1, {1, 1, 1});
    EXPECT_EQ(mat_mult(&a, &b).data[0][0], 0.0f);  // 1e8 + 1 rounds back to 1e8 in float
    std::mt19937 rng(7);  // (the inverse round trips below check the products' values)
    const mat A = random_mat(rng, 6, 7), B = random_mat(rng, 7, 6);
    const mat C = mat_mult(&A, &B), Ct = mat_T(&C), Bt = mat_T(&B), At = mat_T(&A);
    EXPECT_TRUE(equal(Ct, mat_mult(&Bt, &At)));  // same products, same order
}

TEST(MatEdge, VectorsAndSkew) {
    const mat v = make(3, 1, {1, -2, 0}), w = make(3, 1, {0.5f, 3, -1});
    const mat m = vec_minus(&v);
    EXPECT_TRUE(std::signbit(m.data[2][0]) && m.data[1][0] == 2.0f);  // sign bit flipped even for zero
    const mat S = vec_to_skew(&v), c = vec3x3_cross(&v, &w);
    EXPECT_TRUE(equal(skew_to_vec(&S), v) && equal(vec_vex(&S), v) && equal(c, mat_mult(&S, &w)));
    EXPECT_EQ(vec_dot(&c, &v), 0.0f);
    const mat tiny = make(2, 1, {1e-17f, 0}), small = make(2, 1, {1e-15f, 0}), none = vec_init(0);
    EXPECT_TRUE(vec_is_zeros(&tiny) == 1 && vec_is_zeros(&small) == 0 && vec_is_zeros(&none) == 1);
    const mat sum = vec_add(&v, &w);
    EXPECT_TRUE(equal(vec_sub(&sum, &w), v));
    EXPECT_TRUE(vec_kV(2.0f, &v).data[1][0] == -4.0f && vec_add_scalar(1.0f, &v).data[1][0] == -1.0f);
}

TEST(MatEdge, RowsColumnsAndConversions) {
    mat A = make(2, 3, {1, 2, 3, 4, 5, 6});
    const mat r2 = mat_get_Mrow_i(&A, 2), c3 = mat_get_Mcol_j(&A, 3);
    EXPECT_TRUE(r2.cols == 3 && r2.data[0][0] == 4.0f && c3.rows == 2 && c3.data[1][0] == 6.0f);
    swap_row(&A, 1, 2);
    swap_col(&A, 1, 3);
    EXPECT_TRUE(equal(A, make(2, 3, {6, 5, 4, 3, 2, 1})));
    mat_set_Mrow_i(&r2, 1, &A);
    mat_set_Mcol_j(&c3, 1, &A);
    EXPECT_TRUE(equal(A, make(2, 3, {3, 5, 6, 6, 2, 1})));

    Matrix M{};
    MatrixMore MM{};
    M.rows = 4, M.cols = 3, MM.rows = 6, MM.cols = 7;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 3; ++j) M.data[i][j] = float(i * 3 + j) + 0.5f;
    for (int i = 0; i < 6; ++i)
        for (int j = 0; j < 7; ++j) MM.data[i][j] = float(i - j) * 0.25f;
    const mat a = matrix_to_mat(&M), b = matrix_more_to_mat(&MM);
    EXPECT_EQ(a.data[3][2], 11.5f);
    const Matrix M2 = mat_to_matrix(&a);
    const MatrixMore MM2 = mat_to_matrix_more(&b);
    EXPECT_EQ(std::memcmp(&M, &M2, sizeof M), 0);
    EXPECT_EQ(std::memcmp(&MM, &MM2, sizeof MM), 0);
    const mat T = make(4, 4, {1, 2, 3, 10, 4, 5, 6, 11, 7, 8, 9, 12, 0, 0, 0, 1});
    EXPECT_TRUE(equal(mat_T2R(&T), make(3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9})));
    EXPECT_TRUE(equal(mat_T2p(&T), make(3, 1, {10, 11, 12})));
}

TEST(MatInv, FailuresLeaveOutputUntouched) {
    mat out = mat_eye(3, 3);
    out.data[2][0] = 42.0f;
    const mat sentinel = out;
    EXPECT_EQ(mat_inv(mat_init(2, 3), &out), 0);
    EXPECT_EQ(mat_inv(make(2, 2, {1, 2, 2, 4}), &out), -1);  // singular
    EXPECT_EQ(mat_inv(mat_zeros(3, 3), &out), -1);
    EXPECT_EQ(mat_inv(make(2, 2, {NAN, 1, 1, 1}), &out), -1);
    EXPECT_TRUE(equal(out, sentinel));
}

// The inversion steps written out literally (pivot scan, Jordan exchange with
// divisions in float, interchanges undone in reverse), against which mat_inv
// must agree to the bit.
int literal_inverse(mat A, mat *out) {
    const int n = A.rows;
    int prow[20], pcol[20];
    for (int k = 0; k < n; ++k) {
        prow[k] = pcol[k] = k;
        float big = std::fabs(A.data[k][k]), f[20];
        for (int i = k; i < n; ++i)
            for (int j = k; j < n; ++j)
                if (std::fabs(A.data[i][j]) > big) big = std::fabs(A.data[prow[k] = i][pcol[k] = j]);
        for (int j = 0; j < n; ++j) std::swap(A.data[k][j], A.data[prow[k]][j]);
        for (int i = 0; i < n; ++i) std::swap(A.data[i][k], A.data[i][pcol[k]]);
        const float p = A.data[k][k];
        for (int j = 0; j < n; ++j)
            if (!std::isfinite(f[j] = j == k ? 1.0f / p : -A.data[k][j] / p)) return -1;
        for (int i = 0; i < n; ++i) {
            if (i == k) continue;
            for (int j = 0; j < n; ++j)
                if (j != k) A.data[i][j] = A.data[i][j] + A.data[i][k] * f[j];
            A.data[i][k] = A.data[i][k] / p;
        }
        for (int j = 0; j < n; ++j) A.data[k][j] = f[j];
    }
    for (int k = n - 1; k >= 0; --k) {
        for (int i = 0; i < n; ++i) std::swap(A.data[i][k], A.data[i][prow[k]]);
        for (int j = 0; j < n; ++j) std::swap(A.data[k][j], A.data[pcol[k]][j]);
    }
    *out = A;
    return 1;
}

// Small integer matrices full of pivot ties (often singular), and random
// well-conditioned ones of every size 1..20, which must also invert.
TEST(MatInv, AgreesToTheBitWithTheLiteralStepsAndInverts) {
    std::mt19937 rng(17);
    std::uniform_int_distribution<int> small(-3, 3);
    for (int trial = 0; trial < 400; ++trial) {
        const int n = trial % 2 ? 1 + trial / 2 % 20 : 1 + trial % 8;
        mat A = random_mat(rng, n, n), got = mat_zeros(n, n), want = got;
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j)
                A.data[i][j] = trial % 2 ? A.data[i][j] + (i == j ? 2.0f * std::sqrt(float(n)) : 0.0f)
                                         : float(small(rng));
        ASSERT_EQ(mat_inv(A, &got), literal_inverse(A, &want));
        EXPECT_TRUE(equal(got, want)) << trial;
        if (trial % 2 == 0) continue;
        const mat P = mat_mult(&A, &got), I = mat_eye(n, n), E = mat_sub(&P, &I);
        EXPECT_LT(mat_find_abs_max(&E), 2e-5f) << "n=" << n;
    }
}

TEST(MergeSort, StableInBothOrders) {
    std::mt19937 rng(3);
    std::uniform_int_distribution<int> pick(-3, 3);
    for (int n : {0, 1, 2, 3, 17, 64, 1000, 2000}) {
        std::vector<float> a(static_cast<size_t>(n));
        for (float &x : a) {
            const int k = pick(rng);
            x = k == 0 ? (rng() & 1 ? 0.0f : -0.0f) : float(k);  // +0 and -0 tie: reveals stability
        }
        for (int desc : {0, 1}) {
            std::vector<float> got = a, want = a;
            merge_sort(desc, got.data(), n);
            std::stable_sort(want.begin(), want.end(), [desc](float x, float y) { return desc ? x > y : x < y; });
            for (size_t i = 0; i < a.size(); ++i)
                ASSERT_TRUE(got[i] == want[i] && std::signbit(got[i]) == std::signbit(want[i])) << n << " " << desc;
        }
    }
    std::vector<float> big(2001, 1.0f);
    big[0] = 5.0f;
    merge_sort(0, big.data(), 2001);  // past the scratch capacity: untouched
    EXPECT_EQ(big[0], 5.0f);
}

}  // namespace
