#ifndef TOVA_MATH_TOVA_MATRIX_H
#define TOVA_MATH_TOVA_MATRIX_H
/* The general float matrix `mat` (capacity 20 x 20, size carried inside) with
 * its element, vector and arithmetic operations, its inverse and its
 * decompositions. Nothing here allocates: every `mat` lives on the caller's
 * stack and results come back by value.
 *
 * Conventions
 *  - Element (i, j) is data[i][j] whatever rows and cols are; only the
 *    rows x cols block is meaningful. Every `mat` returned by value is zero
 *    outside its block, so mat_is_equal (a whole-record byte comparison) is
 *    deterministic for records built by this library.
 *  - A vector is n x 1. vec_* operations walk column 0; where they need a
 *    length it is max(rows, cols), so a 1 x n row passed as a vector reads
 *    column 0 of n rows (the wrong elements) - keep vectors as columns.
 *  - Row and column numbers of the accessors and swaps are 1-based.
 *  - Sizes outside 0..20 are clamped to that range (negative -> 0, above 20
 *    -> 20) before anything is read or written, and results carry the clamped
 *    sizes. A row or column number outside 1..20 is ignored: getters return
 *    zeros, setters and swaps leave the matrix unchanged. Numbers inside
 *    1..20 but past the block address the (zero) part of the record.
 *  - Pointers must be valid unless a function says NULL is allowed.
 *
 * Decompositions compute in double precision internally and round their
 * results to float. Their iterations are capped, and non-finite input never
 * makes them loop: they then return 0 (or NaN) with the outputs filled with
 * NaN. Singular values and eigenvalues come in descending order. */
#include "math/tova_mathfuncs.h"
#include "tova_export.h"
#ifdef __cplusplus
extern "C" {
#endif

typedef struct mat {             /* general float matrix, capacity 20 x 20 */
    int32_t rows;                /* 1..20 in valid use */
    int32_t cols;                /* 1..20 in valid use */
    float   data[20][20];        /* row-major, row stride 20 */
} mat;

/* ---- construction and whole-matrix queries ---- */
/* rows x cols zero matrix. */
TOVA_API mat mat_init(int rows, int cols);
/* Same as mat_init. */
TOVA_API mat mat_zeros(int rows, int cols);
/* rows x cols with 1 on the first min(rows, cols) diagonal elements. */
TOVA_API mat mat_eye(int rows, int cols);
/* Fills A's block row by row from rows*cols consecutive floats; set
 * A->rows and A->cols first (they are not changed). */
TOVA_API void mat_set_value(mat *A, const float *values);
/* Prints "Mat = " and a newline, then per row a tab and each element as
 * "%lf,\t", then a newline; to stdout. */
TOVA_API void mat_print(const mat *A);
/* -1 if rows != cols; 1 if every element equals its mirror exactly (1 for an
 * empty square, 0 as soon as any element is NaN); else 0. */
TOVA_API int mat_is_hermitian(const mat *A);
/* 1 when the two whole records (sizes and all 400 elements, also outside the
 * blocks) are bytewise identical, else 0. +0 and -0 differ, equal NaNs match. */
TOVA_API int mat_is_equal(const mat *A, const mat *B);

/* ---- arithmetic ---- */
/* A * B (A.rows x B.cols), products and running sums in float, k ascending.
 * If A.cols != B.rows the result has rows = 0 and cols = B.cols. */
TOVA_API mat mat_mult(const mat *A, const mat *B);
/* Transpose, cols x rows. */
TOVA_API mat mat_T(const mat *A);
/* A + B; if B's size differs from A's, the zero matrix of A's size. */
TOVA_API mat mat_add(const mat *A, const mat *B);
/* A - B; if B's size differs from A's, the zero matrix of A's size. */
TOVA_API mat mat_sub(const mat *A, const mat *B);
/* k * A. */
TOVA_API mat mat_kM(float k, const mat *A);
/* Largest |a(i,j)| over the block; 0 for an empty matrix (NaNs are skipped). */
TOVA_API float mat_find_abs_max(const mat *A);
/* Smallest |a(i,j)| over the block, starting from 1e10 (returned when empty). */
TOVA_API float mat_find_abs_min(const mat *A);
/* Sum of the first min(rows, cols) diagonal elements (float); 0 if none. */
TOVA_API float mat_trace(const mat *A);
/* At least 2 x 2: the diagonal as a min(rows, cols) x 1 vector. A single row
 * or column of n >= 2 elements: the n x n diagonal matrix. 1 x 1, or no rows
 * or no columns: an empty 0 x 0 record. */
TOVA_API mat mat_diag(const mat *A);

/* ---- rows and columns (1-based) ---- */
/* Row i as a 1 x A.cols matrix (zeros if i is outside 1..20). */
TOVA_API mat mat_get_Mrow_i(const mat *A, int i);
/* Column j as an A.rows x 1 vector (zeros if j is outside 1..20). */
TOVA_API mat mat_get_Mcol_j(const mat *A, int j);
/* Copies row->cols elements of row's first row into row i of A. */
TOVA_API void mat_set_Mrow_i(const mat *row, int i, mat *A);
/* Copies col->rows elements of col's first column into column j of A. */
TOVA_API void mat_set_Mcol_j(const mat *col, int j, mat *A);
/* Exchanges rows i1 and i2 of A over A.cols elements. */
TOVA_API void swap_row(mat *A, int i1, int i2);
/* Exchanges columns j1 and j2 of A over A.rows elements. */
TOVA_API void swap_col(mat *A, int j1, int j2);
/* Stable top-down merge sort of n floats in place, ascending when descending
 * is 0, else descending. Scratch capacity is 2000 floats: for n > 2000 (or a
 * NULL array) the array is left unchanged. */
TOVA_API void merge_sort(int descending, float *a, int n);

/* ---- vectors (column 0; length max(rows, cols)) ---- */
/* n x 1 zero vector. */
TOVA_API mat vec_zeros(int n);
/* n x 1 zero vector. */
TOVA_API mat vec_init(int n);
/* Euclidean norm: sum of squares in float, square root in double. */
TOVA_API float vec_norm2(const mat *v);
/* Largest |v(i)| over the first n - 1 elements only (the last one is not
 * examined); 0 when n <= 1. */
TOVA_API float vec_normInf(const mat *v);
/* Sum over i < max(v.rows, v.cols) of v(i) * w(i), in float; w's size is not
 * checked. */
TOVA_API float vec_dot(const mat *v, const mat *w);
/* v + w over v.rows elements; the result has v's size. */
TOVA_API mat vec_add(const mat *v, const mat *w);
/* v - w over v.rows elements; the result has v's size. */
TOVA_API mat vec_sub(const mat *v, const mat *w);
/* -v (sign bits flipped, so -0 and NaN signs too); v's size. */
TOVA_API mat vec_minus(const mat *v);
/* k * v; v's size. */
TOVA_API mat vec_kV(float k, const mat *v);
/* v(i) + k for each element; v's size. */
TOVA_API mat vec_add_scalar(float k, const mat *v);
/* 1 when vec_norm2(v) < 1e-16 or v is empty, else 0 (NaN gives 0). */
TOVA_API int vec_is_zeros(const mat *v);
/* 3 x 1 cross product a x b of two 3 x 1 vectors. */
TOVA_API mat vec3x3_cross(const mat *a, const mat *b);
/* c = a x b on plain arrays. */
TOVA_API void array_cross(const float a[3], const float b[3], float c[3]);
/* 3 x 3 [0 -z y; z 0 -x; -y x 0] of v = (x, y, z). */
TOVA_API mat vec_to_skew(const mat *v);
/* 3 x 1 (S(2,1), S(0,2), S(1,0)) of a 3 x 3 skew matrix. */
TOVA_API mat skew_to_vec(const mat *S);
/* 3 x 1 vector of the antisymmetric part: ((S21-S12)/2, (S02-S20)/2, (S10-S01)/2). */
TOVA_API mat vec_vex(const mat *S);

/* ---- transforms and conversions ---- */
/* 3 x 3 rotation block of a 4 x 4 transform. */
TOVA_API mat mat_T2R(const mat *T);
/* 3 x 1 translation (T(0,3), T(1,3), T(2,3)) of a 4 x 4 transform. */
TOVA_API mat mat_T2p(const mat *T);
/* Returns a plain copy of T: it does NOT invert (callers rely on getting the
 * input back). */
TOVA_API mat mat_homogen_trans_inv(const mat *T);
/* mat with m's size and block (m's counts clamped to 0..4). */
TOVA_API mat matrix_to_mat(const Matrix *m);
/* mat with m's size and block (m's counts clamped to 0..7). */
TOVA_API mat matrix_more_to_mat(const MatrixMore *m);
/* Matrix with A's size and block; sizes above 4 are clamped to 4. */
TOVA_API Matrix mat_to_matrix(const mat *A);
/* MatrixMore with A's size and block; sizes above 7 are clamped to 7. */
TOVA_API MatrixMore mat_to_matrix_more(const mat *A);

/* ---- inverse and decompositions ---- */
/* Inverse of square A by Jordan exchanges with full pivoting, in float.
 * Returns 1 and writes the whole record to *out; 0 if A is not square; -1 if
 * a pivot-row factor is infinite or NaN (vanishing pivot). *out is untouched
 * unless 1 is returned. There is no other singularity tolerance. */
TOVA_API int mat_inv(mat A, mat *out);
/* P * A = L * U by Gaussian elimination with partial pivoting (first largest
 * |pivot| wins), in double: L unit lower, U upper, P a permutation, all n x n.
 * A zero pivot column is skipped (U then has a 0 on its diagonal). Returns 1;
 * 0 if A is not square (outputs untouched) or holds a non-finite element
 * (outputs written, not meaningful). */
TOVA_API int mat_lu(const mat *A, mat *L, mat *U, mat *P);
/* Determinant by partially pivoted LU (double); 1 for 0 x 0. Non-square:
 * writes "A is not a square matrix." to stderr and returns +INFINITY. */
TOVA_API float mat_det(const mat *A);
/* Numerical rank: the number of singular values above
 * max(rows, cols) * FLT_EPSILON * largest singular value, found by one-sided
 * Jacobi on A or, if A is wide, on its transpose. 0 for an empty or zero
 * matrix; -1 if A holds a non-finite element. */
TOVA_API int mat_rank(const mat *A);
/* A = Q * R by Householder reflections: Q m x m orthogonal, R m x n upper
 * triangular with a non-negative diagonal. Returns 1; 0 (factors written but
 * meaningless) if A holds a non-finite element. */
TOVA_API int mat_qr(const mat *A, mat *Q, mat *R);
/* Eigenvalues of square A as an n x 1 vector, descending. Symmetric A: the
 * real eigenvalues of mat_hermitian_eig. Otherwise Hessenberg reduction and
 * shifted (Francis double-shift) QR steps with deflation; a complex pair is
 * returned as its real part twice. At most 30 QR steps per eigenvalue: values
 * not converged by then, and all values for non-finite input, are NaN.
 * Non-square A gives an empty 0 x 0 record. */
TOVA_API mat mat_eig(const mat *A);
/* Eigenvalues (n x 1, descending) and orthonormal eigenvectors (columns of
 * n x n, in the same order) of an exactly symmetric A by Householder
 * tridiagonalisation and implicit shifted QL steps, deflating when an
 * off-diagonal element is at most 1e-16 times its neighbouring diagonal sum.
 * Either output may be NULL. Returns 1; 0 if A is not square or not exactly
 * symmetric (outputs untouched), or if an eigenvalue needs more than 30 steps
 * (outputs hold the last iterate) or A holds infinities (outputs NaN). */
TOVA_API int mat_hermitian_eig(const mat *A, mat *values, mat *vectors);
/* A = U * S * V^T from the symmetric eigenproblem of the smaller Gram matrix
 * (A^T A, or A A^T when A is wide): U m x m and V n x n orthogonal, S m x n
 * with the singular values descending on its diagonal. The other side's
 * vectors are A v / |A v| after two re-orthogonalisation passes; one whose
 * re-orthogonalisation cancels below 1e-5 of its length (a zero or
 * numerically lost singular direction) is replaced by an orthonormal
 * completion. Any output may be NULL. Returns 1; 0 if A holds a non-finite
 * element (outputs NaN) or the eigen-iteration did not converge. */
TOVA_API int mat_svd(const mat *A, mat *U, mat *S, mat *V);
/* Pseudo-inverse (n x m) from the normal equations in float with mat_inv and
 * mat_mult: (A^T A)^-1 A^T when rows >= cols, else A^T (A A^T)^-1. Only for
 * full-rank, well-conditioned A (the condition number is squared); a
 * vanishing pivot in the Gram matrix gives the zero matrix. */
TOVA_API mat mat_pinv(const mat *A);
/* Pseudo-inverse (n x m) V * S^+ * U^T from mat_svd, singular values below
 * 1e-5 (absolute) treated as zero. Non-finite input gives NaN elements. */
TOVA_API mat mat_pinv_svd(const mat *A);
/* 2-norm condition number sigma_max / sigma_min over min(rows, cols) singular
 * values, from the eigenvalues of the smaller Gram matrix found by QL steps
 * with a deflation bound of 1e-10. +INFINITY for an empty, zero or singular
 * matrix; NaN for non-finite input or if the iteration did not converge. */
TOVA_API float mat_cond(const mat *A);

#ifdef __cplusplus
}
#endif
#endif
