#ifndef TOVA_MATH_TOVA_STATIC_MATRIX_H
#define TOVA_MATH_TOVA_STATIC_MATRIX_H
/* Fixed-size float arrays (VEC3 ... MAT7X6), the heap matrix DynMatrix with its
 * text-file reader and writer, Lie-group maps on bare arrays and the
 * third-order low-pass filter.
 *
 * Fixed-size helpers and Lie maps write into their last array argument and
 * return 0 unless noted; every product is accumulated in single precision in
 * index order. Outputs may alias inputs: results are formed in a local buffer
 * before they are stored. Rotations are 3x3 and transforms 4x4, row-major;
 * quaternions are w, x, y, z; 6-vectors are (translation, rotation).
 *
 * DynMatrix results are new records owned by the caller (release them with
 * freeDynMatrix). A "valid" record below is a non-NULL handle with rows >= 1,
 * cols >= 1 and a non-NULL data array; invalid records, size mismatches and
 * singular systems give NULL or -1 and never touch memory outside a record. */
#include <stdint.h>
#include "tova_export.h"
#ifdef __cplusplus
extern "C" {
#endif

/* bare row-major float arrays, no header; element (i, j) at i*cols + j */
typedef float VEC3[3];
typedef float VEC6[6];
typedef float VEC7[7];
typedef float MAT3X3[9];
typedef float MAT4X4[16];
typedef float MAT6X6[36];
typedef float MAT6X7[42];        /* 6 rows x 7 columns */
typedef float MAT7X6[42];        /* 7 rows x 6 columns */

typedef struct DynMatrix {       /* heap matrix; record and data are separate heap blocks */
    int32_t rows;                /* >= 1 */
    int32_t cols;                /* >= 1 */
    float  *data;                /* rows*cols floats, row-major, contiguous */
} DynMatrix;

typedef struct Lpf3State {       /* single-precision third-order filter state */
    float coef_a[4];             /* a0..a3: feedback; a0 divides the result */
    float coef_b[4];             /* b0..b3: feed-forward */
    float hist_x[4];             /* x0 latest input .. x3 */
    float hist_y[4];             /* y0 latest output .. y3 */
} Lpf3State;

typedef struct Lpf3StateDouble { /* same order, doubles */
    double coef_a[4];
    double coef_b[4];
    double hist_x[4];
    double hist_y[4];
} Lpf3StateDouble;

/* ---- fixed-size arrays ---- */

/* 1 when v > 1e-6, 0 when |v| < 1e-6, else -1: the dead band is open, so exactly
 * +-1e-6 (and NaN) give -1; kept that way on purpose. */
TOVA_API int getSign(float v);
/* out = a - b. */
TOVA_API int sub_VEC3(const VEC3 a, const VEC3 b, VEC3 out);
/* out = a + b. */
TOVA_API int add_VEC3(const VEC3 a, const VEC3 b, VEC3 out);
/* v = k * v in place. */
TOVA_API int mul_VEC3_scalar(VEC3 v, float k);
/* M = k * M in place. */
TOVA_API int mul_MAT3X3_scalar(MAT3X3 M, float k);
/* out = v / |v|; no guard, a zero vector gives NaN. */
TOVA_API int unit_VEC3(const VEC3 v, VEC3 out);
/* out = a x b. */
TOVA_API int cross_VEC3(const VEC3 a, const VEC3 b, VEC3 out);
/* M = identity. */
TOVA_API int initEyeMat_MAT3X3(MAT3X3 M);
/* out = A^T. */
TOVA_API int transpose_MAT3X3(const MAT3X3 A, MAT3X3 out);
/* out = A^T. */
TOVA_API int transpose_MAT6X6(const MAT6X6 A, MAT6X6 out);
/* out (7 x 6) = A^T of the 6 x 7 A. */
TOVA_API int transpose_MAT6X7(const MAT6X7 A, MAT7X6 out);
/* out = A * B. */
TOVA_API int mult_MAT3X3(const MAT3X3 A, const MAT3X3 B, MAT3X3 out);
/* out = A * B. */
TOVA_API int mult_MAT4X4(const MAT4X4 A, const MAT4X4 B, MAT4X4 out);
/* out = A * B. */
TOVA_API int mult_MAT6X6(const MAT6X6 A, const MAT6X6 B, MAT6X6 out);
/* out = M * x. */
TOVA_API int mult_MAT3X3_VEC3(const MAT3X3 M, const VEC3 x, VEC3 out);
/* out = M * x. */
TOVA_API int mult_MAT6X6_VEC6(const MAT6X6 M, const VEC6 x, VEC6 out);
/* out (7) = M (7 x 6) * x (6). */
TOVA_API int mult_MAT7X6_VEC6(const MAT7X6 M, const VEC6 x, VEC7 out);
/* out (6) = M (6 x 7) * x (7). */
TOVA_API int mult_MAT6X7_VEC7(const MAT6X7 M, const VEC7 x, VEC6 out);
/* Copies the row_count x col_count block at 0-based (src_row, src_col) of src
 * to (dst_row, dst_col) of dst; nothing when a count is < 1. Block elements
 * whose source lies outside the 3x3 or whose destination lies outside the 6x6
 * are skipped (the rest is copied); memory outside either array is never touched. */
TOVA_API int assign_MAT3X3_to_MAT6X6(MAT6X6 dst, int dst_row, int dst_col, const MAT3X3 src,
                                     int src_row, int src_col, int row_count, int col_count);
/* Copies the 16 elements into the existing record *dst; -1 without copying
 * unless dst and *dst are non-NULL and *dst is a valid 4 x 4 record. */
TOVA_API int MAT4X4ToDynMatrix(const MAT4X4 src, DynMatrix **dst);

/* ---- DynMatrix: lifecycle, text file, print ---- */

/* New zeroed rows x cols record; NULL when a size is < 1 or allocation fails.
 * A failed element allocation leaves the record block allocated and
 * unreachable, a kept behaviour of this constructor only: every other
 * DynMatrix function releases both blocks on failure. */
TOVA_API DynMatrix *initDynMatrix(int rows, int cols);
/* Frees data and record and sets *handle = NULL; returns 1, also when handle
 * or *handle is NULL. */
TOVA_API int freeDynMatrix(DynMatrix **handle);
/* Reads rows*cols "%f" numbers (row-major, any white space) from a text file;
 * later text is ignored. A non-numeric token makes the last number read repeat
 * to the end (0 if none was read yet). NULL when the file cannot be opened
 * (stderr "Error: Cannot open <path>"), a size is < 1, or the input ends early;
 * every failure path releases the record and closes the file. */
TOVA_API DynMatrix *readDynMatrix(const char *path, int rows, int cols);
/* Writes each row as " %f" per element and a newline; 0, or -1 when the file
 * cannot be opened for writing or m is not a valid record (file untouched then). */
TOVA_API int writeDynMatrix(const DynMatrix *m, const char *path);
/* Prints "DynMatrix size <rows>x<cols>" and the rows as the writer does to
 * stdout; returns 1, or -1 and prints nothing for an invalid record. */
TOVA_API int printDynMatrix(const DynMatrix *m);
/* New record with the same size and elements; NULL for an invalid record. */
TOVA_API DynMatrix *copyDynMatrix(const DynMatrix *m);

/* ---- DynMatrix: arithmetic, conversions, linear solver ---- */

/* New a^T; NULL for an invalid record. */
TOVA_API DynMatrix *transposeDynMatrix(const DynMatrix *a);
/* New a * b; NULL when a.cols != b.rows. */
TOVA_API DynMatrix *multDynMatrix(const DynMatrix *a, const DynMatrix *b);
/* New a + b; NULL unless both have the same shape. */
TOVA_API DynMatrix *addDynMatrix(const DynMatrix *a, const DynMatrix *b);
/* New a - b; NULL unless both have the same shape. */
TOVA_API DynMatrix *subDynMatrix(const DynMatrix *a, const DynMatrix *b);
/* New k * a. */
TOVA_API DynMatrix *scaleDynMatrix(const DynMatrix *a, float k);
/* Frobenius norm (Euclidean for vectors); -1 for an invalid record. */
TOVA_API float normDynMatrix(const DynMatrix *a);
/* New n x n identity; NULL when n < 1. */
TOVA_API DynMatrix *eyeDynMatrix(int n);
/* New copy of the rows x cols block at 0-based (row, col); NULL unless the
 * block lies wholly inside a and both counts are >= 1. */
TOVA_API DynMatrix *getSubDynMatrix(const DynMatrix *a, int row, int col, int rows, int cols);
/* Writes src into dst at 0-based (row, col); 0, or -1 (dst unchanged) unless src
 * fits wholly inside dst. */
TOVA_API int setSubDynMatrix(DynMatrix *dst, int row, int col, const DynMatrix *src);
/* Sum of a[i] * b[i] over the rows*cols elements (shapes may differ, counts
 * must match); NaN on a count mismatch or an invalid record, since any finite
 * value could be a genuine result. */
TOVA_API float dotDynMatrix(const DynMatrix *a, const DynMatrix *b);
/* New a x b of two 3-element vectors, shaped like a; NULL unless both hold 3 elements. */
TOVA_API DynMatrix *crossDynMatrix(const DynMatrix *a, const DynMatrix *b);
/* Copies a 4 x 4 record into out; 0, or -1 (out untouched) unless src is 4 x 4. */
TOVA_API int DynMatrixToMAT4X4(const DynMatrix *src, MAT4X4 out);
/* New rows x cols record from rows*cols row-major floats; NULL for NULL data or a size < 1. */
TOVA_API DynMatrix *arrayToDynMatrix(const float *data, int rows, int cols);
/* Writes the rows*cols elements row-major to out; 0, or -1 for NULL arguments. */
TOVA_API int DynMatrixToArray(const DynMatrix *src, float *out);
/* In-place LU with partial pivoting (P*A = L*U): unit-lower L below the
 * diagonal, U on and above; perm[i] is the row of the original a now in row i.
 * 0, or -1 for a non-square/invalid a or a singular one. Singular means
 * singular to single precision: a pivot |p| <= n * FLT_EPSILON * max|a_ij| or a
 * non-finite pivot; a is then left partly factored. */
TOVA_API int LUdecomposition(DynMatrix *a, int *perm);
/* New x with A*x = b from the output of LUdecomposition (b is n x k); NULL on a
 * size mismatch, a perm entry outside 0..n-1 or a zero diagonal in U. */
TOVA_API DynMatrix *solverLU(const DynMatrix *lu, const int *perm, const DynMatrix *b);
/* New x with x * a = b (right division b / a) for a square a (n x n) and
 * b m x n; NULL on a size mismatch or a singular a (same rule as LUdecomposition). */
TOVA_API DynMatrix *mrdivide(const DynMatrix *b, const DynMatrix *a);

/* ---- Lie-group maps ---- */

/* so3 = [0 -wz wy; wz 0 -wx; -wy wx 0]. */
TOVA_API int roVecToso3(const VEC3 w, MAT3X3 so3);
/* T = [R p; 0 0 0 1]. */
TOVA_API int roRpToTrans(const MAT3X3 R, const VEC3 p, MAT4X4 T);
/* Splits T into its rotation R and translation p. */
TOVA_API int roTransToRp(const MAT4X4 T, MAT3X3 R, VEC3 p);
/* T_inv = [R^T -R^T p; 0 0 0 1]. */
TOVA_API int roTransInv(const MAT4X4 T, MAT4X4 T_inv);
/* Ad = [R, [p]R; 0, R], acting on 6-vectors ordered translation first. */
TOVA_API int roAdjointT(const MAT4X4 T, MAT6X6 Ad);
/* Rodrigues: R = exp([w]); |w| < 1e-6 gives the identity. */
TOVA_API int roMatrixExp3(const VEC3 w, MAT3X3 R);
/* w with exp([w]) = R, |w| <= pi. Half turns take the first of columns 2, 1, 0
 * whose diagonal differs from -1 by more than 1e-4; if none does, prints
 * "roMatrixLog3 failure!" to stdout and returns -1 with w = 0. */
TOVA_API int roMatrixLog3(const MAT3X3 R, VEC3 w);
/* T = [exp([w]) t; 0 0 0 1] for V = (t, w): translation copied as it is, not
 * coupled with the rotation (deliberately not the rigid-motion exponential). */
TOVA_API int roMatrixExp6(const VEC6 V, MAT4X4 T);
/* V = (t, log(R)) of T = [R t; 0 1], the inverse of roMatrixExp6; returns 0
 * even when the rotation logarithm fails (its part of V is then 0). */
TOVA_API int roMatrixLog6(const MAT4X4 T, VEC6 V);
/* Quaternion (w, x, y, z) of a rotation, as matrix_to_quat computes it. */
TOVA_API int roMatrix2Quat(const MAT3X3 R, float q[4]);
/* Rotation of a quaternion (w, x, y, z), normalised implicitly as
 * quat_to_matrix does; a quaternion of squared norm <= 1e-6 gives the identity. */
TOVA_API int roQuat2Matrix(const float q[4], MAT3X3 R);

/* ---- third-order low-pass filter ---- */

/* Clears all 16 elements, coefficients included (store them afterwards). */
TOVA_API int set_LPF3(Lpf3State *state);
/* Clears all 16 elements, coefficients included. */
TOVA_API int set_LPF3_double(Lpf3StateDouble *state);
/* One step: a0*y = b0*x + b1*x0 + b2*x1 + b3*x2 - a1*y0 - a2*y1 - a3*y2 over the
 * previous inputs x0.. and outputs y0..; shifts the history, returns y. */
TOVA_API float dataFilt_f_LPF3(float x, Lpf3State *state);
/* The same step in double (x widened first); y0 keeps the double, the return
 * value is y rounded to float. */
TOVA_API float dataFilt_f_LPF3_double(float x, Lpf3StateDouble *state);

#ifdef __cplusplus
}
#endif
#endif
