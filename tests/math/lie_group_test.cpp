// Lie-group maps against values worked out in double (power series of the
// matrix exponential, textbook examples) and round-trip properties.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>

#include "math/tova_static_matrix.h"

namespace {

const double kPi = 3.14159265358979323846;

// exp([w]) as the sum of [w]^n / n! in double: independent of Rodrigues.
std::array<double, 9> exp_series(const double w[3]) {
    const double K[9] = {0, -w[2], w[1], w[2], 0, -w[0], -w[1], w[0], 0};
    std::array<double, 9> term = {1, 0, 0, 0, 1, 0, 0, 0, 1}, sum = term;
    for (int n = 1; n < 60; ++n) {
        std::array<double, 9> next{};
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                for (int k = 0; k < 3; ++k) next[i * 3 + j] += term[i * 3 + k] * K[k * 3 + j] / n;
        term = next;
        for (int i = 0; i < 9; ++i) sum[i] += term[i];
    }
    return sum;
}

// Random direction, angle uniform in [lo, hi].
void random_w(std::mt19937 &rng, float lo, float hi, float w[3]) {
    std::normal_distribution<float> n(0.0f, 1.0f);
    const float d[3] = {n(rng), n(rng), n(rng)};
    const float scale = std::uniform_real_distribution<float>(lo, hi)(rng) /
                        std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
    for (int i = 0; i < 3; ++i) w[i] = d[i] * scale;
}

TEST(LieGroup, ReferenceValues) {
    const VEC3 w123 = {1, 2, 3};
    const double wd[3] = {1, 2, 3};
    MAT3X3 R;
    EXPECT_EQ(roMatrixExp3(w123, R), 0);
    const auto ref = exp_series(wd);
    for (int i = 0; i < 9; ++i) EXPECT_NEAR(R[i], ref[i], 2e-6) << i;

    // 30 degrees about (0, 0.866, 0.5): the textbook prints R to three decimals
    // (I + sin K + (1 - cos) K^2 gives the same by hand).
    const float t = float(kPi / 6);
    const VEC3 w = {0.0f, 0.866f * t, 0.5f * t};
    const float book[9] = {0.866f, -0.250f, 0.433f, 0.250f, 0.967f, 0.058f, -0.433f, 0.058f, 0.899f};
    VEC3 back;
    roMatrixExp3(w, R);
    for (int i = 0; i < 9; ++i) EXPECT_NEAR(R[i], book[i], 6e-4) << i;
    EXPECT_EQ(roMatrixLog3(R, back), 0);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(back[i], w[i], 1e-6);

    // A cyclic permutation of the axes is 120 degrees about (1, 1, 1)/sqrt(3).
    const MAT3X3 P = {0, 0, 1, 1, 0, 0, 0, 1, 0};
    EXPECT_EQ(roMatrixLog3(P, back), 0);
    for (float v : back) EXPECT_NEAR(v, 2 * kPi / (3 * std::sqrt(3.0)), 1e-6);

    const VEC3 tiny = {0, 0, 5e-7f};
    const MAT3X3 I = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    roMatrixExp3(tiny, R);
    for (int i = 0; i < 9; ++i) EXPECT_EQ(R[i], I[i]);
    EXPECT_EQ(roMatrixLog3(I, back), 0);
    for (float v : back) EXPECT_EQ(v, 0.0f);
}

// Half turns take the first usable column of 2, 1, 0; none usable is a failure.
TEST(LieGroup, HalfTurns) {
    const float s = float(std::sin(kPi)), c = float(std::cos(kPi));  // rotx(pi) as the pose library builds it
    const MAT3X3 rotx_pi = {1, 0, 0, 0, c, -s, 0, s, c};
    const MAT3X3 about_y = {-1, 0, 0, 0, 1, 0, 0, 0, -1};
    const MAT3X3 about_xy = {0, 1, 0, 1, 0, 0, 0, 0, -1};  // axis (1, 1, 0)/sqrt(2)
    VEC3 w;
    EXPECT_EQ(roMatrixLog3(rotx_pi, w), 0);
    EXPECT_TRUE(w[0] == 3.1415927f && w[1] == 0.0f && w[2] == 0.0f);
    roMatrixLog3(about_y, w);
    EXPECT_EQ(w[1], 3.1415927f);
    roMatrixLog3(about_xy, w);
    EXPECT_FLOAT_EQ(w[0], float(kPi / std::sqrt(2.0)));
    EXPECT_FLOAT_EQ(w[1], float(kPi / std::sqrt(2.0)));

    const MAT4X4 T = {-1, 0, 0, 4, 0, -1, 0, 5, 0, 0, -1, 6, 0, 0, 0, 1};  // not a rotation
    const MAT3X3 minus_I = {-1, 0, 0, 0, -1, 0, 0, 0, -1};
    VEC6 V;
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(roMatrixLog3(minus_I, w), -1);
    EXPECT_EQ(roMatrixLog6(T, V), 0);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "roMatrixLog3 failure!\nroMatrixLog3 failure!\n");
    const float expect[6] = {4, 5, 6, 0, 0, 0};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(V[i], expect[i]);
    EXPECT_TRUE(w[0] == 0.0f && w[1] == 0.0f && w[2] == 0.0f);
}

class LieGroupRandom : public ::testing::Test {
protected:
    std::mt19937 rng{2024};
    std::uniform_real_distribution<float> u{-2.0f, 2.0f};
};

// The trace-based angle loses accuracy towards a half turn: rounding in the
// trace is amplified by about 1 / (pi - |w|)^2, which the tolerance follows.
TEST_F(LieGroupRandom, LogInvertsExpBelowHalfTurn) {
    std::uniform_real_distribution<float> angle(1e-3f, 3.1f);
    for (int trial = 0; trial < 5000; ++trial) {
        VEC3 w, back;
        MAT3X3 R;
        const float t = angle(rng);
        random_w(rng, t, t, w), roMatrixExp3(w, R);
        ASSERT_EQ(roMatrixLog3(R, back), 0);
        const double tol = 1e-6 + 3e-6 / ((kPi - t) * (kPi - t));
        for (int i = 0; i < 3; ++i) ASSERT_NEAR(back[i], w[i], tol) << t;
    }
}

// The quaternion of exp([w]) is +-(cos(t/2), sin(t/2) w/t), and converts back.
TEST_F(LieGroupRandom, QuaternionsOfExponentials) {
    for (int trial = 0; trial < 500; ++trial) {
        VEC3 w;
        MAT3X3 R, R2;
        float q[4];
        random_w(rng, 0.0f, 3.14f, w), roMatrixExp3(w, R), roMatrix2Quat(R, q), roQuat2Matrix(q, R2);
        const double t = std::sqrt(double(w[0]) * w[0] + double(w[1]) * w[1] + double(w[2]) * w[2]);
        const double sign = q[0] < 0 ? -1 : 1, k = std::sin(t / 2) / t;
        EXPECT_NEAR(sign * q[0], std::cos(t / 2), 1e-5);
        for (int i = 0; i < 3; ++i) EXPECT_NEAR(sign * q[i + 1], k * w[i], 1e-5);
        for (int i = 0; i < 9; ++i) EXPECT_NEAR(R2[i], R[i], 2e-6);
    }
    const float zero[4] = {0, 0, 0, 0};
    MAT3X3 R;
    roQuat2Matrix(zero, R);  // a zero quaternion is the identity
    for (int i = 0; i < 9; ++i) EXPECT_EQ(R[i], i % 4 == 0 ? 1.0f : 0.0f);
}

// T T^-1 = I, and Ad_T V is the twist of T [V] T^-1 for V = (v, w).
TEST_F(LieGroupRandom, InverseAndAdjoint) {
    for (int trial = 0; trial < 200; ++trial) {
        VEC3 w, p = {u(rng), u(rng), u(rng)};
        MAT3X3 R;
        MAT4X4 T, Ti, TTi;
        random_w(rng, 0.0f, 3.1f, w), roMatrixExp3(w, R), roRpToTrans(R, p, T);
        roTransInv(T, Ti), mult_MAT4X4(T, Ti, TTi);
        for (int i = 0; i < 16; ++i) EXPECT_NEAR(TTi[i], i % 5 == 0 ? 1.0f : 0.0f, 1e-5f);

        const VEC6 V = {u(rng), u(rng), u(rng), u(rng), u(rng), u(rng)};
        MAT6X6 Ad;
        VEC6 AdV;
        roAdjointT(T, Ad), mult_MAT6X6_VEC6(Ad, V, AdV);
        const double S[16] = {0, -V[5], V[4], V[0], V[5], 0, -V[3], V[1], -V[4], V[3], 0, V[2], 0, 0, 0, 0};
        double M[16] = {};  // T [V] T^-1 in double
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j)
                for (int k = 0; k < 4; ++k)
                    for (int l = 0; l < 4; ++l) M[i * 4 + l] += double(T[i * 4 + j]) * S[j * 4 + k] * Ti[k * 4 + l];
        const double expect[6] = {M[3], M[7], M[11], M[9], M[2], M[4]};
        for (int i = 0; i < 6; ++i) EXPECT_NEAR(AdV[i], expect[i], 5e-5) << i;
    }
    const MAT4X4 shift = {1, 0, 0, 1, 0, 1, 0, 2, 0, 0, 1, 3, 0, 0, 0, 1};  // pure translation
    const VEC3 p = {1, 2, 3};
    MAT3X3 P;
    MAT6X6 Ad;
    roVecToso3(p, P), roAdjointT(shift, Ad);
    for (int i = 0; i < 6; ++i)
        for (int j = 0; j < 6; ++j)
            EXPECT_EQ(Ad[i * 6 + j], (i == j) ? 1.0f : (i < 3 && j >= 3) ? P[i * 3 + j - 3] : 0.0f);
}

// Translation is carried over as it is, never rotated or coupled.
TEST_F(LieGroupRandom, Exp6AndLog6TreatPartsSeparately) {
    const VEC6 pure = {1, 2, 3, 0, 0, 0}, quarter = {1, 0, 0, 0, 0, float(kPi / 2)};
    const float expect_pure[16] = {1, 0, 0, 1, 0, 1, 0, 2, 0, 0, 1, 3, 0, 0, 0, 1};
    const float expect_quarter[16] = {0, -1, 0, 1, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    MAT4X4 T, T2;
    roMatrixExp6(pure, T), roMatrixExp6(quarter, T2);
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(T[i], expect_pure[i]);
        EXPECT_NEAR(T2[i], expect_quarter[i], 1e-7f) << i;
    }
    for (int trial = 0; trial < 300; ++trial) {
        VEC6 V = {u(rng), u(rng), u(rng)}, back;
        random_w(rng, 0.0f, 2.5f, V + 3), roMatrixExp6(V, T);
        EXPECT_EQ(roMatrixLog6(T, back), 0);
        for (int i = 0; i < 6; ++i) EXPECT_NEAR(back[i], V[i], i < 3 ? 0.0f : 1e-5f);
    }
}

}  // namespace
