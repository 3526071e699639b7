// The batched sine/cosine must give, for every f32 angle, exactly
// (float)std::sin((double)x) and (float)std::cos((double)x).
//
// Default run: millions of angles over the whole range. TOVA_TRIG_EXHAUSTIVE=1
// in the environment checks every float with |x| <= kFastTrigMaxAngle (a few
// minutes on one core).
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>

#include "kinematics/fast_trig.hpp"

#ifndef TOVA_FAST_TRIG_SAMPLES
#define TOVA_FAST_TRIG_SAMPLES 4000000
#endif

namespace {

uint32_t bits_of(float f) {
    uint32_t u;
    std::memcpy(&u, &f, sizeof u);
    return u;
}

// Checks a batch of eight angles; returns the number of mismatching results.
int mismatches(const float (&x)[8]) {
    float s[8], c[8];
    tova::sincos_rounded<8>(x, s, c);
    int bad = 0;
    for (int i = 0; i < 8; ++i) {
        const double xd = static_cast<double>(x[i]);
        const float es = static_cast<float>(std::sin(xd)), ec = static_cast<float>(std::cos(xd));
        if (bits_of(s[i]) != bits_of(es) || bits_of(c[i]) != bits_of(ec)) {
            if (bad == 0)
                ADD_FAILURE() << "x = " << std::hexfloat << x[i] << ": sin " << s[i] << " vs " << es
                              << ", cos " << c[i] << " vs " << ec;
            ++bad;
        }
    }
    return bad;
}

TEST(FastTrig, RandomAnglesOverTheWholeRange) {
    std::mt19937 rng(2024);
    const float range = static_cast<float>(tova::kFastTrigMaxAngle);
    std::uniform_real_distribution<float> uniform(-range, range);
    std::uniform_real_distribution<float> log_mag(-30.0f, std::log2(range));
    std::uniform_int_distribution<int> quarter_turns(-40, 40);
    std::uniform_int_distribution<int> ulps(-64, 64);
    long bad = 0;
    for (long n = 0; n < TOVA_FAST_TRIG_SAMPLES / 8; ++n) {
        float x[8];
        for (int i = 0; i < 8; ++i) {
            switch (i % 4) {
            case 0:
            case 1: x[i] = uniform(rng); break;
            case 2:  // every magnitude, small angles included
                x[i] = std::copysign(std::exp2(log_mag(rng)), uniform(rng));
                break;
            default: {  // floats next to multiples of pi/2, where reduction cancels
                const float k = static_cast<float>(quarter_turns(rng) * 1.5707963267948966);
                uint32_t u = bits_of(k) + static_cast<uint32_t>(ulps(rng));
                std::memcpy(&x[i], &u, sizeof u);
            }
            }
        }
        bad += mismatches(x);
        if (bad > 0) break;
    }
    EXPECT_EQ(bad, 0);
}

TEST(FastTrig, SpecialAndOutOfRangeValues) {
    const float inf = std::numeric_limits<float>::infinity();
    const float big = static_cast<float>(tova::kFastTrigMaxAngle);
    const float x[8] = {0.0f, -0.0f, std::numeric_limits<float>::denorm_min(), 1e-30f,
                        big, -big, std::nextafter(big, inf), 1e30f};
    EXPECT_EQ(mismatches(x), 0);
    float s[8], c[8];
    tova::sincos_rounded<8>(x, s, c);
    EXPECT_TRUE(std::signbit(s[1]));  // sin(-0) = -0
    EXPECT_EQ(c[1], 1.0f);

    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float y[2] = {inf, nan};
    float ys[2], yc[2];
    tova::sincos_rounded<2>(y, ys, yc);
    EXPECT_TRUE(std::isnan(ys[0]) && std::isnan(yc[0]) && std::isnan(ys[1]) && std::isnan(yc[1]));
}

// Odd batch sizes use a zero-padded last lane; it must not leak into results.
TEST(FastTrig, EveryBatchSizeMatchesSingleAngles) {
    const float x[7] = {0.3f, -2.9f, 6.2f, -6.28f, 1.5707964f, 3.1415927f, 40.0f};
    float s7[7], c7[7];
    tova::sincos_rounded<7>(x, s7, c7);
    for (int i = 0; i < 7; ++i) {
        float s1, c1;
        tova::sincos_rounded<1>(&x[i], &s1, &c1);
        EXPECT_EQ(bits_of(s1), bits_of(s7[i]));
        EXPECT_EQ(bits_of(c1), bits_of(c7[i]));
        EXPECT_EQ(s1, static_cast<float>(std::sin(static_cast<double>(x[i]))));
    }
}

TEST(FastTrig, ExhaustiveOverEveryFloatInRange) {
    const char *flag = std::getenv("TOVA_TRIG_EXHAUSTIVE");
    if (flag == nullptr || std::strcmp(flag, "1") != 0)
        GTEST_SKIP() << "set TOVA_TRIG_EXHAUSTIVE=1 to check every float";
    const uint32_t last = bits_of(static_cast<float>(tova::kFastTrigMaxAngle));
    long bad = 0;
    float x[8];
    int fill = 0;
    for (uint32_t u = 0; u <= last; ++u) {
        for (uint32_t sign : {0u, 0x80000000u}) {
            const uint32_t v = u | sign;
            std::memcpy(&x[fill++], &v, sizeof v);
            if (fill == 8) {
                bad += mismatches(x);
                fill = 0;
            }
        }
    }
    EXPECT_EQ(bad, 0);
}

}  // namespace
