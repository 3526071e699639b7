// Element, vector and arithmetic operations of `mat`, its inverse, merge_sort,
// printing, conversions, and the size/index clamping rules.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <initializer_list>
#include <random>
#include <string>
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

}  // namespace

TEST(MatEdge, SizeMismatchResults) {
    const mat A32 = mat_init(3, 2), I3 = mat_eye(3, 3);
    const mat P = mat_mult(&A32, &I3);
    EXPECT_EQ(P.rows, 0);
    EXPECT_EQ(P.cols, 3);
    const mat A = make(3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9});
    const mat B = make(3, 2, {1, 1, 1, 1, 1, 1});
    const mat zero = mat_zeros(3, 3);
    for (const mat &r : {mat_sub(&A, &B), mat_add(&A, &B)}) EXPECT_EQ(mat_is_equal(&r, &zero), 1);
}

TEST(MatEdge, Reductions) {
    const mat v = make(3, 1, {1, 2, 9});
    EXPECT_EQ(vec_normInf(&v), 2.0f);  // the last element is not examined
    const mat one = make(1, 1, {5});
    EXPECT_EQ(vec_normInf(&one), 0.0f);
    const mat empty = mat_init(0, 0);
    EXPECT_EQ(mat_find_abs_min(&empty), 1e10f);
    EXPECT_EQ(mat_find_abs_max(&empty), 0.0f);
    const mat A = make(2, 3, {-7, 2, 3, 0.5f, -1, 4});
    EXPECT_EQ(mat_find_abs_max(&A), 7.0f);
    EXPECT_EQ(mat_find_abs_min(&A), 0.5f);
    EXPECT_EQ(mat_trace(&A), -8.0f);
    const mat v34 = make(2, 1, {3, 4});
    EXPECT_EQ(vec_norm2(&v34), 5.0f);
    EXPECT_EQ(vec_dot(&v34, &v34), 25.0f);
}

TEST(MatEdge, HermitianAndDiag) {
    const mat A23 = mat_init(2, 3);
    EXPECT_EQ(mat_is_hermitian(&A23), -1);
    mat S = make(2, 2, {1, 2, 2, 1});
    EXPECT_EQ(mat_is_hermitian(&S), 1);
    S.data[1][1] = NAN;
    EXPECT_EQ(mat_is_hermitian(&S), 0);
    const mat empty = mat_init(0, 0);
    EXPECT_EQ(mat_is_hermitian(&empty), 1);

    const mat one = make(1, 1, {4});
    const mat d1 = mat_diag(&one);
    EXPECT_EQ(d1.rows, 0);
    EXPECT_EQ(d1.cols, 0);
    const mat col = make(3, 1, {1, 2, 3}), row = make(1, 3, {1, 2, 3});
    const mat expect = make(3, 3, {1, 0, 0, 0, 2, 0, 0, 0, 3});
    for (const mat &r : {mat_diag(&col), mat_diag(&row)}) EXPECT_EQ(mat_is_equal(&r, &expect), 1);
    const mat back = mat_diag(&expect);
    EXPECT_EQ(mat_is_equal(&back, &col), 1);
}

TEST(MatEdge, HomogenTransInvIsACopy) {
    mat T = mat_eye(4, 4);
    T.data[0][3] = 1.5f;
    T.data[1][0] = 0.25f;
    const mat r = mat_homogen_trans_inv(&T);
    EXPECT_EQ(mat_is_equal(&r, &T), 1);
}

TEST(MatEdge, PrintFormat) {
    const mat A = make(1, 2, {1, 2});
    testing::internal::CaptureStdout();
    mat_print(&A);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Mat = \n\t1.000000,\t2.000000,\t\n");
}

TEST(MatEdge, MultAccumulatesInFloatInOrder) {
    const mat a = make(1, 3, {1e8f, 1.0f, -1e8f});
    const mat b = make(3, 1, {1, 1, 1});
    EXPECT_EQ(mat_mult(&a, &b).data[0][0], 0.0f);  // 1e8 + 1 rounds back to 1e8 in float
    std::mt19937 rng(7);
    const mat A = random_mat(rng, 6, 7), B = random_mat(rng, 7, 6);
    const mat C = mat_mult(&A, &B);
    for (int i = 0; i < 6; ++i)
        for (int j = 0; j < 6; ++j) {
            double s = 0;
            for (int k = 0; k < 7; ++k) s += double(A.data[i][k]) * B.data[k][j];
            EXPECT_NEAR(C.data[i][j], s, 1e-5);
        }
    const mat Ct = mat_T(&C), Bt = mat_T(&B), At = mat_T(&A), BtAt = mat_mult(&Bt, &At);
    EXPECT_EQ(Ct.rows, 6);
    for (int i = 0; i < 6; ++i)
        for (int j = 0; j < 6; ++j) EXPECT_NEAR(Ct.data[i][j], BtAt.data[i][j], 1e-5);
}

TEST(MatEdge, VectorsAndSkew) {
    const mat v = make(3, 1, {1, -2, 0});
    const mat m = vec_minus(&v);
    EXPECT_TRUE(std::signbit(m.data[2][0]));  // sign bit flipped even for zero
    EXPECT_EQ(m.data[1][0], 2.0f);
    const mat S = vec_to_skew(&v);
    for (const mat &r : {skew_to_vec(&S), vec_vex(&S)}) EXPECT_EQ(mat_is_equal(&r, &v), 1);
    const mat w = make(3, 1, {0.5f, 3, -1});
    const mat c = vec3x3_cross(&v, &w), Sw = mat_mult(&S, &w);
    EXPECT_EQ(mat_is_equal(&c, &Sw), 1);
    EXPECT_EQ(vec_dot(&c, &v), 0.0f);
    const mat tiny = make(2, 1, {1e-17f, 0});
    EXPECT_EQ(vec_is_zeros(&tiny), 1);
    const mat small = make(2, 1, {1e-15f, 0});
    EXPECT_EQ(vec_is_zeros(&small), 0);
    const mat none = vec_init(0);
    EXPECT_EQ(vec_is_zeros(&none), 1);
    const mat sum = vec_add(&v, &w), diff = vec_sub(&sum, &w);
    EXPECT_EQ(mat_is_equal(&diff, &v), 1);
    const mat k = vec_kV(2.0f, &v), kk = vec_add_scalar(1.0f, &v);
    EXPECT_EQ(k.data[1][0], -4.0f);
    EXPECT_EQ(kk.data[1][0], -1.0f);
}

TEST(MatEdge, RowsColumnsAndConversions) {
    mat A = make(2, 3, {1, 2, 3, 4, 5, 6});
    const mat r2 = mat_get_Mrow_i(&A, 2), c3 = mat_get_Mcol_j(&A, 3);
    EXPECT_EQ(r2.cols, 3);
    EXPECT_EQ(r2.data[0][0], 4.0f);
    EXPECT_EQ(c3.rows, 2);
    EXPECT_EQ(c3.data[1][0], 6.0f);
    swap_row(&A, 1, 2);
    swap_col(&A, 1, 3);
    const mat swapped = make(2, 3, {6, 5, 4, 3, 2, 1});
    EXPECT_EQ(mat_is_equal(&A, &swapped), 1);
    mat_set_Mrow_i(&r2, 1, &A);
    mat_set_Mcol_j(&c3, 1, &A);
    EXPECT_EQ(A.data[0][0], 3.0f);
    EXPECT_EQ(A.data[0][1], 5.0f);
    EXPECT_EQ(A.data[1][0], 6.0f);

    Matrix M{};
    M.rows = 4;
    M.cols = 3;
    MatrixMore MM{};
    MM.rows = 6;
    MM.cols = 7;
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
    const mat R = mat_T2R(&T), p = mat_T2p(&T);
    EXPECT_EQ(R.rows, 3);
    EXPECT_EQ(R.data[2][2], 9.0f);
    EXPECT_EQ(p.data[2][0], 12.0f);
}

TEST(MatEdge, BadSizesAndIndicesStayInsideTheRecord) {
    const mat big = mat_init(25, -3);
    EXPECT_EQ(big.rows, 20);
    EXPECT_EQ(big.cols, 0);
    mat A = make(2, 2, {1, 2, 3, 4});
    const mat before = A;
    const mat r0 = mat_get_Mrow_i(&A, 0), c21 = mat_get_Mcol_j(&A, 21);
    EXPECT_EQ(mat_find_abs_max(&r0), 0.0f);
    EXPECT_EQ(mat_find_abs_max(&c21), 0.0f);
    mat_set_Mrow_i(&r0, 21, &A);
    mat_set_Mcol_j(&c21, -1, &A);
    swap_row(&A, 0, 1);
    swap_col(&A, 2, 99);
    EXPECT_EQ(mat_is_equal(&A, &before), 1);
    mat H = mat_eye(20, 20);
    H.rows = 1000;
    H.cols = 1000;
    const mat Ht = mat_T(&H);
    EXPECT_EQ(Ht.rows, 20);
    mat out;
    EXPECT_EQ(mat_inv(H, &out), 1);
    EXPECT_EQ(out.rows, 20);
    EXPECT_EQ(out.data[19][19], 1.0f);
}

TEST(MatInv, FailuresLeaveOutputUntouched) {
    mat out = mat_eye(3, 3);
    out.data[2][0] = 42.0f;
    const mat sentinel = out;
    EXPECT_EQ(mat_inv(mat_init(2, 3), &out), 0);
    EXPECT_EQ(mat_inv(make(2, 2, {1, 2, 2, 4}), &out), -1);  // singular
    EXPECT_EQ(mat_inv(mat_zeros(3, 3), &out), -1);
    EXPECT_EQ(mat_inv(make(2, 2, {NAN, 1, 1, 1}), &out), -1);
    EXPECT_EQ(mat_is_equal(&out, &sentinel), 1);
}

TEST(MatInv, PermutedDiagonalIsExact) {
    // The pivots sit off the diagonal, so both row and column interchanges
    // are needed and must be undone.
    const mat A = make(3, 3, {0, 0, 2, 4, 0, 0, 0, 8, 0});
    mat X;
    ASSERT_EQ(mat_inv(A, &X), 1);
    const mat expect = make(3, 3, {0, 0.25f, 0, 0, 0, 0.125f, 0.5f, 0, 0});
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_EQ(X.data[i][j], expect.data[i][j]);  // -0 factors compare equal
}

TEST(MatInv, RandomRoundTrip) {
    std::mt19937 rng(11);
    for (int n = 1; n <= 20; ++n) {
        mat A = random_mat(rng, n, n);
        for (int i = 0; i < n; ++i) A.data[i][i] += 2.0f * std::sqrt(float(n));  // keep it well conditioned
        mat X;
        ASSERT_EQ(mat_inv(A, &X), 1);
        const mat P = mat_mult(&A, &X), I = mat_eye(n, n);
        const mat E = mat_sub(&P, &I);
        EXPECT_LT(mat_find_abs_max(&E), 2e-5f) << "n=" << n;
    }
}

// The inversion steps written out literally (pivot scan, Jordan exchange with
// divisions in float, interchanges undone in reverse), against which mat_inv
// must agree to the bit, also on small integer matrices full of pivot ties.
int literal_inverse(mat A, mat *out) {
    const int n = A.rows;
    if (n != A.cols) return 0;
    int prow[20], pcol[20];
    for (int k = 0; k < n; ++k) {
        prow[k] = pcol[k] = k;
        float big = std::fabs(A.data[k][k]);
        for (int i = k; i < n; ++i)
            for (int j = k; j < n; ++j)
                if (std::fabs(A.data[i][j]) > big) big = std::fabs(A.data[prow[k] = i][pcol[k] = j]);
        for (int j = 0; j < n; ++j) std::swap(A.data[k][j], A.data[prow[k]][j]);
        for (int i = 0; i < n; ++i) std::swap(A.data[i][k], A.data[i][pcol[k]]);
        const float p = A.data[k][k];
        float f[20];
        for (int j = 0; j < n; ++j) f[j] = j == k ? 1.0f / p : -A.data[k][j] / p;
        for (int j = 0; j < n; ++j)
            if (!std::isfinite(f[j])) return -1;
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

TEST(MatInv, AgreesToTheBitWithTheLiteralSteps) {
    std::mt19937 rng(17);
    std::uniform_int_distribution<int> small(-3, 3);
    for (int trial = 0; trial < 400; ++trial) {
        const int n = 1 + trial % 8;
        mat A = trial % 2 ? random_mat(rng, n, n) : mat_init(n, n);
        if (trial % 2 == 0)
            for (int i = 0; i < n; ++i)
                for (int j = 0; j < n; ++j) A.data[i][j] = float(small(rng));
        mat got = mat_zeros(n, n), want = mat_zeros(n, n);
        ASSERT_EQ(mat_inv(A, &got), literal_inverse(A, &want));
        EXPECT_EQ(mat_is_equal(&got, &want), 1) << trial;
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
            if (desc) std::stable_sort(want.begin(), want.end(), [](float x, float y) { return x > y; });
            else std::stable_sort(want.begin(), want.end());
            for (size_t i = 0; i < a.size(); ++i)
                ASSERT_TRUE(got[i] == want[i] && std::signbit(got[i]) == std::signbit(want[i])) << n << " " << desc;
        }
    }
    std::vector<float> big(2001, 1.0f);
    big[0] = 5.0f;
    merge_sort(0, big.data(), 2001);  // past the scratch capacity: untouched
    EXPECT_EQ(big[0], 5.0f);
}
