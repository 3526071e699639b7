// Pose conversions and the fixed 4x4 / 7x7 matrices they are built on: random
// round trips, cross-checks between independent formulas (Euler, quaternion and
// matrix; the three 4x4 inverses and the banded 7x7 one), and the deliberate
// quirks (wrap, gimbal lock, branch ties, size clamping).
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>

#include "math/tova_mathfuncs.h"

namespace {

constexpr float kPi = 3.14159265f;
template <class T> bool same_bits(const T& a, const T& b) { return std::memcmp(&a, &b, sizeof a) == 0; }
double angle_gap(float a, float b) { return std::fabs(std::remainder(double(a) - b, 2 * 3.141592653589793)); }
float quat_gap(const Quaternion& a, const Quaternion& b, float sign = 1.0f) {
    return std::fabs(sign * a.w - b.w) + std::fabs(sign * a.x - b.x) + std::fabs(sign * a.y - b.y) +
           std::fabs(sign * a.z - b.z);
}
template <class M> void expect_near(const M& a, const M& b, float tol) {
    ASSERT_TRUE(a.rows == b.rows && a.cols == b.cols);
    for (int i = 0; i < a.rows; ++i)
        for (int j = 0; j < a.cols; ++j) EXPECT_NEAR(a.data[i][j], b.data[i][j], tol) << i << "," << j;
}

class PoseRandom : public ::testing::Test {
protected:
    std::mt19937 rng{20240611};
    std::uniform_real_distribution<float> angle{-kPi, kPi}, pitch{-1.55f, 1.55f}, pos{-2.0f, 2.0f};
    Euler euler() { return Euler{angle(rng), pitch(rng), angle(rng)}; }  // clear of the gimbal bound
};

TEST_F(PoseRandom, EulerThroughMatrixAndTheThreeRotationFormulas) {
    for (int n = 0; n < 5000; ++n) {
        const Euler e = euler(), back = matrix_to_euler(euler_to_matrix(e));
        for (float v : {back.rx, back.ry, back.rz}) EXPECT_TRUE(v >= -3.13f && v < 6.2831855f - 3.13f) << v;
        EXPECT_LT(angle_gap(back.rx, e.rx) + angle_gap(back.ry, e.ry) + angle_gap(back.rz, e.rz), 3e-4);
        const Matrix R = euler_to_matrix(e), rz = rotz(e.rz), ry = roty(e.ry), rx = rotx(e.rx);
        const Matrix zy = matrix_m(&rz, &ry);
        expect_near(quat_to_matrix(euler_to_quat(e)), R, 2e-6f);
        expect_near(matrix_m(&zy, &rx), R, 2e-6f);
    }
}

TEST_F(PoseRandom, QuaternionThroughMatrixComesBackUpToSign) {
    std::normal_distribution<float> g;
    for (int n = 0; n < 5000; ++n) {
        Quaternion q{g(rng), g(rng), g(rng), g(rng)};  // not unit: quat_to_matrix normalises
        const float norm = std::sqrt(q.w * q.w + q.x * q.x + q.y * q.y + q.z * q.z);
        const Quaternion b = matrix_to_quat(quat_to_matrix(q));
        const float s = (b.w * q.w + b.x * q.x + b.y * q.y + b.z * q.z) < 0 ? -norm : norm;
        EXPECT_LT(quat_gap(b, q, s), 6e-6f * norm);
        EXPECT_TRUE(same_bits(quat_to_euler(q), matrix_to_euler(quat_to_matrix(q))));
    }
}

TEST_F(PoseRandom, TransformToPoseFieldsMatchTheSingleConversions) {
    for (int n = 0; n < 2000; ++n) {
        const Matrix T = pose_euler_to_transformation_matrix(Pose{pos(rng), pos(rng), pos(rng), {}, euler()});
        const Pose p = transformation_matrix_to_pose(T);
        EXPECT_TRUE(p.x == T.data[0][3] && p.y == T.data[1][3] && p.z == T.data[2][3]);
        EXPECT_TRUE(same_bits(p.quaternion, matrix_to_quat(T)) && same_bits(p.euler, matrix_to_euler(T)));
        expect_near(pose_quat_to_transformation_matrix(p), T, 2e-6f);
        expect_near(pose_euler_to_transformation_matrix(p), T, 2e-6f);
    }
}

// The extraction takes its three arc tangents together (vector kernels where
// available); each must be the C library's atan2f of the same arguments.
TEST_F(PoseRandom, EulerExtractionIsTheLibraryArcTangentBitForBit) {
    auto reference = [](const Matrix& R) {
        const auto& m = R.data;
        const float ry = std::atan2(-m[2][0], std::sqrt(m[0][0] * m[0][0] + m[1][0] * m[1][0]));
        float rx = std::atan2(m[2][1], m[2][2]), rz = std::atan2(m[1][0], m[0][0]);
        if (std::fabs(m[2][0]) > 0.999999f) {
            rx = m[2][0] > 0 ? -std::atan2(m[0][1], m[1][1]) : std::atan2(m[0][1], m[1][1]);
            rz = 0.0f;
        }
        auto wrap = [](float a) { return a < -3.13f ? a + 6.2831855f : a; };
        return Euler{wrap(rx), wrap(ry), wrap(rz)};
    };
    std::uniform_real_distribution<float> entry{-1.0f, 1.0f};
    const float specials[] = {0.0f, -0.0f, 1.0f, -1.0f, 0.9999995f, -0.9999995f, 1e-30f, -1e-30f};
    for (int n = 0; n < 20000; ++n) {
        Matrix R = n % 2 ? euler_to_matrix(euler()) : zero_matrix(3, 3);
        for (int i = 0; i < 3 && n % 2 == 0; ++i)  // arbitrary entries: every quadrant and sign
            for (int j = 0; j < 3; ++j) R.data[i][j] = n % 8 == 0 ? specials[rng() % 8] : entry(rng);
        if (n % 5 == 0) R.data[2][0] = specials[rng() % 8];  // gimbal lock and its bound
        const Euler got = matrix_to_euler(R), want = reference(R);
        ASSERT_TRUE(same_bits(got, want)) << n << ": " << got.rx << " " << got.ry << " " << got.rz;
    }
}

TEST(PoseEdge, EulerWrapAndGimbalLock) {
    Euler e = matrix_to_euler(euler_to_matrix({-3.135f, 0.1f, -3.12f}));
    EXPECT_NEAR(e.rx, -3.135f + 6.2831855f, 1e-5f);  // below -3.13: one turn up, past pi
    EXPECT_NEAR(e.rz, -3.12f, 1e-5f);
    e = matrix_to_euler(euler_to_matrix({0.4f, kPi / 2, 0.7f}));  // m(2,0) = -1
    EXPECT_TRUE(e.rz == 0.0f && std::fabs(e.rx + 0.3f) < 1e-5f && std::fabs(e.ry - kPi / 2) < 1e-3f);
    e = quat_to_euler(euler_to_quat({0.4f, -kPi / 2, 0.7f}));  // m(2,0) = +1
    EXPECT_TRUE(e.rz == 0.0f && std::fabs(e.rx - 1.1f) < 1e-3f && std::fabs(e.ry + kPi / 2) < 1e-3f);
}

TEST(PoseEdge, QuaternionBranchesAndDegenerateInput) {
    Matrix tie = zero_matrix(3, 3);  // half turn about (1, -1, 0): m00 == m11, tie goes to the y-branch
    tie.data[0][1] = tie.data[1][0] = tie.data[2][2] = -1.0f;
    const Quaternion qt = matrix_to_quat(tie);
    EXPECT_TRUE(qt.y > 0.7f && qt.x < -0.7f);
    EXPECT_TRUE(same_bits(quat_to_matrix({0, 0, 0, 0}), unit_matrix(3)));
    const Matrix R = euler_to_matrix({0.1f, 0.2f, 0.3f});
    EXPECT_TRUE(R.rows == 3 && R.cols == 3 && R.data[3][3] == 0.0f);
}

// The quaternion extraction picks its case without branching; here the four
// cases are written as plain branches, and both must agree bit for bit (any
// NaN counts as equal to any NaN) on rotations that reach every case, on
// matrices of small integers full of ties between diagonal elements, and on
// matrices that are no rotation at all (negative radicands, NaN).
Quaternion branching_quat(const Matrix& R, int& which) {
    const auto& m = R.data;
    const float t = m[0][0] + m[1][1] + m[2][2];
    Quaternion q;
    if (t > 0.0f) {
        which = 0;
        const float r = 2.0f * std::sqrt(t + 1.0f);
        q = {r / 4.0f, (m[2][1] - m[1][2]) / r, (m[0][2] - m[2][0]) / r, (m[1][0] - m[0][1]) / r};
    } else if (m[0][0] > m[1][1] && m[0][0] > m[2][2]) {
        which = 1;
        const float r = 2.0f * std::sqrt(1.0f + m[0][0] - m[1][1] - m[2][2]);
        q = {(m[2][1] - m[1][2]) / r, r / 4.0f, (m[0][1] + m[1][0]) / r, (m[0][2] + m[2][0]) / r};
    } else if (m[1][1] > m[2][2]) {
        which = 2;
        const float r = 2.0f * std::sqrt(1.0f + m[1][1] - m[0][0] - m[2][2]);
        q = {(m[0][2] - m[2][0]) / r, (m[0][1] + m[1][0]) / r, r / 4.0f, (m[1][2] + m[2][1]) / r};
    } else {
        which = 3;
        const float r = 2.0f * std::sqrt(1.0f + m[2][2] - m[0][0] - m[1][1]);
        q = {(m[1][0] - m[0][1]) / r, (m[0][2] + m[2][0]) / r, (m[1][2] + m[2][1]) / r, r / 4.0f};
    }
    return q;
}

bool same_or_both_nan(const Quaternion& a, const Quaternion& b) {
    const float x[4] = {a.w, a.x, a.y, a.z}, y[4] = {b.w, b.x, b.y, b.z};
    for (int i = 0; i < 4; ++i)
        if (!(std::isnan(x[i]) && std::isnan(y[i])) && std::memcmp(&x[i], &y[i], sizeof x[i]) != 0) return false;
    return true;
}

TEST_F(PoseRandom, QuaternionCasesAgreeWithPlainBranches) {
    int hits[4] = {0, 0, 0, 0}, which = 0;
    std::uniform_int_distribution<int> small(-2, 2);
    for (int n = 0; n < 200000; ++n) {
        Matrix R;
        if (n % 4 == 0) {  // integers: ties between the diagonal elements are common
            R = zero_matrix(3, 3);
            for (int i = 0; i < 3; ++i)
                for (int j = 0; j < 3; ++j) R.data[i][j] = static_cast<float>(small(rng));
        } else if (n % 4 == 1) {  // any 3 x 3: negative radicands give NaN
            R = zero_matrix(3, 3);
            for (int i = 0; i < 3; ++i)
                for (int j = 0; j < 3; ++j) R.data[i][j] = pos(rng);
            if (n % 64 == 1) R.data[n % 3][(n / 3) % 3] = std::nanf("");
        } else {
            R = euler_to_matrix({angle(rng), angle(rng), angle(rng)});
        }
        const Quaternion expected = branching_quat(R, which);
        ++hits[which];
        ASSERT_TRUE(same_or_both_nan(matrix_to_quat(R), expected)) << "case " << which << " sample " << n;
    }
    for (int h : hits) EXPECT_GT(h, 1000);
}

TEST(PoseEdge, ScalarHelpersCrossAndSlerp) {
    EXPECT_TRUE(tv_sign(2.0f) == 1 && tv_sign(-2.0f) == -1 && tv_sign(-0.0f) == 0 && tv_sign(NAN) == 0);
    EXPECT_TRUE(my_atan2f(0.0f, -1.0f) == kPi && my_atan2f(-0.0f, -1.0f) == kPi);
    EXPECT_TRUE(std::isnan(my_atan2f(0.0f, 0.0f)));
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> u(-5.0f, 5.0f);
    for (int n = 0; n < 2000; ++n) {
        const float y = u(rng), x = u(rng);
        EXPECT_NEAR(my_atan2f(y, x), std::atan2(y, x), 1e-3f);  // acos loses digits near the x axis
    }
    Matrix a = zero_matrix(9, -2), b = zero_matrix(0, 0), want = zero_matrix(3, 1);  // operand counts ignored
    for (int i = 0; i < 3; ++i) a.data[i][0] = 1.0f + i, b.data[i][0] = 4.0f + i;
    want.data[0][0] = want.data[2][0] = -3.0f;
    want.data[1][0] = 6.0f;
    EXPECT_TRUE(same_bits(cross(a, b), want));

    const Quaternion q0 = euler_to_quat({0.1f, 0.2f, 0.3f}), q1 = euler_to_quat({0.9f, -0.4f, 1.3f});
    const float theta = std::acos(q0.w * q1.w + q0.x * q1.x + q0.y * q1.y + q0.z * q1.z);
    const Quaternion m = quaternion_interpolation(theta, theta / 2, q0, q1);
    EXPECT_LT(quat_gap(quaternion_interpolation(theta, 0.0f, q0, q1), q0), 4e-6f);
    EXPECT_LT(quat_gap(quaternion_interpolation(theta, theta, q0, q1), q1), 4e-5f);
    EXPECT_NEAR(m.w * m.w + m.x * m.x + m.y * m.y + m.z * m.z, 1.0f, 1e-5f);
}

// ---- fixed 4x4 / 7x7 matrices ----

// One name per operation for both capacities, so the same typed test bodies
// cover both.
template <class M> M unit(int16_t n);
template <> Matrix unit<Matrix>(int16_t n) { return unit_matrix(n); }
template <> MatrixMore unit<MatrixMore>(int16_t n) { return unit_matrix_dim7(n); }
Matrix mul(const Matrix& a, const Matrix& b) { return matrix_m(&a, &b); }
MatrixMore mul(const MatrixMore& a, const MatrixMore& b) { return matrix_m_dim7(&a, &b); }
Matrix add(const Matrix& a, const Matrix& b, int s) { return matrix_a(&a, &b, s); }
MatrixMore add(const MatrixMore& a, const MatrixMore& b, int s) { return matrix_a_dim7(&a, &b, s); }
Matrix scale(float k, const Matrix& a) { return matrix_m_num(k, &a); }
MatrixMore scale(float k, const MatrixMore& a) { return matrix_m_num_dim7(k, &a); }
Matrix tr(const Matrix& a) { return matrix_t(&a); }
MatrixMore tr(const MatrixMore& a) { return matrix_t_dim7(&a); }
Matrix inv(Matrix* a) { return matrix_inv(a); }
MatrixMore inv(MatrixMore* a) { return matrix_inv_dim7(a); }
template <class M> M inv(M a) { return inv(&a); }

template <class M> constexpr int cap() { return sizeof(M::data) / sizeof(M::data[0]); }

// Random n x n matrix with a dominant diagonal of random sign: well conditioned.
template <class M> M random_matrix(std::mt19937& rng, int n) {
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    M a{};
    a.rows = a.cols = static_cast<int16_t>(n);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) a.data[i][j] = u(rng) + (i == j ? (u(rng) < 0 ? -n : n) : 0);
    return a;
}

template <class M> class FixedMatrix : public ::testing::Test {};
struct RecordName {
    template <class M> static std::string GetName(int) { return cap<M>() == 4 ? "Matrix" : "MatrixMore"; }
};
using Records = ::testing::Types<Matrix, MatrixMore>;
TYPED_TEST_SUITE(FixedMatrix, Records, RecordName);

// The inverse is also left in the argument; a zero pivot goes non-finite.
TYPED_TEST(FixedMatrix, InverseIsTwoSidedForEverySize) {
    std::mt19937 rng(4711);
    for (int n = 1; n <= cap<TypeParam>(); ++n)
        for (int rep = 0; rep < 200; ++rep) {
            const TypeParam a = random_matrix<TypeParam>(rng, n);
            TypeParam work = a;
            const TypeParam ai = inv(&work);
            EXPECT_TRUE(same_bits(ai, work));
            expect_near(mul(a, ai), unit<TypeParam>(n), 2e-6f);
            expect_near(mul(ai, a), unit<TypeParam>(n), 2e-6f);
        }
    TypeParam swap2{}, singular = unit<TypeParam>(3);  // one row exchange, undone
    swap2.rows = swap2.cols = 2;
    swap2.data[0][1] = swap2.data[1][0] = 1.0f;
    EXPECT_TRUE(same_bits(inv(swap2), swap2));
    singular.data[1][1] = 0.0f;
    EXPECT_FALSE(std::isfinite(inv(singular).data[1][1]));
}

// Element-wise results keep A's size and zero the rest; counts beyond the
// capacity act as the capacity.
TYPED_TEST(FixedMatrix, SizeRules) {
    constexpr int N = cap<TypeParam>();
    std::mt19937 rng(4711);
    TypeParam a = random_matrix<TypeParam>(rng, N), b = random_matrix<TypeParam>(rng, N), big_a = a, big_b = b;
    big_a.rows = big_a.cols = big_b.rows = big_b.cols = 30000;
    EXPECT_EQ(0, std::memcmp(mul(big_a, big_b).data, mul(a, b).data, sizeof a.data));
    EXPECT_EQ(0, std::memcmp(add(big_a, big_b, 0).data, add(a, b, 0).data, sizeof a.data));
    EXPECT_EQ(0, std::memcmp(inv(big_a).data, inv(a).data, sizeof a.data));
    EXPECT_EQ(unit<TypeParam>(100).data[N - 1][N - 1], 1.0f);
    a.cols = 2;
    const TypeParam sum = add(a, b, 1), diff = add(a, b, 0), at = tr(a);
    EXPECT_TRUE(sum.cols == 2 && sum.data[1][1] == a.data[1][1] + b.data[1][1] && sum.data[0][2] == 0.0f);
    EXPECT_TRUE(diff.data[1][1] == a.data[1][1] - b.data[1][1] && same_bits(diff, add(a, b, -5)));
    EXPECT_TRUE(at.rows == 2 && at.cols == N && at.data[1][N - 1] == a.data[N - 1][1]);
    EXPECT_TRUE(same_bits(tr(at), scale(1.0f, a)));
    EXPECT_EQ(scale(2.0f, a).data[1][0], 2.0f * a.data[1][0]);
    TypeParam expect{};
    EXPECT_TRUE(same_bits(unit<TypeParam>(0), expect));
    expect.rows = expect.cols = -3;
    EXPECT_TRUE(same_bits(unit<TypeParam>(-3), expect));
}

TEST(FixedMatrix4, CofactorAdjugateAndGaussJordanInversesAgree) {
    std::mt19937 rng(99);
    std::uniform_real_distribution<float> u(-3.0f, 3.0f);
    for (int rep = 0; rep < 2000; ++rep) {
        Matrix t = pose_euler_to_transformation_matrix(Pose{u(rng), u(rng), u(rng), {}, {u(rng), u(rng), u(rng)}});
        for (int i = 0; i < 3 * (rep % 2); ++i)  // every other R sheared: not orthonormal
            for (int j = 0; j < 3; ++j) t.data[i][j] += 0.1f * u(rng);
        const Matrix gj = inv(t), adj = matrix_inv_coordinate_system(&t), g = random_matrix<Matrix>(rng, 4);
        expect_near(matrix_inv_full_rank(&t), gj, 2e-5f);
        expect_near(adj, gj, 2e-5f);
        expect_near(matrix_inv_full_rank(&g), inv(g), 1e-6f);
    }
}

TEST(FixedMatrix4, ClosedFormEdgesAndProductRounding) {
    Matrix t = scale(2.0f, unit_matrix(4)), want = scale(0.5f, unit_matrix(4));
    t.data[3][3] = want.data[3][3] = 1.0f;
    t.data[0][3] = 2.0f;
    want.data[0][3] = -1.0f;
    expect_near(matrix_inv_coordinate_system(&t), want, 0.0f);  // exact, up to the sign of zero
    EXPECT_TRUE(same_bits(matrix_T2R(&t), scale(2.0f, unit_matrix(3))));
    // Products rounded to float ((1+2^-12)^2 loses its 2^-24), sums in double (1e8 + 1 - 1e8 = 1).
    Matrix a = zero_matrix(1, 3), b = zero_matrix(3, 1);
    a.data[0][0] = b.data[0][0] = 1.0f + 0x1p-12f;
    a.data[0][1] = 1.0f;
    b.data[1][0] = -(1.0f + 0x1p-11f);
    EXPECT_EQ(mul(a, b).data[0][0], 0.0f);
    a.data[0][0] = 1e8f, a.data[0][2] = -1e8f;
    b.data[0][0] = b.data[1][0] = b.data[2][0] = 1.0f;
    EXPECT_EQ(mul(a, b).data[0][0], 1.0f);
    EXPECT_EQ(mul(t, zero_matrix(4, 1)).cols, 1);
}

TEST(FixedMatrix7, BandedInverseMatchesGaussJordan) {
    std::mt19937 rng(31);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    for (int rep = 0; rep < 1000; ++rep) {
        MatrixMore a = unit_matrix_dim7(7);
        for (int i = 1; i <= 5; ++i) {
            a.data[i][i - 1] = u(rng);
            a.data[i][i] = u(rng) + (u(rng) < 0 ? -3.0f : 3.0f);
            a.data[i][i + 1] = u(rng);
        }
        const MatrixMore band = simp_matrix_inv77(&a);
        expect_near(band, inv(a), 1e-6f);
    }
}

}  // namespace
