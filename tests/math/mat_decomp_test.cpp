// Decompositions of `mat` against Eigen (double) on random matrices of sizes
// 1..20: square, tall, wide, rank-deficient, symmetric and ill-conditioned
// (condition 1e4). Every test matrix is scaled to a largest singular value of
// about 1 and rounded to float; the oracle works on exactly those floats.
// Tolerances are absolute on that unit scale and are what float results
// (unit roundoff 6e-8) can meet; they are stated next to each check.
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>
#include <atomic>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <new>
#include <random>
#include <vector>

#include "math/tova_matrix.h"
#include "math/ulapack_svd.h"

// Counts every C++ heap allocation of the test binary, so a window around
// library calls shows whether the library allocates. AddressSanitizer owns the
// allocator, so the count is only taken in plain builds.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TOVA_UNDER_ASAN 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define TOVA_UNDER_ASAN 1
#endif
static std::atomic<long> g_allocations{0};
#ifndef TOVA_UNDER_ASAN
void *operator new(std::size_t n) {
    ++g_allocations;
    if (void *p = std::malloc(n ? n : 1)) return p;
    throw std::bad_alloc();
}
void *operator new[](std::size_t n) { return operator new(n); }
void operator delete(void *p) noexcept { std::free(p); }
void operator delete[](void *p) noexcept { std::free(p); }
void operator delete(void *p, std::size_t) noexcept { std::free(p); }
void operator delete[](void *p, std::size_t) noexcept { std::free(p); }
#endif

namespace {

using MatD = Eigen::MatrixXd;
using VecD = Eigen::VectorXd;

MatD to_eigen(const mat &A) {
    MatD r(A.rows, A.cols);
    for (int i = 0; i < A.rows; ++i)
        for (int j = 0; j < A.cols; ++j) r(i, j) = A.data[i][j];
    return r;
}

mat to_mat(const MatD &A) {
    mat r = mat_init(int(A.rows()), int(A.cols()));
    for (int i = 0; i < A.rows(); ++i)
        for (int j = 0; j < A.cols(); ++j) r.data[i][j] = float(A(i, j));
    return r;
}

double max_abs(const MatD &A) { return A.size() ? A.cwiseAbs().maxCoeff() : 0.0; }
double orthonormality_error(const MatD &Q) {
    return max_abs(Q.transpose() * Q - MatD::Identity(Q.cols(), Q.cols()));
}
VecD sorted_desc(VecD v) {
    std::sort(v.data(), v.data() + v.size(), std::greater<double>());
    return v;
}

enum class Kind { Gaussian, WellConditioned, IllConditioned, RankDeficient, Symmetric };

struct Case {
    Kind kind;
    int m, n;
    int rank;  // by construction; -1 if unknown (Gaussian)
    mat A;
    MatD Ad;   // the float matrix, exactly, in double
    VecD sigma;  // oracle singular values, descending
};

MatD random_orthonormal(std::mt19937 &rng, int n) {
    std::normal_distribution<double> g;
    const MatD G = MatD::NullaryExpr(n, n, [&]() { return g(rng); });
    return Eigen::HouseholderQR<MatD>(G).householderQ() * MatD::Identity(n, n);
}

Case make_case(std::mt19937 &rng, Kind kind, int m, int n) {
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::normal_distribution<double> g;
    const int k = std::min(m, n);
    Case c{kind, m, n, k, {}, {}, {}};
    MatD A;
    if (kind == Kind::Gaussian) {
        A = MatD::NullaryExpr(m, n, [&]() { return g(rng); });
        c.rank = -1;
    } else if (kind == Kind::Symmetric) {
        const MatD Q = random_orthonormal(rng, n);
        VecD lambda(n);
        for (int i = 0; i < n; ++i) lambda(i) = (0.05 + 0.95 * unit(rng)) * (unit(rng) < 0.5 ? -1 : 1);
        A = Q * lambda.asDiagonal() * Q.transpose();
        A = 0.5 * (A + A.transpose());  // exactly symmetric before and after rounding
    } else {
        VecD s(k);
        if (kind == Kind::RankDeficient) c.rank = int(rng() % unsigned(k));
        for (int i = 0; i < k; ++i) {
            if (kind == Kind::IllConditioned) s(i) = k > 1 ? std::pow(10.0, -4.0 * i / (k - 1)) : 1.0;
            else s(i) = i < c.rank ? 0.1 + 0.9 * unit(rng) : 0.0;
        }
        A = random_orthonormal(rng, m).leftCols(k) * s.asDiagonal() *
            random_orthonormal(rng, n).leftCols(k).transpose();
    }
    const double s1 = Eigen::JacobiSVD<MatD>(A).singularValues()(0);
    if (s1 > 0) A /= s1;
    c.A = to_mat(A);
    c.Ad = to_eigen(c.A);
    c.sigma = Eigen::JacobiSVD<MatD>(c.Ad).singularValues();
    return c;
}

class MatDecomp : public testing::Test {
protected:
    static void SetUpTestSuite() {
        std::mt19937 rng(20240607);
        const Kind kinds[] = {Kind::Gaussian, Kind::WellConditioned, Kind::IllConditioned, Kind::RankDeficient,
                              Kind::Symmetric};
        for (int i = 0; i < 300; ++i) {
            const Kind kind = kinds[i % 5];
            const int m = 1 + int(rng() % 20);
            const bool square = kind == Kind::Symmetric || (i / 5) % 2 == 0;
            const int n = square ? m : 1 + int(rng() % 20);
            cases_.push_back(make_case(rng, kind, m, n));
        }
    }
    static std::vector<Case> cases_;
};
std::vector<Case> MatDecomp::cases_;

TEST_F(MatDecomp, LuAndDeterminant) {
    for (const Case &c : cases_) {
        if (c.m != c.n) continue;
        mat L, U, P;
        ASSERT_EQ(mat_lu(&c.A, &L, &U, &P), 1);
        const MatD Ld = to_eigen(L), Ud = to_eigen(U), Pd = to_eigen(P);
        // P*A = L*U to 1e-6 (entries of A are at most 1, |L| <= 1).
        EXPECT_LT(max_abs(Pd * c.Ad - Ld * Ud), 1e-6) << c.n;
        EXPECT_EQ(max_abs(Ld.triangularView<Eigen::StrictlyUpper>().toDenseMatrix()), 0.0);
        EXPECT_EQ(max_abs(Ud.triangularView<Eigen::StrictlyLower>().toDenseMatrix()), 0.0);
        EXPECT_LE(max_abs(Ld), 1.0);  // partial pivoting bounds the multipliers
        EXPECT_EQ(max_abs(Pd.transpose() * Pd - MatD::Identity(c.n, c.n)), 0.0);
        // Determinant: float rounding of a double LU result, 1e-6 relative,
        // plus 1e-12 absolute for (numerically) singular matrices.
        const double det = c.Ad.determinant();
        EXPECT_NEAR(mat_det(&c.A), det, 1e-6 * std::fabs(det) + 1e-12) << c.n;
    }
}

TEST_F(MatDecomp, QrReconstructsWithOrthonormalQ) {
    for (const Case &c : cases_) {
        mat Q, R;
        ASSERT_EQ(mat_qr(&c.A, &Q, &R), 1);
        const MatD Qd = to_eigen(Q), Rd = to_eigen(R);
        EXPECT_LT(max_abs(c.Ad - Qd * Rd), 1e-6);          // A = Q R
        EXPECT_LT(orthonormality_error(Qd), 1e-6);         // Q^T Q = I
        EXPECT_EQ(max_abs(Rd.triangularView<Eigen::StrictlyLower>().toDenseMatrix()), 0.0);
        for (int i = 0; i < std::min(c.m, c.n); ++i) EXPECT_GE(Rd(i, i), 0.0);
    }
}

TEST_F(MatDecomp, SvdBothMethodsAgainstOracle) {
    using Svd = int (*)(const mat *, mat *, mat *, mat *);
    for (const Case &c : cases_) {
        VecD first;
        for (Svd svd : {Svd(mat_svd), Svd(mat_fast_svd)}) {
            mat U, S, V;
            ASSERT_EQ(svd(&c.A, &U, &S, &V), 1);
            const MatD Ud = to_eigen(U), Sd = to_eigen(S), Vd = to_eigen(V);
            ASSERT_EQ(Ud.rows(), c.m);
            ASSERT_EQ(Vd.rows(), c.n);
            EXPECT_LT(max_abs(c.Ad - Ud * Sd * Vd.transpose()), 1e-6) << c.m << "x" << c.n;
            EXPECT_LT(orthonormality_error(Ud), 1e-6);
            EXPECT_LT(orthonormality_error(Vd), 1e-6);
            const VecD s = Sd.diagonal();
            MatD D = MatD::Zero(c.m, c.n);
            D.diagonal() = s;
            EXPECT_EQ(max_abs(Sd - D), 0.0);
            EXPECT_EQ(max_abs(s - sorted_desc(s)), 0.0);
            // Singular values: 1e-6 absolute on the unit scale.
            EXPECT_LT(max_abs(s - c.sigma), 1e-6) << c.m << "x" << c.n;
            if (first.size() == 0) {
                first = s;
            } else {
                EXPECT_LT(max_abs(s - first), 1e-6);  // fast and Gram SVD agree
            }
        }
    }
}

TEST_F(MatDecomp, PseudoInversesSatisfyMoorePenrose) {
    auto check = [](const Case &c, const mat &X, double tol) {
        const MatD Xd = to_eigen(X), &A = c.Ad;
        ASSERT_EQ(Xd.rows(), c.n);
        ASSERT_EQ(Xd.cols(), c.m);
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

TEST_F(MatDecomp, RankAndConditionNumber) {
    for (const Case &c : cases_) {
        Eigen::JacobiSVD<MatD> svd(c.Ad);
        svd.setThreshold(std::max(c.m, c.n) * double(FLT_EPSILON));
        EXPECT_EQ(mat_rank(&c.A), svd.rank()) << c.m << "x" << c.n;
        if (c.rank >= 0) {
            EXPECT_EQ(mat_rank(&c.A), c.rank);
        }
        if (c.kind != Kind::RankDeficient) {
            const double cond = c.sigma(0) / c.sigma(c.sigma.size() - 1);
            EXPECT_NEAR(mat_cond(&c.A), cond, 1e-6 * cond) << c.m << "x" << c.n;
        }
    }
}

TEST_F(MatDecomp, Eigenvalues) {
    for (const Case &c : cases_) {
        if (c.m != c.n) continue;
        if (c.kind == Kind::Symmetric) {
            mat values, vectors;
            ASSERT_EQ(mat_hermitian_eig(&c.A, &values, &vectors), 1);
            const VecD want = sorted_desc(Eigen::SelfAdjointEigenSolver<MatD>(c.Ad).eigenvalues());
            const MatD lambda = to_eigen(values), Vd = to_eigen(vectors);
            EXPECT_LT(max_abs(lambda - want), 1e-6);
            EXPECT_LT(max_abs(c.Ad * Vd - Vd * lambda.col(0).asDiagonal()), 2e-6);
            EXPECT_LT(orthonormality_error(Vd), 1e-6);
            const mat e = mat_eig(&c.A);
            EXPECT_LT(max_abs(to_eigen(e) - want), 1e-6);
        } else if (c.kind == Kind::Gaussian) {
            // Real parts of a non-symmetric spectrum (random matrices have
            // well-conditioned eigenvalues): 1e-6 like the rest.
            const VecD want = sorted_desc(Eigen::EigenSolver<MatD>(c.Ad, false).eigenvalues().real());
            const mat e = mat_eig(&c.A);
            EXPECT_LT(max_abs(to_eigen(e) - want), 1e-6) << c.n;
        }
    }
}

TEST(MatDecompEdge, DegenerateInputs) {
    const mat Z = mat_zeros(4, 3);
    mat U, S, V;
    for (auto svd : {mat_svd, mat_fast_svd}) {
        ASSERT_EQ(svd(&Z, &U, &S, &V), 1);
        EXPECT_EQ(mat_find_abs_max(&S), 0.0f);
        EXPECT_LT(orthonormality_error(to_eigen(U)), 1e-7);
        EXPECT_LT(orthonormality_error(to_eigen(V)), 1e-7);
    }
    EXPECT_EQ(mat_rank(&Z), 0);
    EXPECT_TRUE(std::isinf(mat_cond(&Z)));
    const mat Zp = mat_pinv_svd(&Z);
    EXPECT_EQ(Zp.rows, 3);
    EXPECT_EQ(mat_find_abs_max(&Zp), 0.0f);
    const mat Z3 = mat_zeros(3, 3);
    EXPECT_EQ(mat_det(&Z3), 0.0f);
    const mat Z3p = mat_pinv(&Z3);
    EXPECT_EQ(mat_find_abs_max(&Z3p), 0.0f);  // vanishing pivot: zero result

    for (float bad : {NAN, INFINITY}) {
        mat A = mat_eye(3, 3);
        A.data[1][2] = A.data[2][1] = bad;
        EXPECT_EQ(mat_svd(&A, &U, &S, &V), 0);
        EXPECT_TRUE(std::isnan(S.data[0][0]));
        EXPECT_EQ(mat_fast_svd(&A, &U, &S, &V), 0);
        EXPECT_EQ(mat_rank(&A), -1);
        EXPECT_TRUE(std::isnan(mat_cond(&A)));
        EXPECT_TRUE(std::isnan(mat_eig(&A).data[0][0]));
        EXPECT_EQ(mat_hermitian_eig(&A, &S, &V), 0);
        EXPECT_TRUE(std::isnan(mat_pinv_svd(&A).data[0][0]));
        mat Q, R;
        EXPECT_EQ(mat_qr(&A, &Q, &R), 0);
    }

    const mat one = mat_eye(1, 1), empty = mat_init(0, 0), wide = mat_init(2, 3);
    EXPECT_EQ(mat_det(&empty), 1.0f);
    EXPECT_EQ(mat_rank(&empty), 0);
    ASSERT_EQ(mat_fast_svd(&one, &U, &S, &V), 1);
    EXPECT_EQ(S.data[0][0], 1.0f);
    testing::internal::CaptureStderr();
    const float det = mat_det(&wide);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "A is not a square matrix.");
    EXPECT_TRUE(std::isinf(det) && det > 0);
    EXPECT_EQ(mat_eig(&wide).rows, 0);
    EXPECT_EQ(mat_hermitian_eig(&wide, &S, &V), 0);
    mat L, P;
    EXPECT_EQ(mat_lu(&wide, &L, &U, &P), 0);

    // Oversized counts are treated as 20.
    mat big = mat_eye(20, 20);
    big.rows = big.cols = 99;
    EXPECT_EQ(mat_rank(&big), 20);
    ASSERT_EQ(mat_svd(&big, &U, &S, &V), 1);
    EXPECT_EQ(S.rows, 20);
}

// Garbage records: sizes from -5 to 30, elements mixing NaN, infinities,
// huge, tiny and zero values. Every operation must return (no endless
// iteration) with results inside the record; the sanitizer build checks that
// nothing is read or written outside it.
TEST(MatDecompEdge, GarbageRecordsStayInBounds) {
    std::mt19937 rng(123);
    const float specials[] = {NAN, INFINITY, -INFINITY, 3e38f, -1e-40f, 0.0f, -0.0f, 1.0f};
    for (int trial = 0; trial < 300; ++trial) {
        mat A;
        A.rows = int(rng() % 36) - 5;
        A.cols = int(rng() % 36) - 5;
        const int mode = trial % 3;  // 0: random normal, 1: specials, 2: rank-1 with specials
        std::normal_distribution<float> g;
        for (int i = 0; i < 20; ++i)
            for (int j = 0; j < 20; ++j)
                A.data[i][j] = mode == 0 ? g(rng) : mode == 1 ? specials[rng() % 8] : float(i + 1) * float(j % 3);
        if (mode == 2) A.data[rng() % 20][rng() % 20] = specials[rng() % 8];
        mat U, S, V, L, P, Q, R, X;
        mat_svd(&A, &U, &S, &V);
        EXPECT_LE(U.rows, 20);
        mat_fast_svd(&A, &U, &S, &V);
        EXPECT_LE(V.cols, 20);
        EXPECT_LE(mat_rank(&A), 20);
        mat_cond(&A);
        mat_qr(&A, &Q, &R);
        mat_lu(&A, &L, &U, &P);
        testing::internal::CaptureStderr();
        mat_det(&A);
        testing::internal::GetCapturedStderr();
        EXPECT_LE(mat_eig(&A).rows, 20);
        mat_hermitian_eig(&A, &S, &V);
        EXPECT_LE(mat_pinv(&A).rows, 20);
        EXPECT_LE(mat_pinv_svd(&A).cols, 20);
        mat_inv(A, &X);
    }
}

TEST(MatDecompEdge, NoHeapAllocation) {
#ifdef TOVA_UNDER_ASAN
    GTEST_SKIP() << "allocation counting needs the plain allocator";
#endif
    const mat A = to_mat(MatD::Random(6, 7)), B = to_mat(MatD::Random(7, 7));
    mat U, S, V, L, P, Q, R;
    const long before = g_allocations.load();
    mat_svd(&A, &U, &S, &V);
    mat_fast_svd(&A, &U, &S, &V);
    mat_pinv(&A);
    mat_pinv_svd(&A);
    mat_cond(&A);
    mat_rank(&A);
    mat_qr(&A, &Q, &R);
    mat_lu(&B, &L, &U, &P);
    mat_det(&B);
    mat_eig(&B);
    mat_hermitian_eig(&B, &S, &V);
    mat_inv(B, &U);
    float x[100] = {};
    merge_sort(1, x, 100);
    EXPECT_EQ(g_allocations.load(), before);
}

}  // namespace
