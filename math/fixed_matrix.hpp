// Internal C++ cores of the fixed-capacity float matrices (Matrix 4x4,
// MatrixMore 7x7). Each operation is written once as a template over the
// record type; the extern "C" functions in fixed_matrix.cpp are one-line
// wrappers. Other parts of the library may call these inline cores directly
// to avoid the exported-call overhead in the control path.
//
// Counts outside 0..capacity are undefined input: every loop below clamps its
// bounds to the record's capacity, so no element outside the record is ever
// touched; the result header keeps the counts it is defined to carry.
#ifndef TOVA_MATH_FIXED_MATRIX_HPP
#define TOVA_MATH_FIXED_MATRIX_HPP

#include <cmath>
#include <cstdint>
#include <utility>

#include "math/tova_mathfuncs.h"

namespace tova {

// Capacity (rows = columns) of a fixed record: 4 for Matrix, 7 for MatrixMore.
template <class M>
constexpr int fm_capacity = static_cast<int>(sizeof(M::data) / sizeof(M::data[0]));

// Loop bound for a stored count: clamped to 0..capacity.
template <class M>
constexpr int fm_bound(int n) {
    return n < 0 ? 0 : (n > fm_capacity<M> ? fm_capacity<M> : n);
}

// rows x cols record, every element zero.
template <class M>
inline M fm_zero(int16_t rows, int16_t cols) {
    M r{};
    r.rows = rows;
    r.cols = cols;
    return r;
}

// n x n identity; n < 1 leaves every element zero.
template <class M>
inline M fm_identity(int16_t n) {
    M r = fm_zero<M>(n, n);
    for (int i = 0, e = fm_bound<M>(n); i < e; ++i) r.data[i][i] = 1.0f;
    return r;
}

// Transpose: A.cols x A.rows.
template <class M>
inline M fm_transpose(const M& a) {
    M r = fm_zero<M>(a.cols, a.rows);
    const int rows = fm_bound<M>(a.rows), cols = fm_bound<M>(a.cols);
    for (int i = 0; i < rows; ++i)
        for (int j = 0; j < cols; ++j) r.data[j][i] = a.data[i][j];
    return r;
}

// A*B, A.rows x B.cols, summed over k < A.cols (inner sizes trusted). Each
// product is rounded to float and the sum is accumulated in double.
template <class M>
inline M fm_mul(const M& a, const M& b) {
    M r = fm_zero<M>(a.rows, b.cols);
    const int rows = fm_bound<M>(a.rows), cols = fm_bound<M>(b.cols), inner = fm_bound<M>(a.cols);
    for (int i = 0; i < rows; ++i)
        for (int j = 0; j < cols; ++j) {
            double sum = 0.0;
            for (int k = 0; k < inner; ++k) sum += static_cast<float>(a.data[i][k] * b.data[k][j]);
            r.data[i][j] = static_cast<float>(sum);
        }
    return r;
}

// A + B when sign >= 1, A - B otherwise; A's size.
template <class M>
inline M fm_add(const M& a, const M& b, int sign) {
    M r = fm_zero<M>(a.rows, a.cols);
    const int rows = fm_bound<M>(a.rows), cols = fm_bound<M>(a.cols);
    for (int i = 0; i < rows; ++i)
        for (int j = 0; j < cols; ++j)
            r.data[i][j] = sign >= 1 ? a.data[i][j] + b.data[i][j] : a.data[i][j] - b.data[i][j];
    return r;
}

// k*A; A's size.
template <class M>
inline M fm_scale(float k, const M& a) {
    M r = fm_zero<M>(a.rows, a.cols);
    const int rows = fm_bound<M>(a.rows), cols = fm_bound<M>(a.cols);
    for (int i = 0; i < rows; ++i)
        for (int j = 0; j < cols; ++j) r.data[i][j] = k * a.data[i][j];
    return r;
}

// In-place Gauss-Jordan inverse of the leading n x n block (n = A.rows) with
// complete pivoting. Ties in the pivot search keep the first element met in
// row-major order. No singularity test: a zero pivot makes the result
// non-finite.
template <class M>
inline void fm_invert(M& a) {
    constexpr int N = fm_capacity<M>;
    const int n = fm_bound<M>(a.rows);
    int pivot_row[N] = {}, pivot_col[N] = {};
    bool used[N] = {};
    for (int step = 0; step < n; ++step) {
        // When no candidate exceeds 0 (all zero or NaN) the first unused
        // position is taken, so the zero pivot divides by zero below.
        int row = -1, col = -1;
        float best = 0.0f;
        for (int j = 0; j < n; ++j) {
            if (used[j]) continue;
            for (int k = 0; k < n; ++k) {
                if (used[k]) continue;
                if (row < 0) { row = j; col = k; }
                const float v = std::fabs(a.data[j][k]);
                if (v > best) { best = v; row = j; col = k; }
            }
        }
        used[col] = true;
        if (row != col)
            for (int l = 0; l < n; ++l) std::swap(a.data[row][l], a.data[col][l]);
        pivot_row[step] = row;
        pivot_col[step] = col;
        const double inv_pivot = 1.0 / a.data[col][col];
        a.data[col][col] = 1.0f;
        for (int l = 0; l < n; ++l) a.data[col][l] = static_cast<float>(a.data[col][l] * inv_pivot);
        for (int r = 0; r < n; ++r) {
            if (r == col) continue;
            const float factor = a.data[r][col];
            a.data[r][col] = 0.0f;
            for (int l = 0; l < n; ++l) a.data[r][l] -= a.data[col][l] * factor;
        }
    }
    for (int step = n - 1; step >= 0; --step) {
        if (pivot_row[step] == pivot_col[step]) continue;
        for (int k = 0; k < n; ++k) std::swap(a.data[k][pivot_row[step]], a.data[k][pivot_col[step]]);
    }
}

// Closed-form inverse of a full-rank 4x4 matrix (Laplace expansion over the
// 2x2 minors of rows 0-1 and 2-3), single precision, no pivoting and no
// zero-determinant test. Counts of A are ignored; the result is 4x4.
inline Matrix inv_full_rank4(const Matrix& A) {
    const auto& m = A.data;
    const float s0 = m[0][0] * m[1][1] - m[1][0] * m[0][1];
    const float s1 = m[0][0] * m[1][2] - m[1][0] * m[0][2];
    const float s2 = m[0][0] * m[1][3] - m[1][0] * m[0][3];
    const float s3 = m[0][1] * m[1][2] - m[1][1] * m[0][2];
    const float s4 = m[0][1] * m[1][3] - m[1][1] * m[0][3];
    const float s5 = m[0][2] * m[1][3] - m[1][2] * m[0][3];
    const float c5 = m[2][2] * m[3][3] - m[3][2] * m[2][3];
    const float c4 = m[2][1] * m[3][3] - m[3][1] * m[2][3];
    const float c3 = m[2][1] * m[3][2] - m[3][1] * m[2][2];
    const float c2 = m[2][0] * m[3][3] - m[3][0] * m[2][3];
    const float c1 = m[2][0] * m[3][2] - m[3][0] * m[2][2];
    const float c0 = m[2][0] * m[3][1] - m[3][0] * m[2][1];
    const float k = 1.0f / (s0 * c5 - s1 * c4 + s2 * c3 + s3 * c2 - s4 * c1 + s5 * c0);

    Matrix r = fm_zero<Matrix>(4, 4);
    auto& o = r.data;
    o[0][0] = (m[1][1] * c5 - m[1][2] * c4 + m[1][3] * c3) * k;
    o[0][1] = (-m[0][1] * c5 + m[0][2] * c4 - m[0][3] * c3) * k;
    o[0][2] = (m[3][1] * s5 - m[3][2] * s4 + m[3][3] * s3) * k;
    o[0][3] = (-m[2][1] * s5 + m[2][2] * s4 - m[2][3] * s3) * k;
    o[1][0] = (-m[1][0] * c5 + m[1][2] * c2 - m[1][3] * c1) * k;
    o[1][1] = (m[0][0] * c5 - m[0][2] * c2 + m[0][3] * c1) * k;
    o[1][2] = (-m[3][0] * s5 + m[3][2] * s2 - m[3][3] * s1) * k;
    o[1][3] = (m[2][0] * s5 - m[2][2] * s2 + m[2][3] * s1) * k;
    o[2][0] = (m[1][0] * c4 - m[1][1] * c2 + m[1][3] * c0) * k;
    o[2][1] = (-m[0][0] * c4 + m[0][1] * c2 - m[0][3] * c0) * k;
    o[2][2] = (m[3][0] * s4 - m[3][1] * s2 + m[3][3] * s0) * k;
    o[2][3] = (-m[2][0] * s4 + m[2][1] * s2 - m[2][3] * s0) * k;
    o[3][0] = (-m[1][0] * c3 + m[1][1] * c1 - m[1][2] * c0) * k;
    o[3][1] = (m[0][0] * c3 - m[0][1] * c1 + m[0][2] * c0) * k;
    o[3][2] = (-m[3][0] * s3 + m[3][1] * s1 - m[3][2] * s0) * k;
    o[3][3] = (m[2][0] * s3 - m[2][1] * s1 + m[2][2] * s0) * k;
    return r;
}

// Inverse of a homogeneous transform [R p; 0 1] through the adjugate of R,
// so a scaled or sheared R is inverted correctly too. Single precision, no
// test for det R = 0. The result is 4x4 with last row (0, 0, 0, 1).
inline Matrix inv_transform(const Matrix& T) {
    const auto& m = T.data;
    // Adjugate of R: adj(i, j) is the cofactor of element (j, i).
    const float a00 = m[1][1] * m[2][2] - m[1][2] * m[2][1];
    const float a01 = m[0][2] * m[2][1] - m[0][1] * m[2][2];
    const float a02 = m[0][1] * m[1][2] - m[0][2] * m[1][1];
    const float a10 = m[1][2] * m[2][0] - m[1][0] * m[2][2];
    const float a11 = m[0][0] * m[2][2] - m[0][2] * m[2][0];
    const float a12 = m[0][2] * m[1][0] - m[0][0] * m[1][2];
    const float a20 = m[1][0] * m[2][1] - m[1][1] * m[2][0];
    const float a21 = m[0][1] * m[2][0] - m[0][0] * m[2][1];
    const float a22 = m[0][0] * m[1][1] - m[0][1] * m[1][0];
    const float k = 1.0f / (m[0][0] * a00 + m[0][1] * a10 + m[0][2] * a20);
    const float px = m[0][3], py = m[1][3], pz = m[2][3];

    Matrix r = fm_zero<Matrix>(4, 4);
    auto& o = r.data;
    o[0][0] = a00 * k; o[0][1] = a01 * k; o[0][2] = a02 * k;
    o[1][0] = a10 * k; o[1][1] = a11 * k; o[1][2] = a12 * k;
    o[2][0] = a20 * k; o[2][1] = a21 * k; o[2][2] = a22 * k;
    o[0][3] = -(a00 * px + a01 * py + a02 * pz) * k;
    o[1][3] = -(a10 * px + a11 * py + a12 * pz) * k;
    o[2][3] = -(a20 * px + a21 * py + a22 * pz) * k;
    o[3][3] = 1.0f;
    return r;
}

// 4x4 transform product A*B with the matrix_m rounding (float products,
// double sums): the composition step of forward and inverse kinematics.
inline Matrix transform_mul(const Matrix& A, const Matrix& B) { return fm_mul(A, B); }

}  // namespace tova

#endif  // TOVA_MATH_FIXED_MATRIX_HPP
