// Lie-group maps against textbook examples worked out in double, and
// round-trip properties on random inputs.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "math/tova_static_matrix.h"

namespace {

const double kPi = 3.14159265358979323846;

// Random direction, angle uniform in [lo, hi].
void random_w(std::mt19937 &rng, float lo, float hi, float w[3]) {
    std::normal_distribution<float> n(0.0f, 1.0f);
    const float d[3] = {n(rng), n(rng), n(rng)};
    const float scale = std::uniform_real_distribution<float>(lo, hi)(rng) /
                        std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
    for (int i = 0; i < 3; ++i) w[i] = d[i] * scale;
}

TEST(LieGroup, ReferenceValues) {
    // exp of the rotation vector (1, 2, 3), to eight decimals (computed in double).
    const VEC3 w123 = {1, 2, 3};
    const double ref[9] = {-0.69492056, 0.71352099, 0.08929286, -0.19200697, -0.30378504,
                           0.93319235,  0.69297817, 0.63134970, 0.34810748};
    MAT3X3 R;
    VEC3 back;
    EXPECT_EQ(roMatrixExp3(w123, R), 0);
    for (int i = 0; i < 9; ++i) EXPECT_NEAR(R[i], ref[i], 2e-6) << i;
    // 30 degrees about (0, 0.866, 0.5): the textbook prints R to three decimals.
    const float t = float(kPi / 6);
    const VEC3 w = {0.0f, 0.866f * t, 0.5f * t};
    const float book[9] = {0.866f, -0.250f, 0.433f, 0.250f, 0.967f, 0.058f, -0.433f, 0.058f, 0.899f};
    roMatrixExp3(w, R);
    for (int i = 0; i < 9; ++i) EXPECT_NEAR(R[i], book[i], 6e-4) << i;
    EXPECT_EQ(roMatrixLog3(R, back), 0);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(back[i], w[i], 1e-6);
    // A cyclic permutation of the axes is 120 degrees about (1, 1, 1)/sqrt(3).
    const MAT3X3 P = {0, 0, 1, 1, 0, 0, 0, 1, 0}, I = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    EXPECT_EQ(roMatrixLog3(P, back), 0);
    for (float v : back) EXPECT_NEAR(v, 2 * kPi / (3 * std::sqrt(3.0)), 1e-6);
    const VEC3 tiny = {0, 0, 5e-7f};
    roMatrixExp3(tiny, R);
    for (int i = 0; i < 9; ++i) EXPECT_EQ(R[i], I[i]);
    EXPECT_EQ(roMatrixLog3(I, back), 0);
    EXPECT_TRUE(back[0] == 0.0f && back[1] == 0.0f && back[2] == 0.0f);
}

// Half turns take the first usable column of 2, 1, 0; none usable is a failure
// (which roMatrixLog6 does not pass on).
TEST(LieGroup, HalfTurns) {
    const float s = float(std::sin(kPi)), c = float(std::cos(kPi));  // rotx(pi) as the pose library builds it
    const MAT3X3 rotx_pi = {1, 0, 0, 0, c, -s, 0, s, c}, about_y = {-1, 0, 0, 0, 1, 0, 0, 0, -1};
    const MAT3X3 about_xy = {0, 1, 0, 1, 0, 0, 0, 0, -1}, minus_I = {-1, 0, 0, 0, -1, 0, 0, 0, -1};
    const MAT4X4 T = {-1, 0, 0, 4, 0, -1, 0, 5, 0, 0, -1, 6, 0, 0, 0, 1};  // not a rotation
    VEC3 w;
    VEC6 V;
    EXPECT_EQ(roMatrixLog3(rotx_pi, w), 0);
    EXPECT_TRUE(w[0] == 3.1415927f && w[1] == 0.0f && w[2] == 0.0f);
    roMatrixLog3(about_y, w);
    EXPECT_EQ(w[1], 3.1415927f);
    roMatrixLog3(about_xy, w);
    EXPECT_TRUE(w[0] == w[1] && std::fabs(w[0] - kPi / std::sqrt(2.0)) < 1e-6);
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(roMatrixLog3(minus_I, w), -1);
    EXPECT_EQ(roMatrixLog6(T, V), 0);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "roMatrixLog3 failure!\nroMatrixLog3 failure!\n");
    for (int i = 0; i < 6; ++i) EXPECT_EQ(V[i], i < 3 ? 4.0f + i : 0.0f);
    EXPECT_TRUE(w[0] == 0.0f && w[1] == 0.0f && w[2] == 0.0f);
}

class LieGroupRandom : public ::testing::Test {
protected:
    std::mt19937 rng{2024};
    std::uniform_real_distribution<float> u{-2.0f, 2.0f};
};

// The trace-based angle loses accuracy towards a half turn: rounding in the
// trace is amplified by about 1 / (pi - |w|)^2, which the tolerance follows.
// The quaternion of exp([w]) is +-(cos(t/2), sin(t/2) w/t) and converts back;
// exp6 and log6 carry the translation over as it is, never rotated or coupled.
TEST_F(LieGroupRandom, LogInvertsExpAndQuaternionsMatch) {
    std::uniform_real_distribution<float> angle(1e-3f, 3.1f);
    for (int trial = 0; trial < 5000; ++trial) {
        VEC3 w, back;
        MAT3X3 R, R2;
        MAT4X4 T;
        float q[4];
        const float t = angle(rng);
        random_w(rng, t, t, w), roMatrixExp3(w, R);
        ASSERT_EQ(roMatrixLog3(R, back), 0);
        const double tol = 1e-6 + 3e-6 / ((kPi - t) * (kPi - t));
        for (int i = 0; i < 3; ++i) ASSERT_NEAR(back[i], w[i], tol) << t;
        if (trial % 10) continue;
        roMatrix2Quat(R, q), roQuat2Matrix(q, R2);
        const double sign = q[0] < 0 ? -1 : 1, k = std::sin(t / 2.0) / t;
        EXPECT_NEAR(sign * q[0], std::cos(t / 2.0), 1e-5);
        for (int i = 0; i < 3; ++i) EXPECT_NEAR(sign * q[i + 1], k * w[i], 1e-5);
        for (int i = 0; i < 9; ++i) EXPECT_NEAR(R2[i], R[i], 2e-6);
        VEC6 V = {u(rng), u(rng), u(rng), w[0], w[1], w[2]}, V2;
        EXPECT_TRUE(roMatrixExp6(V, T) == 0 && roMatrixLog6(T, V2) == 0);
        for (int i = 0; i < 12; ++i) EXPECT_EQ(T[i], i % 4 == 3 ? V[i / 4] : R[i / 4 * 3 + i % 4]);
        EXPECT_TRUE(T[12] == 0.0f && T[13] == 0.0f && T[14] == 0.0f && T[15] == 1.0f);
        for (int i = 0; i < 6; ++i) EXPECT_EQ(V2[i], i < 3 ? V[i] : back[i - 3]);
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
        MAT6X6 Ad;
        VEC6 AdV;
        const VEC6 V = {u(rng), u(rng), u(rng), u(rng), u(rng), u(rng)};
        random_w(rng, 0.0f, 3.1f, w), roMatrixExp3(w, R), roRpToTrans(R, p, T);
        roTransInv(T, Ti), mult_MAT4X4(T, Ti, TTi), roAdjointT(T, Ad), mult_MAT6X6_VEC6(Ad, V, AdV);
        for (int i = 0; i < 16; ++i) EXPECT_NEAR(TTi[i], i % 5 == 0 ? 1.0f : 0.0f, 1e-5f);
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
    for (int i = 0; i < 36; ++i) {
        const int r = i / 6, c = i % 6;
        EXPECT_EQ(Ad[i], r == c ? 1.0f : (r < 3 && c >= 3) ? P[r * 3 + c - 3] : 0.0f);
    }
}

// The textbook's decoupled examples: a pure translation, and a translation
// that a quarter turn about z does not rotate.
TEST(LieGroup, Exp6TreatsPartsSeparately) {
    const VEC6 pure = {1, 2, 3, 0, 0, 0}, quarter = {1, 0, 0, 0, 0, float(kPi / 2)};
    const float expect_pure[16] = {1, 0, 0, 1, 0, 1, 0, 2, 0, 0, 1, 3, 0, 0, 0, 1};
    const float expect_quarter[16] = {0, -1, 0, 1, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    MAT4X4 T, T2;
    roMatrixExp6(pure, T), roMatrixExp6(quarter, T2);
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(T[i], expect_pure[i]);
        EXPECT_NEAR(T2[i], expect_quarter[i], 1e-7f) << i;
    }
}

}  // namespace
