#ifndef TOVA_MATH_ULAPACK_SVD_H
#define TOVA_MATH_ULAPACK_SVD_H
/* A faster singular value decomposition for small matrices such as 6 x 6 and
 * 6 x 7 Jacobians. */
#include "math/tova_matrix.h"
#include "tova_export.h"
#ifdef __cplusplus
extern "C" {
#endif

/* A = U * S * V^T by one-sided (Hestenes) Jacobi rotations in double on the
 * columns of A, or of A^T when A is wide: same layout as mat_svd (U m x m,
 * S m x n with the singular values descending, V n x n; NULL outputs are
 * skipped) and the same singular values to float precision. Sweeps stop when
 * every column pair is orthogonal to 1e-9 relative to the product of their
 * lengths, at most 30 sweeps. Left vectors of zero singular values are an
 * orthonormal completion. Returns 1; 0 if A holds a non-finite element
 * (outputs NaN) or 30 sweeps were not enough (outputs hold the last sweep's
 * factors, which still reproduce A). */
TOVA_API int mat_fast_svd(const mat *A, mat *U, mat *S, mat *V);

#ifdef __cplusplus
}
#endif
#endif
