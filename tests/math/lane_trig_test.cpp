// The solver's lane arc tangent, sine and cosine: faithfully rounded (below
// 1 ulp of the true value, which double precision stands in for), within
// 1 ulp of the C library wherever the library is itself faithful, the C
// library's own result for the special values, and the same bits from the
// portable and the AVX2 builds. TOVA_EXHAUSTIVE=1 checks every float of
// |x| <= 64 for sine and cosine.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>

#include "math/lane_trig.hpp"

namespace {

using tova::lane_trig::F4;

bool same(float a, float b) { return std::memcmp(&a, &b, sizeof a) == 0 || (std::isnan(a) && std::isnan(b)); }

// |r - exact| in units of the last place of the float nearest to exact.
double ulp_error(float r, double exact) {
    const double mag = std::fabs(exact);
    const double ulp = mag < 0x1p-126 ? 0x1p-149 : std::ldexp(1.0, std::ilogb(static_cast<float>(mag)) - 23);
    return std::fabs(r - exact) / ulp;
}

// Distance in representable floats.
int64_t float_steps(float a, float b) {
    int32_t ia, ib;
    std::memcpy(&ia, &a, 4);
    std::memcpy(&ib, &b, 4);
    const int64_t la = ia < 0 ? int64_t{INT32_MIN} - ia : ia, lb = ib < 0 ? int64_t{INT32_MIN} - ib : ib;
    return la > lb ? la - lb : lb - la;
}

#if TOVA_BATCH_X86_KERNELS
__attribute__((target("avx2,fma"))) void atan2_wide(const F4 &y, const F4 &x, F4 &r) {
    r = tova::lane_trig::avx2::atan2_lanes(y, x);
}
__attribute__((target("avx2,fma"))) void sincos_wide(const F4 &x, F4 &s, F4 &c) {
    tova::lane_trig::avx2::sincos_lanes(x, s, c);
}
#endif

// Both builds over one set of lanes.
void atan2_both(const F4 &y, const F4 &x, F4 &portable, F4 &wide) {
    portable = tova::lane_trig::portable::atan2_lanes(y, x);
    wide = portable;
#if TOVA_BATCH_X86_KERNELS
    if (tova::lane_trig::wide_lanes()) atan2_wide(y, x, wide);
#endif
}
void sincos_both(const F4 &x, F4 &s, F4 &c, F4 &ws, F4 &wc) {
    tova::lane_trig::portable::sincos_lanes(x, s, c);
    ws = s, wc = c;
#if TOVA_BATCH_X86_KERNELS
    if (tova::lane_trig::wide_lanes()) sincos_wide(x, ws, wc);
#endif
}

struct Tally {
    long count = 0, builds_differ = 0, unfaithful = 0, far_from_library = 0;
    double worst = 0;
    void add(float r, float wide, double exact, float library) {
        ++count;
        builds_differ += !same(r, wide);
        const double e = ulp_error(r, exact);
        worst = std::fmax(worst, e);
        unfaithful += !(e < 1.0);
        // the library itself is sometimes off by more than 1 ulp
        far_from_library += ulp_error(library, exact) < 1.0 && float_steps(r, library) > 1;
    }
    void expect_clean(const char *what) const {
        EXPECT_EQ(builds_differ, 0) << what;
        EXPECT_EQ(unfaithful, 0) << what << ": worst " << worst << " ulp";
        EXPECT_EQ(far_from_library, 0) << what;
        EXPECT_GT(count, 0) << what;
    }
};

TEST(LaneTrig, Atan2IsFaithfulOverEveryOctant) {
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> mant(0.5f, 1.0f);
    std::uniform_int_distribution<int> expo(-30, 8);
    Tally t;
    for (int round = 0; round < 1000000; ++round) {
        F4 y, x, r, w;
        for (int i = 0; i < 4; ++i) {
            // magnitudes 2^-31 .. 2^8 and ratios near 1 and tan(pi/8): every
            // octant, both reductions and their boundaries
            y[i] = std::ldexp(mant(rng), expo(rng)) * (rng() & 1 ? -1.0f : 1.0f);
            x[i] = (round & 3) == 0 ? y[i] * (0.41f + 0.01f * mant(rng)) * (rng() & 1 ? -1.0f : 1.0f)
                                    : std::ldexp(mant(rng), expo(rng) / 4) * (rng() & 1 ? -1.0f : 1.0f);
            if (round & 4) {
                const float t = y[i];
                y[i] = x[i], x[i] = t;
            }
        }
        atan2_both(y, x, r, w);
        for (int i = 0; i < 4; ++i)
            t.add(r[i], w[i], std::atan2(static_cast<double>(y[i]), static_cast<double>(x[i])),
                  std::atan2(y[i], x[i]));
    }
    t.expect_clean("atan2");
}

TEST(LaneTrig, SinCosAreFaithfulUpToTheirRange) {
    std::mt19937 rng(12);
    std::uniform_real_distribution<float> wide(-64.0f, 64.0f), joint(-7.0f, 7.0f);
    Tally ts, tc;
    auto check = [&](const F4 &x) {
        F4 s, c, ws, wc;
        sincos_both(x, s, c, ws, wc);
        for (int i = 0; i < 4; ++i) {
            ts.add(s[i], ws[i], std::sin(static_cast<double>(x[i])), std::sin(x[i]));
            tc.add(c[i], wc[i], std::cos(static_cast<double>(x[i])), std::cos(x[i]));
        }
    };
    for (int round = 0; round < 1000000; ++round) {
        F4 x;
        for (int i = 0; i < 4; ++i) x[i] = (round & 1) ? joint(rng) : wide(rng);
        check(x);
    }
    // the floats around every multiple of pi/4 in range, where the reduction
    // cancels most and the quadrant changes
    for (int k = -81; k <= 81; ++k) {
        float v = static_cast<float>(k * (M_PI / 4));
        for (int step = 0; step < 64; ++step) v = std::nextafter(v, -100.0f);
        for (int step = 0; step < 32; ++step) {
            F4 x;
            for (int i = 0; i < 4; ++i) x[i] = v = std::nextafter(v, 100.0f);
            check(x);
        }
    }
    if (std::getenv("TOVA_EXHAUSTIVE")) {
        for (float v = -64.0f; v < 64.0f;) {
            F4 x;
            for (int i = 0; i < 4; ++i) x[i] = v, v = std::nextafter(v, 100.0f);
            check(x);
        }
    }
    ts.expect_clean("sin");
    tc.expect_clean("cos");
}

TEST(LaneTrig, SpecialValuesAreTheLibrarys) {
    const float inf = std::numeric_limits<float>::infinity(), nan = std::nanf("");
    const float special[] = {0.0f, -0.0f, 1.0f, -1.0f, inf, -inf, nan, 1e-38f, -3e38f, 1e-45f, 0x1p-91f, 0x1p101f};
    for (float a : special)
        for (float b : special) {
            F4 r, w;
            atan2_both(F4{a, -a, a, -a}, F4{b, b, -b, -b}, r, w);
            const float want[4] = {std::atan2(a, b), std::atan2(-a, b), std::atan2(a, -b), std::atan2(-a, -b)};
            for (int i = 0; i < 4; ++i) {
                EXPECT_TRUE(same(r[i], w[i])) << a << ", " << b;
                // finite, non-degenerate pairs are merely faithful; the rest is the library's
                if (std::isfinite(a) && std::isfinite(b) && std::fabs(a) + std::fabs(b) > 0 &&
                    std::fmax(std::fabs(a), std::fabs(b)) >= 0x1p-90f && std::fmax(std::fabs(a), std::fabs(b)) <= 0x1p100f)
                    EXPECT_LE(float_steps(r[i], want[i]), 1) << a << ", " << b;
                else
                    EXPECT_TRUE(same(r[i], want[i])) << a << ", " << b << " lane " << i;
            }
        }
    const F4 x = {inf, nan, 64.5f, -1e6f};
    F4 s, c, ws, wc;
    sincos_both(x, s, c, ws, wc);
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(same(s[i], std::sin(x[i])) && same(ws[i], s[i])) << x[i];
        EXPECT_TRUE(same(c[i], std::cos(x[i])) && same(wc[i], c[i])) << x[i];
    }
    // signed zeros keep their sign
    sincos_both(F4{0.0f, -0.0f, 0.0f, -0.0f}, s, c, ws, wc);
    EXPECT_TRUE(same(s[1], -0.0f) && same(s[0], 0.0f) && c[0] == 1.0f && c[1] == 1.0f);
}

}  // namespace
