// Batched f32 arc tangents with results bit-identical to the C library's
// atan2f.
//
// Why: the Euler extraction of every pose the library returns needs three
// atan2f, and the library's scalar atan2f branches on its argument, which a
// stream of unrelated poses mispredicts. On x86-64 with AVX2 and FMA a call is
// evaluated eight lanes per instruction.
//
// How the results stay identical to the library:
//  * atan2f follows the classic single-precision argument reduction (five
//    intervals, atan(1/2), atan(1), atan(3/2) and pi/2 split into high and
//    low parts) and its eleven-term odd polynomial, operation for operation
//    in f32, without fused multiply-adds.
//  * Lanes outside the common path (zeros, infinities, NaN, huge quotients)
//    are recomputed with the library itself.
//  * At first use the kernels are compared with the library on a fixed set of
//    arguments; on any difference (another C library, another variant), or on
//    a CPU without AVX2/FMA, every call goes to the library directly.
//  * tests/math/batch_trig_test.cpp compares millions of arguments.
#ifndef TOVA_MATH_BATCH_TRIG_HPP
#define TOVA_MATH_BATCH_TRIG_HPP

#include <cmath>
#include <cstdint>
#include <cstring>

#include "math/transform_rows.hpp"  // v4f

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define TOVA_BATCH_X86_KERNELS 1
#include <immintrin.h>
#endif

namespace tova {

namespace batch_detail {

inline void scalar_atan2f(const float *y, const float *x, float *out, int n) {
    for (int i = 0; i < n; ++i) out[i] = std::atan2(y[i], x[i]);
}
#if TOVA_BATCH_X86_KERNELS
#define TOVA_BATCH_AVX2 __attribute__((target("avx2,fma")))

// ---- atan2f, eight lanes ----

TOVA_BATCH_AVX2 inline __m256 splat_ps(float v) { return _mm256_set1_ps(v); }
TOVA_BATCH_AVX2 inline __m256i splat_epi(int32_t v) { return _mm256_set1_epi32(v); }

// Per-lane constant of the atan2f reduction: `interval` is 0 for t < 7/16
// and 1 + the interval number (0..3) otherwise.
TOVA_BATCH_AVX2 inline __m256 pick_interval(__m256i interval, float v_small, float v0, float v1, float v2,
                                         float v3) {
    return _mm256_permutevar8x32_ps(_mm256_setr_ps(v_small, v0, v1, v2, v3, 0.0f, 0.0f, 0.0f), interval);
}
// c + w * acc, rounded twice (never fused).
TOVA_BATCH_AVX2 inline __m256 mla(__m256 c, __m256 w, __m256 acc) {
    return _mm256_add_ps(c, _mm256_mul_ps(w, acc));
}

// Returns atan2f of eight lanes; `redo` gets all-ones in lanes that must be
// recomputed by the library.
TOVA_BATCH_AVX2 inline __m256 atan2f8(__m256 y, __m256 x, __m256i &redo) {
    const __m256i hx = _mm256_castps_si256(x), hy = _mm256_castps_si256(y);
    const __m256i abs_mask = splat_epi(0x7fffffff);
    const __m256i ix = _mm256_and_si256(hx, abs_mask), iy = _mm256_and_si256(hy, abs_mask);
    const __m256i k = _mm256_srai_epi32(_mm256_sub_epi32(iy, ix), 23);
    // zero, infinite or NaN operands, and quotients beyond 2^+-60
    const __m256i inf = splat_epi(0x7f800000);
    __m256i odd = _mm256_or_si256(_mm256_cmpgt_epi32(ix, _mm256_sub_epi32(inf, splat_epi(1))),
                                  _mm256_cmpgt_epi32(iy, _mm256_sub_epi32(inf, splat_epi(1))));
    odd = _mm256_or_si256(odd, _mm256_cmpeq_epi32(ix, _mm256_setzero_si256()));
    odd = _mm256_or_si256(odd, _mm256_cmpeq_epi32(iy, _mm256_setzero_si256()));
    odd = _mm256_or_si256(odd, _mm256_cmpgt_epi32(k, splat_epi(60)));
    odd = _mm256_or_si256(odd, _mm256_cmpgt_epi32(splat_epi(-60), k));
    redo = odd;

    // t = |y / x| and its interval
    const __m256 t = _mm256_castsi256_ps(
        _mm256_and_si256(_mm256_castps_si256(_mm256_div_ps(y, x)), abs_mask));
    const __m256i it = _mm256_castps_si256(t);
    const __m256i small = _mm256_cmpgt_epi32(splat_epi(0x3ee00000), it);  // t < 0.4375
    const __m256i tiny = _mm256_cmpgt_epi32(splat_epi(0x31000000), it);   // t < 2^-29
    const __m256i huge = _mm256_cmpgt_epi32(it, splat_epi(0x4bffffff));   // t >= 2^25
    const __m256i lt0 = _mm256_cmpgt_epi32(splat_epi(0x3f300000), it);    // t < 11/16
    const __m256i lt1 = _mm256_cmpgt_epi32(splat_epi(0x3f980000), it);    // t < 19/16
    const __m256i lt2 = _mm256_cmpgt_epi32(splat_epi(0x401c0000), it);    // t < 39/16

    // Reduction (A t - B) / (C + D t), chosen per interval so that every
    // interval's own expression is reproduced exactly (see the table below).
    //            small   id0   id1   id2   id3
    //   A          1      2     1     1     0
    //   B          0      1     1    1.5    1
    //   C          1      2     1     1     0
    //   D          0      1     1    1.5    1
    // Interval index: the number of bounds t reaches (masks are -1 below one).
    const __m256i iv = _mm256_add_epi32(_mm256_add_epi32(splat_epi(4), _mm256_add_epi32(small, lt0)),
                                        _mm256_add_epi32(lt1, lt2));
    const __m256 A = pick_interval(iv, 1.0f, 2.0f, 1.0f, 1.0f, 0.0f);
    const __m256 B = pick_interval(iv, 0.0f, 1.0f, 1.0f, 1.5f, 1.0f);
    const __m256 C = A, D = B;
    const __m256 hi = pick_interval(iv, 0.0f, 4.6364760399e-01f, 7.8539812565e-01f, 9.8279368877e-01f,
                           1.5707962513e+00f);
    const __m256 lo = pick_interval(iv, 0.0f, 5.0121582440e-09f, 3.7748947079e-08f, 3.4473217170e-08f,
                           7.5497894159e-08f);
    const __m256 num = _mm256_sub_ps(_mm256_mul_ps(A, t), B);
    const __m256 den = _mm256_add_ps(C, _mm256_mul_ps(D, t));
    const __m256 xr = _mm256_div_ps(num, den);

    const __m256 z = _mm256_mul_ps(xr, xr);
    const __m256 w = _mm256_mul_ps(z, z);
    __m256 p1 = splat_ps(1.6285819933e-02f);
    p1 = mla(splat_ps(4.9768779427e-02f), w, p1);
    p1 = mla(splat_ps(6.6610731184e-02f), w, p1);
    p1 = mla(splat_ps(9.0908870101e-02f), w, p1);
    p1 = mla(splat_ps(1.4285714924e-01f), w, p1);
    p1 = mla(splat_ps(3.3333334327e-01f), w, p1);
    const __m256 s1 = _mm256_mul_ps(z, p1);
    __m256 p2 = splat_ps(-3.6531571299e-02f);
    p2 = mla(splat_ps(-5.8335702866e-02f), w, p2);
    p2 = mla(splat_ps(-7.6918758452e-02f), w, p2);
    p2 = mla(splat_ps(-1.1111110449e-01f), w, p2);
    p2 = mla(splat_ps(-2.0000000298e-01f), w, p2);
    const __m256 s2 = _mm256_mul_ps(w, p2);
    const __m256 xs = _mm256_mul_ps(xr, _mm256_add_ps(s1, s2));
    const __m256 r_small = _mm256_sub_ps(xr, xs);
    const __m256 r_big = _mm256_sub_ps(hi, _mm256_sub_ps(_mm256_sub_ps(xs, lo), xr));
    __m256 at = _mm256_blendv_ps(r_big, r_small, _mm256_castsi256_ps(small));
    at = _mm256_blendv_ps(at, t, _mm256_castsi256_ps(tiny));
    at = _mm256_blendv_ps(at, splat_ps(1.5707962513e+00f + 7.5497894159e-08f),
                          _mm256_castsi256_ps(huge));

    // Quadrant from the signs of y and x.
    const float pi = 3.1415927410e+00f, pi_lo = -8.7422776573e-08f;
    const __m256 neg_at = _mm256_xor_ps(at, splat_ps(-0.0f));
    const __m256 r2 = _mm256_sub_ps(splat_ps(pi), _mm256_sub_ps(at, splat_ps(pi_lo)));
    const __m256 r3 = _mm256_sub_ps(_mm256_sub_ps(at, splat_ps(pi_lo)), splat_ps(pi));
    const __m256 ypos = _mm256_blendv_ps(at, r2, x);      // sign of x selects
    const __m256 yneg = _mm256_blendv_ps(neg_at, r3, x);
    return _mm256_blendv_ps(ypos, yneg, y);               // sign of y selects
}

// atan2f8 with its odd lanes recomputed by the library: atan2f of every lane.
TOVA_BATCH_AVX2 inline __m256 atan2f8_exact(__m256 y, __m256 x) {
    __m256i redo;
    const __m256 r = atan2f8(y, x, redo);
    const int mask = _mm256_movemask_ps(_mm256_castsi256_ps(redo));
    if (mask == 0) return r;
    alignas(32) float rb[8], yb[8], xb[8];
    _mm256_store_ps(rb, r);
    _mm256_store_ps(yb, y);
    _mm256_store_ps(xb, x);
    for (int i = 0; i < 8; ++i)
        if (mask & (1 << i)) rb[i] = std::atan2(yb[i], xb[i]);
    return _mm256_load_ps(rb);
}

TOVA_BATCH_AVX2 inline void simd_atan2f(const float *y, const float *x, float *out, int n) {
    for (int base = 0; base < n; base += 8) {
        const int m = n - base < 8 ? n - base : 8;
        alignas(32) float yb[8] = {1, 1, 1, 1, 1, 1, 1, 1}, xb[8] = {1, 1, 1, 1, 1, 1, 1, 1};
        alignas(32) float rb[8];
        std::memcpy(yb, y + base, sizeof(float) * m);
        std::memcpy(xb, x + base, sizeof(float) * m);
        _mm256_store_ps(rb, atan2f8_exact(_mm256_load_ps(yb), _mm256_load_ps(xb)));
        std::memcpy(out + base, rb, sizeof(float) * m);
    }
}

// Lanes 0..2 of y and x (lane 3 is set to 1 so that it never needs the
// library), for callers whose operands are already in registers.
TOVA_BATCH_AVX2 inline __m128 simd_atan2f3_lanes(__m128 y, __m128 x) {
    const __m128 one = _mm_set1_ps(1.0f);
    const __m256 r = atan2f8_exact(_mm256_set_m128(one, _mm_blend_ps(y, one, 8)),
                                   _mm256_set_m128(one, _mm_blend_ps(x, one, 8)));
    return _mm256_castps256_ps128(r);
}

// The kernels are used only where they reproduce this process's C library:
// the CPU has AVX2 and FMA, and a fixed spread of arguments (all intervals of
// the atan2f reduction, all quadrants) gives identical bits. Run once, so
// never inlined into the callers that flatten their hot paths.
__attribute__((noinline, cold)) inline bool kernels_match_library() {
    if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma")) return false;
    uint32_t state = 0x9e3779b9u;
    auto next = [&state]() {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        return state;
    };
    for (int round = 0; round < 64; ++round) {
        float y[16], x[16], a[16];
        for (int i = 0; i < 16; ++i) {
            // magnitudes from 2^-10 to 2^4, both signs
            const float m1 = std::ldexp(static_cast<float>(next() >> 8) * 0x1p-24f, static_cast<int>(next() % 15) - 10);
            const float m2 = std::ldexp(static_cast<float>(next() >> 8) * 0x1p-24f, static_cast<int>(next() % 15) - 10);
            y[i] = (next() & 1) ? -m1 : m1;
            x[i] = (next() & 1) ? -m2 : m2;
        }
        simd_atan2f(y, x, a, 16);
        for (int i = 0; i < 16; ++i) {
            const float ra = std::atan2(y[i], x[i]);
            if (std::memcmp(&ra, &a[i], 4) != 0) return false;
        }
    }
    return true;
}

inline bool use_kernels() {
    static const bool ok = kernels_match_library();
    return ok;
}
#undef TOVA_BATCH_AVX2
#else
inline bool use_kernels() { return false; }
#endif

}  // namespace batch_detail

// True when the vector kernels are in use (false: plain library calls).
inline bool batch_kernels_active() { return batch_detail::use_kernels(); }

// out[i] = atan2f(y[i], x[i]) for i < n, bit for bit.
inline void batch_atan2f(const float *y, const float *x, float *out, int n) {
#if TOVA_BATCH_X86_KERNELS
    if (batch_detail::use_kernels()) return batch_detail::simd_atan2f(y, x, out, n);
#endif
    batch_detail::scalar_atan2f(y, x, out, n);
}

// atan2f of lanes 0..2 of y and x, bit for bit; lane 3 of the result is not
// specified.
inline v4f batch_atan2f3_lanes(v4f y, v4f x) {
#if TOVA_BATCH_X86_KERNELS
    if (batch_detail::use_kernels()) return (v4f)batch_detail::simd_atan2f3_lanes((__m128)y, (__m128)x);
#endif
    return v4f{std::atan2(y[0], x[0]), std::atan2(y[1], x[1]), std::atan2(y[2], x[2]), 0.0f};
}

}  // namespace tova

#endif  // TOVA_MATH_BATCH_TRIG_HPP
