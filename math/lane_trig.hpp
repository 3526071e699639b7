// Faithfully rounded f32 arc tangent, sine and cosine on vector lanes
// (lane_trig.inc), in two builds with identical results: `portable` for any
// instruction set and, on x86-64, `avx2` compiled for AVX2 and FMA.
#ifndef TOVA_MATH_LANE_TRIG_HPP
#define TOVA_MATH_LANE_TRIG_HPP

#include <climits>
#include <cmath>
#include <cstdint>

#include "math/batch_trig.hpp"  // TOVA_BATCH_X86_KERNELS and <immintrin.h>

#define TOVA_LANES_INLINE inline __attribute__((always_inline))

// Everything between these two is compiled for AVX2 and FMA.
#if defined(__clang__)
#define TOVA_AVX2_BEGIN _Pragma("clang attribute push(__attribute__((target(\"avx2,fma\"))), apply_to = function)")
#define TOVA_AVX2_END _Pragma("clang attribute pop")
#else
#define TOVA_AVX2_BEGIN _Pragma("GCC push_options") _Pragma("GCC target(\"avx2,fma\")")
#define TOVA_AVX2_END _Pragma("GCC pop_options")
#endif

namespace tova::lane_trig {

typedef float F4 __attribute__((vector_size(16)));
typedef float F8 __attribute__((vector_size(32)));

namespace portable {
// std::fma and std::nearbyint are correctly rounded everywhere (a CPU without
// fused multiply-add pays for a library call per lane).
TOVA_LANES_INLINE F4 fmadd(F4 a, F4 b, F4 c) {
    return F4{std::fma(a[0], b[0], c[0]), std::fma(a[1], b[1], c[1]), std::fma(a[2], b[2], c[2]),
              std::fma(a[3], b[3], c[3])};
}
TOVA_LANES_INLINE F4 round_even(F4 x) {
    return F4{std::nearbyint(x[0]), std::nearbyint(x[1]), std::nearbyint(x[2]), std::nearbyint(x[3])};
}
template <class M>
TOVA_LANES_INLINE bool all_lanes_set(M m) {
    bool all = true;
    for (unsigned i = 0; i < sizeof(M) / sizeof(m[0]); ++i) all = all && m[i] != 0;
    return all;
}
#include "math/lane_trig.inc"
}  // namespace portable

#if TOVA_BATCH_X86_KERNELS
TOVA_AVX2_BEGIN
namespace avx2 {
TOVA_LANES_INLINE F4 fmadd(F4 a, F4 b, F4 c) { return _mm_fmadd_ps(a, b, c); }
TOVA_LANES_INLINE F8 fmadd(F8 a, F8 b, F8 c) { return _mm256_fmadd_ps(a, b, c); }
TOVA_LANES_INLINE F4 round_even(F4 x) { return _mm_round_ps(x, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC); }
TOVA_LANES_INLINE F8 round_even(F8 x) { return _mm256_round_ps(x, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC); }
typedef int32_t I4 __attribute__((vector_size(16)));
typedef int32_t I8 __attribute__((vector_size(32)));
TOVA_LANES_INLINE bool all_lanes_set(I4 m) { return _mm_movemask_ps(__m128(m)) == 0xF; }
TOVA_LANES_INLINE bool all_lanes_set(I8 m) { return _mm256_movemask_ps(__m256(m)) == 0xFF; }
#include "math/lane_trig.inc"
}  // namespace avx2
TOVA_AVX2_END
#endif

// True on CPUs with AVX2 and FMA, where the avx2 build may run.
inline bool wide_lanes() {
#if TOVA_BATCH_X86_KERNELS
    static const bool wide = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    return wide;
#else
    return false;
#endif
}

}  // namespace tova::lane_trig

#endif  // TOVA_MATH_LANE_TRIG_HPP
