#ifndef TOVA_IKINE_TOVA_IKINE_UTILS_H
#define TOVA_IKINE_TOVA_IKINE_UTILS_H
#include "math/tova_matrix.h"
#include "tova_export.h"
#ifdef __cplusplus
extern "C" {
#endif

/* Helpers of the seven-axis solvers and the numerical inverse kinematics. */

/* C (rows_a x cols_b) = A (rows_a x cols_a) * B (cols_a x cols_b), dense row-major float
 * arrays without padding, sums in float. Exactly rows_a*cols_a floats of A, cols_a*cols_b
 * of B and rows_a*cols_b of C are touched: rows_a or cols_b below 1 touches nothing,
 * cols_a below 1 zeroes C (the empty sum). C must not overlap A or B. */
TOVA_API void marr_m(const float *A, const float *B, float *C, int rows_a, int cols_a,
                     int cols_b);
/* 1 when every |v[i]|, i < n, is below 1e-6 (also for n < 1), else 0 (NaN counts as
 * non-zero). */
TOVA_API int utils_is_zero_vec(const float *v, int n);
/* Pose error from the current transform A to the target B (4 x 4 blocks): 6 x 1 with the
 * translation of B minus that of A in work axes, then the rotation vector of
 * R_A^T * R_B (current end-frame axes). Near a half turn (|v| < 1e-10, trace <= 0) the
 * rotation part is pi times the squared axis components, signs dropped on purpose. */
TOVA_API mat utils_angle_axis_diff(const mat *A, const mat *B);

#ifdef __cplusplus
}
#endif
#endif
