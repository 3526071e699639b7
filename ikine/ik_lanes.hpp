// Four f32 lanes, one per arm candidate of the vesk scheme, as a GCC/clang
// vector type: lane arithmetic is the same IEEE single-precision arithmetic as
// the scalar expressions (no contraction, same order), so the four candidates
// are computed together with bit-identical results.
#ifndef TOVA_IKINE_IK_LANES_HPP
#define TOVA_IKINE_IK_LANES_HPP

#include <cmath>
#include <cstdint>

#include "math/lane_trig.hpp"  // TOVA_LANES_INLINE

#if defined(__SSE__)
#include <xmmintrin.h>
#endif

namespace tova::ik {

typedef float F4 __attribute__((vector_size(16)));
typedef int32_t I4 __attribute__((vector_size(16)));  // lane masks: all ones or zero

TOVA_LANES_INLINE F4 splat(float v) { return F4{v, v, v, v}; }
template <class V>  // F4 or I4
TOVA_LANES_INLINE V pick(I4 mask, V yes, V no) {
    return mask ? yes : no;
}

// Lane-wise single-precision square root (the IEEE result, as std::sqrt).
TOVA_LANES_INLINE F4 sqrt_lanes(F4 v) {
#if defined(__SSE__)
    return _mm_sqrt_ps(v);
#else
    return F4{std::sqrt(v[0]), std::sqrt(v[1]), std::sqrt(v[2]), std::sqrt(v[3])};
#endif
}

// Square root taken in double precision and rounded back to f32.
TOVA_LANES_INLINE F4 sqrt_lanes_double(F4 v) {
    F4 r;
    for (int i = 0; i < 4; ++i) r[i] = static_cast<float>(std::sqrt(static_cast<double>(v[i])));
    return r;
}

}  // namespace tova::ik

#endif  // TOVA_IKINE_IK_LANES_HPP
