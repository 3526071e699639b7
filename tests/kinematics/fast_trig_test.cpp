// The batched sine/cosine must give, for every f32 angle, exactly
// (float)std::sin((double)x) and (float)std::cos((double)x). The default run
// checks millions of angles over the whole range; TOVA_TRIG_EXHAUSTIVE=1 in the
// environment checks every float with |x| <= kFastTrigMaxAngle (minutes).
#include <gtest/gtest.h>

#include <algorithm>
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
float from_bits(uint32_t u) {
    float f;
    std::memcpy(&f, &u, sizeof f);
    return f;
}

// Mismatching results in a batch of eight (the batch sizes 7 and 1 are checked
// on the same angles: a padded lane must not leak).
int mismatches(const float (&x)[8]) {
    float s[8], c[8], s7[7], c7[7];
    tova::sincos_rounded<8>(x, s, c);
    tova::sincos_rounded<7>(x, s7, c7);
    int bad = 0;
    for (int i = 0; i < 8; ++i) {
        const uint32_t es = bits_of(static_cast<float>(std::sin(static_cast<double>(x[i]))));
        const uint32_t ec = bits_of(static_cast<float>(std::cos(static_cast<double>(x[i]))));
        float s1, c1;
        tova::sincos_rounded<1>(&x[i], &s1, &c1);
        const bool ok = bits_of(s[i]) == es && bits_of(c[i]) == ec && bits_of(s1) == es && bits_of(c1) == ec &&
                        (i == 7 || (bits_of(s7[i]) == es && bits_of(c7[i]) == ec));
        if (!ok && bad++ == 0)
            ADD_FAILURE() << "x = " << std::hexfloat << x[i] << ": sin " << s[i] << " vs " << from_bits(es)
                          << ", cos " << c[i] << " vs " << from_bits(ec);
    }
    return bad;
}

TEST(FastTrig, SpecialAndRandomAnglesOverTheWholeRange) {
    const float inf = std::numeric_limits<float>::infinity();
    const float big = static_cast<float>(tova::kFastTrigMaxAngle);
    const float special[8] = {0.0f, -0.0f, std::numeric_limits<float>::denorm_min(), 1e-30f,
                              big, -big, std::nextafter(big, inf), 1e30f};  // sin(-0) = -0 too
    long bad = mismatches(special);
    const float y[2] = {inf, std::numeric_limits<float>::quiet_NaN()};
    float s[2], c[2];
    tova::sincos_rounded<2>(y, s, c);
    EXPECT_TRUE(std::isnan(s[0]) && std::isnan(c[0]) && std::isnan(s[1]) && std::isnan(c[1]));

    std::mt19937 rng(2024);
    std::uniform_real_distribution<float> uniform(-big, big), log_mag(-30.0f, std::log2(big));
    std::uniform_int_distribution<int> quarter_turns(-40, 40), ulps(-64, 64);
    for (long n = 0; n < TOVA_FAST_TRIG_SAMPLES / 8 && bad == 0; ++n) {
        float x[8];
        for (int i = 0; i < 8; ++i) {  // uniform; every magnitude; floats next to multiples of
            const float k = static_cast<float>(quarter_turns(rng) * 1.5707963267948966);  // pi/2 (cancellation)
            x[i] = i < 4 ? uniform(rng)
                   : i < 6 ? std::copysign(std::exp2(log_mag(rng)), uniform(rng))
                           : from_bits(bits_of(k) + static_cast<uint32_t>(ulps(rng)));
        }
        bad += mismatches(x);
    }
    EXPECT_EQ(bad, 0);
}

TEST(FastTrig, ExhaustiveOverEveryFloatInRange) {
    const char *flag = std::getenv("TOVA_TRIG_EXHAUSTIVE");
    if (flag == nullptr || std::strcmp(flag, "1") != 0)
        GTEST_SKIP() << "set TOVA_TRIG_EXHAUSTIVE=1 to check every float";
    const uint32_t last = bits_of(static_cast<float>(tova::kFastTrigMaxAngle));
    long bad = 0;
    for (uint32_t u = 0; u <= last; u += 4) {  // four magnitudes, both signs
        float x[8];
        for (uint32_t k = 0; k < 8; ++k) x[k] = from_bits(std::min(u + k / 2, last) | (k % 2 ? 0x80000000u : 0u));
        bad += mismatches(x);
    }
    EXPECT_EQ(bad, 0);
}

}  // namespace
