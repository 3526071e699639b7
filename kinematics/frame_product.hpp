// 4x4 transforms held as four SIMD rows, and the product of matrix_m on them.
//
// matrix_m forms each f32 product, sums in double from 0.0 in the order
// k = 0..3 and rounds the sum to f32; mul() does exactly that, one row of four
// products at a time. It also skips the terms that a last row of exactly
// (0, 0, 0, 1) makes trivial, which is exact: a sum that starts at +0.0 is never
// -0, so adding a finite x * 0 (= +-0) leaves it unchanged, and x * 1 = x. The
// shortcut is taken only when both last rows are exactly (0, 0, 0, 1) and the
// other rows are finite; any other input runs all sixteen terms.
//
// The operands are rows (math/transform_rows.hpp).
#pragma once

#include <cstring>

#include "math/fixed_matrix.hpp"
#include "math/tova_mathfuncs.h"
#include "math/transform_rows.hpp"

namespace tova {

namespace frame_product_detail {
typedef double v4d __attribute__((vector_size(32)));
typedef int v4i __attribute__((vector_size(16)));

inline v4f splat(float s) { return v4f{s, s, s, s}; }

// out = x in double, element by element: compiled for AVX (the solvers' wide
// copies) that is one vcvtps2pd, where GCC splits __builtin_convertvector into
// halves. (An output parameter: a function returning a 32-byte vector has
// another ABI with AVX.)
inline void widen(v4f x, v4d &out) {
    out = v4d{static_cast<double>(x[0]), static_cast<double>(x[1]), static_cast<double>(x[2]),
              static_cast<double>(x[3])};
}

// Row i of a * b over the terms k < count, closed by adding +0.0 to every
// element and, when `homogeneous`, a(i, 3) to the element in column 3 (the
// only term that b's last row (0, 0, 0, 1) leaves).
//
// matrix_m's sums start at +0.0, which changes a term only by turning -0 into
// +0, so such a sum is never -0. Here the first term starts the sum and the
// closing addition does that normalisation instead: +0.0 in the plain columns,
// a(i, 3) + 0.0 in column 3 (so that -0 + -0 cannot remain). Same bits, one
// addition fewer on the dependency chain; the closing term itself is formed
// off that chain, as whole lanes rather than element by element.
inline v4f product_row(const Transform &a, const Transform &b, int i, int count, bool homogeneous) {
    v4d sum, term, closing;
    widen(splat(a.row[i][0]) * b.row[0], sum);
    for (int k = 1; k < count; ++k) {
        widen(splat(a.row[i][k]) * b.row[k], term);
        sum += term;
    }
    const v4i column3 = homogeneous ? v4i{0, 0, 0, -1} : v4i{0, 0, 0, 0};
    widen((v4f)((v4i)a.row[i] & column3), closing);
    return __builtin_convertvector(sum + (closing + v4d{0.0, 0.0, 0.0, 0.0}), v4f);
}

// True when every lane of a comparison result is set. (_mm_movemask_ps measured
// about 3 % slower in the inverse kinematics; the reason is not known.)
inline bool all_lanes(v4i m) {
    return (m[0] & m[1] & m[2] & m[3]) != 0;
}
inline v4i finite(v4f x) { return x * splat(0.0f) == splat(0.0f); }  // false for inf and NaN

// Lanes of a's last row that equal (0, 0, 0, 1) bit for bit.
inline v4i unit_last_row_lanes(const Transform &a) {
    return (v4i)a.row[3] == (v4i)v4f{0.0f, 0.0f, 0.0f, 1.0f};
}
inline bool unit_last_row(const Transform &a) { return all_lanes(unit_last_row_lanes(a)); }
inline bool finite_top(const Transform &a) {
    return all_lanes(finite(a.row[0]) & finite(a.row[1]) & finite(a.row[2]));
}
// a * b for operands with last rows (0, 0, 0, 1) and finite other rows.
inline Transform mul_homogeneous(const Transform &a, const Transform &b) {
    Transform r;
    for (int i = 0; i < 3; ++i) r.row[i] = product_row(a, b, i, 3, true);
    r.row[3] = v4f{0.0f, 0.0f, 0.0f, 1.0f};
    return r;
}
}  // namespace frame_product_detail

// matrix_m(a, b) for 4 x 4 operands, bit for bit.
inline Transform mul(const Transform &a, const Transform &b) {
    using namespace frame_product_detail;
    if (unit_last_row(a) && unit_last_row(b) && finite_top(a) && finite_top(b)) return mul_homogeneous(a, b);
    Transform r;
    for (int i = 0; i < 4; ++i) r.row[i] = product_row(a, b, i, 4, false);
    return r;
}

// use(mul(w, mul(i, mul(f, t)))) out of line: the rare case of with_chain,
// kept apart so that its code does not crowd the common one.
template <class Use>
__attribute__((noinline, cold)) auto use_stepwise(const Transform &w, const Transform &i, const Transform &f,
                                                  const Transform &t, Use use) {
    return use(mul(w, mul(i, mul(f, t))));
}

// use(mul(w, mul(i, mul(f, t)))), the product bit for bit, with one finiteness
// test instead of six: an infinite or NaN element anywhere in the operands or
// an intermediate product reaches the result (inf and NaN survive every
// product and sum, and inf * 0 is NaN), so a finite result shows that every
// step could take the homogeneous shortcut. Otherwise the chain is recomputed
// step by step. `use` is called on each path separately so that the common
// one hands it the product in registers; a result joined from both paths would
// be kept in memory.
template <class Use>
inline auto with_chain(const Transform &w, const Transform &i, const Transform &f, const Transform &t, Use use) {
    using namespace frame_product_detail;
    if (all_lanes(unit_last_row_lanes(w) & unit_last_row_lanes(i) & unit_last_row_lanes(f) &
                  unit_last_row_lanes(t))) {
        const Transform r = mul_homogeneous(w, mul_homogeneous(i, mul_homogeneous(f, t)));
        if (finite_top(r)) return use(r);
    }
    return use_stepwise(w, i, f, t, use);
}

// matrix_m(a, b) for 4 x 4 records (the header is taken as 4 x 4), bit for bit.
inline Matrix mul_transforms(const Matrix &a, const Matrix &b) {
    Matrix r;
    store_transform(mul(load_transform(a), load_transform(b)), r);
    return r;
}

// inv_transform(m) as rows, recomputed only when the 3 x 4 block it reads
// changes (compared bit for bit, so the result is always that of
// inv_transform): the inverse kinematics inverts the configured frames on
// every call, and they rarely change between calls.
//
// An unset frame inverts to the identity (translation +-0). A product with it
// is then x + 0.0f element by element, bit for bit, when x is finite: every
// sum of matrix_m is +0.0 plus +-0 terms plus at most one x, and
// +0.0 + (-0.0) = +0.0. So the two products with unset frames cost nothing.
class InverseMemo {
public:
    const Transform &of(const Matrix &m) {
        if (!valid_ || std::memcmp(key_, &m.data[0][0], sizeof key_) != 0) {
            std::memcpy(key_, &m.data[0][0], sizeof key_);
            inverse_ = load_transform(inv_transform(m));
            const v4f unit_row[4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
            identity_ = true;
            for (int i = 0; i < 4; ++i)
                identity_ = identity_ && frame_product_detail::all_lanes(inverse_.row[i] == unit_row[i]);
            valid_ = true;
        }
        return inverse_;
    }

    // inverse(m) x x and x x inverse(m), as mul() computes them.
    Transform before(const Matrix &m, const Transform &x) {
        const Transform &inverse = of(m);
        return identity_ && finite(x) ? plus_zero(x) : mul(inverse, x);
    }
    Transform after(const Transform &x, const Matrix &m) {
        const Transform &inverse = of(m);
        return identity_ && finite(x) ? plus_zero(x) : mul(x, inverse);
    }

private:
    static bool finite(const Transform &x) {
        using frame_product_detail::finite;
        return frame_product_detail::all_lanes(finite(x.row[0]) & finite(x.row[1]) & finite(x.row[2]) &
                                               finite(x.row[3]));
    }
    static Transform plus_zero(const Transform &x) {
        Transform r;
        for (int i = 0; i < 4; ++i) r.row[i] = x.row[i] + frame_product_detail::splat(0.0f);
        return r;
    }

    Transform inverse_{};
    float key_[12] = {};
    bool valid_ = false;
    bool identity_ = false;
};

}  // namespace tova
