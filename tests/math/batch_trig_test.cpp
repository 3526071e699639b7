// The batched atan2f against the C library, bit for bit: millions of random
// arguments over the ranges the pose conversions meet, and the special values.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>

#include "math/batch_trig.hpp"

namespace {

bool same(float a, float b) { return std::memcmp(&a, &b, sizeof a) == 0; }

const float kInf = std::numeric_limits<float>::infinity();

TEST(BatchTrig, Atan2MatchesTheLibrary) {
#if TOVA_BATCH_X86_KERNELS && defined(__GLIBC__)
    // The kernels reproduce glibc; one that fails the start-up comparison
    // falls back to library calls, which only a benchmark would notice.
    EXPECT_TRUE(tova::batch_kernels_active() || !__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma"));
#endif
    long bad = 0;
    float y[16], x[16], r[16];
    auto check = [&](int n) {
        tova::batch_atan2f(y, x, r, n);
        for (int i = 0; i < n; ++i) {
            const float want = std::atan2(y[i], x[i]);
            bad += !same(r[i], want) && !(std::isnan(r[i]) && std::isnan(want));  // any NaN for a NaN
        }
    };
    const float special[] = {0.0f, -0.0f, 1.0f, -1.0f, kInf, -kInf, std::nanf(""), 1e-38f, 3e38f, 1e-45f};
    for (float a : special)
        for (float b : special) y[0] = a, x[0] = b, check(1);
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> mant(0.5f, 1.0f);
    std::uniform_int_distribution<int> expo(-30, 8);
    for (int round = 0; round < 250000; ++round) {
        for (int i = 0; i < 16; ++i) {
            // magnitudes 2^-31 .. 2^8, both signs: every reduction interval and quadrant
            y[i] = std::ldexp(mant(rng), expo(rng)) * (rng() & 1 ? -1.0f : 1.0f);
            x[i] = std::ldexp(mant(rng), expo(rng) / 4) * (rng() & 1 ? -1.0f : 1.0f);
        }
        check(1 + round % 16);
    }
    EXPECT_EQ(bad, 0);
}

}  // namespace
