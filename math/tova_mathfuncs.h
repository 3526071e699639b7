#ifndef TOVA_MATH_TOVA_MATHFUNCS_H
#define TOVA_MATH_TOVA_MATHFUNCS_H
/* Pose records and conversions (Euler angles, quaternions, homogeneous
 * transforms) and the fixed-capacity 4x4 / 7x7 float matrices.
 * Units: metres and radians. Euler angles denote R = Rz(rz) * Ry(ry) * Rx(rx).
 * Every function is pure, allocates nothing and reports no error: degenerate
 * input gives the arithmetic result (non-finite values where it divides by 0). */
#include <stdint.h>
#include "tova_export.h"
#ifdef __cplusplus
extern "C" {
#endif

typedef struct Matrix {          /* fixed 4 x 4 float matrix, 68 bytes */
    int16_t rows;                /* valid rows, 0..4 */
    int16_t cols;                /* valid columns, 0..4 */
    float   data[4][4];          /* row-major: element (r, c) = data[r][c] */
} Matrix;

typedef struct MatrixMore {      /* fixed 7 x 7 float matrix, 200 bytes */
    int16_t rows;                /* 0..7; a Jacobian is 6 x n */
    int16_t cols;
    float   data[7][7];
} MatrixMore;

typedef struct Quaternion {      /* Hamilton, scalar first */
    float w, x, y, z;
} Quaternion;

typedef struct Euler {           /* rad; R = Rz(rz) * Ry(ry) * Rx(rx) */
    float rx, ry, rz;
} Euler;

typedef struct Pose {            /* ten floats */
    float      x, y, z;          /* position, m */
    Quaternion quaternion;       /* w, x, y, z */
    Euler      euler;            /* rx, ry, rz */
} Pose;

/* ---- pose conversions ----
 * Records are passed and returned by value. A transform is a 4 x 4 Matrix
 * [R p; 0 0 0 1]; a rotation is 3 x 3 in the same storage; producers zero
 * every element outside rows x cols unless noted. */

/* 4 x 4 transform from x, y, z and pose.euler; pose.quaternion is ignored. */
TOVA_API Matrix pose_euler_to_transformation_matrix(Pose pose);
/* 4 x 4 transform from x, y, z and pose.quaternion (normalised implicitly,
 * norm^2 <= 1e-6 gives the identity rotation); pose.euler is ignored. */
TOVA_API Matrix pose_quat_to_transformation_matrix(Pose pose);
/* Pose of a 4 x 4 transform: position from column 3, quaternion as
 * matrix_to_quat, Euler angles as matrix_to_euler. */
TOVA_API Pose transformation_matrix_to_pose(Matrix T);
/* Euler angles (rad) of the upper-left 3 x 3 block. When |R(2,0)| > 0.999999
 * (gimbal lock) rz = 0 and the vertical rotation goes into rx. Any angle below
 * -3.13 gets +6.2831855, so results lie in [-3.13, 3.1531855), never near -pi. */
TOVA_API Euler matrix_to_euler(Matrix R);
/* Quaternion of the upper-left 3 x 3 block; trace branch first, then the
 * largest diagonal element with strict comparisons (ties go to the later
 * axis). The sign of w is not normalised; a non-rotation may give NaN. */
TOVA_API Quaternion matrix_to_quat(Matrix R);
/* 3 x 3 rotation Rz(rz) * Ry(ry) * Rx(rx); element (3,3) stays 0 (use
 * pose_euler_to_transformation_matrix for a transform). */
TOVA_API Matrix euler_to_matrix(Euler e);
/* 3 x 3 rotation of q, normalised implicitly; norm^2 <= 1e-6 gives identity. */
TOVA_API Matrix quat_to_matrix(Quaternion q);
/* Quaternion of Euler angles by the half-angle products; not renormalised. */
TOVA_API Quaternion euler_to_quat(Euler e);
/* Euler angles of q, same rules as quat_to_matrix followed by matrix_to_euler. */
TOVA_API Euler quat_to_euler(Quaternion q);
/* Slerp (q0 sin(theta - phi) + q1 sin(phi)) / sin(theta): theta is the angle
 * between q0 and q1, phi the angle travelled (rad). No shortest-path sign flip
 * and no small-angle fallback: sin(theta) = 0 gives non-finite values. */
TOVA_API Quaternion quaternion_interpolation(float theta, float phi, Quaternion q0, Quaternion q1);
/* 3 x 3 rotation about X by angle (rad), sine and cosine in double precision. */
TOVA_API Matrix rotx(float angle);
/* 3 x 3 rotation about Y by angle (rad), sine and cosine in double precision. */
TOVA_API Matrix roty(float angle);
/* 3 x 3 rotation about Z by angle (rad), sine and cosine in double precision. */
TOVA_API Matrix rotz(float angle);
/* 3 x 1 cross product a x b of the vectors in column 0, rows 0..2 of each
 * operand; the operands' counts are ignored. */
TOVA_API Matrix cross(Matrix a, Matrix b);
/* Angle of (x, y) in [-pi, pi] via acos(x / |(x, y)|), negated for y < 0
 * (y = -0 gives +pi for negative x); (0, 0) gives NaN. */
TOVA_API float my_atan2f(float y, float x);
/* 1 for v > 0, -1 for v < 0, otherwise 0 (also -0 and NaN). */
TOVA_API int tv_sign(float v);

/* ---- fixed float matrices ----
 * Operands by address, results by value, no allocation, no error report.
 * Only the valid rows x cols block of a result carries values; the rest is 0.
 * Sizes of operands are trusted (inner dimensions are not compared). Counts
 * outside 0..capacity (4 for Matrix, 7 for MatrixMore) are clamped to that
 * range for every loop, so no element outside the record is read or written;
 * the result header still carries the counts as computed. */

/* rows x cols record, all elements zero. */
TOVA_API Matrix zero_matrix(int16_t rows, int16_t cols);
/* n x n identity; n < 1 gives an n x n header with all elements zero. */
TOVA_API Matrix unit_matrix(int16_t n);
/* n x n identity of capacity 7; n < 1 gives an n x n header, all zero. */
TOVA_API MatrixMore unit_matrix_dim7(int16_t n);
/* Transpose: A.cols x A.rows. */
TOVA_API Matrix matrix_t(const Matrix *A);
/* Transpose of a 7 x 7-capacity record: A.cols x A.rows. */
TOVA_API MatrixMore matrix_t_dim7(const MatrixMore *A);
/* A * B, A.rows x B.cols, summed over k < A.cols; each product rounded to
 * float, the sum accumulated in double. */
TOVA_API Matrix matrix_m(const Matrix *A, const Matrix *B);
/* A * B for 7 x 7 capacity, same rounding as matrix_m. */
TOVA_API MatrixMore matrix_m_dim7(const MatrixMore *A, const MatrixMore *B);
/* A + B when sign >= 1, A - B when sign < 1; A's size. */
TOVA_API Matrix matrix_a(const Matrix *A, const Matrix *B, int sign);
/* A + B when sign >= 1, A - B when sign < 1; A's size. */
TOVA_API MatrixMore matrix_a_dim7(const MatrixMore *A, const MatrixMore *B, int sign);
/* k * A, A's size. */
TOVA_API Matrix matrix_m_num(float k, const Matrix *A);
/* k * A, A's size. */
TOVA_API MatrixMore matrix_m_num_dim7(float k, const MatrixMore *A);
/* 3 x 3 rotation block of a transform T (the rest of the result is zero). */
TOVA_API Matrix matrix_T2R(const Matrix *T);
/* Inverse of the leading n x n block, n = A->rows, by Gauss-Jordan elimination
 * with complete pivoting (first largest element wins ties). A IS OVERWRITTEN
 * with the inverse, which is also returned. No singularity test: a zero pivot
 * gives non-finite values. */
TOVA_API Matrix matrix_inv(Matrix *A);
/* As matrix_inv for 7 x 7 capacity (n = A->rows <= 7); A is overwritten. */
TOVA_API MatrixMore matrix_inv_dim7(MatrixMore *A);
/* Inverse of a full-rank 4 x 4 matrix by cofactors in single precision,
 * without pivoting or zero-determinant test; A's counts are ignored. */
TOVA_API Matrix matrix_inv_full_rank(const Matrix *A);
/* Inverse of a transform [R p; 0 0 0 1] as [adj(R)/det R, -(adj(R)/det R) p;
 * 0 0 0 1]; R need not be orthonormal. No test for det R = 0. */
TOVA_API Matrix matrix_inv_coordinate_system(const Matrix *T);
/* 7 x 7 inverse of the banded form: row 0 = (1, 0, ..., 0), rows 1..5
 * tridiagonal (row i uses columns i-1..i+1), row 6 taken as (0, ..., 0, 1);
 * only those band elements are read. Closed form, single precision, no test
 * for a singular band. */
TOVA_API MatrixMore simp_matrix_inv77(const MatrixMore *A);

#ifdef __cplusplus
}
#endif
#endif
