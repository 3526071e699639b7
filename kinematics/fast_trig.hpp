// Batched sine and cosine of joint angles with the exact f32 results of the C
// library's double functions: for every f32 angle x,
//     s = (float)std::sin((double)x),  c = (float)std::cos((double)x).
//
// Why: the closed-form kinematics need one double sin/cos pair per joint,
// rounded to f32. Six or seven separate library calls cost more than the whole
// rest of a forward kinematics; here all angles are evaluated at once, two
// lanes per SIMD register (GCC/Clang vector extensions, SSE2 or NEON).
//
// How the result stays bit-identical:
//  * |x| <= kFastTrigMaxAngle: Cody-Waite reduction by pi/2 in three parts (the
//    first two products are exact), then the classical degree-13 / degree-14
//    minimax kernels. Total error below 3 ulp of the double result.
//  * The rounding to f32 can only differ from the library's when the double lies
//    close to a midpoint between two floats. Every lane whose double lies within
//    kFastTrigGuardUlps double-ulps of such a midpoint (probability ~2^-22), and
//    every lane outside the range (or NaN/inf), is recomputed with std::sin /
//    std::cos. Outside the guard band both our value and the library's (error
//    below 1 ulp) are on the same side of every midpoint, so they round alike.
//  * tests/kinematics/fast_trig_test.cpp checks millions of angles, and has an
//    opt-in exhaustive mode over every float in the range.
#pragma once

#include <cmath>
#include <cstdint>

namespace tova {

// Angles up to this magnitude (rad, about ten turns) take the polynomial path.
inline constexpr double kFastTrigMaxAngle = 64.0;
// Half-width of the band around f32 rounding midpoints that falls back to libm.
inline constexpr int64_t kFastTrigGuardUlps = 64;

namespace fast_trig_detail {

typedef double v2d __attribute__((vector_size(16)));
typedef long long v2i __attribute__((vector_size(16)));

// pi/2 = kPio2a + kPio2b + kPio2c; kPio2a and kPio2b carry 33 significant bits,
// so k * kPio2a and k * kPio2b are exact for the quadrant counts reached here.
inline constexpr double kPio2a = 0x1.921fb544p+0;
inline constexpr double kPio2b = 0x1.0b4611a6p-34;
inline constexpr double kPio2c = 0x1.3198a2e037073p-69;
inline constexpr double kTwoOverPi = 0x1.45f306dc9c883p-1;
inline constexpr double kShifter = 0x1.8p52;  // adding it rounds to an integer

inline constexpr double kS1 = -1.66666666666666324348e-01;
inline constexpr double kS2 = 8.33333333332248946124e-03;
inline constexpr double kS3 = -1.98412698298579493134e-04;
inline constexpr double kS4 = 2.75573137070700676789e-06;
inline constexpr double kS5 = -2.50507602534068634195e-08;
inline constexpr double kS6 = 1.58969099521155010221e-10;
inline constexpr double kC1 = 4.16666666666666019037e-02;
inline constexpr double kC2 = -1.38888888888741095749e-03;
inline constexpr double kC3 = 2.48015872894767294178e-05;
inline constexpr double kC4 = -2.75573143513906633035e-07;
inline constexpr double kC5 = 2.08757232129817482790e-09;
inline constexpr double kC6 = -1.13596475577881948265e-11;

inline v2d splat(double v) { return v2d{v, v}; }
inline v2i splat_i(long long v) { return v2i{v, v}; }
inline v2i bits(v2d v) { return (v2i)v; }
inline v2d from_bits(v2i v) { return (v2d)v; }

// Lanes (non-zero) whose double lies within the guard band of an f32 rounding
// midpoint: the 29 bits below the f32 precision are close to 1000...0. Done in
// 32-bit lanes, which SSE2 compares natively (the odd lanes hold zero and never
// match).
inline v2i near_midpoint(v2d v) {
    typedef int v4s __attribute__((vector_size(16)));
    const v4s low = (v4s)(bits(v) & splat_i(0x1FFFFFFF));
    const int base = 0x10000000 - static_cast<int>(kFastTrigGuardUlps);
    const v4s dist = low - v4s{base, base, base, base};
    const int band = 2 * static_cast<int>(kFastTrigGuardUlps);
    return (v2i)((dist >= v4s{0, 0, 0, 0}) & (dist <= v4s{band, band, band, band}));
}

// Two lanes: the double sin and cos, and a non-zero lane for each input that
// must be redone with the library.
inline v2i sincos2(v2d x, v2d &sin_out, v2d &cos_out) {
    const v2d ax = from_bits(bits(x) & splat_i(0x7FFFFFFFFFFFFFFFll));
    // NaN compares false, so it is sent to the library as well.
    const v2i in_range = (v2i)(ax <= splat(kFastTrigMaxAngle));
    const v2i redo = ~in_range;

    const v2d t = x * splat(kTwoOverPi) + splat(kShifter);
    const v2d k = t - splat(kShifter);
    const v2i quadrant = bits(t) & splat_i(3);
    const v2d r = ((x - k * splat(kPio2a)) - k * splat(kPio2b)) - k * splat(kPio2c);

    const v2d z = r * r;
    const v2d v = z * r;
    const v2d sp = splat(kS2) + z * (splat(kS3) + z * (splat(kS4) + z * (splat(kS5) + z * splat(kS6))));
    // x = -0 must keep its sign (r + v * ... would give +0); no other angle
    // reduces to an exact zero.
    const v2i zero = (v2i)(r == splat(0.0));
    const v2d s = from_bits((bits(r + v * (splat(kS1) + z * sp)) & ~zero) | (bits(r) & zero));
    const v2d cp =
        z * (splat(kC1) +
             z * (splat(kC2) + z * (splat(kC3) + z * (splat(kC4) + z * (splat(kC5) + z * splat(kC6))))));
    const v2d hz = splat(0.5) * z;
    const v2d w = splat(1.0) - hz;
    const v2d c = w + (((splat(1.0) - w) - hz) + z * cp);

    // Quadrant q: sin = (s, c, -s, -c), cos = (c, -s, -c, s).
    const v2i swap = splat_i(0) - (quadrant & splat_i(1));  // all ones for odd quadrants
    const v2i sb = bits(s);
    const v2i cb = bits(c);
    v2i sin_bits = (sb & ~swap) | (cb & swap);
    v2i cos_bits = (cb & ~swap) | (sb & swap);
    sin_bits ^= (quadrant & splat_i(2)) << 62;
    cos_bits ^= ((quadrant + splat_i(1)) & splat_i(2)) << 62;
    sin_out = from_bits(sin_bits);
    cos_out = from_bits(cos_bits);
    return redo | near_midpoint(sin_out) | near_midpoint(cos_out);
}

}  // namespace fast_trig_detail

// s[i] = (float)sin((double)x[i]), c[i] = (float)cos((double)x[i]) for i < N,
// bit-identical to the C library for every input.
template <int N>
inline void sincos_rounded(const float *x, float *s, float *c) {
    using namespace fast_trig_detail;
    static_assert(N >= 1 && N <= 8, "joint vectors hold at most eight angles");
    for (int i = 0; i < N; i += 2) {
        const double x0 = static_cast<double>(x[i]);
        const double x1 = i + 1 < N ? static_cast<double>(x[i + 1]) : 0.0;
        v2d sv, cv;
        const v2i redo = sincos2(v2d{x0, x1}, sv, cv);
        s[i] = static_cast<float>(sv[0]);
        c[i] = static_cast<float>(cv[0]);
        if (i + 1 < N) {
            s[i + 1] = static_cast<float>(sv[1]);
            c[i + 1] = static_cast<float>(cv[1]);
        }
        if ((redo[0] | redo[1]) != 0) {
            for (int j = 0; j < 2 && i + j < N; ++j) {
                if (redo[j] != 0) {
                    const double xj = static_cast<double>(x[i + j]);
                    s[i + j] = static_cast<float>(std::sin(xj));
                    c[i + j] = static_cast<float>(std::cos(xj));
                }
            }
        }
    }
}

}  // namespace tova
