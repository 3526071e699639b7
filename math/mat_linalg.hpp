#ifndef TOVA_MATH_MAT_LINALG_HPP
#define TOVA_MATH_MAT_LINALG_HPP
// Internal cores of the mat library shared by tova_matrix, its decompositions
// and ulapack_svd: size clamping, the double-precision workspaces and the
// eigen / singular value kernels. Nothing here allocates.
#include <cstdint>
#include <cstring>

#include "math/tova_matrix.h"

namespace tova {

constexpr int kMatCap = 20;

// Every size read from a record goes through this clamp, so no loop can leave
// the 20 x 20 storage whatever the caller put into rows or cols.
inline int mat_dim(int32_t n) { return n < 0 ? 0 : (n > kMatCap ? kMatCap : n); }

// A fresh result record: sizes clamped and every byte zero (not only the
// block), so that byte-wise equality of results is deterministic.
inline mat mat_zeroed(int rows, int cols) {
    mat r;
    std::memset(&r, 0, sizeof r);
    r.rows = mat_dim(rows);
    r.cols = mat_dim(cols);
    return r;
}

// Dot product with two interleaved partial sums, halving the dependent-add
// chain of these short products.
inline double dot(const double *x, const double *y, int n) {
    double s0 = 0.0, s1 = 0.0;
    int i = 0;
    for (; i + 1 < n; i += 2) {
        s0 += x[i] * y[i];
        s1 += x[i + 1] * y[i + 1];
    }
    if (i < n) s0 += x[i] * y[i];
    return s0 + s1;
}

// Columns of the "tall" form of A (A itself when rows >= cols, else A^T), in
// double, one contiguous array per column: col[j][i] = T(i, j), T is p x q, p >= q.
struct TallCols {
    int p = 0;
    int q = 0;
    bool transposed = false;
    double col[kMatCap][kMatCap];
};

// Singular value decomposition of the tall form T = Left * diag(sigma) * Right^T
// with Left p x p and Right q x q, both stored as column arrays.
struct SvdWork {
    double sigma[kMatCap];
    double left[kMatCap][kMatCap];   // left[k][i] = Left(i, k)
    double right[kMatCap][kMatCap];  // right[k][i] = Right(i, k)
};

// true when every element of A's block is finite.
bool mat_block_finite(const mat &A);

// Loads the tall form of A (sizes clamped).
void load_tall(const mat &A, TallCols &t);

// Symmetric eigenproblem of the leading n x n block of a (destroyed) by
// Householder tridiagonalisation and implicit QL steps with Wilkinson shifts.
// An off-diagonal element e deflates when |e| <= bound * (|d_i| + |d_i+1|).
// Eigenvalues go to d in descending order; with vec != nullptr the unit
// eigenvectors to vec[k][i] (vector k, component i). At most 30 QL steps per
// eigenvalue; returns false (d, vec holding the last iterate) if any needs more.
bool sym_eig(int n, double (*a)[kMatCap], double *d, double (*vec)[kMatCap], double bound);

// Replaces the columns cols[k], k < count, whose have[k] is false by unit
// vectors of length len orthogonal to all the others (which must already be
// orthonormal), each built from the coordinate axis with the largest residual.
void complete_orthonormal(double (*cols)[kMatCap], int len, int count, bool *have);

// SVD of the tall form from the eigenproblem of T^T T (mat_svd's core).
bool gram_svd(const TallCols &t, SvdWork &w);

// One-sided Jacobi SVD of the tall form (mat_fast_svd's core). With
// want_vectors false only sigma is produced.
bool jacobi_svd(const TallCols &t, SvdWork &w, bool want_vectors);

// Writes an SVD of A's tall form as U (m x m), S (m x n), V (n x n) of A;
// NULL outputs are skipped.
void store_svd(const TallCols &t, const SvdWork &w, mat *U, mat *S, mat *V);

// Fills whichever outputs are non-NULL with m x m, m x n and n x n NaN records.
void store_nan_svd(int m, int n, mat *U, mat *S, mat *V);

}  // namespace tova

#endif
