// Fixed-size array helpers, the Lie-group maps and the third-order low-pass
// filter: products cross-checked through transposes, blocks and DynMatrix;
// exp/log maps against reference values worked out in double and as round
// trips on random inputs; the filter's trivial coefficient sets, a Butterworth
// design and its steps to the bit in float and double.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <type_traits>

#include "math/tova_static_matrix.h"

namespace {

const double kPi = 3.14159265358979323846;

// Every element uniform in [-2, 2].
template <int N> void fill(std::mt19937 &rng, float (&a)[N]) {
    std::uniform_real_distribution<float> u(-2.0f, 2.0f);
    for (float &x : a) x = u(rng);
}

// ---- fixed-size arrays ----

TEST(StaticArray, SignDeadBandIsOpenAndVectorsAgree) {
    EXPECT_TRUE(getSign(1e-6f) == -1 && getSign(-1e-6f) == -1 && getSign(5e-7f) == 0 && getSign(2e-6f) == 1);
    VEC3 a = {1, 2, 3}, b = {-2, 0.5f, 4}, s, d, c, hb, u;
    MAT3X3 hat;  // the hat map and the cross product are one operation
    add_VEC3(a, b, s), sub_VEC3(s, b, d), cross_VEC3(a, b, c);
    roVecToso3(a, hat), mult_MAT3X3_VEC3(hat, b, hb);
    unit_VEC3(a, u), mul_VEC3_scalar(u, std::sqrt(14.0f));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(d[i], a[i]);
        EXPECT_FLOAT_EQ(hb[i], c[i]);
        EXPECT_FLOAT_EQ(u[i], a[i]);
    }
}

// <M^T y, x> = <y, M x> ties the 6x7 and 7x6 products to the transpose; a
// block-diagonal 6x6 made of 3x3 blocks multiplies block by block, bit for bit;
// the 4x4 product equals the DynMatrix one, also when out aliases A.
TEST(StaticArray, ProductsAgreeAcrossShapes) {
    std::mt19937 rng(9);
    for (int trial = 0; trial < 100; ++trial) {
        MAT6X7 M;
        MAT7X6 Mt;
        VEC7 x, Mty;
        VEC6 y, Mx;
        fill(rng, M), fill(rng, x), fill(rng, y);
        transpose_MAT6X7(M, Mt), mult_MAT6X7_VEC7(M, x, Mx), mult_MAT7X6_VEC6(Mt, y, Mty);
        double gap = 0;
        for (int i = 0; i < 7; ++i) gap += double(Mty[i]) * x[i] - (i < 6 ? double(y[i]) * Mx[i] : 0.0);
        EXPECT_NEAR(gap, 0.0, 1e-4);
    }
    MAT3X3 A, B, C, D, AC, BD, At;
    MAT6X6 X = {}, Y = {}, XY, Xt;
    fill(rng, A), fill(rng, B), fill(rng, C), fill(rng, D);
    assign_MAT3X3_to_MAT6X6(X, 0, 0, A, 0, 0, 3, 3), assign_MAT3X3_to_MAT6X6(X, 3, 3, B, 0, 0, 3, 3);
    assign_MAT3X3_to_MAT6X6(Y, 0, 0, C, 0, 0, 3, 3), assign_MAT3X3_to_MAT6X6(Y, 3, 3, D, 0, 0, 3, 3);
    mult_MAT6X6(X, Y, XY), mult_MAT3X3(A, C, AC), mult_MAT3X3(B, D, BD);
    transpose_MAT6X6(X, Xt), transpose_MAT3X3(A, At);
    for (int i = 0; i < 9; ++i) {
        const int r = i / 3, c = i % 3;
        EXPECT_TRUE(XY[r * 6 + c] == AC[i] && XY[(r + 3) * 6 + c + 3] == BD[i] && XY[r * 6 + c + 3] == 0.0f);
        EXPECT_EQ(Xt[r * 6 + c], At[i]);
    }
    MAT4X4 P, Q, PQ, back;
    fill(rng, P), fill(rng, Q);
    mult_MAT4X4(P, Q, PQ);
    DynMatrix *p = arrayToDynMatrix(P, 4, 4), *q = arrayToDynMatrix(Q, 4, 4), *pq = multDynMatrix(p, q);
    DynMatrixToMAT4X4(pq, back), mult_MAT4X4(P, Q, P);
    for (int i = 0; i < 16; ++i) EXPECT_TRUE(PQ[i] == back[i] && P[i] == PQ[i]) << i;
    freeDynMatrix(&p), freeDynMatrix(&q), freeDynMatrix(&pq);
}

// Parts of a block outside either array are skipped and counts < 1 copy
// nothing; guard cells around the destination stay untouched.
TEST(StaticArray, BlockCopyStaysInsideBothArrays) {
    MAT3X3 src;
    for (int i = 0; i < 9; ++i) src[i] = float(i + 1);
    float guarded[8 + 36 + 8] = {}, *dst = guarded + 8;
    assign_MAT3X3_to_MAT6X6(dst, 4, 5, src, 1, 1, 2, 2);                   // (4,5), (5,5) <- (1,1), (2,1)
    assign_MAT3X3_to_MAT6X6(dst, -1, -2, src, 0, 0, 1000000, 2147483647);  // (0,0), (1,0) <- (1,2), (2,2)
    assign_MAT3X3_to_MAT6X6(dst, 2, 2, src, -5, 0, 3, 3);                  // nothing exists
    assign_MAT3X3_to_MAT6X6(dst, 2, 2, src, 0, 0, 0, 3);                   // count < 1
    for (int i = -8; i < 44; ++i)
        EXPECT_EQ(dst[i], i == 29 ? 5.0f : i == 35 ? 8.0f : i == 0 ? 6.0f : i == 6 ? 9.0f : 0.0f) << i;
}

// ---- Lie-group maps ----

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
    const MAT3X3 rotx_pi = {1, 0, 0, 0, c, -s, 0, s, c}, about_xy = {0, 1, 0, 1, 0, 0, 0, 0, -1};
    const MAT3X3 minus_I = {-1, 0, 0, 0, -1, 0, 0, 0, -1};
    const MAT4X4 T = {-1, 0, 0, 4, 0, -1, 0, 5, 0, 0, -1, 6, 0, 0, 0, 1};  // not a rotation
    VEC3 w;
    VEC6 V;
    EXPECT_EQ(roMatrixLog3(rotx_pi, w), 0);
    EXPECT_TRUE(w[0] == 3.1415927f && w[1] == 0.0f && w[2] == 0.0f);
    roMatrixLog3(about_xy, w);
    EXPECT_TRUE(w[0] == w[1] && std::fabs(w[0] - kPi / std::sqrt(2.0)) < 1e-6);
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(roMatrixLog3(minus_I, w), -1);
    EXPECT_EQ(roMatrixLog6(T, V), 0);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "roMatrixLog3 failure!\nroMatrixLog3 failure!\n");
    for (int i = 0; i < 6; ++i) EXPECT_EQ(V[i], i < 3 ? 4.0f + i : 0.0f);
    EXPECT_TRUE(w[0] == 0.0f && w[1] == 0.0f && w[2] == 0.0f);
}

// The trace-based angle loses accuracy towards a half turn: rounding in the
// trace is amplified by about 1 / (pi - |w|)^2, which the tolerance follows.
// The quaternion of exp([w]) is +-(cos(t/2), sin(t/2) w/t) and converts back;
// exp6 and log6 carry the translation over as it is, never rotated or coupled.
TEST(LieGroup, LogInvertsExpAndQuaternionsMatch) {
    std::mt19937 rng(2024);
    std::uniform_real_distribution<float> angle(1e-3f, 3.1f);
    for (int trial = 0; trial < 5000; ++trial) {
        VEC3 w, back;
        VEC6 V, V2;
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
        fill(rng, V), std::copy(w, w + 3, V + 3);
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
TEST(LieGroup, InverseAndAdjoint) {
    std::mt19937 rng(2024);
    for (int trial = 0; trial < 200; ++trial) {
        VEC3 w, p;
        VEC6 V, AdV;
        MAT3X3 R;
        MAT4X4 T, Ti, TTi;
        MAT6X6 Ad;
        fill(rng, p), fill(rng, V), random_w(rng, 0.0f, 3.1f, w), roMatrixExp3(w, R), roRpToTrans(R, p, T);
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
}

// ---- third-order low-pass filter ----

TEST(Lpf3, PassThroughDelayAndClear) {
    Lpf3State s;
    Lpf3StateDouble d;
    set_LPF3(&s);
    s.coef_a[0] = s.coef_b[0] = 1;
    for (float x : {0.5f, -3.0f, 7.25f}) EXPECT_EQ(dataFilt_f_LPF3(x, &s), x);
    set_LPF3(&s);
    s.coef_a[0] = s.coef_b[1] = 1;
    const float in[4] = {2, 3, 5, 7};
    for (int n = 0; n < 4; ++n) EXPECT_EQ(dataFilt_f_LPF3(in[n], &s), n ? in[n - 1] : 0.0f);
    EXPECT_EQ(s.hist_x[3], 2.0f);  // the oldest slot is shifted along too
    set_LPF3(&s);  // clearing drops the coefficients: a0 = 0 divides
    set_LPF3_double(&d);
    EXPECT_FALSE(std::isfinite(dataFilt_f_LPF3(1.0f, &s)) || std::isfinite(dataFilt_f_LPF3_double(1.0f, &d)));
    EXPECT_FALSE(std::isfinite(s.hist_y[0]));
}

// Third-order Butterworth at fc = fs / 20: H(s) = 1 / (s^3 + 2s^2 + 2s + 1) in s
// normalised to the pre-warped cut-off, s = K (1 - z^-1) / (1 + z^-1) with
// K = 1 / tan(pi fc / fs). Both variants get the same float coefficients.
class Lpf3Butterworth : public ::testing::Test {
protected:
    void SetUp() override {
        const double K = 1.0 / std::tan(kPi / 20), analog[4] = {1, 2, 2, 1};
        // (1 - z)^m (1 + z)^(3 - m) in powers of z^-1, times the s^m coefficient.
        const double basis[4][4] = {{1, 3, 3, 1}, {1, 1, -1, -1}, {1, -1, -1, 1}, {1, -3, 3, -1}};
        set_LPF3(&f);
        set_LPF3_double(&d);
        for (int i = 0; i < 4; ++i) {
            double a = 0;
            for (int m = 0; m < 4; ++m) a += analog[m] * std::pow(K, m) * basis[m][i];
            d.coef_a[i] = f.coef_a[i] = float(a);
            d.coef_b[i] = f.coef_b[i] = float(basis[0][i]);
        }
    }
    Lpf3State f;
    Lpf3StateDouble d;
};

TEST_F(Lpf3Butterworth, StepSettlesAndCutOffIsMinus3dB) {
    float y = 0;
    for (int n = 0; n < 400; ++n) y = dataFilt_f_LPF3(1.0f, &f);
    EXPECT_NEAR(y, 1.0f, 1e-5f);
    for (int i = 0; i < 4; ++i) f.hist_x[i] = f.hist_y[i] = 0;  // restart, same coefficients
    const int period = 20, settle = 40 * period, measure = 50 * period;
    double in_phase = 0, quadrature = 0;
    for (int n = 0; n < settle + measure; ++n) {
        const double phase = 2 * kPi * n / period;
        const float out = dataFilt_f_LPF3(float(std::sin(phase)), &f);
        in_phase += n < settle ? 0.0 : out * std::sin(phase);
        quadrature += n < settle ? 0.0 : out * std::cos(phase);
    }
    EXPECT_NEAR(20 * std::log10(2.0 / measure * std::hypot(in_phase, quadrature)), -3.0103, 0.01);
}

// Each step is the specified sum, in its order, to the bit (left to right
// below); y0 keeps the unrounded double. The two widths differ by rounding only.
TEST_F(Lpf3Butterworth, StepsToTheBitAndFloatAndDoubleAgree) {
    const auto literal = [](const auto &st, float x) {  // from the state before the step
        const auto *a = st.coef_a, *b = st.coef_b, *hx = st.hist_x, *hy = st.hist_y;
        using T = std::decay_t<decltype(*a)>;
        const T s = T(0) + b[1] * hx[0] - a[1] * hy[0] + b[2] * hx[1] - a[2] * hy[1] + b[3] * hx[2] - a[3] * hy[2];
        return (b[0] * x + s) / a[0];
    };
    double worst = 0;
    for (int n = 0; n < 2000; ++n) {
        const float x = float(std::sin(0.05 * n) + 0.3 * std::sin(1.3 * n));
        const float wf = literal(f, x);
        const double wd = literal(d, x);
        const float yf = dataFilt_f_LPF3(x, &f), yd = dataFilt_f_LPF3_double(x, &d);
        ASSERT_TRUE(yf == wf && yd == float(wd) && d.hist_y[0] == wd) << n;
        worst = std::fmax(worst, std::fabs(double(yf) - yd));
    }
    EXPECT_LT(worst, 2e-5);
}

}  // namespace
