#ifndef TOVA_KINEMATICS_MATRIX_TOOL_H
#define TOVA_KINEMATICS_MATRIX_TOOL_H
/* A stand-alone toolbox on float matrices of up to 9 x 9: transpose, product,
 * inverse and the rank of a 3 x 3 block. Records are taken and returned by
 * value; nothing allocates and no error is reported.
 * Counts above 9 are treated as 9 (results carry the clamped count), so no
 * element outside the record is ever read or written; counts below 1 keep
 * the documented empty-result behaviour of each function. */
#include <stdint.h>
#include "tova_export.h"
#ifdef __cplusplus
extern "C" {
#endif

typedef struct AlgoMatrix {
    int32_t rows;                /* 1..9 in use */
    int32_t cols;                /* 1..9 in use */
    float   data[9][9];          /* row-major, row stride 9; zero outside rows x cols */
} AlgoMatrix;

/* Transpose (cols x rows). With rows or cols below 1: the all-zero record
 * with rows = A.cols and cols = A.rows, as given. */
TOVA_API AlgoMatrix algo_matrix_tool_t(AlgoMatrix A);
/* A * B (A.rows x B.cols): products in float, summed in double from 0.0 and
 * rounded once. B.rows is not compared with A.cols. If A.rows or B.cols is
 * below 1: the all-zero record of that size. */
TOVA_API AlgoMatrix algo_matrix_tool_m(AlgoMatrix A, AlgoMatrix B);
/* Inverse of the leading n x n block, n = A.rows, by in-place Gauss-Jordan
 * elimination with full pivoting, reciprocal and multipliers in double.
 * n < 1 returns A unchanged. No singularity test: a singular A gives
 * infinities or NaN (callers must not pass one). */
TOVA_API AlgoMatrix algo_matrix_tool_inv(AlgoMatrix A);
/* Rank (0..3) of the upper-left 3 x 3 block whatever rows and cols say. The
 * block is changed in place: elements below 1e-4 in magnitude are zeroed,
 * then it is row-reduced with partial pivoting (float) and left so. */
TOVA_API int32_t algo_rank(AlgoMatrix *A);

#ifdef __cplusplus
}
#endif
#endif
