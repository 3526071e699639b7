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

/* ---- pose conversions ---- */
TOVA_API Matrix pose_euler_to_transformation_matrix(Pose pose);
TOVA_API Matrix pose_quat_to_transformation_matrix(Pose pose);
TOVA_API Pose transformation_matrix_to_pose(Matrix T);
TOVA_API Euler matrix_to_euler(Matrix R);
TOVA_API Quaternion matrix_to_quat(Matrix R);
TOVA_API Matrix euler_to_matrix(Euler e);
TOVA_API Matrix quat_to_matrix(Quaternion q);
TOVA_API Quaternion euler_to_quat(Euler e);
TOVA_API Euler quat_to_euler(Quaternion q);
TOVA_API Quaternion quaternion_interpolation(float theta, float phi, Quaternion q0, Quaternion q1);
TOVA_API Matrix rotx(float angle);
TOVA_API Matrix roty(float angle);
TOVA_API Matrix rotz(float angle);
TOVA_API Matrix cross(Matrix a, Matrix b);
TOVA_API float my_atan2f(float y, float x);
TOVA_API int tv_sign(float v);

/* ---- fixed float matrices ---- */
TOVA_API Matrix zero_matrix(int16_t rows, int16_t cols);
TOVA_API Matrix unit_matrix(int16_t n);
TOVA_API MatrixMore unit_matrix_dim7(int16_t n);
TOVA_API Matrix matrix_t(const Matrix *A);
TOVA_API MatrixMore matrix_t_dim7(const MatrixMore *A);
TOVA_API Matrix matrix_m(const Matrix *A, const Matrix *B);
TOVA_API MatrixMore matrix_m_dim7(const MatrixMore *A, const MatrixMore *B);
TOVA_API Matrix matrix_a(const Matrix *A, const Matrix *B, int sign);
TOVA_API MatrixMore matrix_a_dim7(const MatrixMore *A, const MatrixMore *B, int sign);
TOVA_API Matrix matrix_m_num(float k, const Matrix *A);
TOVA_API MatrixMore matrix_m_num_dim7(float k, const MatrixMore *A);
TOVA_API Matrix matrix_T2R(const Matrix *T);
TOVA_API Matrix matrix_inv(Matrix *A);
TOVA_API MatrixMore matrix_inv_dim7(MatrixMore *A);
TOVA_API Matrix matrix_inv_full_rank(const Matrix *A);
TOVA_API Matrix matrix_inv_coordinate_system(const Matrix *T);
TOVA_API MatrixMore simp_matrix_inv77(const MatrixMore *A);

#ifdef __cplusplus
}
#endif
#endif
