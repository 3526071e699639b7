// Third-order low-pass filter: trivial coefficient sets, a Butterworth design
// from the bilinear transform, and agreement of the float and double states.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "math/tova_static_matrix.h"

namespace {

const double kPi = 3.14159265358979323846;

// Third-order Butterworth low-pass with cut-off fc at sample rate fs:
// H(s) = 1 / (s^3 + 2s^2 + 2s + 1) in s normalised to the pre-warped cut-off,
// s = K (1 - z^-1) / (1 + z^-1) with K = 1 / tan(pi fc / fs).
struct Coefficients {
    double a[4], b[4];
};

Coefficients butterworth3(double fc, double fs) {
    const double K = 1.0 / std::tan(kPi * fc / fs);
    // (1 - z)^m (1 + z)^(3 - m) in powers of z = z^-1, for m = 0..3.
    const double basis[4][4] = {{1, 3, 3, 1}, {1, 1, -1, -1}, {1, -1, -1, 1}, {1, -3, 3, -1}};
    const double analog[4] = {1, 2, 2, 1};  // coefficient of s^m
    Coefficients c{};
    for (int m = 0; m < 4; ++m)
        for (int i = 0; i < 4; ++i) c.a[i] += analog[m] * std::pow(K, m) * basis[m][i];
    for (int i = 0; i < 4; ++i) c.b[i] = basis[0][i];
    return c;
}

template <typename State>
void load(State &s, const Coefficients &c) {
    for (int i = 0; i < 4; ++i) {
        s.coef_a[i] = static_cast<float>(c.a[i]);  // both variants get the same float values
        s.coef_b[i] = static_cast<float>(c.b[i]);
    }
}

TEST(Lpf3, PassThroughAndDelay) {
    Lpf3State s;
    set_LPF3(&s);
    s.coef_a[0] = 1;
    s.coef_b[0] = 1;
    for (float x : {0.5f, -3.0f, 7.25f}) EXPECT_EQ(dataFilt_f_LPF3(x, &s), x);
    set_LPF3(&s);
    s.coef_a[0] = 1;
    s.coef_b[1] = 1;
    const float in[4] = {2, 3, 5, 7};
    float previous = 0;
    for (float x : in) {
        EXPECT_EQ(dataFilt_f_LPF3(x, &s), previous);
        previous = x;
    }
    EXPECT_EQ(s.hist_x[3], 2.0f);  // the oldest slot is shifted along too
}

TEST(Lpf3, ClearingRemovesCoefficients) {
    Lpf3State s;
    Lpf3StateDouble d;
    set_LPF3(&s);
    set_LPF3_double(&d);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(s.coef_a[i] + s.coef_b[i] + d.coef_a[i] + d.coef_b[i], 0.0f);
    EXPECT_FALSE(std::isfinite(dataFilt_f_LPF3(1.0f, &s)));
    EXPECT_FALSE(std::isfinite(dataFilt_f_LPF3_double(1.0f, &d)));
    EXPECT_FALSE(std::isfinite(s.hist_y[0]));
}

class Lpf3Butterworth : public ::testing::Test {
protected:
    void SetUp() override {
        set_LPF3(&f);
        set_LPF3_double(&d);
        load(f, coef);
        load(d, coef);
    }
    const double fs = 500.0, fc = 25.0;  // 20 samples per cut-off period
    const Coefficients coef = butterworth3(fc, fs);
    Lpf3State f;
    Lpf3StateDouble d;
};

TEST_F(Lpf3Butterworth, StepResponseSettlesToOne) {
    float y = 0;
    for (int n = 0; n < 400; ++n) y = dataFilt_f_LPF3(1.0f, &f);
    EXPECT_NEAR(y, 1.0f, 1e-5f);
}

TEST_F(Lpf3Butterworth, GainAtCutOffIsMinus3dB) {
    const int period = 20, settle = 40 * period, measure = 50 * period;
    double in_phase = 0, quadrature = 0;
    for (int n = 0; n < settle + measure; ++n) {
        const double phase = 2 * kPi * n / period;
        const float y = dataFilt_f_LPF3(static_cast<float>(std::sin(phase)), &f);
        if (n >= settle) {
            in_phase += y * std::sin(phase);
            quadrature += y * std::cos(phase);
        }
    }
    const double amplitude = 2.0 / measure * std::hypot(in_phase, quadrature);
    EXPECT_NEAR(20 * std::log10(amplitude), -3.0103, 0.01);
}

// Same coefficients, same input: the two state widths differ by rounding only,
// and the double variant keeps its unrounded output in y0.
TEST_F(Lpf3Butterworth, FloatAndDoubleAgree) {
    double worst = 0;
    for (int n = 0; n < 2000; ++n) {
        const float x = static_cast<float>(std::sin(0.05 * n) + 0.3 * std::sin(1.3 * n));
        const float yf = dataFilt_f_LPF3(x, &f);
        const float yd = dataFilt_f_LPF3_double(x, &d);
        EXPECT_EQ(yd, static_cast<float>(d.hist_y[0]));
        worst = std::fmax(worst, std::fabs(double(yf) - yd));
    }
    EXPECT_LT(worst, 2e-5);
}

}  // namespace
