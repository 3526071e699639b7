// Fixed-size float array helpers: thin C wrappers over the shape templates of
// static_array.hpp.
#include "math/tova_static_matrix.h"

#include <cmath>

#include "math/static_array.hpp"

namespace fx = tova::fixed;

namespace {

// Offsets i in [0, count) with both start_a + i in [0, size_a) and
// start_b + i in [0, size_b), as a half-open range [lo, hi); 64-bit so that no
// int argument can overflow.
struct Span {
    long long lo, hi;
};

Span overlap(long long count, long long start_a, long long size_a, long long start_b,
             long long size_b) {
    long long lo = 0;
    if (-start_a > lo) lo = -start_a;
    if (-start_b > lo) lo = -start_b;
    long long hi = count;
    if (size_a - start_a < hi) hi = size_a - start_a;
    if (size_b - start_b < hi) hi = size_b - start_b;
    return {lo, hi};
}

}  // namespace

extern "C" {

int getSign(float v) {
    // Float comparisons on purpose: 1e-6f itself falls in neither band and gives -1.
    if (v > 1e-6f) {
        return 1;
    }
    if (std::fabs(v) < 1e-6f) {
        return 0;
    }
    return -1;
}

int sub_VEC3(const VEC3 a, const VEC3 b, VEC3 out) {
    for (int i = 0; i < 3; ++i) {
        out[i] = a[i] - b[i];
    }
    return 0;
}

int add_VEC3(const VEC3 a, const VEC3 b, VEC3 out) {
    for (int i = 0; i < 3; ++i) {
        out[i] = a[i] + b[i];
    }
    return 0;
}

int mul_VEC3_scalar(VEC3 v, float k) {
    for (int i = 0; i < 3; ++i) {
        v[i] *= k;
    }
    return 0;
}

int mul_MAT3X3_scalar(MAT3X3 M, float k) {
    for (int i = 0; i < 9; ++i) {
        M[i] *= k;
    }
    return 0;
}

int unit_VEC3(const VEC3 v, VEC3 out) {
    const float norm = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    for (int i = 0; i < 3; ++i) {
        out[i] = v[i] / norm;
    }
    return 0;
}

int cross_VEC3(const VEC3 a, const VEC3 b, VEC3 out) {
    fx::cross3(a, b, out);
    return 0;
}

int initEyeMat_MAT3X3(MAT3X3 M) {
    fx::identity<3>(M);
    return 0;
}

int transpose_MAT3X3(const MAT3X3 A, MAT3X3 out) {
    fx::transpose<3, 3>(A, out);
    return 0;
}

int transpose_MAT6X6(const MAT6X6 A, MAT6X6 out) {
    fx::transpose<6, 6>(A, out);
    return 0;
}

int transpose_MAT6X7(const MAT6X7 A, MAT7X6 out) {
    fx::transpose<6, 7>(A, out);
    return 0;
}

int mult_MAT3X3(const MAT3X3 A, const MAT3X3 B, MAT3X3 out) {
    fx::multiply<3, 3, 3>(A, B, out);
    return 0;
}

int mult_MAT4X4(const MAT4X4 A, const MAT4X4 B, MAT4X4 out) {
    fx::multiply<4, 4, 4>(A, B, out);
    return 0;
}

int mult_MAT6X6(const MAT6X6 A, const MAT6X6 B, MAT6X6 out) {
    fx::multiply<6, 6, 6>(A, B, out);
    return 0;
}

int mult_MAT3X3_VEC3(const MAT3X3 M, const VEC3 x, VEC3 out) {
    fx::multiply<3, 3, 1>(M, x, out);
    return 0;
}

int mult_MAT6X6_VEC6(const MAT6X6 M, const VEC6 x, VEC6 out) {
    fx::multiply<6, 6, 1>(M, x, out);
    return 0;
}

int mult_MAT7X6_VEC6(const MAT7X6 M, const VEC6 x, VEC7 out) {
    fx::multiply<7, 6, 1>(M, x, out);
    return 0;
}

int mult_MAT6X7_VEC7(const MAT6X7 M, const VEC7 x, VEC6 out) {
    fx::multiply<6, 7, 1>(M, x, out);
    return 0;
}

int assign_MAT3X3_to_MAT6X6(MAT6X6 dst, int dst_row, int dst_col, const MAT3X3 src, int src_row,
                            int src_col, int row_count, int col_count) {
    if (row_count < 1 || col_count < 1) {
        return 0;
    }
    // Only the part of the block that exists in both arrays is copied.
    const Span rows = overlap(row_count, src_row, 3, dst_row, 6);
    const Span cols = overlap(col_count, src_col, 3, dst_col, 6);
    for (long long i = rows.lo; i < rows.hi; ++i) {
        for (long long j = cols.lo; j < cols.hi; ++j) {
            dst[(dst_row + i) * 6 + (dst_col + j)] = src[(src_row + i) * 3 + (src_col + j)];
        }
    }
    return 0;
}

int MAT4X4ToDynMatrix(const MAT4X4 src, DynMatrix **dst) {
    if (dst == nullptr || *dst == nullptr || (*dst)->rows != 4 || (*dst)->cols != 4 ||
        (*dst)->data == nullptr) {
        return -1;
    }
    for (int i = 0; i < 16; ++i) {
        (*dst)->data[i] = src[i];
    }
    return 0;
}

}  // extern "C"
