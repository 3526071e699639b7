// The 4x4 product of matrix_m (each f32 product rounded, summed in double from
// 0.0 in the order k = 0..3, the sum rounded to f32) for two 4 x 4 operands,
// written for SIMD: one row of four products at a time, accumulated in two
// pairs of doubles. Bit-identical to matrix_m on 4 x 4 records; the frame
// composition of the forward kinematics runs three of these per call.
//
// mul_transforms also skips the terms that a last row of exactly (0, 0, 0, 1)
// makes trivial. That is exact: a running sum that starts at +0.0 is never -0,
// so adding a finite x * 0 (= +-0) leaves it unchanged, and x * 1 = x. The
// shortcut is taken only when both last rows are exactly (0, 0, 0, 1) and the
// entries multiplied by 0 are finite; otherwise the full product runs.
#pragma once

#include "math/tova_mathfuncs.h"

namespace tova {

namespace frame_product_detail {
typedef float v4f __attribute__((vector_size(16)));
typedef double v4d __attribute__((vector_size(32)));
}  // namespace frame_product_detail

inline Matrix mul44(const Matrix &a, const Matrix &b) {
    using namespace frame_product_detail;
    v4f brow[4];
    for (int k = 0; k < 4; ++k) brow[k] = v4f{b.data[k][0], b.data[k][1], b.data[k][2], b.data[k][3]};
    Matrix r;
    r.rows = 4;
    r.cols = 4;
    for (int i = 0; i < 4; ++i) {
        v4d sum = {0.0, 0.0, 0.0, 0.0};
        for (int k = 0; k < 4; ++k) {
            const float s = a.data[i][k];
            sum += __builtin_convertvector(v4f{s, s, s, s} * brow[k], v4d);
        }
        const v4f row = __builtin_convertvector(sum, v4f);
        for (int j = 0; j < 4; ++j) r.data[i][j] = row[j];
    }
    return r;
}

// matrix_m(a, b) for homogeneous transforms, with the trivial terms skipped
// when that is exact (see above); any other 4 x 4 input takes mul44.
inline Matrix mul_transforms(const Matrix &a, const Matrix &b) {
    using namespace frame_product_detail;
    typedef int v4i __attribute__((vector_size(16)));
    v4f brow[4];
    for (int k = 0; k < 4; ++k) brow[k] = v4f{b.data[k][0], b.data[k][1], b.data[k][2], b.data[k][3]};
    const v4f a_last = v4f{a.data[3][0], a.data[3][1], a.data[3][2], a.data[3][3]};
    const v4f a_col3 = v4f{a.data[0][3], a.data[1][3], a.data[2][3], 0.0f};
    const v4f unit = v4f{0.0f, 0.0f, 0.0f, 1.0f};
    const v4f zero = v4f{0.0f, 0.0f, 0.0f, 0.0f};
    // Bitwise last rows, and finiteness as x * 0 == 0 (false for inf and NaN).
    const v4i ok = ((v4i)a_last == (v4i)unit) & ((v4i)brow[3] == (v4i)unit) &
                   (a_col3 * zero == zero) & (brow[0] * zero == zero) &
                   (brow[1] * zero == zero) & (brow[2] * zero == zero);
    if ((ok[0] & ok[1] & ok[2] & ok[3]) == 0) return mul44(a, b);

    Matrix r;
    r.rows = 4;
    r.cols = 4;
    for (int i = 0; i < 3; ++i) {
        v4d sum = {0.0, 0.0, 0.0, 0.0};
        for (int k = 0; k < 3; ++k) {
            const float s = a.data[i][k];
            sum += __builtin_convertvector(v4f{s, s, s, s} * brow[k], v4d);
        }
        sum += v4d{0.0, 0.0, 0.0, static_cast<double>(a.data[i][3])};
        const v4f row = __builtin_convertvector(sum, v4f);
        for (int j = 0; j < 4; ++j) r.data[i][j] = row[j];
    }
    r.data[3][0] = 0.0f;
    r.data[3][1] = 0.0f;
    r.data[3][2] = 0.0f;
    r.data[3][3] = 1.0f;
    return r;
}

}  // namespace tova
