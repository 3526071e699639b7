#ifndef TOVA_MATH_TOVA_STATIC_MATRIX_H
#define TOVA_MATH_TOVA_STATIC_MATRIX_H
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

#ifdef __cplusplus
}
#endif
#endif
