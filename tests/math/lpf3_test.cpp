// Third-order low-pass filter: trivial coefficient sets, a Butterworth design
// from the bilinear transform, and agreement of the float and double states.
#include <gtest/gtest.h>

#include <cmath>
#include <type_traits>

#include "math/tova_static_matrix.h"

namespace {

const double kPi = 3.14159265358979323846;

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
