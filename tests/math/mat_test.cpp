// The `mat` library: element, vector and arithmetic operations, the inverse,
// merge_sort, printing, conversions and the size/index clamping rules; then the
// decompositions against Eigen (double), the oracle.
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <functional>
#include <initializer_list>
#include <random>
#include <vector>

#include "math/tova_matrix.h"
#include "math/ulapack_svd.h"

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

    mat S = make(2, 2, {1, 2, 2, 1});  // -1: not square
    EXPECT_TRUE(mat_is_hermitian(&M) == -1 && mat_is_hermitian(&S) == 1 && mat_is_hermitian(&empty) == 1);
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

    std::mt19937 rng(5);  // to Matrix / MatrixMore and back: the whole records match
    const mat a = random_mat(rng, 4, 3), b = random_mat(rng, 6, 7);
    const Matrix M = mat_to_matrix(&a);
    const MatrixMore MM = mat_to_matrix_more(&b);
    EXPECT_TRUE(M.cols == 3 && M.data[3][2] == a.data[3][2] && MM.rows == 6 && MM.data[5][6] == b.data[5][6]);
    EXPECT_TRUE(equal(matrix_to_mat(&M), a) && equal(matrix_more_to_mat(&MM), b));
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

// ---- decompositions ----

// Decompositions of `mat` against Eigen (double) on random matrices of sizes
// 1..20: square, tall, wide, rank-deficient, symmetric and ill-conditioned
// (condition 1e4). Every test matrix is scaled to a largest singular value of
// about 1 and rounded to float; the oracle works on exactly those floats.
// Tolerances are absolute on that unit scale and are what float results
// (unit roundoff 6e-8) can meet; they are stated next to each check.
// That nothing here allocates is checked with the other no-heap parts in
// tests/reliability; garbage records (bad sizes, NaN, infinities) go through
// every decomposition in fuzz/fuzz_mat.cpp.

using MatD = Eigen::MatrixXd;
using VecD = Eigen::VectorXd;

MatD to_eigen(const mat &A) {
    MatD r(A.rows, A.cols);
    for (int i = 0; i < A.rows; ++i)
        for (int j = 0; j < A.cols; ++j) r(i, j) = A.data[i][j];
    return r;
}

double max_abs(const MatD &A) { return A.size() ? A.cwiseAbs().maxCoeff() : 0.0; }
double orthonormality_error(const MatD &Q) { return max_abs(Q.transpose() * Q - MatD::Identity(Q.cols(), Q.cols())); }
VecD sorted_desc(VecD v) {
    std::sort(v.data(), v.data() + v.size(), std::greater<double>());
    return v;
}
double strict_lower(const MatD &A) { return max_abs(A.triangularView<Eigen::StrictlyLower>().toDenseMatrix()); }

enum class Kind { Gaussian, WellConditioned, IllConditioned, RankDeficient, Symmetric };

struct Case {
    Kind kind;
    int m, n;
    int rank;    // by construction; -1 if unknown (Gaussian)
    mat A;
    MatD Ad;     // the float matrix, exactly, in double
    VecD sigma;  // oracle singular values, descending
};

MatD random_orthonormal(std::mt19937 &rng, int n) {
    std::normal_distribution<double> g;
    return Eigen::HouseholderQR<MatD>(MatD::NullaryExpr(n, n, [&]() { return g(rng); })).householderQ() *
           MatD::Identity(n, n);
}

Case make_case(std::mt19937 &rng, Kind kind, int m, int n) {
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::normal_distribution<double> g;
    const int k = std::min(m, n);
    Case c{kind, m, n, kind == Kind::Gaussian ? -1 : k, mat_init(m, n), {}, {}};
    MatD A;
    if (kind == Kind::Gaussian) {
        A = MatD::NullaryExpr(m, n, [&]() { return g(rng); });
    } else if (kind == Kind::Symmetric) {
        const MatD Q = random_orthonormal(rng, n);
        VecD lambda(n);
        for (int i = 0; i < n; ++i) lambda(i) = (0.05 + 0.95 * unit(rng)) * (unit(rng) < 0.5 ? -1 : 1);
        A = Q * lambda.asDiagonal() * Q.transpose();
        A = 0.5 * (A + A.transpose());  // exactly symmetric before and after rounding
    } else {
        VecD s(k);
        if (kind == Kind::RankDeficient) c.rank = int(rng() % unsigned(k));
        for (int i = 0; i < k; ++i)
            s(i) = kind == Kind::IllConditioned ? (k > 1 ? std::pow(10.0, -4.0 * i / (k - 1)) : 1.0)
                                                : (i < c.rank ? 0.1 + 0.9 * unit(rng) : 0.0);
        A = random_orthonormal(rng, m).leftCols(k) * s.asDiagonal() * random_orthonormal(rng, n).leftCols(k).transpose();
    }
    A /= std::max(Eigen::JacobiSVD<MatD>(A).singularValues()(0), 1e-300);
    for (int i = 0; i < m; ++i)
        for (int j = 0; j < n; ++j) c.A.data[i][j] = float(A(i, j));
    c.Ad = to_eigen(c.A);
    c.sigma = Eigen::JacobiSVD<MatD>(c.Ad).singularValues();
    return c;
}

class MatDecomp : public testing::Test {
protected:
    static void SetUpTestSuite() {
        std::mt19937 rng(20240607);
        for (int i = 0; i < 300; ++i) {
            const Kind kind = Kind(i % 5);
            const int m = 1 + int(rng() % 20);
            const bool square = kind == Kind::Symmetric || (i / 5) % 2 == 0;
            cases_.push_back(make_case(rng, kind, m, square ? m : 1 + int(rng() % 20)));
        }
    }
    static std::vector<Case> cases_;
};
std::vector<Case> MatDecomp::cases_;

TEST_F(MatDecomp, LuQrAndDeterminant) {
    for (const Case &c : cases_) {
        SCOPED_TRACE(testing::Message() << c.m << "x" << c.n << " kind " << int(c.kind));
        mat Q, R;
        ASSERT_EQ(mat_qr(&c.A, &Q, &R), 1);
        const MatD Qd = to_eigen(Q), Rd = to_eigen(R);
        EXPECT_LT(max_abs(c.Ad - Qd * Rd), 1e-6);   // A = Q R
        EXPECT_LT(orthonormality_error(Qd), 1e-6);  // Q^T Q = I
        EXPECT_EQ(strict_lower(Rd), 0.0);
        for (int i = 0; i < std::min(c.m, c.n); ++i) EXPECT_GE(Rd(i, i), 0.0);
        if (c.m != c.n) continue;
        mat L, U, P;
        ASSERT_EQ(mat_lu(&c.A, &L, &U, &P), 1);
        const MatD Ld = to_eigen(L), Ud = to_eigen(U), Pd = to_eigen(P);
        // P*A = L*U to 1e-6 (entries of A are at most 1, |L| <= 1).
        EXPECT_LT(max_abs(Pd * c.Ad - Ld * Ud), 1e-6);
        EXPECT_EQ(strict_lower(Ld.transpose()) + strict_lower(Ud), 0.0);
        EXPECT_LE(max_abs(Ld), 1.0);  // partial pivoting bounds the multipliers
        EXPECT_EQ(max_abs(Pd.transpose() * Pd - MatD::Identity(c.n, c.n)), 0.0);
        // Determinant: float rounding of a double LU result, 1e-6 relative,
        // plus 1e-12 absolute for (numerically) singular matrices.
        const double det = c.Ad.determinant();
        EXPECT_NEAR(mat_det(&c.A), det, 1e-6 * std::fabs(det) + 1e-12);
    }
}

// Both SVDs reconstruct with orthonormal factors and match the oracle's
// singular values to 1e-6 (so they also agree with each other); rank and
// condition number follow from the same values.
TEST_F(MatDecomp, SvdRankAndCondition) {
    using Svd = int (*)(const mat *, mat *, mat *, mat *);
    for (const Case &c : cases_) {
        SCOPED_TRACE(testing::Message() << c.m << "x" << c.n << " kind " << int(c.kind));
        for (Svd svd : {Svd(mat_svd), Svd(mat_fast_svd)}) {
            mat U, S, V;
            ASSERT_EQ(svd(&c.A, &U, &S, &V), 1);
            const MatD Ud = to_eigen(U), Sd = to_eigen(S), Vd = to_eigen(V);
            ASSERT_TRUE(Ud.rows() == c.m && Vd.rows() == c.n);
            EXPECT_LT(max_abs(c.Ad - Ud * Sd * Vd.transpose()), 1e-6);
            EXPECT_LT(std::max(orthonormality_error(Ud), orthonormality_error(Vd)), 1e-6);
            MatD D = MatD::Zero(c.m, c.n);
            D.diagonal() = Sd.diagonal();
            EXPECT_EQ(max_abs(Sd - D), 0.0);
            EXPECT_LT(max_abs(Sd.diagonal() - c.sigma), 1e-6);  // descending, like the oracle
        }
        Eigen::JacobiSVD<MatD> svd(c.Ad);
        svd.setThreshold(std::max(c.m, c.n) * double(FLT_EPSILON));
        EXPECT_EQ(mat_rank(&c.A), c.rank >= 0 ? c.rank : svd.rank());
        if (c.kind != Kind::RankDeficient) {
            const double cond = c.sigma(0) / c.sigma(c.sigma.size() - 1);
            EXPECT_NEAR(mat_cond(&c.A), cond, 1e-6 * cond);
        }
    }
}

TEST_F(MatDecomp, PseudoInversesSatisfyMoorePenrose) {
    auto check = [](const Case &c, const mat &X, double tol) {
        const MatD Xd = to_eigen(X), &A = c.Ad;
        ASSERT_TRUE(Xd.rows() == c.n && Xd.cols() == c.m);
        const MatD AX = A * Xd, XA = Xd * A;
        const double xnorm = std::max(1.0, max_abs(Xd));
        EXPECT_LT(max_abs(AX * A - A), tol) << c.m << "x" << c.n;
        EXPECT_LT(max_abs(XA * Xd - Xd), tol * xnorm * xnorm);
        EXPECT_LT(max_abs(AX - AX.transpose()), tol * xnorm);
        EXPECT_LT(max_abs(XA - XA.transpose()), tol * xnorm);
    };
    for (const Case &c : cases_) {
        // SVD based: values below 1e-5 are dropped, so conditions 1 hold to
        // the largest dropped value; the rest to float rounding scaled by the
        // condition number of what is kept.
        double kept_min = 1.0, dropped = 0.0;
        for (int i = 0; i < c.sigma.size(); ++i) {
            if (c.sigma(i) >= 1e-5) kept_min = c.sigma(i);
            else dropped = std::max(dropped, c.sigma(i));
        }
        check(c, mat_pinv_svd(&c.A), 2e-6 / kept_min + 2 * dropped);
        // Normal equations square the condition number: only for full-rank,
        // well-conditioned input (condition <= 10), to 1e-4.
        if (c.kind == Kind::WellConditioned) check(c, mat_pinv(&c.A), 1e-4);
    }
}

TEST_F(MatDecomp, Eigenvalues) {
    for (const Case &c : cases_) {
        if (c.kind == Kind::Symmetric) {
            mat values, vectors;
            ASSERT_EQ(mat_hermitian_eig(&c.A, &values, &vectors), 1);
            const VecD want = sorted_desc(Eigen::SelfAdjointEigenSolver<MatD>(c.Ad).eigenvalues());
            const MatD lambda = to_eigen(values), Vd = to_eigen(vectors);
            EXPECT_LT(max_abs(lambda - want), 1e-6);
            EXPECT_LT(max_abs(c.Ad * Vd - Vd * lambda.col(0).asDiagonal()), 2e-6);
            EXPECT_LT(orthonormality_error(Vd), 1e-6);
            EXPECT_LT(max_abs(to_eigen(mat_eig(&c.A)) - want), 1e-6);
        } else if (c.kind == Kind::Gaussian && c.m == c.n) {
            // Real parts of a non-symmetric spectrum (random matrices have
            // well-conditioned eigenvalues): 1e-6 like the rest.
            const VecD want = sorted_desc(Eigen::EigenSolver<MatD>(c.Ad, false).eigenvalues().real());
            EXPECT_LT(max_abs(to_eigen(mat_eig(&c.A)) - want), 1e-6) << c.n;
        }
    }
}

TEST(MatDecompEdge, DegenerateInputs) {
    const mat Z = mat_zeros(4, 3), Z3 = mat_zeros(3, 3);
    mat U, S, V, L, P, Q, R;
    for (auto svd : {mat_svd, mat_fast_svd}) {
        ASSERT_EQ(svd(&Z, &U, &S, &V), 1);
        EXPECT_EQ(mat_find_abs_max(&S), 0.0f);
        EXPECT_LT(std::max(orthonormality_error(to_eigen(U)), orthonormality_error(to_eigen(V))), 1e-7);
    }
    EXPECT_EQ(mat_rank(&Z), 0);
    EXPECT_TRUE(std::isinf(mat_cond(&Z)));
    const mat Zp = mat_pinv_svd(&Z), Z3p = mat_pinv(&Z3);
    EXPECT_TRUE(Zp.rows == 3 && mat_find_abs_max(&Zp) == 0.0f);
    mat Dg = mat_init(3, 3);  // singular values below 1e-5 count as zero
    Dg.data[0][0] = 1.0f, Dg.data[1][1] = 9e-6f, Dg.data[2][2] = 1.1e-5f;
    const mat Dp = mat_pinv_svd(&Dg);
    EXPECT_TRUE(Dp.data[1][1] == 0.0f && std::fabs(Dp.data[2][2] * 1.1e-5f - 1) < 1e-5f && Dp.data[0][0] == 1.0f);
    EXPECT_EQ(mat_find_abs_max(&Z3p), 0.0f);  // vanishing pivot: zero result

    for (float bad : {NAN, INFINITY}) {
        mat A = mat_eye(3, 3);
        A.data[1][2] = A.data[2][1] = bad;
        EXPECT_EQ(mat_svd(&A, &U, &S, &V), 0);
        EXPECT_TRUE(std::isnan(S.data[0][0]));
        EXPECT_EQ(mat_fast_svd(&A, &U, &S, &V) + mat_hermitian_eig(&A, &S, &V) + mat_qr(&A, &Q, &R), 0);
        EXPECT_EQ(mat_rank(&A), -1);
        EXPECT_TRUE(std::isnan(mat_cond(&A)) && std::isnan(mat_eig(&A).data[0][0]));
        EXPECT_TRUE(std::isnan(mat_pinv_svd(&A).data[0][0]));
    }

    const mat empty = mat_init(0, 0), wide = mat_init(2, 3);
    EXPECT_TRUE(mat_det(&empty) == 1.0f && mat_rank(&empty) == 0);
    testing::internal::CaptureStderr();
    const float det = mat_det(&wide);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "A is not a square matrix.");
    EXPECT_TRUE(std::isinf(det) && det > 0);
    EXPECT_EQ(mat_eig(&wide).rows, 0);
    EXPECT_EQ(mat_hermitian_eig(&wide, &S, &V) + mat_lu(&wide, &L, &U, &P), 0);

    mat big = mat_eye(20, 20);  // oversized counts are treated as 20
    big.rows = big.cols = 99;
    EXPECT_EQ(mat_rank(&big), 20);
    ASSERT_EQ(mat_svd(&big, &U, &S, &V), 1);
    EXPECT_EQ(S.rows, 20);
}

}  // namespace
