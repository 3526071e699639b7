// Decompositions of `mat` against Eigen (double) on random matrices of sizes
// 1..20: square, tall, wide, rank-deficient, symmetric and ill-conditioned
// (condition 1e4). Every test matrix is scaled to a largest singular value of
// about 1 and rounded to float; the oracle works on exactly those floats.
// Tolerances are absolute on that unit scale and are what float results
// (unit roundoff 6e-8) can meet; they are stated next to each check.
// That nothing here allocates is checked with the other no-heap parts in
// tests/reliability; garbage records (bad sizes, NaN, infinities) go through
// every decomposition in fuzz/fuzz_mat.cpp.
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <functional>
#include <random>
#include <vector>

#include "math/tova_matrix.h"
#include "math/ulapack_svd.h"

namespace {

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
        EXPECT_EQ(mat_rank(&c.A), svd.rank());
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
    EXPECT_EQ(mat_det(&Z3), 0.0f);
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
    EXPECT_EQ(mat_hermitian_eig(&wide, &S, &V) + mat_lu(&wide, &L, &U, &P), 0);

    mat big = mat_eye(20, 20);  // oversized counts are treated as 20
    big.rows = big.cols = 99;
    EXPECT_EQ(mat_rank(&big), 20);
    ASSERT_EQ(mat_svd(&big, &U, &S, &V), 1);
    EXPECT_EQ(S.rows, 20);
}

}  // namespace
